#pragma once

// Four 128-bit slots in a 512-bit register: what the AVX-512 skinning
// kernels run on, one vertex laid out in each slot exactly as in an SSE
// register.

#include <immintrin.h>

#include "../Cross/Quorvan/ForceInline.h"

namespace {

struct Avx512Width {
    using Vec = __m512;
    static constexpr unsigned kVertices = 4;

    // 16 bytes at at(k) into slot k.
    template <class Address>
    QUORVAN_INLINE static Vec LoadSlots(Address at) {
        const auto slot = [&](unsigned k) { return _mm_loadu_ps(reinterpret_cast<const float*>(at(k))); };
        Vec v = _mm512_castps128_ps512(slot(0));
        v = _mm512_insertf32x4(v, slot(1), 1);
        v = _mm512_insertf32x4(v, slot(2), 2);
        return _mm512_insertf32x4(v, slot(3), 3);
    }
    // Lane `Lane` of each slot across that slot.
    template <int Lane>
    QUORVAN_INLINE static Vec Splat(Vec v) {
        return _mm512_permute_ps(v, Lane * 0x55);
    }
    QUORVAN_INLINE static Vec Mul(Vec a, Vec b) { return _mm512_mul_ps(a, b); }
    QUORVAN_INLINE static Vec Add(Vec a, Vec b) { return _mm512_add_ps(a, b); }
    QUORVAN_INLINE static Vec Zero() { return _mm512_setzero_ps(); }
    QUORVAN_INLINE static __m128 Slot(Vec v, unsigned k) {
        switch (k) {
        case 0: return _mm512_castps512_ps128(v);
        case 1: return _mm512_extractf32x4_ps(v, 1);
        case 2: return _mm512_extractf32x4_ps(v, 2);
        default: return _mm512_extractf32x4_ps(v, 3);
        }
    }
};

}  // namespace
