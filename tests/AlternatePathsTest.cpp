// The SSE2 and 3DNow! paths, which no interface reaches: called directly.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "../simd/Quorvan_3DNow.h"
#include "../simd/Quorvan_SSE2.h"
#include "Canary.h"
#include "HostCapture.h"
#include "Lifecycle.h"

namespace {

bool RunsFeature(int feature) {
    _processor_info info;
    return _cpuid(&info) != 0 && (info.osFeatures & feature);
}

// Rounded to a float whatever precision the expression was evaluated in.
float Round(long double value) {
    volatile float rounded = static_cast<float>(value);
    return rounded;
}

// Small pseudo-random floats with full mantissas, so that a sum or product
// taken in another order or precision shows in the result.
struct Numbers {
    uint32_t state;
    uint32_t Next() { return state = state * 1664525u + 1013904223u; }
    float Float() { return Round(static_cast<long double>(static_cast<int32_t>(Next()) >> 8) / 1398101); }
    uint8_t Byte() { return static_cast<uint8_t>(1 + Next() % 255); }
};

// Every byte of a destination the test expects, compared in one go.
void ExpectBytes(const CanaryBuffer& buffer, const std::vector<uint8_t>& expected) {
    for (std::size_t k = 0; k < expected.size(); ++k)
        if (buffer.data()[k] != expected[k]) {
            ADD_FAILURE() << "first wrong byte at " << k << ": " << int(buffer.data()[k]) << " instead of "
                          << int(expected[k]);
            break;
        }
    EXPECT_EQ(buffer.FirstGuardHit(), -1);
}

// Source vertices: position, bones, weights, a float normal, eight bytes the
// paths must not read, then the pass-through bytes. Destination vertices:
// position, normal, a gap, the pass-through bytes, a gap.
constexpr uint32_t kSrcStride = 68, kSrcExtra = 40;
constexpr uint32_t kDstStride = 60, kDstExtra = 32;

SkinningJob Job(const CanaryBuffer& src, CanaryBuffer& dst, uint32_t extraSize, uint32_t count) {
    SkinningJob job{};
    job.srcVertex = src.data();
    job.srcStride = kSrcStride;
    job.srcExtraOffset = kSrcExtra;
    job.dstVertex = dst.data();
    job.dstStride = kDstStride;
    job.dstExtraOffset = kDstExtra;
    job.extraSize = extraSize;
    job.vertexCount = count;
    return job;
}

// Each size is refused with one report that names it; no byte is written and
// the path's job copy keeps the refused record.
template <class Routine>
void ExpectRefused(Routine routine, const SkinningJob& copy, const char* file, int line, const char* operation,
                   std::initializer_list<uint32_t> sizes) {
    for (uint32_t extraSize : sizes) {
        HostCapture::Clear();
        CanaryBuffer src(kSrcStride), dst(kDstStride);
        const SkinningJob job = Job(src, dst, extraSize, 1);
        routine(job);
        ASSERT_EQ(HostCapture::Reports().size(), 1u) << extraSize;
        const HostReport& report = HostCapture::Reports()[0];
        EXPECT_EQ(report.file, file);
        EXPECT_EQ(report.line, line);
        EXPECT_EQ(report.message, "Unsupported 'extraSize'=" + std::to_string(static_cast<int32_t>(extraSize)) +
                                      " in " + operation + "()");
        ExpectBytes(dst, std::vector<uint8_t>(dst.size(), kCanary));
        EXPECT_EQ(std::memcmp(&copy, &job, sizeof job), 0);
    }
}

// ---------------------------------------------------------------------------
// SSE2

class Sse2PathTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        if (!RunsFeature(FeatureSSE2)) GTEST_SKIP() << "the processor does not run SSE2";
    }

    void SetBone(unsigned bone, const float (&m)[12]) {
        std::memcpy(m_bones[bone], m, sizeof m);
        Quorvan_SSE2::SetSkinningMatrix(bone, m);
    }

    // The blend as the path defines it, one rounded float operation at a
    // time: the position exactly, the normal before renormalisation.
    void Blend(const uint8_t* v, float (&position)[3], float (&normal)[3]) const {
        for (unsigned c = 0; c < 3; ++c) position[c] = normal[c] = 0.0f;
        const float x = Load<float>(v), y = Load<float>(v + 4), z = Load<float>(v + 8);
        const float nx = Load<float>(v + 20), ny = Load<float>(v + 24), nz = Load<float>(v + 28);
        for (unsigned i = 0; i < 4; ++i) {
            const float* m = m_bones[v[12 + i]];
            const float w = Round(v[16 + i] * 0.003921568859368563);
            for (unsigned c = 0; c < 3; ++c) {
                // (y * row1 + z * row2) + x * row0, for component c
                auto rotate = [&](float a, float b, float d) {
                    return Round(Round(Round(b * m[3 + c]) + Round(d * m[6 + c])) + Round(a * m[c]));
                };
                position[c] = Round(position[c] + Round(Round(rotate(x, y, z) + m[9 + c]) * w));
                normal[c] = Round(normal[c] + Round(rotate(nx, ny, nz) * w));
            }
            if (v[13 + i] == 255) break;
        }
    }

    float m_bones[Quorvan_SSE2::kBoneCount][12] = {};
};

TEST_F(Sse2PathTest, PaletteRowsAreReversedWithAZeroFirst) {
    const uint32_t signallingNaN = 0x7FA01234;
    float m[12];
    for (unsigned k = 0; k < 12; ++k) m[k] = 1.5f + k;
    std::memcpy(&m[7], &signallingNaN, 4);
    const Quorvan_SSE2::BonePalette before = Quorvan_SSE2::s_palette;

    Quorvan_SSE2::SetSkinningMatrix(127, m);
    Quorvan_SSE2::SetSkinningMatrix(0, m);
    for (unsigned bone : {0u, 127u}) {
        EXPECT_EQ(reinterpret_cast<uintptr_t>(Quorvan_SSE2::s_palette.rows[bone]) % 16, 0u);
        for (unsigned row = 0; row < 4; ++row) {
            const float* stored = Quorvan_SSE2::s_palette.rows[bone][row];
            EXPECT_EQ(Bits(stored[0]), 0u) << bone << "/" << row;
            for (unsigned lane = 1; lane < 4; ++lane)
                EXPECT_EQ(Bits(stored[lane]), Bits(m[3 * row + 3 - lane])) << bone << "/" << row << "/" << lane;
        }
    }
    EXPECT_EQ(std::memcmp(&Quorvan_SSE2::s_palette.rows[1], &before.rows[1], 126 * sizeof before.rows[0]), 0);
}

TEST_F(Sse2PathTest, EveryKernelBlendsExactlyAndRenormalisesWithinTheEstimate) {
    // The estimate's documented bound, plus the rounding of the product.
    const long double tolerance = 1.5L / 4096 + 1.0L / (1 << 23);
    Numbers numbers{7};
    for (unsigned bone : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 12u, 13u, 127u}) {
        float m[12];
        for (float& element : m) element = numbers.Float();
        SetBone(bone, m);
    }
    // One to four influences, ended by a bone byte of 255 or by the fourth.
    const uint8_t bones[][4] = {{1, 255, 2, 3}, {4, 5, 255, 6}, {7, 8, 9, 255}, {10, 11, 12, 13}, {127, 0, 255, 1}};
    constexpr uint32_t kCount = 5;

    for (uint32_t extraSize : {8u, 12u, 20u, 24u})
        for (bool hasNormal : {false, true}) {
            SCOPED_TRACE(testing::Message() << "extraSize " << extraSize << " hasNormal " << hasNormal);
            CanaryBuffer src(kCount * kSrcStride), dst(kCount * kDstStride);
            for (uint32_t k = 0; k < src.size(); ++k) src.data()[k] = numbers.Byte();
            for (uint32_t n = 0; n < kCount; ++n) {
                uint8_t* v = src.data() + n * kSrcStride;
                for (uint32_t offset : {0u, 4u, 8u, 20u, 24u, 28u}) Store(v + offset, numbers.Float());
                std::memcpy(v + 12, bones[n], 4);
            }
            SkinningJob job = Job(src, dst, extraSize, kCount);
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
                std::memcpy(want, position, 12);
                if (hasNormal) {
                    const long double length = std::sqrt(static_cast<long double>(normal[0]) * normal[0] +
                                                         static_cast<long double>(normal[1]) * normal[1] +
                                                         static_cast<long double>(normal[2]) * normal[2]);
                    for (unsigned c = 0; c < 3; ++c) {
                        const long double unit = normal[c] / length;
                        EXPECT_LE(std::fabs(Load<float>(got + 12 + 4 * c) - unit), tolerance * std::fabs(unit))
                            << "vertex " << n << " component " << c;
                    }
                    std::memcpy(want + 12, got + 12, 12);
                }
                std::memcpy(want + kDstExtra, v + kSrcExtra, extraSize);
            }
            ExpectBytes(dst, expected);

            EXPECT_EQ(std::memcmp(&job, &caller, sizeof job), 0);
            EXPECT_EQ(Quorvan_SSE2::s_job.srcVertex, src.data() + kCount * kSrcStride);
            EXPECT_EQ(Quorvan_SSE2::s_job.dstVertex, dst.data() + kCount * kDstStride);
            EXPECT_EQ(Quorvan_SSE2::s_job.vertexCount, 0u);
        }
    EXPECT_TRUE(HostCapture::Reports().empty());
}

TEST_F(Sse2PathTest, InfluencesEndAtIndex255OrAfterTheFourth) {
    // Bone 5 doubles and moves by (1, 2, 3); bones 6 to 8 move along one
    // axis each; bone 9 poisons whatever it touches, even at weight zero.
    const float nan = std::nanf("");
    // Bones 5 and 6 at weights 128/255 and 127/255, each rounded to a float.
    const float w128 = Round(128 * 0.003921568859368563), w127 = Round(127 * 0.003921568859368563);
    auto Blend = [&](float a, float b) { return Round(Round(a * w128) + Round(b * w127)); };
    SetBone(5, {2, 0, 0, 0, 2, 0, 0, 0, 2, 1, 2, 3});
    SetBone(6, {1, 0, 0, 0, 1, 0, 0, 0, 1, 10, 0, 0});
    SetBone(7, {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 20, 0});
    SetBone(8, {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 40});
    SetBone(9, {1, 0, 0, 0, 1, 0, 0, 0, 1, nan, nan, nan});
    struct Case {
        uint8_t bones[4], weights[4];
        float position[3];  // NaN: all three NaN
    } const cases[] = {
        {{5, 255, 6, 7}, {255, 255, 255, 255}, {3, 4, 5}},
        {{5, 6, 255, 8}, {255, 255, 255, 255}, {14, 5, 6}},
        {{5, 6, 7, 8}, {255, 255, 255, 255}, {16, 27, 48}},
        {{5, 6, 7, 9}, {255, 0, 0, 0}, {nan, nan, nan}},  // the fourth influence runs
        {{5, 255, 6, 7}, {255, 0, 0, 0}, {3, 4, 5}},      // and the sums start again from zero
        {{5, 255, 6, 7}, {0, 0, 255, 0}, {0, 0, 0}},      // weights in plain order
        {{5, 6, 255, 7}, {128, 127, 0, 0}, {Blend(3, 11), Blend(4, 1), Blend(5, 1)}},
    };
    constexpr uint32_t kCount = sizeof cases / sizeof cases[0];
    CanaryBuffer src(kCount * kSrcStride), dst(kCount * kDstStride);
    for (uint32_t n = 0; n < kCount; ++n) {
        uint8_t* v = src.data() + n * kSrcStride;
        for (uint32_t offset : {0u, 4u, 8u}) Store(v + offset, 1.0f);
        std::memcpy(v + 12, cases[n].bones, 4);
        std::memcpy(v + 16, cases[n].weights, 4);
    }
    Quorvan_SSE2::SkinningFull(Job(src, dst, 8, kCount));

    for (uint32_t n = 0; n < kCount; ++n)
        for (unsigned c = 0; c < 3; ++c) {
            const float got = Load<float>(dst.data() + n * kDstStride + 4 * c), want = cases[n].position[c];
            if (std::isnan(want))
                EXPECT_TRUE(std::isnan(got)) << "vertex " << n;
            else
                EXPECT_EQ(got, want) << "vertex " << n << " component " << c;
        }
}

TEST_F(Sse2PathTest, FlagBytesOneToThreeChangeNothing) {
    Numbers numbers{11};
    for (unsigned bone = 0; bone < 4; ++bone) {
        float m[12];
        for (float& element : m) element = numbers.Float();
        SetBone(bone, m);
    }
    constexpr uint32_t kCount = 3;
    CanaryBuffer src(kCount * kSrcStride);
    for (uint32_t k = 0; k < src.size(); ++k) src.data()[k] = numbers.Byte();
    for (uint32_t n = 0; n < kCount; ++n) {
        uint8_t* v = src.data() + n * kSrcStride;
        for (uint32_t offset : {0u, 4u, 8u, 20u, 24u, 28u, 32u, 36u}) Store(v + offset, numbers.Float());
        for (uint32_t k = 12; k < 16; ++k) v[k] %= 4;  // four influences on bones 0 to 3
    }

    auto run = [&](uint8_t tangents, uint8_t aux, uint8_t packed) {
        CanaryBuffer dst(kCount * kDstStride);
        SkinningJob job = Job(src, dst, 20, kCount);
        job.hasNormal = 0x80;
        job.hasTangents = tangents;
        job.hasAux = aux;
        job.packedDirections = packed;
        job.auxOffset = 0x40000000;  // nothing may be read or written there
        job.auxSize = 0x1000;
        Quorvan_SSE2::SkinningFull(job);
        EXPECT_EQ(Quorvan_SSE2::s_job.auxOffset, job.auxOffset);
        return std::vector<uint8_t>(dst.data(), dst.data() + dst.size());
    };
    const std::vector<uint8_t> plain = run(0, 0, 0);
    EXPECT_EQ(run(1, 0, 0), plain);
    EXPECT_EQ(run(0, 0xFF, 0), plain);
    EXPECT_EQ(run(0, 0, 0x80), plain);
    EXPECT_EQ(run(1, 1, 1), plain);
}

TEST_F(Sse2PathTest, OtherExtraSizesAreReportedAndTouchNothing) {
    ExpectRefused(Quorvan_SSE2::SkinningFull, Quorvan_SSE2::s_job, "./Quorvan_SSE2.cpp", 441, "SkinningFull",
                  {0, 4, 16, 28, 84, 10, 0xFFFFFFFF});
}

// ---------------------------------------------------------------------------
// 3DNow!

// The x87 tag word: 0xFFFF when every register is empty, as FEMMS leaves it;
// MMX use marks them all valid.
uint16_t X87Tags() {
    uint32_t environment[7];
    asm volatile("fnstenv %0\n\tfldenv %0" : "+m"(environment));  // fnstenv masks exceptions; restore them
    return static_cast<uint16_t>(environment[2]);
}

// What any MMX instruction does to the x87 registers: marks them all in use.
void MarkX87RegistersInUse() { asm volatile("pxor %mm0, %mm0"); }

class ThreeDNowPathTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        if (!RunsFeature(Feature3DNow)) GTEST_SKIP() << "the processor does not run 3DNow!";
    }
};

TEST_F(ThreeDNowPathTest, PaletteHoldsColumnsInPairsAndLeavesTheMmxStateClear) {
    float m[12];
    for (unsigned k = 0; k < 12; ++k) m[k] = 0.25f + k;
    const uint32_t signallingNaN = 0xFF812345;
    std::memcpy(&m[10], &signallingNaN, 4);
    const Quorvan_3DNow::BonePalette before = Quorvan_3DNow::s_palette;

    Quorvan_3DNow::SetSkinningMatrix(127, m);
    EXPECT_EQ(X87Tags(), 0xFFFF);
    Quorvan_3DNow::SetSkinningMatrix(0, m);
    const uint32_t one = Bits(1.0f);
    for (unsigned bone : {0u, 127u}) {
        const uint32_t want[16] = {Bits(m[3]), Bits(m[0]), Bits(m[9]), Bits(m[6]), Bits(m[4]), Bits(m[1]),
                                   Bits(m[10]), Bits(m[7]), Bits(m[5]), Bits(m[2]), Bits(m[11]), Bits(m[8]),
                                   0, 0, one, 0};
        for (unsigned k = 0; k < 16; ++k)
            EXPECT_EQ(Bits(Quorvan_3DNow::s_palette.pairs[bone][k / 2][k % 2]), want[k]) << bone << "/" << k;
    }
    EXPECT_EQ(std::memcmp(&Quorvan_3DNow::s_palette.pairs[1], &before.pairs[1], 126 * sizeof before.pairs[0]), 0);
}

TEST_F(ThreeDNowPathTest, CopiesOnlyThePassThroughBytes) {
    Numbers numbers{3};
    constexpr uint32_t kCount = 3;
    for (uint32_t extraSize : {8u, 20u, 24u})
        for (uint8_t flags : {0x00, 0xFF}) {
            SCOPED_TRACE(testing::Message() << "extraSize " << extraSize << " flags " << int(flags));
            CanaryBuffer src(kCount * kSrcStride), dst(kCount * kDstStride);
            for (uint32_t k = 0; k < src.size(); ++k) src.data()[k] = numbers.Byte();
            // The source walks backwards from its last vertex.
            SkinningJob job = Job(src, dst, extraSize, kCount);
            job.srcVertex = src.data() + (kCount - 1) * kSrcStride;
            job.srcStride = static_cast<uint32_t>(-static_cast<int32_t>(kSrcStride));
            job.hasNormal = job.hasTangents = job.hasAux = job.packedDirections = flags;
            const SkinningJob caller = job;
            MarkX87RegistersInUse();
            Quorvan_3DNow::SkinningSingle(job);

            std::vector<uint8_t> expected(dst.size(), kCanary);
            for (uint32_t n = 0; n < kCount; ++n)
                std::memcpy(expected.data() + n * kDstStride + kDstExtra,
                            src.data() + (kCount - 1 - n) * kSrcStride + kSrcExtra, extraSize);
            ExpectBytes(dst, expected);
            EXPECT_EQ(X87Tags(), 0xFFFF);
            EXPECT_EQ(std::memcmp(&job, &caller, sizeof job), 0);
            EXPECT_EQ(Quorvan_3DNow::s_job.srcVertex, src.data() - kSrcStride);
            EXPECT_EQ(Quorvan_3DNow::s_job.dstVertex, dst.data() + kCount * kDstStride);
            EXPECT_EQ(Quorvan_3DNow::s_job.vertexCount, 0u);
        }
    EXPECT_TRUE(HostCapture::Reports().empty());
}

// Refusing a size runs no 3DNow! instruction, so this runs everywhere.
using ThreeDNowDispatchTest = LibraryTest;

TEST_F(ThreeDNowDispatchTest, OtherExtraSizesAreReportedAndTouchNothing) {
    ExpectRefused(Quorvan_3DNow::SkinningSingle, Quorvan_3DNow::s_job, "./Quorvan_3DNow.cpp", 312, "SkinningSingle",
                  {0, 4, 12, 16, 28, 84, 22, 0xFFFFFFFF});
}

}  // namespace
