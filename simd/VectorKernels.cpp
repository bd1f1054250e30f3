#include "VectorKernels.h"

#include "../Cross/Quorvan/FlagWords.h"
#include "MemoryLoops.h"

namespace {

// Indexed by VectorPath.
const VectorKernels kKernels[] = {
    {kSseFullKernels, kSseSingleKernels, SseMemory::CopyBlocks, SseMemory::FowAlpha16, SseMemory::FowAlpha32,
     SseMemory::AndMask, AnyMaskBitInRect},
    {kSseFullKernels, kSseSingleKernels, SseMemory::CopyBlocks, SseMemory::FowAlpha16, SseMemory::FowAlpha32,
     SseMemory::AndMask, AnyMaskBitInRect},
    {kAvx2FullKernels, kAvx2SingleKernels, SseMemory::CopyBlocks, SseMemory::FowAlpha16, SseMemory::FowAlpha32,
     SseMemory::AndMask, AnyMaskBitInRect},
    {kAvx512FullKernels, kAvx512SingleKernels, SseMemory::CopyBlocks, SseMemory::FowAlpha16, SseMemory::FowAlpha32,
     SseMemory::AndMask, AnyMaskBitInRect},
};

}  // namespace

const VectorKernels* s_vectorKernels = &kKernels[0];

const VectorKernels& VectorKernelsFor(VectorPath path) { return kKernels[static_cast<int>(path)]; }
