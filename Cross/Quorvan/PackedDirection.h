#pragma once

// The scalar implementation's packed direction: four bytes, x in byte 2,
// y in byte 1, z in byte 0 and a range byte in byte 3.
//
// The encoder lifts every channel by t, the magnitude of the smallest
// component, so that none is negative, squeezes the result by 1 / (1 + t)
// into [0, 1] and keeps 1 - t in the range byte; the decoder undoes both
// with k = 1 - range. A range byte of 0 is the plain 2c - 1 mapping. This is
// not the excess-128 packing of the vector implementation, and the two do
// not read each other's bytes.
//
// Every intermediate is rounded to float where it is named below.

#include <cmath>
#include <cstdint>

#include "ForceInline.h"
#include "RoundedFloat.h"
#include "StdVector.h"

namespace PackedDirection {

// byte / 255 rounded to float, for every byte: the decoder's four
// quotients without a division each.
struct ByteFractions {
    float of[256];
};
constexpr ByteFractions MakeByteFractions() {
    ByteFractions fractions{};
    for (int byte = 0; byte < 256; ++byte) fractions.of[byte] = byte / 255.0f;
    return fractions;
}
inline constexpr ByteFractions kByteFractions = MakeByteFractions();

QUORVAN_INLINE float DecodedChannel(uint8_t byte, float s, float k) {
    return Rounded(Rounded(s * kByteFractions.of[byte]) - k);
}

QUORVAN_INLINE Float3 Decode(const uint8_t* bytes) {
    const float range = kByteFractions.of[bytes[3]];
    const float k = Rounded(1.0f - range);
    const float s = Rounded(1.0f + k);
    return {DecodedChannel(bytes[2], s, k), DecodedChannel(bytes[1], s, k), DecodedChannel(bytes[0], s, k)};
}

// One channel in [0, 1] to its byte. The scale is just under 256 so that 1.0
// lands on 255 without rounding up; the conversion truncates toward zero.
// NaN gives 0, the low byte of what the x87 unit's conversion of NaN stores.
QUORVAN_INLINE uint8_t ChannelByte(float channel) {
    const float scaled = Rounded(channel * 255.99f);
    if (!(scaled >= 0.0f)) return 0;
    if (scaled > 255.0f) return 255;
    return static_cast<uint8_t>(static_cast<int>(scaled));
}

QUORVAN_INLINE void Encode(uint8_t* bytes, Float3 d) {
    // y stays unless it is greater than z, then x unless it is greater than
    // that. The order shows only with a NaN, which is never greater.
    float smallest = d.y > d.z ? d.z : d.y;
    smallest = d.x > smallest ? smallest : d.x;
    const float t = std::fabs(smallest);
    const float s = Rounded(1.0f / Rounded(t + 1.0f));
    bytes[0] = ChannelByte(Rounded(Rounded(d.z + t) * s));
    bytes[1] = ChannelByte(Rounded(Rounded(d.y + t) * s));
    bytes[2] = ChannelByte(Rounded(Rounded(d.x + t) * s));
    bytes[3] = ChannelByte(Rounded(1.0f - t));
}

}  // namespace PackedDirection
