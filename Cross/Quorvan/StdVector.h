#pragma once

// Building blocks of the scalar skinning kernels: three-float vectors read
// from and written to unaligned vertex bytes, and one bone of the palette
// applied to them. A bone's sums run in extended precision and are rounded
// to float once, when the component is complete.

#include <cstdint>
#include <cstring>

#include "ForceInline.h"
#include "Quorvan_std.h"
#include "RoundedFloat.h"

struct Float3 {
    float x, y, z;
};

QUORVAN_INLINE Float3 LoadFloat3(const uint8_t* bytes) {
    Float3 v;
    std::memcpy(&v, bytes, sizeof v);
    return v;
}

QUORVAN_INLINE void StoreFloat3(uint8_t* bytes, Float3 v) { std::memcpy(bytes, &v, sizeof v); }

// Twelve floats of the palette: the images of the x, y and z axes, then the
// translation.
class StdBone {
public:
    // The index is a vertex byte and is not checked against the palette.
    QUORVAN_INLINE StdBone(const float* palette, unsigned index) : m_m(palette + Quorvan_std::kFloatsPerBone * index) {}

    // ((m0 x + m3 y) + m6 z) + m9, and likewise for y and z.
    QUORVAN_INLINE Float3 Transform(Float3 p) const {
        return {Rounded(Rotated<0>(p) + m_m[9]), Rounded(Rotated<1>(p) + m_m[10]), Rounded(Rotated<2>(p) + m_m[11])};
    }

    // (m0 x + m3 y) + m6 z: a direction has no translation.
    QUORVAN_INLINE Float3 Rotate(Float3 d) const {
        return {Rounded(Rotated<0>(d)), Rounded(Rotated<1>(d)), Rounded(Rotated<2>(d))};
    }

private:
    // The products of two floats are exact in extended precision; the sums
    // are not, and are kept unrounded.
    template <unsigned Column>
    QUORVAN_INLINE long double Rotated(Float3 v) const {
        return (static_cast<long double>(m_m[Column]) * v.x + static_cast<long double>(m_m[3 + Column]) * v.y) +
               static_cast<long double>(m_m[6 + Column]) * v.z;
    }

    const float* m_m;
};
