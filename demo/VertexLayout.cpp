#include "VertexLayout.h"

#include <cstring>

#include "PackedDirection.h"

namespace {

constexpr int kVectorWeightByte[kMaxInfluences] = {2, 1, 0, 3};
constexpr int kScalarWeightByte[kMaxInfluences] = {0, 1, 2, 3};

template <class T>
void Put(uint8_t* at, const T& value) {
    std::memcpy(at, &value, sizeof value);
}

template <class T>
T Get(const uint8_t* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

Vec3 GetFloat3(const uint8_t* at) { return Widen(Get<Float3>(at)); }

uint32_t Pack(Float3 direction, Implementation implementation) {
    return implementation == Implementation::Vector ? EncodeExcess128(Widen(direction))
                                                    : EncodeRangeByte(Widen(direction));
}

Vec3 Unpack(const uint8_t* at, Implementation implementation) {
    const uint32_t packed = Get<uint32_t>(at);
    return implementation == Implementation::Vector ? DecodeExcess128(packed) : DecodeRangeByte(packed);
}

}  // namespace

const char* ImplementationName(Implementation implementation) {
    return implementation == Implementation::Vector ? "Quorvan_SSE" : "Quorvan_std";
}

VertexFormat FormatFor(Directions directions) {
    // Float directions: the source slots end at 56 and the texture
    // coordinates follow, which also keeps readable the four bytes that the
    // vector kernels load past the binormal.
    if (directions == Directions::Float) return {directions, 64, 56, 56, 48};
    return {directions, 40, 32, 32, 24};
}

std::vector<uint8_t> WriteSourceVertices(const std::vector<MeshVertex>& vertices,
                                         const std::vector<PackedInfluences>& influences,
                                         const std::vector<uint32_t>& order, const VertexFormat& format,
                                         Implementation implementation) {
    const int* weightByte = implementation == Implementation::Vector ? kVectorWeightByte : kScalarWeightByte;
    std::vector<uint8_t> buffer(order.size() * format.srcStride);
    for (size_t k = 0; k < order.size(); ++k) {
        const MeshVertex& vertex = vertices[order[k]];
        const PackedInfluences& packed = influences[order[k]];
        uint8_t* at = buffer.data() + k * format.srcStride;
        Put(at, vertex.position);
        for (int i = 0; i < kMaxInfluences; ++i) {
            at[12 + i] = packed.bones[i];
            at[16 + weightByte[i]] = packed.weights[i];
        }
        if (format.directions == Directions::Float) {
            Put(at + 20, vertex.normal);
            Put(at + 32, vertex.tangent);
            Put(at + 44, vertex.binormal);
        } else {
            Put(at + 20, Pack(vertex.normal, implementation));
            Put(at + 24, Pack(vertex.tangent, implementation));
            Put(at + 28, Pack(vertex.binormal, implementation));
        }
        Put(at + format.srcExtraOffset, vertex.u);
        Put(at + format.srcExtraOffset + 4, vertex.v);
    }
    return buffer;
}

SkinningJob MakeJob(const VertexFormat& format, const uint8_t* src, uint8_t* dst, uint32_t count) {
    SkinningJob job{};
    job.srcVertex = src;
    job.srcStride = format.srcStride;
    job.srcExtraOffset = format.srcExtraOffset;
    job.dstVertex = dst;
    job.dstStride = format.dstStride;
    job.dstExtraOffset = format.dstExtraOffset;
    job.extraSize = kPassThroughBytes;
    job.vertexCount = count;
    job.hasNormal = 1;
    job.hasTangents = 1;
    job.packedDirections = format.directions == Directions::Packed;
    return job;
}

SkinnedVertex ReadSkinnedVertex(const uint8_t* at, const VertexFormat& format, Implementation implementation) {
    SkinnedVertex vertex;
    vertex.position = GetFloat3(at);
    if (format.directions == Directions::Float) {
        vertex.normal = GetFloat3(at + 12);
        vertex.tangent = GetFloat3(at + 24);
        vertex.binormal = GetFloat3(at + 36);
    } else {
        vertex.normal = Unpack(at + 12, implementation);
        vertex.tangent = Unpack(at + 16, implementation);
        vertex.binormal = Unpack(at + 20, implementation);
    }
    vertex.u = Get<float>(at + format.dstExtraOffset);
    vertex.v = Get<float>(at + format.dstExtraOffset + 4);
    return vertex;
}
