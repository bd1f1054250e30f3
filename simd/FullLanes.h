#pragma once

// SkinningFull with several vertices side by side: each vertex keeps the four
// lanes it has in the one-by-one loop, and a wide register holds the lanes of
// Width::kVertices vertices. Every lane performs the same single-precision
// operations in the same order as the one-by-one loop, so a vertex comes out
// with the same bits, provided it starts from the same sums.
//
// It does not always. After each vertex the one-by-one loop multiplies its
// sums by zero and carries them into the next vertex, where the first
// product is added to them. Side by side, a vertex cannot wait for the one
// before it, so it starts from +0 instead. The carry is +0 or -0 for every
// finite sum and NaN after an infinite or NaN one. Adding +0 or -0 to a
// product changes nothing except when the product is -0: -0 + +0 is +0. So a
// vertex's lanes are exact unless a carried -0 meets a first product of -0
// in the same lane, or the carry is NaN. A block checks that once its sums
// are known; from the first vertex that fails the check, the block is redone
// one by one from the true carry, and a NaN carry, which would stay for the
// rest of the call, sends the rest of the call one by one.
//
// The block's stores and copies then go out vertex by vertex, exactly as the
// one-by-one loop makes them (VertexBlock.h says why reading ahead is safe).
// Only kernels with float directions run side by side: positions alone, or
// with packed directions, are too little float work to pay for gathering
// the bones of a block, and one by one is faster.

#include "FullSkinningLoop.h"
#include "VertexBlock.h"

namespace {
namespace FullSkinning {

// What the block knows of a vertex before its float lanes run: where it is,
// its bone bytes, its weights in influence order and its influence count.
// Weight byte 19 and the end-test bytes are read only where the one-by-one
// loop reads them.
struct VertexInputs {
    const uint8_t* src;
    uint32_t weights;  // influence i's weight byte in bits 8i..8i+7
    unsigned count;    // influences, 1 to 4

    VertexInputs() = default;
    QUORVAN_INLINE explicit VertexInputs(const uint8_t* vertex) : src(vertex) {
        using VertexLayout::kSrcWeights;
        const uint8_t* w = vertex + kSrcWeights;
        count = w[1] == 0 ? 1 : w[2] == 0 ? 2 : w[3] == 0 ? 3 : 4;
        weights = w[kWeightOrder[0]] | w[kWeightOrder[1]] << 8 | w[kWeightOrder[2]] << 16 |
                  (count >= 3 ? uint32_t{w[kWeightOrder[3]]} << 24 : 0);
    }

    QUORVAN_INLINE const float (&Rows(const SseBonePalette& palette, unsigned influence) const)[4][4] {
        return palette.rows[src[VertexLayout::kSrcBones + influence]];
    }
};

// Width: the vector type and its operations on kVertices four-lane slots.
template <class Width>
struct Lanes {
    using Vec = typename Width::Vec;
    static constexpr unsigned kVertices = Width::kVertices;
    // Lanes 0-2 of every slot: the fourth lane of a sum is never stored.
    static constexpr unsigned kStoredLanes = Width::kStoredLanes;

    // One float vector of every vertex of the block, its components spread.
    struct Source {
        Vec x, y, z;
        QUORVAN_INLINE Source(const VertexInputs* v, uint32_t offset) {
            const Vec all = Width::LoadSlots([&](unsigned k) { return v[k].src + offset; });
            x = Width::template Splat<0>(all);
            y = Width::template Splat<1>(all);
            z = Width::template Splat<2>(all);
        }
    };

    // The float sums of the block: position and the float directions.
    struct Sums {
        Vec position, normal, tangent, binormal;
    };

    // A float direction's contribution: (x * row0 + y * row1) + z * row2.
    QUORVAN_INLINE static Vec Rotate(const Vec (&rows)[4], const Source& d) {
        return Width::Add(Width::Add(Width::Mul(rows[0], d.x), Width::Mul(rows[1], d.y)), Width::Mul(rows[2], d.z));
    }

    // The sums of the block's float vectors, each vertex over its own
    // influences from +0. Not even the first waits for the sums of the block
    // before, so blocks overlap in the processor. `firstNegativeZero` gets
    // the lanes whose first product is -0.
    template <unsigned Features>
    QUORVAN_INLINE static Sums Blend(const SseBonePalette& palette, const VertexInputs* v,
                                     unsigned& firstNegativeZero) {
        using F = KernelFeatures<Features>;
        using namespace VertexLayout;
        const Source point(v, kSrcPosition);
        Source normal = point, tangent = point, binormal = point;
        if constexpr (F::kNormal) normal = Source(v, kSrcNormal);
        if constexpr (F::kTangents) {
            tangent = Source(v, SrcTangent(false));
            binormal = Source(v, SrcBinormal(false));
        }
        Sums sums{Width::Zero(), Width::Zero(), Width::Zero(), Width::Zero()};
        const Vec weights = Width::Weights(v);
        const typename Width::Counts counts(v);
        unsigned steps = 0;
        for (unsigned k = 0; k < kVertices; ++k) steps = v[k].count > steps ? v[k].count : steps;

        for (unsigned i = 0; i < steps; ++i) {
            Vec rows[4];
            Width::LoadBones([&](unsigned k) -> const float(&)[4][4] { return v[k].Rows(palette, i); }, rows);
            const Vec w = Width::Broadcast(weights, i);
            const auto active = counts.Above(i);
            const auto add = [&](Vec& sum, Vec product) {
                if (i == 0) {
                    firstNegativeZero |= Width::NegativeZeroLanes(product);
                    sum = Width::Add(product, sum);
                } else {
                    sum = Width::AddWhere(active, product, sum);
                }
            };
            const Vec transformed = Width::Add(Width::Add(Width::Mul(rows[0], point.x), Width::Mul(rows[1], point.y)),
                                               Width::Add(Width::Mul(rows[2], point.z), rows[3]));
            add(sums.position, Width::Mul(transformed, w));
            if constexpr (F::kNormal) add(sums.normal, Width::Mul(Rotate(rows, normal), w));
            if constexpr (F::kTangents) {
                add(sums.tangent, Width::Mul(Rotate(rows, tangent), w));
                add(sums.binormal, Width::Mul(Rotate(rows, binormal), w));
            }
        }
        firstNegativeZero &= kStoredLanes;
        return sums;
    }

    // The first vertex of the block that its lanes got wrong, or kVertices,
    // given the carry into the block, which holds no NaN. Lanes are taken
    // together over the sums, which can only call a right vertex wrong.
    template <unsigned Features>
    QUORVAN_INLINE static unsigned FirstInexact(const Sums& sums, unsigned firstNegativeZero, const Carry& into) {
        using F = KernelFeatures<Features>;
        unsigned carried = 0, poisoned = 0;  // lanes whose carry is not +0, or NaN
        __m128 carriedInto = into.position;
        const auto note = [&](Vec sum, __m128 in) {
            const Vec carry = Width::Mul(sum, Width::Zero());
            carried |= Width::NonZeroLanes(carry);
            poisoned |= Width::NaNLanes(carry);
            carriedInto = _mm_or_ps(carriedInto, in);
        };
        note(sums.position, into.position);
        if constexpr (F::kNormal) note(sums.normal, into.normal);
        if constexpr (F::kTangents) {
            note(sums.tangent, into.tangent);
            note(sums.binormal, into.binormal);
        }
        // A vertex's carry comes from the slot before it, the first's from
        // the block before.
        const __m128i zeroInto = _mm_cmpeq_epi32(_mm_castps_si128(carriedInto), _mm_setzero_si128());
        const unsigned fromBefore = ~static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(zeroInto))) & 0xF;
        const unsigned wrong =
            (((carried << 4 | fromBefore) & firstNegativeZero) | poisoned << 4) & kStoredLanes;
        return wrong == 0 ? kVertices : static_cast<unsigned>(__builtin_ctz(wrong)) / 4;
    }

    // Stores the first `exact` vertices of the block from their lanes, each
    // with its copies, and returns the carry the next vertex finds.
    template <uint32_t ExtraSize, unsigned Features>
    QUORVAN_INLINE static Carry Store(const SkinningJob& job, VertexCursor& cursor, const Sums& sums, unsigned exact,
                                      const Carry& into) {
        using F = KernelFeatures<Features>;
        using namespace VertexLayout;
        constexpr bool kWhole = F::kNormal && F::kTangents;
        Vec whole[3];
        if constexpr (kWhole) Width::Interleave(sums.position, sums.normal, sums.tangent, sums.binormal, whole);
        for (unsigned k = 0; k < exact; ++k) {
            uint8_t* dst = cursor.dst;
            if constexpr (kWhole) {
                // The four vectors fill bytes 0-47 without a gap: three
                // whole stores leave the same bytes as twelve-byte ones.
                for (unsigned j = 0; j < 3; ++j) StoreXYZW(dst + 16 * j, Width::Slot(whole[j], k));
            } else {
                StoreXYZ(dst + kDstPosition, Width::Slot(sums.position, k));
                if constexpr (F::kNormal) StoreXYZ(dst + kDstNormal, Width::Slot(sums.normal, k));
                if constexpr (F::kTangents) {
                    StoreXYZ(dst + DstTangent(false), Width::Slot(sums.tangent, k));
                    StoreXYZ(dst + DstBinormal(false), Width::Slot(sums.binormal, k));
                }
            }
            cursor.FinishVertex<ExtraSize, F::kAux>(job);
        }
        if (exact == 0) return into;
        const unsigned k = exact - 1;
        return {TimesZero(Width::Slot(sums.position, k)), TimesZero(Width::Slot(sums.normal, k)),
                TimesZero(Width::Slot(sums.tangent, k)), TimesZero(Width::Slot(sums.binormal, k))};
    }

    static bool Poisoned(const Carry& carry) {
        const __m128 all = _mm_or_ps(_mm_or_ps(_mm_cmpunord_ps(carry.position, carry.position),
                                               _mm_cmpunord_ps(carry.normal, carry.normal)),
                                     _mm_or_ps(_mm_cmpunord_ps(carry.tangent, carry.tangent),
                                               _mm_cmpunord_ps(carry.binormal, carry.binormal)));
        return (_mm_movemask_ps(all) & 7) != 0;
    }

    // Blocks of kVertices side by side while more than a block remains.
    template <uint32_t ExtraSize, unsigned Features>
    static Progress Run(SkinningJob job, const SseBonePalette& palette, Progress progress) {
        using F = KernelFeatures<Features>;
        if constexpr (F::kPacked || !(F::kNormal || F::kTangents)) {
            return progress;
        } else {
            VertexCursor& cursor = progress.cursor;
            Carry& carry = progress.carry;
            const auto stores = VertexBlock::StoreSpan::Of<ExtraSize, F::kAux>(job);
            while (cursor.count > kVertices && !Poisoned(carry)) {
                const uint32_t blockEnd = cursor.count - kVertices;
                if (!VertexBlock::IsIndependent(job, cursor, kVertices, stores)) {
                    RunVertices<ExtraSize, Features>(job, palette, cursor, carry, blockEnd);
                    continue;
                }
                VertexInputs v[kVertices] = {VertexInputs(cursor.src)};
                for (unsigned k = 1; k < kVertices; ++k) v[k] = VertexInputs(Offset(v[k - 1].src, job.srcStride));
                unsigned firstNegativeZero = 0;
                const Sums sums = Blend<Features>(palette, v, firstNegativeZero);
                const unsigned exact = FirstInexact<Features>(sums, firstNegativeZero, carry);
                carry = Store<ExtraSize, Features>(job, cursor, sums, exact, carry);
                if (exact < kVertices) RunVertices<ExtraSize, Features>(job, palette, cursor, carry, blockEnd);
            }
            return progress;
        }
    }
};

}  // namespace FullSkinning
}  // namespace
