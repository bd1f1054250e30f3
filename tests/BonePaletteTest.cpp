// Loading bones into the two palettes.

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

TEST(QuantiseRotationTest, PublishedValues) {
    const struct {
        float element;
        int expected;
    } cases[] = {
        {1.0f, 127},   {-1.0f, -128}, {0.0f, 0},      {-0.0f, 0},    {0.5f, 63},
        {-0.5f, -64},  {0.999f, 126}, {-0.999f, -127}, {1.5f, -66},  // 190 wraps to the byte 0xBE
        {2.0f, -2},    {-2.0f, 0},    {1e-9f, 0},     {-3.0f, -128},
    };
    for (const auto& c : cases) EXPECT_EQ(QuantiseRotation(c.element), c.expected) << c.element;
    EXPECT_EQ(QuantiseRotation(std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(static_cast<uint8_t>(QuantiseRotation(1.5f)), 0xBE);
}

TEST(QuantiseRotationTest, TruncatesTheExactProduct) {
    // Elements just below k/127: a single-precision product would round up to
    // k, the exact product truncates to k - 1.
    for (int k = 1; k <= 127; ++k) {
        const float below = std::nextafter(static_cast<float>(k) / 127.0f, 0.0f);
        EXPECT_EQ(QuantiseRotation(below), k - 1) << k;
    }
}

using SsePaletteTest = LibraryTest;

TEST_F(SsePaletteTest, LoadsRowsWithZeroFourthComponentsAndQuantisedRotation) {
    if (!RunsSse()) GTEST_SKIP() << "the operating system does not run SSE here";
    Quorvan_SSE sse;
    const float m[12] = {0.5f, -0.25f, 1.0f, -1.0f, 0.75f, 0.0f, 0.999f, -0.999f, -0.5f, 10.0f, -20.0f, 30.5f};
    sse.SetSkinningMatrix(7, m);
    for (unsigned row = 0; row < 4; ++row) {
        for (unsigned column = 0; column < 3; ++column)
            EXPECT_EQ(Bits(s_ssePalette.rows[7][row][column]), Bits(m[3 * row + column]));
        EXPECT_EQ(Bits(s_ssePalette.rows[7][row][3]), 0u) << "row " << row;  // +0.0, translation too
    }
    const int8_t expected[9] = {63, -32, 127, -128, 95, 0, 126, -127, -64};
    for (unsigned k = 0; k < 9; ++k) EXPECT_EQ(s_ssePalette.quantised[7][k], expected[k]) << k;
    // A bone never set keeps the identity, translation row ending in 1.0.
    EXPECT_EQ(s_ssePalette.rows[8][3][3], 1.0f);
}

TEST_F(SsePaletteTest, TheLastBoneTouchesOnlyItsOwnBytes) {
    if (!RunsSse()) GTEST_SKIP() << "the operating system does not run SSE here";
    Quorvan_SSE sse;
    std::unique_ptr<SseBonePalette> before(new SseBonePalette(s_ssePalette));
    const float m[12] = {2, 3, 4, 5, 6, 7, 8, 9, -1, 11, 12, 13};
    sse.SetSkinningMatrix(255, m);

    const auto* now = reinterpret_cast<const uint8_t*>(&s_ssePalette);
    const auto* old = reinterpret_cast<const uint8_t*>(before.get());
    const std::size_t quantised = 255 * 9, rows = offsetof(SseBonePalette, rows) + 255 * 64;
    for (std::size_t k = 0; k < sizeof(SseBonePalette); ++k) {
        const bool ours = (k >= quantised && k < quantised + 9) || k >= rows;
        if (!ours) {
            ASSERT_EQ(now[k], old[k]) << "byte " << k;
        }
    }
    EXPECT_EQ(s_ssePalette.rows[255][3][2], 13.0f);
    EXPECT_EQ(s_ssePalette.quantised[255][8], -128);
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
