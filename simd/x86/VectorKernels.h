#pragma once

// What Quorvan_SSE runs on each vector path: its skinning tables and its
// memory loops. One set is chosen when a Quorvan_SSE is created and serves
// the whole module from then on, like the palette.

#include <cstdint>

#include "MemoryLoops.h"
#include "../shared/SkinningUnit.h"
#include "SkinningTables.h"
#include "VectorPath.h"

struct VectorKernels {
    // Named as the thread-safe calls name it.
    SkinningUnit skinning;
    // Whole steps only, after the operation's report.
    const MemoryLoops& memory;
};

const VectorKernels& VectorKernelsFor(VectorPath path);

// The set the module runs now.
extern const VectorKernels* s_vectorKernels;
