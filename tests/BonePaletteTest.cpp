// Loading bones into the two palettes. What the vector kernels make of the
// loaded bones, and that a bone touches only its own bytes, is checked
// against the model in VectorSkinningTest.cpp.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "../Cross/Quorvan/Quorvan_std.h"
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

TEST(StdPaletteTest, KeepsEveryBitIncludingNaNPayloads) {
    std::unique_ptr<Quorvan_std> scalar(new Quorvan_std);
    const uint32_t patterns[12] = {0x7FC01234, 0xFFBADBAD, 0x7F800001, 0x00000001, 0x80000000, 0x3F800000,
                                   0xFF800000, 0x7F7FFFFF, 0x12345678, 0x9ABCDEF0, 0x7FFFFFFF, 0xFFFFFFFF};
    float m[12];
    std::memcpy(m, patterns, sizeof m);
    scalar->SetSkinningMatrix(127, m);
    scalar->SetSkinningMatrix(0, m);
    // The palette follows the table pointer: bone b at float 12 * b.
    const auto* palette = reinterpret_cast<const uint8_t*>(scalar.get()) + sizeof(void*);
    EXPECT_EQ(std::memcmp(palette + 127 * 48, patterns, 48), 0);
    EXPECT_EQ(std::memcmp(palette, patterns, 48), 0);
}
