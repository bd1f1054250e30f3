#pragma once

// Whether two loops skinned the same vertices alike, up to float rounding.

#include <cmath>
#include <cstdint>
#include <cstring>

// Index of the first vertex whose float vectors in `got` and `expected`
// differ by more than float rounding of their terms allows, or -1: the
// position at 0 in source and destination and, with `directions`, the
// normal, tangent and binormal at 20, 32 and 44 in the source and 12, 24 and
// 36 in the destination. The bones' rotation elements lie in [-1, 1] and
// their translations' in [-translation, translation], so a coordinate's terms
// add up to at most the sum of the input's magnitudes, plus `translation`
// for the position.
inline int64_t FirstDifferentVertex(const uint8_t* src, uint32_t srcStride, const uint8_t* got,
                                    const uint8_t* expected, uint32_t dstStride, uint32_t vertices, bool directions,
                                    float translation) {
    const auto differs = [](const uint8_t* in, const uint8_t* a, const uint8_t* b, float translation) {
        float input[3], x[3], y[3];
        std::memcpy(input, in, 12);
        std::memcpy(x, a, 12);
        std::memcpy(y, b, 12);
        const float scale = std::fabs(input[0]) + std::fabs(input[1]) + std::fabs(input[2]) + translation;
        for (int c = 0; c < 3; ++c)
            if (!(std::fabs(x[c] - y[c]) <= 1e-5f * scale)) return true;
        return false;
    };
    for (uint32_t v = 0; v < vertices; ++v) {
        const uint8_t* s = src + size_t{v} * srcStride;
        const uint8_t *a = got + size_t{v} * dstStride, *b = expected + size_t{v} * dstStride;
        bool different = differs(s, a, b, translation);
        for (int k = 0; k < 3 && directions; ++k)
            different |= differs(s + 20 + 12 * k, a + 12 + 12 * k, b + 12 + 12 * k, 0);
        if (different) return v;
    }
    return -1;
}
