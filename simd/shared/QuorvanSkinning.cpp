// The thread-safe skinning calls: the vector implementation's kernels, run
// on the caller's palette and a job copy of the call's own.

#include "../../Cross/Quorvan/QuorvanSkinning.h"

#include <cstring>

#include "SkinningRanges.h"
#include "SkinningUnit.h"

// The palette and the carried sums are the internal records under C names.
static_assert(sizeof(QuorvanSkinningPalette) == sizeof(VectorBonePalette) &&
                  alignof(QuorvanSkinningPalette) == alignof(VectorBonePalette),
              "palette layout");
static_assert(sizeof(QuorvanSkinningRange::carry) == sizeof(SkinningCarry), "carry layout");

namespace {

// The widest vector unit, found by the first call that asks. Threads racing
// to find it find the same.
const SkinningUnit kNoUnit{nullptr, nullptr, nullptr};
const SkinningUnit* s_unit = nullptr;

// The unit the calls run on, or kNoUnit on a processor without one.
const SkinningUnit& Unit() {
    const SkinningUnit* unit = __atomic_load_n(&s_unit, __ATOMIC_RELAXED);
    if (unit == nullptr) {
        unit = WidestSkinningUnit();
        if (unit == nullptr) unit = &kNoUnit;
        __atomic_store_n(&s_unit, unit, __ATOMIC_RELAXED);
    }
    return *unit;
}

// Why a call on `palette` cannot run, or QuorvanSkinningDone.
QuorvanSkinningResult Unusable(const void* palette) {
    if (Unit().name == nullptr) return QuorvanSkinningNoVectorUnit;
    if (reinterpret_cast<uintptr_t>(palette) % alignof(VectorBonePalette) != 0) return QuorvanSkinningMisalignedPalette;
    return QuorvanSkinningDone;
}

VectorBonePalette& Bones(QuorvanSkinningPalette* palette) { return *reinterpret_cast<VectorBonePalette*>(palette); }
const VectorBonePalette& Bones(const QuorvanSkinningPalette* palette) {
    return *reinterpret_cast<const VectorBonePalette*>(palette);
}

enum class Operation { Full, Single };

QuorvanSkinningResult Skin(Operation operation, const QuorvanSkinningPalette* palette, const QuorvanSkinningJob& job,
                           SkinningCarry& carry) {
    if (const QuorvanSkinningResult unusable = Unusable(palette)) return unusable;
    const bool full = operation == Operation::Full;
    SkinningJob state;
    const bool ran = RunSkinningCall(full ? *Unit().full : *Unit().single, state, job,
                                     full ? kSseFullRefusal : kSseSingleRefusal, &state, &Bones(palette), &carry);
    return ran ? QuorvanSkinningDone : QuorvanSkinningUnsupportedExtraSize;
}

SkinningCarry CarryOf(const QuorvanSkinningRange& range) {
    SkinningCarry carry;
    std::memcpy(&carry, range.carry, sizeof carry);
    return carry;
}

}  // namespace

QuorvanSkinningResult QuorvanSkinningResetPalette(QuorvanSkinningPalette* palette) {
    if (const QuorvanSkinningResult unusable = Unusable(palette)) return unusable;
    ResetVectorPaletteToIdentity(Bones(palette));
    return QuorvanSkinningDone;
}

QuorvanSkinningResult QuorvanSkinningSetMatrix(QuorvanSkinningPalette* palette, uint32_t bone, const float* m) {
    if (const QuorvanSkinningResult unusable = Unusable(palette)) return unusable;
    if (bone >= kVectorBoneCount) return QuorvanSkinningNoSuchBone;
    SetVectorPaletteEntry(Bones(palette), bone, m);
    return QuorvanSkinningDone;
}

QuorvanSkinningResult QuorvanSkinningFull(const QuorvanSkinningPalette* palette, const QuorvanSkinningJob* job) {
    SkinningCarry carry{};
    return Skin(Operation::Full, palette, *job, carry);
}

QuorvanSkinningResult QuorvanSkinningSingle(const QuorvanSkinningPalette* palette, const QuorvanSkinningJob* job) {
    SkinningCarry carry{};
    return Skin(Operation::Single, palette, *job, carry);
}

uint32_t QuorvanSkinningSplit(const QuorvanSkinningJob* job, uint32_t parts, QuorvanSkinningRange* ranges) {
    const SkinningJob& whole = *job;
    const uint32_t vertices = whole.vertexCount;
    uint32_t count = parts < vertices ? parts : vertices;
    if (count > 1 && !(IsSupportedExtraSize(whole.extraSize) && HasIndependentVertices(whole))) count = 1;
    if (count == 0 && parts != 0) count = 1;  // no vertices: the one range behaves as the whole job
    // The first `vertices % count` ranges take one vertex more.
    const uint32_t share = count ? vertices / count : 0, more = count ? vertices % count : 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t first = i * share + (i < more ? i : more);
        ranges[i].job = count == 1 ? whole : VertexRange(whole, first, share + (i < more ? 1 : 0));
        std::memset(ranges[i].carry, 0, sizeof ranges[i].carry);
    }
    return count;
}

QuorvanSkinningResult QuorvanSkinningFullRange(const QuorvanSkinningPalette* palette, QuorvanSkinningRange* range) {
    SkinningCarry carry{};
    const QuorvanSkinningResult result = Skin(Operation::Full, palette, range->job, carry);
    QuietCarriedNaNs(carry);
    std::memcpy(range->carry, &carry, sizeof carry);
    return result;
}

QuorvanSkinningResult QuorvanSkinningStitch(const QuorvanSkinningPalette* palette, const QuorvanSkinningRange* ranges,
                                            uint32_t count) {
    if (const QuorvanSkinningResult unusable = Unusable(palette)) return unusable;
    if (count < 2) return QuorvanSkinningDone;
    if (!IsSupportedExtraSize(ranges[0].job.extraSize)) return QuorvanSkinningUnsupportedExtraSize;
    const SkinningKernelTable& full = *Unit().full;
    SkinningCarry carry = CarryOf(ranges[0]);
    for (uint32_t r = 1; r < count; ++r)
        carry = ContinueRange(full, Bones(palette), ranges[r].job, CarryOf(ranges[r]), carry);
    return QuorvanSkinningDone;
}

const char* QuorvanSkinningVectorUnit() { return Unit().name; }
