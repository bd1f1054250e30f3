#pragma once

// The feature bits the processor reports through CPUID, read without the
// library.

#include <cpuid.h>

#include "../Cross/Quorvan/ProcessorInfo.h"

inline int ReportedFeatures() {
    unsigned eax, ebx, ecx, edx;
    __cpuid(1, eax, ebx, ecx, edx);
    int features = (edx >> 23 & 1) * FeatureMMX | (edx >> 25 & 1) * FeatureSSE | (edx >> 26 & 1) * FeatureSSE2;
    __cpuid(0x80000000u, eax, ebx, ecx, edx);
    if (eax >= 0x80000000u) {
        __cpuid(0x80000001u, eax, ebx, ecx, edx);
        features |= (edx >> 31) * Feature3DNow;
    }
    return features;
}
