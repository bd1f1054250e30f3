#pragma once

// The demo's own skinning in double precision, from the same bone bytes,
// weight bytes and float matrices that the library is given, and the largest
// differences of a library's results from it.

#include <vector>

#include "AnimationPose.h"
#include "BoneInfluences.h"
#include "VertexLayout.h"

struct ReferenceVertex {
    Vec3 position, normal, tangent, binormal;
};

// Blended: the sum over influences of weight/255 times the bone's transform.
// Rigid: the first bone alone at full weight.
ReferenceVertex SkinReference(const MeshVertex& vertex, const PackedInfluences& influences,
                              const std::vector<Mat4>& palette, bool rigid);

// What an implementation is meant to deliver differs on purpose: Quorvan_std
// blends with the unscaled weight bytes (positions come out 255 times the
// reference), renormalises blended normals and writes no tangents;
// Quorvan_SSE delivers the reference itself.
class SkinningErrors {
public:
    explicit SkinningErrors(Implementation implementation) : m_implementation(implementation) {}

    void Add(const SkinnedVertex& skinned, const ReferenceVertex& reference, bool rigid);

    // Largest differences, positions in model units.
    double Position() const { return m_position; }
    double Normal() const { return m_normal; }
    double Tangent() const { return m_tangent; }
    bool TangentsWritten() const { return m_implementation == Implementation::Vector; }
    // Quorvan_std's blended positions divided by this are in model units.
    static double PositionScale(Implementation implementation, bool rigid);

private:
    Implementation m_implementation;
    double m_position = 0, m_normal = 0, m_tangent = 0;
};
