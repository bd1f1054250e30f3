// SkinningFull built for AVX-512: four vertices per instruction, one in each
// 128-bit quarter, with the vertices that have run out of influences masked.

#include <immintrin.h>

#include "Avx512Width.h"
#include "FullLanes.h"

namespace {

// With what FullLanes needs beyond the arithmetic.
struct Avx512FullWidth : Avx512Width {
    static constexpr unsigned kStoredLanes = 0x7777;

    // Row r of each vertex's bone into rows[r]. Rows come in aligned pairs,
    // two vertices' pairs to a register, and one shuffle per row sorts them:
    // fewer shuffles than inserting sixteen rows one by one.
    template <class Bone>
    QUORVAN_INLINE static void LoadBones(Bone bone, Vec (&rows)[4]) {
        for (unsigned pair = 0; pair < 2; ++pair) {
            const auto twoVertices = [&](unsigned k) {
                const __m512 low = _mm512_castps256_ps512(_mm256_load_ps(bone(k)[2 * pair]));
                return _mm512_insertf32x8(low, _mm256_load_ps(bone(k + 1)[2 * pair]), 1);
            };
            const __m512 first = twoVertices(0), second = twoVertices(2);  // (a0 a1 b0 b1), (c0 c1 d0 d1)
            rows[2 * pair] = _mm512_shuffle_f32x4(first, second, _MM_SHUFFLE(2, 0, 2, 0));
            rows[2 * pair + 1] = _mm512_shuffle_f32x4(first, second, _MM_SHUFFLE(3, 1, 3, 1));
        }
    }

    // Lanes 0-2 of p, n, t and b of each vertex as three whole vectors:
    // (px py pz nx), (ny nz tx ty), (tz bx by bz).
    QUORVAN_INLINE static void Interleave(Vec p, Vec n, Vec t, Vec b, Vec (&out)[3]) {
        // Lane j of a slot: an index into the first source (0-15) or, plus
        // 16, the second.
        const __m512i first = _mm512_setr_epi32(0, 1, 2, 16, 4, 5, 6, 20, 8, 9, 10, 24, 12, 13, 14, 28);
        const __m512i second = _mm512_setr_epi32(1, 2, 16, 17, 5, 6, 20, 21, 9, 10, 24, 25, 13, 14, 28, 29);
        const __m512i third = _mm512_setr_epi32(2, 16, 17, 18, 6, 20, 21, 22, 10, 24, 25, 26, 14, 28, 29, 30);
        out[0] = _mm512_permutex2var_ps(p, first, n);
        out[1] = _mm512_permutex2var_ps(n, second, t);
        out[2] = _mm512_permutex2var_ps(t, third, b);
    }

    // Each vertex's four weights, in influence order, as byte * (1/255).
    QUORVAN_INLINE static Vec Weights(const FullSkinning::VertexInputs* v) {
        const __m128i bytes = _mm_setr_epi32(static_cast<int>(v[0].weights), static_cast<int>(v[1].weights),
                                             static_cast<int>(v[2].weights), static_cast<int>(v[3].weights));
        return Mul(_mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(bytes)), _mm512_set1_ps(1.0f / 255.0f));
    }
    QUORVAN_INLINE static Vec Broadcast(Vec weights, unsigned influence) {
        return _mm512_permutevar_ps(weights, _mm512_set1_epi32(static_cast<int>(influence)));
    }

    struct Counts {
        __m512i counts;
        QUORVAN_INLINE explicit Counts(const FullSkinning::VertexInputs* v)
            : counts(_mm512_permutexvar_epi32(
                  _mm512_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3),
                  _mm512_castsi128_si512(_mm_setr_epi32(static_cast<int>(v[0].count), static_cast<int>(v[1].count),
                                                        static_cast<int>(v[2].count), static_cast<int>(v[3].count))))) {}
        // The lanes of the vertices that have an influence `i`.
        QUORVAN_INLINE __mmask16 Above(unsigned i) const {
            return _mm512_cmpgt_epi32_mask(counts, _mm512_set1_epi32(static_cast<int>(i)));
        }
    };
    QUORVAN_INLINE static Vec AddWhere(__mmask16 lanes, Vec product, Vec sum) {
        return _mm512_mask_add_ps(sum, lanes, product, sum);
    }

    QUORVAN_INLINE static unsigned NegativeZeroLanes(Vec v) {
        return _mm512_cmpeq_epi32_mask(_mm512_castps_si512(v), _mm512_set1_epi32(INT32_MIN));
    }
    QUORVAN_INLINE static unsigned NonZeroLanes(Vec v) {
        const __m512i bits = _mm512_castps_si512(v);
        return _mm512_test_epi32_mask(bits, bits);
    }
    QUORVAN_INLINE static unsigned NaNLanes(Vec v) { return _mm512_cmp_ps_mask(v, v, _CMP_UNORD_Q); }
};

}  // namespace

const SseKernelTable kAvx512FullKernels =
    BuildSkinningTable<FullSkinning::Family<FullSkinning::Lanes<Avx512FullWidth>>>();
