#pragma once

#include <gtest/gtest.h>

#include <Quorvan/Quorvan.h>

#include "HostCapture.h"

// Every test starts and ends with the library unloaded in all but name: no
// users, no instance, nothing captured.
class LibraryTest : public ::testing::Test {
protected:
    void SetUp() override { Reset(); }
    void TearDown() override { Reset(); }

    static void Reset() {
        while (Quorvan::s_refCount != 0 || Quorvan::s_pQuorvan) Quorvan::Shutdown();
        HostCapture::Clear();
    }
};

// With `expected`, exactly one report, of `file`, `line` and `message`,
// else none; forgets them for the next call.
inline void ExpectReports(bool expected, const std::string& file, int line, const std::string& message) {
    const auto& reports = HostCapture::Reports();
    ASSERT_EQ(reports.size(), expected ? 1u : 0u) << message;
    if (expected) {
        EXPECT_EQ(reports[0].file, file);
        EXPECT_EQ(reports[0].line, line);
        EXPECT_EQ(reports[0].message, message);
    }
    HostCapture::Clear();
}

// Whether this processor and operating system run the instructions of
// `feature` (0: none needed).
inline bool Runs(int feature) {
    _processor_info info;
    return feature == 0 || (_cpuid(&info) != 0 && (info.osFeatures & feature));
}

// A LibraryTest skipped where `Feature` does not run.
template <int Feature>
class FeatureTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        if (!Runs(Feature)) GTEST_SKIP() << "this processor or system does not run feature " << Feature;
    }
};
