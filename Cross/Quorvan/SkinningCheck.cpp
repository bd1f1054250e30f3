// QuorvanSkinningCheck: whether a job stays inside the caller's buffers and
// uses only bones the caller loaded, and if not, where it first goes wrong.
//
// An access lies at the same place in every vertex, so for vertex k it is at
// first + k * step: the vertices where it leaves its buffer are a prefix or
// a suffix of the job, and the first of them follows from the room the
// buffer leaves. Only the bones take a look at each vertex, and only at
// vertices whose bone and weight bytes the check knows to be readable.
//
// The arithmetic is on addresses as 64-bit integers, without division: a
// 64-bit division on i386 calls a runtime routine that the Microsoft-ABI
// build does not link.

#include "QuorvanSkinning.h"

#include <cstddef>

#include "SkinningAccesses.h"
#include "SkinningDispatch.h"
#include "VertexCursor.h"
#include "VertexLayout.h"

// Hosts in other languages lay the answer out by hand.
static_assert(sizeof(QuorvanSkinningCheckAnswer) == 32 && offsetof(QuorvanSkinningCheckAnswer, bytes) == 24,
              "the answer is the same 32 bytes on every build");

namespace {

// No x86 address space comes near 2^62 bytes: buffer sizes are capped there
// and longer walks held there, which keeps every sum below in 64 bits.
constexpr int64_t kFar = int64_t{1} << 62;

int64_t Address(const void* p) { return static_cast<int64_t>(reinterpret_cast<uintptr_t>(p)); }

struct Interval {
    int64_t low, high;

    bool Empty() const { return low >= high; }
    bool Meets(const Interval& other) const {
        return !Empty() && !other.Empty() && low < other.high && other.low < high;
    }
};

Interval BufferOf(const void* start, size_t bytes) {
    const uint64_t size = bytes;
    return {Address(start), Address(start) + (size < uint64_t{kFar} ? static_cast<int64_t>(size) : kFar)};
}

// An address sequence of the job, and the buffer it must stay in.
struct Stream {
    int64_t first, step;
    Interval buffer;
};

Stream StreamOf(VertexStream stream, const SkinningJob& job, const QuorvanSkinningCheckExtents& extents) {
    switch (stream) {
    case VertexStream::Source:
        return {Address(job.srcVertex), static_cast<int32_t>(job.srcStride),
                BufferOf(extents.source, extents.sourceBytes)};
    case VertexStream::Destination:
        return {Address(job.dstVertex), static_cast<int32_t>(job.dstStride),
                BufferOf(extents.destination, extents.destinationBytes)};
    case VertexStream::Auxiliary:
        break;
    }
    // The running offset is added to auxBase as a signed 32-bit value, so
    // the stream reaches no further than 2^31 bytes either side of auxBase:
    // an offset that runs on wraps to the other side.
    const int64_t base = Address(job.auxBase), reach = int64_t{1} << 31;
    Interval buffer = BufferOf(extents.auxiliary, extents.auxiliaryBytes);
    buffer.low = buffer.low > base - reach ? buffer.low : base - reach;
    buffer.high = buffer.high < base + reach ? buffer.high : base + reach;
    return {base + static_cast<int32_t>(job.auxOffset), job.auxSize, buffer};
}

// The first vertex at which `width` bytes at first + k * step leave
// `buffer`: `count` when none of the `count` vertices does.
struct Miss {
    uint32_t vertex;
    bool before;     // it starts before the buffer, else it ends past it
    uint64_t bytes;  // by how much
};

Miss FirstMiss(int64_t first, int64_t step, int64_t width, const Interval& buffer, uint32_t count) {
    // How far the access may move down, and up, and stay inside.
    const int64_t down = first - buffer.low, up = buffer.high - width - first;
    if (down < 0) return {0, true, static_cast<uint64_t>(-down)};
    if (up < 0) return {0, false, static_cast<uint64_t>(-up)};
    const uint64_t room = static_cast<uint64_t>(step > 0 ? up : down), distance = step > 0 ? step : -step;
    if (distance == 0) return {count, false, 0};
    // The most steps the room holds, bit by bit; from 2^32 - 1 on, every
    // vertex fits.
    uint64_t steps = 0;
    for (uint64_t bit = uint64_t{1} << 31; bit != 0; bit >>= 1)
        if ((steps | bit) * distance <= room) steps |= bit;
    if (steps + 1 >= count) return {count, false, 0};
    const uint64_t k = steps + 1;
    return {static_cast<uint32_t>(k), step < 0, k * distance - room};
}

// The address of the last of `count` vertices, held within kFar.
int64_t LastOf(int64_t first, int64_t step, uint32_t count) {
    const uint64_t distance = step < 0 ? -step : step, steps = count - 1;
    if (steps * distance > uint64_t{kFar}) return step < 0 ? -kFar : kFar;
    return first + static_cast<int64_t>(steps) * step;
}

// The bytes one stream's accesses cover from the first vertex to the last.
Interval Covered(const VertexAccesses& list, VertexStream stream, const Stream& s, uint32_t count) {
    Interval vertex{kFar, -kFar};
    for (unsigned a = 0; a < list.count; ++a) {
        const VertexAccess& access = list.of[a];
        if (access.stream != stream) continue;
        vertex.low = access.low < vertex.low ? access.low : vertex.low;
        vertex.high = access.high > vertex.high ? access.high : vertex.high;
    }
    if (vertex.Empty()) return vertex;
    const int64_t last = LastOf(s.first, s.step, count);
    return {(s.first < last ? s.first : last) + vertex.low, (s.first < last ? last : s.first) + vertex.high};
}

uint32_t Notes(const VertexAccesses& list, const Stream (&streams)[3], uint32_t count) {
    const auto covered = [&](VertexStream stream) {
        return Covered(list, stream, streams[static_cast<int>(stream)], count);
    };
    const Interval stores = covered(VertexStream::Destination);
    return (stores.Meets(covered(VertexStream::Source)) ? QuorvanSkinningCheckOverlapsSource : 0) |
           (stores.Meets(covered(VertexStream::Auxiliary)) ? QuorvanSkinningCheckOverlapsAuxiliary : 0);
}

// The first bone at or beyond `bones` that vertices 0 to `vertices` - 1
// use, influence step by influence step as the kernels take them.
struct BoneMiss {
    bool found;
    uint32_t vertex, influence, bone;
};

BoneMiss FirstUnloadedBone(const SkinningJob& job, bool blends, uint32_t vertices, uint32_t bones) {
    using namespace VertexLayout;
    const uint8_t* src = job.srcVertex;
    for (uint32_t k = 0; k < vertices; ++k) {
        if (k != 0) src = Offset(src, job.srcStride);
        // Influence i is the vertex's last when byte 17 + i is 0 or it is
        // the fourth, whatever weight it has itself.
        for (uint32_t i = 0;; ++i) {
            if (src[kSrcBones + i] >= bones) return {true, k, i, src[kSrcBones + i]};
            if (!blends || i == 3 || src[kSrcWeights + 1 + i] == 0) break;
        }
    }
    return {false, 0, 0, 0};
}

QuorvanSkinningCheckProblem Check(const SkinningJob* job, QuorvanSkinningCheckCall call,
                                  const QuorvanSkinningCheckExtents* extents, QuorvanSkinningCheckAnswer& answer) {
    VertexAccesses list;
    if (!job || !extents || !ListVertexAccesses(*job, call, list)) return QuorvanSkinningCheckNothingToCheck;
    if (!IsSupportedExtraSize(job->extraSize)) {
        answer.value = job->extraSize;
        return QuorvanSkinningCheckUnsupportedExtraSize;
    }
    const uint32_t count = job->vertexCount;
    if (count == 0) return QuorvanSkinningCheckNoVertices;

    const Stream streams[3] = {StreamOf(VertexStream::Source, *job, *extents),
                               StreamOf(VertexStream::Destination, *job, *extents),
                               StreamOf(VertexStream::Auxiliary, *job, *extents)};
    answer.notes = Notes(list, streams, count);

    // The lowest vertex with an access outside its buffer, and the first
    // such access in the vertex's order.
    Miss miss{count, false, 0};
    const VertexAccess* culprit = nullptr;
    for (unsigned a = 0; a < list.count; ++a) {
        const VertexAccess& access = list.of[a];
        const Stream& s = streams[static_cast<int>(access.stream)];
        const Miss m = FirstMiss(s.first + access.low, s.step, access.high - access.low, s.buffer, count);
        if (m.vertex < miss.vertex) {
            miss = m;
            culprit = &access;
        }
    }

    // The bones of every vertex before that one, and of that one too when
    // its bad access comes after its bones (its skinned reads are then in).
    const uint32_t bones = extents->bonesLoaded < list.paletteBones ? extents->bonesLoaded : list.paletteBones;
    const uint32_t scanned = culprit && culprit->afterBones ? miss.vertex + 1 : miss.vertex;
    const BoneMiss bone = FirstUnloadedBone(*job, list.blends, scanned, bones);
    if (bone.found) {
        answer.vertex = bone.vertex;
        answer.influence = bone.influence;
        answer.value = bone.bone;
        return QuorvanSkinningCheckUnloadedBone;
    }
    if (!culprit) return QuorvanSkinningCheckFine;
    answer.vertex = miss.vertex;
    answer.access = culprit->what;
    answer.bytes = miss.bytes;
    if (culprit->store)
        return miss.before ? QuorvanSkinningCheckStoreBeforeBuffer : QuorvanSkinningCheckStorePastBuffer;
    return miss.before ? QuorvanSkinningCheckReadBeforeBuffer : QuorvanSkinningCheckReadPastBuffer;
}

}  // namespace

QuorvanSkinningCheckProblem QuorvanSkinningCheck(const QuorvanSkinningJob* job, QuorvanSkinningCheckCall call,
                                                 const QuorvanSkinningCheckExtents* extents,
                                                 QuorvanSkinningCheckAnswer* answer) {
    QuorvanSkinningCheckAnswer result{};
    const QuorvanSkinningCheckProblem problem = Check(job, call, extents, result);
    result.problem = problem;
    if (answer) *answer = result;
    return problem;
}
