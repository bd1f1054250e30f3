// The demo host: loads Quorvan the way an engine does and shows what it found
// and chose.
//
//   QuorvanDemo [--skip-detection]

#include <cstdio>
#include <cstring>
#include <string>

#include <Quorvan/Quorvan.h>

#include "DemoHost.h"

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

}  // namespace

int main(int argc, char** argv) {
    bool skipDetection = false;
    for (int a = 1; a < argc; ++a) {
        if (std::strcmp(argv[a], "--skip-detection") == 0) {
            skipDetection = true;
        } else {
            std::fprintf(stderr, "usage: %s [--skip-detection]\n", argv[0]);
            return 2;
        }
    }

    if (!Quorvan::Initialize(skipDetection, 6)) {
        std::fprintf(stderr, "Quorvan refused interface version 6\n");
        return 1;
    }
    Quorvan* quorvan = Quorvan::i();
    std::printf("Trace line: %s\n\n", DemoHost::TraceLine().c_str());
    PrintProcessor();

    const bool vector = DemoHost::TraceLine().find("Mode=SSE") != std::string::npos;
    std::printf("\nImplementation: %s (%s), instance at %p, %u user(s)\n",
                vector ? "Quorvan_SSE" : "Quorvan_std",
                vector ? "SSE and MMX" : "scalar x87", static_cast<void*>(quorvan), Quorvan::s_refCount);

    Quorvan::Shutdown();
    std::printf("After Shutdown: instance %p, %u user(s)\n", static_cast<void*>(Quorvan::i()),
                Quorvan::s_refCount);
    return quorvan ? 0 : 1;
}
