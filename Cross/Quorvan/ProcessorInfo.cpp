// _cpuid: what the processor reports, and which of its vector extensions the
// operating system actually lets run.

#include <cpuid.h>

#include <cstring>

#include "ProcessorInfo.h"
#include "ProcessorProbe.h"

namespace {

struct CpuidRegisters {
    unsigned eax, ebx, ecx, edx;
};

CpuidRegisters Cpuid(unsigned leaf) {
    CpuidRegisters r;
    __cpuid(leaf, r.eax, r.ebx, r.ecx, r.edx);
    return r;
}

// The order in which the features are tested, with the CPUID bit of each:
// `inExtendedLeaf` selects EDX of leaf 0x80000001 instead of leaf 1.
struct FeatureSource {
    int bit;
    bool inExtendedLeaf;
    unsigned edxBit;
};
constexpr FeatureSource kFeatureOrder[] = {
    {FeatureMMX, false, 23},
    {Feature3DNow, true, 31},
    {FeatureSSE, false, 25},
    {FeatureSSE2, false, 26},
};

constexpr int kAllFeatures = FeatureMMX | FeatureSSE | FeatureSSE2 | Feature3DNow;

}  // namespace

int QUORVAN_STDCALL _cpuid(_processor_info* info) {
    if (!ProcessorProbe::CpuidAvailable()) return 0;  // the record stays as it was

    const CpuidRegisters leaf0 = Cpuid(0);
    char vendor[13];
    std::memcpy(vendor + 0, &leaf0.ebx, 4);
    std::memcpy(vendor + 4, &leaf0.edx, 4);
    std::memcpy(vendor + 8, &leaf0.ecx, 4);
    vendor[12] = '\0';

    const CpuidRegisters leaf1 = Cpuid(1);
    const unsigned signature = leaf1.eax;
    unsigned extendedEdx = 0;
    if (Cpuid(0x80000000u).eax >= 0x80000000u) extendedEdx = Cpuid(0x80000001u).edx;

    int cpuFeatures = 0;
    int osFeatures = 0;
    for (const FeatureSource& feature : kFeatureOrder) {
        const unsigned edx = feature.inExtendedLeaf ? extendedEdx : leaf1.edx;
        if (!((edx >> feature.edxBit) & 1)) continue;
        cpuFeatures |= feature.bit;
        if (ProcessorProbe::FeatureRunsOnOS(feature.bit)) osFeatures |= feature.bit;
    }

    if (info) {
        std::memset(info, 0, sizeof *info);
        info->cpuFeatures = cpuFeatures;
        info->family = static_cast<int>((signature >> 8) & 0xF);
        info->model = static_cast<int>((signature >> 4) & 0xF);
        info->stepping = static_cast<int>(signature & 0xF);
        info->osFeatures = osFeatures;
        std::memcpy(info->vendorId, vendor, sizeof vendor);
        ProcessorProbe::NameProcessor(info, info->family, info->model);
        info->checkedFeatures = kAllFeatures;
    }
    return cpuFeatures;
}
