#pragma once

// The 128-bit vector of the one-by-one skinning loops on x86: SSE. Products
// and sums are IEEE single precision, lane by lane; nothing is fused.
//
// Every kernel file includes this, each built for its own instruction set, so
// everything here has internal linkage: a copy compiled for a wider set must
// never stand in for the one the SSE kernels call.

#include <xmmintrin.h>

#include <cstdint>
#include <cstring>

#include "../../Cross/Quorvan/ForceInline.h"
#include "../shared/QuietNaN.h"

namespace {

using Float4 = __m128;

QUORVAN_INLINE Float4 Mul4(Float4 a, Float4 b) { return _mm_mul_ps(a, b); }
QUORVAN_INLINE Float4 Add4(Float4 a, Float4 b) { return _mm_add_ps(a, b); }
QUORVAN_INLINE Float4 ZeroVector() { return _mm_setzero_ps(); }

template <int Lane>
QUORVAN_INLINE Float4 Splat(Float4 v) {
    return _mm_shuffle_ps(v, v, _MM_SHUFFLE(Lane, Lane, Lane, Lane));
}

// byte / 255 in every lane: the byte times 1/255 rounded to a float, the
// product rounded once more, on the vector unit whatever the compiler uses
// for scalar floats.
QUORVAN_INLINE Float4 WeightOf(uint8_t byte) {
    const __m128 w = _mm_mul_ss(_mm_cvtsi32_ss(_mm_setzero_ps(), byte), _mm_set_ss(1.0f / 255.0f));
    return _mm_shuffle_ps(w, w, 0);
}

QUORVAN_INLINE Float4 LoadAligned(const float* in) { return _mm_load_ps(in); }
QUORVAN_INLINE void StoreAligned(float* out, Float4 v) { _mm_store_ps(out, v); }

// Sixteen bytes of vertex data, which may sit at any address.
QUORVAN_INLINE Float4 LoadVector(const uint8_t* in) { return _mm_loadu_ps(reinterpret_cast<const float*>(in)); }

// All four lanes, at any address.
QUORVAN_INLINE void StoreXYZW(uint8_t* out, Float4 v) { _mm_storeu_ps(reinterpret_cast<float*>(out), v); }

// Lanes 0-2 as three floats, at any address; the fourth lane is not written.
QUORVAN_INLINE void StoreXYZ(uint8_t* out, Float4 v) {
    _mm_storel_pi(reinterpret_cast<__m64*>(out), v);
    const float z = _mm_cvtss_f32(_mm_movehl_ps(v, v));
    std::memcpy(out + 8, &z, 4);
}

// The lanes where a or b is a NaN, all ones; any number of vectors, two to a
// compare.
QUORVAN_INLINE __m128 NaNLanes(Float4 a) { return _mm_cmpunord_ps(a, a); }
QUORVAN_INLINE __m128 NaNLanes(Float4 a, Float4 b) { return _mm_cmpunord_ps(a, b); }
template <class... More>
QUORVAN_INLINE __m128 NaNLanes(Float4 a, Float4 b, More... more) {
    return _mm_or_ps(_mm_cmpunord_ps(a, b), NaNLanes(more...));
}

// Whether any lane of any of the vectors is a NaN.
template <class... V>
QUORVAN_INLINE bool AnyNaN(V... v) {
    return _mm_movemask_ps(NaNLanes(v...)) != 0;
}

// v with kQuietNaN in its NaN lanes.
QUORVAN_INLINE Float4 WithQuietNaNs(Float4 v) {
    const __m128 nan = _mm_cmpunord_ps(v, v);
    return _mm_or_ps(_mm_andnot_ps(nan, v), _mm_and_ps(nan, _mm_set1_ps(kQuietNaN)));
}

}  // namespace
