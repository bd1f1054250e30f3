#pragma once

// What the skinning operations must write, worked out one rounded scalar
// operation at a time from their documented arithmetic, sharing no code with
// the kernels. Each runs a job on the memory it points at, store by store in
// the order the kernels store.

#include <cstdint>

#include <Quorvan/SkinningJob.h>

// Single-precision results rounded through memory: on the x87 unit of a
// 32-bit build a value would otherwise stay wider.
inline float Rounded(long double value) {
    volatile float stored = static_cast<float>(value);
    return stored;
}
inline float Mul(float a, float b) { return Rounded(a * b); }
inline float Add(float a, float b) { return Rounded(a + b); }

// The vector implementation's SkinningFull and SkinningSingle.
class VectorModel {
public:
    struct Bone {
        float rows[4][4];  // x, y and z axes, translation; each with its fourth column
        int8_t quantised[9];
    };

    // Every bone at the identity a new instance starts from.
    VectorModel();
    // Loads the twelve floats `m` into `bone`.
    void Load(unsigned bone, const float* m);

    void Full(SkinningJob job) const;
    void Single(SkinningJob job) const;

    Bone bones[256];
};

// The scalar implementation's SkinningFull and SkinningSingle, on a palette
// of 128 bones of twelve floats.
void ScalarModelFull(SkinningJob job, const float* palette);
void ScalarModelSingle(SkinningJob job, const float* palette);

// The copies that end every vertex, then the step to the next one.
void FinishVertexModel(SkinningJob& job);
