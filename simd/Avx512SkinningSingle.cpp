// SkinningSingle built for AVX-512.

#include "SingleSkinningLoop.h"

const SseKernelTable kAvx512SingleKernels = BuildSkinningTable<SingleSkinning::Family<SingleSkinning::NoLanes>>();
