#pragma once

// Skinning written as plain C++, as an engine would without the library:
// the same buffers, the same palette and the same work as the
// implementation it is compared with (its weight order, its packed form,
// renormalised normals and no tangents for Quorvan_std's SkinningFull).

#include <cstdint>
#include <vector>

#include "AnimationPose.h"
#include "VertexLayout.h"

void PlainSkin(const uint8_t* src, uint8_t* dst, uint32_t count, const VertexFormat& format,
               const std::vector<PaletteMatrix>& palette, Implementation implementation, bool rigid);
