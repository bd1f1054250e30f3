#pragma once

// The vector unit the thread-safe calls run on: each architecture says which
// of its kernel sets this processor runs best.

#include "SkinningKernels.h"

struct SkinningUnit {
    const char* name;  // as QuorvanSkinningVectorUnit() gives it
    const SkinningKernelTable* full;
    const SkinningKernelTable* single;
};

// The widest unit this processor runs the kernels on, or nullptr when it has
// none of them.
const SkinningUnit* WidestSkinningUnit();
