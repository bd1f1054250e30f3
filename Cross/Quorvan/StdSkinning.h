#pragma once

// The scalar implementation's skinning kernels: their families, their
// dispatch tables and the one job copy they all work on.

#include "SkinningDispatch.h"

// The state of the running skinning call. A dispatcher copies the caller's
// job here; the kernel advances its cursors in place.
extern SkinningJob s_stdJob;

// A kernel receives a flag both dispatchers pass as false and the first float
// of the palette; everything else comes from s_stdJob.
using StdKernel = void (*)(bool, const float* palette);

// The scalar path never reads hasTangents, and packing means nothing without
// a normal: six kernels per size, 132 per operation.
constexpr unsigned StdFeatures(unsigned flags) {
    flags &= ~kSkinTangents;
    return (flags & kSkinNormal) ? flags : flags & ~kSkinPacked;
}

struct StdFullFamily {
    using Kernel = StdKernel;
    static constexpr unsigned Features(unsigned flags) { return StdFeatures(flags); }
    template <uint32_t ExtraSize, unsigned Features>
    static void Run(bool, const float* palette);
};

struct StdSingleFamily {
    using Kernel = StdKernel;
    static constexpr unsigned Features(unsigned flags) { return StdFeatures(flags); }
    template <uint32_t ExtraSize, unsigned Features>
    static void Run(bool, const float* palette);
};

extern const SkinningTable<StdKernel> kStdFullKernels;
extern const SkinningTable<StdKernel> kStdSingleKernels;
