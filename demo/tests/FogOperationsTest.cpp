// The memory helpers the fog of war uses, from both implementations of the
// library and from the plain loops that check them and time against them,
// on the documented alpha levels. Every buffer has canaries behind it.

#include "FogOperations.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "Library.h"

namespace {

constexpr uint32_t kFull = 1, kHalf = 2;

// Either a plain loop set or the library in one of its implementations.
struct Source {
    const char* name;
    Implementation implementation;
    bool library;
};

void PrintTo(const Source& source, std::ostream* out) { *out << source.name; }

class FogOperationsTest : public ::testing::TestWithParam<Source> {
protected:
    void SetUp() override {
        if (GetParam().library) {
            m_library.emplace(GetParam().implementation);
            m_operations = std::make_unique<LibraryFogOperations>(**m_library);
        } else {
            m_operations = std::make_unique<PlainFogOperations>(FogLevelsOf(GetParam().implementation));
        }
    }
    FogOperations& Operations() { return *m_operations; }
    bool Scalar() const { return GetParam().implementation == Implementation::Scalar; }

private:
    std::optional<Library> m_library;
    std::unique_ptr<FogOperations> m_operations;
};

TEST_P(FogOperationsTest, AlphaLevels) {
    // Full, half, neither, both: the full level wins.
    const uint32_t visibility[8] = {kFull, kHalf, 0, kFull | kHalf, 4, kHalf | 4, 0, kFull};
    uint16_t texels16[12];
    uint32_t texels32[12];
    for (int k = 0; k < 12; ++k) {
        texels16[k] = k < 8 ? 0x1234 : 0xCDCD;
        texels32[k] = k < 8 ? 0x05ABCDEF : 0xCDCDCDCD;
    }
    Operations().FowAlpha16Update(visibility, 8, kFull, kHalf, texels16);
    Operations().FowAlpha32Update(visibility, 8, kFull, kHalf, texels32);

    const uint16_t expected16[12] = {0xF234, 0x7234, 0x3234, 0xF234, 0x3234, 0x7234, 0x3234, 0xF234,
                                     0xCDCD, 0xCDCD, 0xCDCD, 0xCDCD};
    // The 32-bit middle and low levels differ between the implementations.
    const uint32_t half = Scalar() ? 0x80ABCDEF : 0x70ABCDEF, low = Scalar() ? 0x40ABCDEF : 0x30ABCDEF;
    const uint32_t expected32[12] = {0xFFABCDEF, half, low, 0xFFABCDEF, low, half, low, 0xFFABCDEF,
                                     0xCDCDCDCD, 0xCDCDCDCD, 0xCDCDCDCD, 0xCDCDCDCD};
    for (int k = 0; k < 12; ++k) {
        EXPECT_EQ(texels16[k], expected16[k]) << "16-bit texel " << k;
        EXPECT_EQ(texels32[k], expected32[k]) << "32-bit texel " << k;
    }
}

TEST_P(FogOperationsTest, MasksAndCopies) {
    uint32_t words[6] = {0xFFFFFFFF, 0x12345678, 0x0, 0xF0F0F0F0, 0xCDCDCDCD, 0xCDCDCDCD};
    Operations().ANDMaskMemory(words, 4, 0x0F0F0F0F);
    const uint32_t masked[6] = {0x0F0F0F0F, 0x02040608, 0, 0, 0xCDCDCDCD, 0xCDCDCDCD};
    for (int k = 0; k < 6; ++k) EXPECT_EQ(words[k], masked[k]) << "word " << k;

    // A 2 x 2 block with rows 4 words apart sees words 0, 1, 4 and 5 only.
    uint32_t grid[8] = {};
    grid[2] = grid[3] = grid[6] = grid[7] = 8;
    EXPECT_FALSE(Operations().TestMaskRect(grid, 2, 2, 4, 8));
    grid[5] = 8;
    EXPECT_TRUE(Operations().TestMaskRect(grid, 2, 2, 4, 8));
    EXPECT_FALSE(Operations().TestMaskRect(grid, 2, 2, 4, 4));
    EXPECT_FALSE(Operations().TestMaskRect(grid, 2, 0, 4, 8));

    uint8_t from[40], to[40];
    for (int k = 0; k < 40; ++k) from[k] = uint8_t(k + 1), to[k] = 0xCD;
    Operations().CachelessCopy(to, from, 36);
    for (int k = 0; k < 40; ++k) EXPECT_EQ(to[k], k < 36 ? k + 1 : 0xCD) << "byte " << k;
}

INSTANTIATE_TEST_SUITE_P(All, FogOperationsTest,
                         ::testing::Values(Source{"Quorvan_SSE", Implementation::Vector, true},
                                           Source{"Quorvan_std", Implementation::Scalar, true},
                                           Source{"PlainForSSE", Implementation::Vector, false},
                                           Source{"PlainForStd", Implementation::Scalar, false}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
