// SkinningSingle built for AVX-512: four vertices per 512-bit register, one
// in each quarter.

#include <immintrin.h>

#include "SingleLanes.h"

namespace {

struct Avx512Wide {
    using V = __m512;
    static constexpr unsigned kVertices = 4;
    // Unmasked operations spelled as masked ones with every lane kept: the
    // plain intrinsics (the cast to the low quarter included) merge into an
    // undefined register, which GCC's uninitialised-value check reports.
    static constexpr __mmask16 kAll = 0xFFFF;

    QUORVAN_INLINE static V Load(const uint8_t* const* at, uint32_t offset) {
        const auto quarter = [&](unsigned k) { return _mm_loadu_ps(reinterpret_cast<const float*>(at[k] + offset)); };
        V v = _mm512_castps128_ps512(quarter(0));
        v = _mm512_insertf32x4(v, quarter(1), 1);
        v = _mm512_insertf32x4(v, quarter(2), 2);
        return _mm512_insertf32x4(v, quarter(3), 3);
    }
    template <int Lane>
    QUORVAN_INLINE static V Splat(V v) {
        return _mm512_maskz_permute_ps(kAll, v, _MM_SHUFFLE(Lane, Lane, Lane, Lane));
    }
    QUORVAN_INLINE static V Mul(V a, V b) { return _mm512_mul_ps(a, b); }
    QUORVAN_INLINE static V Add(V a, V b) { return _mm512_add_ps(a, b); }
    template <unsigned Index>
    QUORVAN_INLINE static __m128 Part(V v) {
        return _mm512_maskz_extractf32x4_ps(__mmask8(kAll), v, Index);
    }
};

}  // namespace

// One register's worth per block, as on AVX2: two registers per block
// measured slower.
const SseKernelTable kAvx512SingleKernels =
    BuildSkinningTable<SingleSkinning::Family<SingleSkinning::Lanes<Avx512Wide, 1>>>();
