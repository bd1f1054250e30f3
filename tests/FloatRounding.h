#pragma once

// Reference computations in the tests round to single precision after every
// operation the library rounds. On 32-bit x86 the test code runs on the x87
// unit, which keeps excess precision unless a value goes through memory.

inline float R(float value) {
    volatile float stored = value;
    return stored;
}

inline float Mul(float a, float b) { return R(R(a) * R(b)); }
inline float Add(float a, float b) { return R(R(a) + R(b)); }
