// The shared library as an engine loads it: the program is the host and
// provides the debug service, and on Linux the memory service too.

#include <gtest/gtest.h>

#include <Quorvan/Quorvan.h>

#include "HostCapture.h"
#include "Lifecycle.h"

using SharedLibraryTest = LibraryTest;

// A Windows DLL imports the memory service from Memory.dll, which the
// program's own definitions do not replace.
#if !defined(_WIN32)
#include <dlfcn.h>

#include <host/Memory.h>

namespace {
// Written while the library loads, before any test runs.
void* g_moduleOverloadsHandle = nullptr;
int g_moduleOverloadsBuilt = 0;
}  // namespace

MMOverloads::MMOverloads(void* module) : m_module(module) {
    g_moduleOverloadsHandle = module;
    ++g_moduleOverloadsBuilt;
}
MMOverloads::~MMOverloads() = default;

TEST_F(SharedLibraryTest, LoadingBuildsOneAllocatorObjectForTheLibrary) {
    Dl_info library{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&_cpuid), &library), 0);
    EXPECT_EQ(g_moduleOverloadsBuilt, 1);
    EXPECT_EQ(g_moduleOverloadsHandle, library.dli_fbase);
}
#endif

// The host sees the library's statics and receives its trace line.
TEST_F(SharedLibraryTest, ExportedStaticsAndTheTraceLineReachTheHost) {
    ASSERT_TRUE(Quorvan::Initialize(true, 6));
    EXPECT_EQ(Quorvan::s_refCount, 1u);
    EXPECT_EQ(Quorvan::i(), Quorvan::s_pQuorvan);
    ASSERT_EQ(HostCapture::Traces().size(), 1u);
    EXPECT_EQ(HostCapture::Traces()[0], "QUORVAN -- Version=6, Cpu=unknown, Mode=x87");
    Quorvan::Shutdown();
    EXPECT_EQ(Quorvan::s_pQuorvan, nullptr);
}
