#pragma once

// Mesh conversion: a vertex's bone influences as the skinning library takes
// them, at most four bone bytes and four weight bytes.

#include <cstdint>
#include <vector>

#include "SkinnedMesh.h"

constexpr int kMaxInfluences = 4;

// Strongest influence first; `count` weights are non-zero and the weights
// sum to 255. Unused slots have weight 0 and repeat the first bone, so an
// implementation that reads one slot further than `count` still names a
// loaded bone.
struct PackedInfluences {
    uint8_t bones[kMaxInfluences];
    uint8_t weights[kMaxInfluences];
    int count;
};

// Keeps the four strongest influences and quantises their weights, in
// proportion, to bytes that sum to 255. Takes at least one influence; bone
// indices must be below 256. A vertex whose weights are all zero follows its
// first bone at full weight.
PackedInfluences QuantiseInfluences(std::vector<Influence> influences);

// True when the vertex follows one bone at full weight, which
// SkinningSingle handles.
inline bool IsRigid(const PackedInfluences& p) { return p.count == 1; }
