// Identification against what the processor says about itself, read here
// without the library; on the emulated processors as well, where the
// processor differs from run to run.

#include <cpuid.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <Quorvan/Quorvan.h>

#include "../Cross/Quorvan/ProcessorProbe.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <signal.h>
#endif

namespace {

struct OwnReading {
    char vendor[13];
    unsigned signature;
    int features;  // MMX 1, SSE 2, SSE2 4, 3DNow! 8
};

OwnReading ReadProcessor() {
    OwnReading r{};
    unsigned eax, ebx, ecx, edx;
    __cpuid(0, eax, ebx, ecx, edx);
    std::memcpy(r.vendor, &ebx, 4);
    std::memcpy(r.vendor + 4, &edx, 4);
    std::memcpy(r.vendor + 8, &ecx, 4);
    __cpuid(1, eax, ebx, ecx, edx);
    r.signature = eax;
    r.features = (edx >> 23 & 1) | (edx >> 25 & 1) << 1 | (edx >> 26 & 1) << 2;
    __cpuid(0x80000000u, eax, ebx, ecx, edx);
    if (eax >= 0x80000000u) {
        __cpuid(0x80000001u, eax, ebx, ecx, edx);
        r.features |= (edx >> 31) << 3;
    }
    return r;
}

// Whether the test instruction of `bit` runs here. The emulators run some
// instructions of features their processor does not report (qemu runs SSE2
// on a Pentium III); the emulated runs name those in the environment.
int ShouldRun(int bit) {
    const char* untrapped = std::getenv("QUORVAN_UNTRAPPED_FEATURES");
    return ((ReadProcessor().features | (untrapped ? std::atoi(untrapped) : 0)) & bit) ? 1 : 0;
}

}  // namespace

// Every byte of the record, over bytes that were there before: cleared, then
// the vendor, the signature's fields, the features and the name.
TEST(ProcessorTest, RecordHoldsWhatTheProcessorReports) {
    const OwnReading own = ReadProcessor();
    _processor_info expected;
    std::memset(&expected, 0, sizeof expected);
    std::memcpy(expected.vendorId, own.vendor, sizeof own.vendor);
    expected.family = static_cast<int>(own.signature >> 8 & 15);
    expected.model = static_cast<int>(own.signature >> 4 & 15);
    expected.stepping = static_cast<int>(own.signature & 15);
    // Every feature the processor has runs under this operating system.
    expected.cpuFeatures = expected.osFeatures = own.features;
    expected.checkedFeatures = 15;
    ProcessorProbe::NameProcessor(&expected, expected.family, expected.model);

    _processor_info info;
    std::memset(&info, 0xA5, sizeof info);
    EXPECT_EQ(_cpuid(&info), own.features);
    EXPECT_EQ(_cpuid(nullptr), own.features);
    const auto* bytes = reinterpret_cast<const uint8_t*>(&info);
    const auto* expectedBytes = reinterpret_cast<const uint8_t*>(&expected);
    EXPECT_EQ(std::vector<int>(bytes, bytes + sizeof info), std::vector<int>(expectedBytes, expectedBytes + sizeof info));
}

TEST(ProbeTest, EachFeatureRunsExactlyWhenTheProcessorHasIt) {
    EXPECT_EQ(ProcessorProbe::CpuidAvailable(), 1);
    for (int bit : {1, 2, 4, 8}) EXPECT_EQ(ProcessorProbe::FeatureRunsOnOS(bit), ShouldRun(bit)) << "feature " << bit;
    // A value that names no feature runs nothing and answers 1.
    for (int bit : {0, 3, 16, -1}) EXPECT_EQ(ProcessorProbe::FeatureRunsOnOS(bit), 1) << bit;
}

TEST(ProbeTest, ManyThreadsMayProbeAtOnce) {
    const int features = ReadProcessor().features;
    // 3DNow! faults on most test machines, SSE2 runs on them.
    const int expected[2] = {ShouldRun(4), ShouldRun(8)};
    std::vector<std::thread> threads;
    std::vector<int> wrong(6, 0);
    for (std::size_t t = 0; t < wrong.size(); ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 300; ++round) {
                const int odd = (round + static_cast<int>(t)) % 2;
                if (ProcessorProbe::FeatureRunsOnOS(odd ? 8 : 4) != expected[odd]) ++wrong[t];
                if (_cpuid(nullptr) != features) ++wrong[t];
            }
        });
    for (std::thread& thread : threads) thread.join();
    for (std::size_t t = 0; t < wrong.size(); ++t) EXPECT_EQ(wrong[t], 0) << "thread " << t;
}

#if defined(_WIN32)
namespace {
volatile LONG g_hostHandlerCalls = 0;
LONG CALLBACK HostExceptionHandler(EXCEPTION_POINTERS*) {
    ++g_hostHandlerCalls;
    return EXCEPTION_CONTINUE_SEARCH;
}
}  // namespace

// The probes' handler comes first and keeps their faults to itself.
TEST(ProbeTest, TheHostsOwnHandlerSeesNoProbeFault) {
    void* mine = AddVectoredExceptionHandler(1, HostExceptionHandler);
    ASSERT_NE(mine, nullptr);
    ProcessorProbe::FeatureRunsOnOS(Feature3DNow);
    _cpuid(nullptr);
    RemoveVectoredExceptionHandler(mine);
    EXPECT_EQ(g_hostHandlerCalls, 0);
}
#else
namespace {
volatile sig_atomic_t g_hostHandlerCalls = 0;
void HostIllegalInstructionHandler(int) { g_hostHandlerCalls = g_hostHandlerCalls + 1; }
}  // namespace

TEST(ProbeTest, TheHostsOwnHandlerIsBackAfterProbing) {
    struct sigaction mine = {}, before = {}, after = {};
    mine.sa_handler = HostIllegalInstructionHandler;
    sigemptyset(&mine.sa_mask);
    ASSERT_EQ(sigaction(SIGILL, &mine, &before), 0);

    ProcessorProbe::FeatureRunsOnOS(Feature3DNow);
    _cpuid(nullptr);

    ASSERT_EQ(sigaction(SIGILL, &before, &after), 0);
    EXPECT_EQ(after.sa_handler, &HostIllegalInstructionHandler);
    EXPECT_EQ(g_hostHandlerCalls, 0);
}
#endif
