// Whatever floating-point settings the host left in the processor, every
// skinning call and bone load writes the bytes it writes under the defaults,
// and hands the host's settings back.

#include <gtest/gtest.h>

#include <Quorvan/QuorvanSkinning.h>

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/Quorvan_SSE2.h"
#include "Canary.h"
#include "Lifecycle.h"
#include "RandomSkinningJob.h"

namespace {

// The host's settings: MXCSR's control bits, and the x87 control word.
struct Settings {
    uint32_t mxcsr;
    uint16_t x87;
};

Settings Current(bool sse) {
    Settings s{0, 0};
    if (sse) asm volatile("stmxcsr %0" : "=m"(s.mxcsr));
    asm volatile("fnstcw %0" : "=m"(s.x87));
    s.mxcsr &= 0xFFC0;  // without the exception flags
    return s;
}

void Apply(const Settings& s, bool sse) {
    if (sse) {
        uint32_t mxcsr;
        asm volatile("stmxcsr %0" : "=m"(mxcsr));
        mxcsr = (mxcsr & 0x3F) | s.mxcsr;
        asm volatile("ldmxcsr %0" : : "m"(mxcsr));
    }
    asm volatile("fnclex\n\tfldcw %0" : : "m"(s.x87));  // as a host does before it unmasks
}

constexpr uint32_t kDaz = 0x0040, kFtz = 0x8000, kDown = 0x2000, kUp = 0x4000, kTowardZero = 0x6000;
constexpr uint32_t kMxcsrDefault = 0x1F80, kInvalidMask = 0x0080;
constexpr uint16_t kX87Default = 0x037F, kX87Down = 0x0400, kX87Up = 0x0800, kX87TowardZero = 0x0C00;
constexpr uint16_t kX87Single = 0x0000, kX87Double = 0x0200, kX87Extended = 0x0300;

const struct {
    const char* name;
    Settings settings;
} kHostSettings[] = {
    {"flush to zero", {kMxcsrDefault | kFtz, kX87Default}},
    {"denormals are zero", {kMxcsrDefault | kDaz, kX87Default}},
    {"both", {kMxcsrDefault | kFtz | kDaz, kX87Default}},
    {"rounding down", {kMxcsrDefault | kDown, kX87Default}},
    {"rounding up", {kMxcsrDefault | kUp, kX87Default}},
    {"rounding toward zero", {kMxcsrDefault | kTowardZero, kX87Default}},
    {"invalid operations unmasked", {kMxcsrDefault & ~kInvalidMask, kX87Default}},
    {"x87 invalid operations unmasked", {kMxcsrDefault, kX87Default & ~0x0001}},
    {"x87 rounding down", {kMxcsrDefault, (kX87Default & ~kX87Extended) | kX87Down | kX87Extended}},
    {"x87 rounding up, 53 bits", {kMxcsrDefault, (kX87Default & ~kX87Extended) | kX87Up | kX87Double}},
    {"x87 toward zero, 24 bits", {kMxcsrDefault, (kX87Default & ~kX87Extended) | kX87TowardZero | kX87Single}},
    {"everything at once", {kMxcsrDefault | kFtz | kDaz | kUp, (kX87Default & ~kX87Extended) | kX87Down | kX87Double}},
};

// Bones of which every other one makes products below the smallest normal
// float, so that flushing and rounding show. Made once, under the defaults.
const std::vector<std::array<float, 12>>& Bones() {
    static const std::vector<std::array<float, 12>> bones = [] {
        std::mt19937 random(5);
        std::vector<std::array<float, 12>> made(256);
        for (unsigned b = 0; b < 256; ++b) {
            made[b] = RandomMatrix(random);
            if (b % 2 == 0)
                for (float& e : made[b]) e *= 0x1p-122f;
        }
        return made;
    }();
    return bones;
}

class HostFloatSettingsTest : public LibraryTest {
protected:
    // `run` on a fresh copy of each job's arena under the defaults and under
    // each host setting: the same bytes, and the host's settings back after.
    void ExpectSameBytes(const std::string& what, unsigned bones, unsigned features, bool sse,
                         const std::function<void(const ArenaJob&, std::vector<uint8_t>&)>& run,
                         std::vector<uint32_t> extraSizes = {}) {
        std::mt19937 random(20261124);
        const Settings host = Current(sse);
        Bones();
        for (int n = 0; n < 6; ++n) {
            const uint32_t extraSize =
                extraSizes.empty() ? 4 * (random() % 22) : extraSizes[random() % extraSizes.size()];
            const ArenaJob a = RandomJob(random, {extraSize, features, bones, 12, 16, true});
            std::vector<uint8_t> expected = a.arena;
            run(a, expected);
            for (const auto& setting : kHostSettings) {
                if (!sse && setting.settings.x87 == kX87Default) continue;
                std::vector<uint8_t> got = a.arena;
                Apply(setting.settings, sse);
                run(a, got);
                const Settings after = Current(sse);
                Apply(host, sse);
                ASSERT_EQ(Difference(got, expected), "") << what << ", " << setting.name << ", job " << n;
                ASSERT_EQ(after.mxcsr, sse ? setting.settings.mxcsr : 0u) << what << ", " << setting.name;
                ASSERT_EQ(after.x87, setting.settings.x87) << what << ", " << setting.name;
            }
        }
    }

    static bool Sse() { return Runs(FeatureSSE); }
};

}  // namespace

TEST_F(HostFloatSettingsTest, VectorPathsAndTheThreadSafeCalls) {
    if (!Sse()) GTEST_SKIP() << "no SSE";
    for (const VectorPath path : {VectorPath::Sse, VectorPath::Avx2, VectorPath::Avx512}) {
        if (!ProcessorRunsVectorPath(path)) continue;
        for (const bool full : {true, false})
            ExpectSameBytes(std::string(VectorPathName(path)) + (full ? " Full" : " Single"), 256,
                            unsigned(full ? kSkinNormal | kSkinTangents : kSkinTangents), true,
                            [&](const ArenaJob& a, std::vector<uint8_t>& memory) {
                                Quorvan_SSE sse(path);
                                for (unsigned b = 0; b < 256; ++b) sse.SetSkinningMatrix(b, Bones()[b].data());
                                const SkinningJob job = a.On(memory);
                                full ? sse.SkinningFull(&job) : sse.SkinningSingle(&job);
                            });
    }
    ExpectSameBytes("split and stitched", 256, kSkinNormal | kSkinTangents, true,
                    [](const ArenaJob& a, std::vector<uint8_t>& memory) {
                        auto palette = std::make_unique<QuorvanSkinningPalette>();
                        QuorvanSkinningResetPalette(palette.get());
                        for (unsigned b = 0; b < 256; ++b) QuorvanSkinningSetMatrix(palette.get(), b, Bones()[b].data());
                        const SkinningJob job = a.On(memory);
                        QuorvanSkinningRange ranges[3];
                        const uint32_t count = QuorvanSkinningSplit(&job, 3, ranges);
                        for (uint32_t r = 0; r < count; ++r) QuorvanSkinningFullRange(palette.get(), &ranges[r]);
                        QuorvanSkinningStitch(palette.get(), ranges, count);
                    });
    if (Runs(FeatureSSE2))
        ExpectSameBytes(
            "the SSE2 path", 128, kSkinNormal, true,
            [](const ArenaJob& a, std::vector<uint8_t>& memory) {
                for (unsigned b = 0; b < 128; ++b) Quorvan_SSE2::SetSkinningMatrix(b, Bones()[b].data());
                Quorvan_SSE2::SkinningFull(a.On(memory));
            },
            {8, 12, 20, 24});
}

// The scalar implementation runs without SSE too: there only the x87
// settings apply.
TEST_F(HostFloatSettingsTest, ScalarImplementation) {
    for (const bool full : {true, false})
        ExpectSameBytes(full ? "scalar Full" : "scalar Single", Quorvan_std::kBoneCount, kSkinNormal | kSkinPacked,
                        Sse(), [&](const ArenaJob& a, std::vector<uint8_t>& memory) {
                            Quorvan_std scalar;
                            for (unsigned b = 0; b < Quorvan_std::kBoneCount; ++b)
                                scalar.SetSkinningMatrix(b, Bones()[b].data());
                            const SkinningJob job = a.On(memory);
                            full ? scalar.SkinningFull(&job) : scalar.SkinningSingle(&job);
                        });
}

// 3e-39 * 0.5 is a product below the smallest normal float, which flushing
// would make 0; a refused job reports with the host's settings in place.
TEST_F(HostFloatSettingsTest, SubnormalProductsSurviveFlushToZeroAndReportsKeepTheHostsSettings) {
    if (!Sse()) GTEST_SKIP() << "no SSE";
    const float half[12] = {0.5f, 0, 0, 0, 0.5f, 0, 0, 0, 0.5f, 0, 0, 0};
    const float position[3] = {3e-39f, 1e-38f, -2e-39f};
    uint8_t src[64] = {};
    std::memcpy(src, position, 12);
    src[18] = 255;
    const Settings host = Current(true);
    Quorvan_SSE sse;
    sse.SetSkinningMatrix(0, half);
    for (const bool full : {true, false}) {
        CanaryBuffer dst(12);
        SkinningJob job{};
        job.srcVertex = src, job.dstVertex = dst.data(), job.vertexCount = 1;
        Apply({kMxcsrDefault | kFtz | kDaz, host.x87}, true);
        full ? sse.SkinningFull(&job) : sse.SkinningSingle(&job);
        job.extraSize = 6;
        sse.SkinningFull(&job);
        const Settings after = Current(true);
        Apply(host, true);
        EXPECT_EQ(after.mxcsr, kMxcsrDefault | kFtz | kDaz);
        for (int c = 0; c < 3; ++c) EXPECT_EQ(Load<float>(dst.data() + 4 * c), position[c] * 0.5f) << c;
        EXPECT_EQ(dst.FirstGuardHit(), -1);
        ExpectReports(true, "./Quorvan_SSE.cpp", 1081, "Unsupported 'extraSize'=6 in SkinningFull()");
    }
}
