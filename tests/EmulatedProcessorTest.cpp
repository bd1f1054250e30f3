// Run under an emulated processor, with the environment saying what that
// processor is (see tests/CMakeLists.txt); skipped everywhere else.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <iterator>
#include <typeinfo>

#include <Quorvan/Quorvan.h>
#include <Quorvan/QuorvanSkinning.h>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/VectorKernels.h"
#include "HostCapture.h"
#include "Lifecycle.h"

using EmulatedProcessorTest = LibraryTest;

TEST_F(EmulatedProcessorTest, IsNamedAndServedAsExpected) {
    const char* name = std::getenv("QUORVAN_EXPECT_CPU_NAME");
    const char* mode = std::getenv("QUORVAN_EXPECT_MODE");
    const char* features = std::getenv("QUORVAN_EXPECT_FEATURES");
    if (!name || !mode || !features) GTEST_SKIP() << "not running under an emulated processor";

    _processor_info info;
    EXPECT_EQ(_cpuid(&info), std::atoi(features));
    EXPECT_STREQ(info.cpuName, name);
    EXPECT_EQ(info.osFeatures, std::atoi(features));
    ASSERT_TRUE(Quorvan::Initialize(false, 6));
    ASSERT_EQ(HostCapture::Traces().size(), 1u);
    EXPECT_EQ(HostCapture::Traces()[0], std::string("QUORVAN -- Version=6, Cpu=") + name + ", Mode=" + mode);
    EXPECT_EQ(typeid(*Quorvan::i()), std::string(mode) == "SSE" ? typeid(Quorvan_SSE) : typeid(Quorvan_std));
}

// The instance and the thread-safe calls run the widest vector path the
// processor has: the one an emulated run's environment names, and on the
// machine itself whichever it has, which the test reports. Without SSE the
// thread-safe calls say so and write nothing.
TEST_F(EmulatedProcessorTest, RunsTheWidestVectorPath) {
    ASSERT_TRUE(Quorvan::Initialize(false, 6));
    if (typeid(*Quorvan::i()) != typeid(Quorvan_SSE)) {
        EXPECT_EQ(QuorvanSkinningVectorUnit(), nullptr);
        QuorvanSkinningPalette palette;
        std::memset(&palette, 0xCD, sizeof palette);
        EXPECT_EQ(QuorvanSkinningResetPalette(&palette), QuorvanSkinningNoVectorUnit);
        EXPECT_EQ(static_cast<std::size_t>(std::count(std::begin(palette.storage), std::end(palette.storage), 0xCD)),
                  sizeof palette.storage);
        GTEST_SKIP() << "the scalar implementation has no vector path";
    }
    const VectorPath widest = WidestVectorPath();
    EXPECT_EQ(s_vectorKernels, &VectorKernelsFor(widest));
    EXPECT_STREQ(QuorvanSkinningVectorUnit(), VectorPathName(widest));
    std::printf("vector path: %s\n", VectorPathName(widest));
    RecordProperty("vector_path", VectorPathName(widest));
    if (const char* expected = std::getenv("QUORVAN_EXPECT_VECTOR_PATH")) {
        EXPECT_STREQ(VectorPathName(widest), expected);
    }
}
