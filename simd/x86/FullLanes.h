#pragma once

// SkinningFull with the vectors of one vertex side by side: position,
// normal, tangent and binormal each keep the four lanes they have in the
// one-by-one loop, in a 128-bit slot of their own, so one AVX-512 register or
// two AVX2 registers hold the whole vertex. A bone row is the same for every
// slot, so it is one load of the bone's wide form (VectorBonePalette.h), and the
// components of the source vectors are spread once per vertex.
//
// Every slot performs the one-by-one loop's single-precision operations in
// its order: (x * row0 + y * row1) + (z * row2 + row3) for the position,
// (x * row0 + y * row1) + z * row2 for a direction (the translation is added
// to the position's slot alone), times the weight, added to the sum. The
// vertices still run in order, each from the sums the vertex before it
// carries, and each is stored with its copies before the next is read. So
// the bytes are the one-by-one loop's by construction: NaN, infinity and -0
// carry exactly as they do there, and a destination laid over the next
// vertex's source is read after it was written, as there.
//
// Packed directions take PackedLanes.h instead; positions alone leave too
// few slots to fill and run one by one.

#include "../shared/FullSkinningLoop.h"
#include "PackedLanes.h"

namespace {
namespace FullSkinning {

// Slot v of a vertex (0 position, 1 normal, 2 tangent, 3 binormal): where its
// float vector sits in the source and in the destination, and whether the
// kernel skins it. An absent direction's slot repeats the position's source,
// so that it computes nothing the one-by-one loop would not.
template <unsigned Features>
struct Slots {
    using F = KernelFeatures<Features>;
    static constexpr bool kPresent[4] = {true, F::kNormal, F::kTangents, F::kTangents};
    static constexpr uint32_t kSrc[4] = {VertexLayout::kSrcPosition, F::kNormal ? VertexLayout::kSrcNormal : 0,
                                         F::kTangents ? VertexLayout::SrcTangent(false) : 0,
                                         F::kTangents ? VertexLayout::SrcBinormal(false) : 0};
    static constexpr uint32_t kDst[4] = {VertexLayout::kDstPosition, VertexLayout::kDstNormal,
                                         VertexLayout::DstTangent(false), VertexLayout::DstBinormal(false)};
};

// Width: kRegisters registers of kSlots 128-bit slots, the slots of a vertex
// in order, with the operations below.
template <class Width>
struct Lanes {
    using Vec = typename Width::Vec;
    static constexpr unsigned kRegisters = Width::kRegisters;
    static constexpr unsigned kSlots = 4 / kRegisters;

    struct Sums {
        Vec of[kRegisters];
    };

    // The registers a kernel fills: without tangents, the position and the
    // normal fit in the first.
    template <unsigned Features>
    static constexpr unsigned Used() {
        return ((KernelFeatures<Features>::kTangents ? 4 : 2) + kSlots - 1) / kSlots;
    }

    static Sums FromCarry(const Carry& carry) {
        const __m128 slots[4] = {carry.position, carry.normal, carry.tangent, carry.binormal};
        Sums sums;
        for (unsigned r = 0; r < kRegisters; ++r) sums.of[r] = Width::Join(slots + r * kSlots);
        return sums;
    }

    // A direction the kernel does not skin keeps the carry it came with, as
    // in the one-by-one loop.
    template <unsigned Features>
    static Carry ToCarry(const Sums& sums, const Carry& into) {
        __m128 slots[4] = {into.position, into.normal, into.tangent, into.binormal};
        for (unsigned v = 0; v < 4; ++v)
            if (Slots<Features>::kPresent[v]) slots[v] = Width::Slot(sums.of[v / kSlots], v % kSlots);
        return {slots[0], slots[1], slots[2], slots[3]};
    }

    // One vertex: its influences added to `sums`, which it leaves holding
    // what it stores.
    //
    // The one-by-one loop adds each weighted influence to the carried sum in
    // turn. Where a vertex takes one register, the influences are summed
    // first, in the same order, and the carry is added last, which gives the
    // same bits: a carry is +0, -0 or NaN (a sum times zero). A zero added to
    // a non-zero value leaves it exact, so both orders agree once any partial
    // sum is non-zero; where every term is zero, both give -0 exactly when
    // the carry and every term are -0; and a NaN carry gives NaN either way.
    // So a vertex no longer waits four additions for the one before it. Two
    // registers a vertex (AVX2) have no room for the extra sums in sixteen
    // registers, and add the carry first.
    template <unsigned Features>
    QUORVAN_INLINE static void Blend(const VectorBonePalette& palette, const uint8_t* src, Sums& sums) {
        using namespace VertexLayout;
        constexpr unsigned kUsed = Used<Features>();
        Vec x[kUsed], y[kUsed], z[kUsed];
        Width::template Spread<Slots<Features>>(src, x, y, z);

        // The weights are byte * (1/255), rounded as the one-by-one loop
        // rounds them. The vertex reads its direction vectors on both sides
        // of the weight bytes, so reading all four touches no other memory.
        uint32_t weightBytes;
        std::memcpy(&weightBytes, src + kSrcWeights, 4);
        alignas(16) float weights[4];
        _mm_store_ps(weights, _mm_mul_ps(_mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(static_cast<int>(weightBytes)))),
                                         _mm_set1_ps(1.0f / 255.0f)));
        const uint8_t* ends = src + kSrcWeights + 1;
        const unsigned count = ends[0] == 0 ? 1 : ends[1] == 0 ? 2 : ends[2] == 0 ? 3 : 4;

        // Influence i, weighted, for each register.
        const auto weighted = [&](unsigned i, Vec(&out)[kUsed]) {
            const WideBone& wide = palette.wide[src[kSrcBones + i]];
            const Vec row0 = Width::Row(wide.rows[0]), row1 = Width::Row(wide.rows[1]), row2 = Width::Row(wide.rows[2]);
            const Vec w = Width::Broadcast(weights[kWeightOrder[i]]);
            for (unsigned r = 0; r < kUsed; ++r) {
                Vec third = Width::Mul(row2, z[r]);
                if (r == 0) third = Width::Add(third, Width::Row(wide.translation));
                out[r] = Width::Mul(Width::Add(Width::Add(Width::Mul(row0, x[r]), Width::Mul(row1, y[r])), third), w);
            }
        };
        // Kept as loops: unrolled, the weights end up spread by shuffles
        // rather than taken by the multiplies straight from memory.
        Vec term[kUsed];
        if constexpr (kRegisters == 1) {
            Vec total[kUsed];
            weighted(0, total);
#pragma GCC unroll 1
            for (unsigned i = 1; i < count; ++i) {
                weighted(i, term);
                for (unsigned r = 0; r < kUsed; ++r) total[r] = Width::Add(term[r], total[r]);
            }
            for (unsigned r = 0; r < kUsed; ++r) sums.of[r] = Width::Add(total[r], sums.of[r]);
        } else {
#pragma GCC unroll 1
            for (unsigned i = 0; i < count; ++i) {
                weighted(i, term);
                for (unsigned r = 0; r < kUsed; ++r) sums.of[r] = Width::Add(term[r], sums.of[r]);
            }
        }
    }

    // The sums as they are stored, with the one quiet NaN for each NaN. The
    // sums carried on stay as they are: quieting them would lengthen the
    // chain of operations from one vertex to the next.
    template <unsigned Features>
    QUORVAN_INLINE static Sums Quieted(Sums sums) {
        if constexpr (Used<Features>() == 1)
            Width::QuietNaNs(sums.of[0]);
        else
            Width::QuietNaNs(sums.of[0], sums.of[1]);
        return sums;
    }

    // Every vertex but the last, which the one-by-one loop takes.
    template <uint32_t ExtraSize, unsigned Features, bool Quiet>
    static Progress Run(SkinningJob job, const VectorBonePalette& palette, Progress progress) {
        using F = KernelFeatures<Features>;
        if constexpr (!(F::kNormal || F::kTangents)) {
            return progress;
        } else if constexpr (F::kPacked) {
            return PackedLanes<Features>::template Run<ExtraSize, Quiet>(job, palette, progress);
        } else {
            VertexCursor& cursor = progress.cursor;
            Sums sums = FromCarry(progress.carry);
            while (cursor.count > 1) {
                Blend<Features>(palette, cursor.src, sums);
                Width::template Store<Slots<Features>, Used<Features>()>(
                    cursor.dst, (Quiet ? Quieted<Features>(sums) : sums).of);
                cursor.FinishVertex<ExtraSize, F::kAux, !Quiet>(job);
                for (unsigned r = 0; r < Used<Features>(); ++r) sums.of[r] = Width::Mul(sums.of[r], Width::Zero());
            }
            progress.carry = ToCarry<Features>(sums, progress.carry);
            return progress;
        }
    }
};

}  // namespace FullSkinning
}  // namespace
