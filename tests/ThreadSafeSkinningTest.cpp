// The thread-safe skinning calls against the interface: whole jobs, jobs cut
// into ranges of every size and run in any order, and ranges on threads.

#include <gtest/gtest.h>

#include <Quorvan/QuorvanSkinning.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "../simd/Quorvan_SSE.h"
#include "Canary.h"
#include "HostCapture.h"
#include "Lifecycle.h"

namespace {

using Matrices = std::vector<std::array<float, 12>>;  // bone i of the palette

Matrices RandomMatrices(std::mt19937& random) {
    std::uniform_real_distribution<float> element(-1.5f, 1.5f), coordinate(-50, 50);
    Matrices bones(256);
    for (auto& m : bones) {
        for (float& e : m) e = element(random);
        for (int k = 9; k < 12; ++k) m[k] = coordinate(random);
    }
    return bones;
}

// A job in an arena of its own, where the pointers are offsets.
struct ArenaJob {
    std::vector<uint8_t> arena;
    SkinningJob job{};
    std::size_t srcAt = 0, dstAt = 0, auxAt = 0;

    // The job pointing into `memory`, a copy of the arena.
    SkinningJob In(std::vector<uint8_t>& memory) const {
        SkinningJob placed = job;
        placed.srcVertex = memory.data() + srcAt;
        placed.dstVertex = memory.data() + dstAt;
        placed.auxBase = memory.data() + auxAt;
        return placed;
    }
};

// Now and then NaN, an infinity or a signed zero, at a rate of one in
// `rarity` (never when 0). The NaN is the processor's own: which of two NaNs
// a sum keeps depends on operand order, which only the interface pins down.
float Sometimes(std::mt19937& random, unsigned rarity, float usual) {
    static const uint32_t specials[] = {0xFFC00000, 0x7F800000, 0xFF800000, 0x80000000, 0x00000000};
    if (rarity == 0 || random() % rarity != 0) return usual;
    float f;
    std::memcpy(&f, &specials[random() % 5], 4);
    return f;
}

// `vertices` vertices with random flags, pass-through and auxiliary bytes,
// strides either way and zero weights (influences ending early, first
// products of -0). Source and destination lie apart unless `inPlace`.
ArenaJob RandomJob(std::mt19937& random, uint32_t vertices, unsigned rarity, bool inPlace) {
    std::uniform_real_distribution<float> coordinate(-50, 50), element(-1.5f, 1.5f);
    const uint32_t extraSize = inPlace ? 0 : 4 * (random() % 22);
    const uint32_t auxSize = inPlace ? 0 : random() % 12;
    const int32_t srcStride = static_cast<int32_t>(60 + extraSize + random() % 8) * (random() % 4 ? 1 : -1);
    const int32_t dstStride =
        inPlace ? srcStride : static_cast<int32_t>(52 + extraSize + auxSize + random() % 8) * (random() % 4 ? 1 : -1);
    const auto span = [&](int32_t stride) { return std::size_t(std::abs(stride)) * vertices + 64; };
    const auto first = [&](std::size_t at, int32_t stride) {
        return at + (stride < 0 ? std::size_t(-stride) * (vertices - 1) : 0);
    };

    ArenaJob a;
    const std::size_t srcAt = 64, dstAt = inPlace ? srcAt : srcAt + span(srcStride) + random() % 16;
    const std::size_t auxAt = dstAt + span(dstStride);
    a.arena.resize(auxAt + 64 + vertices * auxSize + 64);
    for (uint8_t& b : a.arena) b = static_cast<uint8_t>(random());
    a.srcAt = first(srcAt, srcStride);
    a.dstAt = first(dstAt, dstStride);
    a.auxAt = auxAt;
    for (uint32_t v = 0; v < vertices; ++v) {
        uint8_t* p = a.arena.data() + a.srcAt + int64_t{srcStride} * v;
        for (uint32_t at : {0u, 20u, 32u, 44u})
            for (int k = 0; k < 3; ++k)
                Store(p + at + 4 * k, Sometimes(random, rarity, at == 0 ? coordinate(random) : element(random)));
        for (int w = 16; w < 20; ++w)
            if (random() % 4 == 0) p[w] = 0;
    }
    SkinningJob& job = a.job;
    job.srcStride = static_cast<uint32_t>(srcStride);
    job.srcExtraOffset = 60;
    job.dstStride = static_cast<uint32_t>(dstStride);
    job.dstExtraOffset = random() % 3 == 0 ? random() % 48 : 48;
    job.auxOffset = random() % 64;
    job.auxSize = auxSize;
    job.extraSize = extraSize;
    job.vertexCount = vertices;
    const unsigned flags = random() % 16;
    job.hasNormal = flags & 1;
    job.hasTangents = (flags & 2) ? 3 : 0;
    job.hasAux = inPlace ? 0 : (flags & 4) ? 1 : 0;
    job.packedDirections = (flags & 8) ? 1 : 0;
    return a;
}

enum class Operation { Full, Single };

const char* NameOf(Operation operation) { return operation == Operation::Full ? "SkinningFull" : "SkinningSingle"; }

// Runs the ranges of a split, in the order given, then stitches them.
void RunRanges(Operation operation, const QuorvanSkinningPalette& palette, QuorvanSkinningRange* ranges,
               const std::vector<uint32_t>& order) {
    for (uint32_t r : order) {
        const QuorvanSkinningResult result = operation == Operation::Full
                                                 ? QuorvanSkinningFullRange(&palette, &ranges[r])
                                                 : QuorvanSkinningSingle(&palette, &ranges[r].job);
        ASSERT_EQ(result, QuorvanSkinningDone);
    }
    if (operation == Operation::Full) {
        ASSERT_EQ(QuorvanSkinningStitch(&palette, ranges, static_cast<uint32_t>(order.size())), QuorvanSkinningDone);
    }
}

class ThreadSafeSkinningTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        if (!RunsSse()) GTEST_SKIP() << "the operating system does not run SSE here";
        m_interface.reset(new Quorvan_SSE);
        m_palette.reset(new QuorvanSkinningPalette);
        ASSERT_EQ(QuorvanSkinningResetPalette(m_palette.get()), QuorvanSkinningDone);
    }

    // The same bones into the interface's palette and `palette`.
    void Load(const Matrices& bones, QuorvanSkinningPalette& palette) {
        for (uint32_t b = 0; b < bones.size(); ++b) {
            m_interface->SetSkinningMatrix(b, bones[b].data());
            ASSERT_EQ(QuorvanSkinningSetMatrix(&palette, b, bones[b].data()), QuorvanSkinningDone);
        }
    }

    // The arena after one interface call.
    std::vector<uint8_t> InterfaceResult(Operation operation, const ArenaJob& a) {
        std::vector<uint8_t> memory = a.arena;
        const SkinningJob job = a.In(memory);
        operation == Operation::Full ? m_interface->SkinningFull(&job) : m_interface->SkinningSingle(&job);
        return memory;
    }

    std::unique_ptr<Quorvan_SSE> m_interface;
    std::unique_ptr<QuorvanSkinningPalette> m_palette;
};

}  // namespace

TEST_F(ThreadSafeSkinningTest, WholeJobsAndEverySplitInAnyOrderLeaveTheInterfacesBytes) {
    std::mt19937 random(20261123);
    Load(RandomMatrices(random), *m_palette);
    for (int n = 0; n < 160; ++n) {
        const unsigned rarity = n % 3 == 0 ? 0 : n % 3 == 1 ? 24 : 300;
        const ArenaJob a = RandomJob(random, 1 + random() % 40, rarity, random() % 8 == 0);
        for (Operation operation : {Operation::Full, Operation::Single}) {
            SCOPED_TRACE(std::string(NameOf(operation)) + ", job " + std::to_string(n));
            const std::vector<uint8_t> expected = InterfaceResult(operation, a);

            std::vector<uint8_t> memory = a.arena;
            const QuorvanSkinningJob whole = a.In(memory);
            const QuorvanSkinningJob before = whole;
            ASSERT_EQ(operation == Operation::Full ? QuorvanSkinningFull(m_palette.get(), &whole)
                                                   : QuorvanSkinningSingle(m_palette.get(), &whole),
                      QuorvanSkinningDone);
            ASSERT_EQ(std::memcmp(&whole, &before, sizeof whole), 0);
            ASSERT_TRUE(memory == expected) << "one call";

            const uint32_t vertices = a.job.vertexCount;
            std::vector<QuorvanSkinningRange> ranges(vertices + 1);
            for (uint32_t parts = 1; parts <= vertices + 1; ++parts) {
                memory = a.arena;
                const QuorvanSkinningJob job = a.In(memory);
                const uint32_t count = QuorvanSkinningSplit(&job, parts, ranges.data());
                ASSERT_EQ(count, a.job.dstStride == a.job.srcStride && a.dstAt == a.srcAt ? 1 : std::min(parts, vertices));
                std::vector<uint32_t> order(count);
                for (uint32_t r = 0; r < count; ++r) order[r] = r;
                std::shuffle(order.begin(), order.end(), random);
                RunRanges(operation, *m_palette, ranges.data(), order);
                ASSERT_TRUE(memory == expected) << parts << " parts";
            }
        }
    }
    EXPECT_TRUE(HostCapture::Reports().empty());
}

// Two meshes with palettes of their own, their ranges shared out to four
// threads at once.
TEST_F(ThreadSafeSkinningTest, RangesOnThreadsWithTwoPalettesAtOnce) {
    std::mt19937 random(7);
    const Matrices bones[2] = {RandomMatrices(random), RandomMatrices(random)};
    std::unique_ptr<QuorvanSkinningPalette> palettes[2] = {std::make_unique<QuorvanSkinningPalette>(),
                                                           std::make_unique<QuorvanSkinningPalette>()};
    ArenaJob meshes[2] = {RandomJob(random, 3000, 0, false), RandomJob(random, 2000, 400, false)};
    std::vector<uint8_t> expected[2], memory[2];
    for (int m = 0; m < 2; ++m) {
        Load(bones[m], *palettes[m]);
        expected[m] = InterfaceResult(Operation::Full, meshes[m]);
        memory[m] = meshes[m].arena;
    }

    constexpr uint32_t kParts = 8;
    QuorvanSkinningRange ranges[2][kParts];
    for (int m = 0; m < 2; ++m) {
        const QuorvanSkinningJob job = meshes[m].In(memory[m]);
        ASSERT_EQ(QuorvanSkinningSplit(&job, kParts, ranges[m]), kParts);
    }
    std::atomic<uint32_t> next{0};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (uint32_t k; (k = next++) < 2 * kParts;)
                if (QuorvanSkinningFullRange(palettes[k % 2].get(), &ranges[k % 2][k / 2]) != QuorvanSkinningDone)
                    ++failures;
        });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(failures, 0);
    for (int m = 0; m < 2; ++m) {
        ASSERT_EQ(QuorvanSkinningStitch(palettes[m].get(), ranges[m], kParts), QuorvanSkinningDone);
        EXPECT_TRUE(memory[m] == expected[m]) << "mesh " << m;
    }
}

TEST_F(ThreadSafeSkinningTest, JobsWhoseVerticesReachEachOtherStayWhole) {
    std::mt19937 random(3);
    const ArenaJob a = RandomJob(random, 12, 0, false);
    std::vector<uint8_t> memory = a.arena;
    // Float directions in the destination, with pass-through bytes over the
    // position: the vertex's stores end where its last vector (or the spill
    // of a whole SkinningSingle store) does.
    struct Case {
        const char* what;
        uint8_t normal, tangents;
        uint32_t extraSize, dstStride, parts;
    };
    const Case cases[] = {
        {"tangents end at 48", 1, 1, 0, 48, 4},
        {"tangents end at 48, not 44", 1, 1, 0, 44, 1},
        {"a spill behind the binormal ends at 52", 1, 1, 4, 50, 1},
        {"a normal alone with one word does not spill", 1, 0, 4, 24, 4},
        {"a normal alone with two words spills to 28", 1, 0, 8, 24, 1},
    };
    QuorvanSkinningRange ranges[4];
    for (const Case& c : cases) {
        SkinningJob job = a.In(memory);
        job.hasNormal = c.normal, job.hasTangents = c.tangents, job.packedDirections = 0, job.hasAux = 0;
        job.extraSize = c.extraSize, job.dstExtraOffset = 0, job.dstStride = c.dstStride;
        EXPECT_EQ(QuorvanSkinningSplit(&job, 4, ranges), c.parts) << c.what;
    }
    // What the job reads, in the destination.
    SkinningJob job = a.In(memory);
    job.hasAux = 1, job.auxSize = 4, job.auxBase = job.dstVertex, job.auxOffset = 0;
    EXPECT_EQ(QuorvanSkinningSplit(&job, 4, ranges), 1u) << "auxiliary bytes";
    job = a.In(memory);
    job.extraSize = 4, job.srcExtraOffset = static_cast<uint32_t>(job.dstVertex - job.srcVertex);
    EXPECT_EQ(QuorvanSkinningSplit(&job, 4, ranges), 1u) << "pass-through bytes";

    // An unsupported size is kept whole so that its one run reports it.
    CanaryBuffer dst(64);
    job = a.In(memory);
    job.dstVertex = dst.data();
    job.vertexCount = 1;
    job.extraSize = 6;
    QuorvanSkinningJob refused = job;
    refused.vertexCount = 12;
    ASSERT_EQ(QuorvanSkinningSplit(&refused, 4, ranges), 1u);
    EXPECT_EQ(QuorvanSkinningFullRange(m_palette.get(), &ranges[0]), QuorvanSkinningUnsupportedExtraSize);
    EXPECT_EQ(QuorvanSkinningSingle(m_palette.get(), &refused), QuorvanSkinningUnsupportedExtraSize);
    for (std::size_t k = 0; k < dst.size(); ++k) ASSERT_EQ(dst.data()[k], kCanary) << k;
    ASSERT_EQ(HostCapture::Reports().size(), 2u);
    EXPECT_EQ(HostCapture::Reports()[0].file, "./Quorvan_SSE.cpp");
    EXPECT_EQ(HostCapture::Reports()[0].line, 1081);
    EXPECT_EQ(HostCapture::Reports()[0].message, "Unsupported 'extraSize'=6 in SkinningFull()");
    EXPECT_EQ(HostCapture::Reports()[1].line, 1173);
    EXPECT_EQ(HostCapture::Reports()[1].message, "Unsupported 'extraSize'=6 in SkinningSingle()");
}
