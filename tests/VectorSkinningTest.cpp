// SkinningFull and SkinningSingle of the vector implementation, on every
// vector path the processor runs: random jobs against the model, and the
// packed rounding on worked numbers.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "../simd/Quorvan_SSE.h"
#include "../simd/SseSkinning.h"
#include "Canary.h"
#include "Lifecycle.h"
#include "RandomSkinningJob.h"
#include "SkinningModel.h"

namespace {

// SSE2 skins as SSE does.
constexpr VectorPath kSkinningPaths[] = {VectorPath::Sse, VectorPath::Avx2, VectorPath::Avx512};

using VectorSkinningTest = FeatureTest<FeatureSSE>;

}  // namespace

// Every leaf of both operations with random jobs, against the model: every
// byte of the arena, and the job copy one stride past the last vertex. Odd
// bones are set; even ones keep the initial identity, whose translation row
// ends in 1.0.
TEST_F(VectorSkinningTest, RandomJobsOfEveryLeafOnEveryPathMatchTheModel) {
    for (const VectorPath path : kSkinningPaths) {
        if (!ProcessorRunsVectorPath(path)) continue;
        std::mt19937 random(20261122);
        Quorvan_SSE sse(path);
        VectorModel model;
        for (unsigned bone = 1; bone < 256; bone += 2) model.Set(sse, bone, RandomMatrix(random).data());
        for (uint32_t extraSize = 0; extraSize <= 84; extraSize += 4)
            for (unsigned features = 0; features < 16; ++features)
                for (int n = 0; n < 4; ++n) {
                    const bool full = n % 2 == 0;
                    const ArenaJob a = RandomJob(random, {extraSize, features, 256, 24, n < 2 ? 0u : 24u});
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

// Packed directions (z, y, x, unused, as a little-endian word) through the
// quantised identity, 127 on the diagonal. A zero component comes back as
// 127 from SkinningFull and 126 from SkinningSingle, and nothing clamps.
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
            CanaryBuffer dst(64);
            SkinningJob job{};
            job.srcVertex = src, job.dstVertex = dst.data(), job.srcStride = job.dstStride = 64;
            job.vertexCount = job.hasNormal = job.packedDirections = 1;
            c.full ? sse.SkinningFull(&job) : sse.SkinningSingle(&job);
            EXPECT_EQ(dst.FirstGuardHit(), -1);
            std::vector<uint8_t> expected(64, kCanary);
            std::fill(expected.begin(), expected.begin() + 12, 0);
            Store(expected.data() + 12, c.out);
            EXPECT_EQ(std::vector<uint8_t>(dst.data(), dst.data() + 64), expected)
                << VectorPathName(path) << std::hex << " in " << c.in;
        }
    }
}
