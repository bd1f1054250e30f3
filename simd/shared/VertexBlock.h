#pragma once

// A block of consecutive vertices that a wide kernel skins side by side. It
// reads the skinned inputs of the whole block before it stores any vertex,
// and then stores the vertices one after another exactly as the one-by-one
// loop does, each followed by its pass-through and auxiliary copies. Those
// copies read their bytes when the one-by-one loop would, so the early reads
// of the skinned inputs are the only reordering, and they cannot be observed
// unless a store of the block lands on the input bytes of one of its
// vertices. A block whose stores might do that is left to the one-by-one
// loop.

#include <cstdint>

#include "../../Cross/Quorvan/ForceInline.h"
#include "../../Cross/Quorvan/SkinningJob.h"
#include "../../Cross/Quorvan/VertexCursor.h"

namespace {
namespace VertexBlock {

// Bytes of a vertex the skinned inputs are read from: the position, bone and
// weight bytes and the directions with the four bytes their loads run past.
constexpr int64_t kInputBytes = 64;
// Bytes from the start of a destination vertex the skinned values (and the
// spill lane behind the last one) are stored into.
constexpr int64_t kSkinnedBytes = 64;

inline int64_t Signed(uint32_t offset) { return static_cast<int32_t>(offset); }

// Where a vertex's stores land, relative to the vertex: the skinned slots,
// then the pass-through and auxiliary bytes wherever dstExtraOffset puts them.
struct StoreSpan {
    int64_t low, high;

    template <uint32_t ExtraSize, bool Aux>
    static StoreSpan Of(const SkinningJob& job) {
        const int64_t extra = Signed(job.dstExtraOffset);
        const int64_t copied = extra + ExtraSize + (Aux ? int64_t{job.auxSize} : 0);
        return {extra < 0 ? extra : 0, copied > kSkinnedBytes ? copied : kSkinnedBytes};
    }
};

// The lowest and highest of the first and last vertex addresses of a block
// of `count` vertices `stride` apart, as integers.
struct Span {
    int64_t low, high;

    QUORVAN_INLINE static Span Of(const void* first, uint32_t stride, uint32_t count) {
        const int64_t a = static_cast<int64_t>(reinterpret_cast<uintptr_t>(first));
        const int64_t b = a + Signed(stride) * (count - 1);
        return a < b ? Span{a, b} : Span{b, a};
    }
};

// Whether the `count` vertices at the cursor can be skinned side by side:
// no store of the block reaches the input bytes of any of its vertices. Spans
// that would wrap around the address space count as overlapping.
QUORVAN_INLINE bool IsIndependent(const SkinningJob& job, const VertexCursor& cursor, uint32_t count,
                                  const StoreSpan& stores) {
    constexpr int64_t kTop = sizeof(uintptr_t) == 4 ? int64_t{1} << 32 : INT64_MAX;
    const Span src = Span::Of(cursor.src, job.srcStride, count);
    const Span dst = Span::Of(cursor.dst, job.dstStride, count);
    const int64_t readLow = src.low, readHigh = src.high + kInputBytes;
    const int64_t writeLow = dst.low + stores.low, writeHigh = dst.high + stores.high;
    if (readLow < 0 || writeLow < 0 || readHigh > kTop || writeHigh > kTop) return false;
    return readHigh <= writeLow || writeHigh <= readLow;
}

}  // namespace VertexBlock
}  // namespace
