// SkinningFull and SkinningSingle of the vector implementation, on every
// vector path the processor runs: random jobs against the model.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "../simd/Quorvan_SSE.h"
#include "../simd/SseBonePalette.h"
#include "../simd/SseSkinning.h"
#include "Lifecycle.h"
#include "RandomSkinningJob.h"
#include "SkinningModel.h"

using VectorSkinningTest = FeatureTest<FeatureSSE>;

// Every leaf of both operations with random jobs, against the model: every
// byte of the arena, and the job copy one stride past the last vertex. Odd
// bones are set; even ones keep the identity each instance resets the shared
// palette to, whose translation row ends in 1.0.
TEST_F(VectorSkinningTest, RandomJobsOfEveryLeafOnEveryPathMatchTheModel) {
    for (const VectorPath path : {VectorPath::Sse, VectorPath::Avx2, VectorPath::Avx512}) {  // SSE2 skins as SSE
        if (!ProcessorRunsVectorPath(path)) continue;
        std::mt19937 random(20261122);
        std::memset(&s_ssePalette, 0x5A, sizeof s_ssePalette);
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
