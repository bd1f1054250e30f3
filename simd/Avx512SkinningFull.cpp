// SkinningFull built for AVX-512.

#include "FullSkinningLoop.h"

const SseKernelTable kAvx512FullKernels = BuildSkinningTable<FullSkinning::Family<FullSkinning::NoLanes>>();
