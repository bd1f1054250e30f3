// SkinningFull of the vector implementation.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "../simd/Quorvan_SSE.h"
#include "../simd/SseSkinning.h"
#include "Canary.h"
#include "FloatRounding.h"
#include "HostCapture.h"
#include "Lifecycle.h"

namespace {

// ---- An independent model of the four-weight blend, byte by byte ---------

struct Bone {
    float m[12];  // x axis, y axis, z axis, translation
    float w[4];   // fourth float of each palette row: 0.0 once set, identity's (0, 0, 0, 1) before
    int8_t q[9];
};

Bone Identity() {
    Bone b{{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}, {0, 0, 0, 1}, {127, 0, 0, 0, 127, 0, 0, 0, 127}};
    return b;
}

int8_t Quantise(float v) {
    const double scaled = std::trunc(static_cast<double>(v) * (v > 0 ? 127.0 : 128.0));
    return static_cast<int8_t>(static_cast<int64_t>(scaled) & 0xFF);
}

Bone FromMatrix(const float (&m)[12]) {
    Bone b;
    std::memcpy(b.m, m, sizeof m);
    for (float& w : b.w) w = 0.0f;
    for (int k = 0; k < 9; ++k) b.q[k] = Quantise(m[k]);
    return b;
}

struct Lanes {
    float v[4];
};

// Lane j: row0[j]*x + row1[j]*y, plus row2[j]*z + row3[j] for a point.
Lanes Apply(const Bone& b, const float* xyz, bool point) {
    Lanes out;
    for (int j = 0; j < 4; ++j) {
        const float r0 = j < 3 ? b.m[j] : b.w[0], r1 = j < 3 ? b.m[3 + j] : b.w[1];
        const float r2 = j < 3 ? b.m[6 + j] : b.w[2], r3 = j < 3 ? b.m[9 + j] : b.w[3];
        const float xy = Add(Mul(r0, xyz[0]), Mul(r1, xyz[1]));
        out.v[j] = point ? Add(xy, Add(Mul(r2, xyz[2]), r3)) : Add(xy, Mul(r2, xyz[2]));
    }
    return out;
}

struct Job {
    unsigned flags;  // 1 normal, 2 tangents, 4 aux, 8 packed
    uint32_t extraSize;
};

// Writes into `dst` what one call must write, given the source bytes.
void Reference(const std::vector<Bone>& bones, const Job& j, const SkinningJob& job, uint8_t* dstBase,
               const uint8_t* srcBase) {
    const bool normal = j.flags & 1, tangents = j.flags & 2, aux = j.flags & 4, packed = j.flags & 8;
    const uint32_t srcDir[3] = {20, packed ? 24u : 32u, packed ? 28u : 44u};
    const uint32_t dstDir[3] = {12, packed ? 16u : 24u, packed ? 20u : 36u};
    const bool present[3] = {normal, tangents, tangents};
    const unsigned order[4] = {2, 1, 0, 3};

    Lanes pos{}, dir[3] = {};
    int32_t sums[3][3] = {};
    uint32_t auxOffset = job.auxOffset;
    const uint8_t* src = srcBase;
    uint8_t* dst = dstBase;
    for (uint32_t vertex = 0; vertex < job.vertexCount; ++vertex) {
        for (int i = 0;; ++i) {
            const Bone& b = bones[src[12 + i]];
            const uint8_t wb = src[16 + order[i]];
            const float w = R(static_cast<float>(static_cast<double>(wb) * 0.003921568859368563));
            float xyz[3];
            std::memcpy(xyz, src, 12);
            const Lanes v = Apply(b, xyz, true);
            for (int l = 0; l < 4; ++l) pos.v[l] = Add(Mul(v.v[l], w), pos.v[l]);
            for (int d = 0; d < 3; ++d) {
                if (!present[d]) continue;
                if (packed) {
                    const uint8_t* p = src + srcDir[d];
                    const int a = p[2] - 128, bb = p[1] - 128, c = p[0] - 128;
                    for (int k = 0; k < 3; ++k) sums[d][k] += (b.q[k] * a + b.q[3 + k] * bb + b.q[6 + k] * c) * wb;
                } else {
                    float n[3];
                    std::memcpy(n, src + srcDir[d], 12);
                    const Lanes u = Apply(b, n, false);
                    for (int l = 0; l < 4; ++l) dir[d].v[l] = Add(Mul(u.v[l], w), dir[d].v[l]);
                }
            }
            if (i == 3 || src[17 + i] == 0) break;
        }
        std::memcpy(dst, pos.v, 12);
        for (int d = 0; d < 3; ++d) {
            if (!present[d]) continue;
            if (packed) {
                uint8_t out[4] = {static_cast<uint8_t>((sums[d][2] + 4194175) >> 15),
                                  static_cast<uint8_t>((sums[d][1] + 4194175) >> 15),
                                  static_cast<uint8_t>((sums[d][0] + 4194175) >> 15), 0};
                std::memcpy(dst + dstDir[d], out, 4);
            } else {
                std::memcpy(dst + dstDir[d], dir[d].v, 12);
            }
        }
        uint8_t* extra = dst + static_cast<int32_t>(job.dstExtraOffset);
        std::memmove(extra, src + static_cast<int32_t>(job.srcExtraOffset), j.extraSize);
        if (aux) {
            std::memmove(extra + j.extraSize, job.auxBase + static_cast<int32_t>(auxOffset), job.auxSize);
            auxOffset += job.auxSize;
        }
        for (int l = 0; l < 4; ++l) {
            pos.v[l] = Mul(pos.v[l], 0.0f);
            for (Lanes& d : dir) d.v[l] = Mul(d.v[l], 0.0f);
        }
        std::memset(sums, 0, sizeof sums);
        src += static_cast<int32_t>(job.srcStride);
        dst += static_cast<int32_t>(job.dstStride);
    }
}

class SseSkinningFullTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        if (!RunsSse()) GTEST_SKIP() << "the operating system does not run SSE here";
        m_sse.reset(new Quorvan_SSE);  // every bone back to identity
        m_bones.assign(256, Identity());
    }

    void SetBone(unsigned index, const float (&m)[12]) {
        m_sse->SetSkinningMatrix(index, m);
        m_bones[index] = FromMatrix(m);
    }

    std::unique_ptr<Quorvan_SSE> m_sse;
    std::vector<Bone> m_bones;
};

// A source vertex with room for every optional slot and its 16-byte fetches.
constexpr int kSrcStride = 64;
constexpr int kDstStride = 64;

void PutPosition(uint8_t* v, float x, float y, float z) {
    const float p[3] = {x, y, z};
    std::memcpy(v, p, 12);
}

SkinningJob OneVertexJob(const uint8_t* src, uint8_t* dst) {
    SkinningJob job{};
    job.srcVertex = src;
    job.dstVertex = dst;
    job.srcStride = kSrcStride;
    job.dstStride = kDstStride;
    job.vertexCount = 1;
    return job;
}

}  // namespace

TEST_F(SseSkinningFullTest, WeightBytesAreReadThroughTheirOrderAndTheEndTestPairsDifferently) {
    const float move[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 10, 20, 30};
    SetBone(1, move);
    uint8_t src[kSrcStride] = {};
    PutPosition(src, 1, 2, 3);
    src[12] = 1;  // influence 0: bone 1; influences 1-3: identity bones 0

    struct Case {
        uint8_t w16, w17, w18, w19;
        float x;  // expected x
    } cases[] = {
        // weight 255 in byte 18 (influence 0), byte 17 zero: one full-weight step
        {0, 0, 255, 0, 11.0f},
        // bytes 18, 17 = 128, 127: the end test after influence 1 reads byte 18, so a
        // third step (weight byte 16 = 0, bone byte 14) runs before the vertex ends
        {0, 127, 128, 0, 0},
        // all four 255: four whole transforms added
        {255, 255, 255, 255, 0},
    };
    for (const Case& c : cases) {
        src[16] = c.w16, src[17] = c.w17, src[18] = c.w18, src[19] = c.w19;
        uint8_t dst[kDstStride];
        std::memset(dst, kCanary, sizeof dst);
        SkinningJob job = OneVertexJob(src, dst);
        m_sse->SkinningFull(&job);
        float out[3];
        std::memcpy(out, dst, 12);
        if (c.w18 == 255 && c.w17 == 0) {
            EXPECT_EQ(out[0], 11.0f);
            EXPECT_EQ(out[1], 22.0f);
            EXPECT_EQ(out[2], 33.0f);
        } else if (c.w16 == 255) {
            EXPECT_EQ(out[0], 11.0f + 3 * 1.0f);
            EXPECT_EQ(out[1], 22.0f + 3 * 2.0f);
        } else {
            // 128/255 of bone 1 plus 127/255 of bone 0, plus 0 times bone 0.
            const float w0 = R(128 * (1.0f / 255)), w1 = R(127 * (1.0f / 255));
            EXPECT_EQ(out[0], Add(Mul(11.0f, w0), Mul(1.0f, w1)));
        }
        for (int k = 12; k < kDstStride; ++k) EXPECT_EQ(dst[k], kCanary) << "byte " << k;
    }
}

TEST_F(SseSkinningFullTest, StepCountFollowsTheNextWeightByte) {
    // Bone 2 counts its uses: it translates x by 1 at weight 1 and is the
    // bone of every influence; all weights 255 so each step adds exactly 1.
    const float count[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0};
    SetBone(2, count);
    uint8_t src[kSrcStride] = {};
    std::memset(src + 12, 2, 4);
    const struct {
        uint8_t w[4];  // bytes 16-19
        float steps;
    } cases[] = {{{0, 0, 255, 0}, 1}, {{0, 127, 128, 0}, 3}, {{64, 64, 64, 63}, 4}, {{0, 0, 0, 0}, 1}};
    for (const auto& c : cases) {
        std::memcpy(src + 16, c.w, 4);
        // Weight bytes say how much; make every used weight count as 1 by
        // reading the steps from a bone whose output does not depend on it:
        // x' = 1 per unit weight, so the sum of used weights shows the steps.
        uint8_t dst[kDstStride];
        SkinningJob job = OneVertexJob(src, dst);
        m_sse->SkinningFull(&job);
        float x;
        std::memcpy(&x, dst, 4);
        float expected = 0;
        const unsigned order[4] = {2, 1, 0, 3};
        for (int i = 0; i < c.steps; ++i) expected = Add(R(c.w[order[i]] * (1.0f / 255)), expected);
        EXPECT_EQ(x, expected) << int(c.w[0]) << "," << int(c.w[1]) << "," << int(c.w[2]) << "," << int(c.w[3]);
    }
}

TEST_F(SseSkinningFullTest, PackedNormalsOfTheIdentityBone) {
    const struct {
        uint8_t weights[4];
        uint8_t in[4];
        uint8_t out[4];
    } cases[] = {
        // One influence at full weight: a zero component comes back as 127.
        {{0, 0, 255, 0}, {128, 128, 255, 7}, {127, 127, 253, 0}},  // +x
        {{0, 0, 255, 0}, {128, 128, 1, 0}, {127, 127, 2, 0}},      // -x
        {{0, 0, 255, 0}, {255, 128, 128, 0}, {253, 127, 127, 0}},  // +z
        {{0, 0, 255, 0}, {0, 128, 128, 0}, {1, 127, 127, 0}},      // -z, one step further
        // Four full-weight influences: x sums to 630, which wraps to 118.
        {{255, 255, 255, 255}, {128, 128, 255, 0}, {127, 127, 118, 0}},
    };
    for (const auto& c : cases) {
        uint8_t src[kSrcStride] = {};
        std::memcpy(src + 16, c.weights, 4);
        std::memcpy(src + 20, c.in, 4);
        CanaryBuffer dst(kDstStride);
        SkinningJob job = OneVertexJob(src, dst.data());
        job.hasNormal = 1;
        job.packedDirections = 1;
        m_sse->SkinningFull(&job);
        EXPECT_EQ(std::memcmp(dst.data() + 12, c.out, 4), 0)
            << int(dst.data()[12]) << "," << int(dst.data()[13]) << "," << int(dst.data()[14]) << ","
            << int(dst.data()[15]);
        for (int k = 16; k < kDstStride; ++k) EXPECT_EQ(dst.data()[k], kCanary) << "byte " << k;
    }
}

TEST_F(SseSkinningFullTest, ANonFiniteVertexPoisonsTheRestOfTheCallOnly) {
    uint8_t src[3 * kSrcStride] = {};
    for (int v = 0; v < 3; ++v) {
        PutPosition(src + v * kSrcStride, 1, 2, 3);
        src[v * kSrcStride + 18] = 255;
    }
    PutPosition(src + kSrcStride, std::numeric_limits<float>::infinity(), 0, 0);
    uint8_t dst[3 * kDstStride] = {};
    SkinningJob job = OneVertexJob(src, dst);
    job.vertexCount = 3;
    m_sse->SkinningFull(&job);
    float out[3][3];
    for (int v = 0; v < 3; ++v) std::memcpy(out[v], dst + v * kDstStride, 12);
    EXPECT_EQ(out[0][0], 1.0f);
    EXPECT_TRUE(std::isinf(out[1][0]));
    for (int k = 0; k < 3; ++k) EXPECT_TRUE(std::isnan(out[2][k])) << k;

    // The next call starts clean.
    job.srcVertex = src + 2 * kSrcStride;
    job.vertexCount = 1;
    m_sse->SkinningFull(&job);
    std::memcpy(out[0], dst, 12);
    EXPECT_EQ(out[0][0], 1.0f);
}

TEST_F(SseSkinningFullTest, TangentsWithoutANormalKeepTheirSlots) {
    uint8_t src[kSrcStride] = {};
    src[18] = 255;
    const float tangent[3] = {0.25f, -0.5f, 0.75f}, binormal[3] = {-1, 2, -3}, decoy[3] = {9, 9, 9};
    std::memcpy(src + 20, decoy, 12);
    std::memcpy(src + 32, tangent, 12);
    std::memcpy(src + 44, binormal, 12);
    CanaryBuffer dst(kDstStride);
    SkinningJob job = OneVertexJob(src, dst.data());
    job.hasTangents = 1;
    m_sse->SkinningFull(&job);
    EXPECT_EQ(std::memcmp(dst.data() + 24, tangent, 12), 0);
    EXPECT_EQ(std::memcmp(dst.data() + 36, binormal, 12), 0);
    for (int k = 12; k < 24; ++k) EXPECT_EQ(dst.data()[k], kCanary) << "byte " << k;
    for (int k = 48; k < kDstStride; ++k) EXPECT_EQ(dst.data()[k], kCanary) << "byte " << k;
}

TEST_F(SseSkinningFullTest, CopiesRunAfterTheSkinnedValues) {
    uint8_t src[kSrcStride] = {};
    PutPosition(src, 5, 6, 7);
    src[18] = 255;
    const uint8_t aux[6] = {1, 2, 3, 4, 5, 6};
    CanaryBuffer dst(kDstStride);
    SkinningJob job = OneVertexJob(src, dst.data());
    job.hasAux = 1;
    job.auxBase = aux;
    job.auxSize = 6;
    job.dstExtraOffset = 0;  // the auxiliary bytes land over the position
    m_sse->SkinningFull(&job);
    EXPECT_EQ(std::memcmp(dst.data(), aux, 6), 0);
    const float z = 7;
    EXPECT_EQ(std::memcmp(dst.data() + 8, &z, 4), 0);
    EXPECT_EQ(dst.data()[6], 0xC0);  // the rest of y = 6.0f (0x40C00000)
    EXPECT_EQ(dst.data()[7], 0x40);
}

TEST_F(SseSkinningFullTest, AZeroCountStopsAfterAnUnfinishedFirstStep) {
    uint8_t src[kSrcStride] = {};
    src[17] = 1;  // the first influence is not the last
    CanaryBuffer dst(kDstStride);
    SkinningJob job = OneVertexJob(src, dst.data());
    job.vertexCount = 0;
    m_sse->SkinningFull(&job);
    for (int k = 0; k < kDstStride; ++k) EXPECT_EQ(dst.data()[k], kCanary) << "byte " << k;
}

namespace {

// A float that is now and then one of the values that break a blend: NaN,
// the infinities and the zeros. The NaN is the one the processor makes of
// an invalid operation: which of two different NaNs a sum keeps depends on
// the order of its operands, which the model does not pin down.
float Sometimes(std::mt19937& random, float usual) {
    const uint32_t specials[] = {0xFFC00000, 0x7F800000, 0xFF800000, 0x80000000, 0x00000000};
    if (random() % 24 != 0) return usual;
    float f;
    const uint32_t bits = specials[random() % 5];
    std::memcpy(&f, &bits, 4);
    return f;
}

}  // namespace

// Every leaf on every vector path this processor runs, on jobs long enough
// for the side-by-side blocks and their one-by-one tail: random weights
// (zeros included, so influences end early and first products are -0),
// non-finite and signed-zero inputs, strides either way, pass-through and
// auxiliary bytes over the skinned slots, and now and then a destination
// that overlaps the source. The library works in one arena and the model
// in a copy of it; every byte of the two must agree, and the job copy must
// end one vertex past the last.
TEST_F(SseSkinningFullTest, EveryLeafOnEveryPathMatchesTheModelByteForByte) {
    std::mt19937 random(20261122);
    std::uniform_real_distribution<float> coordinate(-50, 50), element(-1.5f, 1.5f);
    std::vector<std::pair<unsigned, std::array<float, 12>>> matrices;
    for (unsigned b = 0; b < 256; b += 3) {  // every third bone set, the others identity
        std::array<float, 12> m;
        for (float& e : m) e = element(random);
        for (int k = 9; k < 12; ++k) m[k] = coordinate(random);
        matrices.push_back({b, m});
    }

    for (VectorPath path : kVectorPaths) {
        if (!ProcessorRunsVectorPath(path)) continue;
        SCOPED_TRACE(VectorPathName(path));
        m_sse.reset(new Quorvan_SSE(path));
        m_bones.assign(256, Identity());
        for (const auto& [bone, m] : matrices) {
            float row[12];
            std::copy(m.begin(), m.end(), row);
            SetBone(bone, row);
        }
        for (uint32_t extraSize = 0; extraSize <= 84; extraSize += 4)
            for (unsigned flags = 0; flags < 16; ++flags) {
                SCOPED_TRACE("extraSize " + std::to_string(extraSize) + " flags " + std::to_string(flags));
                const uint32_t vertices = 1 + random() % 19;
                const bool inPlace = extraSize == 0 && !(flags & 4) && random() % 4 == 0;
                const uint32_t auxSize = random() % 12;
                const uint32_t dstExtraOffset = random() % 3 == 0 ? random() % 48 : 48;
                const int32_t srcStride = static_cast<int32_t>(60 + extraSize + random() % 8) * (random() % 4 ? 1 : -1);
                const int32_t dstStride = inPlace ? srcStride
                                                  : static_cast<int32_t>(48 + extraSize + auxSize + random() % 8) *
                                                        (random() % 4 ? 1 : -1);
                const auto span = [&](int32_t stride) { return std::abs(stride) * vertices + 64; };
                // In place, each vertex is written over the source of the next.
                const std::size_t srcAt = 64,
                                  dstAt = srcAt + (inPlace ? std::abs(srcStride) : span(srcStride) + random() % 16);
                const std::size_t auxAt = dstAt + span(dstStride), size = auxAt + 64 + vertices * auxSize + 64;
                // A vertex pointer of a backward walk starts at the last vertex.
                const auto first = [&](std::size_t at, int32_t stride) {
                    return at + (stride < 0 ? std::size_t(-stride) * (vertices - 1) : 0);
                };

                std::vector<uint8_t> arena(size);
                for (uint8_t& a : arena) a = static_cast<uint8_t>(random());
                for (uint32_t v = 0; v < vertices; ++v) {
                    uint8_t* p = arena.data() + first(srcAt, srcStride) + int64_t{srcStride} * v;
                    PutPosition(p, Sometimes(random, coordinate(random)), Sometimes(random, coordinate(random)),
                                Sometimes(random, coordinate(random)));
                    for (uint32_t off : {20u, 32u, 44u})
                        PutPosition(p + off, Sometimes(random, element(random)), Sometimes(random, element(random)),
                                    Sometimes(random, element(random)));
                    for (int w = 16; w < 20; ++w)
                        if (random() % 4 == 0) p[w] = 0;
                }
                std::vector<uint8_t> expected = arena;

                SkinningJob job{};
                job.srcStride = static_cast<uint32_t>(srcStride);
                job.srcExtraOffset = 60;
                job.dstStride = static_cast<uint32_t>(dstStride);
                job.dstExtraOffset = dstExtraOffset;
                job.auxOffset = static_cast<uint32_t>(random() % 64);
                job.auxSize = auxSize;
                job.extraSize = extraSize;
                job.vertexCount = vertices;
                job.hasNormal = flags & 1;
                job.hasTangents = (flags & 2) ? 7 : 0;
                job.hasAux = (flags & 4) ? 1 : 0;
                job.packedDirections = (flags & 8) ? 200 : 0;
                const auto place = [&](std::vector<uint8_t>& memory) {
                    job.srcVertex = memory.data() + first(srcAt, srcStride);
                    job.dstVertex = memory.data() + first(dstAt, dstStride);
                    job.auxBase = memory.data() + auxAt;
                };

                place(arena);
                const SkinningJob callerRecord = job;
                m_sse->SkinningFull(&job);
                EXPECT_EQ(std::memcmp(&job, &callerRecord, sizeof job), 0);
                EXPECT_EQ(s_sseJob.vertexCount, 0u);
                EXPECT_EQ(s_sseJob.srcVertex, job.srcVertex + int64_t{srcStride} * vertices);
                EXPECT_EQ(s_sseJob.dstVertex, job.dstVertex + int64_t{dstStride} * vertices);
                EXPECT_EQ(s_sseJob.auxOffset, job.auxOffset + ((flags & 4) ? vertices * auxSize : 0));

                place(expected);
                Reference(m_bones, {flags, extraSize}, job, job.dstVertex, job.srcVertex);
                for (std::size_t k = 0; k < size; ++k)
                    ASSERT_EQ(arena[k], expected[k]) << "arena byte " << k << " (destination from " << dstAt << ")";
            }
    }
    EXPECT_TRUE(HostCapture::Reports().empty());
}
