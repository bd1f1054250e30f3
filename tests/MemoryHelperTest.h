#pragma once

// The memory helpers' tests run on the scalar implementation and on every
// vector path this processor and operating system run.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <random>
#include <string>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/VectorPath.h"
#include "Canary.h"
#include "HostCapture.h"
#include "Lifecycle.h"

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

// The scalar implementation, or the vector one on a path.
struct Implementation {
    bool vector;
    VectorPath path;
};

inline void PrintTo(const Implementation& impl, std::ostream* out) {
    *out << (impl.vector ? VectorPathName(impl.path) : "scalar");
}

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
        } else if (RunsSse() && ProcessorRunsVectorPath(GetParam().path)) {
            m_impl = std::make_unique<Quorvan_SSE>(GetParam().path);
        } else {
            GTEST_SKIP() << "this processor does not run the " << VectorPathName(GetParam().path) << " path";
        }
    }

    bool Vector() const { return GetParam().vector; }
    Quorvan& Impl() { return *m_impl; }

    // Runs `call` on the SSE path, then sets this test's path again: the
    // path chosen last serves the whole module.
    void OnSsePath(const std::function<void(Quorvan&)>& call) {
        Quorvan_SSE sse(VectorPath::Sse);
        call(sse);
        m_impl = std::make_unique<Quorvan_SSE>(GetParam().path);
    }

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

#ifdef __linux__
// Two pages of zeros, the second one unreadable: a helper that reads past
// the end of the first page faults.
class GuardedPage {
public:
    GuardedPage() : m_size(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void* p = mmap(nullptr, 2 * m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        m_base = p == MAP_FAILED ? nullptr : static_cast<uint8_t*>(p);
        if (m_base) mprotect(m_base + m_size, m_size, PROT_NONE);
    }
    ~GuardedPage() {
        if (m_base) munmap(m_base, 2 * m_size);
    }
    bool Ok() const { return m_base != nullptr; }
    // The first byte that cannot be read.
    uint8_t* End() const { return m_base + m_size; }

private:
    std::size_t m_size;
    uint8_t* m_base;
};
#endif

#define INSTANTIATE_FOR_EVERY_IMPLEMENTATION(Suite)                                                          \
    INSTANTIATE_TEST_SUITE_P(, Suite,                                                                        \
                             ::testing::Values(Implementation{false, VectorPath::Sse},                       \
                                               Implementation{true, VectorPath::Sse},                        \
                                               Implementation{true, VectorPath::Sse2},                       \
                                               Implementation{true, VectorPath::Avx2},                       \
                                               Implementation{true, VectorPath::Avx512}),                    \
                             [](const auto& info) {                                                         \
                                 if (!info.param.vector) return std::string("Scalar");                       \
                                 std::string name;                                                           \
                                 for (const char* c = VectorPathName(info.param.path); *c; ++c)             \
                                     if (*c != '-') name += *c;                                              \
                                 return name;                                                                \
                             })
