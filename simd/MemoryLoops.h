#pragma once

// The memory loops of Quorvan_SSE, one namespace per instruction set, each
// defined in a file built for that set. They run in whole steps of their
// form and leave the same bytes; the operation's report comes first. The
// wide sets take wider steps where the count allows and finish with the
// SSE form's steps, so that a count the report rejects rewrites the same
// words as on SSE.

#include <cstdint>

namespace SseMemory {
void CopyBlocks(uint8_t* dst, const uint8_t* src, uint32_t bytes);
void FowAlpha16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint16_t* texels);
void FowAlpha32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint32_t* texels);
void AndMask(uint32_t* words, uint32_t count, uint32_t mask);
}  // namespace SseMemory

// 16-byte steps.
namespace Sse2Memory {
void CopyBlocks(uint8_t* dst, const uint8_t* src, uint32_t bytes);
void FowAlpha16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint16_t* texels);
void FowAlpha32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint32_t* texels);
void AndMask(uint32_t* words, uint32_t count, uint32_t mask);
// The answer of the word-by-word scan, a chunk at a time; it reads no page
// that scan would not.
bool AnyMaskBitInRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch, uint32_t mask);
}  // namespace Sse2Memory

// 32-byte steps.
namespace Avx2Memory {
void CopyBlocks(uint8_t* dst, const uint8_t* src, uint32_t bytes);
void FowAlpha16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint16_t* texels);
void FowAlpha32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint32_t* texels);
void AndMask(uint32_t* words, uint32_t count, uint32_t mask);
bool AnyMaskBitInRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch, uint32_t mask);
}  // namespace Avx2Memory

// 64-byte steps; copies go through the AVX2 loop.
namespace Avx512Memory {
void FowAlpha16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint16_t* texels);
void FowAlpha32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint32_t* texels);
void AndMask(uint32_t* words, uint32_t count, uint32_t mask);
bool AnyMaskBitInRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch, uint32_t mask);
}  // namespace Avx512Memory
