// Quorvan_SSE's memory loops on processors with SSE2: 16-byte steps in XMM
// registers.

#include "WideMemoryLoops.h"

namespace {
using namespace WideMemory;

struct Sse2Unit {
    static constexpr uintptr_t kBytes = 16;
    using CopyUnit = Move16Bytes;

    static constexpr uintptr_t kFog16Texels = 8;
    static void Fog16(uint16_t* texels, const uint32_t* flags, uint32_t fullMask, uint32_t halfMask) {
        Store16(texels, Fog16x8(Load16(texels), Load16(flags), Load16(flags + 4), fullMask, halfMask));
    }
    static constexpr uintptr_t kFog32Texels = 4;
    static void Fog32(uint32_t* texels, const uint32_t* flags, uint32_t fullMask, uint32_t halfMask) {
        Store16(texels, Fog32x4(Load16(texels), Load16(flags), fullMask, halfMask));
    }

    static void And(uint32_t* words, uint32_t mask) {
        Store16(words, _mm_and_si128(Load16(words), _mm_set1_epi32(static_cast<int>(mask))));
    }

    WHOLE_CHUNK_READS static bool ChunkHit(uintptr_t chunk, uintptr_t first, uintptr_t last, uint32_t mask) {
        const __m128i lane = _mm_setr_epi32(0, 1, 2, 3);
        const __m128i lanes = _mm_and_si128(_mm_cmpgt_epi32(lane, _mm_set1_epi32(static_cast<int>(first) - 1)),
                                            _mm_cmpgt_epi32(_mm_set1_epi32(static_cast<int>(last < 4 ? last : 4)), lane));
        const __m128i bits = _mm_and_si128(_mm_load_si128(reinterpret_cast<const __m128i*>(chunk)),
                                           _mm_and_si128(lanes, _mm_set1_epi32(static_cast<int>(mask))));
        return _mm_movemask_epi8(_mm_cmpeq_epi32(bits, _mm_setzero_si128())) != 0xFFFF;
    }
};

}  // namespace

const MemoryLoops kSse2MemoryLoops = Loops<Sse2Unit>();
