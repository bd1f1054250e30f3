#include <cstring>
#include <vector>

#include "MemoryHelperTest.h"

namespace {

using CachelessCopyTest = MemoryHelperTest;

// Copies `bytes` from `srcShift` bytes past an aligned address into a canary
// buffer whose data sits `dstShift` bytes past one; expects the first
// `copied` bytes to match and every other byte to keep its canary.
void CheckCopy(Quorvan& impl, std::mt19937& rng, uint32_t bytes, uint32_t copied, std::size_t dstShift,
               std::size_t srcShift) {
    CanaryBuffer dst(bytes, 64 + dstShift);
    std::vector<uint8_t> src(srcShift + bytes + 8);
    for (auto& b : src) b = NonCanaryByte(rng);
    impl.CachelessCopy(dst.data(), src.data() + srcShift, bytes);
    EXPECT_TRUE(X87StackUsable());
    EXPECT_EQ(std::memcmp(dst.data(), src.data() + srcShift, copied), 0) << bytes;
    for (uint32_t k = copied; k < bytes; ++k) EXPECT_EQ(dst.data()[k], kCanary) << bytes << " byte " << k;
    EXPECT_EQ(dst.FirstGuardHit(), -1) << bytes << " bytes, shifts " << dstShift << "/" << srcShift;
}

TEST_P(CachelessCopyTest, CopiesEveryWholeWordAtAnyAlignment) {
    // Every length up to 80 words crosses each step size of the paths (8, 16,
    // 32 and 128 bytes) and each alignment the wide loops start from.
    for (uint32_t bytes = 0; bytes <= 320; bytes += 4)
        for (std::size_t dstShift : {0, 3, 4, 20})
            for (std::size_t srcShift : {0, 5, 12}) CheckCopy(Impl(), m_rng, bytes, bytes, dstShift, srcShift);
    for (std::size_t shift : {0, 7}) CheckCopy(Impl(), m_rng, 4096 + 60, 4096 + 60, shift, 11 - shift);
    EXPECT_TRUE(HostCapture::Reports().empty());
}

TEST_P(CachelessCopyTest, ReportsAPartialWordAndLeavesItUncopied) {
    // The scalar copy checks nothing and copies every byte.
    for (uint32_t bytes = 1; bytes < 140; bytes += bytes % 4 == 3 ? 2 : 1) {
        CheckCopy(Impl(), m_rng, bytes, Vector() ? bytes / 4 * 4 : bytes, 1, 0);
        if (Vector())
            ExpectVectorReport(1215, "CachelessCopy only handles copies that are a multiple of 4 bytes.");
        else
            EXPECT_TRUE(HostCapture::Reports().empty());
    }
}

}  // namespace

INSTANTIATE_FOR_EVERY_IMPLEMENTATION(CachelessCopyTest);
