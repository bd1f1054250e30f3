// The thread-safe calls' unit on 64-bit ARM: the Advanced SIMD unit, which
// every such processor has.

#include "../shared/SkinningUnit.h"
#include "SkinningTables.h"

namespace {
const SkinningUnit kNeon{"NEON", &kNeonFullKernels, &kNeonSingleKernels};
}  // namespace

const SkinningUnit* WidestSkinningUnit() { return &kNeon; }
