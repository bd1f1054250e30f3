#pragma once

// What the vector SkinningSingle must produce, worked out one plain scalar
// step at a time, so the tests compare the kernels against arithmetic that
// shares nothing with them.

#include <cstdint>
#include <random>

#include <Quorvan/Quorvan.h>

// The bones as the vector implementation should hold them, kept beside the
// implementation's own palette and loaded through the public operation.
class ReferencePalette {
public:
    struct Bone {
        float rows[4][4];  // x, y and z axes, translation; fourth column included
        int8_t quantised[9];
    };

    // Every bone at the identity a new Quorvan_SSE starts from.
    ReferencePalette();

    // Loads `matrix` (twelve floats) into `bone` of both palettes; `quantised`
    // is what its rotation must quantise to.
    void Set(Quorvan& target, unsigned bone, const float (&matrix)[12], const int8_t (&quantised)[9]);

    // Loads a random matrix whose rotation quantises to random bytes (the
    // full signed range) and whose translation is random.
    void SetRandom(Quorvan& target, unsigned bone, std::mt19937& random);

    const Bone& operator[](unsigned bone) const { return m_bones[bone]; }

private:
    Bone m_bones[256];
};

// Runs `job` on the memory it points at, store by store in the order the
// kernels store: position, normal, tangent and binormal, extra bytes,
// auxiliary bytes. The caller's record is taken by value and left alone.
void SkinSingleReference(SkinningJob job, const ReferencePalette& palette);
