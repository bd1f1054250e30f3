#pragma once

// The two four-byte forms of a unit direction that the implementations read
// and write: x in byte 2, y in byte 1, z in byte 0 in both.
//
// Quorvan_SSE: each byte is the component in excess-128 form (byte - 128 =
// component · 127); byte 3 is 0.
// Quorvan_std: byte 3 is a range byte. The encoder lifts every component by
// t = |smallest component| so none is negative, squeezes them by 1 / (1 + t)
// and stores 1 - t in byte 3; the decoder undoes both.

#include <cstdint>

#include "Math.h"

uint32_t EncodeExcess128(Vec3 direction);
Vec3 DecodeExcess128(uint32_t packed);

uint32_t EncodeRangeByte(Vec3 direction);
Vec3 DecodeRangeByte(uint32_t packed);
