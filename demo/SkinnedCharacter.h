#pragma once

// What an engine does with a skinned mesh each frame: load the pose into the
// bone palette, skin the blended vertices with SkinningFull and the rigidly
// bound ones with SkinningSingle, into one destination buffer.

#include <cstdint>
#include <vector>

#include <Quorvan/Quorvan.h>

#include "AnimationPose.h"
#include "BoneInfluences.h"
#include "VertexLayout.h"

class SkinnedCharacter {
public:
    // `influences` holds one entry per mesh vertex. `copies` repeats the
    // vertices in the buffers, to time the operations on more vertices than
    // one mesh has.
    SkinnedCharacter(const SkinnedMesh& mesh, const std::vector<PackedInfluences>& influences,
                     Implementation implementation, Directions directions, int copies = 1);

    void LoadPose(Quorvan& quorvan, const std::vector<PaletteMatrix>& pose) const;
    void SkinBlended(Quorvan& quorvan);
    void SkinRigid(Quorvan& quorvan);

    // A job over `count` buffer slots from `first`.
    SkinningJob Job(uint32_t first, uint32_t count);

    uint32_t BlendedCount() const { return m_blended; }
    uint32_t RigidCount() const { return m_rigid; }
    const VertexFormat& Format() const { return m_format; }
    // The source buffer, blended vertices first: what the plain C++
    // comparison loops read.
    const uint8_t* Source() const { return m_source.data(); }
    // Skinned mesh vertex `v` (of the first copy), as the library left it.
    SkinnedVertex Read(uint32_t v) const;

private:
    Implementation m_implementation;
    VertexFormat m_format;
    uint32_t m_blended = 0, m_rigid = 0;
    std::vector<uint32_t> m_slot;  // mesh vertex -> buffer slot
    std::vector<uint8_t> m_source, m_destination;
};
