#pragma once

// The animation frames the demo plays, worked out once for both
// implementations: each frame's bone palette, the camera that frames the
// pictured ones and the colours to draw with. The double-precision
// reference of a frame is worked out when it is needed.

#include <vector>

#include "AnimationPose.h"
#include "BoneInfluences.h"
#include "Image.h"
#include "Rasteriser.h"
#include "ReferenceSkinning.h"

struct Playback {
    const SkinnedMesh& mesh;
    const Animation* animation;  // null: the rest pose throughout
    std::vector<PackedInfluences> influences;
    std::vector<std::vector<PaletteMatrix>> poses;
    std::vector<int> pictureFrames;
    std::vector<Rgb> colours;  // per vertex, its bones' colours mixed by weight
    OrthoView view;

    std::vector<ReferenceVertex> Reference(size_t frame) const;
};

constexpr int kPictureSide = 320;

// `animation` must be an index into the mesh's animations, or 0.
Playback MakePlayback(const SkinnedMesh& mesh, int animation, int frames);
