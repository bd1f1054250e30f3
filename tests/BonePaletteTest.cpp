// Quantising a bone's rotation for packed directions, as the vector palette
// does on every architecture. What the kernels make of the loaded bones, and
// that a bone touches only its own bytes, is checked against the model in
// VectorSkinningTest.cpp and ThreadSafeSkinningTest.cpp.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "../simd/shared/VectorBonePalette.h"

TEST(QuantiseRotationTest, TruncatesTheExactProductAndWraps) {
    const struct {
        float element;
        int expected;
    } cases[] = {
        {1.0f, 127},   {-1.0f, -128},   {0.0f, 0},   {-0.0f, 0}, {0.5f, 63},  {-0.5f, -64},
        {0.999f, 126}, {-0.999f, -127}, {1.5f, -66}, {2.0f, -2}, {-2.0f, 0}, {-3.0f, -128},
        {std::numeric_limits<float>::quiet_NaN(), 0},  // NaN takes the scale of 128 and converts to 0x80000000
    };
    for (const auto& c : cases) EXPECT_EQ(QuantiseRotation(c.element), c.expected) << c.element;
    // Just below k/127 a single-precision product would round up to k.
    for (int k = 1; k <= 127; ++k)
        EXPECT_EQ(QuantiseRotation(std::nextafter(static_cast<float>(k) / 127.0f, 0.0f)), k - 1) << k;
}
