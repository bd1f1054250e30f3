#include <cmath>
#include <cstring>

#include "SkinningModel.h"

// Every value is held in long double, the x87 unit's extended precision,
// and rounded to float exactly where the arithmetic names a rounding.
namespace {

struct Vec {
    float c[3];  // x, y, z
};

Vec LoadVec(const uint8_t* p) {
    Vec v;
    std::memcpy(v.c, p, sizeof v.c);
    return v;
}

float InverseSqrt(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    bits = 0x5F3759DFu - static_cast<uint32_t>(static_cast<int32_t>(bits) >> 1);
    float y;
    std::memcpy(&y, &bits, sizeof y);
    const float h = Rounded(0.5L * v);
    y = Rounded(y * (1.5L - static_cast<long double>(y) * h * y));
    return Rounded(y * (1.5L - static_cast<long double>(h) * y * y));
}

// Bytes z, y, x and the range byte.
Vec Decode(const uint8_t* b) {
    const float a = Rounded(b[3] / 255.0L), k = Rounded(1.0L - a), s = Rounded(1.0L + k);
    Vec v;
    for (int c = 0; c < 3; ++c) v.c[c] = Rounded(Rounded(s * Rounded(b[2 - c] / 255.0L)) - k);
    return v;
}

uint8_t Quantise(long double channel) {
    const float p = Rounded(channel * static_cast<long double>(255.99f));
    if (std::isnan(p)) return 0;  // the x87 conversion gives 0x80000000, whose low byte is 0
    return p < 0 ? 0 : p > 255 ? 255 : static_cast<uint8_t>(std::trunc(p));
}

void Encode(const Vec& d, uint8_t* b) {
    long double smallest = d.c[1] > d.c[2] ? d.c[2] : d.c[1];
    smallest = d.c[0] > smallest ? smallest : d.c[0];
    const float t = Rounded(std::fabs(smallest));
    const float s = Rounded(1.0L / Rounded(t + 1.0L));
    for (int c = 0; c < 3; ++c) b[2 - c] = Quantise(Rounded(Rounded(d.c[c] + static_cast<long double>(t)) * s));
    b[3] = Quantise(Rounded(1.0L - t));
}

// ((m0 x + m3 y) + m6 z) + m9 for x', likewise y' and z'; a direction
// leaves out the translation.
Vec Apply(const float* m, const Vec& v, bool point) {
    Vec r;
    for (int c = 0; c < 3; ++c) {
        long double sum = static_cast<long double>(m[c]) * v.c[0];
        sum += static_cast<long double>(m[3 + c]) * v.c[1];
        sum += static_cast<long double>(m[6 + c]) * v.c[2];
        if (point) sum += m[9 + c];
        r.c[c] = Rounded(sum);
    }
    return r;
}

Vec LoadNormal(const SkinningJob& job, const uint8_t* src) {
    return job.packedDirections ? Decode(src + 20) : LoadVec(src + 20);
}

void StoreNormal(const SkinningJob& job, const Vec& n) {
    if (job.packedDirections)
        Encode(n, job.dstVertex + 12);
    else
        std::memcpy(job.dstVertex + 12, n.c, 12);
}

}  // namespace

void ScalarModelFull(SkinningJob job, const float* palette) {
    do {
        const uint8_t* src = job.srcVertex;
        Vec p{}, n{};
        for (int i = 0;; ++i) {
            const float* m = palette + 12 * src[12 + i];
            const long double w = src[16 + i];
            const Vec t = Apply(m, LoadVec(src), true);
            const Vec r = job.hasNormal ? Apply(m, LoadNormal(job, src), false) : Vec{};
            for (int c = 0; c < 3; ++c) {
                p.c[c] = Rounded(p.c[c] + static_cast<long double>(Rounded(w * t.c[c])));
                n.c[c] = Rounded(n.c[c] + static_cast<long double>(Rounded(w * r.c[c])));
            }
            if (i == 3 || src[17 + i] == 0) break;
        }
        std::memcpy(job.dstVertex, p.c, 12);
        if (job.hasNormal) {
            const long double x = n.c[0], y = n.c[1], z = n.c[2];
            const float r = InverseSqrt(Rounded(x * x + y * y + z * z));
            for (float& c : n.c) c = Rounded(c * static_cast<long double>(r));
            StoreNormal(job, n);
        }
        FinishVertexModel(job);
    } while (--job.vertexCount != 0);
}

void ScalarModelSingle(SkinningJob job, const float* palette) {
    do {
        const uint8_t* src = job.srcVertex;
        const float* m = palette + 12 * src[12];
        std::memcpy(job.dstVertex, Apply(m, LoadVec(src), true).c, 12);
        if (job.hasNormal)
            StoreNormal(job, Apply(m, LoadNormal(job, src), false));  // read after the position is stored
        FinishVertexModel(job);
    } while (--job.vertexCount != 0);
}
