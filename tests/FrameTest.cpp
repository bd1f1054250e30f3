#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <typeinfo>
#include <vector>

#include <Quorvan/Quorvan.h>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/SseBonePalette.h"
#include "Canary.h"
#include "HostCapture.h"
#include "Lifecycle.h"

using FrameTest = LibraryTest;

TEST_F(FrameTest, RefusesEveryVersionButSix) {
    for (int version : {0, 5, 7, -6, 600}) {
        EXPECT_FALSE(Quorvan::Initialize(false, version)) << version;
        EXPECT_FALSE(Quorvan::Initialize(true, version)) << version;
    }
    EXPECT_EQ(Quorvan::s_refCount, 0u);
    EXPECT_EQ(Quorvan::i(), nullptr);
    EXPECT_TRUE(HostCapture::Traces().empty());

    ASSERT_TRUE(Quorvan::Initialize(true, 6));
    EXPECT_FALSE(Quorvan::Initialize(false, 5));
    EXPECT_EQ(Quorvan::s_refCount, 1u);
}

// Skipping detection always gives the scalar implementation; detection gives
// the vector one exactly when the operating system runs SSE.
TEST_F(FrameTest, TheFirstUserChoosesTheImplementationAndWritesTheTraceLine) {
    _processor_info info;
    _cpuid(&info);
    const bool sse = (info.osFeatures & FeatureSSE) != 0;
    for (const bool skip : {true, false}) {
        SCOPED_TRACE(skip ? "detection skipped" : "detected");
        Reset();
        ASSERT_TRUE(Quorvan::Initialize(skip, 6));
        ASSERT_NE(Quorvan::i(), nullptr);
        const bool vector = !skip && sse;
        EXPECT_EQ(typeid(*Quorvan::i()), vector ? typeid(Quorvan_SSE) : typeid(Quorvan_std));
        ASSERT_EQ(HostCapture::Traces().size(), 1u);
        const std::string cpu = skip ? "unknown" : info.cpuName;
        EXPECT_EQ(HostCapture::Traces()[0], "QUORVAN -- Version=6, Cpu=" + cpu + ", Mode=" + (vector ? "SSE" : "x87"));
        EXPECT_TRUE(HostCapture::Reports().empty());
    }
}

// Later users only count, whatever they ask for; the last one out deletes the
// instance, a Shutdown too many changes nothing, and the next user starts
// afresh with a trace line of its own.
TEST_F(FrameTest, UsersAreCountedAndTheLastOneDeletesTheInstance) {
    for (int round = 0; round < 2; ++round) {
        Quorvan::Shutdown();
        EXPECT_EQ(Quorvan::s_refCount, 0u);
        EXPECT_EQ(Quorvan::s_pQuorvan, nullptr);
        for (bool skip : {true, false, true}) ASSERT_TRUE(Quorvan::Initialize(skip, 6));
        Quorvan* first = Quorvan::i();
        EXPECT_EQ(typeid(*first), typeid(Quorvan_std));
        for (unsigned users = 3; users > 0; Quorvan::Shutdown(), --users) {
            EXPECT_EQ(Quorvan::s_refCount, users);
            EXPECT_EQ(Quorvan::s_pQuorvan, first);
        }
        EXPECT_EQ(HostCapture::Traces().size(), round + 1u);
    }
}

TEST_F(FrameTest, EachVectorInstanceResetsTheSharedPaletteToIdentity) {
    if (!RunsSse()) GTEST_SKIP() << "the operating system does not run SSE here";
    for (int instance = 0; instance < 2; ++instance) {
        std::memset(&s_ssePalette, 0x5A, sizeof s_ssePalette);
        if (instance == 0) {
            ASSERT_TRUE(Quorvan::Initialize(false, 6));
            ASSERT_EQ(typeid(*Quorvan::i()), typeid(Quorvan_SSE));
        } else {
            Quorvan_SSE second;
        }
        for (unsigned bone = 0; bone < 256; ++bone) {
            for (unsigned k = 0; k < 16; ++k)
                ASSERT_EQ(Bits(s_ssePalette.rows[bone][k / 4][k % 4]), Bits(k % 5 == 0 ? 1.0f : 0.0f))
                    << "bone " << bone << " element " << k;
            for (unsigned k = 0; k < 9; ++k)
                ASSERT_EQ(s_ssePalette.quantised[bone][k], k % 4 == 0 ? 127 : 0) << "bone " << bone << " q" << k;
        }
    }
}

#if defined(__GNUC__) && !defined(_MSC_VER)
// In this compiler's ABI a pointer to a virtual member holds one plus the
// byte offset of its slot, and the destructor takes the first two slots.
template <class Member>
std::ptrdiff_t TableSlot(Member member) {
    struct {
        std::ptrdiff_t pointer, adjustment;
    } raw;
    static_assert(sizeof member == sizeof raw, "two-word member pointers");
    std::memcpy(&raw, &member, sizeof raw);
    EXPECT_EQ(raw.pointer % static_cast<std::ptrdiff_t>(sizeof(void*)), 1);
    return (raw.pointer - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)) - 1;
}

TEST(InterfaceTest, OperationsKeepTheirTableSlots) {
    EXPECT_EQ(TableSlot(&Quorvan::SkinningFull), 1);
    EXPECT_EQ(TableSlot(&Quorvan::SkinningSingle), 2);
    EXPECT_EQ(TableSlot(&Quorvan::SetSkinningMatrix), 3);
    EXPECT_EQ(TableSlot(&Quorvan::CachelessCopy), 4);
    EXPECT_EQ(TableSlot(&Quorvan::TestMaskRect), 5);
    EXPECT_EQ(TableSlot(&Quorvan::FowAlpha16Update), 6);
    EXPECT_EQ(TableSlot(&Quorvan::FowAlpha32Update), 7);
    EXPECT_EQ(TableSlot(&Quorvan::ANDMaskMemory), 8);
}
#endif

// The records' sizes are checked where the library compiles; these are the
// places inside them, where a swap of two fields would not show in a size.
TEST(InterfaceTest, RecordFieldsSitWhereHostsPutThem) {
#define AT(field) offsetof(SkinningJob, field)
    const std::vector<std::size_t> job = {AT(srcVertex), AT(srcStride), AT(srcExtraOffset), AT(dstVertex),
                                          AT(dstStride), AT(dstExtraOffset), AT(auxOffset), AT(auxSize),
                                          AT(auxBase), AT(extraSize), AT(vertexCount), AT(hasNormal),
                                          AT(hasTangents), AT(hasAux), AT(packedDirections)};
#undef AT
#define AT(field) offsetof(_processor_info, field)
    const std::vector<std::size_t> info = {AT(vendorId), AT(cpuName), AT(family), AT(model), AT(stepping),
                                           AT(cpuFeatures), AT(osFeatures), AT(checkedFeatures)};
#undef AT
    // Three addresses of pointer size p among 32-bit words, then four bytes.
    const std::size_t p = sizeof(void*);
    EXPECT_EQ(job, (std::vector<std::size_t>{0, p, p + 4, p + 8, 2 * p + 8, 2 * p + 12, 2 * p + 16, 2 * p + 20,
                                             2 * p + 24, 3 * p + 24, 3 * p + 28, 3 * p + 32, 3 * p + 33,
                                             3 * p + 34, 3 * p + 35}));
    EXPECT_EQ(info, (std::vector<std::size_t>{0, 13, 48, 52, 56, 60, 64, 68}));
}
