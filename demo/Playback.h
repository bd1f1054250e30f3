#pragma once

// The animation frames the demo plays, worked out once for both
// implementations: each frame's bone palette and the double-precision
// reference result of every vertex, the camera that frames them all, and the
// frames that get pictures.

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
    std::vector<double> seconds;
    std::vector<std::vector<PaletteMatrix>> poses;
    std::vector<std::vector<ReferenceVertex>> reference;
    std::vector<int> pictureFrames;
    std::vector<Rgb> colours;  // per vertex, its bones' colours mixed by weight
    double reach = 0;          // largest reference coordinate, the scale of position errors
    OrthoView view;
};

constexpr int kPictureSide = 320;

// `animation` must be an index into the mesh's animations, or 0.
Playback MakePlayback(const SkinnedMesh& mesh, int animation, int frames);
