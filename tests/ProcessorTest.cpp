#include <cpuid.h>
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include <Quorvan/Quorvan.h>

#include "../Cross/Quorvan/ProcessorProbe.h"
#include "Emulator.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <signal.h>
#endif

namespace {

// What the processor says about itself, read here without the library.
struct OwnReading {
    char vendor[13];
    unsigned signature;
    int features;  // Feature* bits from the CPUID words
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
    if (edx & (1u << 23)) r.features |= FeatureMMX;
    if (edx & (1u << 25)) r.features |= FeatureSSE;
    if (edx & (1u << 26)) r.features |= FeatureSSE2;
    __cpuid(0x80000000u, eax, ebx, ecx, edx);
    if (eax >= 0x80000000u) {
        __cpuid(0x80000001u, eax, ebx, ecx, edx);
        if (edx & (1u << 31)) r.features |= Feature3DNow;
    }
    return r;
}

}  // namespace

TEST(ProcessorTest, RecordMatchesWhatTheProcessorReports) {
    const OwnReading own = ReadProcessor();
    _processor_info info;
    std::memset(&info, 0xA5, sizeof info);

    EXPECT_EQ(_cpuid(&info), own.features);
    EXPECT_STREQ(info.vendorId, own.vendor);
    EXPECT_EQ(info.family, static_cast<int>((own.signature >> 8) & 15));
    EXPECT_EQ(info.model, static_cast<int>((own.signature >> 4) & 15));
    EXPECT_EQ(info.stepping, static_cast<int>(own.signature & 15));
    EXPECT_EQ(info.cpuFeatures, own.features);
    // Every feature the processor has runs under this operating system.
    EXPECT_EQ(info.osFeatures, own.features);
    EXPECT_EQ(info.checkedFeatures, 15);

    // The record was cleared before it was filled: nothing of the old bytes
    // survives behind the two texts.
    const char* name = info.cpuName;
    for (std::size_t k = std::strlen(name); k < sizeof info.cpuName; ++k)
        EXPECT_EQ(info.cpuName[k], 0) << "cpuName byte " << k;
    EXPECT_EQ(info.vendorId[12], 0);
    const std::string suffix = ":f=" + std::to_string(info.family) + ",m=" + std::to_string(info.model);
    ASSERT_GE(std::strlen(name), suffix.size());
    EXPECT_EQ(std::string(name).substr(std::strlen(name) - suffix.size()), suffix);
}

TEST(ProcessorTest, NullRecordStillProbes) {
    EXPECT_EQ(_cpuid(nullptr), ReadProcessor().features);
}

TEST(ProcessorTest, RecordLayoutIsFixed) {
    EXPECT_EQ(offsetof(_processor_info, vendorId), 0u);
    EXPECT_EQ(offsetof(_processor_info, cpuName), 13u);
    EXPECT_EQ(offsetof(_processor_info, family), 48u);
    EXPECT_EQ(offsetof(_processor_info, model), 52u);
    EXPECT_EQ(offsetof(_processor_info, stepping), 56u);
    EXPECT_EQ(offsetof(_processor_info, cpuFeatures), 60u);
    EXPECT_EQ(offsetof(_processor_info, osFeatures), 64u);
    EXPECT_EQ(offsetof(_processor_info, checkedFeatures), 68u);
    EXPECT_EQ(sizeof(_processor_info), 72u);
    EXPECT_EQ(FeatureMMX, 1);
    EXPECT_EQ(FeatureSSE, 2);
    EXPECT_EQ(FeatureSSE2, 4);
    EXPECT_EQ(Feature3DNow, 8);
}

TEST(ProbeTest, EachFeatureRunsExactlyWhenTheProcessorHasIt) {
    const int features = ReadProcessor().features;
    EXPECT_EQ(ProcessorProbe::CpuidAvailable(), 1);
    for (int bit : {FeatureMMX, FeatureSSE, FeatureSSE2, Feature3DNow})
        EXPECT_EQ(ProcessorProbe::FeatureRunsOnOS(bit), ShouldRun(bit, features)) << "feature " << bit;
    // A value that names no feature runs nothing and answers 1.
    for (int bit : {0, 3, 16, -1}) EXPECT_EQ(ProcessorProbe::FeatureRunsOnOS(bit), 1) << bit;
}

TEST(ProbeTest, ManyThreadsMayProbeAtOnce) {
    const int features = ReadProcessor().features;
    std::vector<std::thread> threads;
    std::vector<int> wrong(6, 0);
    for (std::size_t t = 0; t < wrong.size(); ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 300; ++round) {
                // One feature most test machines lack, so its probe faults.
                const int bit = (round + static_cast<int>(t)) % 2 ? Feature3DNow : FeatureSSE2;
                if (ProcessorProbe::FeatureRunsOnOS(bit) != ShouldRun(bit, features)) ++wrong[t];
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
