#pragma once

// Rounding to single precision exactly where the scalar arithmetic stores a
// float, and nowhere else.
//
// Where float expressions are evaluated in float (x86-64, SSE arithmetic),
// every float operation rounds by itself and only extended-precision values
// need a conversion. On 32-bit x86 the scalar code runs on the x87 unit,
// which keeps 64-bit mantissas in its registers, and g++ in C++ mode drops
// the rounding of casts and assignments there; a store to memory is the one
// rounding it cannot skip. Both give the same bits: a single float
// operation computed with a 64-bit mantissa and then rounded to 24 bits
// rounds exactly as the float operation itself would.

#include <cfloat>

#include "ForceInline.h"

#if FLT_EVAL_METHOD == 0

QUORVAN_INLINE float Rounded(float value) { return value; }
QUORVAN_INLINE float Rounded(long double value) { return static_cast<float>(value); }

#else

QUORVAN_INLINE float Rounded(long double value) {
    volatile float stored = static_cast<float>(value);
    return stored;
}

#endif
