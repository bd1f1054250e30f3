// The memory helpers of both implementations, on every vector path that runs
// here, byte for byte with canaries around every buffer they write.

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/x86/VectorPath.h"
#include "Canary.h"
#include "HostCapture.h"
#include "Lifecycle.h"

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace {

// The scalar implementation, or the vector one on a path.
struct Implementation {
    const char* name;
    bool vector;
    VectorPath path;
};

void PrintTo(const Implementation& impl, std::ostream* out) { *out << impl.name; }

// Whether the x87 unit works after a call: MMX code that left out emms
// leaves every x87 register tagged in use, so the next load overflows the
// register stack and yields NaN.
bool X87StackUsable() {
    volatile long double a = 3, b = 1.5L;
    return a * b - a == 1.5L;
}

class MemoryHelperTest : public LibraryTest, public ::testing::WithParamInterface<Implementation> {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        if (!Vector()) {
            m_impl = std::make_unique<Quorvan_std>();
        } else if (Runs(FeatureSSE) && ProcessorRunsVectorPath(GetParam().path)) {
            m_impl = std::make_unique<Quorvan_SSE>(GetParam().path);
        } else {
            GTEST_SKIP() << "this processor does not run the " << GetParam().name << " path";
        }
    }

    bool Vector() const { return GetParam().vector; }
    Quorvan& Impl() { return *m_impl; }

    std::mt19937 m_rng{20240611};

private:
    std::unique_ptr<Quorvan> m_impl;
};

// Lengths up to 80 words cross each step size (8 to 128 bytes) and alignment
// of the paths; one is longer than a page. The vector copy reports a partial
// word and leaves it uncopied; the scalar one copies every byte.
TEST_P(MemoryHelperTest, CachelessCopyCopiesTheWholeWords) {
    for (uint32_t bytes = 0; bytes <= 4156; bytes += bytes < 320 ? 1 : 4156 - 320)
        for (std::size_t dstShift : {0, 3, 4, 20})
            for (std::size_t srcShift : {0, 5, 12}) {
                CanaryBuffer dst(bytes, 64 + dstShift);
                std::vector<uint8_t> src(srcShift + bytes + 8);
                // Never the canary, so that every byte copied shows.
                for (auto& b : src) b = static_cast<uint8_t>(kCanary + 1 + m_rng() % 255);
                Impl().CachelessCopy(dst.data(), src.data() + srcShift, bytes);
                EXPECT_TRUE(X87StackUsable());
                const uint32_t copied = Vector() ? bytes / 4 * 4 : bytes;
                for (uint32_t k = 0; k < bytes; ++k)
                    ASSERT_EQ(dst.data()[k], k < copied ? src[srcShift + k] : kCanary)
                        << bytes << " bytes, shifts " << dstShift << "/" << srcShift << ", byte " << k;
                EXPECT_EQ(dst.FirstGuardHit(), -1) << bytes << " bytes, shifts " << dstShift << "/" << srcShift;
                ExpectReports(Vector() && bytes % 4 != 0, "./Quorvan_SSE.cpp", 1215,
                              "CachelessCopy only handles copies that are a multiple of 4 bytes.");
            }
}

// Updates `count` texels, `shift` elements past a 32-byte boundary, of a few
// more. Sparse flags and masks of up to two bits show every level. Texels up
// to the end of the last step (four of 16 bits, two of 32) change, even past
// `count`; the others stay.
template <class Texel>
void CheckFog(Quorvan& impl, bool vector, std::mt19937& rng, uint32_t count, uint32_t shift) {
    constexpr bool k16 = sizeof(Texel) == 2;
    // Low, middle and high alpha; the 32-bit middle and low levels of the
    // two implementations differ on purpose.
    constexpr uint32_t kLevels[2][2][3] = {{{0x40, 0x80, 0xFF}, {0x30, 0x70, 0xFF}}, {{3, 7, 15}, {3, 7, 15}}};
    constexpr int kAlphaShift = k16 ? 12 : 24;
    const auto randomMask = [&] { return rng() % 8 ? 1u << (rng() % 32) | 1u << (rng() % 32) : 0; };
    const uint32_t total = count + 8, fullMask = randomMask(), halfMask = randomMask();
    alignas(32) uint32_t flagStorage[256 + 16];
    ASSERT_LE(shift + total, std::size(flagStorage));
    for (auto& flags : flagStorage) flags = rng() & rng() & rng();
    const uint32_t* visibility = flagStorage + shift;
    std::vector<Texel> old(total);
    CanaryBuffer texels(total * sizeof(Texel), 64 + shift * sizeof(Texel));
    for (uint32_t k = 0; k < total; ++k) Store<Texel>(texels.data() + k * sizeof(Texel), old[k] = Texel(rng()));

    if constexpr (k16)
        impl.FowAlpha16Update(visibility, count, fullMask, halfMask, reinterpret_cast<uint16_t*>(texels.data()));
    else
        impl.FowAlpha32Update(visibility, count, fullMask, halfMask, reinterpret_cast<uint32_t*>(texels.data()));
    EXPECT_TRUE(X87StackUsable());

    const uint32_t step = k16 ? 4 : 2, rewritten = (count + step - 1) / step * step;
    for (uint32_t k = 0; k < total; ++k) {
        const uint32_t flags = visibility[k];
        const uint32_t alpha = kLevels[k16][vector][flags & fullMask ? 2 : flags & halfMask ? 1 : 0] << kAlphaShift;
        const uint32_t colour = old[k] & ((1u << kAlphaShift) - 1);
        EXPECT_EQ(Load<Texel>(texels.data() + k * sizeof(Texel)), k < rewritten ? Texel(colour | alpha) : old[k])
            << "count " << count << ", texel " << k << std::hex << ", flags 0x" << flags << ", masks 0x" << fullMask
            << "/0x" << halfMask;
    }
    EXPECT_EQ(texels.FirstGuardHit(), -1) << count;
    ExpectReports(vector && count % 4 != 0, "./Quorvan_SSE.cpp", k16 ? 1269 : 1365,
                  std::string(k16 ? "FowAlpha16" : "FowAlpha32") + "Update, Must have multiple's of 4 for size only.");
}

// Every count up to 80 meets each path's wide steps and the SSE steps after
// them, and the counts off the step; longer ones run the wide loops longer.
TEST_P(MemoryHelperTest, FogUpdatesSetEachTexelsAlphaByItsFlagWord) {
    for (uint32_t count = 0; count <= 256; count += count < 80 ? 1 : 4) {
        CheckFog<uint16_t>(Impl(), Vector(), m_rng, count, count % 5);
        CheckFog<uint32_t>(Impl(), Vector(), m_rng, count, count % 7);
    }
}

// The vector form walks until it meets the end exactly: an odd count would
// run away, so it only sees even ones.
TEST_P(MemoryHelperTest, ANDMaskMemoryClearsWhatTheMaskDoesNotKeepInTheFirstCountWords) {
    std::vector<uint32_t> counts = {1002};
    for (uint32_t count = 0; count <= 80; count += Vector() ? 2 : 1) counts.push_back(count);
    for (uint32_t count : counts)
        for (uint32_t mask : {static_cast<uint32_t>(m_rng()), 0u}) {
            // One word off an 8-byte boundary, then off a 32-byte one.
            CanaryBuffer words((count + 4) * 4, 64 + 4 + count % 8 * 4);
            std::vector<uint32_t> old(count + 4);
            for (uint32_t k = 0; k < old.size(); ++k) Store(words.data() + 4 * k, old[k] = m_rng());
            Impl().ANDMaskMemory(reinterpret_cast<uint32_t*>(words.data()), count, mask);
            EXPECT_TRUE(X87StackUsable());
            for (uint32_t k = 0; k < old.size(); ++k)
                EXPECT_EQ(Load<uint32_t>(words.data() + 4 * k), k < count ? old[k] & mask : old[k])
                    << "count " << count << ", mask " << mask << ", word " << k;
            EXPECT_EQ(words.FirstGuardHit(), -1) << count;
        }
    EXPECT_TRUE(HostCapture::Reports().empty());
}

TEST_P(MemoryHelperTest, ANDMaskMemoryVectorFormReportsAnOddCountBeforeItWalks) {
    if (!Vector()) GTEST_SKIP() << "the scalar form takes any count";
    // Only a host whose handler does not return keeps this walk from running away.
    HostCapture::AbortOnFatal();
    uint32_t words[4] = {1, 2, 3, 4};
    EXPECT_THROW(Impl().ANDMaskMemory(words, 3, 0), HostAbort);
    ExpectReports(true, "./Quorvan_SSE.cpp", 1427, "ANDMaskMemory, Must have multiple's of 2 for length.");
    EXPECT_EQ(std::vector<uint32_t>(words, words + 4), (std::vector<uint32_t>{1, 2, 3, 4}));
}

// Whether word `k` of a buffer lies in the block at its word `start`.
bool InBlock(uint32_t k, uint32_t start, uint32_t width, uint32_t height, uint32_t pitch) {
    for (uint32_t row = 0; row < height; ++row)
        if (k >= start + row * pitch && k < start + row * pitch + width) return true;
    return false;
}

// Blocks up to 40 wide from each word of a 32-byte chunk, with rows that
// overlap, touch or leave gaps; an empty block or mask reads nothing.
TEST_P(MemoryHelperTest, TestMaskRectFindsABitExactlyWhenItsWordIsInTheBlock) {
    alignas(32) uint32_t words[8 + 3 * 45 + 48];
    constexpr uint32_t kWords = sizeof words / 4;
    std::fill(std::begin(words), std::end(words), ~0u);
    EXPECT_FALSE(Impl().TestMaskRect(nullptr, 5, 0, 5, ~0u));
    EXPECT_FALSE(Impl().TestMaskRect(words, 0, 4, 8, ~0u));
    EXPECT_FALSE(Impl().TestMaskRect(words, 4, 4, 8, 0));
    for (uint32_t width = 1; width <= 40; ++width)
        for (uint32_t start = 0; start < 8; ++start)
            for (uint32_t pitch : {1u, 3u, width, width | 1, (width | 1) + 4}) {
                const uint32_t height = 3, bit = 1u << (width % 32);
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
// The hit is the last readable word before an unreadable page; the row runs
// on into that page, and so would the rows after it.
TEST_P(MemoryHelperTest, TestMaskRectStopsAtTheFirstHitBeforeAnUnreadablePage) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    ASSERT_EQ(mprotect(static_cast<uint8_t*>(pages) + page, page, PROT_NONE), 0);
    uint32_t* end = reinterpret_cast<uint32_t*>(static_cast<uint8_t*>(pages) + page);
    end[-1] = 0x10;
    for (uint32_t before = 0; before < 20; ++before)
        for (uint32_t width : {before + 2, before + 9, before + 40}) {
            const uint32_t* row = end - 1 - before;
            EXPECT_TRUE(Impl().TestMaskRect(row, width, 1, 0, 0x30)) << before << ", " << width;
            EXPECT_TRUE(Impl().TestMaskRect(row, width, 3, 4096, 0x10)) << before << ", " << width;
        }
    munmap(pages, 2 * page);
}
#endif

INSTANTIATE_TEST_SUITE_P(, MemoryHelperTest,
                         ::testing::Values(Implementation{"Scalar", false, VectorPath::Sse},
                                           Implementation{"SSE", true, VectorPath::Sse},
                                           Implementation{"SSE2", true, VectorPath::Sse2},
                                           Implementation{"AVX2", true, VectorPath::Avx2},
                                           Implementation{"AVX512", true, VectorPath::Avx512}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
