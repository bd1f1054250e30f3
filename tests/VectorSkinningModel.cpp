#include <cmath>
#include <cstring>

#include "SkinningModel.h"

namespace {

template <class Byte>
Byte* At(Byte* base, uint32_t offset) {
    return base + static_cast<int32_t>(offset);
}

struct Lanes {
    float lane[4];
};

// The first `bytes` of the lanes, every NaN stored as the quiet NaN 0x7FC00000.
void StoreLanes(uint8_t* out, const Lanes& v, unsigned bytes) {
    constexpr uint32_t kQuietNaN = 0x7FC00000;
    for (unsigned j = 0; j < bytes / 4; ++j)
        std::memcpy(out + 4 * j, std::isnan(v.lane[j]) ? static_cast<const void*>(&kQuietNaN) : &v.lane[j], 4);
}

// Lane j of (x * row0 + y * row1) + (z * row2 + row3) for a point, and of
// (x * row0 + y * row1) + z * row2 for a direction; lane 3 is what a
// four-lane store spills.
Lanes Transform(const VectorModel::Bone& bone, const uint8_t* in, bool point) {
    float p[3];
    std::memcpy(p, in, 12);
    Lanes out;
    for (int j = 0; j < 4; ++j) {
        const float xy = Add(Mul(p[0], bone.rows[0][j]), Mul(p[1], bone.rows[1][j]));
        const float zr = Mul(p[2], bone.rows[2][j]);
        out.lane[j] = Add(xy, point ? Add(zr, bone.rows[3][j]) : zr);
    }
    return out;
}

// The excess-128 bytes (x in byte 2, z in byte 0) through the quantised
// rotation, times `weight`, added to the sums of x, y and z.
void AddPacked(const int8_t* q, const uint8_t* in, int32_t weight, int32_t (&sum)[3]) {
    const int32_t x = in[2] - 128, y = in[1] - 128, z = in[0] - 128;
    for (int c = 0; c < 3; ++c) sum[c] += (q[c] * x + q[3 + c] * y + q[6 + c] * z) * weight;
}

// Each sum plus `offset`, divided by `unit` and rounded down, wrapped to a
// byte: z, y, x, then a zero byte.
void StorePacked(uint8_t* out, const int32_t (&sum)[3], int32_t offset, double unit) {
    for (int c = 0; c < 3; ++c)
        out[2 - c] = static_cast<uint8_t>(static_cast<int64_t>(std::floor((double(sum[c]) + offset) / unit)) & 0xFF);
    out[3] = 0;
}

// Where each direction is read and written: normal, tangent, binormal.
struct Slot {
    bool present;
    uint32_t src, dst;
};
void Slots(const SkinningJob& job, Slot (&slots)[3]) {
    const bool packed = job.packedDirections != 0, tangents = job.hasTangents != 0;
    slots[0] = {job.hasNormal != 0, 20, 12};
    slots[1] = {tangents, packed ? 24u : 32u, packed ? 16u : 24u};
    slots[2] = {tangents, packed ? 28u : 44u, packed ? 20u : 36u};
}

}  // namespace

VectorModel::VectorModel() {
    std::memset(bones, 0, sizeof bones);
    for (Bone& bone : bones) {
        for (int k = 0; k < 4; ++k) bone.rows[k][k] = 1.0f;
        for (int k = 0; k < 3; ++k) bone.quantised[4 * k] = 127;
    }
}

void VectorModel::Load(unsigned bone, const float* m) {
    Bone& entry = bones[bone];
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 3; ++c) entry.rows[r][c] = m[3 * r + c];
        entry.rows[r][3] = 0.0f;
    }
    // Times 127 above zero and 128 otherwise, truncated, low byte kept; the
    // product of a float and a byte is exact in a double.
    for (int k = 0; k < 9; ++k)
        entry.quantised[k] = static_cast<int8_t>(static_cast<int64_t>(std::trunc(m[k] * (m[k] > 0 ? 127.0 : 128.0))));
}

void VectorModel::Full(SkinningJob job) const {
    static const unsigned kWeightByte[4] = {18, 17, 16, 19};
    Slot slots[3];
    Slots(job, slots);
    const bool packed = job.packedDirections != 0;
    Lanes position{}, sums[3]{};  // carried into the next vertex multiplied by zero
    do {
        const uint8_t* src = job.srcVertex;
        int32_t packedSums[3][3] = {};
        for (unsigned i = 0;; ++i) {
            const Bone& bone = bones[src[12 + i]];
            const uint8_t weightByte = src[kWeightByte[i]];
            const float w = Rounded(weightByte * double(1.0f / 255));
            const Lanes p = Transform(bone, src, true);
            for (int j = 0; j < 4; ++j) position.lane[j] = Add(Mul(p.lane[j], w), position.lane[j]);
            for (int d = 0; d < 3; ++d) {
                if (!slots[d].present) continue;
                if (packed) {
                    AddPacked(bone.quantised, src + slots[d].src, weightByte, packedSums[d]);
                } else {
                    const Lanes u = Transform(bone, src + slots[d].src, false);
                    for (int j = 0; j < 4; ++j) sums[d].lane[j] = Add(Mul(u.lane[j], w), sums[d].lane[j]);
                }
            }
            if (i == 3 || src[17 + i] == 0) break;
        }
        StoreLanes(job.dstVertex, position, 12);
        for (int d = 0; d < 3; ++d) {
            if (!slots[d].present) continue;
            if (packed)
                StorePacked(job.dstVertex + slots[d].dst, packedSums[d], 128 * 32768 - 129, 32768);
            else
                StoreLanes(job.dstVertex + slots[d].dst, sums[d], 12);
        }
        FinishVertexModel(job);
        for (int j = 0; j < 4; ++j) {
            position.lane[j] = Mul(position.lane[j], 0.0f);
            for (Lanes& sum : sums) sum.lane[j] = Mul(sum.lane[j], 0.0f);
        }
    } while (--job.vertexCount != 0);
}

void VectorModel::Single(SkinningJob job) const {
    Slot slots[3];
    Slots(job, slots);
    const bool normal = slots[0].present, tangents = slots[1].present, packed = job.packedDirections != 0;
    // A float vector is stored as all four lanes unless it is the vertex's
    // last and no extra bytes follow; a normal without tangents takes three
    // lanes with one extra word too.
    const uint32_t extra = job.extraSize;
    const unsigned bytes[4] = {extra == 0 && !normal && !tangents ? 12u : 16u, !tangents && extra <= 4 ? 12u : 16u, 16u,
                               extra == 0 ? 12u : 16u};
    do {
        const uint8_t* src = job.srcVertex;
        const Bone& bone = bones[src[12]];
        StoreLanes(job.dstVertex, Transform(bone, src, true), bytes[0]);
        if (packed) {
            for (const Slot& slot : slots) {
                if (!slot.present) continue;
                int32_t sum[3] = {};
                AddPacked(bone.quantised, src + slot.src, 1, sum);
                StorePacked(job.dstVertex + slot.dst, sum, 127 * 128 - 1, 128);
            }
        } else {
            if (normal) StoreLanes(job.dstVertex + 12, Transform(bone, src + 20, false), bytes[1]);
            if (tangents) {  // both read before either is stored
                const Lanes tangent = Transform(bone, src + 32, false), binormal = Transform(bone, src + 44, false);
                StoreLanes(job.dstVertex + 24, tangent, bytes[2]);
                StoreLanes(job.dstVertex + 36, binormal, bytes[3]);
            }
        }
        FinishVertexModel(job);
    } while (--job.vertexCount != 0);
}

void FinishVertexModel(SkinningJob& job) {
    uint8_t* extra = At(job.dstVertex, job.dstExtraOffset);
    // Word by word from the front, each word read before it is written: a
    // destination inside the source bytes repeats what it has just written.
    for (uint32_t k = 0; k < job.extraSize; k += 4) {
        uint8_t word[4];
        for (uint32_t b = 0; b < 4; ++b) word[b] = At(job.srcVertex, job.srcExtraOffset)[k + b];
        for (uint32_t b = 0; b < 4; ++b) extra[k + b] = word[b];
    }
    if (job.hasAux) {
        for (uint32_t k = 0; k < job.auxSize; ++k) extra[job.extraSize + k] = At(job.auxBase, job.auxOffset)[k];
        job.auxOffset += job.auxSize;
    }
    job.srcVertex = At(job.srcVertex, job.srcStride);
    job.dstVertex = At(job.dstVertex, job.dstStride);
}
