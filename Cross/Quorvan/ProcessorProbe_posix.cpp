// Guarded probes on POSIX systems: an instruction the processor or the
// operating system does not support raises SIGILL, which a handler turns into
// a jump back to the probe. Probes may run on several threads at once: the
// handler is installed while any probe runs, and each thread lands on its own
// jump buffer.

#include <setjmp.h>
#include <signal.h>

#include <mutex>

#include "ProbeInstructions.h"
#include "ProcessorInfo.h"
#include "ProcessorProbe.h"

namespace {

thread_local sigjmp_buf* t_landing = nullptr;

std::mutex g_handlerMutex;
unsigned g_probesRunning = 0;
struct sigaction g_previousHandler;

extern "C" void OnIllegalInstruction(int signal, siginfo_t* info, void* context) {
    if (sigjmp_buf* landing = t_landing) siglongjmp(*landing, 1);

    // Not one of this thread's probes: it belongs to whoever handled SIGILL
    // before.
    if (g_previousHandler.sa_flags & SA_SIGINFO) {
        g_previousHandler.sa_sigaction(signal, info, context);
    } else if (g_previousHandler.sa_handler != SIG_DFL && g_previousHandler.sa_handler != SIG_IGN) {
        g_previousHandler.sa_handler(signal);
    } else {
        // Returning re-executes the instruction, which now gets the default.
        ::signal(SIGILL, SIG_DFL);
    }
}

class IllegalInstructionHandler {
public:
    IllegalInstructionHandler() {
        std::lock_guard<std::mutex> lock(g_handlerMutex);
        if (g_probesRunning++ != 0) return;
        struct sigaction action = {};
        action.sa_sigaction = OnIllegalInstruction;
        action.sa_flags = SA_SIGINFO | SA_NODEFER;
        sigemptyset(&action.sa_mask);
        sigaction(SIGILL, &action, &g_previousHandler);
    }
    ~IllegalInstructionHandler() {
        std::lock_guard<std::mutex> lock(g_handlerMutex);
        if (--g_probesRunning == 0) sigaction(SIGILL, &g_previousHandler, nullptr);
    }
    IllegalInstructionHandler(const IllegalInstructionHandler&) = delete;
    IllegalInstructionHandler& operator=(const IllegalInstructionHandler&) = delete;
};

template <class Instruction>
int RunsWithoutFault(Instruction instruction) {
    IllegalInstructionHandler handler;
    sigjmp_buf landing;
    if (sigsetjmp(landing, 1) != 0) {
        t_landing = nullptr;
        return 0;
    }
    t_landing = &landing;
    instruction();
    t_landing = nullptr;
    return 1;
}

}  // namespace

int ProcessorProbe::CpuidAvailable() {
    return RunsWithoutFault([] {
        unsigned eax = 0, ebx, ecx, edx;
        asm volatile(QUORVAN_PROBE_CPUID : "+a"(eax), "=b"(ebx), "=c"(ecx), "=d"(edx)::"memory");
    });
}

int ProcessorProbe::FeatureRunsOnOS(int bit) {
    switch (bit) {
    case FeatureMMX:
        return RunsWithoutFault(
            [] { asm volatile(QUORVAN_PROBE_MMX ::: QUORVAN_PROBE_MMX_CLOBBER "memory"); });
    case FeatureSSE:
        return RunsWithoutFault(
            [] { asm volatile(QUORVAN_PROBE_SSE ::: QUORVAN_PROBE_XMM_CLOBBER "memory"); });
    case FeatureSSE2:
        return RunsWithoutFault(
            [] { asm volatile(QUORVAN_PROBE_SSE2 ::: QUORVAN_PROBE_XMM_CLOBBER "memory"); });
    case Feature3DNow:
        return RunsWithoutFault(
            [] { asm volatile(QUORVAN_PROBE_3DNOW ::: QUORVAN_PROBE_MMX_CLOBBER "memory"); });
    default:
        return 1;
    }
}
