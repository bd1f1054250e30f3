#include "InterfaceSkinning.h"

#include <memory>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/shared/VectorBonePalette.h"

namespace {

InterfaceSkinner SkinnerOf(const std::shared_ptr<Quorvan>& q) {
    return {[q](unsigned bone, const float* m) { q->SetSkinningMatrix(bone, m); },
            [q](const SkinningJob& job) { q->SkinningFull(&job); },
            [q](const SkinningJob& job) { q->SkinningSingle(&job); }};
}

}  // namespace

std::vector<InterfaceImplementation> InterfaceImplementations() {
    std::vector<InterfaceImplementation> found;
    for (const VectorPath path : {VectorPath::Sse, VectorPath::Avx2, VectorPath::Avx512})  // SSE2 skins as SSE
        if (ProcessorRunsVectorPath(path))
            found.push_back({VectorPathName(path), true, kVectorBoneCount,
                             [path] { return SkinnerOf(std::make_shared<Quorvan_SSE>(path)); }});
    found.push_back({"Quorvan_std", false, Quorvan_std::kBoneCount, [] {
                         const auto scalar = std::make_shared<Quorvan_std>();
                         const float identity[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
                         for (unsigned b = 0; b < Quorvan_std::kBoneCount; ++b) scalar->SetSkinningMatrix(b, identity);
                         return SkinnerOf(scalar);
                     }});
    return found;
}
