#include "VectorKernels.h"

#include "../Cross/Quorvan/FlagWords.h"
#include "MemoryLoops.h"

namespace {

// Indexed by VectorPath. AVX-512 copies with the AVX2 loop: the wider
// registers moved memory no faster.
const VectorKernels kKernels[] = {
    {kSseFullKernels, kSseSingleKernels, SseMemory::CopyBlocks, SseMemory::FowAlpha16, SseMemory::FowAlpha32,
     SseMemory::AndMask, AnyMaskBitInRect},
    {kSseFullKernels, kSseSingleKernels, Sse2Memory::CopyBlocks, Sse2Memory::FowAlpha16, Sse2Memory::FowAlpha32,
     Sse2Memory::AndMask, Sse2Memory::AnyMaskBitInRect},
    {kAvx2FullKernels, kAvx2SingleKernels, Avx2Memory::CopyBlocks, Avx2Memory::FowAlpha16, Avx2Memory::FowAlpha32,
     Avx2Memory::AndMask, Avx2Memory::AnyMaskBitInRect},
    {kAvx512FullKernels, kAvx512SingleKernels, Avx2Memory::CopyBlocks, Avx512Memory::FowAlpha16,
     Avx512Memory::FowAlpha32, Avx512Memory::AndMask, Avx512Memory::AnyMaskBitInRect},
};
}  // namespace

const VectorKernels* s_vectorKernels = &kKernels[0];

const VectorKernels& VectorKernelsFor(VectorPath path) { return kKernels[static_cast<int>(path)]; }
