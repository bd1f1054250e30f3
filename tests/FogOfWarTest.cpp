#include <vector>

#include "MemoryHelperTest.h"

namespace {

enum Level { Low, Half, Full };

Level LevelOf(uint32_t flags, uint32_t fullMask, uint32_t halfMask) {
    return (flags & fullMask) ? Full : (flags & halfMask) ? Half : Low;
}

// What each form needs from a test: how to call it, its report, how many
// texels one step covers and what a texel becomes at each level.
struct Fog16 {
    using Texel = uint16_t;
    static constexpr uint32_t kStep = 4;
    static constexpr int kLine = 1269;
    static constexpr const char* kMessage = "FowAlpha16Update, Must have multiple's of 4 for size only.";

    static void Update(Quorvan& impl, const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                       uint32_t halfMask, Texel* texels) {
        impl.FowAlpha16Update(visibility, count, fullMask, halfMask, texels);
    }
    static Texel Expected(bool, Texel old, Level level) {
        constexpr Texel kAlpha[3] = {0x3, 0x7, 0xF};
        return static_cast<Texel>((old & 0x0FFF) | kAlpha[level] << 12);
    }
};

struct Fog32 {
    using Texel = uint32_t;
    static constexpr uint32_t kStep = 2;
    static constexpr int kLine = 1365;
    static constexpr const char* kMessage = "FowAlpha32Update, Must have multiple's of 4 for size only.";

    static void Update(Quorvan& impl, const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                       uint32_t halfMask, Texel* texels) {
        impl.FowAlpha32Update(visibility, count, fullMask, halfMask, texels);
    }
    // The two implementations' middle and low levels differ on purpose.
    static Texel Expected(bool vector, Texel old, Level level) {
        constexpr Texel kVectorAlpha[3] = {0x30, 0x70, 0xFF}, kScalarAlpha[3] = {0x40, 0x80, 0xFF};
        return (old & 0x00FFFFFF) | (vector ? kVectorAlpha : kScalarAlpha)[level] << 24;
    }
};

class FogOfWarTest : public MemoryHelperTest {
protected:
    // One or two random bits: sparse flag words then meet either mask, both
    // or neither often enough for every level to show up.
    uint32_t RandomMask() { return 1u << (m_rng() % 32) | 1u << (m_rng() % 32); }

    // Updates `count` texels with random flags, masks and colours, with a
    // few texels and flag words after them and canaries beyond; flag words
    // and texels start `shift` elements past a 32-byte boundary. Texels up to
    // the end of the last step change by the flag rule (the ones after
    // `count` by the flag words that follow), the others stay.
    template <class Form>
    void CheckUpdate(uint32_t count, uint32_t shift) {
        using Texel = typename Form::Texel;
        constexpr uint32_t kPadding = 8;
        const uint32_t total = count + kPadding;
        const uint32_t fullMask = RandomMask(), halfMask = RandomMask();
        alignas(32) uint32_t flagStorage[256 + kPadding + 8];
        ASSERT_LE(shift + total, sizeof flagStorage / 4);
        for (auto& flags : flagStorage) flags = m_rng() & m_rng() & m_rng();
        const uint32_t* visibility = flagStorage + shift;
        std::vector<Texel> old(total);
        CanaryBuffer texels(total * sizeof(Texel), 64 + shift * sizeof(Texel));
        for (uint32_t k = 0; k < total; ++k) {
            old[k] = static_cast<Texel>(m_rng());
            Store<Texel>(texels.data() + k * sizeof(Texel), old[k]);
        }

        Form::Update(Impl(), visibility, count, fullMask, halfMask, reinterpret_cast<Texel*>(texels.data()));
        EXPECT_TRUE(X87StackUsable());

        const uint32_t rewritten = (count + Form::kStep - 1) / Form::kStep * Form::kStep;
        for (uint32_t k = 0; k < total; ++k) {
            const Texel expected =
                k < rewritten ? Form::Expected(Vector(), old[k], LevelOf(visibility[k], fullMask, halfMask)) : old[k];
            EXPECT_EQ(Load<Texel>(texels.data() + k * sizeof(Texel)), expected)
                << "count " << count << ", texel " << k << std::hex << ", flags 0x" << visibility[k] << ", masks 0x"
                << fullMask << "/0x" << halfMask;
        }
        EXPECT_EQ(texels.FirstGuardHit(), -1) << count;
        if (Vector() && count % 4 != 0)
            ExpectVectorReport(Form::kLine, Form::kMessage);
        else
            EXPECT_TRUE(HostCapture::Reports().empty()) << count;
    }

    // The texels after an update of `count` on `impl`, and a few after them,
    // from fixed flags and colours.
    template <class Form>
    static std::vector<uint8_t> Updated(Quorvan& impl, uint32_t count) {
        using Texel = typename Form::Texel;
        const uint32_t total = count + 8;
        std::vector<uint32_t> flags(total);
        CanaryBuffer texels(total * sizeof(Texel));
        for (uint32_t k = 0; k < total; ++k) {
            flags[k] = k * 0x9E3779B9u;
            Store<Texel>(texels.data() + k * sizeof(Texel), static_cast<Texel>(k * 0x2545F491u));
        }
        Form::Update(impl, flags.data(), count, 0x00010100, 0x20000002, reinterpret_cast<Texel*>(texels.data()));
        EXPECT_EQ(texels.FirstGuardHit(), -1) << count;
        HostCapture::Clear();
        return {texels.data(), texels.data() + texels.size()};
    }
};

TEST_P(FogOfWarTest, SetsEachTexelsAlphaByItsFlagWord) {
    // Every count up to 256 meets each path's wide steps and the SSE steps
    // after them.
    for (uint32_t count = 0; count <= 256; count += 4) {
        CheckUpdate<Fog16>(count, count % 5);
        CheckUpdate<Fog32>(count, count % 7);
    }
}

TEST_P(FogOfWarTest, CountsOffTheStepRewriteToTheEndOfTheStep) {
    for (uint32_t count = 1; count < 80; count += count % 4 == 3 ? 2 : 1) {
        CheckUpdate<Fog16>(count, count % 3);
        CheckUpdate<Fog32>(count, count % 5);
    }
}

TEST_P(FogOfWarTest, CountsOffTheStepRewriteWhatTheSsePathRewrites) {
    if (!Vector()) GTEST_SKIP() << "the scalar form takes any count";
    for (uint32_t count = 1; count < 80; count += count % 4 == 3 ? 2 : 1) {
        std::vector<uint8_t> sse16, sse32;
        OnSsePath([&](Quorvan& sse) {
            sse16 = Updated<Fog16>(sse, count);
            sse32 = Updated<Fog32>(sse, count);
        });
        EXPECT_EQ(Updated<Fog16>(Impl(), count), sse16) << count;
        EXPECT_EQ(Updated<Fog32>(Impl(), count), sse32) << count;
    }
}

TEST_P(FogOfWarTest, CountZeroTouchesNothing) {
    Impl().FowAlpha16Update(nullptr, 0, ~0u, ~0u, nullptr);
    Impl().FowAlpha32Update(nullptr, 0, ~0u, ~0u, nullptr);
    EXPECT_TRUE(HostCapture::Reports().empty());
}

TEST_P(FogOfWarTest, KnownTexels) {
    // Half only, both masks, neither, full only.
    const uint32_t visibility[4] = {0x2, 0x3, 0x4, 0x1};
    uint16_t texels16[4] = {0x1234, 0xABCD, 0x0FFF, 0x0000};
    Impl().FowAlpha16Update(visibility, 4, 0x1, 0x2, texels16);
    EXPECT_EQ(texels16[0], 0x7234);
    EXPECT_EQ(texels16[1], 0xFBCD);
    EXPECT_EQ(texels16[2], 0x3FFF);
    EXPECT_EQ(texels16[3], 0xF000);

    uint32_t texels32[4] = {0x12345678, 0x00ABCDEF, 0xFFFFFFFF, 0x00000000};
    Impl().FowAlpha32Update(visibility, 4, 0x1, 0x2, texels32);
    EXPECT_EQ(texels32[0], Vector() ? 0x70345678u : 0x80345678u);
    EXPECT_EQ(texels32[1], 0xFFABCDEFu);
    EXPECT_EQ(texels32[2], Vector() ? 0x30FFFFFFu : 0x40FFFFFFu);
    EXPECT_EQ(texels32[3], 0xFF000000u);

    // No mask: every texel gets the low level.
    Impl().FowAlpha16Update(visibility, 4, 0, 0, texels16);
    EXPECT_EQ(texels16[1], 0x3BCD);
    Impl().FowAlpha32Update(visibility, 4, 0, 0, texels32);
    EXPECT_EQ(texels32[1], Vector() ? 0x30ABCDEFu : 0x40ABCDEFu);
    EXPECT_TRUE(HostCapture::Reports().empty());
}

}  // namespace

INSTANTIATE_FOR_EVERY_IMPLEMENTATION(FogOfWarTest);
