// SkinningFull of the scalar implementation: up to four bone influences per
// vertex, blended on the x87 unit.
//
// The loop runs over influence steps rather than vertices. Influence i of a
// vertex is its last when the weight byte that follows it (byte 17 + i) is
// zero, or when it is the fourth; the weight of influence 0 is never
// tested, so it always counts. Weights are the raw bytes, 0 to 255, not
// fractions: weights that add up to 255 give a position 255 times what the
// vector implementation gives for the same bones. The two implementations
// differ here on purpose.

#include "FloatSettings.h"
#include "ForceInline.h"
#include "ReciprocalSqrt.h"
#include "StdNormal.h"
#include "StdSkinning.h"
#include "StdVector.h"
#include "VertexCursor.h"
#include "VertexLayout.h"

namespace {

// sum + weight * term, component by component: the product is rounded to
// float, then the sum.
QUORVAN_INLINE Float3 AddWeighted(Float3 sum, float weight, Float3 term) {
    return {Rounded(sum.x + Rounded(weight * term.x)), Rounded(sum.y + Rounded(weight * term.y)),
            Rounded(sum.z + Rounded(weight * term.z))};
}

// Back to unit length; the squared length is summed in extended precision
// and rounded once. A zero normal stays zero.
QUORVAN_INLINE Float3 Renormalised(Float3 n) {
    const long double x = n.x, y = n.y, z = n.z;
    const float r = FastReciprocalSqrt(Rounded(x * x + y * y + z * z));
    return {Rounded(n.x * r), Rounded(n.y * r), Rounded(n.z * r)};
}

template <uint32_t ExtraSize, unsigned Features>
QUORVAN_NOINLINE void Skin(const float* palette) {
    using F = KernelFeatures<Features>;
    using namespace VertexLayout;

    const SkinningJob& job = s_stdJob;
    VertexCursor cursor(job);
    Float3 position{}, normal{};
    unsigned i = 0;
    do {
        const uint8_t* src = cursor.src;
        const bool last = i == 3 || src[kSrcWeights + 1 + i] == 0;
        const StdBone bone(palette, src[kSrcBones + i]);
        const float weight = src[kSrcWeights + i];

        position = AddWeighted(position, weight, bone.Transform(LoadFloat3(src + kSrcPosition)));
        if constexpr (F::kNormal) normal = AddWeighted(normal, weight, bone.Rotate(LoadNormal<F::kPacked>(src)));
        if (!last) {
            ++i;
            continue;
        }

        StoreFloat3(cursor.dst + kDstPosition, position);
        if constexpr (F::kNormal) StoreNormal<F::kPacked>(cursor.dst, Renormalised(normal));
        cursor.FinishVertex<ExtraSize, F::kAux>(job);

        position = normal = Float3{};
        i = 0;
    } while (cursor.count != 0);

    cursor.StoreInto(s_stdJob);
}

}  // namespace

template <uint32_t ExtraSize, unsigned Features>
void StdFullFamily::Run(bool, const float* palette) {
    const ScalarFloatSettings settings;
    Skin<ExtraSize, Features>(palette);
}

const SkinningTable<StdKernel> kStdFullKernels = BuildSkinningTable<StdFullFamily>();
