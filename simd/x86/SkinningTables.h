#pragma once

// The skinning kernels built for each x86 instruction set; all of them leave
// the same bytes and the same job copy.

#include "../shared/SkinningKernels.h"

extern const SkinningKernelTable kSseFullKernels, kAvx2FullKernels, kAvx512FullKernels;
extern const SkinningKernelTable kSseSingleKernels, kAvx2SingleKernels;
