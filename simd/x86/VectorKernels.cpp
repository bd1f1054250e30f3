#include "VectorKernels.h"

namespace {

// Indexed by VectorPath. SkinningSingle on AVX-512 runs the AVX2 kernels:
// with one transform per vertex, four vertices to a 512-bit register spend
// more on gathering them than they save, and measured slower than two to a
// 256-bit one.
const VectorKernels kKernels[] = {
    {{"SSE", &kSseFullKernels, &kSseSingleKernels}, kSseMemoryLoops},
    {{"SSE2", &kSseFullKernels, &kSseSingleKernels}, kSse2MemoryLoops},
    {{"AVX2", &kAvx2FullKernels, &kAvx2SingleKernels}, kAvx2MemoryLoops},
    {{"AVX-512", &kAvx512FullKernels, &kAvx2SingleKernels}, kAvx512MemoryLoops},
};
}  // namespace

const VectorKernels* s_vectorKernels = &kKernels[0];

const VectorKernels& VectorKernelsFor(VectorPath path) { return kKernels[static_cast<int>(path)]; }

const SkinningUnit* WidestSkinningUnit() {
    if (!ProcessorRunsVectorPath(VectorPath::Sse)) return nullptr;
    return &VectorKernelsFor(WidestVectorPath()).skinning;
}
