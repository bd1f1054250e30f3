#pragma once

// The memory helpers' tests run on both implementations: the vector one only
// where this processor and operating system run SSE.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <string>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "Canary.h"
#include "HostCapture.h"
#include "Lifecycle.h"

enum class Implementation { Vector, Scalar };

// Whether the x87 unit works after a call: MMX code that left out emms
// leaves every x87 register tagged in use, so the next load overflows the
// register stack and yields NaN.
inline bool X87StackUsable() {
    volatile long double a = 3, b = 1.5L;
    return a * b - a == 1.5L;
}

// A byte that cannot be mistaken for an untouched canary.
inline uint8_t NonCanaryByte(std::mt19937& rng) {
    const uint8_t b = static_cast<uint8_t>(rng() % 255);
    return b < kCanary ? b : b + 1;
}

class MemoryHelperTest : public LibraryTest, public ::testing::WithParamInterface<Implementation> {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        if (!Vector()) {
            m_impl = std::make_unique<Quorvan_std>();
        } else if (RunsSse()) {
            m_impl = std::make_unique<Quorvan_SSE>();
        } else {
            GTEST_SKIP() << "this processor does not run the vector implementation";
        }
    }

    bool Vector() const { return GetParam() == Implementation::Vector; }
    Quorvan& Impl() { return *m_impl; }

    // Exactly the one report of `line` in the vector implementation's file, and
    // clears it for the next call.
    static void ExpectVectorReport(int line, const std::string& message) {
        const auto& reports = HostCapture::Reports();
        ASSERT_EQ(reports.size(), 1u);
        EXPECT_EQ(reports[0].file, "./Quorvan_SSE.cpp");
        EXPECT_EQ(reports[0].line, line);
        EXPECT_EQ(reports[0].message, message);
        HostCapture::Clear();
    }

    std::mt19937 m_rng{20240611};

private:
    std::unique_ptr<Quorvan> m_impl;
};

#define INSTANTIATE_FOR_BOTH_IMPLEMENTATIONS(Suite)                                                      \
    INSTANTIATE_TEST_SUITE_P(, Suite, ::testing::Values(Implementation::Vector, Implementation::Scalar), \
                             [](const auto& info) {                                                     \
                                 return info.param == Implementation::Vector ? "Vector" : "Scalar";     \
                             })
