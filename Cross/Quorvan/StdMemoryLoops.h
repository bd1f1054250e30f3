#pragma once

// The scalar implementation's memory loops: plain integer code with table
// lookups, no vector register. Like the vector loops they run in whole steps
// and test the end only before a step, but they check no count.

#include <cstdint>
#include <cstring>

#include "FlagWords.h"

namespace StdMemory {

// Texel alpha for a flag word: index 2 with a bit of the full mask, plus 1
// with a bit of the half mask. The middle and low levels are 0x80 and 0x40
// here, not the vector implementation's 0x70 and 0x30: hosts tuned their fog
// to each.
constexpr uint32_t kAlpha32[4] = {0x40000000, 0x80000000, 0xFF000000, 0xFF000000};

// Alpha of two 16-bit texels read as one word (first texel in the low half),
// indexed by 8 * first full + 4 * first half + 2 * second full + second half.
constexpr uint32_t kAlpha16Pair[16] = {
    0x30003000, 0x70003000, 0xF0003000, 0xF0003000, 0x30007000, 0x70007000, 0xF0007000, 0xF0007000,
    0x3000F000, 0x7000F000, 0xF000F000, 0xF000F000, 0x3000F000, 0x7000F000, 0xF000F000, 0xF000F000};

struct FlagTest {
    uint32_t fullMask, halfMask;

    uint32_t Level(uint32_t flags) const { return 2 * ((flags & fullMask) != 0) + ((flags & halfMask) != 0); }
    uint32_t PairLevel(const uint32_t* flags) const { return 4 * Level(flags[0]) + Level(flags[1]); }
};

inline void UpdatePair16(uint16_t* texels, uint32_t alpha) {
    uint32_t pair;
    std::memcpy(&pair, texels, sizeof pair);
    pair = (pair & 0x0FFF0FFF) | alpha;
    std::memcpy(texels, &pair, sizeof pair);
}

// Four texels per step, as two pairs.
inline void FowAlpha16(const uint32_t* visibility, uint32_t count, FlagTest test, uint16_t* texels) {
    const uintptr_t end = AddressOfWord(visibility, count);
    for (; AddressOf(visibility) < end; visibility += 4, texels += 4) {
        UpdatePair16(texels, kAlpha16Pair[test.PairLevel(visibility)]);
        UpdatePair16(texels + 2, kAlpha16Pair[test.PairLevel(visibility + 2)]);
    }
}

// Two texels per step.
inline void FowAlpha32(const uint32_t* visibility, uint32_t count, FlagTest test, uint32_t* texels) {
    const uintptr_t end = AddressOfWord(visibility, count);
    for (; AddressOf(visibility) < end; visibility += 2, texels += 2) {
        texels[0] = (texels[0] & 0x00FFFFFF) | kAlpha32[test.Level(visibility[0])];
        texels[1] = (texels[1] & 0x00FFFFFF) | kAlpha32[test.Level(visibility[1])];
    }
}

// Groups of four words, then the last zero to three one by one.
inline void AndMask(uint32_t* words, uint32_t count, uint32_t mask) {
    for (uint32_t group = count / 4; group != 0; --group, words += 4) {
        words[0] &= mask;
        words[1] &= mask;
        words[2] &= mask;
        words[3] &= mask;
    }
    for (uint32_t rest = count % 4; rest != 0; --rest, ++words) *words &= mask;
}

}  // namespace StdMemory
