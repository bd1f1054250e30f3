// SkinningFull built for AVX2: two vertices per instruction, one in each
// 128-bit half.

#include <immintrin.h>

#include "Avx2Width.h"
#include "FullLanes.h"

namespace {

// With what FullLanes needs beyond the arithmetic.
struct Avx2FullWidth : Avx2Width {
    static constexpr unsigned kStoredLanes = 0x77;

    // Row r of each vertex's bone into rows[r].
    template <class Bone>
    QUORVAN_INLINE static void LoadBones(Bone bone, Vec (&rows)[4]) {
        for (unsigned r = 0; r < 4; ++r)
            rows[r] = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_load_ps(bone(0)[r])), _mm_load_ps(bone(1)[r]), 1);
    }

    // Lanes 0-2 of p, n, t and b of each vertex as three whole vectors:
    // (px py pz nx), (ny nz tx ty), (tz bx by bz).
    QUORVAN_INLINE static void Interleave(Vec p, Vec n, Vec t, Vec b, Vec (&out)[3]) {
        out[0] = _mm256_blend_ps(p, _mm256_permute_ps(n, _MM_SHUFFLE(0, 0, 0, 0)), 0x88);
        out[1] = _mm256_shuffle_ps(n, t, _MM_SHUFFLE(1, 0, 2, 1));
        out[2] = _mm256_blend_ps(_mm256_permute_ps(b, _MM_SHUFFLE(2, 1, 0, 0)), _mm256_permute_ps(t, _MM_SHUFFLE(2, 2, 2, 2)),
                                 0x11);
    }

    // Each vertex's four weights, in influence order, as byte * (1/255).
    QUORVAN_INLINE static Vec Weights(const FullSkinning::VertexInputs* v) {
        const __m128i bytes = _mm_setr_epi32(static_cast<int>(v[0].weights), static_cast<int>(v[1].weights), 0, 0);
        return Mul(_mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes)), _mm256_set1_ps(1.0f / 255.0f));
    }
    QUORVAN_INLINE static Vec Broadcast(Vec weights, unsigned influence) {
        return _mm256_permutevar_ps(weights, _mm256_set1_epi32(static_cast<int>(influence)));
    }

    struct Counts {
        __m256i counts;
        QUORVAN_INLINE explicit Counts(const FullSkinning::VertexInputs* v)
            : counts(_mm256_setr_m128i(_mm_set1_epi32(static_cast<int>(v[0].count)),
                                       _mm_set1_epi32(static_cast<int>(v[1].count)))) {}
        // The lanes of the vertices that have an influence `i`.
        QUORVAN_INLINE Vec Above(unsigned i) const {
            return _mm256_castsi256_ps(_mm256_cmpgt_epi32(counts, _mm256_set1_epi32(static_cast<int>(i))));
        }
    };
    QUORVAN_INLINE static Vec AddWhere(Vec lanes, Vec product, Vec sum) {
        return _mm256_blendv_ps(sum, _mm256_add_ps(product, sum), lanes);
    }

    QUORVAN_INLINE static unsigned NegativeZeroLanes(Vec v) {
        const __m256i bits = _mm256_castps_si256(v);
        return static_cast<unsigned>(
            _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(bits, _mm256_set1_epi32(INT32_MIN)))));
    }
    QUORVAN_INLINE static unsigned NonZeroLanes(Vec v) {
        const __m256i zero = _mm256_cmpeq_epi32(_mm256_castps_si256(v), _mm256_setzero_si256());
        return ~static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(zero))) & 0xFF;
    }
    QUORVAN_INLINE static unsigned NaNLanes(Vec v) {
        return static_cast<unsigned>(_mm256_movemask_ps(_mm256_cmp_ps(v, v, _CMP_UNORD_Q)));
    }
};

}  // namespace

const SseKernelTable kAvx2FullKernels =
    BuildSkinningTable<FullSkinning::Family<FullSkinning::Lanes<Avx2FullWidth>>>();
