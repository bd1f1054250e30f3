// The skinning loops of an engine team with SIMD programmers: SSE2
// intrinsics, four vertices at a time. Each vertex's matrix (its bone
// matrices blended by weight, or its one bone's) is three registers of four
// floats; the four matrices are transposed so that each register holds one
// matrix element of all four vertices, and the positions and directions,
// transposed alike, are transformed and transposed back. The same inputs,
// outputs and weights as the plain loops, which also take the last
// count % 4 vertices.

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

// Four matrices, element k of vertex j in lane j of m[k].
struct FourMatrices {
    __m128 m[12];

    // Each vertex's bone matrices blended by its weights.
    FourMatrices(const uint8_t* src, uint32_t stride, const float* bones) {
        __m128 rows[3][4];
        for (int j = 0; j < 4; ++j) Blend(src + j * stride, bones, rows[0][j], rows[1][j], rows[2][j]);
        for (int r = 0; r < 3; ++r) {
            _MM_TRANSPOSE4_PS(rows[r][0], rows[r][1], rows[r][2], rows[r][3]);
            for (int k = 0; k < 4; ++k) m[4 * r + k] = rows[r][k];
        }
    }

    // The twelve floats at each bone[j], written out so that the matrices
    // stay in registers.
    explicit FourMatrices(const float* const (&bone)[4]) {
        TransposeRows(m, Row(bone[0]), Row(bone[1]), Row(bone[2]), Row(bone[3]));
        TransposeRows(m + 4, Row(bone[0] + 4), Row(bone[1] + 4), Row(bone[2] + 4), Row(bone[3] + 4));
        TransposeRows(m + 8, Row(bone[0] + 8), Row(bone[1] + 8), Row(bone[2] + 8), Row(bone[3] + 8));
    }

    Four Point(const Four& p) const {
        return {_mm_add_ps(Dot(p, 0), m[9]), _mm_add_ps(Dot(p, 1), m[10]), _mm_add_ps(Dot(p, 2), m[11])};
    }
    Four Direction(const Four& d) const { return {Dot(d, 0), Dot(d, 1), Dot(d, 2)}; }

private:
    static __m128 Row(const float* at) { return _mm_loadu_ps(at); }

    // Row r of the four vertices' matrices as elements 4r to 4r + 3.
    static void TransposeRows(__m128* elements, __m128 a, __m128 b, __m128 c, __m128 d) {
        _MM_TRANSPOSE4_PS(a, b, c, d);
        elements[0] = a;
        elements[1] = b;
        elements[2] = c;
        elements[3] = d;
    }

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

// The 32-bit words at `at` in four vertices `stride` apart, joined in
// registers: four 4-byte stores read back as one 16-byte load would wait
// until the stores leave the processor's store buffer.
inline __m128i LoadWords(const uint8_t* at, uint32_t stride) {
    const auto word = [&](int j) {
        int32_t w;
        std::memcpy(&w, at + j * stride, 4);
        return _mm_cvtsi32_si128(w);
    };
    return _mm_unpacklo_epi64(_mm_unpacklo_epi32(word(0), word(1)), _mm_unpacklo_epi32(word(2), word(3)));
}

inline void StoreWords(uint8_t* at, uint32_t stride, __m128i words) {
    uint32_t out[4];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), words);
    for (int j = 0; j < 4; ++j) std::memcpy(at + j * stride, &out[j], 4);
}

// Packed directions of four vertices: excess-128 bytes, x in byte 2, z in 0.
inline Four UnpackFour(const uint8_t* at, uint32_t stride) {
    const __m128i packed = LoadWords(at, stride);
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
    StoreWords(at, stride, words);
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

// The quantised rotations of four vertices' bones as pmaddwd takes them,
// one vertex a lane: for the result's component c, the 16-bit pairs
// (q[c], q[3 + c]) to meet (x, y) and (q[6 + c], 16255) to meet (z, 1).
struct FourRotations {
    __m128i xy[3], z1[3];

    FourRotations(const int8_t* const (&q)[4]) {
        // Elements 0 to 7 of the four rotations transposed, byte j of
        // word k element k of rotation j, then widened with their signs.
        const __m128i q01 = _mm_unpacklo_epi8(Low8(q[0]), Low8(q[1]));
        const __m128i q23 = _mm_unpacklo_epi8(Low8(q[2]), Low8(q[3]));
        const __m128i e0123 = _mm_unpacklo_epi16(q01, q23), e4567 = _mm_unpackhi_epi16(q01, q23);
        const __m128i e01 = Widen(e0123), e23 = Widen(_mm_srli_si128(e0123, 8));
        const __m128i e45 = Widen(e4567), e67 = Widen(_mm_srli_si128(e4567, 8));
        const __m128i e8 = _mm_setr_epi16(q[0][8], q[1][8], q[2][8], q[3][8], 0, 0, 0, 0);
        const __m128i offset = _mm_set1_epi16(16255);
        xy[0] = _mm_unpacklo_epi16(e01, _mm_srli_si128(e23, 8));
        xy[1] = _mm_unpacklo_epi16(_mm_srli_si128(e01, 8), e45);
        xy[2] = _mm_unpacklo_epi16(e23, _mm_srli_si128(e45, 8));
        z1[0] = _mm_unpacklo_epi16(e67, offset);
        z1[1] = _mm_unpacklo_epi16(_mm_srli_si128(e67, 8), offset);
        z1[2] = _mm_unpacklo_epi16(e8, offset);
    }

    // Four packed directions through the rotations, in the plain loop's
    // integers: every operand fits 16 bits, and pmaddwd sums in 32.
    __m128i Rotate(__m128i words) const {
        const __m128i byte = _mm_set1_epi32(0xFF);
        // x less 128 in each lane's low half, y less 128 in its high half;
        // z less 128 beside a 1.
        const __m128i x = _mm_and_si128(_mm_srli_epi32(words, 16), byte);
        const __m128i y = _mm_and_si128(words, _mm_set1_epi32(0xFF00));
        const __m128i xyIn = _mm_sub_epi16(_mm_or_si128(x, _mm_slli_epi32(y, 8)), _mm_set1_epi16(128));
        const __m128i z1In = _mm_sub_epi16(_mm_or_si128(_mm_and_si128(words, byte), _mm_set1_epi32(0x10000)),
                                           _mm_set1_epi32(128));
        const auto component = [&](int c) {
            const __m128i sum = _mm_add_epi32(_mm_madd_epi16(xyIn, xy[c]), _mm_madd_epi16(z1In, z1[c]));
            return _mm_and_si128(_mm_srai_epi32(sum, 7), byte);
        };
        return _mm_or_si128(_mm_or_si128(component(2), _mm_slli_epi32(component(1), 8)),
                            _mm_slli_epi32(component(0), 16));
    }

private:
    static __m128i Low8(const int8_t* at) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(at)); }
    // The low eight bytes as eight signed 16-bit numbers.
    static __m128i Widen(__m128i bytes) { return _mm_srai_epi16(_mm_unpacklo_epi8(bytes, bytes), 8); }
};

template <EngineDirections Directions>
void SkinRigid(const uint8_t* src, uint8_t* dst, const EngineRigidLayout& layout, uint32_t count,
               const float* bones, const int8_t* rotations) {
    const uint32_t srcStride = layout.srcStride, dstStride = layout.dstStride;
    for (uint32_t v = 0; v + 4 <= count; v += 4, src += 4 * srcStride, dst += 4 * dstStride) {
        const unsigned bone[4] = {src[12], src[srcStride + 12], src[2 * srcStride + 12], src[3 * srcStride + 12]};
        const float* const matrix[4] = {bones + 12 * bone[0], bones + 12 * bone[1], bones + 12 * bone[2],
                                        bones + 12 * bone[3]};
        const FourMatrices m(matrix);
        StoreFour(dst, dstStride, m.Point(LoadFour(src, srcStride)));
        if (Directions == EngineDirections::Float)
            for (int k = 0; k < 3; ++k)
                StoreFour(dst + 12 + 12 * k, dstStride, m.Direction(LoadFour(src + 20 + 12 * k, srcStride)));
        if (Directions == EngineDirections::Packed) {
            const int8_t* const rotation[4] = {rotations + 9 * bone[0], rotations + 9 * bone[1],
                                               rotations + 9 * bone[2], rotations + 9 * bone[3]};
            const FourRotations rotated(rotation);
            for (int k = 0; k < 3; ++k)
                StoreWords(dst + 12 + 4 * k, dstStride, rotated.Rotate(LoadWords(src + 20 + 4 * k, srcStride)));
        }
        for (int j = 0; j < 4; ++j)
            std::memcpy(dst + j * dstStride + layout.dstExtraOffset, src + j * srcStride + layout.srcExtraOffset, 8);
    }
    EngineSkinRigid(src, dst, layout, count % 4, bones, rotations, Directions);
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

void EngineSkinRigidSse2(const uint8_t* src, uint8_t* dst, const EngineRigidLayout& layout, uint32_t count,
                         const float* bones, const int8_t* rotations, EngineDirections directions) {
    // A loop for each kind of vertex, compiled for it.
    static constexpr decltype(&SkinRigid<EngineDirections::None>) kLoops[] = {
        SkinRigid<EngineDirections::None>, SkinRigid<EngineDirections::Float>, SkinRigid<EngineDirections::Packed>};
    kLoops[static_cast<int>(directions)](src, dst, layout, count, bones, rotations);
}
