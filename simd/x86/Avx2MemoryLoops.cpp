// Quorvan_SSE's memory loops on processors with AVX2: 32-byte steps in YMM
// registers. The compiler ends each function with vzeroupper.

#include <immintrin.h>

#include "WideMemoryLoops.h"

namespace {
using namespace WideMemory;

__m256i Misses(__m256i flags, uint32_t mask) {
    return _mm256_cmpeq_epi32(_mm256_and_si256(flags, _mm256_set1_epi32(static_cast<int>(mask))),
                              _mm256_setzero_si256());
}

struct Avx2Unit {
    static constexpr uintptr_t kBytes = 32;
    using CopyUnit = Move32Bytes;

    // A signed pack keeps a masked word non-zero, so the words are packed
    // before the compare; the pack works within 128-bit halves, and one
    // permute puts the texels in order.
    static constexpr uintptr_t kFog16Texels = 16;
    static void Fog16(uint16_t* texels, const uint32_t* flags, uint32_t fullMask, uint32_t halfMask) {
        const __m256i first = Load32(flags), second = Load32(flags + 8), zero = _mm256_setzero_si256();
        const auto misses = [&](uint32_t mask) {
            const __m256i bits = _mm256_set1_epi32(static_cast<int>(mask));
            return _mm256_cmpeq_epi16(
                _mm256_packs_epi32(_mm256_and_si256(first, bits), _mm256_and_si256(second, bits)), zero);
        };
        const __m256i alpha = _mm256_or_si256(_mm256_andnot_si256(misses(fullMask), _mm256_set1_epi16(-0x1000)),
                                              _mm256_andnot_si256(misses(halfMask), _mm256_set1_epi16(0x7000)));
        const __m256i ordered = _mm256_permute4x64_epi64(alpha, _MM_SHUFFLE(3, 1, 2, 0));
        Store32(texels, _mm256_or_si256(_mm256_and_si256(Load32(texels), _mm256_set1_epi16(0x0FFF)),
                                        _mm256_or_si256(ordered, _mm256_set1_epi16(0x3000))));
    }

    static constexpr uintptr_t kFog32Texels = 8;
    static void Fog32(uint32_t* texels, const uint32_t* flags, uint32_t fullMask, uint32_t halfMask) {
        const __m256i bits = Load32(flags);
        const __m256i alpha = _mm256_or_si256(_mm256_andnot_si256(Misses(bits, fullMask), _mm256_set1_epi32(-0x1000000)),
                                              _mm256_andnot_si256(Misses(bits, halfMask), _mm256_set1_epi32(0x70000000)));
        const __m256i colour = _mm256_and_si256(Load32(texels), _mm256_set1_epi32(0x00FFFFFF));
        Store32(texels, _mm256_or_si256(_mm256_or_si256(colour, _mm256_set1_epi32(0x30000000)), alpha));
    }

    static void And(uint32_t* words, uint32_t mask) {
        Store32(words, _mm256_and_si256(Load32(words), _mm256_set1_epi32(static_cast<int>(mask))));
    }

    WHOLE_CHUNK_READS static bool ChunkHit(uintptr_t chunk, uintptr_t first, uintptr_t last, uint32_t mask) {
        const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
        const __m256i lanes =
            _mm256_and_si256(_mm256_cmpgt_epi32(lane, _mm256_set1_epi32(static_cast<int>(first) - 1)),
                             _mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int>(last < 8 ? last : 8)), lane));
        return !_mm256_testz_si256(_mm256_load_si256(reinterpret_cast<const __m256i*>(chunk)),
                                   _mm256_and_si256(lanes, _mm256_set1_epi32(static_cast<int>(mask))));
    }
};

}  // namespace

const MemoryLoops kAvx2MemoryLoops = Loops<Avx2Unit>();
