#pragma once

// A vertex's normal as the scalar kernels read and write it: three floats,
// or one packed direction, at the normal's fixed offsets.

#include <cstdint>

#include "ForceInline.h"
#include "PackedDirection.h"
#include "StdVector.h"
#include "VertexLayout.h"

template <bool Packed>
QUORVAN_INLINE Float3 LoadNormal(const uint8_t* srcVertex) {
    if constexpr (Packed)
        return PackedDirection::Decode(srcVertex + VertexLayout::kSrcNormal);
    else
        return LoadFloat3(srcVertex + VertexLayout::kSrcNormal);
}

template <bool Packed>
QUORVAN_INLINE void StoreNormal(uint8_t* dstVertex, Float3 normal) {
    if constexpr (Packed)
        PackedDirection::Encode(dstVertex + VertexLayout::kDstNormal, normal);
    else
        StoreFloat3(dstVertex + VertexLayout::kDstNormal, normal);
}
