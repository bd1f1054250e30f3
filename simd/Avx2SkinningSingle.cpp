// SkinningSingle built for AVX2: two vertices per 256-bit register, one in
// each half.

#include <immintrin.h>

#include "SingleLanes.h"

namespace {

struct Avx2Wide {
    using V = __m256;
    static constexpr unsigned kVertices = 2;

    QUORVAN_INLINE static V Load(const uint8_t* const* at, uint32_t offset) {
        return _mm256_loadu2_m128(reinterpret_cast<const float*>(at[1] + offset),
                                  reinterpret_cast<const float*>(at[0] + offset));
    }
    template <int Lane>
    QUORVAN_INLINE static V Splat(V v) {
        return _mm256_permute_ps(v, _MM_SHUFFLE(Lane, Lane, Lane, Lane));
    }
    QUORVAN_INLINE static V Mul(V a, V b) { return _mm256_mul_ps(a, b); }
    QUORVAN_INLINE static V Add(V a, V b) { return _mm256_add_ps(a, b); }
    template <unsigned Index>
    QUORVAN_INLINE static __m128 Part(V v) {
        if constexpr (Index == 0)
            return _mm256_castps256_ps128(v);
        else
            return _mm256_extractf128_ps(v, Index);
    }
};

}  // namespace

// One register's worth per block: two or four registers per block measured
// no faster, and hold more results across the stores.
const SseKernelTable kAvx2SingleKernels = BuildSkinningTable<SingleSkinning::Family<SingleSkinning::Lanes<Avx2Wide, 1>>>();
