// The skinning loop of an engine team with SIMD programmers: SSE2 intrinsics,
// four vertices at a time. Each vertex blends its bone matrices by weight
// (three registers of four floats), the four blended matrices are transposed
// so that each register holds one matrix element of all four vertices, and
// the positions and directions, transposed alike, are transformed and
// transposed back. The same inputs, outputs and weights as
// EngineSkinVertices, which also takes the last count % 4 vertices.

#include <emmintrin.h>

#include <cstring>

#include "EngineSkinning.h"

namespace {

// One coordinate of four vertices per register.
struct Four {
    __m128 x, y, z;
};

inline __m128 Load(const uint8_t* at) { return _mm_loadu_ps(reinterpret_cast<const float*>(at)); }

// The 12-byte vectors at `at` in four vertices `stride` apart. Each load
// takes 16 bytes; the four behind a vector belong to the vertex or the next.
inline Four LoadFour(const uint8_t* at, uint32_t stride) {
    __m128 a = Load(at), b = Load(at + stride), c = Load(at + 2 * stride), d = Load(at + 3 * stride);
    _MM_TRANSPOSE4_PS(a, b, c, d);
    return {a, b, c};
}

inline void Store12(uint8_t* at, __m128 v) {
    _mm_storel_pi(reinterpret_cast<__m64*>(at), v);
    _mm_store_ss(reinterpret_cast<float*>(at + 8), _mm_movehl_ps(v, v));
}

inline void StoreFour(uint8_t* at, uint32_t stride, Four v) {
    __m128 a = v.x, b = v.y, c = v.z, d = _mm_setzero_ps();
    _MM_TRANSPOSE4_PS(a, b, c, d);
    Store12(at, a);
    Store12(at + stride, b);
    Store12(at + 2 * stride, c);
    Store12(at + 3 * stride, d);
}

// Four blended matrices, element k of vertex j in lane j of m[k].
struct FourMatrices {
    __m128 m[12];

    FourMatrices(const uint8_t* src, uint32_t stride, const float* bones) {
        __m128 rows[3][4];
        for (int j = 0; j < 4; ++j) Blend(src + j * stride, bones, rows[0][j], rows[1][j], rows[2][j]);
        for (int r = 0; r < 3; ++r) {
            _MM_TRANSPOSE4_PS(rows[r][0], rows[r][1], rows[r][2], rows[r][3]);
            for (int k = 0; k < 4; ++k) m[4 * r + k] = rows[r][k];
        }
    }

    Four Point(const Four& p) const {
        return {_mm_add_ps(Dot(p, 0), m[9]), _mm_add_ps(Dot(p, 1), m[10]), _mm_add_ps(Dot(p, 2), m[11])};
    }
    Four Direction(const Four& d) const { return {Dot(d, 0), Dot(d, 1), Dot(d, 2)}; }

private:
    __m128 Dot(const Four& v, int c) const {
        return _mm_add_ps(_mm_add_ps(_mm_mul_ps(v.x, m[c]), _mm_mul_ps(v.y, m[3 + c])), _mm_mul_ps(v.z, m[6 + c]));
    }

    static void Blend(const uint8_t* s, const float* bones, __m128& r0, __m128& r1, __m128& r2) {
        static const int kWeightByte[4] = {2, 1, 0, 3};
        r0 = r1 = r2 = _mm_setzero_ps();
        for (int i = 0; i < 4; ++i) {
            const float* bone = bones + 12 * s[12 + i];
            const __m128 w = _mm_set1_ps(s[16 + kWeightByte[i]] * (1.0f / 255));
            r0 = _mm_add_ps(r0, _mm_mul_ps(_mm_loadu_ps(bone), w));
            r1 = _mm_add_ps(r1, _mm_mul_ps(_mm_loadu_ps(bone + 4), w));
            r2 = _mm_add_ps(r2, _mm_mul_ps(_mm_loadu_ps(bone + 8), w));
            if (i == 3 || s[17 + i] == 0) break;
        }
    }
};

// Packed directions of four vertices: excess-128 bytes, x in byte 2, z in 0.
inline Four UnpackFour(const uint8_t* at, uint32_t stride) {
    uint32_t words[4];
    for (int j = 0; j < 4; ++j) std::memcpy(&words[j], at + j * stride, 4);
    const __m128i packed = _mm_loadu_si128(reinterpret_cast<const __m128i*>(words));
    const __m128i byte = _mm_set1_epi32(0xFF), excess = _mm_set1_epi32(128);
    const __m128 scale = _mm_set1_ps(1.0f / 127);
    const auto component = [&](int shift) {
        const __m128i c = _mm_sub_epi32(_mm_and_si128(_mm_srli_epi32(packed, shift), byte), excess);
        return _mm_mul_ps(_mm_cvtepi32_ps(c), scale);
    };
    return {component(16), component(8), component(0)};
}

inline void PackFour(uint8_t* at, uint32_t stride, const Four& d) {
    const __m128 one = _mm_set1_ps(1), minusOne = _mm_set1_ps(-1);
    const __m128 scale = _mm_set1_ps(127), offset = _mm_set1_ps(128.5f);
    const auto component = [&](__m128 c) {
        const __m128 clamped = _mm_min_ps(_mm_max_ps(c, minusOne), one);
        return _mm_cvttps_epi32(_mm_add_ps(_mm_mul_ps(clamped, scale), offset));
    };
    const __m128i words = _mm_or_si128(_mm_or_si128(component(d.z), _mm_slli_epi32(component(d.y), 8)),
                                       _mm_slli_epi32(component(d.x), 16));
    uint32_t out[4];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), words);
    for (int j = 0; j < 4; ++j) std::memcpy(at + j * stride, &out[j], 4);
}

template <EngineDirections Directions>
void Skin(const uint8_t* src, uint32_t srcStride, uint8_t* dst, uint32_t dstStride, uint32_t count,
          const float* bones) {
    for (uint32_t v = 0; v + 4 <= count; v += 4, src += 4 * srcStride, dst += 4 * dstStride) {
        const FourMatrices blended(src, srcStride, bones);
        StoreFour(dst, dstStride, blended.Point(LoadFour(src, srcStride)));
        if (Directions == EngineDirections::Float) {
            for (int k = 0; k < 3; ++k)
                StoreFour(dst + 12 + 12 * k, dstStride, blended.Direction(LoadFour(src + 20 + 12 * k, srcStride)));
        } else if (Directions == EngineDirections::Packed) {
            for (int k = 0; k < 3; ++k)
                PackFour(dst + 12 + 4 * k, dstStride, blended.Direction(UnpackFour(src + 20 + 4 * k, srcStride)));
        }
    }
    EngineSkinVertices(src, srcStride, dst, dstStride, count % 4, bones, Directions);
}

}  // namespace

void EngineSkinVerticesSse2(const uint8_t* src, uint32_t srcStride, uint8_t* dst, uint32_t dstStride,
                            uint32_t count, const float* bones, EngineDirections directions) {
    switch (directions) {
    case EngineDirections::None: return Skin<EngineDirections::None>(src, srcStride, dst, dstStride, count, bones);
    case EngineDirections::Float: return Skin<EngineDirections::Float>(src, srcStride, dst, dstStride, count, bones);
    case EngineDirections::Packed:
        return Skin<EngineDirections::Packed>(src, srcStride, dst, dstStride, count, bones);
    }
}
