#pragma once

// SkinningFull of the vector implementation, one vertex after another: up to
// four bone influences per vertex, blended with SSE single-precision
// arithmetic. Every instruction set's kernel file builds its own copy (all
// of it has internal linkage); the wider ones run vertices side by side in
// their lanes and come here for whatever their lanes cannot take.
//
// Influence i of a vertex is its last when the weight byte that follows it
// in plain order (byte 17 + i) is zero, or when it is the fourth; the weight
// itself is read through kWeightOrder, so after influence 1 the end test
// looks at the weight of influence 0. That pairing is what stored meshes were
// built against and is kept as it is.

#include "../../Cross/Quorvan/FloatSettings.h"
#include "../../Cross/Quorvan/ForceInline.h"
#include "../../Cross/Quorvan/VertexCursor.h"
#include "../../Cross/Quorvan/VertexLayout.h"
#include "SkinningKernels.h"
#include "SkinningRanges.h"
#include "Vector4.h"
#include "VectorBonePalette.h"

namespace {
namespace FullSkinning {

constexpr unsigned kWeightOrder[4] = {2, 1, 0, 3};

// The float sums carried from one vertex into the next. They start a call
// at +0 and, after each vertex is written, are multiplied by zero rather
// than cleared: a NaN or an infinity stays NaN for the rest of the call, and
// a negative sum leaves -0 behind.
struct Carry {
    Float4 position, normal, tangent, binormal;

    QUORVAN_INLINE static Carry From(const SkinningCarry& c) {
        return {LoadAligned(c.position), LoadAligned(c.normal), LoadAligned(c.tangent), LoadAligned(c.binormal)};
    }
    QUORVAN_INLINE void StoreInto(SkinningCarry& c) const {
        StoreAligned(c.position, position);
        StoreAligned(c.normal, normal);
        StoreAligned(c.tangent, tangent);
        StoreAligned(c.binormal, binormal);
    }
    QUORVAN_INLINE bool HoldsNaN() const { return AnyNaN(position, normal, tangent, binormal); }
};

QUORVAN_INLINE Float4 TimesZero(Float4 sum) { return Mul4(sum, ZeroVector()); }

// A direction skinned in packed form: three signed integer sums of the
// excess-128 bytes (x in byte 2, z in byte 0) rotated by the quantised bone
// and weighted by the raw weight byte.
struct PackedSum {
    int32_t a = 0, b = 0, c = 0;  // the source components
    int32_t x = 0, y = 0, z = 0;

    PackedSum() = default;
    QUORVAN_INLINE explicit PackedSum(const uint8_t* packed) : a(packed[2] - 128), b(packed[1] - 128), c(packed[0] - 128) {}

    QUORVAN_INLINE void Add(const int8_t* q, int32_t weight) {
        x += (q[0] * a + q[3] * b + q[6] * c) * weight;
        y += (q[1] * a + q[4] * b + q[7] * c) * weight;
        z += (q[2] * a + q[5] * b + q[8] * c) * weight;
    }

    // Back to excess-128 bytes. The offset 128 * 32768 - 129 sets the zero
    // point; nothing clamps, so out-of-range sums wrap. Byte 3 is 0.
    QUORVAN_INLINE void Store(uint8_t* out) const {
        constexpr int32_t kOffset = 4194175;
        const uint32_t bytes = (static_cast<uint32_t>((z + kOffset) >> 15) & 0xFF) |
                               (static_cast<uint32_t>((y + kOffset) >> 15) & 0xFF) << 8 |
                               (static_cast<uint32_t>((x + kOffset) >> 15) & 0xFF) << 16;
        std::memcpy(out, &bytes, 4);
    }
};

enum class Form { Absent, Float, Packed };

// One direction of the vertex in the form the kernel's flags choose, with
// its source and destination offsets. A float direction adds into the sum
// carried from the vertex before and hands it on times zero; a packed one
// starts from zero. The float sum of a direction the kernel skins packed or
// not at all keeps the carry it came with, which is a product by zero
// already, so multiplying it again would change nothing.
template <Form, uint32_t Src, uint32_t Dst>
struct Direction {
    QUORVAN_INLINE Direction(const uint8_t*, Float4&) {}
    QUORVAN_INLINE void Add(const BoneRows&, const int8_t*, Float4, int32_t) {}
    QUORVAN_INLINE void Store(uint8_t*) const {}
    QUORVAN_INLINE void HandOn() {}
};

template <uint32_t Src, uint32_t Dst>
struct Direction<Form::Float, Src, Dst> {
    Splatted in;
    Float4& sum;

    QUORVAN_INLINE Direction(const uint8_t* src, Float4& carried) : in(src + Src), sum(carried) {}
    QUORVAN_INLINE void Add(const BoneRows& rows, const int8_t*, Float4 w, int32_t) {
        sum = Add4(Mul4(rows.Rotate(in), w), sum);
    }
    QUORVAN_INLINE void Store(uint8_t* dst) const { StoreXYZ(dst + Dst, sum); }
    QUORVAN_INLINE void HandOn() { sum = TimesZero(sum); }
};

template <uint32_t Src, uint32_t Dst>
struct Direction<Form::Packed, Src, Dst> {
    PackedSum sum;

    QUORVAN_INLINE Direction(const uint8_t* src, Float4&) : sum(src + Src) {}
    QUORVAN_INLINE void Add(const BoneRows&, const int8_t* q, Float4, int32_t weight) { sum.Add(q, weight); }
    QUORVAN_INLINE void Store(uint8_t* dst) const { sum.Store(dst + Dst); }
    QUORVAN_INLINE void HandOn() {}
};

template <bool Present, bool Packed>
constexpr Form FormOf() {
    return !Present ? Form::Absent : Packed ? Form::Packed : Form::Float;
}

// The float sums a vertex stores, with the one quiet NaN for each NaN.
template <unsigned Features>
QUORVAN_INLINE void QuietStoredNaNs(Float4& position, Float4& normal, Float4& tangent, Float4& binormal) {
    using F = KernelFeatures<Features>;
    constexpr bool kNormal = F::kNormal && !F::kPacked, kTangents = F::kTangents && !F::kPacked;
    if constexpr (kNormal && kTangents)
        QuietNaNs(position, normal, tangent, binormal);
    else if constexpr (kNormal)
        QuietNaNs(position, normal);
    else if constexpr (kTangents)
        QuietNaNs(position, tangent, binormal);
    else
        QuietNaNs(position);
}

// With a count of 0 the first influence step still runs, and the count is
// tested after it: unless that step ends the vertex, the call is over with
// nothing written.
QUORVAN_INLINE bool SpentBeforeFirstVertex(const VertexCursor& cursor) {
    return cursor.count == 0 && cursor.src[VertexLayout::kSrcWeights + 1] != 0;
}

// Vertices one by one, from `carry`, until the count reaches `until`; at
// least one vertex runs. `carry` is left as the next vertex would find it.
// With `Quiet`, each NaN the vertices store is the one quiet NaN; without,
// NaNs are stored as the arithmetic leaves them, and the job is one whose
// stores reach nothing it reads, so no copy meets its own source.
template <uint32_t ExtraSize, unsigned Features, bool Quiet>
QUORVAN_INLINE void RunVertices(const SkinningJob& job, const VectorBonePalette& palette, VertexCursor& cursor,
                                 Carry& carry, uint32_t until) {
    using F = KernelFeatures<Features>;
    using namespace VertexLayout;
    Float4 position = carry.position, normalSum = carry.normal, tangentSum = carry.tangent,
           binormalSum = carry.binormal;
    do {
        const uint8_t* src = cursor.src;
        const Splatted point(src + kSrcPosition);
        Direction<FormOf<F::kNormal, F::kPacked>(), kSrcNormal, kDstNormal> normal(src, normalSum);
        Direction<FormOf<F::kTangents, F::kPacked>(), SrcTangent(F::kPacked), DstTangent(F::kPacked)> tangent(
            src, tangentSum);
        Direction<FormOf<F::kTangents, F::kPacked>(), SrcBinormal(F::kPacked), DstBinormal(F::kPacked)> binormal(
            src, binormalSum);

        for (unsigned i = 0;; ++i) {
            const bool last = i == 3 || src[kSrcWeights + 1 + i] == 0;
            const unsigned bone = src[kSrcBones + i];
            const BoneRows rows(palette.rows[bone]);
            const int8_t* q = palette.quantised[bone];
            const uint8_t weightByte = src[kSrcWeights + kWeightOrder[i]];
            const Float4 w = WeightOf(weightByte);

            position = Add4(Mul4(rows.Transform(point), w), position);
            normal.Add(rows, q, w, weightByte);
            tangent.Add(rows, q, w, weightByte);
            binormal.Add(rows, q, w, weightByte);
            if (last) break;
        }

        if constexpr (Quiet) QuietStoredNaNs<Features>(position, normalSum, tangentSum, binormalSum);
        StoreXYZ(cursor.dst + kDstPosition, position);
        normal.Store(cursor.dst);
        tangent.Store(cursor.dst);
        binormal.Store(cursor.dst);
        cursor.FinishVertex<ExtraSize, F::kAux, !Quiet>(job);

        position = TimesZero(position);
        normal.HandOn();
        tangent.HandOn();
        binormal.HandOn();
    } while (cursor.count != until);
    carry = {position, normalSum, tangentSum, binormalSum};
}

// Where a call stands: the moving part of the job copy and the sums carried
// into the next vertex.
struct Progress {
    VertexCursor cursor;
    Carry carry;
};

// The kernels of one instruction set. `Lanes::Run<ExtraSize, Features,
// Quiet>(job, palette, progress)` skins as many vertices as it can side by
// side, leaving at least one, and the rest run one by one here. Everything
// it works on is passed by value, so the compiler can keep it in registers:
// a store through a vertex pointer could otherwise alias any of it.
template <class Lanes>
struct Family {
    using Kernel = SkinningKernel;
    static constexpr unsigned Features(unsigned flags) { return FullKernelFeatures(flags); }

    // A call first stores its floats as the arithmetic leaves them, and
    // learns at its end whether one was a NaN: a NaN or an infinity in a
    // vertex's sums leaves a NaN in what it carries on, and so in the sums
    // the call ends with. Where that happened and no store of the job reaches
    // a byte it reads, the call runs once more from the start, quieting each
    // NaN before it is stored, which writes the same bytes but those NaNs.
    // Other jobs, and calls that start from a NaN, quiet them from the start.
    // So a job without a NaN pays nothing for them.
    template <uint32_t ExtraSize, unsigned Features>
    static void Run(SkinningJob* state, const VectorBonePalette* palette, SkinningCarry* carry) {
        const VectorFloatSettings settings;
        if (!Carry::From(*carry).HoldsNaN() && HasIndependentVertices(*state)) {
            const SkinningJob job = *state;
            const SkinningCarry from = *carry;
            Skin<ExtraSize, Features, false>(state, palette, carry);
            if (!Carry::From(*carry).HoldsNaN()) return;
            *state = job;
            *carry = from;
        }
        Skin<ExtraSize, Features, true>(state, palette, carry);
    }

    // Apart from Run: the settings' barriers, inlined into the vertex loops,
    // would keep their sums in memory.
    template <uint32_t ExtraSize, unsigned Features, bool Quiet>
    QUORVAN_NOINLINE static void Skin(SkinningJob* state, const VectorBonePalette* palette, SkinningCarry* carry) {
        const SkinningJob job = *state;
        if (SpentBeforeFirstVertex(VertexCursor(job))) return;
        Progress progress = Lanes::template Run<ExtraSize, Features, Quiet>(
            job, *palette, Progress{VertexCursor(job), Carry::From(*carry)});
        RunVertices<ExtraSize, Features, Quiet>(job, *palette, progress.cursor, progress.carry, 0);
        progress.cursor.StoreInto(*state);
        progress.carry.StoreInto(*carry);
    }
};

// The SSE kernels take every vertex one by one.
struct NoLanes {
    template <uint32_t ExtraSize, unsigned Features, bool Quiet>
    static Progress Run(SkinningJob, const VectorBonePalette&, Progress progress) {
        return progress;
    }
};

}  // namespace FullSkinning
}  // namespace
