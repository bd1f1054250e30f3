// SkinningFull and SkinningSingle of the scalar implementation: worked
// examples, then every leaf of both dispatch tables on random jobs against
// the model in ScalarSkinningModel.h.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <typeinfo>
#include <vector>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../Cross/Quorvan/StdSkinning.h"
#include "Canary.h"
#include "Lifecycle.h"
#include "ScalarSkinningModel.h"

namespace {

using Operation = void (Quorvan::*)(const SkinningJob*);
constexpr Operation kFull = &Quorvan::SkinningFull;
constexpr Operation kSingle = &Quorvan::SkinningSingle;

using Matrix = std::array<float, 12>;

Matrix Translation(float x, float y, float z) { return {1, 0, 0, 0, 1, 0, 0, 0, 1, x, y, z}; }
Matrix Scale(float s) { return {s, 0, 0, 0, s, 0, 0, 0, s, 0, 0, 0}; }

// The source layout with a float normal; a packed normal takes its first
// four bytes.
struct Vertex {
    float position[3];
    uint8_t bones[4];
    uint8_t weights[4];
    float normal[3];
};
static_assert(sizeof(Vertex) == 32, "the source layout");

struct Flags {
    bool normal, packed;
};

uint32_t Next(uint32_t& state) {  // xorshift32
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

// A float of random sign and mantissa with magnitude in [2^lo, 2^hi).
float RandomFloat(uint32_t& state, int lo, int hi) {
    const uint32_t exponent = static_cast<uint32_t>(127 + lo + static_cast<int>(Next(state) % (hi - lo)));
    return ScalarModel::FloatFromBits((Next(state) & 0x807FFFFFu) | exponent << 23);
}

uint32_t Fnv1a(uint32_t hash, const uint8_t* bytes, std::size_t size) {
    for (std::size_t k = 0; k < size; ++k) hash = (hash ^ bytes[k]) * 16777619u;
    return hash;
}

class ScalarSkinningTest : public LibraryTest {
protected:
    ScalarSkinningTest() : m_std(new Quorvan_std), m_palette(Quorvan_std::kBoneCount * 12) {}

    void SetBone(unsigned bone, const Matrix& m) {
        m_std->SetSkinningMatrix(bone, m.data());
        std::memcpy(&m_palette[bone * 12], m.data(), sizeof(float) * 12);
    }

    // One vertex into a 24-byte destination whose every byte starts as a
    // canary.
    CanaryBuffer SkinVertex(Operation operation, const Vertex& v, Flags flags) {
        CanaryBuffer dst(24);
        SkinningJob job{};
        job.srcVertex = reinterpret_cast<const uint8_t*>(&v);
        job.srcStride = sizeof v;
        job.dstVertex = dst.data();
        job.dstStride = 24;
        job.dstExtraOffset = 24;
        job.vertexCount = 1;
        job.hasNormal = flags.normal;
        job.packedDirections = flags.packed;
        (m_std.get()->*operation)(&job);
        EXPECT_EQ(dst.FirstGuardHit(), -1);
        return dst;
    }

    std::unique_ptr<Quorvan> m_std;
    std::vector<float> m_palette;  // what the model reads
};

void ExpectPosition(const CanaryBuffer& dst, float x, float y, float z) {
    EXPECT_EQ(Load<float>(dst.data()), x);
    EXPECT_EQ(Load<float>(dst.data() + 4), y);
    EXPECT_EQ(Load<float>(dst.data() + 8), z);
}

void ExpectUntouched(const CanaryBuffer& dst, std::size_t from) {
    for (std::size_t k = from; k < dst.size(); ++k) EXPECT_EQ(dst.data()[k], kCanary) << "byte " << k;
}

}  // namespace

// Bones 1, 2, 3, 4 move x by 1, 2, 4, 8, so the position of the origin is
// the weighted sum of the influences taken.
TEST_F(ScalarSkinningTest, FullTakesRawWeightsInOrderUntilTheNextWeightIsZero) {
    for (unsigned b = 0; b < 4; ++b) SetBone(1 + b, Translation(float(1 << b), 0, 0));
    const struct {
        uint8_t weights[4];
        float x;
    } cases[] = {
        {{10, 20, 30, 40}, 490},  // all four; the byte after the weights does not matter
        {{10, 20, 0, 30}, 50},    // ends at influence 1
        {{255, 0, 9, 9}, 255},    // one influence; 9, 9 are never read
        {{0, 5, 0, 7}, 10},       // influence 0 counts with weight 0
        {{7, 0, 0, 0}, 7},
    };
    for (const auto& c : cases) {
        Vertex v{{0, 0, 0}, {1, 2, 3, 4}, {}, {}};
        std::memcpy(v.weights, c.weights, 4);
        std::memset(v.normal, 0xEE, sizeof v.normal);
        const CanaryBuffer dst = SkinVertex(kFull, v, {false, false});
        ExpectPosition(dst, c.x, 0, 0);
        ExpectUntouched(dst, 12);
    }
}

TEST_F(ScalarSkinningTest, FullWithZeroWeightsGivesZerosAndNoNaN) {
    SetBone(7, {0.5f, -2, 1, 3, -0.25f, 4, -1, 1, 1, -5, 6, -7});
    const Vertex v{{1.5f, -2, 3}, {7, 7, 7, 7}, {0, 0, 0, 0}, {0.25f, -0.5f, 1}};

    CanaryBuffer dst = SkinVertex(kFull, v, {true, false});
    for (int k = 0; k < 6; ++k) EXPECT_EQ(Load<uint32_t>(dst.data() + 4 * k), 0u) << "float " << k << " is +0";

    Vertex packed = v;
    const uint8_t direction[4] = {10, 200, 30, 128};
    std::memcpy(packed.normal, direction, 4);
    dst = SkinVertex(kFull, packed, {true, true});
    ExpectPosition(dst, 0, 0, 0);
    EXPECT_EQ(Load<uint32_t>(dst.data() + 12), 0xFF000000u) << "bytes (0, 0, 0, 255)";
    ExpectUntouched(dst, 16);
}

TEST_F(ScalarSkinningTest, FullScalesByTheSumOfTheWeightBytesAndRenormalises) {
    SetBone(0, Translation(0, 0, 0));
    SetBone(1, Translation(0, 0, 0));
    const Vertex v{{1.5f, -2.25f, 1000.125f}, {0, 1, 0, 0}, {128, 127, 0, 0}, {0, 0, 2}};
    const CanaryBuffer dst = SkinVertex(kFull, v, {true, false});
    ExpectPosition(dst, 382.5f, -573.75f, 255031.875f);
    EXPECT_EQ(Load<float>(dst.data() + 12), 0.0f);
    EXPECT_EQ(Load<float>(dst.data() + 16), 0.0f);
    EXPECT_NEAR(Load<float>(dst.data() + 20), 1.0f, 5e-6);  // 510 times the fast 1/sqrt(510^2)
}

TEST_F(ScalarSkinningTest, SingleUsesTheFirstBoneAtFullStrength) {
    SetBone(3, Translation(0, 0, 0));
    SetBone(5, Translation(1, 2, 3));
    SetBone(9, Translation(1000, 1000, 1000));
    Vertex v{{1.5f, -2.25f, 1000.125f}, {3, 9, 9, 9}, {0, 255, 255, 255}, {}};
    CanaryBuffer dst = SkinVertex(kSingle, v, {false, false});
    ExpectPosition(dst, 1.5f, -2.25f, 1000.125f);
    ExpectUntouched(dst, 12);

    v.bones[0] = 5;
    dst = SkinVertex(kSingle, v, {false, false});
    ExpectPosition(dst, 2.5f, -0.25f, 1003.125f);
}

TEST_F(ScalarSkinningTest, SingleRotatesTheNormalWithoutRenormalising) {
    SetBone(2, Scale(2));
    Vertex v{{1.5f, -2.25f, 3}, {2, 0, 0, 0}, {0, 0, 0, 0}, {0.25f, -0.5f, 1}};
    CanaryBuffer dst = SkinVertex(kSingle, v, {true, false});
    ExpectPosition(dst, 3, -4.5f, 6);
    EXPECT_EQ(Load<float>(dst.data() + 12), 0.5f);
    EXPECT_EQ(Load<float>(dst.data() + 16), -1.0f);
    EXPECT_EQ(Load<float>(dst.data() + 20), 2.0f);

    // (113, 0, 199, 51) decodes to about (0.605, -0.8, -0.002); doubled, its
    // x and its range leave [0, 1] and clamp to 255 and 0.
    const uint8_t direction[4] = {113, 0, 199, 51};
    std::memcpy(v.normal, direction, 4);
    dst = SkinVertex(kSingle, v, {true, true});
    EXPECT_EQ(Load<uint32_t>(dst.data() + 12), 0x00FF009Du) << "bytes (157, 0, 255, 0)";
    ExpectUntouched(dst, 16);
}

// Every leaf of both tables (22 sizes by 16 flag combinations) on random
// jobs: unaligned strides in either direction, pass-through bytes anywhere in
// the destination vertex, over the skinned slots too, and auxiliary streams
// of 0 to 12 bytes. Each destination byte, guards included, is compared with
// the model, and the job copy must end one past the last vertex.
class RandomJobs : public ScalarSkinningTest {
protected:
    RandomJobs() {
        for (unsigned bone = 0; bone < Quorvan_std::kBoneCount; ++bone) {
            Matrix m;
            for (int k = 0; k < 9; ++k) m[k] = RandomFloat(m_state, -7, 1);
            for (int k = 9; k < 12; ++k) m[k] = RandomFloat(m_state, -3, 7);
            SetBone(bone, m);
        }
    }

    // Runs one random job of the leaf through `quorvan` and returns the
    // digest of its destination.
    uint32_t CheckLeaf(Quorvan* quorvan, Operation operation, uint32_t extraSize, unsigned flags) {
        uint32_t& s = m_state;
        const bool normal = flags & 1, tangents = flags & 2, aux = flags & 4, packed = flags & 8;
        const uint32_t count = 1 + Next(s) % 5;

        SkinningJob job{};
        job.extraSize = extraSize;
        job.vertexCount = count;
        // Any non-zero byte counts as set.
        job.hasNormal = normal ? uint8_t(1 + Next(s) % 255) : 0;
        job.hasTangents = tangents ? uint8_t(1 + Next(s) % 255) : 0;
        job.hasAux = aux ? uint8_t(1 + Next(s) % 255) : 0;
        job.packedDirections = packed ? uint8_t(1 + Next(s) % 255) : 0;

        job.srcExtraOffset = Next(s) % 49;
        const uint32_t srcStride = std::max<uint32_t>(32, job.srcExtraOffset + extraSize) + Next(s) % 8;
        std::vector<uint8_t> src(count * srcStride);
        for (uint8_t& byte : src) byte = static_cast<uint8_t>(Next(s));
        const bool srcBackwards = Next(s) % 2;
        job.srcVertex = src.data() + (srcBackwards ? (count - 1) * srcStride : 0);
        job.srcStride = srcBackwards ? 0u - srcStride : srcStride;
        for (uint32_t v = 0; v < count; ++v) {
            Vertex vertex;
            for (float& c : vertex.position) c = RandomFloat(s, -4, 7);
            for (uint8_t& b : vertex.bones) b = static_cast<uint8_t>(Next(s) % Quorvan_std::kBoneCount);
            for (uint8_t& w : vertex.weights) w = Next(s) % 4 == 0 ? 0 : static_cast<uint8_t>(Next(s));
            for (float& c : vertex.normal) c = RandomFloat(s, -6, 1);
            if (packed) Store(reinterpret_cast<uint8_t*>(vertex.normal), Next(s));
            std::memcpy(src.data() + v * srcStride, &vertex, sizeof vertex);
        }

        std::vector<uint8_t> auxStream;
        if (aux) {
            job.auxSize = Next(s) % 13;
            job.auxOffset = Next(s) % 16;
            auxStream.resize(job.auxOffset + count * job.auxSize + 1);
            for (uint8_t& byte : auxStream) byte = static_cast<uint8_t>(Next(s));
            job.auxBase = auxStream.data();
        } else {
            // Never read without hasAux.
            job.auxSize = 0xDEAD;
            job.auxOffset = 0xBEEF;
            job.auxBase = nullptr;
        }

        job.dstExtraOffset = Next(s) % 41;
        const uint32_t dstStride =
            std::max<uint32_t>(24, job.dstExtraOffset + extraSize + (aux ? job.auxSize : 0)) + Next(s) % 8;
        CanaryBuffer dst(count * dstStride);
        const bool dstBackwards = Next(s) % 2;
        const uint32_t dstStart = dstBackwards ? (count - 1) * dstStride : 0;
        job.dstVertex = dst.data() + dstStart;
        job.dstStride = dstBackwards ? 0u - dstStride : dstStride;

        std::vector<uint8_t> expected(dst.data(), dst.data() + dst.size());
        SkinningJob model = job;
        model.dstVertex = expected.data() + dstStart;
        ScalarModel::Skin(model, m_palette.data(), operation == kFull);

        const SkinningJob before = job;
        (quorvan->*operation)(&job);

        const std::string leaf = ::testing::PrintToString(extraSize) + " flags " + ::testing::PrintToString(flags);
        EXPECT_EQ(std::memcmp(&job, &before, sizeof job), 0) << "the caller's job was written, " << leaf;
        EXPECT_EQ(dst.FirstGuardHit(), -1) << leaf;
        for (std::size_t k = 0; k < expected.size(); ++k)
            if (dst.data()[k] != expected[k]) {
                ADD_FAILURE() << "byte " << k << " of " << expected.size() << " is " << +dst.data()[k]
                              << ", expected " << +expected[k] << ", extraSize " << leaf;
                break;
            }

        SkinningJob end = job;
        end.srcVertex = job.srcVertex + static_cast<int32_t>(count * job.srcStride);
        end.dstVertex = job.dstVertex + static_cast<int32_t>(count * job.dstStride);
        if (aux) end.auxOffset += count * job.auxSize;
        end.vertexCount = 0;
        EXPECT_EQ(std::memcmp(&s_stdJob, &end, sizeof end), 0) << "job copy after the call, " << leaf;

        return Fnv1a(2166136261u, dst.data(), dst.size());
    }

    uint32_t m_state = 0x5EED5EEDu;
};

// The digest pins the bytes across builds: x86-64, i386 on the x87 unit and
// every emulated processor must produce the very same destinations.
TEST_F(RandomJobs, EveryLeafMatchesTheModelAndEveryBuild) {
    uint32_t digest = 2166136261u;
    for (Operation operation : {kFull, kSingle})
        for (uint32_t extraSize = 0; extraSize <= 84; extraSize += 4)
            for (unsigned flags = 0; flags < 16; ++flags)
                for (int repeat = 0; repeat < 2; ++repeat) {
                    const uint32_t leafDigest = CheckLeaf(m_std.get(), operation, extraSize, flags);
                    digest = Fnv1a(digest, reinterpret_cast<const uint8_t*>(&leafDigest), 4);
                }
    EXPECT_EQ(digest, 0xF778FCC3u);
    EXPECT_TRUE(HostCapture::Reports().empty());
}

// On a processor without SSE the library itself picks the scalar
// implementation; run there (the Pentium II emulation), a single SSE
// instruction on this path would stop the program.
TEST_F(RandomJobs, TheDetectedScalarImplementationSkins) {
    ASSERT_TRUE(Quorvan::Initialize(false, 6));
    if (typeid(*Quorvan::i()) != typeid(Quorvan_std)) GTEST_SKIP() << "this processor runs the vector implementation";
    for (unsigned bone = 0; bone < Quorvan_std::kBoneCount; ++bone)
        Quorvan::i()->SetSkinningMatrix(bone, &m_palette[bone * 12]);
    for (Operation operation : {kFull, kSingle})
        for (unsigned flags = 0; flags < 16; ++flags) CheckLeaf(Quorvan::i(), operation, 4 * (flags % 22), flags);
}

namespace {
uint16_t X87Control() {
    uint16_t control;
    asm volatile("fnstcw %0" : "=m"(control));
    return control;
}
void SetX87Control(uint16_t control) { asm volatile("fldcw %0" : : "m"(control)); }
}  // namespace

// A host may run the x87 unit with its precision lowered; the scalar sums are
// extended all the same, and the host gets its own setting back.
TEST_F(RandomJobs, TheHostsPrecisionSettingChangesNothing) {
    constexpr uint32_t kVertices = 64;
    std::vector<Vertex> src(kVertices);
    for (Vertex& v : src) {
        for (float& c : v.position) c = RandomFloat(m_state, -4, 7);
        for (uint8_t& b : v.bones) b = static_cast<uint8_t>(Next(m_state) % Quorvan_std::kBoneCount);
        for (uint8_t& w : v.weights) w = static_cast<uint8_t>(1 + Next(m_state) % 255);
        for (float& c : v.normal) c = RandomFloat(m_state, -6, 1);
    }
    const auto skin = [&](Operation operation, uint16_t control) {
        std::vector<uint8_t> dst(kVertices * 24);
        SkinningJob job{};
        job.srcVertex = reinterpret_cast<const uint8_t*>(src.data());
        job.srcStride = sizeof(Vertex);
        job.dstVertex = dst.data();
        job.dstStride = 24;
        job.dstExtraOffset = 24;
        job.vertexCount = kVertices;
        job.hasNormal = 1;
        const uint16_t host = X87Control();
        SetX87Control(control);
        (m_std.get()->*operation)(&job);
        EXPECT_EQ(X87Control(), control);
        SetX87Control(host);
        return dst;
    };
    const uint16_t extended = X87Control() | 0x0300, single = X87Control() & ~0x0300;
    for (Operation operation : {kFull, kSingle}) {
        EXPECT_EQ(skin(operation, single), skin(operation, extended));
        EXPECT_EQ(skin(operation, static_cast<uint16_t>(single | 0x0200)), skin(operation, extended));  // 53 bits
    }
}
