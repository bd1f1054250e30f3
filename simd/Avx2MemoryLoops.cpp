// Quorvan_SSE's memory loops on processors with AVX2: 32-byte steps in YMM
// registers, then the SSE form's own steps for what is left, so that every
// count leaves the bytes of the SSE form, including a count the report
// rejects. No MMX; the compiler ends each function with vzeroupper.

#include <immintrin.h>

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

__m256i Load32(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
void Store32(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
__m128i Load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
void Store16(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
__m128i Load8(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }
void Store8(void* p, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(p), v); }

void Move32(uint8_t* dst, const uint8_t* src) { Store32(dst, Load32(src)); }
void Move16(uint8_t* dst, const uint8_t* src) { Store16(dst, Load16(src)); }
void Move8(uint8_t* dst, const uint8_t* src) { Store8(dst, Load8(src)); }

// The alpha levels by flag word, in 256-bit and 128-bit lanes. The full
// level covers the half and low ones, so ORing every term gives the
// precedence full, half, low.
struct FlagTests {
    __m256i fullMask, halfMask;
    FlagTests(uint32_t full, uint32_t half)
        : fullMask(_mm256_set1_epi32(static_cast<int>(full))), halfMask(_mm256_set1_epi32(static_cast<int>(half))) {}
    __m128i FullMask128() const { return _mm256_castsi256_si128(fullMask); }
    __m128i HalfMask128() const { return _mm256_castsi256_si128(halfMask); }
};

// Sixteen 16-bit texels from sixteen flag words. A signed pack keeps a
// masked word non-zero, so the words are packed before the compare; the pack
// works within 128-bit halves, and one permute puts the texels in order.
__m256i Fog16(const FlagTests& tests, __m256i texels, __m256i first, __m256i second) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i fullMiss = _mm256_cmpeq_epi16(
        _mm256_packs_epi32(_mm256_and_si256(first, tests.fullMask), _mm256_and_si256(second, tests.fullMask)), zero);
    const __m256i halfMiss = _mm256_cmpeq_epi16(
        _mm256_packs_epi32(_mm256_and_si256(first, tests.halfMask), _mm256_and_si256(second, tests.halfMask)), zero);
    const __m256i alpha = _mm256_or_si256(_mm256_andnot_si256(fullMiss, _mm256_set1_epi16(-0x1000)),
                                          _mm256_andnot_si256(halfMiss, _mm256_set1_epi16(0x7000)));
    const __m256i ordered = _mm256_permute4x64_epi64(alpha, _MM_SHUFFLE(3, 1, 2, 0));
    return _mm256_or_si256(_mm256_and_si256(texels, _mm256_set1_epi16(0x0FFF)),
                           _mm256_or_si256(ordered, _mm256_set1_epi16(0x3000)));
}

// The SSE form's step: four 16-bit texels, in the low half.
__m128i Fog16Step(const FlagTests& tests, __m128i texels, __m128i flags) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i fullMiss = _mm_cmpeq_epi16(_mm_packs_epi32(_mm_and_si128(flags, tests.FullMask128()), zero), zero);
    const __m128i halfMiss = _mm_cmpeq_epi16(_mm_packs_epi32(_mm_and_si128(flags, tests.HalfMask128()), zero), zero);
    const __m128i alpha = _mm_or_si128(_mm_andnot_si128(fullMiss, _mm_set1_epi16(-0x1000)),
                                       _mm_andnot_si128(halfMiss, _mm_set1_epi16(0x7000)));
    return _mm_or_si128(_mm_and_si128(texels, _mm_set1_epi16(0x0FFF)), _mm_or_si128(alpha, _mm_set1_epi16(0x3000)));
}

// Eight 32-bit texels with their alpha byte set: 0xFF, 0x70 or 0x30.
__m256i Fog32(const FlagTests& tests, __m256i texels, __m256i flags) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i fullMiss = _mm256_cmpeq_epi32(_mm256_and_si256(flags, tests.fullMask), zero);
    const __m256i halfMiss = _mm256_cmpeq_epi32(_mm256_and_si256(flags, tests.halfMask), zero);
    const __m256i alpha = _mm256_or_si256(_mm256_andnot_si256(fullMiss, _mm256_set1_epi32(-0x1000000)),
                                          _mm256_andnot_si256(halfMiss, _mm256_set1_epi32(0x70000000)));
    const __m256i colour = _mm256_and_si256(texels, _mm256_set1_epi32(0x00FFFFFF));
    return _mm256_or_si256(_mm256_or_si256(colour, _mm256_set1_epi32(0x30000000)), alpha);
}

// The SSE form's step: two 32-bit texels, in the low half.
__m128i Fog32Step(const FlagTests& tests, __m128i texels, __m128i flags) {
    return _mm256_castsi256_si128(
        Fog32(tests, _mm256_castsi128_si256(texels), _mm256_castsi128_si256(flags)));
}

// The rectangle test. Rows are read in aligned 32-byte chunks, each one only
// after the chunks before it showed no hit, and every chunk holds a word of
// the row: the word-by-word scan reads that word, and the chunk lies in its
// page. Words of a chunk outside the row are masked off.

// All ones in 32-bit lanes [first, last), lanes counted from 0 to 7.
__m256i Lanes(uintptr_t first, uintptr_t last) {
    const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    const __m256i from = _mm256_set1_epi32(static_cast<int>(first) - 1);
    const __m256i to = _mm256_set1_epi32(static_cast<int>(last < 8 ? last : 8));
    return _mm256_and_si256(_mm256_cmpgt_epi32(lane, from), _mm256_cmpgt_epi32(to, lane));
}

WHOLE_CHUNK_READS bool ChunkHit(uintptr_t chunk, __m256i mask) {
    return !_mm256_testz_si256(_mm256_load_si256(reinterpret_cast<const __m256i*>(chunk)), mask);
}

WHOLE_CHUNK_READS bool RowHit(const uint32_t* row, uint32_t width, __m256i mask) {
    const uintptr_t start = Address(row);
    uintptr_t chunk = start & ~uintptr_t{31};
    uintptr_t left = start - chunk + uintptr_t{width} * 4;  // bytes from the chunk to the row's end
    if (ChunkHit(chunk, _mm256_and_si256(mask, Lanes((start - chunk) / 4, left / 4)))) return true;
    if (left <= 32) return false;
    for (chunk += 32, left -= 32; left >= 32; chunk += 32, left -= 32)
        if (ChunkHit(chunk, mask)) return true;
    return left != 0 && ChunkHit(chunk, _mm256_and_si256(mask, Lanes(0, left / 4)));
}

bool RowHitWordByWord(const uint32_t* row, uint32_t width, uint32_t mask) {
    for (uint32_t k = 0; k < width; ++k)
        if (row[k] & mask) return true;
    return false;
}

}  // namespace

namespace Avx2Memory {

// The bytes up to the last whole word, which is what the SSE form's 32-byte
// blocks and whole words come to. Overlapping moves fill the ends; the
// stores between them are aligned.
void CopyBlocks(uint8_t* dst, const uint8_t* src, uint32_t bytes) {
    uintptr_t n = bytes & ~3u;
    if (n < 32) {
        if (n >= 16) {
            Move16(dst, src);
            Move16(dst + n - 16, src + n - 16);
        } else if (n >= 8) {
            Move8(dst, src);
            Move8(dst + n - 8, src + n - 8);
        } else if (n == 4) {
            std::memcpy(dst, src, 4);
        }
        return;
    }
    if (n <= 64) {
        Move32(dst, src);
        Move32(dst + n - 32, src + n - 32);
        return;
    }
    Move32(dst, src);
    const uintptr_t head = 32 - (Address(dst) & 31);
    dst += head, src += head, n -= head;
    for (; n > 128; dst += 128, src += 128, n -= 128) {
        const __m256i a = Load32(src), b = Load32(src + 32), c = Load32(src + 64), d = Load32(src + 96);
        _mm256_store_si256(reinterpret_cast<__m256i*>(dst), a);
        _mm256_store_si256(reinterpret_cast<__m256i*>(dst + 32), b);
        _mm256_store_si256(reinterpret_cast<__m256i*>(dst + 64), c);
        _mm256_store_si256(reinterpret_cast<__m256i*>(dst + 96), d);
    }
    for (; n > 32; dst += 32, src += 32, n -= 32) Move32(dst, src);
    Move32(dst + n - 32, src + n - 32);
}

// Sixteen texels per step, then the SSE form's steps of four.
void FowAlpha16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                uint16_t* texels) {
    const FlagTests tests(fullMask, halfMask);
    const uintptr_t end = EndOf(visibility, count);
    for (; Address(visibility) < end && end - Address(visibility) >= 64; visibility += 16, texels += 16)
        Store32(texels, Fog16(tests, Load32(texels), Load32(visibility), Load32(visibility + 8)));
    for (; Address(visibility) < end; visibility += 4, texels += 4)
        Store8(texels, Fog16Step(tests, Load8(texels), Load16(visibility)));
}

// Eight texels per step, then the SSE form's steps of two.
void FowAlpha32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                uint32_t* texels) {
    const FlagTests tests(fullMask, halfMask);
    const uintptr_t end = EndOf(visibility, count);
    for (; Address(visibility) < end && end - Address(visibility) >= 32; visibility += 8, texels += 8)
        Store32(texels, Fog32(tests, Load32(texels), Load32(visibility)));
    for (; Address(visibility) < end; visibility += 2, texels += 2)
        Store8(texels, Fog32Step(tests, Load8(texels), Load8(visibility)));
}

// An even count: eight words per step, then pairs. An odd count never meets
// the end in pairs, and walks on past the array in pairs as on SSE.
void AndMask(uint32_t* words, uint32_t count, uint32_t mask) {
    const __m256i keep = _mm256_set1_epi32(static_cast<int>(mask));
    const uintptr_t end = EndOf(words, count);
    if ((end - Address(words)) % 8 == 0)
        for (; end - Address(words) >= 32; words += 8) Store32(words, _mm256_and_si256(Load32(words), keep));
    for (; Address(words) != end; words += 2) {
        Store8(words, _mm_and_si128(Load8(words), _mm256_castsi256_si128(keep)));
        // Keeps the compiler from counting the steps in advance, which would
        // assume that the walk ends.
        asm("" : "+r"(words));
    }
}

bool AnyMaskBitInRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch, uint32_t mask) {
    if (width == 0 || mask == 0) return false;
    const __m256i bits = _mm256_set1_epi32(static_cast<int>(mask));
    for (const uint32_t* row = base; height != 0; --height, row += pitch) {
        // A row off a word boundary, or one that would run past the top of
        // the address space, goes word by word.
        const bool chunked = Address(row) % 4 == 0 && width <= (~uintptr_t{0} - Address(row)) / 4;
        if (chunked ? RowHit(row, width, bits) : RowHitWordByWord(row, width, mask)) return true;
    }
    return false;
}

}  // namespace Avx2Memory
