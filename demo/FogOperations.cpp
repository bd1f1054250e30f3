#include "FogOperations.h"

#include <cstring>

FogLevels FogLevelsOf(Implementation implementation) {
    if (implementation == Implementation::Vector) return {0xFF000000, 0x70000000, 0x30000000};
    return {0xFF000000, 0x80000000, 0x40000000};
}

void LibraryFogOperations::ANDMaskMemory(uint32_t* words, uint32_t count, uint32_t mask) {
    m_quorvan.ANDMaskMemory(words, count, mask);
}
void LibraryFogOperations::FowAlpha32Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                                            uint32_t halfMask, uint32_t* texels) {
    m_quorvan.FowAlpha32Update(visibility, count, fullMask, halfMask, texels);
}
void LibraryFogOperations::FowAlpha16Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                                            uint32_t halfMask, uint16_t* texels) {
    m_quorvan.FowAlpha16Update(visibility, count, fullMask, halfMask, texels);
}
bool LibraryFogOperations::TestMaskRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,
                                        uint32_t mask) {
    return m_quorvan.TestMaskRect(base, width, height, pitch, mask);
}
void LibraryFogOperations::CachelessCopy(void* dst, const void* src, uint32_t bytes) {
    m_quorvan.CachelessCopy(dst, src, bytes);
}

void PlainFogOperations::ANDMaskMemory(uint32_t* words, uint32_t count, uint32_t mask) {
    for (uint32_t k = 0; k < count; ++k) words[k] &= mask;
}

void PlainFogOperations::FowAlpha32Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                                          uint32_t halfMask, uint32_t* texels) {
    for (uint32_t k = 0; k < count; ++k) {
        const uint32_t alpha = visibility[k] & fullMask   ? m_levels.full
                               : visibility[k] & halfMask ? m_levels.half
                                                          : m_levels.low;
        texels[k] = (texels[k] & 0x00FFFFFF) | alpha;
    }
}

void PlainFogOperations::FowAlpha16Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                                          uint32_t halfMask, uint16_t* texels) {
    for (uint32_t k = 0; k < count; ++k) {
        const uint16_t alpha = visibility[k] & fullMask ? 0xF000 : visibility[k] & halfMask ? 0x7000 : 0x3000;
        texels[k] = uint16_t((texels[k] & 0x0FFF) | alpha);
    }
}

bool PlainFogOperations::TestMaskRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,
                                      uint32_t mask) {
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x)
            if (base[size_t(y) * pitch + x] & mask) return true;
    return false;
}

void PlainFogOperations::CachelessCopy(void* dst, const void* src, uint32_t bytes) {
    std::memcpy(dst, src, bytes);
}
