// What each skinning call reads and stores of a vertex.
//
// The vector kernels fetch a float vector as a whole 16-byte lane, four
// bytes past its three floats, and a packed direction as its three
// component bytes; the scalar kernels read three floats, or a packed normal
// with its range byte. SkinningFull reads the bone and weight bytes and,
// after a fourth influence, the byte behind them for its end test;
// SkinningSingle reads the first bone byte alone. Stores are three floats or
// four packed bytes, except where the vector SkinningSingle stores a whole
// lane.

#include "SkinningAccesses.h"

#include "../../simd/shared/SkinningKernels.h"
#include "Quorvan_std.h"
#include "StdSkinning.h"
#include "VertexLayout.h"

namespace {

using namespace VertexLayout;

// The byte after the four weights.
constexpr int64_t kEndTestByte = kSrcWeights + 4;

}  // namespace

bool ListVertexAccesses(const SkinningJob& job, QuorvanSkinningCheckCall call, VertexAccesses& list) {
    const bool vector = call == QuorvanSkinningCheckVectorFull || call == QuorvanSkinningCheckVectorSingle;
    const bool full = call == QuorvanSkinningCheckVectorFull || call == QuorvanSkinningCheckScalarFull;
    if (!vector && !full && call != QuorvanSkinningCheckScalarSingle) return false;
    // The flags as the call's kernels tell them apart: the scalar ones never
    // read hasTangents.
    const unsigned flags = JobFlags(job);
    const unsigned features =
        !vector ? StdFeatures(flags) : full ? FullKernelFeatures(flags) : SingleKernelFeatures(flags);
    const bool normal = features & kSkinNormal, tangents = features & kSkinTangents, packed = features & kSkinPacked;

    list.count = 0;
    list.blends = full;
    list.paletteBones = vector ? kVectorBoneCount : Quorvan_std::kBoneCount;
    const auto add = [&](QuorvanSkinningCheckAccess what, VertexStream stream, bool store, bool afterBones,
                         int64_t low, int64_t size) {
        if (size != 0) list.of[list.count++] = {what, stream, store, afterBones, low, low + size};
    };
    const auto skinnedRead = [&](QuorvanSkinningCheckAccess what, int64_t low, int64_t size) {
        add(what, VertexStream::Source, false, false, low, size);
    };
    const auto skinnedStore = [&](QuorvanSkinningCheckAccess what, int64_t low, int64_t size) {
        add(what, VertexStream::Destination, true, true, low, size);
    };

    const int64_t floatRead = vector ? 16 : 12, directionRead = packed ? (vector ? 3 : 4) : floatRead;
    skinnedRead(QuorvanSkinningCheckPosition, kSrcPosition, floatRead);
    skinnedRead(QuorvanSkinningCheckInfluences, kSrcBones, full ? kEndTestByte + 1 - kSrcBones : 1);
    if (normal) skinnedRead(QuorvanSkinningCheckNormal, kSrcNormal, directionRead);
    if (tangents) {
        skinnedRead(QuorvanSkinningCheckTangent, SrcTangent(packed), directionRead);
        skinnedRead(QuorvanSkinningCheckBinormal, SrcBinormal(packed), directionRead);
    }

    const auto width = [&](FloatVector v) {
        if (v != FloatVector::Position && packed) return int64_t{4};
        return vector && !full ? int64_t{SingleStoreWidth(v, job.extraSize, features)} : 12;
    };
    skinnedStore(QuorvanSkinningCheckPosition, kDstPosition, width(FloatVector::Position));
    if (normal) skinnedStore(QuorvanSkinningCheckNormal, kDstNormal, width(FloatVector::Normal));
    if (tangents) {
        skinnedStore(QuorvanSkinningCheckTangent, DstTangent(packed), width(FloatVector::Tangent));
        skinnedStore(QuorvanSkinningCheckBinormal, DstBinormal(packed), width(FloatVector::Binormal));
    }

    // Offsets inside a vertex count as signed.
    const int64_t extraAt = static_cast<int32_t>(job.dstExtraOffset);
    add(QuorvanSkinningCheckPassThrough, VertexStream::Source, false, true, static_cast<int32_t>(job.srcExtraOffset),
        job.extraSize);
    add(QuorvanSkinningCheckPassThrough, VertexStream::Destination, true, true, extraAt, job.extraSize);
    if (features & kSkinAux) {
        add(QuorvanSkinningCheckAuxiliary, VertexStream::Auxiliary, false, true, 0, job.auxSize);
        add(QuorvanSkinningCheckAuxiliary, VertexStream::Destination, true, true, extraAt + job.extraSize, job.auxSize);
    }
    return true;
}
