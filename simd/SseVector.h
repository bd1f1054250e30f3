#pragma once

// SSE building blocks of the vector skinning kernels. Products and sums keep
// the grouping below lane by lane; nothing is fused.
//
// Every kernel file includes this, each built for its own instruction set, so
// everything here has internal linkage: a copy compiled for a wider set must
// never stand in for the one the SSE kernels call.

#include <xmmintrin.h>

#include <cstdint>
#include <cstring>

#include "../Cross/Quorvan/ForceInline.h"

namespace {

template <int Lane>
QUORVAN_INLINE __m128 Splat(__m128 v) {
    return _mm_shuffle_ps(v, v, _MM_SHUFFLE(Lane, Lane, Lane, Lane));
}

// Sixteen bytes of vertex data, which may sit at any address.
QUORVAN_INLINE __m128 LoadVector(const uint8_t* in) { return _mm_loadu_ps(reinterpret_cast<const float*>(in)); }

// A source vector's x, y and z, each in all four lanes: what a bone's rows
// are multiplied by. A vertex's components are the same for every influence,
// so they are spread once per vertex.
struct Splatted {
    __m128 x, y, z;

    QUORVAN_INLINE explicit Splatted(__m128 v) : x(Splat<0>(v)), y(Splat<1>(v)), z(Splat<2>(v)) {}
    QUORVAN_INLINE explicit Splatted(const uint8_t* in) : Splatted(LoadVector(in)) {}
};

// One bone's four palette rows, loaded aligned.
struct BoneRows {
    __m128 r0, r1, r2, r3;

    QUORVAN_INLINE explicit BoneRows(const float (&rows)[4][4])
        : r0(_mm_load_ps(rows[0])), r1(_mm_load_ps(rows[1])), r2(_mm_load_ps(rows[2])), r3(_mm_load_ps(rows[3])) {}

    // (x * row0 + y * row1) + (z * row2 + row3).
    QUORVAN_INLINE __m128 Transform(const Splatted& p) const {
        return _mm_add_ps(_mm_add_ps(_mm_mul_ps(r0, p.x), _mm_mul_ps(r1, p.y)),
                          _mm_add_ps(_mm_mul_ps(r2, p.z), r3));
    }

    // (x * row0 + y * row1) + z * row2: a direction has no translation.
    QUORVAN_INLINE __m128 Rotate(const Splatted& d) const {
        return _mm_add_ps(_mm_add_ps(_mm_mul_ps(r0, d.x), _mm_mul_ps(r1, d.y)), _mm_mul_ps(r2, d.z));
    }
};

// All four lanes, at any address.
QUORVAN_INLINE void StoreXYZW(uint8_t* out, __m128 v) { _mm_storeu_ps(reinterpret_cast<float*>(out), v); }

// Lanes 0-2 as three floats, at any address; the fourth lane is not written.
QUORVAN_INLINE void StoreXYZ(uint8_t* out, __m128 v) {
    _mm_storel_pi(reinterpret_cast<__m64*>(out), v);
    const float z = _mm_cvtss_f32(_mm_movehl_ps(v, v));
    std::memcpy(out + 8, &z, 4);
}

// Every NaN the kernels leave stored is this one: quiet, positive, no
// payload. Which NaN an operation hands on when it meets two depends on the
// order of its operands, which the compiler and each vector path choose
// their own way; that a result is a NaN does not. So each NaN a vertex stores
// is made this one, and its bytes are the same on every path. Finite results
// and infinities are left as they are, -0 included.
constexpr float kQuietNaN = __builtin_nanf("");  // 0x7FC00000

// The lanes where a or b is a NaN, all ones; any number of vectors, two to a
// compare.
QUORVAN_INLINE __m128 NaNLanes(__m128 a) { return _mm_cmpunord_ps(a, a); }
QUORVAN_INLINE __m128 NaNLanes(__m128 a, __m128 b) { return _mm_cmpunord_ps(a, b); }
template <class... More>
QUORVAN_INLINE __m128 NaNLanes(__m128 a, __m128 b, More... more) {
    return _mm_or_ps(_mm_cmpunord_ps(a, b), NaNLanes(more...));
}

// v with kQuietNaN in its NaN lanes.
QUORVAN_INLINE __m128 WithQuietNaNs(__m128 v) {
    const __m128 nan = _mm_cmpunord_ps(v, v);
    return _mm_or_ps(_mm_andnot_ps(nan, v), _mm_and_ps(nan, _mm_set1_ps(kQuietNaN)));
}

// Makes the NaNs of all of `v` the one quiet NaN. The test costs a compare
// per two vectors; only a vertex that has a NaN takes the branch.
template <class... V>
QUORVAN_INLINE void QuietNaNs(V&... v) {
    if (__builtin_expect(_mm_movemask_ps(NaNLanes(v...)) != 0, 0)) ((v = WithQuietNaNs(v)), ...);
}

}  // namespace
