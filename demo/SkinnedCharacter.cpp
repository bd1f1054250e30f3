#include "SkinnedCharacter.h"

SkinnedCharacter::SkinnedCharacter(const SkinnedMesh& mesh, const std::vector<PackedInfluences>& influences,
                                   Implementation implementation, Directions directions, int copies)
    : m_implementation(implementation), m_format(FormatFor(directions)), m_slot(mesh.vertices.size()) {
    std::vector<uint32_t> blended, rigid;
    for (uint32_t v = 0; v < mesh.vertices.size(); ++v) (IsRigid(influences[v]) ? rigid : blended).push_back(v);
    for (size_t k = 0; k < blended.size(); ++k) m_slot[blended[k]] = static_cast<uint32_t>(k);
    for (size_t k = 0; k < rigid.size(); ++k) m_slot[rigid[k]] = static_cast<uint32_t>(copies * blended.size() + k);

    std::vector<uint32_t> order;
    for (int c = 0; c < copies; ++c) order.insert(order.end(), blended.begin(), blended.end());
    m_blended = static_cast<uint32_t>(order.size());
    for (int c = 0; c < copies; ++c) order.insert(order.end(), rigid.begin(), rigid.end());
    m_rigid = static_cast<uint32_t>(order.size()) - m_blended;

    m_source = WriteSourceVertices(mesh.vertices, influences, order, m_format, implementation);
    m_destination.assign(order.size() * m_format.dstStride, 0);
}

void SkinnedCharacter::LoadPose(Quorvan& quorvan, const std::vector<PaletteMatrix>& pose) const {
    for (uint32_t b = 0; b < pose.size(); ++b) quorvan.SetSkinningMatrix(b, pose[b].data());
}

SkinningJob SkinnedCharacter::Job(uint32_t first, uint32_t count) {
    return MakeJob(m_format, m_source.data() + size_t(first) * m_format.srcStride,
                   m_destination.data() + size_t(first) * m_format.dstStride, count);
}

// A job must hold at least one vertex.
void SkinnedCharacter::SkinBlended(Quorvan& quorvan) {
    const SkinningJob job = Job(0, m_blended);
    if (m_blended) quorvan.SkinningFull(&job);
}

void SkinnedCharacter::SkinRigid(Quorvan& quorvan) {
    const SkinningJob job = Job(m_blended, m_rigid);
    if (m_rigid) quorvan.SkinningSingle(&job);
}

SkinnedVertex SkinnedCharacter::Read(uint32_t v) const {
    return ReadSkinnedVertex(m_destination.data() + size_t(m_slot[v]) * m_format.dstStride, m_format,
                             m_implementation);
}
