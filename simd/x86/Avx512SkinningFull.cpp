// SkinningFull built for AVX-512: a vertex in one register, position,
// normal, tangent and binormal in its four 128-bit quarters.

#include <immintrin.h>

#include "FullLanes.h"
#include "SkinningTables.h"

namespace {

struct Avx512FullWidth {
    using Vec = __m512;
    static constexpr unsigned kRegisters = 1;

    QUORVAN_INLINE static Vec Mul(Vec a, Vec b) { return _mm512_mul_ps(a, b); }
    QUORVAN_INLINE static Vec Add(Vec a, Vec b) { return _mm512_add_ps(a, b); }
    QUORVAN_INLINE static Vec Zero() { return _mm512_setzero_ps(); }
    QUORVAN_INLINE static __m128 Slot(Vec v, unsigned k) {
        switch (k) {
        case 0: return _mm512_castps512_ps128(v);
        case 1: return _mm512_extractf32x4_ps(v, 1);
        case 2: return _mm512_extractf32x4_ps(v, 2);
        default: return _mm512_extractf32x4_ps(v, 3);
        }
    }

    // A compare into a mask; the masked move only where it found a NaN.
    QUORVAN_INLINE static void QuietNaNs(Vec& v) {
        const __mmask16 nan = _mm512_cmp_ps_mask(v, v, _CMP_UNORD_Q);
        if (__builtin_expect(nan != 0, 0)) v = _mm512_mask_mov_ps(v, nan, _mm512_set1_ps(kQuietNaN));
    }

    QUORVAN_INLINE static Vec Join(const __m128* slots) {
        Vec v = _mm512_castps128_ps512(slots[0]);
        v = _mm512_insertf32x4(v, slots[1], 1);
        v = _mm512_insertf32x4(v, slots[2], 2);
        return _mm512_insertf32x4(v, slots[3], 3);
    }
    // A rotation row of the bone's wide form, already in every slot.
    QUORVAN_INLINE static Vec Row(const float (&row)[16]) { return _mm512_load_ps(row); }
    QUORVAN_INLINE static Vec Broadcast(float f) { return _mm512_set1_ps(f); }

    // The source as 32-bit words: the three of each skinned vector, loaded
    // at once under a mask (so nothing else is read), then spread.
    template <class Slots>
    static constexpr __mmask16 SourceWords() {
        unsigned words = 0;
        for (unsigned v = 0; v < 4; ++v) words |= 7u << Slots::kSrc[v] / 4;
        return static_cast<__mmask16>(words);
    }
    template <class Slots, int Component>
    QUORVAN_INLINE static __m512i Spreading() {
        constexpr int a = Slots::kSrc[0] / 4 + Component, b = Slots::kSrc[1] / 4 + Component,
                      c = Slots::kSrc[2] / 4 + Component, d = Slots::kSrc[3] / 4 + Component;
        return _mm512_setr_epi32(a, a, a, a, b, b, b, b, c, c, c, c, d, d, d, d);
    }
    template <class Slots>
    QUORVAN_INLINE static void Spread(const uint8_t* src, Vec (&x)[1], Vec (&y)[1], Vec (&z)[1]) {
        const Vec words = _mm512_maskz_loadu_ps(SourceWords<Slots>(), src);
        x[0] = _mm512_permutexvar_ps(Spreading<Slots, 0>(), words);
        y[0] = _mm512_permutexvar_ps(Spreading<Slots, 1>(), words);
        z[0] = _mm512_permutexvar_ps(Spreading<Slots, 2>(), words);
    }

    // Lanes 0-2 of each quarter lie next to each other in the destination:
    // gathered into twelve words, the skinned ones are stored under a mask.
    template <class Slots, unsigned R>
    QUORVAN_INLINE static void Store(uint8_t* dst, const Vec (&sums)[1]) {
        static_assert(Slots::kDst[1] == 12 && Slots::kDst[2] == 24 && Slots::kDst[3] == 36, "adjacent vectors");
        unsigned words = 0;
        for (unsigned v = 0; v < 4; ++v) words |= Slots::kPresent[v] ? 7u << 3 * v : 0;
        const __m512i gather = _mm512_setr_epi32(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 15, 15, 15, 15);
        const __m512 packed = _mm512_permutexvar_ps(gather, sums[0]);
        if constexpr (Slots::kPresent[1] && Slots::kPresent[2] && Slots::kPresent[3]) {
            _mm256_storeu_ps(reinterpret_cast<float*>(dst), _mm512_castps512_ps256(packed));
            _mm_storeu_ps(reinterpret_cast<float*>(dst + 32), _mm512_extractf32x4_ps(packed, 2));
        } else {
            _mm512_mask_storeu_ps(dst, static_cast<__mmask16>(words), packed);
        }
    }
};

}  // namespace

const SkinningKernelTable kAvx512FullKernels =
    BuildSkinningTable<FullSkinning::Family<FullSkinning::Lanes<Avx512FullWidth>>>();
