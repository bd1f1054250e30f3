#pragma once

// A skinned, animated mesh as an engine holds it after loading and before it
// packs vertices for the skinning library: float attributes, any number of
// bone influences per vertex, a node hierarchy with the bones in it, and
// keyframed animations of the nodes.

#include <cstdint>
#include <string>
#include <vector>

#include "Math.h"

struct Float3 {
    float x = 0, y = 0, z = 0;
};

inline Vec3 Widen(Float3 f) { return {f.x, f.y, f.z}; }
inline Float3 Narrow(Vec3 v) { return {float(v.x), float(v.y), float(v.z)}; }

struct Influence {
    uint32_t bone;
    float weight;
};

struct MeshVertex {
    Float3 position, normal, tangent, binormal;
    float u = 0, v = 0;
    std::vector<Influence> influences;
};

// Nodes are stored parents first, so one pass in order computes every
// node's global transform.
struct SkeletonNode {
    std::string name;
    int parent;  // -1 for the root
    Mat4 rest;   // transform relative to the parent when no animation moves the node
};

struct Bone {
    int node;
    Mat4 offset;  // from the mesh's bind space into the node's space
};

struct Skeleton {
    std::vector<SkeletonNode> nodes;
    std::vector<Bone> bones;
};

template <class T>
struct Key {
    double seconds;
    T value;
};

// Every track has at least one key of each kind.
struct NodeTrack {
    int node;
    std::vector<Key<Vec3>> positions;
    std::vector<Key<Quat>> rotations;
    std::vector<Key<Vec3>> scalings;
};

struct Animation {
    std::string name;
    double seconds = 0;
    std::vector<NodeTrack> tracks;
};

struct SkinnedMesh {
    std::string name;
    std::vector<MeshVertex> vertices;
    std::vector<uint32_t> triangles;  // three vertex indices each
    Skeleton skeleton;
    std::vector<Animation> animations;
};
