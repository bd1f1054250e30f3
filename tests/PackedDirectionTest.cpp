// The scalar implementation's packed-direction codec and fast reciprocal
// square root, on values worked out by hand from their arithmetic.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "../Cross/Quorvan/PackedDirection.h"
#include "../Cross/Quorvan/ReciprocalSqrt.h"
#include "Canary.h"

// Bytes z, y, x and the range as a little-endian word.
TEST(PackedDirectionTest, EncodesWorkedExamples) {
    const struct {
        Float3 d;
        uint32_t bytes;
        const char* why;
    } cases[] = {
        {{0, 0, 0}, 0xFF000000, "nothing to lift, full range"},
        {{1, 0, 0}, 0xFFFF0000, "1.0 is 255.99, truncated to 255"},
        {{0.5f, 0, 0}, 0xFF7F0000, "127.995 truncates, it does not round to 128"},
        {{-1, -1, -1}, 0x00000000, "smallest -1: range 0"},
        {{1, 1, 1}, 0x00FFFFFF, "positive components are lifted too"},
        {{0.6f, -0.8f, 0}, 0x33C70071, "lifted by 0.8, squeezed by 1/1.8, range 0.2"},
        {{2, 0, 0}, 0xFFFF0000, "511.98 clamps to 255"},
        {{-3, 0, 0}, 0x0000BFBF, "range 1 - 3 clamps to 0"},
        {{0.5f, -0.25f, NAN}, 0xBF990000, "y is kept against a NaN z, so t is 0.25"},
    };
    for (const auto& c : cases) {
        uint8_t out[4];
        PackedDirection::Encode(out, c.d);
        EXPECT_EQ(Load<uint32_t>(out), c.bytes) << c.why;
    }
}

TEST(PackedDirectionTest, DecodesWorkedExamples) {
    const struct {
        uint32_t bytes;
        Float3 d;
    } cases[] = {
        {0x00FF8000, {1.0f, 0x1.0102p-8f, -1.0f}},  // range 0: 2c - 1, with 128/255 rounded to a float
        {0xFFFF3300, {1.0f, 0.2f, 0.0f}},           // range 255: c itself
        {0x33C70071, {0.60470587f, -0.8f, -0.00235295296f}},
    };
    for (const auto& c : cases) {
        uint8_t in[4];
        Store(in, c.bytes);
        const Float3 d = PackedDirection::Decode(in);
        EXPECT_EQ(Bits(d.x), Bits(c.d.x)) << std::hex << c.bytes;
        EXPECT_EQ(Bits(d.y), Bits(c.d.y)) << std::hex << c.bytes;
        EXPECT_EQ(Bits(d.z), Bits(c.d.z)) << std::hex << c.bytes;
    }
}

// Exactly two Newton steps from the bit-pattern guess: one more or one fewer
// changes the bits. At 0 it is large but finite.
TEST(ReciprocalSqrtTest, TakesTwoNewtonSteps) {
    EXPECT_EQ(FastReciprocalSqrt(1.0f), 0.999995708f);
    EXPECT_EQ(FastReciprocalSqrt(4.0f), 0.499997854f);
    const float atZero = FastReciprocalSqrt(0.0f);
    EXPECT_TRUE(std::isfinite(atZero));
    EXPECT_NEAR(atZero, 2.97e19, 0.01e19);
}
