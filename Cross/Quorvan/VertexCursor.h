#pragma once

// The per-vertex bookkeeping every skinning kernel shares: where the current
// vertex is, the pass-through and auxiliary copies once its skinned values
// are written, and the step to the next vertex. Offsets and strides are
// 32-bit and count as signed, so they wrap the way 32-bit addresses do.

#include <cstdint>
#include <cstring>

#include "ForceInline.h"
#include "SkinningJob.h"

template <class Byte>
QUORVAN_INLINE Byte* Offset(Byte* address, uint32_t offset) {
    return address + static_cast<int32_t>(offset);
}

// The pass-through bytes, a size fixed per kernel: nothing for 0, word moves
// for small sizes, a block move for large ones.
template <uint32_t ExtraSize>
QUORVAN_INLINE void CopyExtra(uint8_t* dst, const uint8_t* src) {
    if constexpr (ExtraSize != 0) std::memcpy(dst, src, ExtraSize);
}

// The auxiliary bytes: any length, known only at run time.
QUORVAN_INLINE void CopyAux(uint8_t* dst, const uint8_t* src, uint32_t size) {
    if (size != 0) std::memcpy(dst, src, size);  // an empty stream may have no address
}

// The moving part of a job copy, kept in registers while a kernel runs and
// written back when it returns.
struct VertexCursor {
    const uint8_t* src;
    uint8_t* dst;
    uint32_t auxOffset;
    uint32_t count;

    explicit VertexCursor(const SkinningJob& job)
        : src(job.srcVertex), dst(job.dstVertex), auxOffset(job.auxOffset), count(job.vertexCount) {}

    void StoreInto(SkinningJob& job) const {
        job.srcVertex = src;
        job.dstVertex = dst;
        job.auxOffset = auxOffset;
        job.vertexCount = count;
    }

    // After the vertex's skinned values are written: its pass-through bytes,
    // its auxiliary bytes, then on to the next vertex.
    template <uint32_t ExtraSize, bool Aux>
    QUORVAN_INLINE void FinishVertex(const SkinningJob& job) {
        uint8_t* extra = Offset(dst, job.dstExtraOffset);
        CopyExtra<ExtraSize>(extra, Offset(src, job.srcExtraOffset));
        if constexpr (Aux) {
            CopyAux(extra + ExtraSize, Offset(job.auxBase, auxOffset), job.auxSize);
            auxOffset += job.auxSize;
        }
        src = Offset(src, job.srcStride);
        dst = Offset(dst, job.dstStride);
        --count;
    }
};
