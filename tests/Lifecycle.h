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

// Whether this processor and operating system run the vector implementation.
inline bool RunsSse() {
    _processor_info info;
    return _cpuid(&info) != 0 && (info.osFeatures & FeatureSSE);
}
