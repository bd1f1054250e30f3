#include "EngineSkinning.h"

#include <cstring>

namespace {

struct Vector3 {
    float x, y, z;
};

// Rows: the images of the x, y and z axes, then the translation.
struct Matrix3x4 {
    float m[12];

    Vector3 TransformPoint(Vector3 p) const {
        return {p.x * m[0] + p.y * m[3] + p.z * m[6] + m[9], p.x * m[1] + p.y * m[4] + p.z * m[7] + m[10],
                p.x * m[2] + p.y * m[5] + p.z * m[8] + m[11]};
    }
    Vector3 TransformDirection(Vector3 d) const {
        return {d.x * m[0] + d.y * m[3] + d.z * m[6], d.x * m[1] + d.y * m[4] + d.z * m[7],
                d.x * m[2] + d.y * m[5] + d.z * m[8]};
    }
};

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
        StoreVector(dst, blended.TransformPoint(LoadVector(src)));
        if (Directions == EngineDirections::Float) {
            StoreVector(dst + 12, blended.TransformDirection(LoadVector(src + 20)));
            StoreVector(dst + 24, blended.TransformDirection(LoadVector(src + 32)));
            StoreVector(dst + 36, blended.TransformDirection(LoadVector(src + 44)));
        } else if (Directions == EngineDirections::Packed) {
            PackDirection(dst + 12, blended.TransformDirection(UnpackDirection(src + 20)));
            PackDirection(dst + 16, blended.TransformDirection(UnpackDirection(src + 24)));
            PackDirection(dst + 20, blended.TransformDirection(UnpackDirection(src + 28)));
        }
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
