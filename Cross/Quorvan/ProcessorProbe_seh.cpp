// Guarded probes with structured exception handling, for the build with the
// Microsoft C++ ABI. The guard's state lives in the probe's own stack frame,
// so probes may run on several threads at once with nothing shared.

#include <windows.h>

#include "ProbeInstructions.h"
#include "ProcessorInfo.h"
#include "ProcessorProbe.h"

namespace {

// Each test instruction runs in a function of its own, called from inside the
// guard: a fault inside a call is one the guard is sure to see, whatever the
// optimiser makes of the guarded block itself.
[[gnu::noinline]] void ExecuteCpuid() {
    unsigned eax = 0, ebx, ecx, edx;
    asm volatile(QUORVAN_PROBE_CPUID : "+a"(eax), "=b"(ebx), "=c"(ecx), "=d"(edx)::"memory");
}
[[gnu::noinline]] void ExecuteMmx() { asm volatile(QUORVAN_PROBE_MMX ::: QUORVAN_PROBE_MMX_CLOBBER "memory"); }
[[gnu::noinline]] void ExecuteSse() { asm volatile(QUORVAN_PROBE_SSE ::: QUORVAN_PROBE_XMM_CLOBBER "memory"); }
[[gnu::noinline]] void ExecuteSse2() { asm volatile(QUORVAN_PROBE_SSE2 ::: QUORVAN_PROBE_XMM_CLOBBER "memory"); }
[[gnu::noinline]] void Execute3DNow() { asm volatile(QUORVAN_PROBE_3DNOW ::: QUORVAN_PROBE_MMX_CLOBBER "memory"); }

// Every exception counts as "does not run".
int RunsWithoutFault(void (*instruction)()) {
    __try {
        instruction();
    } __except (EXCEPTION_EXECUTE_HANDLER) {
        return 0;
    }
    return 1;
}

}  // namespace

int ProcessorProbe::CpuidAvailable() { return RunsWithoutFault(ExecuteCpuid); }

int ProcessorProbe::FeatureRunsOnOS(int bit) {
    switch (bit) {
    case FeatureMMX:
        return RunsWithoutFault(ExecuteMmx);
    case FeatureSSE:
        return RunsWithoutFault(ExecuteSse);
    case FeatureSSE2:
        return RunsWithoutFault(ExecuteSse2);
    case Feature3DNow:
        return RunsWithoutFault(Execute3DNow);
    default:
        return 1;
    }
}
