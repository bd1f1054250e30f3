// The scalar implementation's operations.

#include "Quorvan_std.h"

// Skinning and the memory helpers arrive with their own kernels; until then
// these entries do nothing (the README's feature table lists what works).
void Quorvan_std::SkinningFull(const SkinningJob*) {}
void Quorvan_std::SkinningSingle(const SkinningJob*) {}
void Quorvan_std::SetSkinningMatrix(uint32_t, const float*) {}
void Quorvan_std::CachelessCopy(void*, const void*, uint32_t) {}
bool Quorvan_std::TestMaskRect(const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t) {
    return false;
}
void Quorvan_std::FowAlpha16Update(const uint32_t*, uint32_t, uint32_t, uint32_t, uint16_t*) {}
void Quorvan_std::FowAlpha32Update(const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t*) {}
void Quorvan_std::ANDMaskMemory(uint32_t*, uint32_t, uint32_t) {}
