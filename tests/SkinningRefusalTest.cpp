// Every skinning dispatcher refuses an extraSize no kernel takes: one report,
// no byte written, the caller's record and the dispatcher's copy unchanged.

#include <gtest/gtest.h>

#include <Quorvan/QuorvanSkinning.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../Cross/Quorvan/StdSkinning.h"
#include "../simd/Quorvan_3DNow.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/Quorvan_SSE2.h"
#include "../simd/shared/SkinningKernels.h"
#include "Canary.h"
#include "HostCapture.h"
#include "Lifecycle.h"

using SkinningRefusalTest = LibraryTest;

TEST_F(SkinningRefusalTest, UnsupportedExtraSizesAreReportedAndTouchNothing) {
    const std::unique_ptr<Quorvan> vector(Runs(FeatureSSE) ? new Quorvan_SSE : nullptr), scalar(new Quorvan_std);
    const auto threadSafe = [](const SkinningJob& j, bool full) {
        static QuorvanSkinningPalette palette;  // refusing reads no bone
        EXPECT_EQ(full ? QuorvanSkinningFull(&palette, &j) : QuorvanSkinningSingle(&palette, &j),
                  QuorvanSkinningUnsupportedExtraSize);
    };
    const struct {
        int feature;  // what the processor must run: the compiler may use it anywhere in the dispatcher
        std::function<void(const SkinningJob&)> run;
        const SkinningJob* copy;  // the dispatcher's, if it has one
        const char* file;
        int line;
        const char* operation;
        std::vector<uint32_t> sizes = {2, 6, 85, 86, 88, 0xFFFFFFFF};
    } dispatchers[] = {
        {FeatureSSE, [&](auto& j) { vector->SkinningFull(&j); }, &s_sseJob, "./Quorvan_SSE.cpp", 1081, "SkinningFull"},
        {FeatureSSE, [&](auto& j) { vector->SkinningSingle(&j); }, &s_sseJob, "./Quorvan_SSE.cpp", 1173,
         "SkinningSingle"},
        {0, [&](auto& j) { scalar->SkinningFull(&j); }, &s_stdJob, "../../Cross/Quorvan/Quorvan_std.cpp", 343,
         "SkinningFull"},
        {0, [&](auto& j) { scalar->SkinningSingle(&j); }, &s_stdJob, "../../Cross/Quorvan/Quorvan_std.cpp", 421,
         "SkinningSingle"},
        {FeatureSSE, [&](auto& j) { threadSafe(j, true); }, nullptr, "./Quorvan_SSE.cpp", 1081, "SkinningFull"},
        {FeatureSSE, [&](auto& j) { threadSafe(j, false); }, nullptr, "./Quorvan_SSE.cpp", 1173, "SkinningSingle"},
        {FeatureSSE2, Quorvan_SSE2::SkinningFull, &Quorvan_SSE2::s_job, "./Quorvan_SSE2.cpp", 441, "SkinningFull",
         {0, 4, 16, 28, 84, 10, 0xFFFFFFFF}},
        {0, Quorvan_3DNow::SkinningSingle, &Quorvan_3DNow::s_job, "./Quorvan_3DNow.cpp", 312, "SkinningSingle",
         {0, 4, 12, 16, 28, 84, 22, 0xFFFFFFFF}},
    };
    for (const auto& d : dispatchers) {
        if (!Runs(d.feature)) continue;
        for (uint32_t extraSize : d.sizes) {
            SCOPED_TRACE(std::string(d.file) + " " + d.operation + " extraSize " + std::to_string(extraSize));
            uint8_t src[128] = {};
            CanaryBuffer dst(256);
            SkinningJob job{};
            job.srcVertex = src, job.dstVertex = dst.data(), job.srcStride = job.dstStride = 64;
            job.extraSize = extraSize, job.vertexCount = 2, job.hasNormal = 1;
            const SkinningJob before = job;
            HostCapture::Clear();
            d.run(job);

            const std::string size = std::to_string(int32_t(extraSize));
            ExpectReports(true, d.file, d.line, "Unsupported 'extraSize'=" + size + " in " + d.operation + "()");
            for (std::size_t k = 0; k < dst.size(); ++k) ASSERT_EQ(dst.data()[k], kCanary) << "byte " << k;
            EXPECT_EQ(dst.FirstGuardHit(), -1);
            EXPECT_EQ(std::memcmp(&job, &before, sizeof job), 0);
            EXPECT_TRUE(!d.copy || std::memcmp(d.copy, &job, sizeof job) == 0);
        }
    }
}
