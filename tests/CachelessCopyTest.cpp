#include <cstring>
#include <vector>

#include "MemoryHelperTest.h"

namespace {

using CachelessCopyTest = MemoryHelperTest;

// Source bytes at `shift` from an aligned address, none equal to the canary,
// and a few more after them.
std::vector<uint8_t> Source(std::mt19937& rng, uint32_t bytes, std::size_t shift) {
    std::vector<uint8_t> src(shift + bytes + 8);
    for (auto& b : src) b = NonCanaryByte(rng);
    return src;
}

// Copies into a canary buffer whose data sits `dstShift` bytes past an
// aligned address; expects the first `copied` bytes to match and every
// other byte to keep its canary.
void CheckCopy(Quorvan& impl, std::mt19937& rng, uint32_t bytes, uint32_t copied, std::size_t dstShift,
               std::size_t srcShift) {
    CanaryBuffer dst(bytes, 64 + dstShift);
    const std::vector<uint8_t> src = Source(rng, bytes, srcShift);
    impl.CachelessCopy(dst.data(), src.data() + srcShift, bytes);
    EXPECT_TRUE(X87StackUsable());
    EXPECT_EQ(std::memcmp(dst.data(), src.data() + srcShift, copied), 0) << bytes;
    for (uint32_t k = copied; k < bytes; ++k) EXPECT_EQ(dst.data()[k], kCanary) << bytes << " byte " << k;
    EXPECT_EQ(dst.FirstGuardHit(), -1) << bytes;
}

TEST_P(CachelessCopyTest, CopiesBlocksAndWordsAtAnyAlignment) {
    // No block, whole blocks, a block and a word, blocks with seven words.
    for (uint32_t bytes : {0u, 4u, 28u, 32u, 36u, 64u, 92u, 4096u + 60u})
        for (std::size_t dstShift : {0, 1, 3, 4})
            for (std::size_t srcShift : {0, 2, 5}) CheckCopy(Impl(), m_rng, bytes, bytes, dstShift, srcShift);
    EXPECT_TRUE(HostCapture::Reports().empty());
}

TEST_P(CachelessCopyTest, ReportsAPartialWordAndLeavesItUncopied) {
    // The scalar copy checks nothing and copies every byte.
    for (uint32_t bytes : {6u, 35u, 63u, 1u}) {
        CheckCopy(Impl(), m_rng, bytes, Vector() ? bytes / 4 * 4 : bytes, 0, 0);
        if (Vector())
            ExpectVectorReport(1215, "CachelessCopy only handles copies that are a multiple of 4 bytes.");
        else
            EXPECT_TRUE(HostCapture::Reports().empty());
    }
}

}  // namespace

INSTANTIATE_FOR_BOTH_IMPLEMENTATIONS(CachelessCopyTest);
