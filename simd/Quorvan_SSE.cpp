// The vector implementation's operations.

#include "Quorvan_SSE.h"

#include "SseBonePalette.h"

Quorvan_SSE::Quorvan_SSE() { ResetSsePaletteToIdentity(); }

// Skinning and the memory helpers arrive with their own kernels; until then
// these entries do nothing (the README's feature table lists what works).
void Quorvan_SSE::SkinningFull(const SkinningJob*) {}
void Quorvan_SSE::SkinningSingle(const SkinningJob*) {}
void Quorvan_SSE::SetSkinningMatrix(uint32_t, const float*) {}
void Quorvan_SSE::CachelessCopy(void*, const void*, uint32_t) {}
bool Quorvan_SSE::TestMaskRect(const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t) {
    return false;
}
void Quorvan_SSE::FowAlpha16Update(const uint32_t*, uint32_t, uint32_t, uint32_t, uint16_t*) {}
void Quorvan_SSE::FowAlpha32Update(const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t*) {}
void Quorvan_SSE::ANDMaskMemory(uint32_t*, uint32_t, uint32_t) {}
