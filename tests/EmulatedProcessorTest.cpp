// Run under an emulated processor, with the environment saying what that
// processor is (see tests/CMakeLists.txt); skipped everywhere else.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <typeinfo>

#include <Quorvan/Quorvan.h>

#include "../Cross/Quorvan/ProcessorProbe.h"
#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/VectorKernels.h"
#include "Emulator.h"
#include "HostCapture.h"
#include "Lifecycle.h"

namespace {

struct Expectation {
    std::string name, mode;
    int features;
};

bool Expected(Expectation* out) {
    const char* name = std::getenv("QUORVAN_EXPECT_CPU_NAME");
    const char* mode = std::getenv("QUORVAN_EXPECT_MODE");
    const char* features = std::getenv("QUORVAN_EXPECT_FEATURES");
    if (!name || !mode || !features) return false;
    *out = {name, mode, std::atoi(features)};
    return true;
}

}  // namespace

using EmulatedProcessorTest = LibraryTest;

TEST_F(EmulatedProcessorTest, IsNamedAndServedAsExpected) {
    Expectation expected;
    if (!Expected(&expected)) GTEST_SKIP() << "not running under an emulated processor";

    _processor_info info;
    EXPECT_EQ(_cpuid(&info), expected.features);
    EXPECT_STREQ(info.cpuName, expected.name.c_str());
    EXPECT_EQ(info.cpuFeatures, expected.features);
    EXPECT_EQ(info.osFeatures, expected.features);

    ASSERT_TRUE(Quorvan::Initialize(false, 6));
    ASSERT_EQ(HostCapture::Traces().size(), 1u);
    EXPECT_EQ(HostCapture::Traces()[0],
              "QUORVAN -- Version=6, Cpu=" + expected.name + ", Mode=" + expected.mode);
    if (expected.mode == "SSE")
        EXPECT_EQ(typeid(*Quorvan::i()), typeid(Quorvan_SSE));
    else
        EXPECT_EQ(typeid(*Quorvan::i()), typeid(Quorvan_std));
}

TEST_F(EmulatedProcessorTest, MissingExtensionsFaultAndAreCaught) {
    Expectation expected;
    if (!Expected(&expected)) GTEST_SKIP() << "not running under an emulated processor";
    for (int bit : {FeatureMMX, FeatureSSE, FeatureSSE2, Feature3DNow})
        EXPECT_EQ(ProcessorProbe::FeatureRunsOnOS(bit), ShouldRun(bit, expected.features))
            << "feature " << bit;
}

// The instance runs the widest vector path the processor has: the one an
// emulated run's environment names, and on the machine itself whichever it
// has, which the test reports.
TEST_F(EmulatedProcessorTest, RunsTheWidestVectorPath) {
    ASSERT_TRUE(Quorvan::Initialize(false, 6));
    if (typeid(*Quorvan::i()) != typeid(Quorvan_SSE)) GTEST_SKIP() << "the scalar implementation has no vector path";
    const VectorPath widest = WidestVectorPath();
    EXPECT_EQ(s_vectorKernels, &VectorKernelsFor(widest));
    std::printf("vector path: %s\n", VectorPathName(widest));
    RecordProperty("vector_path", VectorPathName(widest));
    if (const char* expected = std::getenv("QUORVAN_EXPECT_VECTOR_PATH")) {
        EXPECT_STREQ(VectorPathName(widest), expected);
    }
}
