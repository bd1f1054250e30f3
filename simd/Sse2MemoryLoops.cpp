// Quorvan_SSE's memory loops on processors with SSE2: 16-byte steps in XMM
// registers, no MMX (so no emms is needed). Each loop leaves exactly the
// bytes of the SSE form: the fog and mask loops take 16-byte steps while a
// whole one fits before the end and then the SSE form's own steps, so a
// count the report rejects rewrites the same words past the array.

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

#include "MemoryLoops.h"

// The rectangle test reads whole aligned chunks around the words it was
// asked about: the address sanitizer would call the words outside the block
// overflows, although an aligned chunk never reaches a page that the
// word-by-word scan leaves alone.
#if defined(__GNUC__) || defined(__clang__)
#define WHOLE_CHUNK_READS __attribute__((no_sanitize("address")))
#else
#define WHOLE_CHUNK_READS
#endif

namespace {

uintptr_t Address(const void* p) { return reinterpret_cast<uintptr_t>(p); }
// The address of word `count`, wrapping like the SSE form's.
uintptr_t EndOf(const uint32_t* words, uint32_t count) { return Address(words) + uintptr_t{count} * 4; }

__m128i Load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
void Store16(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
__m128i Load8(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }
void Store8(void* p, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(p), v); }

void Move16(uint8_t* dst, const uint8_t* src) { Store16(dst, Load16(src)); }
void Move8(uint8_t* dst, const uint8_t* src) { Store8(dst, Load8(src)); }

// Per flag word, whether it has a bit of the full and of the half mask.
struct FlagTests {
    __m128i fullMask, halfMask;
    FlagTests(uint32_t full, uint32_t half)
        : fullMask(_mm_set1_epi32(static_cast<int>(full))), halfMask(_mm_set1_epi32(static_cast<int>(half))) {}

    // In 32-bit lanes: all ones where the word has no bit of the mask.
    static __m128i Misses(__m128i flags, __m128i mask) {
        return _mm_cmpeq_epi32(_mm_and_si128(flags, mask), _mm_setzero_si128());
    }
    // The same for eight words in 16-bit lanes. A signed pack keeps a lane
    // non-zero, so the masked words are packed before the compare.
    static __m128i Misses16(__m128i first, __m128i second, __m128i mask) {
        const __m128i packed = _mm_packs_epi32(_mm_and_si128(first, mask), _mm_and_si128(second, mask));
        return _mm_cmpeq_epi16(packed, _mm_setzero_si128());
    }
};

// The alpha nibble of eight 16-bit texels, in the place of bits 12-15:
// full covers half and low, so ORing the terms gives the precedence.
__m128i Alpha16(const FlagTests& tests, __m128i first, __m128i second) {
    const __m128i full = _mm_andnot_si128(FlagTests::Misses16(first, second, tests.fullMask), _mm_set1_epi16(-0x1000));
    const __m128i half = _mm_andnot_si128(FlagTests::Misses16(first, second, tests.halfMask), _mm_set1_epi16(0x7000));
    return _mm_or_si128(_mm_or_si128(full, half), _mm_set1_epi16(0x3000));
}

__m128i Fog16(const FlagTests& tests, __m128i texels, __m128i first, __m128i second) {
    return _mm_or_si128(_mm_and_si128(texels, _mm_set1_epi16(0x0FFF)), Alpha16(tests, first, second));
}

// Four 32-bit texels with their alpha byte set: 0xFF, 0x70 or 0x30.
__m128i Fog32(const FlagTests& tests, __m128i texels, __m128i flags) {
    const __m128i full = _mm_andnot_si128(FlagTests::Misses(flags, tests.fullMask), _mm_set1_epi32(-0x1000000));
    const __m128i half = _mm_andnot_si128(FlagTests::Misses(flags, tests.halfMask), _mm_set1_epi32(0x70000000));
    const __m128i colour = _mm_and_si128(texels, _mm_set1_epi32(0x00FFFFFF));
    return _mm_or_si128(_mm_or_si128(colour, _mm_set1_epi32(0x30000000)), _mm_or_si128(full, half));
}

// The rectangle test. Rows are read in aligned 16-byte chunks, each one only
// after the chunks before it showed no hit, and every chunk holds a word of
// the row: the word-by-word scan reads that word, and the chunk lies in its
// page. Words of a chunk outside the row are masked off.

// All ones in 32-bit lanes [first, last), lanes counted from 0 to 3.
__m128i Lanes(uintptr_t first, uintptr_t last) {
    const __m128i lane = _mm_setr_epi32(0, 1, 2, 3);
    const __m128i from = _mm_set1_epi32(static_cast<int>(first) - 1);
    const __m128i to = _mm_set1_epi32(static_cast<int>(last < 4 ? last : 4));
    return _mm_and_si128(_mm_cmpgt_epi32(lane, from), _mm_cmpgt_epi32(to, lane));
}

WHOLE_CHUNK_READS bool ChunkHit(uintptr_t chunk, __m128i mask) {
    const __m128i bits = _mm_and_si128(_mm_load_si128(reinterpret_cast<const __m128i*>(chunk)), mask);
    return _mm_movemask_epi8(_mm_cmpeq_epi32(bits, _mm_setzero_si128())) != 0xFFFF;
}

WHOLE_CHUNK_READS bool RowHit(const uint32_t* row, uint32_t width, __m128i mask) {
    const uintptr_t start = Address(row);
    uintptr_t chunk = start & ~uintptr_t{15};
    uintptr_t left = start - chunk + uintptr_t{width} * 4;  // bytes from the chunk to the row's end
    if (ChunkHit(chunk, _mm_and_si128(mask, Lanes((start - chunk) / 4, left / 4)))) return true;
    if (left <= 16) return false;
    for (chunk += 16, left -= 16; left >= 16; chunk += 16, left -= 16)
        if (ChunkHit(chunk, mask)) return true;
    return left != 0 && ChunkHit(chunk, _mm_and_si128(mask, Lanes(0, left / 4)));
}

bool RowHitWordByWord(const uint32_t* row, uint32_t width, uint32_t mask) {
    for (uint32_t k = 0; k < width; ++k)
        if (row[k] & mask) return true;
    return false;
}

}  // namespace

namespace Sse2Memory {

// The bytes up to the last whole word, which is what the SSE form's 32-byte
// blocks and whole words come to. Overlapping moves fill the ends; the
// stores between them are aligned.
void CopyBlocks(uint8_t* dst, const uint8_t* src, uint32_t bytes) {
    uintptr_t n = bytes & ~3u;
    if (n < 16) {
        if (n >= 8) {
            Move8(dst, src);
            Move8(dst + n - 8, src + n - 8);
        } else if (n == 4) {
            std::memcpy(dst, src, 4);
        }
        return;
    }
    if (n <= 32) {
        Move16(dst, src);
        Move16(dst + n - 16, src + n - 16);
        return;
    }
    Move16(dst, src);
    const uintptr_t head = 16 - (Address(dst) & 15);
    dst += head, src += head, n -= head;
    for (; n > 64; dst += 64, src += 64, n -= 64) {
        const __m128i a = Load16(src), b = Load16(src + 16), c = Load16(src + 32), d = Load16(src + 48);
        _mm_store_si128(reinterpret_cast<__m128i*>(dst), a);
        _mm_store_si128(reinterpret_cast<__m128i*>(dst + 16), b);
        _mm_store_si128(reinterpret_cast<__m128i*>(dst + 32), c);
        _mm_store_si128(reinterpret_cast<__m128i*>(dst + 48), d);
    }
    for (; n > 16; dst += 16, src += 16, n -= 16) Move16(dst, src);
    Move16(dst + n - 16, src + n - 16);
}

// Eight texels per step, then the SSE form's steps of four.
void FowAlpha16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                uint16_t* texels) {
    const FlagTests tests(fullMask, halfMask);
    const uintptr_t end = EndOf(visibility, count);
    for (; Address(visibility) < end && end - Address(visibility) >= 32; visibility += 8, texels += 8)
        Store16(texels, Fog16(tests, Load16(texels), Load16(visibility), Load16(visibility + 4)));
    for (; Address(visibility) < end; visibility += 4, texels += 4)
        Store8(texels, Fog16(tests, Load8(texels), Load16(visibility), _mm_setzero_si128()));
}

// Four texels per step, then the SSE form's steps of two.
void FowAlpha32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                uint32_t* texels) {
    const FlagTests tests(fullMask, halfMask);
    const uintptr_t end = EndOf(visibility, count);
    for (; Address(visibility) < end && end - Address(visibility) >= 16; visibility += 4, texels += 4)
        Store16(texels, Fog32(tests, Load16(texels), Load16(visibility)));
    for (; Address(visibility) < end; visibility += 2, texels += 2)
        Store8(texels, Fog32(tests, Load8(texels), Load8(visibility)));
}

// An even count: four words per step, then pairs. An odd count never meets
// the end in pairs, and walks on past the array in pairs as on SSE.
void AndMask(uint32_t* words, uint32_t count, uint32_t mask) {
    const __m128i keep = _mm_set1_epi32(static_cast<int>(mask));
    const uintptr_t end = EndOf(words, count);
    if ((end - Address(words)) % 8 == 0)
        for (; end - Address(words) >= 16; words += 4) Store16(words, _mm_and_si128(Load16(words), keep));
    for (; Address(words) != end; words += 2) {
        Store8(words, _mm_and_si128(Load8(words), keep));
        // Keeps the compiler from counting the steps in advance, which would
        // assume that the walk ends.
        asm("" : "+r"(words));
    }
}

bool AnyMaskBitInRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch, uint32_t mask) {
    if (width == 0 || mask == 0) return false;
    const __m128i bits = _mm_set1_epi32(static_cast<int>(mask));
    for (const uint32_t* row = base; height != 0; --height, row += pitch) {
        // A row off a word boundary, or one that would run past the top of
        // the address space, goes word by word.
        const bool chunked = Address(row) % 4 == 0 && width <= (~uintptr_t{0} - Address(row)) / 4;
        if (chunked ? RowHit(row, width, bits) : RowHitWordByWord(row, width, mask)) return true;
    }
    return false;
}

}  // namespace Sse2Memory
