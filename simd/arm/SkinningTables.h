#pragma once

// The skinning kernels built for 64-bit ARM's vector unit; they leave the
// bytes of the x86 kernels.

#include "../shared/SkinningKernels.h"

extern const SkinningKernelTable kNeonFullKernels, kNeonSingleKernels;
