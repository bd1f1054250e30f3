// SkinningFull built for SSE alone, what a processor without AVX runs: every
// vertex one by one.

#include "../shared/FullSkinningLoop.h"
#include "SkinningTables.h"

const SkinningKernelTable kSseFullKernels = BuildSkinningTable<FullSkinning::Family<FullSkinning::NoLanes>>();
