// SkinningSingle on 64-bit ARM's vector unit: every vertex one by one, in
// the loop the x86 SSE kernels run.

#include "../shared/SingleSkinningLoop.h"
#include "SkinningTables.h"

const SkinningKernelTable kNeonSingleKernels = BuildSkinningTable<SingleSkinning::Family<SingleSkinning::NoLanes>>();
