// SkinningFull and SkinningSingle of the vector implementation, on every
// vector path the processor runs: random jobs against the model, and worked
// examples whose numbers hold the model itself to the rules it encodes.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "../simd/Quorvan_SSE.h"
#include "../simd/shared/VectorBonePalette.h"
#include "../simd/shared/SkinningKernels.h"
#include "Canary.h"
#include "Lifecycle.h"
#include "RandomSkinningJob.h"
#include "SkinningModel.h"

using VectorSkinningTest = FeatureTest<FeatureSSE>;

namespace {
constexpr VectorPath kSkinningPaths[] = {VectorPath::Sse, VectorPath::Avx2, VectorPath::Avx512};  // SSE2 skins as SSE

// Two copies of the vertex `src` (64 bytes apart), with a normal, into
// 64-byte destinations of canary bytes: the first takes the wide kernels'
// path where the processor has one.
CanaryBuffer Skin(Quorvan& quorvan, bool full, const uint8_t* src, bool packedNormal) {
    static uint8_t twice[128];
    std::memcpy(twice, src, 64);
    std::memcpy(twice + 64, src, 64);
    CanaryBuffer dst(128);
    SkinningJob job{};
    job.srcVertex = twice, job.dstVertex = dst.data(), job.srcStride = job.dstStride = 64, job.vertexCount = 2;
    job.hasNormal = 1, job.packedDirections = packedNormal;
    full ? quorvan.SkinningFull(&job) : quorvan.SkinningSingle(&job);
    EXPECT_EQ(dst.FirstGuardHit(), -1);
    return dst;
}
}  // namespace

// Every leaf of both operations with random jobs, against the model: every
// byte of the arena, and the job copy one stride past the last vertex. Odd
// bones are set; even ones keep the identity each instance resets the shared
// palette to, whose translation row ends in 1.0.
TEST_F(VectorSkinningTest, RandomJobsOfEveryLeafOnEveryPathMatchTheModel) {
    for (const VectorPath path : kSkinningPaths) {
        if (!ProcessorRunsVectorPath(path)) continue;
        std::mt19937 random(20261122);
        std::memset(&s_ssePalette, 0x5A, sizeof s_ssePalette);
        Quorvan_SSE sse(path);
        VectorModel model;
        for (unsigned bone = 1; bone < 256; bone += 2) {
            const std::array<float, 12> m = RandomMatrix(random);
            sse.SetSkinningMatrix(bone, m.data());
            model.Load(bone, m.data());
        }
        for (uint32_t extraSize = 0; extraSize <= 84; extraSize += 4)
            for (unsigned features = 0; features < 16; ++features)
                for (int n = 0; n < 4; ++n) {
                    const bool full = n % 2 == 0;
                    const ArenaJob a = RandomJob(random, {extraSize, features, 256, 24, n < 2 ? 0u : 24u, true});
                    std::vector<uint8_t> got = a.arena, expected = a.arena;
                    const SkinningJob job = a.On(got);
                    full ? sse.SkinningFull(&job) : sse.SkinningSingle(&job);
                    full ? model.Full(a.On(expected)) : model.Single(a.On(expected));
                    const std::string leaf = std::string(VectorPathName(path)) + (full ? " Full" : " Single") +
                                             ", extraSize " + std::to_string(extraSize) + ", features " +
                                             std::to_string(features);
                    ASSERT_EQ(Difference(got, expected), "") << leaf;
                    ASSERT_TRUE(EndsAt(s_sseJob, job)) << leaf;
                }
    }
    EXPECT_TRUE(HostCapture::Reports().empty());
}

// Bones 1 to 4 move x by 1, 16, 256 and 4096, so the x of the origin shows
// which weight byte went with which bone, and how many influences ran.
TEST_F(VectorSkinningTest, FullReadsWeightsInTheirOrderAndEndsOnTheNextPlainByte) {
    const struct {
        uint8_t bytes[4];           // weight bytes 16 to 19
        std::vector<uint8_t> used;  // the weight of each influence that runs
    } cases[] = {
        {{0, 0, 255, 0}, {255}},
        {{9, 0, 7, 5}, {7}},
        {{0, 127, 128, 0}, {128, 127, 0}},  // after influence 1 the end test reads byte 18
        {{3, 5, 0, 0}, {0, 5}},
        {{64, 63, 62, 61}, {62, 63, 64, 61}},
    };
    for (const VectorPath path : kSkinningPaths) {
        if (!ProcessorRunsVectorPath(path)) continue;
        Quorvan_SSE sse(path);
        for (unsigned b = 0; b < 4; ++b) {
            const float move[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, float(1 << 4 * b), 0, 0};
            sse.SetSkinningMatrix(1 + b, move);
        }
        for (const auto& c : cases) {
            uint8_t src[64] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4};
            std::memcpy(src + 16, c.bytes, 4);
            const CanaryBuffer dst = Skin(sse, true, src, false);
            float x = 0;
            for (std::size_t i = 0; i < c.used.size(); ++i)
                x = Add(Mul(float(1 << 4 * i), Rounded(c.used[i] * double(1.0f / 255))), x);
            std::vector<uint8_t> expected(64, kCanary);
            std::memcpy(expected.data(), &x, 4);
            std::fill(expected.begin() + 4, expected.begin() + 24, 0);  // y, z and the zero normal
            for (int v = 0; v < 2; ++v)
                EXPECT_EQ(std::vector<uint8_t>(dst.data() + 64 * v, dst.data() + 64 * v + 64), expected)
                    << VectorPathName(path) << " " << int(c.bytes[2]) << " vertex " << v;
        }
    }
}

// A direction of -0 after a vertex whose sums were negative: each product is
// -0, and so is the carried sum it is added to, so -0 is stored. Identity
// bones, one influence of weight 255.
TEST_F(VectorSkinningTest, FullStoresMinusZeroForAZeroDirectionAfterANegativeOne) {
    for (const VectorPath path : kSkinningPaths) {
        if (!ProcessorRunsVectorPath(path)) continue;
        Quorvan_SSE sse(path);
        uint8_t src[3][64] = {};
        const float normals[3][3] = {{-1, -2, -3}, {-0.0f, -0.0f, -0.0f}, {-0.0f, -0.0f, -0.0f}};
        for (int v = 0; v < 3; ++v) {
            src[v][18] = 255;
            std::memcpy(src[v] + 20, normals[v], 12);
        }
        CanaryBuffer dst(192);
        SkinningJob job{};
        job.srcVertex = src[0], job.dstVertex = dst.data(), job.srcStride = job.dstStride = 64, job.vertexCount = 3;
        job.hasNormal = 1;
        sse.SkinningFull(&job);
        EXPECT_EQ(dst.FirstGuardHit(), -1);
        for (int v = 1; v < 3; ++v)
            for (int c = 0; c < 3; ++c)
                EXPECT_EQ(Load<uint32_t>(dst.data() + 64 * v + 12 + 4 * c), 0x80000000u) << VectorPathName(path) << " vertex " << v;
    }
}

// Packed directions (z, y, x, unused, as a little-endian word) through the
// quantised identity, 127 on the diagonal. A zero
// component comes back as 127 from SkinningFull and 126 from SkinningSingle,
// and nothing clamps.
TEST_F(VectorSkinningTest, PackedDirectionsOfTheIdentityBone) {
    const struct {
        bool full;
        uint8_t weights[4];
        uint32_t in, out;
    } cases[] = {
        {true, {0, 0, 255, 0}, 0x07FF8080, 0x00FD7F7F},        // x: 127 * 127 * 255 + 4194175 >> 15 = 253
        {true, {0, 0, 255, 0}, 0x00018080, 0x00027F7F},        // -x
        {true, {0, 0, 128, 0}, 0x00FF8080, 0x00BE7F7F},        // 2064512 + 4194175 is one short of 191 << 15
        {true, {255, 255, 255, 255}, 0x00FF8080, 0x00767F7F},  // four full weights: 630 wraps to 118
        {false, {}, 0x778080FF, 0x007E7EFD},
        {false, {}, 0x77808080, 0x007E7E7E},
        {false, {}, 0x77808001, 0x007E7E00},
        {false, {}, 0x77808000, 0x007E7EFF},  // -16256 + 16255 shifts to -1
    };
    for (const VectorPath path : kSkinningPaths) {
        if (!ProcessorRunsVectorPath(path)) continue;
        Quorvan_SSE sse(path);
        for (const auto& c : cases) {
            uint8_t src[64] = {};
            std::memcpy(src + 16, c.weights, 4);
            Store(src + 20, c.in);
            const CanaryBuffer dst = Skin(sse, c.full, src, true);
            std::vector<uint8_t> expected(64, kCanary);
            std::fill(expected.begin(), expected.begin() + 12, 0);
            Store(expected.data() + 12, c.out);
            for (int v = 0; v < 2; ++v)
                EXPECT_EQ(std::vector<uint8_t>(dst.data() + 64 * v, dst.data() + 64 * v + 64), expected)
                    << VectorPathName(path) << std::hex << " in " << c.in << " vertex " << v;
        }
    }
}
