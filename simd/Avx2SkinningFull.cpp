// SkinningFull built for Avx2.

#include "FullSkinningLoop.h"

const SseKernelTable kAvx2FullKernels = BuildSkinningTable<FullSkinning::Family<FullSkinning::NoLanes>>();
