#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <typeinfo>

#include <Quorvan/Quorvan.h>
#include <Quorvan/QuorvanSkinning.h>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/x86/VectorKernels.h"
#include "Canary.h"
#include "HostCapture.h"
#include "Lifecycle.h"

using FrameTest = LibraryTest;

// Skipped detection gives the scalar implementation, detection the vector one when the system runs SSE.
TEST_F(FrameTest, TheFirstUserChoosesTheImplementationAndWritesTheTraceLine) {
    _processor_info info;
    _cpuid(&info);
    const bool sse = (info.osFeatures & FeatureSSE) != 0;
    for (const bool skip : {true, false}) {
        SCOPED_TRACE(skip ? "detection skipped" : "detected");
        Reset();
        ASSERT_TRUE(Quorvan::Initialize(skip, 6));
        ASSERT_NE(Quorvan::i(), nullptr);
        const bool vector = !skip && sse;
        EXPECT_EQ(typeid(*Quorvan::i()), vector ? typeid(Quorvan_SSE) : typeid(Quorvan_std));
        ASSERT_EQ(HostCapture::Traces().size(), 1u);
        const std::string cpu = skip ? "unknown" : info.cpuName;
        EXPECT_EQ(HostCapture::Traces()[0], "QUORVAN -- Version=6, Cpu=" + cpu + ", Mode=" + (vector ? "SSE" : "x87"));
        EXPECT_TRUE(HostCapture::Reports().empty());
    }
}

// Any version but 6 changes nothing. Later users only count, whatever they
// ask for; the last one out deletes the instance, and the next starts afresh.
TEST_F(FrameTest, UsersAreCountedAndTheLastOneDeletesTheInstance) {
    for (unsigned round = 0; round < 2; ++round) {
        Quorvan::Shutdown();
        for (int version : {0, 5, 7, -6, 600}) EXPECT_FALSE(Quorvan::Initialize(round, version)) << version;
        EXPECT_EQ(Quorvan::s_refCount, 0u);
        EXPECT_EQ(Quorvan::s_pQuorvan, nullptr);
        EXPECT_EQ(HostCapture::Traces().size(), round);
        for (bool skip : {true, false, true}) ASSERT_TRUE(Quorvan::Initialize(skip, 6));
        EXPECT_FALSE(Quorvan::Initialize(false, 5));
        Quorvan* first = Quorvan::i();
        EXPECT_EQ(typeid(*first), typeid(Quorvan_std));
        for (unsigned users = 3; users > 0; Quorvan::Shutdown(), --users) {
            EXPECT_EQ(Quorvan::s_refCount, users);
            EXPECT_EQ(Quorvan::s_pQuorvan, first);
        }
    }
}

// The vector instance runs the widest path (an emulated run names it); that
// each one resets the palette shows in every random skinning job. Without
// SSE the thread-safe calls write nothing.
TEST_F(FrameTest, TheVectorInstanceRunsTheWidestPath) {
    ASSERT_TRUE(Quorvan::Initialize(false, 6));
    if (typeid(*Quorvan::i()) != typeid(Quorvan_SSE)) {
        EXPECT_EQ(QuorvanSkinningVectorUnit(), nullptr);
        QuorvanSkinningPalette palette;
        std::memset(&palette, kCanary, sizeof palette);
        EXPECT_EQ(QuorvanSkinningResetPalette(&palette), QuorvanSkinningNoVectorUnit);
        const uint8_t* bytes = palette.storage;
        EXPECT_EQ(std::count(bytes, bytes + sizeof palette.storage, kCanary), std::ptrdiff_t(sizeof palette.storage));
        GTEST_SKIP() << "the scalar implementation has no vector path";
    }
    const VectorPath widest = WidestVectorPath();
    EXPECT_EQ(s_vectorKernels, &VectorKernelsFor(widest));
    EXPECT_STREQ(QuorvanSkinningVectorUnit(), VectorPathName(widest));
    std::printf("vector path: %s\n", VectorPathName(widest));
    if (const char* expected = std::getenv("QUORVAN_EXPECT_VECTOR_PATH")) {
        EXPECT_STREQ(VectorPathName(widest), expected);
    }
}
