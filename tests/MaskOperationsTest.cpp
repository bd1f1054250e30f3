#include <vector>

#include "MemoryHelperTest.h"

#ifdef __linux__
#include <csetjmp>
#include <csignal>
#endif

namespace {

using ANDMaskMemoryTest = MemoryHelperTest;
using TestMaskRectTest = MemoryHelperTest;

TEST_P(ANDMaskMemoryTest, ClearsWhatTheMaskDoesNotKeepInTheFirstCountWords) {
    // The vector form walks until it meets the end exactly: an odd count
    // would run away, so it only sees even ones, here every one up to 80
    // words (each path's wide steps and the pairs after them).
    std::vector<uint32_t> counts = {1002};
    for (uint32_t count = 0; count <= 80; count += Vector() ? 2 : 1) counts.push_back(count);
    for (uint32_t count : counts)
        for (uint32_t mask : {static_cast<uint32_t>(m_rng()), 0u}) {
            constexpr uint32_t kPadding = 4;
            // One word off an 8-byte boundary, then off a 32-byte one.
            CanaryBuffer words((count + kPadding) * 4, 64 + 4 + count % 8 * 4);
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

// Walks into an unreadable page (mmap) and catches the fault: Linux only.
#ifdef __linux__
sigjmp_buf s_faulted;
void OnFault(int) { siglongjmp(s_faulted, 1); }

// Runs `walk` until it faults; false if it returns instead.
bool Faults(const std::function<void()>& walk) {
    struct sigaction fault = {}, previous;
    fault.sa_handler = OnFault;
    sigaction(SIGSEGV, &fault, &previous);
    const bool faulted = sigsetjmp(s_faulted, 1) != 0;
    if (!faulted) walk();
    sigaction(SIGSEGV, &previous, nullptr);
    // A walk stopped by the fault never got to its emms.
    asm volatile("emms");
    return faulted;
}

TEST_P(ANDMaskMemoryTest, OddCountWalksOnInPairsUntilItFaults) {
    if (!Vector()) GTEST_SKIP() << "the scalar form takes any count";
    GuardedPage page;
    ASSERT_TRUE(page.Ok());
    auto* end = reinterpret_cast<uint32_t*>(page.End());
    for (uint32_t count : {1u, 3u, 7u, 15u, 33u})
        for (uint32_t gap : {40u, 41u}) {
            // `gap` words from the array's start to the unreadable page; the
            // pairs end there exactly when the gap is even, and one pair
            // straddles it when it is odd.
            uint32_t* words = end - gap;
            for (uint32_t k = 0; k < gap; ++k) words[k] = 0xFFFF0000 | k;
            EXPECT_TRUE(Faults([&] { Impl().ANDMaskMemory(words, count, 0x00FF00FF); })) << count;
            HostCapture::Clear();
            // Every whole pair before the page changed.
            for (uint32_t k = 0; k < gap; ++k)
                EXPECT_EQ(words[k], k < gap / 2 * 2 ? 0x00FF0000 | (k & 0xFF) : 0xFFFF0000 | k)
                    << "count " << count << ", gap " << gap << ", word " << k;
        }
}
#endif

TEST_P(TestMaskRectTest, EmptyBlockOrMaskFindsNothing) {
    const std::vector<uint32_t> ones(64, ~0u);
    EXPECT_FALSE(Impl().TestMaskRect(nullptr, 5, 0, 5, ~0u));
    EXPECT_FALSE(Impl().TestMaskRect(ones.data(), 0, 4, 8, ~0u));
    EXPECT_FALSE(Impl().TestMaskRect(ones.data(), 4, 4, 8, 0));
    EXPECT_TRUE(Impl().TestMaskRect(ones.data(), 1, 1, 0, 1));
}

// Whether word `k` of a buffer lies in the block at its word `start`.
bool InBlock(uint32_t k, uint32_t start, uint32_t width, uint32_t height, uint32_t pitch) {
    for (uint32_t row = 0; row < height; ++row)
        if (k >= start + row * pitch && k < start + row * pitch + width) return true;
    return false;
}

TEST_P(TestMaskRectTest, FindsABitExactlyWhenItsWordIsInTheBlock) {
    // Blocks of every width up to 40 starting at each word of a 32-byte
    // chunk, with rows that overlap (pitch 1 or 3), touch or leave odd gaps.
    alignas(32) uint32_t words[8 + 3 * 45 + 48];
    constexpr uint32_t kWords = sizeof words / 4;
    for (uint32_t width = 1; width <= 40; ++width)
        for (uint32_t start = 0; start < 8; ++start)
            for (uint32_t pitch : {1u, 3u, width, width | 1, (width | 1) + 4}) {
                const uint32_t height = 3, bit = 1u << (width % 32);
                // Every word outside the block has every bit of the mask.
                for (uint32_t k = 0; k < kWords; ++k) words[k] = InBlock(k, start, width, height, pitch) ? ~bit : ~0u;
                EXPECT_FALSE(Impl().TestMaskRect(words + start, width, height, pitch, bit))
                    << width << " wide from " << start << ", pitch " << pitch;
                // One word with the bit, inside or outside the block.
                for (uint32_t hit = 0; hit < kWords; ++hit) {
                    for (uint32_t k = 0; k < kWords; ++k) words[k] = k == hit ? bit : ~bit;
                    EXPECT_EQ(Impl().TestMaskRect(words + start, width, height, pitch, bit),
                              InBlock(hit, start, width, height, pitch))
                        << width << " wide from " << start << ", pitch " << pitch << ", word " << hit;
                }
            }
}

#ifdef __linux__  // needs mmap
TEST_P(TestMaskRectTest, StopsAtTheFirstHitBeforeAnUnreadablePage) {
    GuardedPage page;
    ASSERT_TRUE(page.Ok());
    auto* end = reinterpret_cast<uint32_t*>(page.End());
    // The hit is the last readable word; the row runs on into the unreadable
    // page, and so would the rows after it.
    end[-1] = 0x10;
    for (uint32_t before = 0; before < 20; ++before)
        for (uint32_t width : {before + 2, before + 9, before + 40}) {
            const uint32_t* row = end - 1 - before;
            EXPECT_TRUE(Impl().TestMaskRect(row, width, 1, 0, 0x30)) << before << ", " << width;
            EXPECT_TRUE(Impl().TestMaskRect(row, width, 3, 4096, 0x10)) << before << ", " << width;
        }
}
#endif

}  // namespace

INSTANTIATE_FOR_EVERY_IMPLEMENTATION(ANDMaskMemoryTest);
INSTANTIATE_FOR_EVERY_IMPLEMENTATION(TestMaskRectTest);
