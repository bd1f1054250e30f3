#pragma once

// What Quorvan_SSE runs on each vector path: its skinning tables and its
// memory loops. One set is chosen when a Quorvan_SSE is created and serves
// the whole module from then on, like the palette.

#include <cstdint>

#include "SseSkinning.h"
#include "VectorPath.h"

struct VectorKernels {
    const SseKernelTable& skinningFull;
    const SseKernelTable& skinningSingle;
    // The memory loops, whole steps only, after the operation's report.
    void (*copyBlocks)(uint8_t* dst, const uint8_t* src, uint32_t bytes);
    void (*fowAlpha16)(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                       uint16_t* texels);
    void (*fowAlpha32)(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                       uint32_t* texels);
    void (*andMask)(uint32_t* words, uint32_t count, uint32_t mask);
    bool (*testMaskRect)(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch, uint32_t mask);
};

const VectorKernels& VectorKernelsFor(VectorPath path);

// The set the module runs now.
extern const VectorKernels* s_vectorKernels;
