// SkinningSingle of the scalar implementation: each vertex follows the bone
// of its first index byte, rigidly. No weight is read and the normal is only
// rotated, never renormalised: a bone that scales gives a normal of that
// length, and the packed form clamps what it cannot hold.

#include "FloatSettings.h"
#include "StdNormal.h"
#include "StdSkinning.h"
#include "StdVector.h"
#include "VertexCursor.h"
#include "VertexLayout.h"

namespace {

template <uint32_t ExtraSize, unsigned Features>
QUORVAN_NOINLINE void Skin(const float* palette) {
    using F = KernelFeatures<Features>;
    using namespace VertexLayout;

    const SkinningJob& job = s_stdJob;
    VertexCursor cursor(job);
    do {
        const uint8_t* src = cursor.src;
        const StdBone bone(palette, src[kSrcBones]);
        StoreFloat3(cursor.dst + kDstPosition, bone.Transform(LoadFloat3(src + kSrcPosition)));
        if constexpr (F::kNormal) StoreNormal<F::kPacked>(cursor.dst, bone.Rotate(LoadNormal<F::kPacked>(src)));
        cursor.FinishVertex<ExtraSize, F::kAux>(job);
    } while (cursor.count != 0);

    cursor.StoreInto(s_stdJob);
}

}  // namespace

template <uint32_t ExtraSize, unsigned Features>
void StdSingleFamily::Run(bool, const float* palette) {
    const ScalarFloatSettings settings;
    Skin<ExtraSize, Features>(palette);
}

const SkinningTable<StdKernel> kStdSingleKernels = BuildSkinningTable<StdSingleFamily>();
