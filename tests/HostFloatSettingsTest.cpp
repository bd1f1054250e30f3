// Whatever floating-point settings the host left in the processor, every
// skinning call and bone load writes the bytes it writes under the defaults,
// and hands the host's settings back.

#include <gtest/gtest.h>

#include <Quorvan/QuorvanSkinning.h>

#include <cstring>
#include <memory>
#include <random>

#include "Canary.h"
#include "HostCapture.h"
#include "HostFloatSettings.h"
#include "InterfaceSkinning.h"

const std::vector<std::array<float, 12>>& SubnormalProductBones() {
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

void ExpectSameBytesUnderHostSettings(const std::string& what, unsigned bones, unsigned features,
                                      const std::function<void(const ArenaJob&, std::vector<uint8_t>&)>& run,
                                      const std::vector<uint32_t>& extraSizes) {
    std::mt19937 random(20261124);
    const FloatSettings host = CurrentFloatSettings();
    SubnormalProductBones();
    for (int n = 0; n < 6; ++n) {
        const uint32_t extraSize = extraSizes.empty() ? 4 * (random() % 22) : extraSizes[random() % extraSizes.size()];
        const ArenaJob a = RandomJob(random, {extraSize, features, bones, 12, 16, true});
        std::vector<uint8_t> expected = a.arena;
        run(a, expected);
        for (const NamedFloatSettings& setting : HostFloatSettings()) {
            std::vector<uint8_t> got = a.arena;
            ApplyFloatSettings(setting.settings);
            run(a, got);
            const FloatSettings after = CurrentFloatSettings();
            ApplyFloatSettings(host);
            ASSERT_EQ(Difference(got, expected), "") << what << ", " << setting.name << ", job " << n;
            ASSERT_EQ(after, setting.settings) << what << ", " << setting.name;
        }
    }
}

namespace {

class HostFloatSettingsTest : public ::testing::Test {
protected:
    void SetUp() override { HostCapture::Clear(); }

    static std::unique_ptr<QuorvanSkinningPalette> LoadedPalette(const float* bone0 = nullptr) {
        auto palette = std::make_unique<QuorvanSkinningPalette>();
        QuorvanSkinningResetPalette(palette.get());
        for (unsigned b = 0; b < 256; ++b)
            QuorvanSkinningSetMatrix(palette.get(), b, b == 0 && bone0 ? bone0 : SubnormalProductBones()[b].data());
        return palette;
    }
};

}  // namespace

TEST_F(HostFloatSettingsTest, ThreadSafeCallsWholeAndSplit) {
    if (!QuorvanSkinningVectorUnit()) GTEST_SKIP() << "the processor has no vector unit the calls run on";
    using Palette = const QuorvanSkinningPalette*;
    const struct {
        const char* name;
        void (*run)(Palette, const SkinningJob&);
    } calls[] = {
        {"Full", [](Palette p, const SkinningJob& job) { QuorvanSkinningFull(p, &job); }},
        {"Single", [](Palette p, const SkinningJob& job) { QuorvanSkinningSingle(p, &job); }},
        {"split and stitched",
         [](Palette p, const SkinningJob& job) {
             QuorvanSkinningRange ranges[3];
             const uint32_t count = QuorvanSkinningSplit(&job, 3, ranges);
             for (uint32_t r = 0; r < count; ++r) QuorvanSkinningFullRange(p, &ranges[r]);
             QuorvanSkinningStitch(p, ranges, count);
         }},
    };
    for (const auto& call : calls)
        ExpectSameBytesUnderHostSettings(call.name, 256, kSkinNormal | kSkinTangents,
                                         [&](const ArenaJob& a, std::vector<uint8_t>& memory) {
                                             call.run(LoadedPalette().get(), a.On(memory));
                                         });
}

// Where the build has them: the scalar implementation runs without SSE too,
// under the x87 settings alone.
TEST_F(HostFloatSettingsTest, InterfaceImplementations) {
    for (const InterfaceImplementation& implementation : InterfaceImplementations())
        for (const bool full : {true, false}) {
            const unsigned features = !implementation.vector ? kSkinNormal | kSkinPacked
                                      : full                 ? kSkinNormal | kSkinTangents
                                                             : kSkinTangents;
            ExpectSameBytesUnderHostSettings(implementation.name + (full ? " Full" : " Single"), implementation.bones,
                                             features, [&](const ArenaJob& a, std::vector<uint8_t>& memory) {
                                                 const InterfaceSkinner skinner = implementation.make();
                                                 for (unsigned b = 0; b < implementation.bones; ++b)
                                                     skinner.load(b, SubnormalProductBones()[b].data());
                                                 (full ? skinner.full : skinner.single)(a.On(memory));
                                             });
        }
}

// 3e-39 * 0.5 is a product below the smallest normal float, and 3e-39 an
// input below it, both of which flushing would make 0; a refused job reports
// with the host's settings in place.
TEST_F(HostFloatSettingsTest, SubnormalProductsSurviveFlushToZeroAndReportsKeepTheHostsSettings) {
    if (!QuorvanSkinningVectorUnit()) GTEST_SKIP() << "the processor has no vector unit the calls run on";
    const float half[12] = {0.5f, 0, 0, 0, 0.5f, 0, 0, 0, 0.5f, 0, 0, 0};
    const float position[3] = {3e-39f, 1e-38f, -2e-39f};
    uint8_t src[64] = {};
    std::memcpy(src, position, 12);
    src[18] = 255;
    const FloatSettings host = CurrentFloatSettings();
    const auto palette = LoadedPalette(half);
    for (const bool full : {true, false}) {
        CanaryBuffer dst(12);
        SkinningJob job{};
        job.srcVertex = src, job.dstVertex = dst.data(), job.vertexCount = 1;
        ApplyFloatSettings(FlushingToZero());
        (full ? QuorvanSkinningFull : QuorvanSkinningSingle)(palette.get(), &job);
        job.extraSize = 6;
        const QuorvanSkinningResult refused = QuorvanSkinningFull(palette.get(), &job);
        const FloatSettings after = CurrentFloatSettings();
        ApplyFloatSettings(host);
        EXPECT_EQ(refused, QuorvanSkinningUnsupportedExtraSize);
        EXPECT_EQ(after, FlushingToZero());
        for (int c = 0; c < 3; ++c) EXPECT_EQ(Load<float>(dst.data() + 4 * c), position[c] * 0.5f) << c;
        EXPECT_EQ(dst.FirstGuardHit(), -1);
        ASSERT_EQ(HostCapture::Reports().size(), 1u);
        EXPECT_EQ(HostCapture::Reports()[0].line, 1081);
        EXPECT_EQ(HostCapture::Reports()[0].message, "Unsupported 'extraSize'=6 in SkinningFull()");
        HostCapture::Clear();
    }
}
