#pragma once

// Skinning written as plain C++: the same buffers, the same palette and the
// same work as the implementation it is compared with (its weight order, its
// packed form, renormalised normals and no tangents for Quorvan_std's
// SkinningFull).

#include <cstdint>
#include <vector>

#include "AnimationPose.h"
#include "VertexLayout.h"

// The library's own arithmetic: each influence transforms the vertex and the
// results are summed by weight.
void PlainSkin(const uint8_t* src, uint8_t* dst, uint32_t count, const VertexFormat& format,
               const std::vector<PaletteMatrix>& palette, Implementation implementation, bool rigid);

// What an engine writes without the library: the bone matrices of a blended
// vertex summed by weight first, and the sum transforming it once.
void PlainSkinBlendingMatrices(const uint8_t* src, uint8_t* dst, uint32_t count, const VertexFormat& format,
                               const std::vector<PaletteMatrix>& palette, Implementation implementation);
