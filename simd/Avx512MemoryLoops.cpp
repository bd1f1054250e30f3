// Quorvan_SSE's memory loops on processors with AVX-512: 64-byte steps, the
// levels chosen with lane masks, then the SSE form's own steps for what is
// left, so that every count leaves the bytes of the SSE form, including a
// count the report rejects. The copy stays with the AVX2 loop, which moves
// memory as fast. No MMX; the compiler ends each function with vzeroupper.

#include <immintrin.h>

#include <cstdint>

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

__m512i Load64(const void* p) { return _mm512_loadu_si512(p); }
void Store64(void* p, __m512i v) { _mm512_storeu_si512(p, v); }
__m256i Load32(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
void Store32(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
__m128i Load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
__m128i Load8(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }
void Store8(void* p, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(p), v); }

// The full and half masks in every 32-bit lane. A texel starts at the low
// level, the half mask raises it and the full mask raises it further, which
// is the precedence full, half, low.
struct FlagTests {
    __m512i fullMask, halfMask;
    __m128i fullMask128, halfMask128;
    FlagTests(uint32_t full, uint32_t half)
        : fullMask(_mm512_set1_epi32(static_cast<int>(full))),
          halfMask(_mm512_set1_epi32(static_cast<int>(half))),
          fullMask128(_mm_set1_epi32(static_cast<int>(full))),
          halfMask128(_mm_set1_epi32(static_cast<int>(half))) {}
};

// Sixteen 16-bit texels from sixteen flag words.
__m256i Fog16(const FlagTests& tests, __m256i texels, __m512i flags) {
    const __mmask16 full = _mm512_test_epi32_mask(flags, tests.fullMask);
    const __mmask16 half = _mm512_test_epi32_mask(flags, tests.halfMask);
    __m256i alpha = _mm256_mask_blend_epi16(half, _mm256_set1_epi16(0x3000), _mm256_set1_epi16(0x7000));
    alpha = _mm256_mask_blend_epi16(full, alpha, _mm256_set1_epi16(-0x1000));
    return _mm256_or_si256(_mm256_and_si256(texels, _mm256_set1_epi16(0x0FFF)), alpha);
}

// The SSE form's step: four 16-bit texels, in the low half.
__m128i Fog16Step(const FlagTests& tests, __m128i texels, __m128i flags) {
    const __mmask8 full = _mm_test_epi32_mask(flags, tests.fullMask128);
    const __mmask8 half = _mm_test_epi32_mask(flags, tests.halfMask128);
    __m128i alpha = _mm_mask_blend_epi16(half, _mm_set1_epi16(0x3000), _mm_set1_epi16(0x7000));
    alpha = _mm_mask_blend_epi16(full, alpha, _mm_set1_epi16(-0x1000));
    return _mm_or_si128(_mm_and_si128(texels, _mm_set1_epi16(0x0FFF)), alpha);
}

// Sixteen 32-bit texels with their alpha byte set: 0xFF, 0x70 or 0x30.
__m512i Fog32(const FlagTests& tests, __m512i texels, __m512i flags) {
    const __mmask16 full = _mm512_test_epi32_mask(flags, tests.fullMask);
    const __mmask16 half = _mm512_test_epi32_mask(flags, tests.halfMask);
    __m512i alpha = _mm512_mask_blend_epi32(half, _mm512_set1_epi32(0x30000000), _mm512_set1_epi32(0x70000000));
    alpha = _mm512_mask_blend_epi32(full, alpha, _mm512_set1_epi32(-0x1000000));
    return _mm512_or_si512(_mm512_and_si512(texels, _mm512_set1_epi32(0x00FFFFFF)), alpha);
}

// The SSE form's step: two 32-bit texels, in the low half.
__m128i Fog32Step(const FlagTests& tests, __m128i texels, __m128i flags) {
    const __mmask8 full = _mm_test_epi32_mask(flags, tests.fullMask128);
    const __mmask8 half = _mm_test_epi32_mask(flags, tests.halfMask128);
    __m128i alpha = _mm_mask_blend_epi32(half, _mm_set1_epi32(0x30000000), _mm_set1_epi32(0x70000000));
    alpha = _mm_mask_blend_epi32(full, alpha, _mm_set1_epi32(-0x1000000));
    return _mm_or_si128(_mm_and_si128(texels, _mm_set1_epi32(0x00FFFFFF)), alpha);
}

// The rectangle test. Rows are read in aligned 64-byte chunks, each one only
// after the chunks before it showed no hit, and every chunk holds a word of
// the row: the word-by-word scan reads that word, and the chunk lies in its
// page. Words of a chunk outside the row are left out of the test.

// Lanes [first, last) of sixteen.
__mmask16 Lanes(uintptr_t first, uintptr_t last) {
    const uint32_t below = last < 16 ? (1u << last) - 1 : 0xFFFF;
    return static_cast<__mmask16>(below & ~((1u << first) - 1));
}

WHOLE_CHUNK_READS bool ChunkHit(uintptr_t chunk, __mmask16 lanes, __m512i mask) {
    return _mm512_mask_test_epi32_mask(lanes, _mm512_load_si512(reinterpret_cast<const void*>(chunk)), mask) != 0;
}

WHOLE_CHUNK_READS bool RowHit(const uint32_t* row, uint32_t width, __m512i mask) {
    const uintptr_t start = Address(row);
    uintptr_t chunk = start & ~uintptr_t{63};
    uintptr_t left = start - chunk + uintptr_t{width} * 4;  // bytes from the chunk to the row's end
    if (ChunkHit(chunk, Lanes((start - chunk) / 4, left / 4), mask)) return true;
    if (left <= 64) return false;
    for (chunk += 64, left -= 64; left >= 64; chunk += 64, left -= 64)
        if (ChunkHit(chunk, 0xFFFF, mask)) return true;
    return left != 0 && ChunkHit(chunk, Lanes(0, left / 4), mask);
}

bool RowHitWordByWord(const uint32_t* row, uint32_t width, uint32_t mask) {
    for (uint32_t k = 0; k < width; ++k)
        if (row[k] & mask) return true;
    return false;
}

}  // namespace

namespace Avx512Memory {

// Sixteen texels per step, then the SSE form's steps of four.
void FowAlpha16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                uint16_t* texels) {
    const FlagTests tests(fullMask, halfMask);
    const uintptr_t end = EndOf(visibility, count);
    for (; Address(visibility) < end && end - Address(visibility) >= 64; visibility += 16, texels += 16)
        Store32(texels, Fog16(tests, Load32(texels), Load64(visibility)));
    for (; Address(visibility) < end; visibility += 4, texels += 4)
        Store8(texels, Fog16Step(tests, Load8(texels), Load16(visibility)));
}

// Sixteen texels per step, then the SSE form's steps of two.
void FowAlpha32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                uint32_t* texels) {
    const FlagTests tests(fullMask, halfMask);
    const uintptr_t end = EndOf(visibility, count);
    for (; Address(visibility) < end && end - Address(visibility) >= 64; visibility += 16, texels += 16)
        Store64(texels, Fog32(tests, Load64(texels), Load64(visibility)));
    for (; Address(visibility) < end; visibility += 2, texels += 2)
        Store8(texels, Fog32Step(tests, Load8(texels), Load8(visibility)));
}

// An even count: sixteen words per step, then pairs. An odd count never
// meets the end in pairs, and walks on past the array in pairs as on SSE.
void AndMask(uint32_t* words, uint32_t count, uint32_t mask) {
    const __m512i keep = _mm512_set1_epi32(static_cast<int>(mask));
    const uintptr_t end = EndOf(words, count);
    if ((end - Address(words)) % 8 == 0)
        for (; end - Address(words) >= 64; words += 16) Store64(words, _mm512_and_si512(Load64(words), keep));
    for (; Address(words) != end; words += 2) {
        Store8(words, _mm_and_si128(Load8(words), _mm_set1_epi32(static_cast<int>(mask))));
        // Keeps the compiler from counting the steps in advance, which would
        // assume that the walk ends.
        asm("" : "+r"(words));
    }
}

bool AnyMaskBitInRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch, uint32_t mask) {
    if (width == 0 || mask == 0) return false;
    const __m512i bits = _mm512_set1_epi32(static_cast<int>(mask));
    for (const uint32_t* row = base; height != 0; --height, row += pitch) {
        // A row off a word boundary, or one that would run past the top of
        // the address space, goes word by word.
        const bool chunked = Address(row) % 4 == 0 && width <= (~uintptr_t{0} - Address(row)) / 4;
        if (chunked ? RowHit(row, width, bits) : RowHitWordByWord(row, width, mask)) return true;
    }
    return false;
}

}  // namespace Avx512Memory
