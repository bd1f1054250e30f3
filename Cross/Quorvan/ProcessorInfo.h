#pragma once

#include <cstdint>

#include "QuorvanExport.h"

// Feature bits of _processor_info::cpuFeatures and ::osFeatures, and of the
// value _cpuid returns.
constexpr int FeatureMMX = 1;
constexpr int FeatureSSE = 2;
constexpr int FeatureSSE2 = 4;
constexpr int Feature3DNow = 8;

// What _cpuid found out about the processor. The layout is shared with hosts
// across the module boundary and must not change.
struct _processor_info {
    char vendorId[13];    // the 12 characters of the CPUID vendor text, then 0
    char cpuName[35];     // e.g. "INTEL Pentium-III:f=6,m=7"
    int32_t family;       // base family of the signature (bits 8-11)
    int32_t model;        // base model (bits 4-7)
    int32_t stepping;     // bits 0-3
    int32_t cpuFeatures;  // feature bits the processor reports
    int32_t osFeatures;   // feature bits whose instructions actually ran
    int32_t checkedFeatures;
};

// Probes the processor and, when `info` is not null, fills the record.
// Returns the feature bits the processor reports (0 without CPUID).
QUORVAN_API int QUORVAN_STDCALL _cpuid(_processor_info* info);
