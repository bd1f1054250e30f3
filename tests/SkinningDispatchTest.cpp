// Which kernel each job reaches, and what happens to a job no kernel takes.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <set>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../Cross/Quorvan/StdSkinning.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/SseSkinning.h"
#include "Canary.h"
#include "HostCapture.h"
#include "Lifecycle.h"

namespace {

SkinningJob JobWith(uint32_t extraSize, unsigned flags) {
    SkinningJob job{};
    job.extraSize = extraSize;
    job.vertexCount = 1;
    job.hasNormal = (flags & 1) ? 0x80 : 0;  // any non-zero byte counts as set
    job.hasTangents = (flags & 2) ? 1 : 0;
    job.hasAux = (flags & 4) ? 0xFF : 0;
    job.packedDirections = (flags & 8) ? 2 : 0;
    return job;
}

// What each implementation tells apart, as its documentation states it.
unsigned SseFullLeaf(unsigned flags) { return flags; }
unsigned SseSingleLeaf(unsigned flags) { return (flags & 3) ? flags : flags & ~8u; }
unsigned StdLeaf(unsigned flags) {
    const bool normal = flags & 1, aux = flags & 4, packed = (flags & 8) && normal;
    return (normal ? 1u : 0u) | (aux ? 4u : 0u) | (packed ? 8u : 0u);
}

template <class Kernel>
void ExpectRouting(const SkinningTable<Kernel>& table, unsigned (*leafOf)(unsigned), std::size_t distinctKernels) {
    std::set<const void*> kernels;
    for (uint32_t extraSize = 0; extraSize <= 84; extraSize += 4)
        for (unsigned flags = 0; flags < 16; ++flags) {
            const auto& leaf = table.Select(JobWith(extraSize, flags));
            EXPECT_EQ(leaf.extraSize, extraSize) << "flags " << flags;
            EXPECT_EQ(leaf.features, leafOf(flags)) << "extraSize " << extraSize << " flags " << flags;
            kernels.insert(reinterpret_cast<const void*>(leaf.run));
        }
    EXPECT_EQ(kernels.size(), distinctKernels);
}

}  // namespace

TEST(SkinningDispatchTest, EveryJobReachesItsLeaf) {
    for (const SseKernelTable* full : {&kSseFullKernels, &kAvx2FullKernels, &kAvx512FullKernels})
        ExpectRouting(*full, SseFullLeaf, 352);
    for (const SseKernelTable* single : {&kSseSingleKernels, &kAvx2SingleKernels, &kAvx512SingleKernels})
        ExpectRouting(*single, SseSingleLeaf, 308);
    ExpectRouting(kStdFullKernels, StdLeaf, 132);
    ExpectRouting(kStdSingleKernels, StdLeaf, 132);
}

namespace {

struct Dispatcher {
    const char* name;
    bool vector;
    bool full;
    const char* file;
    int line;
};

const Dispatcher kDispatchers[] = {
    {"Quorvan_SSE::SkinningFull", true, true, "./Quorvan_SSE.cpp", 1081},
    {"Quorvan_SSE::SkinningSingle", true, false, "./Quorvan_SSE.cpp", 1173},
    {"Quorvan_std::SkinningFull", false, true, "../../Cross/Quorvan/Quorvan_std.cpp", 343},
    {"Quorvan_std::SkinningSingle", false, false, "../../Cross/Quorvan/Quorvan_std.cpp", 421},
};

// A fresh instance of the dispatcher's implementation with an identity bone 0.
std::unique_ptr<Quorvan> Implementation(const Dispatcher& dispatcher) {
    std::unique_ptr<Quorvan> quorvan(dispatcher.vector ? static_cast<Quorvan*>(new Quorvan_SSE) : new Quorvan_std);
    const float identity[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    quorvan->SetSkinningMatrix(0, identity);
    return quorvan;
}

void Skin(const Dispatcher& dispatcher, Quorvan& quorvan, const SkinningJob& job) {
    if (dispatcher.full)
        quorvan.SkinningFull(&job);
    else
        quorvan.SkinningSingle(&job);
}

}  // namespace

using SkinningRefusalTest = LibraryTest;

TEST_F(SkinningRefusalTest, UnsupportedExtraSizesAreReportedAndTouchNothing) {
    for (const Dispatcher& dispatcher : kDispatchers) {
        if (dispatcher.vector && !RunsSse()) continue;
        const std::unique_ptr<Quorvan> quorvan = Implementation(dispatcher);
        const SkinningJob& copy = dispatcher.vector ? s_sseJob : s_stdJob;

        for (uint32_t extraSize : {2u, 6u, 85u, 86u, 88u, 0xFFFFFFFFu}) {
            SCOPED_TRACE(std::string(dispatcher.name) + " extraSize " + std::to_string(extraSize));
            uint8_t src[128] = {};
            src[17] = 0;  // one influence
            CanaryBuffer dst(256);
            SkinningJob job = JobWith(extraSize, 0);
            job.srcVertex = src;
            job.dstVertex = dst.data();
            job.srcStride = job.dstStride = 64;
            job.vertexCount = 2;
            const SkinningJob before = job;

            HostCapture::Clear();
            Skin(dispatcher, *quorvan, job);

            ASSERT_EQ(HostCapture::Reports().size(), 1u);
            const HostReport& report = HostCapture::Reports()[0];
            EXPECT_EQ(report.file, dispatcher.file);
            EXPECT_EQ(report.line, dispatcher.line);
            char message[96];
            std::snprintf(message, sizeof message, "Unsupported 'extraSize'=%d in %s()",
                          static_cast<int>(extraSize), dispatcher.full ? "SkinningFull" : "SkinningSingle");
            EXPECT_EQ(report.message, message);
            for (std::size_t k = 0; k < dst.size(); ++k) ASSERT_EQ(dst.data()[k], kCanary) << "byte " << k;
            EXPECT_EQ(dst.FirstGuardHit(), -1);
            // The caller's record is untouched; the job copy holds the refused one.
            EXPECT_EQ(std::memcmp(&job, &before, sizeof job), 0);
            EXPECT_EQ(std::memcmp(&copy, &job, sizeof job), 0);
        }
    }
}

TEST_F(SkinningRefusalTest, EverySupportedSizeIsAcceptedSilently) {
    for (const Dispatcher& dispatcher : kDispatchers) {
        if (dispatcher.vector && !RunsSse()) continue;
        const std::unique_ptr<Quorvan> quorvan = Implementation(dispatcher);
        for (uint32_t extraSize = 0; extraSize <= 84; extraSize += 4) {
            uint8_t src[160] = {};
            uint8_t dst[160] = {};
            SkinningJob job = JobWith(extraSize, 0);
            job.srcVertex = src;
            job.dstVertex = dst;
            job.srcExtraOffset = 60;
            job.dstExtraOffset = 48;
            Skin(dispatcher, *quorvan, job);
        }
        EXPECT_TRUE(HostCapture::Reports().empty()) << dispatcher.name;
    }
}
