#pragma once

// What both implementations share about walking arrays of 32-bit flag words.

#include <cstdint>

inline uintptr_t AddressOf(const void* p) { return reinterpret_cast<uintptr_t>(p); }

// The address of word `count` of `words`, which the loops compare their read
// address with before each step. On 32-bit builds it wraps like the address
// arithmetic the host's buffers were laid out for.
inline uintptr_t AddressOfWord(const uint32_t* words, uint32_t count) {
    return AddressOf(words) + uintptr_t{count} * sizeof(uint32_t);
}

// Whether a word of the `width` x `height` block at `base`, whose rows start
// `pitch` words apart, has a bit of `mask`. Row by row, stopping at the first
// hit; both implementations answer with this same integer loop.
inline bool AnyMaskBitInRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,
                             uint32_t mask) {
    for (const uint32_t* row = base; height != 0; --height, row += pitch) {
        for (uint32_t k = 0; k < width; ++k)
            if (row[k] & mask) return true;
    }
    return false;
}
