// SkinningFull on 64-bit ARM's vector unit: every vertex one by one, in the
// loop the x86 SSE kernels run.

#include "../shared/FullSkinningLoop.h"
#include "SkinningTables.h"

const SkinningKernelTable kNeonFullKernels = BuildSkinningTable<FullSkinning::Family<FullSkinning::NoLanes>>();
