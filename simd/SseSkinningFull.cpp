// SkinningFull built for SSE alone, what a processor without AVX runs: every
// vertex one by one.

#include "FullSkinningLoop.h"

const SseKernelTable kSseFullKernels = BuildSkinningTable<FullSkinning::Family<FullSkinning::NoLanes>>();
