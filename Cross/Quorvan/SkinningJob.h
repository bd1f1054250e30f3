#pragma once

#include <stdint.h>

// One run of skinned vertices, handed to Quorvan::SkinningFull or
// Quorvan::SkinningSingle. The library copies it before use and never writes
// the caller's record.
//
// Source vertex: position (3 floats) at 0, bone indices (4 bytes) at 12,
// weights (4 bytes) at 16, then the optional normal, tangent and binormal at
// fixed offsets, and `extraSize` pass-through bytes at `srcExtraOffset`.
// Destination vertex: position at 0, the optional directions at fixed
// offsets, the pass-through bytes at `dstExtraOffset`, then `auxSize`
// auxiliary bytes when `hasAux` is set. A vertex's copies run after its
// skinned values are stored: the pass-through bytes as 32-bit words from the
// first up, then the auxiliary bytes one by one from the first. A copy that
// lands on its own source therefore reads what it has just written, with the
// same bytes on every processor and path.
//
// Strides and offsets are 32-bit and are added to the addresses as signed
// values, so a stride may walk backwards.
//
// Plain C as well, for the thread-safe calls (QuorvanSkinning.h).
typedef struct SkinningJob {
    const uint8_t* srcVertex;
    uint32_t srcStride;
    uint32_t srcExtraOffset;
    uint8_t* dstVertex;
    uint32_t dstStride;
    uint32_t dstExtraOffset;
    uint32_t auxOffset;
    uint32_t auxSize;
    const uint8_t* auxBase;
    uint32_t extraSize;    // 0, 4, ..., 84
    uint32_t vertexCount;  // at least 1
    uint8_t hasNormal;
    uint8_t hasTangents;
    uint8_t hasAux;
    uint8_t packedDirections;
} SkinningJob;
