// The vector implementation's memory loops: MMX moves, compares and logic,
// plus SSE's word shuffle, never SSE2. Each loop ends with emms, so the
// host's x87 code finds an empty register stack after any call.
//
// The loops run in whole steps and test the end only before a step; a count
// that is not a multiple of the step therefore reads and rewrites the words
// up to the end of the last step. Quorvan_SSE reports such counts first.

#include <mmintrin.h>
#include <xmmintrin.h>

#include <cstdint>
#include <cstring>

#include "../../Cross/Quorvan/FlagWords.h"
#include "MemoryLoops.h"

namespace {

// Eight bytes at any address.
__m64 Load8(const void* p) {
    __m64 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
void Store8(void* p, __m64 v) { std::memcpy(p, &v, sizeof v); }

// Moves eight bytes through an MMX register. A value that is only moved
// would otherwise go through whatever register the compiler likes best (an
// SSE one, on these builds).
void Move8(void* dst, const void* src) {
    __m64 v = Load8(src);
    asm("" : "+y"(v));
    Store8(dst, v);
}

__m64 Both(uint32_t word) { return _mm_set1_pi32(static_cast<int>(word)); }

// In each 32-bit lane of two flag words: `full` where the word has a bit of
// the full mask, ORed with `half` where it has a bit of the half mask. The
// full level covers the half and low ones, so ORing every term gives the
// precedence full, half, low without a branch.
struct AlphaTerms {
    __m64 fullMask, halfMask, full, half;

    AlphaTerms(uint32_t fullMaskWord, uint32_t halfMaskWord, uint32_t fullLevel, uint32_t halfLevel)
        : fullMask(Both(fullMaskWord)), halfMask(Both(halfMaskWord)), full(Both(fullLevel)), half(Both(halfLevel)) {}

    __m64 operator()(__m64 flags) const {
        const __m64 zero = _mm_setzero_si64();
        const __m64 fullTerm = _mm_andnot_si64(_mm_cmpeq_pi32(_mm_and_si64(flags, fullMask), zero), full);
        const __m64 halfTerm = _mm_andnot_si64(_mm_cmpeq_pi32(_mm_and_si64(flags, halfMask), zero), half);
        return _mm_or_si64(fullTerm, halfTerm);
    }
};


// 32-byte blocks as four 8-byte moves, each store right after its load, then
// whole 32-bit words. Plain stores: whatever the name promises, no streaming
// store, prefetch or fence is used. The bytes after the last whole word are
// left alone.
void CopyBlocks(uint8_t* dst, const uint8_t* src, uint32_t bytes) {
    const uint32_t blocks = bytes / 32;
    const uint32_t words = (bytes - 32 * blocks) / 4;
    for (uint32_t b = 0; b < blocks; ++b, dst += 32, src += 32) {
        Move8(dst, src);
        Move8(dst + 8, src + 8);
        Move8(dst + 16, src + 16);
        Move8(dst + 24, src + 24);
    }
    for (uint32_t w = 0; w < words; ++w, dst += 4, src += 4) {
        uint32_t word;
        std::memcpy(&word, src, 4);
        std::memcpy(dst, &word, 4);
    }
    _mm_empty();
}

// Four 16-bit texels per step, alpha in bits 12-15: 0xF, 0x7 or 0x3.
void FowAlpha16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                uint16_t* texels) {
    const AlphaTerms terms(fullMask, halfMask, 0xF000, 0x7000);
    const __m64 low = Both(0x30003000), keep = Both(0x0FFF0FFF);
    const uintptr_t end = AddressOfWord(visibility, count);
    for (; AddressOf(visibility) < end; visibility += 4, texels += 4) {
        // Each lane's term sits in the low word of its 32-bit lane; these
        // shuffles gather words 0, 1 into texel lanes 0, 1 and words 2, 3
        // into lanes 2, 3.
        const __m64 first = _mm_shuffle_pi16(terms(Load8(visibility)), _MM_SHUFFLE(3, 1, 2, 0));
        const __m64 second = _mm_shuffle_pi16(terms(Load8(visibility + 2)), _MM_SHUFFLE(2, 0, 3, 1));
        const __m64 alpha = _mm_or_si64(_mm_or_si64(first, second), low);
        Store8(texels, _mm_or_si64(_mm_and_si64(Load8(texels), keep), alpha));
    }
    _mm_empty();
}

// Two 32-bit texels per step, alpha in bits 24-31: 0xFF, 0x70 or 0x30.
void FowAlpha32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                uint32_t* texels) {
    const AlphaTerms terms(fullMask, halfMask, 0xFF000000, 0x70000000);
    const __m64 low = Both(0x30000000), keep = Both(0x00FFFFFF);
    const uintptr_t end = AddressOfWord(visibility, count);
    for (; AddressOf(visibility) < end; visibility += 2, texels += 2) {
        const __m64 colour = _mm_or_si64(_mm_and_si64(Load8(texels), keep), low);
        Store8(texels, _mm_or_si64(colour, terms(Load8(visibility))));
    }
    _mm_empty();
}

// Two words per step until the address of word `count` is met exactly: an
// odd count never meets it and the walk runs on past the array.
void AndMask(uint32_t* words, uint32_t count, uint32_t mask) {
    const __m64 both = Both(mask);
    for (const uintptr_t end = AddressOfWord(words, count); AddressOf(words) != end; words += 2)
        Store8(words, _mm_and_si64(Load8(words), both));
    _mm_empty();
}

}  // namespace

// The rectangle test reads word by word, as the scalar implementation does.
const MemoryLoops kSseMemoryLoops = {CopyBlocks, FowAlpha16, FowAlpha32, AndMask, AnyMaskBitInRect};
