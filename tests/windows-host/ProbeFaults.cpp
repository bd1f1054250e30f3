// The guarded probes of the Microsoft-ABI build, against what CPUID reports:
// a probe whose instruction faults (3DNow!, on any recent processor) answers
// "not supported" and the program carries on. Exit status 0 when every probe
// answered right.

#include <cstdio>

#include "../../Cross/Quorvan/ProcessorProbe.h"
#include "../ReportedFeatures.h"

int main() {
    const struct {
        int bit;
        const char* name;
    } probes[] = {{FeatureMMX, "MMX"}, {FeatureSSE, "SSE"}, {FeatureSSE2, "SSE2"}, {Feature3DNow, "3DNow!"}};
    const int features = ReportedFeatures();
    int failures = 0, faults = 0;
    for (const auto& probe : probes) {
        const int expected = features & probe.bit ? 1 : 0;
        const int runs = ProcessorProbe::FeatureRunsOnOS(probe.bit);
        std::printf("%s: %s\n", probe.name, runs ? "runs" : "not supported");
        if (runs != expected) {
            std::printf("FAILED: the processor %s %s\n", expected ? "has" : "lacks", probe.name);
            ++failures;
        }
        faults += !expected;
    }
    if (!failures && !faults) std::printf("SKIPPED: this processor runs every probed instruction; none faulted\n");
    return failures ? 1 : 0;
}
