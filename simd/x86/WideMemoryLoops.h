#pragma once

// Quorvan_SSE's memory loops for SSE2 and wider units, written once: every
// loop takes the unit's wide steps while a whole one fits before the end,
// then the SSE form's own steps (built here from SSE2 instructions, which
// leave the same bytes), so that every count leaves the bytes of the SSE
// form, including a count the report rejects. No MMX, so no emms is needed.
//
// A unit is described by a policy:
//   static constexpr uintptr_t kBytes;          // bytes per step
//   using CopyUnit;                             // the moves CopyBlocks uses
//   static constexpr uintptr_t kFog16Texels, kFog32Texels;  // texels per step
//   static void Fog16(uint16_t* texels, const uint32_t* flags, uint32_t fullMask, uint32_t halfMask);
//   static void Fog32(uint32_t* texels, const uint32_t* flags, uint32_t fullMask, uint32_t halfMask);
//   static void And(uint32_t* words, uint32_t mask);          // kBytes of words
//   static bool ChunkHit(uintptr_t chunk, uintptr_t first, uintptr_t last, uint32_t mask);
//       // whether 32-bit lanes [first, min(last, kBytes / 4)) of the aligned
//       // chunk have a bit of the mask
// Levels: a 32-bit texel's alpha byte becomes 0xFF where its flag word has
// a bit of the full mask, else 0x70 where it has one of the half mask, else
// 0x30; a 16-bit texel's alpha nibble 0xF, 0x7 or 0x3.

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
namespace WideMemory {

inline uintptr_t Address(const void* p) { return reinterpret_cast<uintptr_t>(p); }
// The address of word `count`, wrapping like the SSE form's.
inline uintptr_t EndOf(const uint32_t* words, uint32_t count) { return Address(words) + uintptr_t{count} * 4; }

inline __m128i Load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void Store16(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
inline __m128i Load8(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }
inline void Store8(void* p, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(p), v); }

// Moves of one width, each wider one with the next narrower one as Half.
struct Move8Bytes {
    static constexpr uintptr_t kBytes = 8;
    static void Move(uint8_t* dst, const uint8_t* src) { Store8(dst, Load8(src)); }
};

struct Move16Bytes {
    static constexpr uintptr_t kBytes = 16;
    using Half = Move8Bytes;
    static void Move(uint8_t* dst, const uint8_t* src) { Store16(dst, Load16(src)); }
    // Four steps, the loads first; dst is aligned.
    static void MoveFour(uint8_t* dst, const uint8_t* src) {
        const __m128i a = Load16(src), b = Load16(src + 16), c = Load16(src + 32), d = Load16(src + 48);
        _mm_store_si128(reinterpret_cast<__m128i*>(dst), a);
        _mm_store_si128(reinterpret_cast<__m128i*>(dst + 16), b);
        _mm_store_si128(reinterpret_cast<__m128i*>(dst + 32), c);
        _mm_store_si128(reinterpret_cast<__m128i*>(dst + 48), d);
    }
};

#if defined(__AVX__)
inline __m256i Load32(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline void Store32(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

struct Move32Bytes {
    static constexpr uintptr_t kBytes = 32;
    using Half = Move16Bytes;
    static void Move(uint8_t* dst, const uint8_t* src) { Store32(dst, Load32(src)); }
    static void MoveFour(uint8_t* dst, const uint8_t* src) {
        const __m256i a = Load32(src), b = Load32(src + 32), c = Load32(src + 64), d = Load32(src + 96);
        _mm256_store_si256(reinterpret_cast<__m256i*>(dst), a);
        _mm256_store_si256(reinterpret_cast<__m256i*>(dst + 32), b);
        _mm256_store_si256(reinterpret_cast<__m256i*>(dst + 64), c);
        _mm256_store_si256(reinterpret_cast<__m256i*>(dst + 96), d);
    }
};
#endif

// Up to 2 * Unit::kBytes bytes, a multiple of four: two moves that overlap
// in the middle, or narrower ones.
template <class Unit>
void CopyShort(uint8_t* dst, const uint8_t* src, uintptr_t n) {
    if (n >= Unit::kBytes) {
        Unit::Move(dst, src);
        Unit::Move(dst + n - Unit::kBytes, src + n - Unit::kBytes);
    } else if constexpr (Unit::kBytes > 8) {
        CopyShort<typename Unit::Half>(dst, src, n);
    } else if (n == 4) {
        std::memcpy(dst, src, 4);
    }
}

// The bytes up to the last whole word, which is what the SSE form's 32-byte
// blocks and whole words come to. Overlapping moves fill the ends; the
// stores between them are aligned.
template <class Unit>
void CopyBlocks(uint8_t* dst, const uint8_t* src, uint32_t bytes) {
    constexpr uintptr_t kStep = Unit::kBytes;
    uintptr_t n = bytes & ~3u;
    if (n <= 2 * kStep) return CopyShort<Unit>(dst, src, n);
    Unit::Move(dst, src);
    const uintptr_t head = kStep - (Address(dst) & (kStep - 1));
    dst += head, src += head, n -= head;
    for (; n > 4 * kStep; dst += 4 * kStep, src += 4 * kStep, n -= 4 * kStep) Unit::MoveFour(dst, src);
    for (; n > kStep; dst += kStep, src += kStep, n -= kStep) Unit::Move(dst, src);
    Unit::Move(dst + n - kStep, src + n - kStep);
}

// Masks in every lane, and whether a flag word has a bit of them.
inline __m128i Misses32(__m128i flags, uint32_t mask) {
    return _mm_cmpeq_epi32(_mm_and_si128(flags, _mm_set1_epi32(static_cast<int>(mask))), _mm_setzero_si128());
}
// The same for eight words in 16-bit lanes. A signed pack keeps a lane
// non-zero, so the masked words are packed before the compare.
inline __m128i Misses16(__m128i first, __m128i second, uint32_t mask) {
    const __m128i bits = _mm_set1_epi32(static_cast<int>(mask));
    const __m128i packed = _mm_packs_epi32(_mm_and_si128(first, bits), _mm_and_si128(second, bits));
    return _mm_cmpeq_epi16(packed, _mm_setzero_si128());
}

// Eight 16-bit texels from the flag words in `first` and `second`. The full
// level covers the half and low ones, so ORing every term gives the
// precedence full, half, low without a branch.
inline __m128i Fog16x8(__m128i texels, __m128i first, __m128i second, uint32_t fullMask, uint32_t halfMask) {
    const __m128i full = _mm_andnot_si128(Misses16(first, second, fullMask), _mm_set1_epi16(-0x1000));
    const __m128i half = _mm_andnot_si128(Misses16(first, second, halfMask), _mm_set1_epi16(0x7000));
    const __m128i alpha = _mm_or_si128(_mm_or_si128(full, half), _mm_set1_epi16(0x3000));
    return _mm_or_si128(_mm_and_si128(texels, _mm_set1_epi16(0x0FFF)), alpha);
}

// Four 32-bit texels.
inline __m128i Fog32x4(__m128i texels, __m128i flags, uint32_t fullMask, uint32_t halfMask) {
    const __m128i full = _mm_andnot_si128(Misses32(flags, fullMask), _mm_set1_epi32(-0x1000000));
    const __m128i half = _mm_andnot_si128(Misses32(flags, halfMask), _mm_set1_epi32(0x70000000));
    const __m128i colour = _mm_and_si128(texels, _mm_set1_epi32(0x00FFFFFF));
    return _mm_or_si128(_mm_or_si128(colour, _mm_set1_epi32(0x30000000)), _mm_or_si128(full, half));
}

// The SSE form's steps: four 16-bit texels, two 32-bit ones.
inline void Fog16Step(uint16_t* texels, const uint32_t* flags, uint32_t fullMask, uint32_t halfMask) {
    Store8(texels, Fog16x8(Load8(texels), Load16(flags), _mm_setzero_si128(), fullMask, halfMask));
}
inline void Fog32Step(uint32_t* texels, const uint32_t* flags, uint32_t fullMask, uint32_t halfMask) {
    Store8(texels, Fog32x4(Load8(texels), Load8(flags), fullMask, halfMask));
}

// Wide steps while four of them still fit before the end, then the SSE
// form's steps, which finish the buffer exactly as that form does.
template <uintptr_t kWide, uintptr_t kNarrow, class Texel, class WideStep, class NarrowStep>
void FogWalk(const uint32_t* visibility, uint32_t count, Texel* texels, WideStep wide, NarrowStep narrow) {
    const uintptr_t end = EndOf(visibility, count);
    for (; Address(visibility) < end && end - Address(visibility) >= 4 * kWide; visibility += kWide, texels += kWide)
        wide(texels, visibility);
    for (; Address(visibility) < end; visibility += kNarrow, texels += kNarrow) narrow(texels, visibility);
}

template <class Unit>
void FowAlpha16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                uint16_t* texels) {
    FogWalk<Unit::kFog16Texels, 4>(
        visibility, count, texels,
        [&](uint16_t* t, const uint32_t* v) { Unit::Fog16(t, v, fullMask, halfMask); },
        [&](uint16_t* t, const uint32_t* v) { Fog16Step(t, v, fullMask, halfMask); });
}

template <class Unit>
void FowAlpha32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                uint32_t* texels) {
    FogWalk<Unit::kFog32Texels, 2>(
        visibility, count, texels,
        [&](uint32_t* t, const uint32_t* v) { Unit::Fog32(t, v, fullMask, halfMask); },
        [&](uint32_t* t, const uint32_t* v) { Fog32Step(t, v, fullMask, halfMask); });
}

// An even count: whole steps, then pairs. An odd count never meets the end
// in pairs, and walks on past the array in pairs as on SSE.
template <class Unit>
void AndMask(uint32_t* words, uint32_t count, uint32_t mask) {
    const uintptr_t end = EndOf(words, count);
    if ((end - Address(words)) % 8 == 0)
        for (; end - Address(words) >= Unit::kBytes; words += Unit::kBytes / 4) Unit::And(words, mask);
    for (; Address(words) != end; words += 2) {
        Store8(words, _mm_and_si128(Load8(words), _mm_set1_epi32(static_cast<int>(mask))));
        // Keeps the compiler from counting the steps in advance, which would
        // assume that the walk ends.
        asm("" : "+r"(words));
    }
}

// A row is read in aligned chunks, each one only after the chunks before it
// showed no hit, and every chunk holds a word of the row: the word-by-word
// scan reads that word, and the chunk lies in its page. Words of a chunk
// outside the row are left out of the test.
template <class Unit>
WHOLE_CHUNK_READS bool RowHit(const uint32_t* row, uint32_t width, uint32_t mask) {
    constexpr uintptr_t kChunk = Unit::kBytes;
    const uintptr_t start = Address(row);
    uintptr_t chunk = start & ~(kChunk - 1);
    uintptr_t left = start - chunk + uintptr_t{width} * 4;  // bytes from the chunk to the row's end
    if (Unit::ChunkHit(chunk, (start - chunk) / 4, left / 4, mask)) return true;
    if (left <= kChunk) return false;
    for (chunk += kChunk, left -= kChunk; left >= kChunk; chunk += kChunk, left -= kChunk)
        if (Unit::ChunkHit(chunk, 0, kChunk / 4, mask)) return true;
    return left != 0 && Unit::ChunkHit(chunk, 0, left / 4, mask);
}

inline bool RowHitWordByWord(const uint32_t* row, uint32_t width, uint32_t mask) {
    for (uint32_t k = 0; k < width; ++k)
        if (row[k] & mask) return true;
    return false;
}

template <class Unit>
bool AnyMaskBitInRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch, uint32_t mask) {
    if (width == 0 || mask == 0) return false;
    for (const uint32_t* row = base; height != 0; --height, row += pitch) {
        // A row off a word boundary, or one that would run past the top of
        // the address space, goes word by word.
        const bool chunked = Address(row) % 4 == 0 && width <= (~uintptr_t{0} - Address(row)) / 4;
        if (chunked ? RowHit<Unit>(row, width, mask) : RowHitWordByWord(row, width, mask)) return true;
    }
    return false;
}

template <class Unit>
constexpr MemoryLoops Loops() {
    return {CopyBlocks<typename Unit::CopyUnit>, FowAlpha16<Unit>, FowAlpha32<Unit>, AndMask<Unit>,
            AnyMaskBitInRect<Unit>};
}

}  // namespace WideMemory
}  // namespace
