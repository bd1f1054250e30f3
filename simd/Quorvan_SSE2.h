#pragma once

// An alternative four-weight skinning loop for processors with SSE2. The
// frame never selects it and the shared library does not export it; it is
// reached only by linking the static library and calling it directly. It
// keeps a palette and a job copy of its own, apart from every implementation
// of the interface.

#include <cstdint>

#include "../Cross/Quorvan/SkinningJob.h"

namespace Quorvan_SSE2 {

constexpr unsigned kBoneCount = 128;

// Four aligned rows a bone (x, y and z axes, translation), each with its
// lanes reversed and a zero first: (0, z, y, x) in memory order.
struct alignas(16) BonePalette {
    float rows[kBoneCount][4][4];
};

extern BonePalette s_palette;
// The state of the running call: the caller's job, advanced in place.
extern SkinningJob s_job;

// Loads bone `bone` (not checked against kBoneCount) from twelve floats.
void SetSkinningMatrix(uint32_t bone, const float* m);

// Blends up to four bones per vertex: the position, and the normal when
// hasNormal is set, renormalised with the processor's reciprocal square root
// estimate. extraSize must be 8, 12, 20 or 24; the other flag bytes are not
// read, and there is no auxiliary stream.
void SkinningFull(const SkinningJob& job);

}  // namespace Quorvan_SSE2
