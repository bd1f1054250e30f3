// SkinningSingle built for Avx2.

#include "SingleSkinningLoop.h"

const SseKernelTable kAvx2SingleKernels = BuildSkinningTable<SingleSkinning::Family<SingleSkinning::NoLanes>>();
