#pragma once

// The bytes a skinning call reads and stores for each vertex of a job, as
// the kernels touch them, for QuorvanSkinningCheck. Every access lies at
// the same place relative to its vertex, so a list of them per job says
// everything about where a call goes in memory.

#include <cstdint>

#include "QuorvanSkinning.h"

// The address sequence an access follows: the source vertices, the
// destination vertices, or the auxiliary stream (auxSize bytes a vertex
// from auxBase + auxOffset).
enum class VertexStream { Source, Destination, Auxiliary };

struct VertexAccess {
    QuorvanSkinningCheckAccess what;
    VertexStream stream;
    bool store;
    // Whether the call gets to it after it looked up the vertex's bones:
    // the skinned values' reads come before, everything else after.
    bool afterBones;
    // The bytes [low, high) from the vertex's address in its stream.
    int64_t low, high;
};

// The skinned reads (position, influences, three directions), four skinned
// stores, and the pass-through and auxiliary reads and stores.
constexpr unsigned kMostVertexAccesses = 13;

struct VertexAccesses {
    VertexAccess of[kMostVertexAccesses];
    unsigned count;
    // SkinningFull takes up to four influences a vertex, SkinningSingle the
    // first alone; either with a bone of the implementation's palette.
    bool blends;
    unsigned paletteBones;
};

// The accesses of `job` under `call`, in the order a vertex makes them;
// those of no byte are left out. False when `call` is none of the four.
bool ListVertexAccesses(const SkinningJob& job, QuorvanSkinningCheckCall call, VertexAccesses& list);
