// SkinningSingle of the vector implementation: each vertex through the bone
// of its first index byte, every vector at its fixed slot, four-lane stores
// with their spill where the layout allows them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "../Cross/Quorvan/SkinningDispatch.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/SseSkinning.h"
#include "Canary.h"
#include "HostCapture.h"
#include "Lifecycle.h"
#include "SingleBoneReference.h"

namespace {

constexpr uint32_t kPositiveZero = 0x00000000, kNegativeZero = 0x80000000, kOne = 0x3F800000;
constexpr uint32_t kCanaryWord = 0xCDCDCDCD;

void SetFlags(SkinningJob& job, unsigned features, uint8_t set = 1) {
    job.hasNormal = features & kSkinNormal ? set : 0;
    job.hasTangents = features & kSkinTangents ? set : 0;
    job.hasAux = features & kSkinAux ? set : 0;
    job.packedDirections = features & kSkinPacked ? set : 0;
}

void StoreFloats(uint8_t* at, float x, float y, float z) {
    Store(at, x);
    Store(at + 4, y);
    Store(at + 8, z);
}

class SseSkinningSingleTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        if (!RunsSse()) GTEST_SKIP() << "the operating system does not run SSE here";
        m_sse = std::make_unique<Quorvan_SSE>();
    }
    void TearDown() override {
        EXPECT_TRUE(HostCapture::Reports().empty());
        m_sse.reset();
        LibraryTest::TearDown();
    }

    // A job over one source vertex of 64 + 84 bytes and a canary destination
    // of the same size; extra bytes (if any) go from offset 64 to offset 64,
    // behind every slot.
    SkinningJob OneVertex(CanaryBuffer& src, CanaryBuffer& dst, unsigned features, uint32_t extraSize = 0) {
        SkinningJob job{};
        job.srcVertex = src.data();
        job.dstVertex = dst.data();
        job.srcStride = job.dstStride = static_cast<uint32_t>(src.size());
        job.srcExtraOffset = job.dstExtraOffset = 64;
        job.extraSize = extraSize;
        job.vertexCount = 1;
        SetFlags(job, features);
        return job;
    }

    std::unique_ptr<Quorvan_SSE> m_sse;
    ReferencePalette m_palette;
};

TEST_F(SseSkinningSingleTest, PackedDirectionsOnTheInitialIdentityKeepTheirZeroPointAndWrap) {
    struct Case {
        uint8_t z;
        uint8_t expected[4];
    };
    // With the quantised identity (127 on the diagonal), a zero component
    // comes back as 126, and -128 as -1 wrapped to 255.
    const Case cases[] = {{255, {253, 126, 126, 0}}, {128, {126, 126, 126, 0}}, {1, {0, 126, 126, 0}},
                          {0, {255, 126, 126, 0}}};
    for (const Case& c : cases) {
        CanaryBuffer src(148), dst(148);
        SkinningJob job = OneVertex(src, dst, kSkinNormal | kSkinTangents | kSkinPacked);
        StoreFloats(src.data(), 1.0f, 2.0f, 3.0f);
        src.data()[12] = 9;
        for (uint32_t at : {20, 24, 28}) Store<uint32_t>(src.data() + at, 0x77808000u | c.z);  // byte 3 unread
        m_sse->SkinningSingle(&job);
        for (uint32_t at : {12, 16, 20})
            EXPECT_EQ(Load<uint32_t>(dst.data() + at), Load<uint32_t>(c.expected)) << "z " << int(c.z) << " at " << at;
        EXPECT_EQ(Load<uint32_t>(dst.data() + 24), kCanaryWord);
    }
}

// The four bytes behind each float vector's slot (and the packed slots
// between them), for a bone set through SetSkinningMatrix and one still at
// the initial identity. The position is (1, -2, 3); the normal has only
// negative components, so its spill is -0.0, the binormal has a positive
// one, so its spill is +0.0.
TEST_F(SseSkinningSingleTest, SpillLanesLandWhereTheStoresLeaveThem) {
    enum Expect { kKept, kSpill, kOverwritten };
    struct Case {
        const char* name;
        unsigned features;
        uint32_t extraSize;
        Expect at[6];  // the words at 12, 16, 20, 24, 36, 48
    };
    constexpr unsigned N = kSkinNormal, T = kSkinTangents, A = kSkinAux, P = kSkinPacked;
    constexpr Expect K = kKept, S = kSpill, O = kOverwritten;
    const Case cases[] = {
        {"position", 0, 0, {K, K, K, K, K, K}},
        {"position, aux", A, 0, {K, K, K, K, K, K}},
        {"position, packed flag", P, 0, {K, K, K, K, K, K}},
        {"position, 1 extra word", 0, 4, {S, K, K, K, K, K}},
        {"float normal", N, 0, {O, O, O, K, K, K}},
        {"float normal, 1 extra word", N, 4, {O, O, O, K, K, K}},
        {"float normal, 2 extra words", N, 8, {O, O, O, S, K, K}},
        {"float tangents", T, 0, {S, K, K, O, O, K}},
        {"float tangents, aux", T | A, 0, {S, K, K, O, O, K}},
        {"float tangents, 1 extra word", T, 4, {S, K, K, O, O, S}},
        {"float normal and tangents", N | T, 0, {O, O, O, O, O, K}},
        {"float normal and tangents, 1 extra word", N | T, 4, {O, O, O, O, O, S}},
        {"packed normal", N | P, 0, {O, K, K, K, K, K}},
        {"packed tangents", T | P, 0, {S, O, O, K, K, K}},
        {"packed tangents, 1 extra word", T | P, 4, {S, O, O, K, K, K}},
    };
    const float matrix[12] = {0.5f, 0.25f, -1.0f, 1.0f, 0.0f, 0.5f, -0.5f, 2.0f, 0.0f, 10.0f, -20.0f, 30.0f};
    m_sse->SetSkinningMatrix(7, matrix);

    for (const Case& c : cases) {
        for (const uint8_t bone : {7, 8}) {  // set, initial identity
            CanaryBuffer src(148), dst(148);
            SkinningJob job = OneVertex(src, dst, c.features, c.extraSize);
            StoreFloats(src.data(), 1.0f, -2.0f, 3.0f);
            src.data()[12] = bone;
            StoreFloats(src.data() + 32, -0.5f, 4.0f, -1.0f);
            StoreFloats(src.data() + 44, -1.0f, 2.0f, -3.0f);
            if (c.features & P)
                Store<uint32_t>(src.data() + 20, 0x00808080);
            else
                StoreFloats(src.data() + 20, -1.0f, -0.5f, -0.25f);

            m_sse->SkinningSingle(&job);

            const uint32_t spills[6] = {bone == 7 ? kPositiveZero : kOne, 0, 0, kNegativeZero, 0, kPositiveZero};
            const uint32_t offsets[6] = {12, 16, 20, 24, 36, 48};
            for (int k = 0; k < 6; ++k) {
                const uint32_t word = Load<uint32_t>(dst.data() + offsets[k]);
                const std::string where = std::string(c.name) + ", bone " + std::to_string(bone) + ", dst + " +
                                          std::to_string(offsets[k]);
                switch (c.at[k]) {
                case K: EXPECT_EQ(word, kCanaryWord) << where; break;
                case S: EXPECT_EQ(word, spills[k]) << where; break;
                case O: EXPECT_NE(word, kCanaryWord) << where; break;
                }
            }
            EXPECT_EQ(Load<uint32_t>(dst.data() + 52), kCanaryWord) << c.name;
            EXPECT_EQ(dst.FirstGuardHit(), -1) << c.name;
        }
    }
}

TEST_F(SseSkinningSingleTest, OnlyTheFirstIndexByteChoosesTheBone) {
    const float translate[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 10, 20, 30};
    const float shift[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, -100, -200, -300};
    m_sse->SetSkinningMatrix(255, translate);
    for (unsigned bone = 0; bone < 255; ++bone) m_sse->SetSkinningMatrix(bone, shift);

    // Vertex v: bone byte 255 and other index and weight bytes that differ
    // from vertex to vertex.
    constexpr uint32_t kVertices = 3;
    const uint8_t others[kVertices][7] = {{0, 0, 0, 0, 0, 0, 0}, {1, 2, 3, 255, 0, 0, 0}, {7, 7, 7, 1, 2, 3, 4}};
    std::vector<uint8_t> src(kVertices * 24, 0);
    CanaryBuffer dst(kVertices * 16);
    for (uint32_t v = 0; v < kVertices; ++v) {
        StoreFloats(&src[24 * v], 1.0f, 2.0f, 3.0f);
        src[24 * v + 12] = 255;
        std::memcpy(&src[24 * v + 13], others[v], 7);
    }
    SkinningJob job{};
    job.srcVertex = src.data();
    job.srcStride = 24;
    job.dstVertex = dst.data();
    job.dstStride = 16;
    job.vertexCount = kVertices;
    m_sse->SkinningSingle(&job);

    for (uint32_t v = 0; v < kVertices; ++v) {
        EXPECT_EQ(Load<float>(dst.data() + 16 * v), 11.0f) << v;
        EXPECT_EQ(Load<float>(dst.data() + 16 * v + 4), 22.0f) << v;
        EXPECT_EQ(Load<float>(dst.data() + 16 * v + 8), 33.0f) << v;
    }
}

// One job's source, destination and auxiliary bytes in one block, so the
// reference can run on a copy of exactly the same memory.
struct Scene {
    std::vector<uint8_t> memory;
    SkinningJob job{};

    // The job as it reads on a copy of the memory.
    SkinningJob On(std::vector<uint8_t>& copy) const {
        SkinningJob moved = job;
        moved.srcVertex = copy.data() + (job.srcVertex - memory.data());
        moved.dstVertex = copy.data() + (job.dstVertex - memory.data());
        moved.auxBase = copy.data() + (job.auxBase - memory.data());
        return moved;
    }
};

// Checks the kernel against the reference on the same scene, every byte of
// it, and the cursors the kernel leaves in the job copy.
void ExpectSameAsReference(Quorvan& sse, const ReferencePalette& palette, Scene& scene, const std::string& what) {
    std::vector<uint8_t> expected = scene.memory;
    SkinSingleReference(scene.On(expected), palette);
    sse.SkinningSingle(&scene.job);

    const auto mismatch = std::mismatch(scene.memory.begin(), scene.memory.end(), expected.begin());
    if (mismatch.first != scene.memory.end()) {
        const std::ptrdiff_t at = mismatch.first - scene.memory.begin();
        ADD_FAILURE() << what << ": byte " << at << " (dst + " << (scene.memory.data() + at - scene.job.dstVertex)
                      << ") is " << int(*mismatch.first) << ", expected " << int(*mismatch.second);
    }
    const SkinningJob& job = scene.job;
    const int32_t n = static_cast<int32_t>(job.vertexCount);
    EXPECT_EQ(s_sseJob.srcVertex, job.srcVertex + n * static_cast<int32_t>(job.srcStride)) << what;
    EXPECT_EQ(s_sseJob.dstVertex, job.dstVertex + n * static_cast<int32_t>(job.dstStride)) << what;
    EXPECT_EQ(s_sseJob.auxOffset, job.auxOffset + (job.hasAux ? n * job.auxSize : 0)) << what;
    EXPECT_EQ(s_sseJob.vertexCount, 0u) << what;
}

// The destination overlaps the source, so each fetch sees every store made
// before it: the normal is fetched after the position's spill reached it,
// the binormal before the tangent's store reaches it.
TEST_F(SseSkinningSingleTest, FetchesAndStoresKeepTheirOrderWhenTheDestinationOverlaps) {
    m_palette.Set(*m_sse, 3, {0.5f, 0.25f, -1.0f, 1.0f, 0.0f, 0.5f, -0.5f, 2.0f, 0.0f, 10.0f, -20.0f, 30.0f},
                  {63, 31, -128, 127, 0, 63, -64, -2, 0});  // 2.0 wraps to -2
    for (const auto& [features, shift] : {std::pair<unsigned, int>{kSkinNormal, 8}, {kSkinTangents, 12}}) {
        Scene scene;
        scene.memory.assign(128, kCanary);
        uint8_t* src = scene.memory.data();
        StoreFloats(src, 1.0f, -2.0f, 3.0f);
        src[12] = 3;
        StoreFloats(src + 20, 0.5f, -0.75f, 0.125f);
        StoreFloats(src + 32, -4.0f, 5.0f, 6.0f);
        StoreFloats(src + 44, 7.0f, -8.0f, 9.0f);
        scene.job.srcVertex = src;
        scene.job.dstVertex = src + shift;
        scene.job.auxBase = src;
        scene.job.vertexCount = 1;
        SetFlags(scene.job, features);
        ExpectSameAsReference(*m_sse, m_palette, scene, "shift " + std::to_string(shift));
    }
}

// Random jobs for every size and flag combination (and so every kernel),
// with non-zero flag bytes of any value, strides forwards and backwards,
// extra and auxiliary bytes anywhere behind the slots, and bones set at
// random or left at the initial identity.
TEST_F(SseSkinningSingleTest, RandomJobsMatchTheReferenceInEveryKernel) {
    std::mt19937 random(20240517);
    for (unsigned bone = 1; bone < 256; bone += 2) m_palette.SetRandom(*m_sse, bone, random);
    const auto Uniform = [&random](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
    const auto Float = [&random](float size) { return std::uniform_real_distribution<float>(-size, size)(random); };

    for (uint32_t extraSize = 0; extraSize <= kMaxExtraSize; extraSize += 4) {
        for (unsigned features = 0; features < kFlagCombinations; ++features) {
            for (int round = 0; round < 2; ++round) {
                const uint32_t count = Uniform(1, 4);
                const uint32_t srcStride = 60 + extraSize + Uniform(0, 7);
                const uint32_t auxSize = Uniform(0, 12);
                const uint32_t dstExtraOffset = Uniform(0, 56);
                const uint32_t dstStride = std::max(52u, dstExtraOffset + extraSize + auxSize) + Uniform(0, 7);
                const bool srcBackwards = Uniform(0, 3) == 0, dstBackwards = Uniform(0, 3) == 0;

                Scene scene;
                const std::size_t srcBytes = count * srcStride + 4, dstBytes = count * dstStride;
                const std::size_t dstAt = srcBytes + 64, auxAt = dstAt + dstBytes + 64;
                scene.memory.assign(auxAt + 8 + count * auxSize + 64, kCanary);
                uint8_t* memory = scene.memory.data();
                for (std::size_t k = 0; k < srcBytes; ++k) memory[k] = static_cast<uint8_t>(Uniform(0, 255));
                for (std::size_t k = auxAt; k < auxAt + 8 + count * auxSize; ++k)
                    memory[k] = static_cast<uint8_t>(Uniform(0, 255));
                for (uint32_t v = 0; v < count; ++v) {
                    uint8_t* vertex = memory + v * srcStride;
                    StoreFloats(vertex, Float(100), Float(100), Float(100));
                    if (!(features & kSkinPacked))
                        for (uint32_t at : {20, 32, 44}) StoreFloats(vertex + at, Float(1), Float(1), Float(1));
                }

                SkinningJob& job = scene.job;
                job.srcVertex = memory + (srcBackwards ? (count - 1) * srcStride : 0);
                job.srcStride = srcBackwards ? 0u - srcStride : srcStride;
                job.srcExtraOffset = Uniform(0, srcStride - extraSize);
                job.dstVertex = memory + dstAt + (dstBackwards ? (count - 1) * dstStride : 0);
                job.dstStride = dstBackwards ? 0u - dstStride : dstStride;
                job.dstExtraOffset = dstExtraOffset;
                job.auxBase = memory + auxAt;
                job.auxOffset = Uniform(0, 8);
                job.auxSize = auxSize;
                job.extraSize = extraSize;
                job.vertexCount = count;
                SetFlags(job, features, static_cast<uint8_t>(Uniform(1, 255)));

                ExpectSameAsReference(*m_sse, m_palette, scene,
                                      "extraSize " + std::to_string(extraSize) + ", features " +
                                          std::to_string(features) + ", round " + std::to_string(round));
            }
        }
    }
}

}  // namespace
