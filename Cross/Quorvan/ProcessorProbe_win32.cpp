// Guarded probes on Windows: a vectored exception handler catches the fault of
// an unsupported instruction and resumes the probe just past it. Each thread
// keeps its own resume address, so probes may run on several threads at once.

#include <windows.h>

#include "ProbeInstructions.h"
#include "ProcessorInfo.h"
#include "ProcessorProbe.h"

namespace {

thread_local void* t_resume = nullptr;
thread_local bool t_faulted = false;

LONG CALLBACK OnException(EXCEPTION_POINTERS* exception) {
    void* resume = t_resume;
    if (!resume) return EXCEPTION_CONTINUE_SEARCH;  // not one of this thread's probes
    t_resume = nullptr;
    t_faulted = true;
#if defined(_WIN64)
    exception->ContextRecord->Rip = reinterpret_cast<DWORD64>(resume);
#else
    exception->ContextRecord->Eip = reinterpret_cast<DWORD>(resume);
#endif
    return EXCEPTION_CONTINUE_EXECUTION;
}

// Each probe stores the address behind its instruction in t_resume before it
// runs it, so a fault lands on the same spot as success. A 64-bit image may
// load anywhere: there the address is taken relative to the instruction.
#if defined(_WIN64)
#  define QUORVAN_GUARDED(instruction) "leaq 1f(%%rip), %%r11\n\tmovq %%r11, %0\n\t" instruction "\n1:"
#  define QUORVAN_GUARD_CLOBBER "r11",
#else
#  define QUORVAN_GUARDED(instruction) "movl $1f, %0\n\t" instruction "\n1:"
#  define QUORVAN_GUARD_CLOBBER
#endif

template <class Instruction>
int RunsWithoutFault(Instruction instruction) {
    void* handler = AddVectoredExceptionHandler(1, OnException);
    t_faulted = false;
    instruction();
    t_resume = nullptr;
    RemoveVectoredExceptionHandler(handler);
    return t_faulted ? 0 : 1;
}

}  // namespace

int ProcessorProbe::CpuidAvailable() {
    return RunsWithoutFault([] {
        unsigned eax = 0, ebx, ecx, edx;
        asm volatile(QUORVAN_GUARDED(QUORVAN_PROBE_CPUID)
                     : "=m"(t_resume), "+a"(eax), "=b"(ebx), "=c"(ecx), "=d"(edx)::QUORVAN_GUARD_CLOBBER "memory");
    });
}

int ProcessorProbe::FeatureRunsOnOS(int bit) {
    switch (bit) {
    case FeatureMMX:
        return RunsWithoutFault([] {
            asm volatile(QUORVAN_GUARDED(QUORVAN_PROBE_MMX)
                         : "=m"(t_resume)::QUORVAN_GUARD_CLOBBER QUORVAN_PROBE_MMX_CLOBBER "memory");
        });
    case FeatureSSE:
        return RunsWithoutFault([] {
            asm volatile(QUORVAN_GUARDED(QUORVAN_PROBE_SSE)
                         : "=m"(t_resume)::QUORVAN_GUARD_CLOBBER QUORVAN_PROBE_XMM_CLOBBER "memory");
        });
    case FeatureSSE2:
        return RunsWithoutFault([] {
            asm volatile(QUORVAN_GUARDED(QUORVAN_PROBE_SSE2)
                         : "=m"(t_resume)::QUORVAN_GUARD_CLOBBER QUORVAN_PROBE_XMM_CLOBBER "memory");
        });
    case Feature3DNow:
        return RunsWithoutFault([] {
            asm volatile(QUORVAN_GUARDED(QUORVAN_PROBE_3DNOW)
                         : "=m"(t_resume)::QUORVAN_GUARD_CLOBBER QUORVAN_PROBE_MMX_CLOBBER "memory");
        });
    default:
        return 1;
    }
}
