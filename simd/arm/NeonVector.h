#pragma once

// The 128-bit vector of the one-by-one skinning loops on 64-bit ARM: the
// Advanced SIMD unit every such processor has. Products and sums are IEEE
// single precision lane by lane, as SSE's are; nothing is fused (the build
// forbids contraction, and no fused intrinsic is used), so each lane rounds
// exactly where the x86 kernels round and gives their bits.

#include <arm_neon.h>

#include <cstdint>
#include <cstring>

#include "../../Cross/Quorvan/ForceInline.h"
#include "../shared/QuietNaN.h"

namespace {

using Float4 = float32x4_t;

QUORVAN_INLINE Float4 Mul4(Float4 a, Float4 b) { return vmulq_f32(a, b); }
QUORVAN_INLINE Float4 Add4(Float4 a, Float4 b) { return vaddq_f32(a, b); }
QUORVAN_INLINE Float4 ZeroVector() { return vdupq_n_f32(0.0f); }

// A lane in all four; multiplied by a row, it folds into a multiply by
// element.
template <int Lane>
QUORVAN_INLINE Float4 Splat(Float4 v) {
    return vdupq_laneq_f32(v, Lane);
}

// byte / 255 in every lane: the byte times 1/255 rounded to a float, the
// product rounded once more. Scalar float arithmetic here is IEEE single.
QUORVAN_INLINE Float4 WeightOf(uint8_t byte) { return vdupq_n_f32(static_cast<float>(byte) * (1.0f / 255.0f)); }

QUORVAN_INLINE Float4 LoadAligned(const float* in) { return vld1q_f32(in); }
QUORVAN_INLINE void StoreAligned(float* out, Float4 v) { vst1q_f32(out, v); }

// Sixteen bytes of vertex data, which may sit at any address: loaded as
// bytes, which need no alignment.
QUORVAN_INLINE Float4 LoadVector(const uint8_t* in) { return vreinterpretq_f32_u8(vld1q_u8(in)); }

// All four lanes, at any address.
QUORVAN_INLINE void StoreXYZW(uint8_t* out, Float4 v) { vst1q_u8(out, vreinterpretq_u8_f32(v)); }

// Lanes 0-2 as three floats, at any address; the fourth lane is not written.
QUORVAN_INLINE void StoreXYZ(uint8_t* out, Float4 v) {
    vst1_u8(out, vreinterpret_u8_f32(vget_low_f32(v)));
    const float z = vgetq_lane_f32(v, 2);
    std::memcpy(out + 8, &z, 4);
}

// The lanes that are not NaN, all ones: a NaN is the one value unequal to
// itself.
QUORVAN_INLINE uint32x4_t OrderedLanes(Float4 v) { return vceqq_f32(v, v); }
template <class... More>
QUORVAN_INLINE uint32x4_t OrderedLanes(Float4 v, More... more) {
    return vandq_u32(vceqq_f32(v, v), OrderedLanes(more...));
}

// Whether any lane of any of the vectors is a NaN.
template <class... V>
QUORVAN_INLINE bool AnyNaN(V... v) {
    return vminvq_u32(OrderedLanes(v...)) == 0;
}

// v with kQuietNaN in its NaN lanes. The unit's own NaNs would keep a
// propagated NaN's payload and sign, as x86's do.
QUORVAN_INLINE Float4 WithQuietNaNs(Float4 v) { return vbslq_f32(OrderedLanes(v), v, vdupq_n_f32(kQuietNaN)); }

}  // namespace
