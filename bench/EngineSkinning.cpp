#include "EngineSkinning.h"

#include <cstring>

namespace {

struct Vector3 {
    float x, y, z;
};

struct Matrix3x4 {
    float m[12];
};

// `m` holds a 3x4 matrix's rows: the images of the x, y and z axes, then the
// translation; a blended matrix or a bone's twelve floats where they lie.
inline Vector3 TransformPoint(const float* m, Vector3 p) {
    return {p.x * m[0] + p.y * m[3] + p.z * m[6] + m[9], p.x * m[1] + p.y * m[4] + p.z * m[7] + m[10],
            p.x * m[2] + p.y * m[5] + p.z * m[8] + m[11]};
}

inline Vector3 TransformDirection(const float* m, Vector3 d) {
    return {d.x * m[0] + d.y * m[3] + d.z * m[6], d.x * m[1] + d.y * m[4] + d.z * m[7],
            d.x * m[2] + d.y * m[5] + d.z * m[8]};
}

inline Matrix3x4 BlendBones(const uint8_t* s, const float* bones) {
    static const int kWeightByte[4] = {2, 1, 0, 3};
    Matrix3x4 blended{};
    for (int i = 0; i < 4; ++i) {
        const float* bone = bones + 12 * s[12 + i];
        const float w = s[16 + kWeightByte[i]] * (1.0f / 255);
        for (int k = 0; k < 12; ++k) blended.m[k] += bone[k] * w;
        if (i == 3 || s[17 + i] == 0) break;
    }
    return blended;
}

inline Vector3 LoadVector(const uint8_t* at) {
    Vector3 v;
    std::memcpy(&v, at, sizeof v);
    return v;
}

inline void StoreVector(uint8_t* at, Vector3 v) { std::memcpy(at, &v, sizeof v); }

inline Vector3 UnpackDirection(const uint8_t* b) {
    const float scale = 1.0f / 127;
    return {(b[2] - 128) * scale, (b[1] - 128) * scale, (b[0] - 128) * scale};
}

inline uint8_t PackComponent(float c) {
    const float clamped = c < -1 ? -1 : c > 1 ? 1 : c;
    return static_cast<uint8_t>(clamped * 127 + 128.5f);
}

inline void PackDirection(uint8_t* b, Vector3 d) {
    b[0] = PackComponent(d.z);
    b[1] = PackComponent(d.y);
    b[2] = PackComponent(d.x);
    b[3] = 0;
}

template <EngineDirections Directions>
void Skin(const uint8_t* src, uint32_t srcStride, uint8_t* dst, uint32_t dstStride, uint32_t count,
          const float* bones) {
    for (uint32_t v = 0; v < count; ++v, src += srcStride, dst += dstStride) {
        const Matrix3x4 blended = BlendBones(src, bones);
        StoreVector(dst, TransformPoint(blended.m, LoadVector(src)));
        if (Directions == EngineDirections::Float) {
            StoreVector(dst + 12, TransformDirection(blended.m, LoadVector(src + 20)));
            StoreVector(dst + 24, TransformDirection(blended.m, LoadVector(src + 32)));
            StoreVector(dst + 36, TransformDirection(blended.m, LoadVector(src + 44)));
        } else if (Directions == EngineDirections::Packed) {
            PackDirection(dst + 12, TransformDirection(blended.m, UnpackDirection(src + 20)));
            PackDirection(dst + 16, TransformDirection(blended.m, UnpackDirection(src + 24)));
            PackDirection(dst + 20, TransformDirection(blended.m, UnpackDirection(src + 28)));
        }
    }
}

// A packed direction through a bone's quantised rotation, in integers.
inline void RotatePacked(const int8_t* q, const uint8_t* in, uint8_t* out) {
    const int x = in[2] - 128, y = in[1] - 128, z = in[0] - 128;
    out[0] = static_cast<uint8_t>((q[2] * x + q[5] * y + q[8] * z + 16255) >> 7);
    out[1] = static_cast<uint8_t>((q[1] * x + q[4] * y + q[7] * z + 16255) >> 7);
    out[2] = static_cast<uint8_t>((q[0] * x + q[3] * y + q[6] * z + 16255) >> 7);
    out[3] = 0;
}

template <EngineDirections Directions>
void SkinRigid(const uint8_t* src, uint8_t* dst, const EngineRigidLayout& layout, uint32_t count,
               const float* bones, const int8_t* rotations) {
    for (uint32_t v = 0; v < count; ++v, src += layout.srcStride, dst += layout.dstStride) {
        const unsigned bone = src[12];
        const float* m = bones + 12 * bone;
        StoreVector(dst, TransformPoint(m, LoadVector(src)));
        if (Directions == EngineDirections::Float)
            for (int k = 0; k < 3; ++k)
                StoreVector(dst + 12 + 12 * k, TransformDirection(m, LoadVector(src + 20 + 12 * k)));
        if (Directions == EngineDirections::Packed)
            for (int k = 0; k < 3; ++k) RotatePacked(rotations + 9 * bone, src + 20 + 4 * k, dst + 12 + 4 * k);
        std::memcpy(dst + layout.dstExtraOffset, src + layout.srcExtraOffset, 8);
    }
}

}  // namespace

void EngineSkinVertices(const uint8_t* src, uint32_t srcStride, uint8_t* dst, uint32_t dstStride, uint32_t count,
                        const float* bones, EngineDirections directions) {
    switch (directions) {
    case EngineDirections::None: return Skin<EngineDirections::None>(src, srcStride, dst, dstStride, count, bones);
    case EngineDirections::Float: return Skin<EngineDirections::Float>(src, srcStride, dst, dstStride, count, bones);
    case EngineDirections::Packed:
        return Skin<EngineDirections::Packed>(src, srcStride, dst, dstStride, count, bones);
    }
}

void EngineSkinRigid(const uint8_t* src, uint8_t* dst, const EngineRigidLayout& layout, uint32_t count,
                     const float* bones, const int8_t* rotations, EngineDirections directions) {
    // A loop for each kind of vertex, compiled for it.
    static constexpr decltype(&SkinRigid<EngineDirections::None>) kLoops[] = {
        SkinRigid<EngineDirections::None>, SkinRigid<EngineDirections::Float>, SkinRigid<EngineDirections::Packed>};
    kLoops[static_cast<int>(directions)](src, dst, layout, count, bones, rotations);
}
