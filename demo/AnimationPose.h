#pragma once

// Poses a skeleton at a moment of an animation and turns each bone into the
// twelve floats that Quorvan::SetSkinningMatrix takes.

#include <array>
#include <vector>

#include "SkinnedMesh.h"

// Skinning matrix of every bone at `seconds` into `animation` (looped), or
// of the rest pose when `animation` is null: global transform of the bone's
// node times the bone's offset.
std::vector<Mat4> PoseBones(const Skeleton& skeleton, const Animation* animation, double seconds);

// The library's row-vector form: the images of the x, y and z axes, then the
// translation, so that x' = x·m0 + y·m3 + z·m6 + m9.
using PaletteMatrix = std::array<float, 12>;
PaletteMatrix ToPaletteMatrix(const Mat4& skinning);
// The same matrix back in double precision, exactly as the library holds it.
Mat4 FromPaletteMatrix(const PaletteMatrix& m);

// The length of an axis image furthest from 1: 1 for a bone that only
// rotates and moves.
double AxisScale(const PaletteMatrix& m);
