#pragma once

// SkinningFull's packed directions on the 256-bit integer unit, one vertex
// after another. Each direction gets a 128-bit slot of four 32-bit sums
// (x, y, z and one unused), normal and tangent in one register, binormal in
// a second. A slot's x is q0 * a + q3 * b + q6 * c, taken as two products
// from one multiply-add of 16-bit pairs ((a, b) by (q0, q3)) and one from a
// second ((c, 0) by (q6, 0)); then times the weight byte and added to the
// sum. Every intermediate fits in 32 bits (at most 3 * 128 * 128 * 255 * 4
// in magnitude), so nothing wraps and these integer sums are exactly the
// one-by-one loop's, whatever the order they are added in.
//
// The position goes through the one-by-one loop's SSE operations unchanged,
// carrying its sum into the next vertex as there; packed sums start from zero
// at every vertex.

#include <immintrin.h>

#include "../shared/FullSkinningLoop.h"

namespace {
namespace FullSkinning {

template <unsigned Features>
struct PackedLanes {
    using F = KernelFeatures<Features>;
    static constexpr unsigned kRegisters = F::kTangents ? 2 : 1;

    // The source bytes are read as the sixteen that end with the last one
    // the one-by-one loop reads (the x of the binormal, or of the normal
    // without tangents): all of them are bytes it reads, or lie between two.
    static constexpr uint32_t kLast =
        F::kTangents ? VertexLayout::SrcBinormal(true) + 2 : VertexLayout::kSrcNormal + 2;
    static constexpr uint32_t kFirst = kLast - 15;

    // Direction of slot s: normal, tangent, binormal; a slot that the
    // kernel does not skin reads zeros and is never stored.
    static constexpr bool Present(unsigned s) { return s == 0 ? F::kNormal : s < 3 && F::kTangents; }
    static constexpr uint32_t kSrc[3] = {VertexLayout::kSrcNormal, VertexLayout::SrcTangent(true),
                                         VertexLayout::SrcBinormal(true)};

    // A byte shuffle of the sixteen source bytes: slot s's byte `offset`
    // of its direction, or zero.
    static constexpr char SourceByte(unsigned s, uint32_t offset) {
        return Present(s) ? static_cast<char>(kSrc[s] + offset - kFirst) : static_cast<char>(0x80);
    }

    // The 16-bit pairs (a, b) and (c, 0) of each sum, for slots s and s + 1:
    // a is byte 2, b byte 1, c byte 0, each less 128.
    static __m256i PairsAB(__m256i bytes, unsigned s) {
        const char z = static_cast<char>(0x80);
        const char a0 = SourceByte(s, 2), b0 = SourceByte(s, 1), a1 = SourceByte(s + 1, 2), b1 = SourceByte(s + 1, 1);
        const __m256i spread = _mm256_setr_epi8(a0, z, b0, z, a0, z, b0, z, a0, z, b0, z, a0, z, b0, z,  //
                                                a1, z, b1, z, a1, z, b1, z, a1, z, b1, z, a1, z, b1, z);
        return _mm256_sub_epi16(_mm256_shuffle_epi8(bytes, spread), _mm256_set1_epi16(128));
    }
    static __m256i PairsC0(__m256i bytes, unsigned s) {
        const char z = static_cast<char>(0x80);
        const char c0 = SourceByte(s, 0), c1 = SourceByte(s + 1, 0);
        const __m256i spread = _mm256_setr_epi8(c0, z, z, z, c0, z, z, z, c0, z, z, z, c0, z, z, z,  //
                                                c1, z, z, z, c1, z, z, z, c1, z, z, z, c1, z, z, z);
        return _mm256_sub_epi16(_mm256_shuffle_epi8(bytes, spread), _mm256_set1_epi32(128));
    }

    // The bone's quantised rotation as 16-bit pairs, from its wide form.
    struct Rotation {
        __m256i ab, c0;
        QUORVAN_INLINE explicit Rotation(const WideBone& wide)
            : ab(_mm256_load_si256(reinterpret_cast<const __m256i*>(wide.pairsAB))),
              c0(_mm256_load_si256(reinterpret_cast<const __m256i*>(wide.pairsC0))) {}
    };

    // Back to excess-128 bytes, as PackedSum::Store: (sum + 4194175) >> 15,
    // low 8 bits, x into byte 2 and z into byte 0, byte 3 zero; one word per
    // slot, in the slot's low 32 bits.
    static __m256i Packed(__m256i sums) {
        const __m256i shifted = _mm256_srai_epi32(_mm256_add_epi32(sums, _mm256_set1_epi32(4194175)), 15);
        const char z = static_cast<char>(0x80);
        return _mm256_shuffle_epi8(shifted, _mm256_setr_epi8(8, 4, 0, z, z, z, z, z, z, z, z, z, z, z, z, z,  //
                                                             8, 4, 0, z, z, z, z, z, z, z, z, z, z, z, z, z));
    }
    static void StoreWord(uint8_t* at, __m128i word) {
        const int32_t w = _mm_cvtsi128_si32(word);
        std::memcpy(at, &w, 4);
    }

    // Every vertex but the last, which the one-by-one loop takes.
    template <uint32_t ExtraSize, bool Quiet>
    static Progress Run(const SkinningJob& job, const VectorBonePalette& palette, Progress progress) {
        using namespace VertexLayout;
        VertexCursor& cursor = progress.cursor;
        __m128 position = progress.carry.position;
        while (cursor.count > 1) {
            const uint8_t* src = cursor.src;
            const Splatted point(src + kSrcPosition);
            const __m256i bytes =
                _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + kFirst)));
            __m256i ab[kRegisters], c0[kRegisters], sums[kRegisters];
            for (unsigned r = 0; r < kRegisters; ++r) {
                ab[r] = PairsAB(bytes, 2 * r);
                c0[r] = PairsC0(bytes, 2 * r);
                sums[r] = _mm256_setzero_si256();
            }

            for (unsigned i = 0;; ++i) {
                const bool last = i == 3 || src[kSrcWeights + 1 + i] == 0;
                const unsigned bone = src[kSrcBones + i];
                const uint8_t weightByte = src[kSrcWeights + kWeightOrder[i]];
                position = _mm_add_ps(_mm_mul_ps(BoneRows(palette.rows[bone]).Transform(point), WeightOf(weightByte)),
                                      position);
                const Rotation q(palette.wide[bone]);
                const __m256i w = _mm256_set1_epi32(weightByte);
                for (unsigned r = 0; r < kRegisters; ++r) {
                    const __m256i rotated = _mm256_add_epi32(_mm256_madd_epi16(ab[r], q.ab), _mm256_madd_epi16(c0[r], q.c0));
                    sums[r] = _mm256_add_epi32(sums[r], _mm256_mullo_epi32(rotated, w));
                }
                if (last) break;
            }

            if constexpr (Quiet) QuietNaNs(position);
            StoreXYZ(cursor.dst + kDstPosition, position);
            const __m256i first = Packed(sums[0]);
            if constexpr (F::kNormal) StoreWord(cursor.dst + kDstNormal, _mm256_castsi256_si128(first));
            if constexpr (F::kTangents) {
                StoreWord(cursor.dst + DstTangent(true), _mm256_extracti128_si256(first, 1));
                StoreWord(cursor.dst + DstBinormal(true), _mm256_castsi256_si128(Packed(sums[kRegisters - 1])));
            }
            cursor.FinishVertex<ExtraSize, F::kAux, !Quiet>(job);
            position = TimesZero(position);
        }
        progress.carry.position = position;
        return progress;
    }
};

}  // namespace FullSkinning
}  // namespace
