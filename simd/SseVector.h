#pragma once

// SSE building blocks of the vector skinning kernels. Products and sums keep
// the grouping below lane by lane; nothing is fused.

#include <xmmintrin.h>

#include <cstdint>
#include <cstring>

#include "../Cross/Quorvan/ForceInline.h"

template <int Lane>
QUORVAN_INLINE __m128 Splat(__m128 v) {
    return _mm_shuffle_ps(v, v, _MM_SHUFFLE(Lane, Lane, Lane, Lane));
}

// One bone's four palette rows, loaded aligned.
struct BoneRows {
    __m128 r0, r1, r2, r3;

    explicit BoneRows(const float (&rows)[4][4])
        : r0(_mm_load_ps(rows[0])), r1(_mm_load_ps(rows[1])), r2(_mm_load_ps(rows[2])), r3(_mm_load_ps(rows[3])) {}

    // (x * row0 + y * row1) + (z * row2 + row3), for the point in lanes 0-2.
    QUORVAN_INLINE __m128 Transform(__m128 p) const {
        return _mm_add_ps(_mm_add_ps(_mm_mul_ps(r0, Splat<0>(p)), _mm_mul_ps(r1, Splat<1>(p))),
                          _mm_add_ps(_mm_mul_ps(r2, Splat<2>(p)), r3));
    }

    // (x * row0 + y * row1) + z * row2: a direction has no translation.
    QUORVAN_INLINE __m128 Rotate(__m128 d) const {
        return _mm_add_ps(_mm_add_ps(_mm_mul_ps(r0, Splat<0>(d)), _mm_mul_ps(r1, Splat<1>(d))),
                          _mm_mul_ps(r2, Splat<2>(d)));
    }
};

// Sixteen bytes of vertex data, which may sit at any address.
inline __m128 LoadVector(const uint8_t* in) { return _mm_loadu_ps(reinterpret_cast<const float*>(in)); }

// All four lanes, at any address.
inline void StoreXYZW(uint8_t* out, __m128 v) { _mm_storeu_ps(reinterpret_cast<float*>(out), v); }

// Lanes 0-2 as three floats; the fourth lane is not written.
QUORVAN_INLINE void StoreXYZ(uint8_t* out, __m128 v) {
    float lanes[4];
    _mm_storeu_ps(lanes, v);
    std::memcpy(out, lanes, 12);
}
