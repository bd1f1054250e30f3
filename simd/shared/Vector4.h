#pragma once

// What the one-by-one skinning loops are written in: a vector of four
// floats, with the processor's own operations (x86/SseVector.h,
// arm/NeonVector.h) and what the loops build from them. Every architecture
// runs the same single-precision products and sums in the same order, so the
// bytes are the same on all of them.

#if defined(__aarch64__)
#include "../arm/NeonVector.h"
#else
#include "../x86/SseVector.h"
#endif

namespace {

// A source vector's x, y and z, each in all four lanes: what a bone's rows
// are multiplied by. A vertex's components are the same for every influence,
// so they are spread once per vertex.
struct Splatted {
    Float4 x, y, z;

    QUORVAN_INLINE explicit Splatted(Float4 v) : x(Splat<0>(v)), y(Splat<1>(v)), z(Splat<2>(v)) {}
    QUORVAN_INLINE explicit Splatted(const uint8_t* in) : Splatted(LoadVector(in)) {}
};

// One bone's four palette rows, loaded aligned.
struct BoneRows {
    Float4 r0, r1, r2, r3;

    QUORVAN_INLINE explicit BoneRows(const float (&rows)[4][4])
        : r0(LoadAligned(rows[0])), r1(LoadAligned(rows[1])), r2(LoadAligned(rows[2])), r3(LoadAligned(rows[3])) {}

    // (x * row0 + y * row1) + (z * row2 + row3).
    QUORVAN_INLINE Float4 Transform(const Splatted& p) const {
        return Add4(Add4(Mul4(r0, p.x), Mul4(r1, p.y)), Add4(Mul4(r2, p.z), r3));
    }

    // (x * row0 + y * row1) + z * row2: a direction has no translation.
    QUORVAN_INLINE Float4 Rotate(const Splatted& d) const { return Add4(Add4(Mul4(r0, d.x), Mul4(r1, d.y)), Mul4(r2, d.z)); }
};

// Makes the NaNs of all of `v` the one quiet NaN. The test costs a compare
// per two vectors; only a vertex that has a NaN takes the branch.
template <class... V>
QUORVAN_INLINE void QuietNaNs(V&... v) {
    if (__builtin_expect(AnyNaN(v...), 0)) ((v = WithQuietNaNs(v)), ...);
}

}  // namespace
