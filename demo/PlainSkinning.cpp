#include "PlainSkinning.h"

#include <cmath>
#include <cstring>

#include "PackedDirection.h"

namespace {

struct F3 {
    float x, y, z;
};

F3 Rotate(const float* m, F3 v) {
    return {v.x * m[0] + v.y * m[3] + v.z * m[6], v.x * m[1] + v.y * m[4] + v.z * m[7],
            v.x * m[2] + v.y * m[5] + v.z * m[8]};
}

void AddScaled(F3& sum, F3 v, float w) {
    sum.x += v.x * w;
    sum.y += v.y * w;
    sum.z += v.z * w;
}

template <bool Packed>
F3 ReadDirection(const uint8_t* at, Implementation implementation) {
    if constexpr (Packed) {
        uint32_t packed;
        std::memcpy(&packed, at, 4);
        const Vec3 d = implementation == Implementation::Vector ? DecodeExcess128(packed) : DecodeRangeByte(packed);
        return {float(d.x), float(d.y), float(d.z)};
    } else {
        F3 d;
        std::memcpy(&d, at, sizeof d);
        return d;
    }
}

template <bool Packed>
void WriteDirection(uint8_t* at, F3 d, Implementation implementation) {
    if constexpr (Packed) {
        const Vec3 v{d.x, d.y, d.z};
        const uint32_t packed =
            implementation == Implementation::Vector ? EncodeExcess128(v) : EncodeRangeByte(v);
        std::memcpy(at, &packed, 4);
    } else {
        std::memcpy(at, &d, sizeof d);
    }
}

// How the vertex is blended: each influence transforms it and the results
// are summed by weight (the library's own arithmetic), or the bone matrices
// are summed by weight first and the sum transforms it once (what an engine
// writes without the library).
enum class Method { PerInfluence, MatrixBlend };

template <bool Packed, bool Tangents, bool Renormalise, bool Rigid, Method How>
void Skin(const uint8_t* src, uint8_t* dst, uint32_t count, const VertexFormat& format,
          const std::vector<PaletteMatrix>& palette, Implementation implementation) {
    static const int kWeightByte[2][4] = {{2, 1, 0, 3}, {0, 1, 2, 3}};
    const int* weightByte = kWeightByte[implementation == Implementation::Scalar];
    const uint32_t directionSize = Packed ? 4 : 12;
    const uint32_t tangentAt = Packed ? 24 : 32, binormalAt = Packed ? 28 : 44;
    for (uint32_t v = 0; v < count; ++v, src += format.srcStride, dst += format.dstStride) {
        F3 position, normal = ReadDirection<Packed>(src + 20, implementation), tangent{}, binormal{};
        std::memcpy(&position, src, sizeof position);
        if (Tangents) {
            tangent = ReadDirection<Packed>(src + tangentAt, implementation);
            binormal = ReadDirection<Packed>(src + binormalAt, implementation);
        }
        F3 p{}, n{}, t{}, b{};
        if (How == Method::MatrixBlend) {
            float m[12] = {};
            for (int i = 0; i < 4; ++i) {
                const float weight = src[16 + weightByte[i]] * (1.0f / 255);
                if (weight == 0) break;
                const float* bone = palette[src[12 + i]].data();
                for (int k = 0; k < 12; ++k) m[k] += bone[k] * weight;
            }
            const F3 moved = Rotate(m, position);
            p = {moved.x + m[9], moved.y + m[10], moved.z + m[11]};
            n = Rotate(m, normal);
            if (Tangents) {
                t = Rotate(m, tangent);
                b = Rotate(m, binormal);
            }
        } else {
            for (int i = 0; i < (Rigid ? 1 : 4); ++i) {
                const float weight = Rigid ? 1.0f : src[16 + weightByte[i]] * (1.0f / 255);
                if (weight == 0) break;
                const float* m = palette[src[12 + i]].data();
                const F3 moved = Rotate(m, position);
                AddScaled(p, {moved.x + m[9], moved.y + m[10], moved.z + m[11]}, weight);
                AddScaled(n, Rotate(m, normal), weight);
                if (Tangents) {
                    AddScaled(t, Rotate(m, tangent), weight);
                    AddScaled(b, Rotate(m, binormal), weight);
                }
            }
        }
        if (Renormalise) {
            const float length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
            const float inverse = length > 0 ? 1 / length : 0;
            n = {n.x * inverse, n.y * inverse, n.z * inverse};
        }
        std::memcpy(dst, &p, sizeof p);
        WriteDirection<Packed>(dst + 12, n, implementation);
        if (Tangents) {
            WriteDirection<Packed>(dst + 12 + directionSize, t, implementation);
            WriteDirection<Packed>(dst + 12 + 2 * directionSize, b, implementation);
        }
        std::memcpy(dst + format.dstExtraOffset, src + format.srcExtraOffset, kPassThroughBytes);
    }
}

template <bool Packed, bool Tangents>
void SkinWithTangents(const uint8_t* src, uint8_t* dst, uint32_t count, const VertexFormat& format,
                      const std::vector<PaletteMatrix>& palette, Implementation implementation, bool renormalise,
                      bool rigid, Method how) {
    if (rigid)
        Skin<Packed, Tangents, false, true, Method::PerInfluence>(src, dst, count, format, palette, implementation);
    else if (renormalise && how == Method::MatrixBlend)
        Skin<Packed, Tangents, true, false, Method::MatrixBlend>(src, dst, count, format, palette, implementation);
    else if (renormalise)
        Skin<Packed, Tangents, true, false, Method::PerInfluence>(src, dst, count, format, palette, implementation);
    else if (how == Method::MatrixBlend)
        Skin<Packed, Tangents, false, false, Method::MatrixBlend>(src, dst, count, format, palette, implementation);
    else
        Skin<Packed, Tangents, false, false, Method::PerInfluence>(src, dst, count, format, palette, implementation);
}

// Quorvan_std writes no tangents and renormalises blended normals.
void SkinAsImplementation(const uint8_t* src, uint8_t* dst, uint32_t count, const VertexFormat& format,
                          const std::vector<PaletteMatrix>& palette, Implementation implementation, bool rigid,
                          Method how) {
    const bool scalar = implementation == Implementation::Scalar;
    const bool packed = format.directions == Directions::Packed;
    if (packed && scalar)
        SkinWithTangents<true, false>(src, dst, count, format, palette, implementation, true, rigid, how);
    else if (packed)
        SkinWithTangents<true, true>(src, dst, count, format, palette, implementation, false, rigid, how);
    else if (scalar)
        SkinWithTangents<false, false>(src, dst, count, format, palette, implementation, true, rigid, how);
    else
        SkinWithTangents<false, true>(src, dst, count, format, palette, implementation, false, rigid, how);
}

}  // namespace

void PlainSkin(const uint8_t* src, uint8_t* dst, uint32_t count, const VertexFormat& format,
               const std::vector<PaletteMatrix>& palette, Implementation implementation, bool rigid) {
    SkinAsImplementation(src, dst, count, format, palette, implementation, rigid, Method::PerInfluence);
}

void PlainSkinBlendingMatrices(const uint8_t* src, uint8_t* dst, uint32_t count, const VertexFormat& format,
                               const std::vector<PaletteMatrix>& palette, Implementation implementation) {
    SkinAsImplementation(src, dst, count, format, palette, implementation, false, Method::MatrixBlend);
}
