#pragma once

// The engine's skinned vertex buffers, laid out for the implementation that
// Quorvan chose. Both read the same slots; they differ in the order of the
// weight bytes and in the packed-direction form:
//
//   source       0 position  12 bone bytes  16 weight bytes  20 normal
//                float form: 32 tangent, 44 binormal, 56 texture coordinates
//                packed form: 24 tangent, 28 binormal, 32 texture coordinates
//   destination  0 position  12 normal, then tangent and binormal (12 bytes
//                each float, 4 packed), then the texture coordinates, passed
//                through
//
// Quorvan_SSE reads the weight of influence i from byte 16 + {2, 1, 0, 3}[i]
// and scales it by 1/255; Quorvan_std reads byte 16 + i as it is. Both end a
// vertex after influence i when byte 17 + i is 0.

#include <cstdint>
#include <vector>

#include <Quorvan/Quorvan.h>

#include "BoneInfluences.h"
#include "SkinnedMesh.h"

enum class Implementation { Vector, Scalar };
enum class Directions { Float, Packed };

const char* ImplementationName(Implementation implementation);  // "Quorvan_SSE" or "Quorvan_std"

struct VertexFormat {
    Directions directions;
    uint32_t srcStride, srcExtraOffset, dstStride, dstExtraOffset;
};
VertexFormat FormatFor(Directions directions);
constexpr uint32_t kPassThroughBytes = 8;  // the texture coordinates

// Source vertices for `implementation`, one per mesh vertex in `order`.
std::vector<uint8_t> WriteSourceVertices(const std::vector<MeshVertex>& vertices,
                                         const std::vector<PackedInfluences>& influences,
                                         const std::vector<uint32_t>& order, const VertexFormat& format,
                                         Implementation implementation);

// A job over `count` vertices with normals, tangents and texture coordinates.
SkinningJob MakeJob(const VertexFormat& format, const uint8_t* src, uint8_t* dst, uint32_t count);

// A skinned vertex read back from a destination buffer, directions decoded
// from the implementation's packed form.
struct SkinnedVertex {
    Vec3 position, normal, tangent, binormal;
    float u, v;
};
SkinnedVertex ReadSkinnedVertex(const uint8_t* dst, const VertexFormat& format, Implementation implementation);
