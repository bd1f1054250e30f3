// The SSE2 and 3DNow! paths, which no interface reaches: called directly.
// Their refusals are in SkinningRefusalTest.cpp.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "../simd/Quorvan_3DNow.h"
#include "../simd/Quorvan_SSE2.h"
#include "Canary.h"
#include "HostCapture.h"
#include "HostFloatSettings.h"
#include "Lifecycle.h"
#include "RandomSkinningJob.h"
#include "SkinningModel.h"

namespace {

// Source vertices: position, bones, weights, a float normal, bytes the paths
// must not read, then the pass-through bytes. Destination vertices: position,
// normal, a gap, the pass-through bytes, a gap.
constexpr uint32_t kSrcStride = 68, kSrcExtra = 40, kDstStride = 60, kDstExtra = 32, kCount = 6;

SkinningJob Job(const CanaryBuffer& src, CanaryBuffer& dst, uint32_t extraSize, uint8_t otherFlags) {
    SkinningJob job{};
    job.srcVertex = src.data(), job.srcStride = kSrcStride, job.srcExtraOffset = kSrcExtra;
    job.dstVertex = dst.data(), job.dstStride = kDstStride, job.dstExtraOffset = kDstExtra;
    job.auxOffset = 0x40000000, job.auxSize = 0x1000;  // no path reads an auxiliary stream
    job.extraSize = extraSize, job.vertexCount = kCount;
    job.hasTangents = job.hasAux = job.packedDirections = otherFlags;
    return job;
}

class Sse2PathTest : public FeatureTest<FeatureSSE2> {
protected:
    // The blend as the path defines it, one rounded float operation at a
    // time: weights in plain order, rows summed (y row1 + z row2) + x row0,
    // influences ended by a next bone byte of 255, the sums cleared.
    void Blend(const uint8_t* v, float (&position)[3], float (&normal)[3]) const {
        for (unsigned c = 0; c < 3; ++c) position[c] = normal[c] = 0.0f;
        const float x = Load<float>(v), y = Load<float>(v + 4), z = Load<float>(v + 8);
        const float nx = Load<float>(v + 20), ny = Load<float>(v + 24), nz = Load<float>(v + 28);
        for (unsigned i = 0; i < 4; ++i) {
            const float* m = m_bones[v[12 + i]];
            const float w = Rounded(v[16 + i] * 0.003921568859368563);
            for (unsigned c = 0; c < 3; ++c) {
                const auto rotate = [&](float a, float b, float d) {
                    return Add(Add(Mul(b, m[3 + c]), Mul(d, m[6 + c])), Mul(a, m[c]));
                };
                position[c] = Add(position[c], Mul(Add(rotate(x, y, z), m[9 + c]), w));
                normal[c] = Add(normal[c], Mul(rotate(nx, ny, nz), w));
            }
            if (i == 3 || v[13 + i] == 255) break;
        }
    }

    float m_bones[Quorvan_SSE2::kBoneCount][12] = {};
};

// Random vertices of one to four influences for every kernel. Bone 127 moves
// to infinity and bones 120 to 126 to NaNs with payloads, so the sums must start
// again from zero after them, and the NaN is stored as the quiet 0x7FC00000.
// Normals come out within the estimate's bound of unit length, the rest
// exactly.
TEST_F(Sse2PathTest, EveryKernelBlendsExactlyAndRenormalisesWithinTheEstimate) {
    const long double tolerance = 1.5L / 4096 + 1.0L / (1 << 23);  // the estimate's bound, and the product's rounding
    std::mt19937 random(7);
    for (unsigned bone = 0; bone < Quorvan_SSE2::kBoneCount; ++bone) {
        std::array<float, 12> m = RandomMatrix(random);
        if (bone == 127) m[9] = INFINITY;
        if (bone >= 120 && bone < 127) Store<uint32_t>(reinterpret_cast<uint8_t*>(&m[10]), 0xFF8A0001 + bone);
        std::memcpy(m_bones[bone], m.data(), sizeof m);
        Quorvan_SSE2::SetSkinningMatrix(bone, m.data());
    }
    for (uint32_t extraSize : {8u, 12u, 20u, 24u})
        for (uint8_t hasNormal : {0, 0x80}) {
            SCOPED_TRACE(testing::Message() << "extraSize " << extraSize << " hasNormal " << int(hasNormal));
            CanaryBuffer src(kCount * kSrcStride), dst(kCount * kDstStride);
            for (uint32_t k = 0; k < src.size(); ++k) src.data()[k] = static_cast<uint8_t>(random());
            for (uint32_t n = 0; n < kCount; ++n) {
                uint8_t* v = src.data() + n * kSrcStride;
                for (uint32_t offset : {0u, 4u, 8u, 20u, 24u, 28u}) Store(v + offset, RandomFloat(random, -4, 4));
                for (uint32_t k = 0; k < 4; ++k) {
                    v[12 + k] = k > 0 && random() % 3 == 0 ? 255 : static_cast<uint8_t>(random() % 128);
                    v[16 + k] = static_cast<uint8_t>(1 + random() % 255);
                }
            }
            SkinningJob job = Job(src, dst, extraSize, static_cast<uint8_t>(random()));
            job.hasNormal = hasNormal;
            const SkinningJob caller = job;
            Quorvan_SSE2::SkinningFull(job);

            std::vector<uint8_t> expected(dst.size(), kCanary);
            for (uint32_t n = 0; n < kCount; ++n) {
                const uint8_t* v = src.data() + n * kSrcStride;
                uint8_t* want = expected.data() + n * kDstStride;
                const uint8_t* got = dst.data() + n * kDstStride;
                float position[3], normal[3];
                Blend(v, position, normal);
                for (unsigned c = 0; c < 3; ++c) Store(want + 4 * c, std::isnan(position[c]) ? 0x7FC00000 : Bits(position[c]));
                if (hasNormal) {
                    long double squares = 0;
                    for (const float c : normal) squares += static_cast<long double>(c) * c;
                    const long double length = std::sqrt(squares);
                    for (unsigned c = 0; c < 3; ++c) {
                        const long double unit = normal[c] / length;
                        EXPECT_LE(std::fabs(Load<float>(got + 12 + 4 * c) - unit), tolerance * std::fabs(unit)) << n;
                    }
                    std::memcpy(want + 12, got + 12, 12);
                }
                std::memcpy(want + kDstExtra, v + kSrcExtra, extraSize);
            }
            EXPECT_EQ(Difference(std::vector<uint8_t>(dst.data(), dst.data() + dst.size()), expected), "");
            EXPECT_EQ(dst.FirstGuardHit(), -1);
            EXPECT_EQ(std::memcmp(&job, &caller, sizeof job), 0);
            EXPECT_EQ(Quorvan_SSE2::s_job.srcVertex, src.data() + kCount * kSrcStride);
            EXPECT_EQ(Quorvan_SSE2::s_job.dstVertex, dst.data() + kCount * kDstStride);
            EXPECT_EQ(Quorvan_SSE2::s_job.vertexCount, 0u);
            EXPECT_EQ(Quorvan_SSE2::s_job.auxOffset, job.auxOffset);
        }
    EXPECT_TRUE(HostCapture::Reports().empty());
}

// As every skinning call, whatever float settings the host left
// (HostFloatSettingsTest.cpp).
TEST_F(Sse2PathTest, WritesItsBytesUnderAnyHostFloatSettings) {
    ExpectSameBytesUnderHostSettings(
        "the SSE2 path", Quorvan_SSE2::kBoneCount, kSkinNormal,
        [](const ArenaJob& a, std::vector<uint8_t>& memory) {
            for (unsigned b = 0; b < Quorvan_SSE2::kBoneCount; ++b)
                Quorvan_SSE2::SetSkinningMatrix(b, SubnormalProductBones()[b].data());
            Quorvan_SSE2::SkinningFull(a.On(memory));
        },
        {8, 12, 20, 24});
}

// The x87 tag word: 0xFFFF when every register is empty, as FEMMS leaves it.
uint16_t X87Tags() {
    uint32_t environment[7];
    asm volatile("fnstenv %0\n\tfldenv %0" : "+m"(environment));  // fnstenv masks exceptions; restore them
    return static_cast<uint16_t>(environment[2]);
}

using ThreeDNowPathTest = FeatureTest<Feature3DNow>;

TEST_F(ThreeDNowPathTest, PaletteHoldsColumnsInPairsAndLeavesTheMmxStateClear) {
    float m[12];
    for (unsigned k = 0; k < 12; ++k) m[k] = 0.25f + k;
    Store<uint32_t>(reinterpret_cast<uint8_t*>(&m[10]), 0xFF812345);  // a signalling NaN keeps its bits
    const Quorvan_3DNow::BonePalette before = Quorvan_3DNow::s_palette;
    Quorvan_3DNow::SetSkinningMatrix(127, m);
    EXPECT_EQ(X87Tags(), 0xFFFF);
    Quorvan_3DNow::SetSkinningMatrix(0, m);
    const uint32_t want[16] = {Bits(m[3]),  Bits(m[0]), Bits(m[9]), Bits(m[6]), Bits(m[4]),  Bits(m[1]),
                               Bits(m[10]), Bits(m[7]), Bits(m[5]), Bits(m[2]), Bits(m[11]), Bits(m[8]),
                               0,           0,          Bits(1.0f), 0};
    for (unsigned bone : {0u, 127u})
        for (unsigned k = 0; k < 16; ++k)
            EXPECT_EQ(Bits(Quorvan_3DNow::s_palette.pairs[bone][k / 2][k % 2]), want[k]) << bone << "/" << k;
    EXPECT_EQ(std::memcmp(&Quorvan_3DNow::s_palette.pairs[1], &before.pairs[1], 126 * sizeof before.pairs[0]), 0);
}

// The source walks backwards from its last vertex; nothing but the
// pass-through bytes is written, whatever the flags say.
TEST_F(ThreeDNowPathTest, CopiesOnlyThePassThroughBytes) {
    std::mt19937 random(3);
    for (uint32_t extraSize : {8u, 20u, 24u})
        for (uint8_t flags : {0x00, 0xFF}) {
            CanaryBuffer src(kCount * kSrcStride), dst(kCount * kDstStride);
            for (uint32_t k = 0; k < src.size(); ++k) src.data()[k] = static_cast<uint8_t>(random());
            SkinningJob job = Job(src, dst, extraSize, flags);
            job.srcVertex = src.data() + (kCount - 1) * kSrcStride;
            job.srcStride = 0u - kSrcStride;
            job.hasNormal = flags;
            const SkinningJob caller = job;
            asm volatile("pxor %mm0, %mm0");  // as any MMX instruction, marks every x87 register in use
            Quorvan_3DNow::SkinningSingle(job);

            std::vector<uint8_t> expected(dst.size(), kCanary);
            for (uint32_t n = 0; n < kCount; ++n)
                std::memcpy(expected.data() + n * kDstStride + kDstExtra,
                            src.data() + (kCount - 1 - n) * kSrcStride + kSrcExtra, extraSize);
            EXPECT_EQ(Difference(std::vector<uint8_t>(dst.data(), dst.data() + dst.size()), expected), "")
                << extraSize << " " << int(flags);
            EXPECT_EQ(dst.FirstGuardHit(), -1);
            EXPECT_EQ(X87Tags(), 0xFFFF);
            EXPECT_EQ(std::memcmp(&job, &caller, sizeof job), 0);
            EXPECT_EQ(Quorvan_3DNow::s_job.srcVertex, src.data() - kSrcStride);
            EXPECT_EQ(Quorvan_3DNow::s_job.dstVertex, dst.data() + kCount * kDstStride);
            EXPECT_EQ(Quorvan_3DNow::s_job.vertexCount, 0u);
        }
    EXPECT_TRUE(HostCapture::Reports().empty());
}

}  // namespace
