#pragma once

// The vector implementation's skinning kernels: their dispatch tables, one
// per operation and instruction set, and what a kernel works on.

#include "../../Cross/Quorvan/SkinningDispatch.h"
#include "VectorBonePalette.h"

// The interface's job copy. Its operations copy the caller's job here and
// the kernel advances its cursors in place.
extern SkinningJob s_sseJob;

// The vector implementation's source file as the host's reports name it, and
// how its skinning operations refuse an unsupported extraSize; the
// thread-safe calls refuse in the same words.
extern const char kSseSourceFile[];
extern const SkinningRefusal kSseFullRefusal, kSseSingleRefusal;

// The float sums SkinningFull carries from one vertex into the next, four
// lanes each, as they stand between two vertices: a call starts from them
// and leaves those its last vertex carries on. The interface starts every
// call from +0; SkinningSingle carries nothing.
struct alignas(16) SkinningCarry {
    float position[4], normal[4], tangent[4], binormal[4];
};

// A kernel skins the job in `state` with `palette` and leaves its cursors in
// `state`. Everything it touches is passed in, so that calls with their own
// state and palette can run on several threads at once.
using SkinningKernel = void (*)(SkinningJob* state, const VectorBonePalette* palette, SkinningCarry* carry);
using SkinningKernelTable = SkinningTable<SkinningKernel>;

// SkinningFull tells all four flags apart: 16 kernels per size, 352 in all.
// Packed directions without any direction to pack have kernels of their own
// that behave exactly like their unpacked twins.
constexpr unsigned FullKernelFeatures(unsigned flags) { return flags; }

// SkinningSingle folds packed-without-directions onto the unpacked kernel:
// 14 kernels per size, 308 in all.
constexpr unsigned SingleKernelFeatures(unsigned flags) {
    return (flags & (kSkinNormal | kSkinTangents)) ? flags : flags & ~kSkinPacked;
}

// Internal linkage: the job checker, built without SSE, reads the same rule.
namespace {

enum class FloatVector { Position, Normal, Tangent, Binormal };

// Bytes written by the store of a float vector. A vector goes out as its
// whole four-lane result, the fourth float spilling into the four bytes
// behind it, which a later store of the same vertex may cover. Only the
// vertex's last vector with no extra words behind it is stored as its three
// floats; so is the normal as the only direction with one extra word, even
// though that word could have taken the spill.
constexpr unsigned SingleStoreWidth(FloatVector vector, uint32_t extraSize, unsigned features) {
    const bool normal = features & kSkinNormal, tangents = features & kSkinTangents;
    const bool normalAlone = vector == FloatVector::Normal && !tangents;
    const bool last = vector == FloatVector::Binormal || normalAlone ||
                      (vector == FloatVector::Position && !normal && !tangents);
    return last && (extraSize == 0 || (normalAlone && extraSize == 4)) ? 12 : 16;
}

}  // namespace
