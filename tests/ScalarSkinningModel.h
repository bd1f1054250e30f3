#pragma once

// A model of the scalar implementation's skinning, written from its stated
// arithmetic and sharing no code with it: every value is held in long double
// and rounded to float, through memory, exactly where the arithmetic names a
// rounding. Memory forces the rounding on the x87 unit of a 32-bit build too.

#include <cmath>
#include <cstdint>
#include <cstring>

#include <Quorvan/Quorvan.h>

namespace ScalarModel {

inline float F(long double v) {
    volatile float rounded = static_cast<float>(v);
    return rounded;
}

inline float FloatFromBits(uint32_t bits) {
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

inline float InverseSqrt(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    float y = FloatFromBits(0x5F3759DFu - static_cast<uint32_t>(static_cast<int32_t>(bits) >> 1));
    const float h = F(0.5L * v);
    y = F(y * (1.5L - static_cast<long double>(y) * h * y));
    y = F(y * (1.5L - static_cast<long double>(h) * y * y));
    return y;
}

// c[0] is x, c[1] y, c[2] z.
struct Vec {
    float c[3];
};

// Packed bytes: z in byte 0, y in 1, x in 2, the range in 3.
inline Vec Decode(const uint8_t* b) {
    const float a = F(b[3] / 255.0L);
    const float k = F(1.0L - a);
    const float s = F(1.0L + k);
    Vec v;
    for (int c = 0; c < 3; ++c) v.c[c] = F(F(s * F(b[2 - c] / 255.0L)) - k);
    return v;
}

inline uint8_t Quantise(long double channel) {
    const float p = F(channel * static_cast<long double>(255.99f));
    if (std::isnan(p)) return 0;  // the x87 conversion gives 0x80000000: its low byte is 0
    if (p < 0) return 0;
    if (p > 255) return 255;
    return static_cast<uint8_t>(static_cast<long>(std::trunc(p)));
}

inline void Encode(const Vec& d, uint8_t* b) {
    long double smallest = d.c[1] > d.c[2] ? d.c[2] : d.c[1];
    smallest = d.c[0] > smallest ? smallest : d.c[0];
    const float t = F(std::fabs(smallest));
    const float s = F(1.0L / F(t + 1.0L));
    for (int c = 0; c < 3; ++c) b[2 - c] = Quantise(F(F(d.c[c] + static_cast<long double>(t)) * s));
    b[3] = Quantise(F(1.0L - t));
}

// m0..m11 of the bone applied to v, with the translation when `point`.
inline Vec Apply(const float* m, const Vec& v, bool point) {
    Vec r;
    for (int c = 0; c < 3; ++c) {
        long double sum = static_cast<long double>(m[c]) * v.c[0];
        sum += static_cast<long double>(m[3 + c]) * v.c[1];
        sum += static_cast<long double>(m[6 + c]) * v.c[2];
        if (point) sum += m[9 + c];
        r.c[c] = F(sum);
    }
    return r;
}

inline Vec LoadVec(const uint8_t* p) {
    Vec v;
    std::memcpy(v.c, p, sizeof v.c);
    return v;
}

// A whole job, vertex by vertex, written through the job's own addresses.
// With `fourWeights` it is SkinningFull, otherwise SkinningSingle.
inline void Skin(const SkinningJob& job, const float* palette, bool fourWeights) {
    const bool normal = job.hasNormal != 0;
    const bool packed = normal && job.packedDirections != 0;
    const uint8_t* src = job.srcVertex;
    uint8_t* dst = job.dstVertex;
    uint32_t auxOffset = job.auxOffset;
    for (uint32_t v = 0; v < job.vertexCount; ++v) {
        const Vec position = LoadVec(src);
        const Vec n = !normal ? Vec{} : packed ? Decode(src + 20) : LoadVec(src + 20);
        Vec p{}, nsum{};
        for (int i = 0; i < 4; ++i) {
            const float* m = palette + 12 * src[12 + i];
            const long double w = fourWeights ? src[16 + i] : 1;
            const Vec t = Apply(m, position, true);
            const Vec r = Apply(m, n, false);
            for (int c = 0; c < 3; ++c) {
                p.c[c] = fourWeights ? F(p.c[c] + F(w * t.c[c])) : t.c[c];
                nsum.c[c] = fourWeights ? F(nsum.c[c] + F(w * r.c[c])) : r.c[c];
            }
            if (!fourWeights || i == 3 || src[17 + i] == 0) break;
        }
        std::memcpy(dst, p.c, 12);
        if (normal) {
            if (fourWeights) {
                const long double x = nsum.c[0], y = nsum.c[1], z = nsum.c[2];
                const float r = InverseSqrt(F(x * x + y * y + z * z));
                for (float& c : nsum.c) c = F(static_cast<long double>(c) * r);
            }
            if (packed)
                Encode(nsum, dst + 12);
            else
                std::memcpy(dst + 12, nsum.c, 12);
        }
        uint8_t* extra = dst + static_cast<int32_t>(job.dstExtraOffset);
        std::memcpy(extra, src + static_cast<int32_t>(job.srcExtraOffset), job.extraSize);
        if (job.hasAux) {
            const uint8_t* from = job.auxBase + static_cast<int32_t>(auxOffset);
            if (job.auxSize) std::memcpy(extra + job.extraSize, from, job.auxSize);
            auxOffset += job.auxSize;
        }
        src += static_cast<int32_t>(job.srcStride);
        dst += static_cast<int32_t>(job.dstStride);
    }
}

}  // namespace ScalarModel
