// SkinningFull and SkinningSingle of the scalar implementation: its palette,
// random jobs against the model, and the precision its sums keep.

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../Cross/Quorvan/StdSkinning.h"
#include "Canary.h"
#include "Lifecycle.h"
#include "RandomSkinningJob.h"
#include "SkinningModel.h"

namespace {

using Operation = void (Quorvan::*)(const SkinningJob*);
constexpr Operation kFull = &Quorvan::SkinningFull, kSingle = &Quorvan::SkinningSingle;

uint32_t Fnv1a(uint32_t hash, const std::vector<uint8_t>& bytes) {
    for (uint8_t b : bytes) hash = (hash ^ b) * 16777619u;
    return hash;
}

uint16_t X87Control() {
    uint16_t control;
    asm volatile("fnstcw %0" : "=m"(control));
    return control;
}
void SetX87Control(uint16_t control) { asm volatile("fldcw %0" : : "m"(control)); }

class ScalarSkinningTest : public LibraryTest {
protected:
    ScalarSkinningTest() : m_std(new Quorvan_std), m_palette(Quorvan_std::kBoneCount * 12) {}

    void SetBone(unsigned bone, const std::array<float, 12>& m) {
        m_std->SetSkinningMatrix(bone, m.data());
        std::memcpy(&m_palette[bone * 12], m.data(), sizeof m);
    }

    std::unique_ptr<Quorvan> m_std;
    std::vector<float> m_palette;  // what the model reads
};

}  // namespace

// The digest pins the bytes across builds: x86-64, i386 and every emulated
// processor must leave the very same arenas.
TEST_F(ScalarSkinningTest, RandomJobsOfEveryLeafMatchTheModelOnEveryBuild) {
    std::mt19937 random(0x5EED5EED);
    for (unsigned bone = 0; bone < Quorvan_std::kBoneCount; ++bone) SetBone(bone, RandomMatrix(random));
    uint32_t digest = 2166136261u;
    for (uint32_t extraSize = 0; extraSize <= 84; extraSize += 4)
        for (unsigned features = 0; features < 16; ++features)
            for (int n = 0; n < 4; ++n) {
                const bool full = n % 2 == 0;
                const ArenaJob a = RandomJob(random, {extraSize, features, Quorvan_std::kBoneCount, 6, n < 2 ? 0u : 8u});
                std::vector<uint8_t> got = a.arena, expected = a.arena;
                const SkinningJob job = a.On(got);
                (m_std.get()->*(full ? kFull : kSingle))(&job);
                (full ? ScalarModelFull : ScalarModelSingle)(a.On(expected), m_palette.data());
                const std::string leaf = std::string(full ? "Full" : "Single") + ", extraSize " +
                                         std::to_string(extraSize) + ", features " + std::to_string(features);
                ASSERT_EQ(Difference(got, expected), "") << leaf;
                ASSERT_TRUE(EndsAt(s_stdJob, job)) << leaf;
                digest = Fnv1a(digest, got);
            }
    EXPECT_EQ(digest, 0xF1A37DDFu);
    EXPECT_TRUE(HostCapture::Reports().empty());
}

// A host may lower the x87 unit's precision (threads on Windows start at 53
// bits). x' = (1 * 1 + 2^-24 * 1) + 2^-30 * 2^-30 lies just above halfway
// between 1 and the next float, so it rounds up only where the sum keeps 64
// bits: at 53 bits the 2^-60 is lost and the halfway case rounds to even.
TEST_F(ScalarSkinningTest, SumsKeep64BitsWhateverPrecisionTheHostSet) {
    SetBone(0, {1, 0, 0, 0x1p-24f, 0, 0, 0x1p-30f, 0, 0, 0, 0, 0});
    const float position[3] = {1, 1, 0x1p-30f}, expected[3] = {0x1.000002p0f, 0, 0};
    uint8_t src[32] = {};
    std::memcpy(src, position, 12);
    src[16] = 1;  // bone 0 at weight 1, alone
    const uint16_t host = X87Control();
    for (const uint16_t precision : {0x0000, 0x0200, 0x0300})  // 24, 53 and 64 bits
        for (Operation operation : {kFull, kSingle}) {
            CanaryBuffer dst(12);
            SkinningJob job{};
            job.srcVertex = src, job.dstVertex = dst.data(), job.vertexCount = 1;
            const uint16_t control = static_cast<uint16_t>((host & ~0x0300) | precision);
            SetX87Control(control);
            (m_std.get()->*operation)(&job);
            EXPECT_EQ(X87Control(), control);
            SetX87Control(host);
            EXPECT_EQ(std::memcmp(dst.data(), expected, 12), 0);
            EXPECT_EQ(dst.FirstGuardHit(), -1);
        }
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
