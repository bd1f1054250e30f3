#pragma once

// The vector implementation's skinning kernels: their families, their
// dispatch tables and the one job copy they all work on.

#include "../Cross/Quorvan/SkinningDispatch.h"

// The state of the running skinning call. A dispatcher copies the caller's
// job here; the kernel advances its cursors in place.
extern SkinningJob s_sseJob;

using SseKernel = void (*)();

// SkinningFull tells all four flags apart: 16 kernels per size, 352 in all.
// Packed directions without any direction to pack have kernels of their own
// that behave exactly like their unpacked twins.
struct SseFullFamily {
    using Kernel = SseKernel;
    static constexpr unsigned Features(unsigned flags) { return flags; }
    template <uint32_t ExtraSize, unsigned Features>
    static void Run();
};

// SkinningSingle folds packed-without-directions onto the unpacked kernel:
// 14 kernels per size, 308 in all.
struct SseSingleFamily {
    using Kernel = SseKernel;
    static constexpr unsigned Features(unsigned flags) {
        return (flags & (kSkinNormal | kSkinTangents)) ? flags : flags & ~kSkinPacked;
    }
    template <uint32_t ExtraSize, unsigned Features>
    static void Run();
};

extern const SkinningDispatch<SseFullFamily>::Table kSseFullKernels;
extern const SkinningDispatch<SseSingleFamily>::Table kSseSingleKernels;
