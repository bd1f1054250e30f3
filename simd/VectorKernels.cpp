#include "VectorKernels.h"

namespace {

// Indexed by VectorPath.
const VectorKernels kKernels[] = {
    {kSseFullKernels, kSseSingleKernels, kSseMemoryLoops},
    {kSseFullKernels, kSseSingleKernels, kSse2MemoryLoops},
    {kAvx2FullKernels, kAvx2SingleKernels, kAvx2MemoryLoops},
    {kAvx512FullKernels, kAvx512SingleKernels, kAvx512MemoryLoops},
};
}  // namespace

const VectorKernels* s_vectorKernels = &kKernels[0];

const VectorKernels& VectorKernelsFor(VectorPath path) { return kKernels[static_cast<int>(path)]; }
