#pragma once

// The vector implementation's skinning kernels: their dispatch tables, one
// per operation and instruction set, and the one job copy they all work on.

#include "../Cross/Quorvan/SkinningDispatch.h"

// The state of the running skinning call. A dispatcher copies the caller's
// job here; the kernel advances its cursors in place.
extern SkinningJob s_sseJob;

using SseKernel = void (*)();
using SseKernelTable = SkinningTable<SseKernel>;

// SkinningFull tells all four flags apart: 16 kernels per size, 352 in all.
// Packed directions without any direction to pack have kernels of their own
// that behave exactly like their unpacked twins.
constexpr unsigned FullKernelFeatures(unsigned flags) { return flags; }

// SkinningSingle folds packed-without-directions onto the unpacked kernel:
// 14 kernels per size, 308 in all.
constexpr unsigned SingleKernelFeatures(unsigned flags) {
    return (flags & (kSkinNormal | kSkinTangents)) ? flags : flags & ~kSkinPacked;
}

// The same kernels built for each instruction set; all of them leave the
// same bytes and the same job copy.
extern const SseKernelTable kSseFullKernels, kAvx2FullKernels, kAvx512FullKernels;
extern const SseKernelTable kSseSingleKernels, kAvx2SingleKernels, kAvx512SingleKernels;
