#include "PackedDirection.h"

#include <gtest/gtest.h>

#include <random>

TEST(PackedDirection, Excess128PutsXInByte2AndZeroInByte3) {
    EXPECT_EQ(EncodeExcess128({1, 0, 0}), 0x00FF8080u);
    EXPECT_EQ(EncodeExcess128({-1, 0, 0}), 0x00018080u);
    EXPECT_EQ(EncodeExcess128({0, 0.5, -0.5}), 0x0080C040u);  // 128 ± 63.5, rounded away from zero
    const Vec3 d = DecodeExcess128(0x00FF0180);
    EXPECT_DOUBLE_EQ(d.x, 1);
    EXPECT_DOUBLE_EQ(d.y, -1);
    EXPECT_DOUBLE_EQ(d.z, 0);
}

TEST(PackedDirection, RangeByteCodec) {
    // No lift: the range byte says 1 and the channels are plain.
    EXPECT_EQ(EncodeRangeByte({0, 0, 0}), 0xFF000000u);
    EXPECT_EQ(EncodeRangeByte({1, 0, 0}), 0xFFFF0000u);
    // Lifted by 1: channels (0, 1, 1) / 2 and a range byte of 0.
    EXPECT_EQ(EncodeRangeByte({-1, 0, 0}), 0x00007F7Fu);
    const Vec3 d = DecodeRangeByte(0x00007F7F);
    EXPECT_DOUBLE_EQ(d.x, -1);
    EXPECT_NEAR(d.y, 0, 1.0 / 255);
}

TEST(PackedDirection, UnitDirectionsSurviveBothForms) {
    std::mt19937 random(3);
    std::normal_distribution<double> gauss;
    for (int k = 0; k < 2000; ++k) {
        const Vec3 d = Normalised({gauss(random), gauss(random), gauss(random)});
        EXPECT_LE(LargestDifference(DecodeExcess128(EncodeExcess128(d)), d), 0.5 / 127 + 1e-12);
        // Truncated channels, squeezed by up to 2.
        EXPECT_LE(LargestDifference(DecodeRangeByte(EncodeRangeByte(d)), d), 0.02);
    }
}
