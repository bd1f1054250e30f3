#include "SingleBoneReference.h"

#include <cmath>
#include <cstring>

#include "Canary.h"

namespace {

// Each product and sum goes through memory as a float, as the vector unit
// rounds every lane; x87 code would otherwise keep it wider.
float Rounded(float value) {
    volatile float stored = value;
    return stored;
}
float Mul(float a, float b) { return Rounded(a * b); }
float Add(float a, float b) { return Rounded(a + b); }

struct Lanes {
    float lane[4];
};

// The three floats at `in` through the bone, lane by lane:
// (x * row0 + y * row1) + (z * row2 + row3) for a point, and without row 3
// for a direction. Lane 3 is the value that spills behind the vector.
Lanes Skin(const ReferencePalette::Bone& bone, const uint8_t* in, bool point) {
    const float x = Load<float>(in), y = Load<float>(in + 4), z = Load<float>(in + 8);
    Lanes out;
    for (int j = 0; j < 4; ++j) {
        const float xy = Add(Mul(x, bone.rows[0][j]), Mul(y, bone.rows[1][j]));
        const float zt = point ? Add(Mul(z, bone.rows[2][j]), bone.rows[3][j]) : Mul(z, bone.rows[2][j]);
        out.lane[j] = Add(xy, zt);
    }
    return out;
}

void StoreLanes(uint8_t* out, const Lanes& lanes, unsigned bytes) { std::memcpy(out, lanes.lane, bytes); }

// One result byte of a packed direction: (sum + 16255) / 128 rounded down,
// wrapped to a byte.
uint8_t PackedByte(int32_t sum) { return static_cast<uint8_t>(static_cast<int32_t>(std::floor((sum + 16255) / 128.0)) & 0xFF); }

void SkinPacked(const ReferencePalette::Bone& bone, const uint8_t* in, uint8_t* out) {
    const int32_t x = in[2] - 128, y = in[1] - 128, z = in[0] - 128;
    int32_t sum[3];
    for (int j = 0; j < 3; ++j)
        sum[j] = bone.quantised[j] * x + bone.quantised[3 + j] * y + bone.quantised[6 + j] * z;
    out[0] = PackedByte(sum[2]);
    out[1] = PackedByte(sum[1]);
    out[2] = PackedByte(sum[0]);
    out[3] = 0;
}

template <class Byte>
Byte* At(Byte* base, uint32_t offset) {
    return base + static_cast<int32_t>(offset);
}

}  // namespace

ReferencePalette::ReferencePalette() {
    for (Bone& bone : m_bones) {
        std::memset(&bone, 0, sizeof bone);
        for (int k = 0; k < 4; ++k) bone.rows[k][k] = 1.0f;
        for (int k = 0; k < 3; ++k) bone.quantised[4 * k] = 127;
    }
}

void ReferencePalette::Set(Quorvan& target, unsigned bone, const float (&matrix)[12], const int8_t (&quantised)[9]) {
    target.SetSkinningMatrix(bone, matrix);
    Bone& entry = m_bones[bone];
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 3; ++c) entry.rows[r][c] = matrix[3 * r + c];
        entry.rows[r][3] = 0.0f;
    }
    std::memcpy(entry.quantised, quantised, 9);
}

void ReferencePalette::SetRandom(Quorvan& target, unsigned bone, std::mt19937& random) {
    std::uniform_int_distribution<int> byte(-128, 127);
    std::uniform_real_distribution<float> translation(-50.0f, 50.0f);
    float matrix[12];
    int8_t quantised[9];
    for (int k = 0; k < 9; ++k) {
        // Halfway between q and the next step away from zero, so truncating
        // the scaled element (times 127 above zero, 128 otherwise) gives q.
        const int q = byte(random);
        quantised[k] = static_cast<int8_t>(q);
        matrix[k] = q > 0 ? (q + 0.5f) / 127.0f : (q - 0.5f) / 128.0f;
    }
    for (int k = 9; k < 12; ++k) matrix[k] = translation(random);
    Set(target, bone, matrix, quantised);
}

void SkinSingleReference(SkinningJob job, const ReferencePalette& palette) {
    const bool normal = job.hasNormal, tangents = job.hasTangents, packed = job.packedDirections;
    const uint32_t extra = job.extraSize;
    // Bytes per float vector; the rest go out as all four lanes.
    const unsigned positionBytes = extra == 0 && !normal && !tangents ? 12 : 16;
    const unsigned normalBytes = !tangents && extra <= 4 ? 12 : 16;
    const unsigned binormalBytes = extra == 0 ? 12 : 16;
    do {
        const uint8_t* src = job.srcVertex;
        uint8_t* dst = job.dstVertex;
        const ReferencePalette::Bone& bone = palette[src[12]];

        StoreLanes(dst, Skin(bone, src, true), positionBytes);
        if (normal && packed)
            SkinPacked(bone, src + 20, dst + 12);
        else if (normal)
            StoreLanes(dst + 12, Skin(bone, src + 20, false), normalBytes);
        if (tangents && packed) {
            SkinPacked(bone, src + 24, dst + 16);
            SkinPacked(bone, src + 28, dst + 20);
        } else if (tangents) {
            const Lanes tangent = Skin(bone, src + 32, false), binormal = Skin(bone, src + 44, false);
            StoreLanes(dst + 24, tangent, 16);
            StoreLanes(dst + 36, binormal, binormalBytes);
        }
        for (uint32_t k = 0; k < extra; ++k) At(dst, job.dstExtraOffset)[k] = At(src, job.srcExtraOffset)[k];
        if (job.hasAux) {
            for (uint32_t k = 0; k < job.auxSize; ++k)
                At(dst, job.dstExtraOffset + extra)[k] = At(job.auxBase, job.auxOffset)[k];
            job.auxOffset += job.auxSize;
        }
        job.srcVertex = At(src, job.srcStride);
        job.dstVertex = At(dst, job.dstStride);
    } while (--job.vertexCount != 0);
}
