// SkinningSingle built for SSE alone, what a processor without AVX runs:
// every vertex one by one.

#include "../shared/SingleSkinningLoop.h"
#include "SkinningTables.h"

const SkinningKernelTable kSseSingleKernels = BuildSkinningTable<SingleSkinning::Family<SingleSkinning::NoLanes>>();
