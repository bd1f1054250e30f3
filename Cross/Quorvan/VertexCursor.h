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

// Whether `size` bytes at `dst` and at `src` share any byte. Only then does
// the order of a copy show in the bytes it leaves.
QUORVAN_INLINE bool Overlap(const uint8_t* dst, const uint8_t* src, uint32_t size) {
    const uintptr_t apart = reinterpret_cast<uintptr_t>(dst) - reinterpret_cast<uintptr_t>(src);
    return apart + (size - 1) < uintptr_t{2} * size - 1;
}

// Copies front to back in steps of `Step` bytes, each step read whole before
// it is written: where the destination starts inside the source, a step reads
// what an earlier one wrote, as a block move would.
template <uint32_t Step>
QUORVAN_INLINE void CopyForward(uint8_t* dst, const uint8_t* src, uint32_t size) {
    for (uint32_t at = 0; at < size; at += Step) {
        uint8_t bytes[Step];
        std::memcpy(bytes, src + at, Step);
        std::memcpy(dst + at, bytes, Step);
    }
}

// The pass-through bytes, a size fixed per kernel, as 32-bit words from the
// first up, so that a copy onto its own source leaves the same bytes on every
// vector unit and compiler. `Apart` says the caller knows the two never meet,
// which leaves one plain copy.
template <uint32_t ExtraSize, bool Apart>
QUORVAN_INLINE void CopyExtra(uint8_t* dst, const uint8_t* src) {
    if constexpr (ExtraSize != 0) {
        if (!Apart && Overlap(dst, src, ExtraSize))
            CopyForward<4>(dst, src, ExtraSize);
        else
            std::memcpy(dst, src, ExtraSize);
    }
}

// The auxiliary bytes: any length, known only at run time, byte by byte from
// the first up where the copy meets its own source.
template <bool Apart>
QUORVAN_INLINE void CopyAux(uint8_t* dst, const uint8_t* src, uint32_t size) {
    if (size == 0) return;  // an empty stream may have no address
    if (!Apart && Overlap(dst, src, size))
        CopyForward<1>(dst, src, size);
    else
        std::memcpy(dst, src, size);
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
    // its auxiliary bytes, then on to the next vertex. `Apart`: no copy of
    // the job lands on its own source.
    template <uint32_t ExtraSize, bool Aux, bool Apart = false>
    QUORVAN_INLINE void FinishVertex(const SkinningJob& job) {
        uint8_t* extra = Offset(dst, job.dstExtraOffset);
        CopyExtra<ExtraSize, Apart>(extra, Offset(src, job.srcExtraOffset));
        if constexpr (Aux) {
            CopyAux<Apart>(extra + ExtraSize, Offset(job.auxBase, auxOffset), job.auxSize);
            auxOffset += job.auxSize;
        }
        src = Offset(src, job.srcStride);
        dst = Offset(dst, job.dstStride);
        --count;
    }
};
