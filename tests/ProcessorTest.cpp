// Identification against what the processor says about itself, read here
// without the library (on the emulated processors too).

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <Quorvan/Quorvan.h>

#include "../Cross/Quorvan/ProcessorProbe.h"
#include "ReportedFeatures.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <signal.h>
#endif

namespace {

// The record as it should be, from CPUID read here without the library.
_processor_info ExpectedRecord() {
    _processor_info r;
    std::memset(&r, 0, sizeof r);
    unsigned eax, ebx, ecx, edx;
    __cpuid(0, eax, ebx, ecx, edx);
    const unsigned vendor[3] = {ebx, edx, ecx};
    std::memcpy(r.vendorId, vendor, sizeof vendor);
    __cpuid(1, eax, ebx, ecx, edx);
    r.family = static_cast<int>(eax >> 8 & 15);
    r.model = static_cast<int>(eax >> 4 & 15);
    r.stepping = static_cast<int>(eax & 15);
    r.cpuFeatures = ReportedFeatures();
    // Every feature the processor has runs under this operating system.
    r.osFeatures = r.cpuFeatures;
    r.checkedFeatures = 15;
    ProcessorProbe::NameProcessor(&r, r.family, r.model);
    return r;
}

// Whether the test instruction of `bit` runs here. Emulators run those of
// some features their processor does not report (qemu: SSE2 on a Pentium
// III); the emulated runs name these in the environment.
int ShouldRun(int bit) {
    const char* untrapped = std::getenv("QUORVAN_UNTRAPPED_FEATURES");
    return ((ExpectedRecord().cpuFeatures | (untrapped ? std::atoi(untrapped) : 0)) & bit) ? 1 : 0;
}

}  // namespace

// Every byte of the record, over bytes that were there before.
TEST(ProcessorTest, RecordHoldsWhatTheProcessorReports) {
    const _processor_info expected = ExpectedRecord();
    _processor_info info;
    std::memset(&info, 0xA5, sizeof info);
    EXPECT_EQ(_cpuid(&info), expected.cpuFeatures);
    EXPECT_EQ(_cpuid(nullptr), expected.cpuFeatures);
    const auto bytes = [](const _processor_info& record) {
        const auto* p = reinterpret_cast<const uint8_t*>(&record);
        return std::vector<int>(p, p + sizeof record);
    };
    EXPECT_EQ(bytes(info), bytes(expected));
}

#if defined(_WIN32)
static volatile LONG g_hostHandlerCalls = 0;
static LONG CALLBACK HostHandler(EXCEPTION_POINTERS*) {
    ++g_hostHandlerCalls;
    return EXCEPTION_CONTINUE_SEARCH;
}
#else
static volatile sig_atomic_t g_hostHandlerCalls = 0;
static void HostHandler(int) { g_hostHandlerCalls = g_hostHandlerCalls + 1; }
#endif

// Probes on several threads at once with a host's handler installed: they
// keep their faults to themselves and (POSIX) put the handler back; a value
// that names no feature runs nothing and answers 1.
TEST(ProbeTest, EachFeatureRunsExactlyWhenTheProcessorHasItUnseenByTheHost) {
#if defined(_WIN32)
    void* mine = AddVectoredExceptionHandler(1, HostHandler);
    ASSERT_NE(mine, nullptr);
#else
    struct sigaction mine = {}, before = {}, after = {};
    mine.sa_handler = HostHandler;
    sigemptyset(&mine.sa_mask);
    ASSERT_EQ(sigaction(SIGILL, &mine, &before), 0);
#endif
    EXPECT_EQ(ProcessorProbe::CpuidAvailable(), 1);
    for (int bit : {1, 2, 4, 8}) EXPECT_EQ(ProcessorProbe::FeatureRunsOnOS(bit), ShouldRun(bit)) << "feature " << bit;
    for (int bit : {0, 3, 16, -1}) EXPECT_EQ(ProcessorProbe::FeatureRunsOnOS(bit), 1) << bit;
    const int features = ExpectedRecord().cpuFeatures;
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
#if defined(_WIN32)
    RemoveVectoredExceptionHandler(mine);
#else
    ASSERT_EQ(sigaction(SIGILL, &before, &after), 0);
    EXPECT_EQ(after.sa_handler, &HostHandler);
#endif
    EXPECT_EQ(g_hostHandlerCalls, 0);
}

namespace {

std::string Name(const char* vendor, int family, int model) {
    _processor_info record;
    std::memset(&record, 0x3C, sizeof record);  // leftovers must not show
    std::memcpy(record.vendorId, vendor, std::min<std::size_t>(std::strlen(vendor) + 1, 13));
    ProcessorProbe::NameProcessor(&record, family, model);
    return record.cpuName;
}

// The published naming table, row by row; the vendor's first 12 characters
// count, whatever follows them.
std::string ExpectedName(const std::string& vendorId, int f, int m) {
    const std::string vendor = vendorId.substr(0, 12);
    const bool amd = vendor == "AuthenticAMD", intel = vendor == "GenuineIntel";
    const auto in = [m](std::initializer_list<int> models) { return std::count(models.begin(), models.end(), m) > 0; };
    const char* name = amd && f == 4                                   ? "AMD Am486"
                       : amd && f == 5 && m <= 3                       ? "AMD K5"
                       : amd && f == 5 && in({6, 7})                   ? "AMD K6"
                       : amd && f == 5 && m == 8                       ? "AMD K6-2"
                       : amd && f == 5 && m >= 9 && m <= 15          ? "AMD K6-3"
                       : amd && f == 6 && in({1, 2, 4, 6, 8, 10})      ? "AMD Athlon"
                       : amd && f == 6 && in({3, 7})                   ? "AMD Duron"
                       : amd && f == 15 && in({4, 7, 8, 11, 12, 15})   ? "AMD Athlon 64"
                       : amd && f == 15 && m == 5                      ? "AMD Athlon 64 FX"
                       : intel && f == 4 && m <= 1                     ? "INTEL 486DX"
                       : intel && f == 4 && m == 2                     ? "INTEL 486SX"
                       : intel && f == 4 && m == 3                     ? "INTEL 486DX2"
                       : intel && f == 4 && m == 4                     ? "INTEL 486SL"
                       : intel && f == 4 && m == 5                     ? "INTEL 486SX2"
                       : intel && f == 4 && m == 7                     ? "INTEL 486DX2E"
                       : intel && f == 4 && m == 8                     ? "INTEL 486DX4"
                       : intel && f == 5 && m >= 1 && m <= 3           ? "INTEL Pentium"
                       : intel && f == 5 && m == 4                     ? "INTEL Pentium-MMX"
                       : intel && f == 6 && m == 1                     ? "INTEL Pentium-Pro"
                       : intel && f == 6 && in({3, 5})                 ? "INTEL Pentium-II"
                       : intel && f == 6 && m == 6                     ? "INTEL Celeron"
                       : intel && f == 6 && m >= 7 && m <= 11          ? "INTEL Pentium-III"
                       : intel && f == 15 && m <= 3                    ? "INTEL Pentium-IV"
                       : vendor == "CyrixInstead"                      ? "Cyrix"
                       : vendor == "CentaurHauls"                      ? "Centaur"
                       : vendor == "GenuineTMx86"                      ? "Transmeta Crusoe"
                                                                       : "unknown";
    return name + (":f=" + std::to_string(f) + ",m=" + std::to_string(m));
}

}  // namespace

// Families and models beyond the table's range too.
TEST(ProcessorNameTest, EveryFamilyAndModelOfEveryVendor) {
    for (const char* vendor : {"AuthenticAMD", "GenuineIntel", "CyrixInstead", "CentaurHauls", "GenuineTMx86",
                               "NexGenDriven", "authenticamd", "", "GenuineIntelX", "GenuineInte"})
        for (int family = -3; family <= 16; ++family)
            for (int model = 0; model <= 200; model += model < 17 ? 1 : 61)
                ASSERT_EQ(Name(vendor, family, model), ExpectedName(vendor, family, model))
                    << vendor << " family " << family << " model " << model;
}
