#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <typeinfo>

#include <Quorvan/Quorvan.h>
#include <host/Memory.h>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/SseBonePalette.h"
#include "HostCapture.h"
#include "Lifecycle.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

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
    Quorvan* first = Quorvan::i();
    EXPECT_FALSE(Quorvan::Initialize(false, 5));
    EXPECT_EQ(Quorvan::s_refCount, 1u);
    EXPECT_EQ(Quorvan::i(), first);
}

TEST_F(FrameTest, SkippedDetectionGivesTheScalarImplementation) {
    ASSERT_TRUE(Quorvan::Initialize(true, 6));
    ASSERT_NE(Quorvan::i(), nullptr);
    EXPECT_EQ(typeid(*Quorvan::i()), typeid(Quorvan_std));
    ASSERT_EQ(HostCapture::Traces().size(), 1u);
    EXPECT_EQ(HostCapture::Traces()[0], "QUORVAN -- Version=6, Cpu=unknown, Mode=x87");
    EXPECT_TRUE(HostCapture::Reports().empty());
}

TEST_F(FrameTest, DetectionChoosesByWhatTheOperatingSystemRuns) {
    _processor_info info;
    _cpuid(&info);
    const bool sse = (info.osFeatures & FeatureSSE) != 0;

    ASSERT_TRUE(Quorvan::Initialize(false, 6));
    ASSERT_NE(Quorvan::i(), nullptr);
    if (sse)
        EXPECT_EQ(typeid(*Quorvan::i()), typeid(Quorvan_SSE));
    else
        EXPECT_EQ(typeid(*Quorvan::i()), typeid(Quorvan_std));
    ASSERT_EQ(HostCapture::Traces().size(), 1u);
    EXPECT_EQ(HostCapture::Traces()[0], std::string("QUORVAN -- Version=6, Cpu=") + info.cpuName +
                                            ", Mode=" + (sse ? "SSE" : "x87"));
}

TEST_F(FrameTest, LaterUsersOnlyCount) {
    ASSERT_TRUE(Quorvan::Initialize(true, 6));
    Quorvan* first = Quorvan::i();
    // The other value of skipDetection changes nothing once an instance exists.
    ASSERT_TRUE(Quorvan::Initialize(false, 6));
    ASSERT_TRUE(Quorvan::Initialize(true, 6));
    EXPECT_EQ(Quorvan::s_refCount, 3u);
    EXPECT_EQ(Quorvan::i(), first);
    EXPECT_EQ(Quorvan::s_pQuorvan, first);
    EXPECT_EQ(typeid(*first), typeid(Quorvan_std));
    EXPECT_EQ(HostCapture::Traces().size(), 1u);

    Quorvan::Shutdown();
    Quorvan::Shutdown();
    EXPECT_EQ(Quorvan::s_refCount, 1u);
    EXPECT_EQ(Quorvan::i(), first);
    Quorvan::Shutdown();
    EXPECT_EQ(Quorvan::s_refCount, 0u);
    EXPECT_EQ(Quorvan::i(), nullptr);
}

TEST_F(FrameTest, ShutdownWithoutUsersIsHarmless) {
    Quorvan::Shutdown();
    Quorvan::Shutdown();
    EXPECT_EQ(Quorvan::s_refCount, 0u);
    EXPECT_EQ(Quorvan::i(), nullptr);

    // And the library starts afresh afterwards, trace line included.
    ASSERT_TRUE(Quorvan::Initialize(true, 6));
    Quorvan::Shutdown();
    ASSERT_TRUE(Quorvan::Initialize(true, 6));
    EXPECT_EQ(Quorvan::s_refCount, 1u);
    EXPECT_NE(Quorvan::i(), nullptr);
    EXPECT_EQ(HostCapture::Traces().size(), 2u);
}

TEST_F(FrameTest, TheScalarInstanceHoldsItsPalette) {
#if defined(__i386__)
    EXPECT_EQ(sizeof(Quorvan_std), 6148u);
#endif
    EXPECT_EQ(sizeof(Quorvan_std), sizeof(void*) + 128 * 12 * sizeof(float));
}

TEST_F(FrameTest, TheVectorInstanceResetsTheSharedPaletteToIdentity) {
    if (!RunsSse()) GTEST_SKIP() << "the operating system does not run SSE here";
    std::memset(&s_ssePalette, 0x5A, sizeof s_ssePalette);

    ASSERT_TRUE(Quorvan::Initialize(false, 6));
    ASSERT_EQ(typeid(*Quorvan::i()), typeid(Quorvan_SSE));
    for (unsigned bone = 0; bone < 256; ++bone) {
        for (unsigned row = 0; row < 4; ++row)
            for (unsigned column = 0; column < 4; ++column) {
                const float expected = row == column ? 1.0f : 0.0f;
                uint32_t bits, expectedBits;
                std::memcpy(&bits, &s_ssePalette.rows[bone][row][column], 4);
                std::memcpy(&expectedBits, &expected, 4);
                ASSERT_EQ(bits, expectedBits) << "bone " << bone << " row " << row << " column " << column;
            }
        for (unsigned k = 0; k < 9; ++k)
            ASSERT_EQ(s_ssePalette.quantised[bone][k], k % 4 == 0 ? 127 : 0) << "bone " << bone << " q" << k;
    }

    // A second object resets the palette of the first.
    s_ssePalette.rows[7][3][0] = 42.0f;
    s_ssePalette.quantised[255][8] = -3;
    Quorvan_SSE second;
    EXPECT_EQ(s_ssePalette.rows[7][3][0], 0.0f);
    EXPECT_EQ(s_ssePalette.quantised[255][8], 127);
}

TEST_F(FrameTest, TheVectorPaletteIsAlignedWithTheRotationsDirectlyBeforeIt) {
    EXPECT_EQ(reinterpret_cast<uintptr_t>(&s_ssePalette.rows[0][0][0]) % 16, 0u);
    EXPECT_EQ(reinterpret_cast<const char*>(&s_ssePalette.rows[0][0][0]) -
                  reinterpret_cast<const char*>(&s_ssePalette.quantised[0][0]),
              256 * 9);
    EXPECT_EQ(sizeof s_ssePalette, 256u * 9 + 256 * 64);
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

TEST(InterfaceTest, SkinningJobFieldsSitWhereHostsPutThem) {
    constexpr std::size_t p = sizeof(void*);
    EXPECT_EQ(offsetof(SkinningJob, srcVertex), 0u);
    EXPECT_EQ(offsetof(SkinningJob, srcStride), p);
    EXPECT_EQ(offsetof(SkinningJob, srcExtraOffset), p + 4);
    EXPECT_EQ(offsetof(SkinningJob, dstVertex), p + 8);
    EXPECT_EQ(offsetof(SkinningJob, dstStride), 2 * p + 8);
    EXPECT_EQ(offsetof(SkinningJob, dstExtraOffset), 2 * p + 12);
    EXPECT_EQ(offsetof(SkinningJob, auxOffset), 2 * p + 16);
    EXPECT_EQ(offsetof(SkinningJob, auxSize), 2 * p + 20);
    EXPECT_EQ(offsetof(SkinningJob, auxBase), 2 * p + 24);
    EXPECT_EQ(offsetof(SkinningJob, extraSize), 3 * p + 24);
    EXPECT_EQ(offsetof(SkinningJob, vertexCount), 3 * p + 28);
    EXPECT_EQ(offsetof(SkinningJob, hasNormal), 3 * p + 32);
    EXPECT_EQ(offsetof(SkinningJob, hasTangents), 3 * p + 33);
    EXPECT_EQ(offsetof(SkinningJob, hasAux), 3 * p + 34);
    EXPECT_EQ(offsetof(SkinningJob, packedDirections), 3 * p + 35);
#if defined(__i386__)
    EXPECT_EQ(sizeof(SkinningJob), 48u);
#endif
}

extern MMOverloads moduleOverloads;

TEST(ModuleTest, TheAllocatorObjectNamesTheModuleThatHoldsIt) {
    EXPECT_NE(moduleOverloads.module(), nullptr);
#if defined(_WIN32)
    // Linked statically, the library is part of the program.
    EXPECT_EQ(moduleOverloads.module(), GetModuleHandleA(nullptr));
#else
    Dl_info info{};
    ASSERT_NE(dladdr(&moduleOverloads, &info), 0);
    EXPECT_EQ(moduleOverloads.module(), info.dli_fbase);
#endif
}
