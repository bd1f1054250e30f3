#include <vector>

#include "MemoryHelperTest.h"

namespace {

using ANDMaskMemoryTest = MemoryHelperTest;
using TestMaskRectTest = MemoryHelperTest;

TEST_P(ANDMaskMemoryTest, ClearsWhatTheMaskDoesNotKeepInTheFirstCountWords) {
    // The vector form walks two words at a time until it meets the end
    // exactly: an odd count would run away, so it only sees even ones.
    std::vector<uint32_t> counts = {0, 2, 4, 6, 8, 100, 1002};
    if (!Vector()) counts.insert(counts.end(), {1, 3, 5, 7, 101});
    for (uint32_t count : counts)
        for (uint32_t mask : {static_cast<uint32_t>(m_rng()), 0u, ~0u}) {
            constexpr uint32_t kPadding = 4;
            // One word off an 8-byte boundary.
            CanaryBuffer words((count + kPadding) * 4, 68);
            std::vector<uint32_t> old(count + kPadding);
            for (uint32_t k = 0; k < old.size(); ++k) {
                old[k] = m_rng();
                Store(words.data() + 4 * k, old[k]);
            }
            Impl().ANDMaskMemory(reinterpret_cast<uint32_t*>(words.data()), count, mask);
            EXPECT_TRUE(X87StackUsable());
            for (uint32_t k = 0; k < old.size(); ++k)
                EXPECT_EQ(Load<uint32_t>(words.data() + 4 * k), k < count ? old[k] & mask : old[k])
                    << "count " << count << ", mask " << mask << ", word " << k;
            EXPECT_EQ(words.FirstGuardHit(), -1) << count;
        }
    EXPECT_TRUE(HostCapture::Reports().empty());
}

TEST_P(ANDMaskMemoryTest, VectorFormReportsAnOddCountBeforeItWalks) {
    if (!Vector()) GTEST_SKIP() << "the scalar form takes any count";
    // Only a host whose handler does not return keeps this walk from running away.
    HostCapture::AbortOnFatal();
    uint32_t words[4] = {1, 2, 3, 4};
    EXPECT_THROW(Impl().ANDMaskMemory(words, 3, 0), HostAbort);
    ExpectVectorReport(1427, "ANDMaskMemory, Must have multiple's of 2 for length.");
    EXPECT_EQ(words[0], 1u);
}

TEST_P(TestMaskRectTest, SeesOnlyTheWordsOfItsBlock) {
    // Two rows of two words, four words apart: words 0, 1, 4 and 5.
    for (uint32_t k = 0; k < 12; ++k) {
        uint32_t words[12] = {};
        words[k] = 0x100;
        EXPECT_EQ(Impl().TestMaskRect(words, 2, 2, 4, 0x180), k == 0 || k == 1 || k == 4 || k == 5) << k;
        EXPECT_FALSE(Impl().TestMaskRect(words, 2, 2, 4, 0x80)) << k;
    }
}

TEST_P(TestMaskRectTest, EmptyBlockOrMaskFindsNothing) {
    const std::vector<uint32_t> ones(64, ~0u);
    EXPECT_FALSE(Impl().TestMaskRect(nullptr, 5, 0, 5, ~0u));
    EXPECT_FALSE(Impl().TestMaskRect(ones.data(), 0, 4, 8, ~0u));
    EXPECT_FALSE(Impl().TestMaskRect(ones.data(), 4, 4, 8, 0));
    EXPECT_TRUE(Impl().TestMaskRect(ones.data(), 1, 1, 0, 1));
}

TEST_P(TestMaskRectTest, FindsABitExactlyWhenItsWordIsInTheBlock) {
    constexpr uint32_t kWords = 16 * 16;
    for (int round = 0; round < 2000; ++round) {
        // Rows may overlap (pitch below width) or repeat (pitch 0).
        const uint32_t width = m_rng() % 7, height = m_rng() % 7, pitch = m_rng() % 17;
        const uint32_t hit = m_rng() % kWords, bit = 1u << (m_rng() % 32);
        const uint32_t mask = static_cast<uint32_t>(m_rng()) | (m_rng() % 2 ? bit : 0);
        std::vector<uint32_t> words(kWords);
        words[hit] = bit;

        bool inside = false;
        for (uint32_t row = 0; row < height; ++row)
            inside |= hit >= row * pitch && hit < row * pitch + width;
        EXPECT_EQ(Impl().TestMaskRect(words.data(), width, height, pitch, mask), inside && (mask & bit) != 0)
            << width << "x" << height << ", pitch " << pitch << ", word " << hit;
    }
}

}  // namespace

INSTANTIATE_FOR_BOTH_IMPLEMENTATIONS(ANDMaskMemoryTest);
INSTANTIATE_FOR_BOTH_IMPLEMENTATIONS(TestMaskRectTest);
