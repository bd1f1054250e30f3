#pragma once

// The pieces _cpuid is built from. Each probe runs its instruction under a
// guard, so a processor or an operating system that does not support it
// answers 0 instead of taking the process down.

struct _processor_info;

namespace ProcessorProbe {

// 1 when CPUID leaf 0 executes, 0 when it faults.
int CpuidAvailable();

// 1 when the test instruction of feature bit `bit` executes (and for a value
// that names no feature), 0 when it faults.
int FeatureRunsOnOS(int bit);

// Writes record->cpuName from record->vendorId, `family` and `model`.
void NameProcessor(_processor_info* record, int family, int model);

}  // namespace ProcessorProbe
