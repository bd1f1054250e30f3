#pragma once

// SkinningSingle on the wide vector units: a block of consecutive vertices
// side by side, each vertex in its own 128-bit part of the registers, laid
// out exactly as the one-by-one loop keeps it in an SSE register. Every part
// goes through the same multiplies and adds in the same grouping as
// BoneRows, so each vertex comes out with the same bits, its fourth (spill)
// lane included.
//
// A block reads the float inputs of all its vertices first, then stores
// vertex by vertex exactly as the one-by-one loop does. That is only done
// where VertexBlock::IsIndependent allows it; any other block runs one by
// one. Kernels with packed directions run one by one: theirs is integer
// work per vertex that the lanes cannot share.
//
// A wide unit is described by a policy (Avx2Width.h): its
// register type Vec with kVertices 128-bit slots, LoadSlots, Splat<Lane>,
// Mul, Add, Zero, Slot and QuietNaNs.

#include <cstdint>
#include <utility>

#include "../shared/SingleSkinningLoop.h"
#include "../shared/VertexBlock.h"

namespace {
namespace SingleSkinning {

// A compile-time index, passed to the body of an unrolled loop.
template <unsigned N>
struct Step {
    static constexpr unsigned value = N;
};

// body(Step<0>()), ..., body(Step<N - 1>()), in order.
template <class Body, unsigned... Index>
QUORVAN_INLINE void Unrolled(Body& body, std::integer_sequence<unsigned, Index...>) {
    (body(Step<Index>()), ...);
}
template <unsigned N, class Body>
QUORVAN_INLINE void Unroll(Body&& body) {
    Unrolled(body, std::make_integer_sequence<unsigned, N>());
}

// BoneRows for one bone per part.
template <class Wide>
struct WideRows {
    using V = typename Wide::Vec;
    V r0, r1, r2, r3;

    QUORVAN_INLINE explicit WideRows(const uint8_t* const* bones)
        : r0(Row(bones, 0)), r1(Row(bones, 1)), r2(Row(bones, 2)), r3(Row(bones, 3)) {}

    QUORVAN_INLINE static V Row(const uint8_t* const* bones, unsigned r) {
        return Wide::LoadSlots([&](unsigned k) { return bones[k] + 16 * r; });
    }

    // (x * row0 + y * row1) + (z * row2 + row3).
    template <class Splatted>
    QUORVAN_INLINE V Transform(const Splatted& p) const {
        return Wide::Add(Wide::Add(Wide::Mul(r0, p.x), Wide::Mul(r1, p.y)), Wide::Add(Wide::Mul(r2, p.z), r3));
    }

    // (x * row0 + y * row1) + z * row2.
    template <class Splatted>
    QUORVAN_INLINE V Rotate(const Splatted& d) const {
        return Wide::Add(Wide::Add(Wide::Mul(r0, d.x), Wide::Mul(r1, d.y)), Wide::Mul(r2, d.z));
    }
};

// Splatted for one source vector per part.
template <class Wide>
struct WideSplatted {
    using V = typename Wide::Vec;
    V x, y, z;

    QUORVAN_INLINE explicit WideSplatted(V v)
        : x(Wide::template Splat<0>(v)), y(Wide::template Splat<1>(v)), z(Wide::template Splat<2>(v)) {}
    QUORVAN_INLINE WideSplatted(const uint8_t* const* vertices, uint32_t offset)
        : WideSplatted(Wide::LoadSlots([&](unsigned k) { return vertices[k] + offset; })) {}
};

// Blocks of Groups registers' worth of vertices, while more than a block
// remains; the one-by-one loop takes the rest.
template <class Wide, unsigned Groups>
struct Lanes {
    static constexpr unsigned kBlock = Wide::kVertices * Groups;
    using V = typename Wide::Vec;

    template <uint32_t ExtraSize, unsigned Features, bool Quiet>
    QUORVAN_INLINE static void Run(const SkinningJob& job, const VectorBonePalette& palette, VertexCursor& cursor,
                                   NaNWatch& watch) {
        using F = KernelFeatures<Features>;
        // Packed directions are integer work per vertex, which gains nothing
        // from the lanes while the block's gathering costs: one by one is
        // faster.
        if constexpr (F::kPacked && (F::kNormal || F::kTangents)) {
            return;
        } else {
            const VertexBlock::StoreSpan stores = VertexBlock::StoreSpan::Of<ExtraSize, F::kAux>(job);
            if (cursor.count <= kBlock) return;
            // Where the blocks taken together are independent, so is each of
            // them: their spans lie within those of the whole run.
            const uint32_t blocks = (cursor.count - 1) / kBlock;
            // The blocks' own watch, folded into the call's at the end.
            V seen[4] = {Wide::Zero(), Wide::Zero(), Wide::Zero(), Wide::Zero()};
            if (VertexBlock::IsIndependent(job, cursor, blocks * kBlock, stores)) {
                for (uint32_t k = 0; k < blocks; ++k) Block<ExtraSize, Features, Quiet>(job, palette, cursor, seen);
            } else {
                while (cursor.count > kBlock) {
                    if (VertexBlock::IsIndependent(job, cursor, kBlock, stores))
                        Block<ExtraSize, Features, Quiet>(job, palette, cursor, seen);
                    else
                        RunVertices<ExtraSize, Features, Quiet>(job, palette, cursor, cursor.count - kBlock, watch);
                }
            }
            if constexpr (!Quiet)
                for (int k = 0; k < 4; ++k)
                    watch.See(static_cast<FloatVector>(k), _mm_mul_ps(Wide::Slot(seen[k], 0), Wide::Slot(seen[k], 1)));
        }
    }

private:
    template <uint32_t ExtraSize, unsigned Features, bool Quiet>
    QUORVAN_INLINE static void Block(const SkinningJob& job, const VectorBonePalette& palette, VertexCursor& cursor,
                                     V (&seen)[4]) {
        using F = KernelFeatures<Features>;
        constexpr auto Width = [](FloatVector vector) { return SingleStoreWidth(vector, ExtraSize, Features); };
        using namespace VertexLayout;

        const uint8_t* src[kBlock];
        unsigned bones[kBlock];
        const uint8_t* rows[kBlock];
        src[0] = cursor.src;
        for (unsigned i = 1; i < kBlock; ++i) src[i] = Offset(src[i - 1], job.srcStride);
        for (unsigned i = 0; i < kBlock; ++i) {
            bones[i] = src[i][kSrcBones];
            rows[i] = reinterpret_cast<const uint8_t*>(palette.rows[bones[i]]);
        }

        V position[Groups], normal[Groups], tangent[Groups], binormal[Groups];
        Unroll<Groups>([&](auto group) {
            constexpr unsigned g = decltype(group)::value, first = g * Wide::kVertices;
            const WideRows<Wide> bone(rows + first);
            position[g] = bone.Transform(WideSplatted<Wide>(src + first, kSrcPosition));
            if constexpr (F::kNormal) normal[g] = bone.Rotate(WideSplatted<Wide>(src + first, kSrcNormal));
            if constexpr (F::kTangents) {
                tangent[g] = bone.Rotate(WideSplatted<Wide>(src + first, SrcTangent(false)));
                binormal[g] = bone.Rotate(WideSplatted<Wide>(src + first, SrcBinormal(false)));
            }
            if constexpr (!Quiet) {
                seen[0] = Wide::Mul(seen[0], position[g]);
                if constexpr (F::kNormal) seen[1] = Wide::Mul(seen[1], normal[g]);
                if constexpr (F::kTangents) {
                    seen[2] = Wide::Mul(seen[2], tangent[g]);
                    seen[3] = Wide::Mul(seen[3], binormal[g]);
                }
            } else if constexpr (F::kNormal && F::kTangents) {
                Wide::QuietNaNs(position[g], normal[g], tangent[g], binormal[g]);
            } else if constexpr (F::kNormal) {
                Wide::QuietNaNs(position[g], normal[g]);
            } else if constexpr (F::kTangents) {
                Wide::QuietNaNs(position[g], tangent[g], binormal[g]);
            } else {
                Wide::QuietNaNs(position[g]);
            }
        });

        Unroll<kBlock>([&](auto vertex) {
            constexpr unsigned i = decltype(vertex)::value, g = i / Wide::kVertices, part = i % Wide::kVertices;
            uint8_t* dst = cursor.dst;
            StoreVector<Width(FloatVector::Position)>(dst + kDstPosition, Wide::Slot(position[g], part));
            if constexpr (F::kNormal)
                StoreVector<Width(FloatVector::Normal)>(dst + kDstNormal, Wide::Slot(normal[g], part));
            if constexpr (F::kTangents) {
                StoreVector<Width(FloatVector::Tangent)>(dst + DstTangent(false), Wide::Slot(tangent[g], part));
                StoreVector<Width(FloatVector::Binormal)>(dst + DstBinormal(false),
                                                          Wide::Slot(binormal[g], part));
            }
            cursor.FinishVertex<ExtraSize, F::kAux, !Quiet>(job);
        });
    }
};

}  // namespace SingleSkinning
}  // namespace
