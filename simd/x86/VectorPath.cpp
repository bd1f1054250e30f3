// Which vector paths this processor runs. The wide ones need both the
// processor's instructions (CPUID leaves 1 and 7) and an operating system
// that saves their registers on a task switch (OSXSAVE, then the state
// components XGETBV reports enabled).

#include "VectorPath.h"

#include <cpuid.h>

#include "VectorKernels.h"

namespace {

struct Cpuid {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
};

Cpuid Leaf(unsigned leaf, unsigned subleaf = 0) {
    Cpuid r;
    if (__get_cpuid_max(0, nullptr) >= leaf) __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
    return r;
}

bool Bit(unsigned word, unsigned bit) { return (word >> bit) & 1; }

// The register state components the operating system has enabled in XCR0.
unsigned EnabledStateComponents() {
    unsigned eax, edx;
    // xgetbv, spelled as bytes so that the file needs no XSAVE flag.
    asm volatile(".byte 0x0f, 0x01, 0xd0" : "=a"(eax), "=d"(edx) : "c"(0));
    return eax;
}

constexpr unsigned kXmmYmmState = 0x06;                // SSE and AVX registers
constexpr unsigned kZmmState = kXmmYmmState | 0xE0;    // and opmasks, ZMM upper halves, ZMM16-31

bool RunsSse() { return Bit(Leaf(1).edx, 25); }
bool RunsSse2() { return Bit(Leaf(1).edx, 26); }

// The AVX state the path needs, or 0 when the operating system cannot save
// any of it.
unsigned SavedAvxState() {
    const Cpuid leaf1 = Leaf(1);
    if (!Bit(leaf1.ecx, 27) || !Bit(leaf1.ecx, 28)) return 0;  // OSXSAVE, AVX
    return EnabledStateComponents();
}

bool RunsAvx2() {
    return (SavedAvxState() & kXmmYmmState) == kXmmYmmState && Bit(Leaf(7).ebx, 5);
}

bool RunsAvx512() {
    const unsigned ebx = Leaf(7).ebx;
    // Foundation, doubleword and quadword, byte and word, vector length.
    const bool instructions = Bit(ebx, 16) && Bit(ebx, 17) && Bit(ebx, 30) && Bit(ebx, 31);
    return RunsAvx2() && instructions && (SavedAvxState() & kZmmState) == kZmmState;
}

}  // namespace

const char* VectorPathName(VectorPath path) { return VectorKernelsFor(path).skinning.name; }

bool ProcessorRunsVectorPath(VectorPath path) {
    switch (path) {
    case VectorPath::Sse: return RunsSse();
    case VectorPath::Sse2: return RunsSse2();
    case VectorPath::Avx2: return RunsSse2() && RunsAvx2();
    case VectorPath::Avx512: return RunsSse2() && RunsAvx512();
    }
    return false;
}

VectorPath WidestVectorPath() {
    VectorPath widest = VectorPath::Sse;
    for (VectorPath path : kVectorPaths)
        if (ProcessorRunsVectorPath(path)) widest = path;
    return widest;
}
