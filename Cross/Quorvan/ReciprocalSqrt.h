#pragma once

// 1 / sqrt(v) from a guess read off the float's bit pattern and two Newton
// steps, cheaper on the x87 unit than a square root and a division. It is
// finite at 0 (about 2.97e19), so a zero vector scaled by it stays zero.

#include <cstdint>
#include <cstring>

#include "ForceInline.h"
#include "RoundedFloat.h"

QUORVAN_INLINE float FastReciprocalSqrt(float v) {
    int32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    const int32_t guessBits = 0x5F3759DF - (bits >> 1);
    float y;
    std::memcpy(&y, &guessBits, sizeof y);

    const float half = Rounded(0.5f * v);
    // Each step runs in extended precision and is rounded once; exactly two.
    for (int step = 0; step < 2; ++step) y = Rounded(y * (1.5L - static_cast<long double>(half) * y * y));
    return y;
}
