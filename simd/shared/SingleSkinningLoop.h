#pragma once

// SkinningSingle of the vector implementation, one vertex after another: one
// bone per vertex, named by its first index byte, with an implied weight of
// one. The weights and the other three indices are never read. Every
// instruction set's kernel file builds its own copy (all of it has internal
// linkage); the wider ones run vertices side by side in their lanes and come
// here for whatever their lanes cannot take.
//
// Each vector is transformed once and stored at its fixed slot in the order
// position, normal, tangent, binormal. Float vectors use the bone's float
// rows; packed ones its quantised rotation, in integers only.

#include "../../Cross/Quorvan/FloatSettings.h"
#include "../../Cross/Quorvan/ForceInline.h"
#include "../../Cross/Quorvan/VertexCursor.h"
#include "../../Cross/Quorvan/VertexLayout.h"
#include "SkinningKernels.h"
#include "SkinningRanges.h"
#include "Vector4.h"
#include "VectorBonePalette.h"

namespace {
namespace SingleSkinning {

template <unsigned Width>
QUORVAN_INLINE void StoreVector(uint8_t* out, Float4 v) {
    static_assert(Width == 12 || Width == 16);
    if constexpr (Width == 12)
        StoreXYZ(out, v);
    else
        StoreXYZW(out, v);
}

// What a call's stores showed of NaNs where it stored them as the
// arithmetic left them: each kind of vector multiplies a product of its own,
// which stays a signed zero while those vectors are finite and turns NaN for
// good at the first NaN or infinity among them. One multiply a vector.
struct NaNWatch {
    Float4 seen[4] = {ZeroVector(), ZeroVector(), ZeroVector(), ZeroVector()};

    QUORVAN_INLINE void See(FloatVector vector, Float4 v) {
        Float4& product = seen[static_cast<int>(vector)];
        product = Mul4(product, v);
    }
    QUORVAN_INLINE bool SawNaN() const { return AnyNaN(seen[0], seen[1], seen[2], seen[3]); }
};

// A vertex's float vectors, each stored at its slot and width as soon as it
// is ready: a later vector may read what an earlier one stored.
template <uint32_t ExtraSize, unsigned Features>
struct FloatVectors {
    using F = KernelFeatures<Features>;
    static constexpr bool kNormal = F::kNormal && !F::kPacked, kTangents = F::kTangents && !F::kPacked;
    // An absent direction repeats the position, which costs its NaN test nothing.
    Float4 position, normal, tangent, binormal;

    template <FloatVector Vector>
    QUORVAN_INLINE void Store(uint8_t* dst, Float4 v) const {
        constexpr uint32_t kOffsets[4] = {VertexLayout::kDstPosition, VertexLayout::kDstNormal,
                                          VertexLayout::DstTangent(false), VertexLayout::DstBinormal(false)};
        StoreVector<SingleStoreWidth(Vector, ExtraSize, Features)>(dst + kOffsets[static_cast<int>(Vector)], v);
    }

    // A vertex with a NaN among its float vectors stores them all again, in
    // the same order, each NaN the one quiet NaN. Where a later vector read
    // an earlier one's store, it read a NaN either way, and a NaN operand
    // makes a NaN whatever its bits: the bytes are those of quieting each
    // vector before its store, at the cost of one test a vertex.
    QUORVAN_INLINE void QuietStoredNaNs(uint8_t* dst) const {
        if (__builtin_expect(!AnyNaN(position, normal, tangent, binormal), 1)) return;
        Store<FloatVector::Position>(dst, WithQuietNaNs(position));
        if constexpr (kNormal) Store<FloatVector::Normal>(dst, WithQuietNaNs(normal));
        if constexpr (kTangents) {
            Store<FloatVector::Tangent>(dst, WithQuietNaNs(tangent));
            Store<FloatVector::Binormal>(dst, WithQuietNaNs(binormal));
        }
    }

    QUORVAN_INLINE void ShowTo(NaNWatch& watch) const {
        watch.See(FloatVector::Position, position);
        if constexpr (kNormal) watch.See(FloatVector::Normal, normal);
        if constexpr (kTangents) {
            watch.See(FloatVector::Tangent, tangent);
            watch.See(FloatVector::Binormal, binormal);
        }
    }
};

// The bone's quantised rotation, widened once per vertex: read before the
// first store, it need not be fetched again after each one.
struct PackedRotation {
    int32_t q[9];

    QUORVAN_INLINE explicit PackedRotation(const int8_t* bytes) {
        for (int k = 0; k < 9; ++k) q[k] = bytes[k];
    }

    // A packed direction (excess-128 bytes, x in byte 2, z in byte 0) through
    // the rotation. The offset 127 * 128 - 1 puts the result's zero point at
    // about 127 rather than the input's 128; nothing clamps, so sums beyond a
    // byte wrap. Byte 3 is written as 0.
    QUORVAN_INLINE void Skin(uint8_t* out, const uint8_t* in) const {
        const int32_t x = in[2] - 128, y = in[1] - 128, z = in[0] - 128;
        const auto byte = [](int32_t sum) { return static_cast<uint32_t>((sum + 16255) >> 7) & 0xFF; };
        const uint32_t bytes = byte(q[2] * x + q[5] * y + q[8] * z) |        //
                               byte(q[1] * x + q[4] * y + q[7] * z) << 8 |   //
                               byte(q[0] * x + q[3] * y + q[6] * z) << 16;
        std::memcpy(out, &bytes, 4);
    }
};

// Vertices one by one until the count reaches `until`; at least one runs.
// With `Quiet`, each NaN they store is the one quiet NaN; without, NaNs are
// stored as the arithmetic leaves them, and shown to `watch`, and the job is
// one whose stores reach nothing it reads, so no copy meets its own source.
template <uint32_t ExtraSize, unsigned Features, bool Quiet>
QUORVAN_INLINE void RunVertices(const SkinningJob& job, const VectorBonePalette& palette, VertexCursor& cursor,
                                 uint32_t until, NaNWatch& watch) {
    using F = KernelFeatures<Features>;
    using namespace VertexLayout;
    do {
        const uint8_t* src = cursor.src;
        uint8_t* dst = cursor.dst;
        const unsigned bone = src[kSrcBones];
        const BoneRows rows(palette.rows[bone]);

        FloatVectors<ExtraSize, Features> floats;
        floats.position = floats.normal = floats.tangent = floats.binormal =
            rows.Transform(Splatted(src + kSrcPosition));
        // Packed directions read their bytes as integers after the
        // position's store, so a NaN there is quieted before it.
        if constexpr (Quiet && F::kPacked) QuietNaNs(floats.position);
        floats.template Store<FloatVector::Position>(dst, floats.position);
        if constexpr (F::kPacked) {
            const PackedRotation rotation(palette.quantised[bone]);
            if constexpr (F::kNormal) rotation.Skin(dst + kDstNormal, src + kSrcNormal);
            if constexpr (F::kTangents) {
                rotation.Skin(dst + DstTangent(true), src + SrcTangent(true));
                rotation.Skin(dst + DstBinormal(true), src + SrcBinormal(true));
            }
        } else {
            if constexpr (F::kNormal) {
                floats.normal = rows.Rotate(Splatted(src + kSrcNormal));
                floats.template Store<FloatVector::Normal>(dst, floats.normal);
            }
            if constexpr (F::kTangents) {
                // Both are fetched before either is stored: where the
                // destination overlaps the source, the tangent's store may
                // reach the binormal's source bytes.
                floats.tangent = rows.Rotate(Splatted(src + SrcTangent(false)));
                floats.binormal = rows.Rotate(Splatted(src + SrcBinormal(false)));
                floats.template Store<FloatVector::Tangent>(dst, floats.tangent);
                floats.template Store<FloatVector::Binormal>(dst, floats.binormal);
            }
        }
        if constexpr (!Quiet)
            floats.ShowTo(watch);
        else if constexpr (!F::kPacked)
            floats.QuietStoredNaNs(dst);
        cursor.FinishVertex<ExtraSize, F::kAux, !Quiet>(job);
    } while (cursor.count != until);
}

// The kernels of one instruction set. `Lanes::Run<ExtraSize, Features,
// Quiet>(job, palette, cursor, watch)` skins as many vertices as it can side
// by side, leaving at least one, and the rest run one by one here.
template <class Lanes>
struct Family {
    using Kernel = SkinningKernel;
    static constexpr unsigned Features(unsigned flags) { return SingleKernelFeatures(flags); }

    // As SkinningFull's: a job whose stores reach nothing it reads stores
    // NaNs as they come and, should its watch have seen one, runs once more
    // quieting them; any other job quiets them from the start.
    template <uint32_t ExtraSize, unsigned Features>
    static void Run(SkinningJob* state, const VectorBonePalette* palette, SkinningCarry*) {
        const VectorFloatSettings settings;
        if (HasIndependentVertices(*state)) {
            const SkinningJob job = *state;
            if (!Skin<ExtraSize, Features, false>(state, palette)) return;
            *state = job;
        }
        Skin<ExtraSize, Features, true>(state, palette);
    }

    // Apart from Run, as SkinningFull's. Whether it stored a NaN as it came.
    template <uint32_t ExtraSize, unsigned Features, bool Quiet>
    QUORVAN_NOINLINE static bool Skin(SkinningJob* state, const VectorBonePalette* palette) {
        // A local copy, which no store through a vertex pointer can alias.
        const SkinningJob job = *state;
        VertexCursor cursor(job);
        NaNWatch watch;
        Lanes::template Run<ExtraSize, Features, Quiet>(job, *palette, cursor, watch);
        RunVertices<ExtraSize, Features, Quiet>(job, *palette, cursor, 0, watch);
        cursor.StoreInto(*state);
        return !Quiet && watch.SawNaN();
    }
};

// The SSE kernels take every vertex one by one.
struct NoLanes {
    template <uint32_t ExtraSize, unsigned Features, bool Quiet>
    static void Run(const SkinningJob&, const VectorBonePalette&, VertexCursor&, NaNWatch&) {}
};

}  // namespace SingleSkinning
}  // namespace
