#pragma once

#include "Quorvan.h"

// The scalar implementation: x87 arithmetic only, for processors (or
// operating systems) without SSE. It keeps its bone palette in the object.
class Quorvan_std final : public Quorvan {
public:
    static constexpr unsigned kBoneCount = 128;
    static constexpr unsigned kFloatsPerBone = 12;

    // Leaves the palette as the allocator returned it: the host loads every
    // bone it uses before skinning with it.
    Quorvan_std() {}

    void SkinningFull(const SkinningJob* job) override;
    void SkinningSingle(const SkinningJob* job) override;
    void SetSkinningMatrix(uint32_t bone, const float* m) override;
    void CachelessCopy(void* dst, const void* src, uint32_t bytes) override;
    bool TestMaskRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,
                      uint32_t mask) override;
    void FowAlpha16Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                          uint32_t halfMask, uint16_t* texels) override;
    void FowAlpha32Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                          uint32_t halfMask, uint32_t* texels) override;
    void ANDMaskMemory(uint32_t* words, uint32_t count, uint32_t mask) override;

private:
    // 128 bones of twelve floats each, exactly as the host passed them.
    float m_palette[kBoneCount * kFloatsPerBone];
};
