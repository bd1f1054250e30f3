// SkinningSingle built for AVX2: two vertices per 256-bit register, one in
// each half.

#include "Avx2Width.h"
#include "SingleLanes.h"
#include "SkinningTables.h"

// One register's worth per block: two or four registers per block measured
// no faster, and hold more results across the stores.
const SkinningKernelTable kAvx2SingleKernels = BuildSkinningTable<SingleSkinning::Family<SingleSkinning::Lanes<Avx2Width, 1>>>();
