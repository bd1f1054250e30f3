// SkinningFull and SkinningSingle of the scalar implementation: random jobs
// against the model, worked examples, and the precision its sums keep.

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

// The source layout with a float normal; a packed normal takes its first
// four bytes.
struct Vertex {
    float position[3];
    uint8_t bones[4], weights[4];
    float normal[3];
};

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

float FromBits(uint32_t bits) { return Load<float>(reinterpret_cast<const uint8_t*>(&bits)); }

class ScalarSkinningTest : public LibraryTest {
protected:
    ScalarSkinningTest() : m_std(new Quorvan_std), m_palette(Quorvan_std::kBoneCount * 12) {}

    void SetBone(unsigned bone, const std::array<float, 12>& m) {
        m_std->SetSkinningMatrix(bone, m.data());
        std::memcpy(&m_palette[bone * 12], m.data(), sizeof m);
    }

    // One vertex into a 24-byte destination of canary bytes.
    CanaryBuffer SkinOne(Operation operation, const Vertex& v, bool normal, bool packed) {
        CanaryBuffer dst(24);
        SkinningJob job{};
        job.srcVertex = reinterpret_cast<const uint8_t*>(&v);
        job.dstVertex = dst.data();
        job.srcStride = job.dstStride = job.dstExtraOffset = 24;
        job.vertexCount = 1;
        job.hasNormal = normal;
        job.packedDirections = packed;
        (m_std.get()->*operation)(&job);
        EXPECT_EQ(dst.FirstGuardHit(), -1);
        return dst;
    }

    std::unique_ptr<Quorvan> m_std;
    std::vector<float> m_palette;  // what the model reads
};

std::array<float, 12> Moved(float x, float y, float z, float scale = 1) {
    return {scale, 0, 0, 0, scale, 0, 0, 0, scale, x, y, z};
}

// The floats at dst + 0, 4, ... and then the canary up to byte 24.
void ExpectFloats(const CanaryBuffer& dst, std::vector<float> floats) {
    std::vector<uint8_t> expected(24, kCanary);
    std::memcpy(expected.data(), floats.data(), 4 * floats.size());
    EXPECT_EQ(std::vector<uint8_t>(dst.data(), dst.data() + 24), expected);
}

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
    EXPECT_EQ(digest, 0x3C9F0AD7u);
    EXPECT_TRUE(HostCapture::Reports().empty());
}

// A host may lower the x87 unit's precision (threads on Windows start at 53
// bits). x' = (1 * 1 + 2^-24 * 1) + 2^-30 * 2^-30 lies just above halfway
// between 1 and the next float, so it rounds up only where the sum keeps 64
// bits: at 53 bits the 2^-60 is lost and the halfway case rounds to even.
TEST_F(ScalarSkinningTest, SumsKeep64BitsWhateverPrecisionTheHostSet) {
    SetBone(0, {1, 0, 0, 0x1p-24f, 0, 0, 0x1p-30f, 0, 0, 0, 0, 0});
    const Vertex v{{1, 1, 0x1p-30f}, {0, 0, 0, 0}, {1, 0, 0, 0}, {}};
    const uint16_t host = X87Control();
    for (const uint16_t precision : {0x0000, 0x0200, 0x0300})  // 24, 53 and 64 bits
        for (Operation operation : {kFull, kSingle}) {
            const uint16_t control = static_cast<uint16_t>((host & ~0x0300) | precision);
            SetX87Control(control);
            const CanaryBuffer dst = SkinOne(operation, v, false, false);
            EXPECT_EQ(X87Control(), control);
            SetX87Control(host);
            ExpectFloats(dst, {0x1.000002p0f, 0, 0});
        }
}

// Bones 1 to 4 move x by 1, 2, 4 and 8, so the x of the origin is the sum
// of the raw weight bytes of the influences taken, each times its bone's step.
TEST_F(ScalarSkinningTest, FullTakesRawWeightsInOrderUntilTheNextWeightIsZero) {
    for (unsigned b = 0; b < 4; ++b) SetBone(1 + b, Moved(float(1 << b), 0, 0));
    const struct {
        uint8_t weights[4];
        float x;
    } cases[] = {
        {{10, 20, 30, 40}, 490},  // all four; the byte after the weights does not matter
        {{10, 20, 0, 30}, 50},    // ends at influence 1
        {{255, 0, 9, 9}, 255},    // one influence
        {{0, 5, 0, 7}, 10},       // influence 0 counts with weight 0
    };
    for (const auto& c : cases) {
        Vertex v{{0, 0, 0}, {1, 2, 3, 4}, {}, {}};
        std::memcpy(v.weights, c.weights, 4);
        ExpectFloats(SkinOne(kFull, v, false, false), {c.x, 0, 0});
    }
}

// SkinningSingle takes index byte 12 at full strength whatever the weights,
// and rotates the normal without renormalising it: doubled, the packed
// (113, 0, 199, 51) leaves [0, 1] in x and the range, which clamp.
TEST_F(ScalarSkinningTest, SingleUsesTheFirstBoneAndKeepsTheNormalsLength) {
    SetBone(5, Moved(1, 2, 3, 2));
    SetBone(9, Moved(1000, 1000, 1000));
    Vertex v{{1.5f, -2.25f, 1000.125f}, {5, 9, 9, 9}, {0, 255, 255, 255}, {0.25f, -0.5f, 1}};
    ExpectFloats(SkinOne(kSingle, v, true, false), {4, -2.5f, 2003.25f, 0.5f, -1, 2});
    Store<uint32_t>(reinterpret_cast<uint8_t*>(v.normal), 0x33C70071);
    ExpectFloats(SkinOne(kSingle, v, true, true), {4, -2.5f, 2003.25f, FromBits(0x00FF009D)});  // (157, 0, 255, 0)
}
