#pragma once

// The memory helpers a fog of war needs, either through Quorvan or as plain
// C++ loops. The plain loops check the library's results and are what its
// speed is compared with.

#include <cstdint>

#include <Quorvan/Quorvan.h>

#include "VertexLayout.h"

// Alpha levels of the 32-bit fog texture. The two implementations
// disagree on purpose on the lower two.
struct FogLevels {
    uint32_t full, half, low;
};
FogLevels FogLevelsOf(Implementation implementation);

class FogOperations {
public:
    virtual ~FogOperations() = default;
    virtual void ANDMaskMemory(uint32_t* words, uint32_t count, uint32_t mask) = 0;
    virtual void FowAlpha32Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                                  uint32_t* texels) = 0;
    virtual void FowAlpha16Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                                  uint16_t* texels) = 0;
    virtual bool TestMaskRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,
                              uint32_t mask) = 0;
    virtual void CachelessCopy(void* dst, const void* src, uint32_t bytes) = 0;
};

class LibraryFogOperations : public FogOperations {
public:
    explicit LibraryFogOperations(Quorvan& quorvan) : m_quorvan(quorvan) {}
    void ANDMaskMemory(uint32_t* words, uint32_t count, uint32_t mask) override;
    void FowAlpha32Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                          uint32_t* texels) override;
    void FowAlpha16Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                          uint16_t* texels) override;
    bool TestMaskRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,
                      uint32_t mask) override;
    void CachelessCopy(void* dst, const void* src, uint32_t bytes) override;

private:
    Quorvan& m_quorvan;
};

class PlainFogOperations : public FogOperations {
public:
    explicit PlainFogOperations(FogLevels levels) : m_levels(levels) {}
    void ANDMaskMemory(uint32_t* words, uint32_t count, uint32_t mask) override;
    void FowAlpha32Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                          uint32_t* texels) override;
    void FowAlpha16Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                          uint16_t* texels) override;
    bool TestMaskRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,
                      uint32_t mask) override;
    void CachelessCopy(void* dst, const void* src, uint32_t bytes) override;

private:
    FogLevels m_levels;
};
