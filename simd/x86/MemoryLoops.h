#pragma once

// The memory loops of Quorvan_SSE, one set per instruction set, each defined
// in a file built for that set. They run in whole steps of their form and
// leave the same bytes; the operation's report comes first. The wide sets
// take wider steps where the count allows and finish with the SSE form's
// steps, so that a count the report rejects rewrites the same words as on
// SSE.

#include <cstdint>

struct MemoryLoops {
    void (*copyBlocks)(uint8_t* dst, const uint8_t* src, uint32_t bytes);
    void (*fowAlpha16)(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                       uint16_t* texels);
    void (*fowAlpha32)(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                       uint32_t* texels);
    void (*andMask)(uint32_t* words, uint32_t count, uint32_t mask);
    // The answer of the word-by-word scan; the wide sets read a chunk at a
    // time, but no page that scan would not.
    bool (*testMaskRect)(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch, uint32_t mask);
};

// MMX steps of 8 bytes: the form every processor with SSE runs.
extern const MemoryLoops kSseMemoryLoops;
// 16-, 32- and 64-byte steps.
extern const MemoryLoops kSse2MemoryLoops, kAvx2MemoryLoops, kAvx512MemoryLoops;
