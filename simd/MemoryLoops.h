#pragma once

// The memory loops of Quorvan_SSE, one namespace per instruction set, each
// defined in a file built for that set. They run in whole steps of their
// form and leave the same bytes; the operation's report comes first.

#include <cstdint>

namespace SseMemory {
void CopyBlocks(uint8_t* dst, const uint8_t* src, uint32_t bytes);
void FowAlpha16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint16_t* texels);
void FowAlpha32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint32_t* texels);
void AndMask(uint32_t* words, uint32_t count, uint32_t mask);
}  // namespace SseMemory
