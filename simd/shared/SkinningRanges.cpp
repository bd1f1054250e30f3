#include "SkinningRanges.h"

#include <cstring>

#include "../../Cross/Quorvan/VertexLayout.h"
#include "VertexBlock.h"

namespace {

using VertexBlock::Signed;

// Bytes relative to a vertex's address.
struct Extent {
    int64_t low, high;

    void Cover(int64_t from, int64_t size) {
        if (size == 0) return;
        low = from < low ? from : low;
        high = from + size > high ? from + size : high;
    }
};

// Where the skinned values of a destination vertex end, for both operations.
// SkinningSingle stores a float vector whole, its fourth lane spilling four
// bytes on; even its last vector does when pass-through bytes follow, unless
// that is a normal alone with four of them. A packed direction is four bytes,
// and the position before it spills into the packed normal's slot.
int64_t SkinnedEnd(const SkinningJob& job) {
    using namespace VertexLayout;
    const bool normal = job.hasNormal, tangents = job.hasTangents;
    if (job.packedDirections && (normal || tangents)) return tangents ? DstBinormal(true) + 4 : kDstNormal + 4;
    const int64_t end = tangents ? DstBinormal(false) + 12 : normal ? kDstNormal + 12 : kDstPosition + 12;
    const bool spills = job.extraSize != 0 && !(normal && !tangents && job.extraSize == 4);
    return end + (spills ? 4 : 0);
}

Extent Writes(const SkinningJob& job) {
    Extent e{0, SkinnedEnd(job)};
    e.Cover(Signed(job.dstExtraOffset), int64_t{job.extraSize} + (job.hasAux ? job.auxSize : 0));
    return e;
}

// Where the skinned inputs of a source vertex end, for both operations: the
// 16-byte lane of its last float vector, three bytes of its last packed
// direction, or, for positions alone, the byte behind the weights that
// SkinningFull's end test reads.
int64_t SkinnedInputEnd(const SkinningJob& job) {
    using namespace VertexLayout;
    const bool packed = job.packedDirections, normal = job.hasNormal, tangents = job.hasTangents;
    if (tangents) return packed ? SrcBinormal(true) + 3 : SrcBinormal(false) + 16;
    if (normal) return packed ? kSrcNormal + 3 : kSrcNormal + 16;
    return kSrcWeights + 5;
}

Extent Reads(const SkinningJob& job) {
    Extent e{0, SkinnedInputEnd(job)};
    e.Cover(Signed(job.srcExtraOffset), job.extraSize);
    return e;
}

// Addresses as integers.
struct Interval {
    int64_t low, high;

    // Spans that would wrap around the address space count as reaching
    // everything.
    bool Disjoint(const Interval& other) const {
        constexpr int64_t kTop = sizeof(uintptr_t) == 4 ? int64_t{1} << 32 : INT64_MAX;
        if (low < 0 || other.low < 0 || high > kTop || other.high > kTop) return false;
        return high <= other.low || other.high <= low;
    }
};

// A vertex's extent at every vertex of the job.
Interval Covering(const void* first, uint32_t stride, uint32_t count, const Extent& e) {
    const auto span = VertexBlock::Span::Of(first, stride, count);
    return {span.low + e.low, span.high + e.high};
}

const uint8_t* Advanced(const uint8_t* address, uint32_t stride, uint32_t vertices) {
    // Integers, since the addresses wrap the way 32-bit ones do.
    return reinterpret_cast<const uint8_t*>(reinterpret_cast<uintptr_t>(address) +
                                            static_cast<uintptr_t>(Signed(stride) * vertices));
}

// A carried float's bits, every NaN as the one quiet NaN: a NaN poisons the
// sums it meets whatever its bits, and is stored as that one.
uint32_t CarriedBits(float f) {
    uint32_t bits;
    std::memcpy(&bits, &f, sizeof bits);
    return (bits & 0x7FFFFFFF) > 0x7F800000 ? 0x7FC00000 : bits;
}

// The fourth lane of a sum is never stored, and lanes do not mix.
bool SameStoredLanes(const SkinningCarry& a, const SkinningCarry& b) {
    const auto same = [](const float (&x)[4], const float (&y)[4]) {
        for (int lane = 0; lane < 3; ++lane)
            if (CarriedBits(x[lane]) != CarriedBits(y[lane])) return false;
        return true;
    };
    return same(a.position, b.position) && same(a.normal, b.normal) && same(a.tangent, b.tangent) &&
           same(a.binormal, b.binormal);
}

}  // namespace

void QuietCarriedNaNs(SkinningCarry& carry) {
    float lanes[16];
    static_assert(sizeof lanes == sizeof carry, "four sums of four lanes");
    std::memcpy(lanes, &carry, sizeof lanes);
    for (float& lane : lanes) {
        const uint32_t bits = CarriedBits(lane);
        std::memcpy(&lane, &bits, sizeof lane);
    }
    std::memcpy(&carry, lanes, sizeof lanes);
}

bool HasIndependentVertices(const SkinningJob& job) {
    const uint32_t count = job.vertexCount;
    const Extent writes = Writes(job);
    const int64_t dstStride = Signed(job.dstStride);
    if (count > 1 && (dstStride < 0 ? -dstStride : dstStride) < writes.high - writes.low) return false;

    const Interval stored = Covering(job.dstVertex, job.dstStride, count, writes);
    if (!stored.Disjoint(Covering(job.srcVertex, job.srcStride, count, Reads(job)))) return false;
    if (!job.hasAux || job.auxSize == 0) return true;
    // The auxiliary stream, at offsets that count as signed.
    const int64_t from = Signed(job.auxOffset), to = from + int64_t{job.auxSize} * count;
    const int64_t base = static_cast<int64_t>(reinterpret_cast<uintptr_t>(job.auxBase));
    return to <= INT32_MAX && stored.Disjoint({base + from, base + to});
}

SkinningJob VertexRange(const SkinningJob& job, uint32_t first, uint32_t count) {
    SkinningJob range = job;
    range.srcVertex = Advanced(job.srcVertex, job.srcStride, first);
    range.dstVertex = const_cast<uint8_t*>(Advanced(job.dstVertex, job.dstStride, first));
    if (job.hasAux) range.auxOffset += first * job.auxSize;
    range.vertexCount = count;
    return range;
}

// The range's first vertex differs only where the true sums differ from +0
// in a way its first products notice, and each vertex after it only where
// the sums it was handed differ. So the range's own sums are computed again
// beside the true ones, vertex by vertex, into a scratch vertex; once the
// two agree, every byte from there on is already right.
SkinningCarry ContinueRange(const SkinningKernelTable& full, const VectorBonePalette& palette, const SkinningJob& range,
                            const SkinningCarry& rangeCarry, const SkinningCarry& into) {
    SkinningCarry truth = into, own{};
    SkinningJob vertex = range;
    // The same skinned values without the copies, which do not touch the sums.
    SkinningJob shadow = range;
    shadow.extraSize = 0;
    shadow.hasAux = 0;
    shadow.dstExtraOffset = 0;
    const SkinningKernel skin = full.Select(vertex).run, skinShadow = full.Select(shadow).run;
    alignas(16) uint8_t scratch[64];
    for (uint32_t k = 0; k < range.vertexCount; ++k) {
        if (SameStoredLanes(truth, own)) return rangeCarry;
        shadow.srcVertex = vertex.srcVertex;
        shadow.dstVertex = scratch;
        shadow.vertexCount = vertex.vertexCount = 1;
        skinShadow(&shadow, &palette, &own);
        skin(&vertex, &palette, &truth);
    }
    return truth;
}
