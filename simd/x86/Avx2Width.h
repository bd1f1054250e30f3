#pragma once

// Two 128-bit slots in a 256-bit register: what the AVX2 skinning kernels
// run on, each slot laid out exactly as an SSE register (one vertex per slot
// in SkinningSingle, one vector of a vertex per slot in SkinningFull).

#include <immintrin.h>

#include "../../Cross/Quorvan/ForceInline.h"
#include "../shared/Vector4.h"

namespace {

struct Avx2Width {
    using Vec = __m256;
    static constexpr unsigned kVertices = 2;

    // 16 bytes at at(k) into slot k.
    template <class Address>
    QUORVAN_INLINE static Vec LoadSlots(Address at) {
        return _mm256_loadu2_m128(reinterpret_cast<const float*>(at(1)), reinterpret_cast<const float*>(at(0)));
    }
    // Lane `Lane` of each slot across that slot.
    template <int Lane>
    QUORVAN_INLINE static Vec Splat(Vec v) {
        return _mm256_permute_ps(v, Lane * 0x55);
    }
    QUORVAN_INLINE static Vec Mul(Vec a, Vec b) { return _mm256_mul_ps(a, b); }
    QUORVAN_INLINE static Vec Add(Vec a, Vec b) { return _mm256_add_ps(a, b); }
    QUORVAN_INLINE static Vec Zero() { return _mm256_setzero_ps(); }
    QUORVAN_INLINE static __m128 Slot(Vec v, unsigned k) {
        return k == 0 ? _mm256_castps256_ps128(v) : _mm256_extractf128_ps(v, 1);
    }

    // As the SSE QuietNaNs: one compare per two registers, a branch that
    // only a vertex with a NaN takes.
    QUORVAN_INLINE static Vec NaNLanes(Vec a) { return _mm256_cmp_ps(a, a, _CMP_UNORD_Q); }
    QUORVAN_INLINE static Vec NaNLanes(Vec a, Vec b) { return _mm256_cmp_ps(a, b, _CMP_UNORD_Q); }
    template <class... More>
    QUORVAN_INLINE static Vec NaNLanes(Vec a, Vec b, More... more) {
        return _mm256_or_ps(NaNLanes(a, b), NaNLanes(more...));
    }
    template <class... V>
    QUORVAN_INLINE static void QuietNaNs(V&... v) {
        if (__builtin_expect(_mm256_movemask_ps(NaNLanes(v...)) != 0, 0))
            ((v = _mm256_blendv_ps(v, _mm256_set1_ps(kQuietNaN), NaNLanes(v))), ...);
    }
};

}  // namespace
