#pragma once

// One skinning job cut into ranges of consecutive vertices that run at the
// same time, and put back together into the bytes of one call.

#include <cstdint>

#include "SkinningKernels.h"

// Whether the vertices of `job` can be skinned in any order and at the same
// time: no vertex's stores reach another vertex's stores or any byte the
// job reads.
bool HasIndependentVertices(const SkinningJob& job);

// Vertices [first, first + count) of `job` as a job of their own.
SkinningJob VertexRange(const SkinningJob& job, uint32_t first, uint32_t count);

// The sums a range hands to the stitch, with every NaN the one quiet NaN the
// kernels store, so that the range's record holds the same bytes whichever
// vector path ran it.
void QuietCarriedNaNs(SkinningCarry& carry);

// After `range`, a part of a SkinningFull job, ran from +0 sums and left
// `rangeCarry`, while the true sums carried into its first vertex are
// `into`: skins again the vertices whose bytes that changes and returns the
// sums the range truly carries on. `full` is the kernel table it ran with.
SkinningCarry ContinueRange(const SkinningKernelTable& full, const VectorBonePalette& palette, const SkinningJob& range,
                            const SkinningCarry& rangeCarry, const SkinningCarry& into);
