#pragma once

// Fixed offsets of the skinned vertex layouts. A slot keeps its place when an
// earlier optional slot is absent.

#include <cstdint>

namespace VertexLayout {

// Source vertex.
constexpr uint32_t kSrcPosition = 0;
constexpr uint32_t kSrcBones = 12;    // four index bytes
constexpr uint32_t kSrcWeights = 16;  // four weight bytes
constexpr uint32_t kSrcNormal = 20;   // float or packed
constexpr uint32_t SrcTangent(bool packed) { return packed ? 24 : 32; }
constexpr uint32_t SrcBinormal(bool packed) { return packed ? 28 : 44; }

// Destination vertex.
constexpr uint32_t kDstPosition = 0;
constexpr uint32_t kDstNormal = 12;
constexpr uint32_t DstTangent(bool packed) { return packed ? 16 : 24; }
constexpr uint32_t DstBinormal(bool packed) { return packed ? 20 : 36; }

}  // namespace VertexLayout
