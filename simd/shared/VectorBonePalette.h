#pragma once

#include <cstddef>
#include <cstdint>

// The vector implementation's bone palette. The interface has one per
// process, shared by every Quorvan_SSE object and both of its skinning
// operations; callers of the thread-safe calls own as many as they like. Any
// bone index byte names an entry.
constexpr unsigned kVectorBoneCount = 256;

// What the wide SkinningFull kernels read of a bone, made when it is loaded,
// so that a vertex's influence takes each as one aligned load rather than
// broadcasts, shuffles and blends of its own:
// - each rotation row (x, y and z axes, with 0.0 fourth) repeated across a
//   64-byte line, one copy per 128-bit slot;
// - the translation row in the first slot and -0.0 in every other lane:
//   added to all slots at once, it changes only the position's, since adding
//   -0.0 leaves every float as it is, +0.0 and -0.0 included;
// - the quantised rotation as the signed 16-bit pairs the packed kernels
//   multiply with, (q0, q3), (q1, q4), (q2, q5), (0, 0) and (q6, 0),
//   (q7, 0), (q8, 0), (0, 0), twice over.
struct alignas(64) WideBone {
    float rows[3][16];
    float translation[16];
    int16_t pairsAB[16];
    int16_t pairsC0[16];
};
static_assert(sizeof(WideBone) == 320, "five cache lines a bone");

// Aligned so that each bone's float rows fill one 64-byte cache line, which
// the wide kernels load in aligned pairs.
struct alignas(64) VectorBonePalette {
    // The rotation rows quantised to signed bytes, row-major, 9 bytes a bone;
    // packed directions are skinned with these.
    int8_t quantised[kVectorBoneCount][9];
    // Four rows of four floats a bone (x, y and z axes, translation), each row
    // one aligned vector load.
    float rows[kVectorBoneCount][4][4];
    // The same bones as the wide kernels read them.
    WideBone wide[kVectorBoneCount];
};
// The quantised rotations lie directly before the float rows, which start on
// a cache line.
static_assert(offsetof(VectorBonePalette, rows) == kVectorBoneCount * 9, "no gap between the arrays");
static_assert(offsetof(VectorBonePalette, rows) % 64 == 0, "float rows are aligned");

// The interface's palette.
extern VectorBonePalette s_ssePalette;

// Every entry becomes the identity: the float rows those of the 4x4 identity
// (so the translation row ends in 1.0), the quantised rotation 127 on the
// diagonal.
void ResetVectorPaletteToIdentity(VectorBonePalette& palette);

// Loads bone `bone` from twelve floats (x, y and z axes, translation): the
// float rows with 0.0 as their fourth component, the translation row's
// included, the quantised rotation, and the wide kernels' form of both.
void SetVectorPaletteEntry(VectorBonePalette& palette, uint32_t bone, const float* m);

// One rotation element as a signed byte: times 127 when positive, else times
// 128 (zero, negatives and NaN), truncated toward zero; only the low 8 bits
// are kept, so values beyond +-1 wrap instead of clamping.
int8_t QuantiseRotation(float element);
