// Quorvan_SSE's memory loops on processors with AVX-512: 64-byte steps, the
// levels chosen with lane masks. Copies take 32-byte steps, as on AVX2: the
// wider registers moved memory no faster. The compiler ends each function
// with vzeroupper.

#include <immintrin.h>

#include "WideMemoryLoops.h"

namespace {
using namespace WideMemory;

__m512i Load64(const void* p) { return _mm512_loadu_si512(p); }
void Store64(void* p, __m512i v) { _mm512_storeu_si512(p, v); }
__mmask16 Hits(__m512i flags, uint32_t mask) {
    return _mm512_test_epi32_mask(flags, _mm512_set1_epi32(static_cast<int>(mask)));
}

struct Avx512Unit {
    static constexpr uintptr_t kBytes = 64;
    using CopyUnit = Move32Bytes;

    // A texel starts at the low level, the half mask raises it and the full
    // mask raises it further, which is the precedence full, half, low.
    static constexpr uintptr_t kFog16Texels = 16;
    static void Fog16(uint16_t* texels, const uint32_t* flags, uint32_t fullMask, uint32_t halfMask) {
        const __m512i bits = Load64(flags);
        __m256i alpha = _mm256_mask_blend_epi16(Hits(bits, halfMask), _mm256_set1_epi16(0x3000), _mm256_set1_epi16(0x7000));
        alpha = _mm256_mask_blend_epi16(Hits(bits, fullMask), alpha, _mm256_set1_epi16(-0x1000));
        Store32(texels, _mm256_or_si256(_mm256_and_si256(Load32(texels), _mm256_set1_epi16(0x0FFF)), alpha));
    }

    static constexpr uintptr_t kFog32Texels = 16;
    static void Fog32(uint32_t* texels, const uint32_t* flags, uint32_t fullMask, uint32_t halfMask) {
        const __m512i bits = Load64(flags);
        __m512i alpha =
            _mm512_mask_blend_epi32(Hits(bits, halfMask), _mm512_set1_epi32(0x30000000), _mm512_set1_epi32(0x70000000));
        alpha = _mm512_mask_blend_epi32(Hits(bits, fullMask), alpha, _mm512_set1_epi32(-0x1000000));
        Store64(texels, _mm512_or_si512(_mm512_and_si512(Load64(texels), _mm512_set1_epi32(0x00FFFFFF)), alpha));
    }

    static void And(uint32_t* words, uint32_t mask) {
        Store64(words, _mm512_and_si512(Load64(words), _mm512_set1_epi32(static_cast<int>(mask))));
    }

    WHOLE_CHUNK_READS static bool ChunkHit(uintptr_t chunk, uintptr_t first, uintptr_t last, uint32_t mask) {
        const uint32_t below = last < 16 ? (1u << last) - 1 : 0xFFFF;
        const auto lanes = static_cast<__mmask16>(below & ~((1u << first) - 1));
        return _mm512_mask_test_epi32_mask(lanes, _mm512_load_si512(reinterpret_cast<const void*>(chunk)),
                                           _mm512_set1_epi32(static_cast<int>(mask))) != 0;
    }
};

}  // namespace

const MemoryLoops kAvx512MemoryLoops = Loops<Avx512Unit>();
