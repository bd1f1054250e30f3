// SkinningSingle built for AVX-512: four vertices per 512-bit register, one
// in each quarter.

#include "Avx512Width.h"
#include "SingleLanes.h"

// One register's worth per block, as on AVX2: two registers per block
// measured slower.
const SseKernelTable kAvx512SingleKernels =
    BuildSkinningTable<SingleSkinning::Family<SingleSkinning::Lanes<Avx512Width, 1>>>();
