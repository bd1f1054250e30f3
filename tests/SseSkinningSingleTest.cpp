// SkinningSingle of the vector implementation: each vertex through the bone
// of its first index byte, every vector at its fixed slot, four-lane stores
// with their spill where the layout allows them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "../Cross/Quorvan/SkinningDispatch.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/SseSkinning.h"
#include "../simd/VectorPath.h"
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

// One job's source, destination and auxiliary bytes in one block, so the
// reference and each vector path can run on a copy of exactly the same memory.
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

class SceneMaker {
public:
    explicit SceneMaker(uint32_t seed) : m_random(seed) {}

    int Uniform(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_random); }

    // A random job of the leaf: 1 to 40 vertices of random bytes with float
    // vectors where the kernel reads them, now and then one component of a
    // vector infinite, NaN or -0; strides forwards or backwards, some shorter than
    // a vertex; extra and auxiliary bytes anywhere around the slots. An
    // overlapping scene puts the destination within a vertex of the source.
    Scene Make(uint32_t extraSize, unsigned features, bool overlapping) {
        const uint32_t count = Uniform(1, 40);
        // Where stores can land on what is read (overlapping scenes, and
        // source vertices closer than their size), every float stays on a
        // four-byte grid, so no copy puts together a NaN from the bytes of
        // two values.
        const uint32_t grid = overlapping ? ~3u : ~0u;
        const uint32_t srcStride = Uniform(0, 3) == 0 ? Uniform(4, 15) * 4 : (64 + extraSize + Uniform(0, 7)) & grid;
        const uint32_t auxSize = Uniform(0, 12) & grid;
        int32_t dstExtraOffset = Uniform(-16, 56);
        uint32_t dstStride = Uniform(0, 3) == 0 ? Uniform(8, 52)
                                                : std::max<int32_t>(52, dstExtraOffset + extraSize + auxSize) +
                                                      Uniform(0, 7);
        const bool srcBackwards = Uniform(0, 3) == 0;
        bool dstBackwards = Uniform(0, 3) == 0;
        int shift = 0;
        uint32_t srcExtraOffset = Uniform(0, 64);
        if (overlapping) {
            // The same stride, and extra bytes that do not overlap their own
            // copy, which copies of any size read before they write.
            dstStride = srcStride;
            dstBackwards = srcBackwards;
            do {
                shift = Uniform(-24, 24) * 4;
                dstExtraOffset = Uniform(-4, 14) * 4;
                srcExtraOffset = Uniform(0, 16) * 4;
            } while (std::abs(shift + dstExtraOffset - static_cast<int>(srcExtraOffset)) < static_cast<int>(extraSize));
        }

        // Source and destination each with room for 64 + 84 bytes around
        // every vertex; apart, or the destination shifted into the source.
        const std::size_t srcSpan = (count - 1) * srcStride, dstSpan = (count - 1) * dstStride;
        const std::size_t srcAt = 128 + (srcBackwards ? srcSpan : 0);
        const std::size_t dstBase = overlapping ? 128 + shift : srcSpan + 512;
        const std::size_t dstAt = dstBase + (dstBackwards ? dstSpan : 0);
        const std::size_t auxAt = std::max(srcSpan, dstBase + dstSpan) + 512;
        m_apart = !overlapping && srcStride >= 60;
        Scene scene;
        scene.memory.assign(auxAt + 8 + count * auxSize + 64, kCanary);
        uint8_t* memory = scene.memory.data();
        // Where the kernel may read copied or random bytes as floats, no four
        // of them make a NaN.
        const int top = m_apart ? 255 : 126;
        for (std::size_t k = 0; k < srcSpan + 256; ++k) memory[k] = static_cast<uint8_t>(Uniform(0, top));
        for (std::size_t k = auxAt; k < auxAt + 8 + count * auxSize; ++k) memory[k] = static_cast<uint8_t>(Uniform(0, top));
        for (uint32_t v = 0; v < count; ++v) {
            uint8_t* vertex = memory + 128 + v * srcStride;
            StoreVector(vertex, 100);
            if (!(features & kSkinPacked))
                for (uint32_t at : {20, 32, 44}) StoreVector(vertex + at, 1);
        }

        SkinningJob& job = scene.job;
        job.srcVertex = memory + srcAt;
        job.srcStride = srcBackwards ? 0u - srcStride : srcStride;
        job.srcExtraOffset = srcExtraOffset;
        job.dstVertex = memory + dstAt;
        job.dstStride = dstBackwards ? 0u - dstStride : dstStride;
        job.dstExtraOffset = static_cast<uint32_t>(dstExtraOffset);
        job.auxBase = memory + auxAt;
        job.auxOffset = Uniform(0, 8);
        job.auxSize = auxSize;
        job.extraSize = extraSize;
        job.vertexCount = count;
        SetFlags(job, features, static_cast<uint8_t>(Uniform(1, 255)));
        return scene;
    }

private:
    void StoreVector(uint8_t* at, float size) {
        std::uniform_real_distribution<float> component(-size, size);
        float xyz[3] = {component(m_random), component(m_random), component(m_random)};
        // The NaN with a payload only where no other NaN can meet it; elsewhere
        // the one an invalid operation makes, the same whichever operand wins.
        const uint32_t specials[] = {0x7F800000, 0xFF800000, 0x80000000, m_apart ? 0x7FC12345u : 0xFFC00000u};
        if (Uniform(0, 7) == 0) std::memcpy(&xyz[Uniform(0, 2)], &specials[Uniform(0, 3)], 4);
        std::memcpy(at, xyz, 12);
    }

    std::mt19937 m_random;
    bool m_apart = true;  // every vector read is one StoreVector wrote
};

std::string Where(const Scene& scene, const std::vector<uint8_t>& got, const std::vector<uint8_t>& expected) {
    const auto mismatch = std::mismatch(got.begin(), got.end(), expected.begin());
    if (mismatch.first == got.end()) return "";
    const std::ptrdiff_t at = mismatch.first - got.begin();
    return "byte " + std::to_string(at) + " (dst + " + std::to_string(at - (scene.job.dstVertex - scene.memory.data())) +
           ") is " + std::to_string(*mismatch.first) + ", expected " + std::to_string(*mismatch.second);
}

// Random jobs for every size and flag combination, on every vector path the
// processor runs, against the reference and against the SSE path: every
// byte of memory, and the cursors the kernel leaves in the job copy. Even
// bones stay at the initial identity, so their spill lane is 1.0.
TEST_F(SseSkinningSingleTest, RandomJobsMatchTheReferenceAndTheSsePathInEveryKernel) {
    std::vector<std::vector<uint8_t>> fromSse;
    for (const VectorPath path : {VectorPath::Sse, VectorPath::Avx2, VectorPath::Avx512}) {
        if (!ProcessorRunsVectorPath(path)) continue;
        m_sse = std::make_unique<Quorvan_SSE>(path);
        ReferencePalette palette;
        std::mt19937 bones(20240517);
        for (unsigned bone = 1; bone < 256; bone += 2) palette.SetRandom(*m_sse, bone, bones);

        SceneMaker maker(20240518);
        std::size_t scenes = 0;
        for (uint32_t extraSize = 0; extraSize <= kMaxExtraSize; extraSize += 4) {
            for (unsigned features = 0; features < kFlagCombinations; ++features) {
                for (const bool overlapping : {false, false, true}) {
                    Scene scene = maker.Make(extraSize, features, overlapping);
                    const std::string what = std::string(VectorPathName(path)) + ", extraSize " +
                                             std::to_string(extraSize) + ", features " + std::to_string(features) +
                                             (overlapping ? ", overlapping" : "");
                    std::vector<uint8_t> expected = scene.memory;
                    SkinSingleReference(scene.On(expected), palette);
                    m_sse->SkinningSingle(&scene.job);

                    const std::string model = Where(scene, scene.memory, expected);
                    EXPECT_EQ(model, "") << what << " against the reference";
                    if (path == VectorPath::Sse) {
                        fromSse.push_back(scene.memory);
                    } else if (scenes < fromSse.size()) {
                        EXPECT_EQ(Where(scene, scene.memory, fromSse[scenes]), "") << what << " against SSE";
                    }
                    ++scenes;

                    const SkinningJob& job = scene.job;
                    const int32_t n = static_cast<int32_t>(job.vertexCount);
                    EXPECT_EQ(s_sseJob.srcVertex, job.srcVertex + n * static_cast<int32_t>(job.srcStride)) << what;
                    EXPECT_EQ(s_sseJob.dstVertex, job.dstVertex + n * static_cast<int32_t>(job.dstStride)) << what;
                    EXPECT_EQ(s_sseJob.auxOffset, job.auxOffset + (job.hasAux ? n * job.auxSize : 0)) << what;
                    EXPECT_EQ(s_sseJob.vertexCount, 0u) << what;
                    if (HasFailure()) return;
                }
            }
        }
    }
}

}  // namespace
