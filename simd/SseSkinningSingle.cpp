// SkinningSingle built for SSE alone, what a processor without AVX runs:
// every vertex one by one.

#include "SingleSkinningLoop.h"

const SseKernelTable kSseSingleKernels = BuildSkinningTable<SingleSkinning::Family<SingleSkinning::NoLanes>>();
