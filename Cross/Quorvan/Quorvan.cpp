// The frame: the module's load-time allocator object, the reference-counted
// single instance and the choice between the vector and the scalar
// implementation.

#include "Quorvan.h"

#include <new>

#include "../../host/Debug.h"
#include "../../host/Memory.h"
#include "../../simd/Quorvan_SSE.h"
#include "Quorvan_std.h"

#if defined(__i386__)
// The record layouts hosts compile against on 32-bit x86.
static_assert(sizeof(SkinningJob) == 48, "SkinningJob is twelve 32-bit words");
static_assert(sizeof(_processor_info) == 72, "_processor_info is 72 bytes");
static_assert(sizeof(Quorvan_std) == 6148, "a table pointer and a 6144-byte palette");
#endif

namespace {
constexpr int kInterfaceVersion = 6;
}

// Built before any entry point can run. Any address inside the module names
// the module to the host's memory service; the object's own will do.
MMOverloads moduleOverloads(MMAPIHook::ModuleFromAddress(&moduleOverloads));

Quorvan* Quorvan::s_pQuorvan = nullptr;
uint32_t Quorvan::s_refCount = 0;

Quorvan::~Quorvan() = default;

bool QUORVAN_STDCALL Quorvan::Initialize(bool skipDetection, int version) {
    if (version != kInterfaceVersion) return false;
    if (s_refCount++ != 0) return true;  // later users only count

    _processor_info info;
    // Only these two fields are read below; _cpuid leaves the record alone on
    // a processor without CPUID, and skipDetection does not probe at all.
    const char unknown[] = "unknown";
    for (unsigned k = 0; k < sizeof unknown; ++k) info.cpuName[k] = unknown[k];
    info.osFeatures = 0;
    if (!skipDetection) _cpuid(&info);

    const char* mode;
    if (info.osFeatures & FeatureSSE) {
        s_pQuorvan = new (std::nothrow) Quorvan_SSE;
        mode = "SSE";
    } else {
        s_pQuorvan = new (std::nothrow) Quorvan_std;
        mode = "x87";
    }
    dbTimeStampedTracefAux("QUORVAN -- Version=%d, Cpu=%s, Mode=%s", kInterfaceVersion,
                           info.cpuName, mode);
    return true;
}

void QUORVAN_STDCALL Quorvan::Shutdown() {
    if (s_refCount > 1) {
        --s_refCount;
        return;
    }
    delete s_pQuorvan;
    s_pQuorvan = nullptr;
    s_refCount = 0;
}

Quorvan* QUORVAN_STDCALL Quorvan::i() { return s_pQuorvan; }
