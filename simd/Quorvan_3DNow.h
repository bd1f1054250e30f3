#pragma once

// An alternative single-bone skinning loop for processors with 3DNow!. It was
// never completed: its kernels copy each vertex's pass-through bytes and
// transform nothing, and its palette is written but never read. The frame
// never selects it and the shared library does not export it; it is reached
// only by linking the static library and calling it directly, and it needs a
// processor that runs 3DNow! (for FEMMS).

#include <cstdint>

#include "../Cross/Quorvan/SkinningJob.h"

namespace Quorvan_3DNow {

constexpr unsigned kBoneCount = 128;

// A bone as the 4x4 matrix whose rows are the x, y and z axes and the
// translation, with (0, 0, 0, 1) as its fourth column, stored column by
// column in pairs of floats: rows 1 and 0 of a column, then rows 3 and 2.
struct alignas(8) BonePalette {
    float pairs[kBoneCount][8][2];
};

extern BonePalette s_palette;
// The state of the running call: the caller's job, advanced in place.
extern SkinningJob s_job;

// Loads bone `bone` (not checked against kBoneCount) from twelve floats with
// 64-bit MMX stores, then leaves the MMX state clear.
void SetSkinningMatrix(uint32_t bone, const float* m);

// Copies each vertex's pass-through bytes; extraSize must be 8, 20 or 24.
// No flag byte changes what it does.
void SkinningSingle(const SkinningJob& job);

}  // namespace Quorvan_3DNow
