#include "ReferenceSkinning.h"

#include <algorithm>

ReferenceVertex SkinReference(const MeshVertex& vertex, const PackedInfluences& influences,
                              const std::vector<Mat4>& palette, bool rigid) {
    ReferenceVertex result;
    const int count = rigid ? 1 : influences.count;
    for (int i = 0; i < count; ++i) {
        const Mat4& bone = palette[influences.bones[i]];
        const double weight = rigid ? 1.0 : influences.weights[i] / 255.0;
        result.position = result.position + TransformPoint(bone, Widen(vertex.position)) * weight;
        result.normal = result.normal + TransformDirection(bone, Widen(vertex.normal)) * weight;
        result.tangent = result.tangent + TransformDirection(bone, Widen(vertex.tangent)) * weight;
        result.binormal = result.binormal + TransformDirection(bone, Widen(vertex.binormal)) * weight;
    }
    return result;
}

double SkinningErrors::PositionScale(Implementation implementation, bool rigid) {
    return implementation == Implementation::Scalar && !rigid ? 255 : 1;
}

void SkinningErrors::Add(const SkinnedVertex& skinned, const ReferenceVertex& reference, bool rigid) {
    const double scale = PositionScale(m_implementation, rigid);
    m_position = std::max(m_position, LargestDifference(skinned.position * (1 / scale), reference.position));
    const bool renormalised = m_implementation == Implementation::Scalar && !rigid;
    const Vec3 normal = renormalised ? Normalised(reference.normal) : reference.normal;
    m_normal = std::max(m_normal, LargestDifference(skinned.normal, normal));
    if (TangentsWritten())
        m_tangent = std::max({m_tangent, LargestDifference(skinned.tangent, reference.tangent),
                              LargestDifference(skinned.binormal, reference.binormal)});
}
