// Loading bones into the two palettes. What the vector kernels make of the
// loaded bones is checked against the model in VectorSkinningTest.cpp.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/SseBonePalette.h"
#include "Canary.h"
#include "Lifecycle.h"

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

using SsePaletteTest = FeatureTest<FeatureSSE>;

// Bone 255, the last: its quantised bytes lie right before the float rows of
// bone 0, so a byte too many would land there.
TEST_F(SsePaletteTest, ABoneTouchesOnlyItsOwnBytes) {
    Quorvan_SSE sse;
    std::unique_ptr<SseBonePalette> before(new SseBonePalette(s_ssePalette));
    const float m[12] = {0.5f, -0.25f, 1.0f, -1.0f, 0.75f, 0.0f, 0.999f, -0.999f, -0.5f, 10.0f, -20.0f, 30.5f};
    sse.SetSkinningMatrix(255, m);

    const auto* now = reinterpret_cast<const uint8_t*>(&s_ssePalette);
    const auto* old = reinterpret_cast<const uint8_t*>(before.get());
    const std::size_t quantised = 255 * 9, rows = offsetof(SseBonePalette, rows) + 255 * 64;
    for (std::size_t k = 0; k < sizeof(SseBonePalette); ++k)
        if ((k < quantised || k >= quantised + 9) && k < rows) {
            ASSERT_EQ(now[k], old[k]) << "byte " << k;
        }
    const int8_t expected[9] = {63, -32, 127, -128, 95, 0, 126, -127, -64};
    EXPECT_EQ(std::memcmp(s_ssePalette.quantised[255], expected, 9), 0);
    for (unsigned row = 0; row < 4; ++row)
        for (unsigned column = 0; column < 4; ++column)
            EXPECT_EQ(Bits(s_ssePalette.rows[255][row][column]), column < 3 ? Bits(m[3 * row + column]) : 0u);
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
