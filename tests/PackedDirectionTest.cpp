// The scalar implementation's packed-direction codec and its fast reciprocal
// square root, on their own.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "../Cross/Quorvan/PackedDirection.h"
#include "../Cross/Quorvan/ReciprocalSqrt.h"
#include "Canary.h"
#include "ScalarSkinningModel.h"

namespace {

struct Bytes {
    uint8_t b[4];
    bool operator==(const Bytes& o) const { return std::memcmp(b, o.b, 4) == 0; }
};

std::ostream& operator<<(std::ostream& out, const Bytes& bytes) {
    return out << '(' << +bytes.b[0] << ", " << +bytes.b[1] << ", " << +bytes.b[2] << ", " << +bytes.b[3] << ')';
}

Bytes Encoded(Float3 d) {
    Bytes out;
    PackedDirection::Encode(out.b, d);
    return out;
}

uint32_t Next(uint32_t& state) {  // xorshift32
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

}  // namespace

TEST(PackedDirectionTest, EncodesWorkedExamples) {
    const struct {
        Float3 d;
        Bytes expected;
        const char* why;
    } cases[] = {
        {{0, 0, 0}, {{0, 0, 0, 255}}, "nothing to lift, full range"},
        {{1, 0, 0}, {{0, 0, 255, 255}}, "1.0 is 255.99, truncated to 255"},
        {{0.5f, 0, 0}, {{0, 0, 127, 255}}, "127.995 truncates, it does not round to 128"},
        {{-1, -1, -1}, {{0, 0, 0, 0}}, "smallest -1: range 0"},
        {{1, 1, 1}, {{255, 255, 255, 0}}, "positive components are lifted too"},
        {{0.6f, -0.8f, 0}, {{113, 0, 199, 51}}, "lifted by 0.8, squeezed by 1/1.8, range 0.2"},
        {{2, 0, 0}, {{0, 0, 255, 255}}, "511.98 clamps to 255"},
        {{-3, 0, 0}, {{191, 191, 0, 0}}, "range 1 - 3 clamps to 0"},
        {{0.5f, -0.25f, NAN}, {{0, 0, 153, 191}}, "y is kept against a NaN z, so t is 0.25"},
    };
    for (const auto& c : cases) EXPECT_EQ(Encoded(c.d), c.expected) << c.why;
}

TEST(PackedDirectionTest, DecodesWorkedExamples) {
    const auto decoded = [](Bytes in) { return PackedDirection::Decode(in.b); };
    // Range 0 is the plain 2c - 1 mapping.
    Float3 d = decoded({{0, 128, 255, 0}});
    EXPECT_EQ(d.x, 1.0f);
    EXPECT_EQ(d.y, 0x1.0102p-8f);  // 2 * (128/255 as a float) - 1
    EXPECT_EQ(d.z, -1.0f);
    // Range 255 is c itself.
    d = decoded({{0, 51, 255, 255}});
    EXPECT_EQ(d.x, 1.0f);
    EXPECT_EQ(d.y, 0.2f);
    EXPECT_EQ(d.z, 0.0f);
    // Back from the encoding of (0.6, -0.8, 0): one step of 1.8/255 off at most.
    d = decoded({{113, 0, 199, 51}});
    EXPECT_EQ(d.x, 0.60470587f);
    EXPECT_EQ(d.y, -0.8f);
    EXPECT_EQ(d.z, -0.00235295296f);
}

// Bytes whose smallest channel is 0 are what the encoder produces, and it
// gives them back unchanged from their decoding, for every range byte.
TEST(PackedDirectionTest, EncodedBytesSurviveTheirDecoding) {
    for (unsigned range = 0; range < 256; ++range)
        for (unsigned a = 0; a < 256; a += 13)
            for (unsigned b = 0; b < 256; b += 31)
                for (unsigned zero = 0; zero < 3; ++zero) {
                    Bytes in;
                    in.b[zero] = 0;
                    in.b[(zero + 1) % 3] = static_cast<uint8_t>(a);
                    in.b[(zero + 2) % 3] = static_cast<uint8_t>(b);
                    in.b[3] = static_cast<uint8_t>(range);
                    ASSERT_EQ(Encoded(PackedDirection::Decode(in.b)), in);
                }
}

TEST(PackedDirectionTest, UnitDirectionsComeBackWithinOneStep) {
    uint32_t state = 0x1234567u;
    for (int k = 0; k < 20000; ++k) {
        const float x = static_cast<int32_t>(Next(state)) / 2147483648.0f;
        const float y = static_cast<int32_t>(Next(state)) / 2147483648.0f;
        const float z = static_cast<int32_t>(Next(state)) / 2147483648.0f;
        const double length = std::sqrt(double(x) * x + double(y) * y + double(z) * z);
        if (length < 0.01) continue;
        const Float3 unit{float(x / length), float(y / length), float(z / length)};
        const Float3 back = PackedDirection::Decode(Encoded(unit).b);
        // One truncated step of (1 + k) / 255, plus the range byte's own step.
        ASSERT_NEAR(back.x, unit.x, 3.0 / 255) << k;
        ASSERT_NEAR(back.y, unit.y, 3.0 / 255) << k;
        ASSERT_NEAR(back.z, unit.z, 3.0 / 255) << k;
    }
}

// Bit for bit against the model, on arbitrary bytes and on vectors far
// outside the unit ball.
TEST(PackedDirectionTest, MatchesTheModelBitForBit) {
    uint32_t state = 0xC0FFEEu;
    for (int k = 0; k < 20000; ++k) {
        Bytes in;
        Store(in.b, Next(state));
        const Float3 d = PackedDirection::Decode(in.b);
        const ScalarModel::Vec m = ScalarModel::Decode(in.b);
        ASSERT_EQ(Bits(d.x), Bits(m.c[0])) << in;
        ASSERT_EQ(Bits(d.y), Bits(m.c[1])) << in;
        ASSERT_EQ(Bits(d.z), Bits(m.c[2])) << in;

        const Float3 wide{ScalarModel::F(d.x * 3.0L), ScalarModel::F(d.y * -2.5L), ScalarModel::F(d.z * 1.75L)};
        Bytes expected;
        ScalarModel::Encode({{wide.x, wide.y, wide.z}}, expected.b);
        ASSERT_EQ(Encoded(wide), expected) << in;
    }
}

TEST(ReciprocalSqrtTest, ZeroGivesALargeFiniteNumber) {
    const float r = FastReciprocalSqrt(0.0f);
    EXPECT_TRUE(std::isfinite(r));
    EXPECT_NEAR(r, 2.97e19, 0.01e19);
    EXPECT_EQ(r * 0.0f, 0.0f);
}

// Exactly two Newton steps: one more or one fewer changes the bits.
TEST(ReciprocalSqrtTest, TakesTwoNewtonStepsFromTheBitPatternGuess) {
    EXPECT_EQ(FastReciprocalSqrt(1.0f), 0.999995708f);
    EXPECT_EQ(FastReciprocalSqrt(4.0f), 0.499997854f);
    uint32_t state = 0xBADC0DEu;
    for (int k = 0; k < 50000; ++k) {
        // Positive normal floats from 2^-60 to 2^68.
        const float v = ScalarModel::FloatFromBits((Next(state) & 0x007FFFFFu) | (67 + Next(state) % 128) << 23);
        const float r = FastReciprocalSqrt(v);
        ASSERT_EQ(Bits(r), Bits(ScalarModel::InverseSqrt(v))) << v;
        ASSERT_NEAR(r * std::sqrt(double(v)), 1.0, 5e-6) << v;
    }
}
