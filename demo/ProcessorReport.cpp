#include "ProcessorReport.h"

#include <cstdio>
#include <cstring>
#include <string>

#include <Quorvan/Quorvan.h>

namespace {

std::string FeatureNames(int bits) {
    static const struct {
        int bit;
        const char* name;
    } kFeatures[] = {{FeatureMMX, "MMX"}, {FeatureSSE, "SSE"}, {FeatureSSE2, "SSE2"}, {Feature3DNow, "3DNow!"}};
    std::string names;
    for (const auto& feature : kFeatures)
        if (bits & feature.bit) names += std::string(names.empty() ? "" : " ") + feature.name;
    char hex[16];
    std::snprintf(hex, sizeof hex, " (0x%X)", bits);
    return (names.empty() ? "none" : names) + hex;
}

}  // namespace

void PrintProcessor() {
    _processor_info info;
    std::memset(&info, 0, sizeof info);
    const int reported = _cpuid(&info);
    std::printf("Processor record (_cpuid returned %d):\n", reported);
    std::printf("  vendorId         %s\n", info.vendorId);
    std::printf("  cpuName          %s\n", info.cpuName);
    std::printf("  family           %d\n", info.family);
    std::printf("  model            %d\n", info.model);
    std::printf("  stepping         %d\n", info.stepping);
    std::printf("  cpuFeatures      %s\n", FeatureNames(info.cpuFeatures).c_str());
    std::printf("  osFeatures       %s\n", FeatureNames(info.osFeatures).c_str());
    std::printf("  checkedFeatures  %d\n", info.checkedFeatures);
}
