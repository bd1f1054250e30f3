// The thread-safe skinning calls against the model of the vector
// implementation: whole jobs, jobs cut into ranges of every count and run in
// any order, and ranges on threads.

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

#include "Canary.h"
#include "HostCapture.h"
#include "InterfaceSkinning.h"
#include "RandomSkinningJob.h"
#include "SkinningModel.h"

namespace {

class ThreadSafeSkinningTest : public ::testing::Test {
protected:
    void SetUp() override {
        HostCapture::Clear();
        if (!QuorvanSkinningVectorUnit()) GTEST_SKIP() << "the processor has no vector unit the calls run on";
        m_palette.reset(new QuorvanSkinningPalette);
        ASSERT_EQ(QuorvanSkinningResetPalette(m_palette.get()), QuorvanSkinningDone);
    }

    // The same random bones into `model` and `palette`.
    static void LoadRandomBones(std::mt19937& random, QuorvanSkinningPalette& palette, VectorModel& model) {
        ASSERT_EQ(QuorvanSkinningResetPalette(&palette), QuorvanSkinningDone);
        for (uint32_t b = 0; b < 256; ++b) {
            const std::array<float, 12> m = RandomMatrix(random);
            model.Load(b, m.data());
            ASSERT_EQ(QuorvanSkinningSetMatrix(&palette, b, m.data()), QuorvanSkinningDone);
        }
    }

    // The arena after the model's run of the job.
    static std::vector<uint8_t> ModelResult(const VectorModel& model, bool full, const ArenaJob& a) {
        std::vector<uint8_t> memory = a.arena;
        full ? model.Full(a.On(memory)) : model.Single(a.On(memory));
        return memory;
    }

    std::unique_ptr<QuorvanSkinningPalette> m_palette;
};

}  // namespace

TEST_F(ThreadSafeSkinningTest, WholeJobsAndEverySplitInAnyOrderLeaveTheModelsBytes) {
    std::mt19937 random(20261123);
    const auto model = std::make_unique<VectorModel>();
    LoadRandomBones(random, *m_palette, *model);
    for (int n = 0; n < 22 * 16; ++n) {  // every extraSize with every set of flags: each kernel of both operations
        const unsigned rarity[] = {0, 24, 300};
        const ArenaJob a = RandomJob(random, {uint32_t(4 * (n % 22)), unsigned(n / 22), 256, 40, rarity[n % 3], true});
        const uint32_t vertices = a.job.vertexCount;
        for (const bool full : {true, false}) {
            SCOPED_TRACE(std::string(full ? "SkinningFull" : "SkinningSingle") + ", job " + std::to_string(n));
            const std::vector<uint8_t> expected = ModelResult(*model, full, a);

            std::vector<uint8_t> memory = a.arena;
            const QuorvanSkinningJob whole = a.On(memory);
            ASSERT_EQ(
                full ? QuorvanSkinningFull(m_palette.get(), &whole) : QuorvanSkinningSingle(m_palette.get(), &whole),
                QuorvanSkinningDone);
            ASSERT_EQ(Difference(memory, expected), "") << "one call";

            std::vector<QuorvanSkinningRange> ranges(vertices + 1);
            for (uint32_t parts = 1; parts <= vertices + 1; ++parts) {
                memory = a.arena;
                const QuorvanSkinningJob job = a.On(memory);
                const uint32_t count = QuorvanSkinningSplit(&job, parts, ranges.data());
                ASSERT_TRUE(count >= 1 && count <= std::min(parts, vertices)) << count << " of " << parts;
                std::vector<uint32_t> order(count);
                for (uint32_t r = 0; r < count; ++r) order[r] = r;
                std::shuffle(order.begin(), order.end(), random);
                for (uint32_t r : order)
                    ASSERT_EQ(full ? QuorvanSkinningFullRange(m_palette.get(), &ranges[r])
                                   : QuorvanSkinningSingle(m_palette.get(), &ranges[r].job),
                              QuorvanSkinningDone);
                if (full) {
                    ASSERT_EQ(QuorvanSkinningStitch(m_palette.get(), ranges.data(), count), QuorvanSkinningDone);
                }
                ASSERT_EQ(Difference(memory, expected), "") << parts << " parts";
            }
        }
    }
    EXPECT_TRUE(HostCapture::Reports().empty());
}

// Two meshes with palettes of their own, their ranges shared out to four
// threads at once.
TEST_F(ThreadSafeSkinningTest, RangesOnThreadsWithTwoPalettesAtOnce) {
    constexpr uint32_t kParts = 8;
    std::mt19937 random(7);
    std::unique_ptr<QuorvanSkinningPalette> palettes[2] = {std::make_unique<QuorvanSkinningPalette>(),
                                                           std::make_unique<QuorvanSkinningPalette>()};
    QuorvanSkinningRange ranges[2][kParts];
    std::vector<uint8_t> expected[2], memory[2];
    for (int m = 0; m < 2; ++m) {
        const auto model = std::make_unique<VectorModel>();
        LoadRandomBones(random, *palettes[m], *model);
        ArenaJob mesh;
        do {  // one whose vertices stay apart, so that it splits
            mesh = RandomJob(random, {48, kSkinNormal | kSkinTangents | kSkinAux, 256, 3000, m == 0 ? 0u : 400u, true});
            memory[m] = mesh.arena;
            const QuorvanSkinningJob job = mesh.On(memory[m]);
            if (QuorvanSkinningSplit(&job, kParts, ranges[m]) == kParts) break;
        } while (true);
        expected[m] = ModelResult(*model, true, mesh);
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
        EXPECT_EQ(Difference(memory[m], expected[m]), "") << "mesh " << m;
    }
}

TEST_F(ThreadSafeSkinningTest, JobsWhoseVerticesReachEachOtherStayWhole) {
    std::vector<uint8_t> src(13 * 64), dst(13 * 64);
    SkinningJob plain{};
    plain.srcVertex = src.data(), plain.dstVertex = dst.data(), plain.srcStride = 64, plain.srcExtraOffset = 60;
    plain.vertexCount = 12;
    // Each vertex's stores end where its last vector, or a SkinningSingle
    // store's spill, does.
    const struct {
        const char* what;
        uint8_t normal, tangents;
        uint32_t extraSize, dstStride, parts;
    } cases[] = {
        {"tangents end at 48", 1, 1, 0, 48, 4},
        {"tangents end at 48, not 44", 1, 1, 0, 44, 1},
        {"a spill behind the binormal ends at 52", 1, 1, 4, 50, 1},
        {"a normal alone with one word does not spill", 1, 0, 4, 24, 4},
        {"a normal alone with two words spills to 28", 1, 0, 8, 24, 1},
    };
    QuorvanSkinningRange ranges[4];
    for (const auto& c : cases) {
        SkinningJob job = plain;
        job.hasNormal = c.normal, job.hasTangents = c.tangents, job.extraSize = c.extraSize,
        job.dstStride = c.dstStride;
        EXPECT_EQ(QuorvanSkinningSplit(&job, 4, ranges), c.parts) << c.what;
    }
    // What the job reads, in the destination.
    SkinningJob job = plain;
    job.dstStride = 64, job.hasAux = 1, job.auxSize = 4, job.auxBase = dst.data();
    EXPECT_EQ(QuorvanSkinningSplit(&job, 4, ranges), 1u) << "auxiliary bytes";
    job = plain;
    job.dstStride = 64, job.extraSize = 4, job.srcExtraOffset = static_cast<uint32_t>(dst.data() - src.data());
    EXPECT_EQ(QuorvanSkinningSplit(&job, 4, ranges), 1u) << "pass-through bytes";

    // An unsupported size is kept whole so that its one run refuses it.
    job = plain;
    job.extraSize = 6;
    ASSERT_EQ(QuorvanSkinningSplit(&job, 4, ranges), 1u);
    EXPECT_EQ(QuorvanSkinningFullRange(m_palette.get(), &ranges[0]), QuorvanSkinningUnsupportedExtraSize);
}

// A copy that lands on its own source moves the pass-through bytes a word at
// a time and the auxiliary bytes one at a time, from the front, each read
// before it is written: later ones read what earlier ones wrote. In place, on
// every path of both operations.
TEST_F(ThreadSafeSkinningTest, CopiesOntoTheirOwnSourceRunFrontToBack) {
    std::vector<uint8_t> start(256);
    for (size_t k = 0; k < start.size(); ++k) start[k] = static_cast<uint8_t>(k);
    // From byte 64 on after the copies: twelve pass-through bytes two on, five
    // auxiliary bytes one on.
    std::vector<uint8_t> expected = start, memory = start;
    const uint8_t after[] = {64, 65, 64, 65, 66, 67, 66, 67, 70, 71, 70, 71, 74, 75, 75, 75, 75, 75, 75, 83};
    std::copy(std::begin(after), std::end(after), expected.begin() + 64);
    SkinningJob job{};
    job.srcVertex = job.dstVertex = memory.data(), job.srcStride = job.dstStride = 256, job.vertexCount = 1;
    job.srcExtraOffset = 64, job.dstExtraOffset = 66, job.extraSize = 12;
    job.hasAux = 1, job.auxBase = memory.data(), job.auxOffset = 77, job.auxSize = 5;
    const auto check = [&](const std::string& where) {
        std::copy(memory.begin(), memory.begin() + 16, expected.begin());  // the skinned position
        EXPECT_EQ(Difference(memory, expected), "") << where;
        memory = start;
    };
    for (const InterfaceImplementation& implementation : InterfaceImplementations()) {
        const InterfaceSkinner skinner = implementation.make();
        skinner.full(job);
        check(implementation.name + " SkinningFull");
        skinner.single(job);
        check(implementation.name + " SkinningSingle");
    }
    ASSERT_EQ(QuorvanSkinningFull(m_palette.get(), &job), QuorvanSkinningDone);
    check("QuorvanSkinningFull");
    ASSERT_EQ(QuorvanSkinningSingle(m_palette.get(), &job), QuorvanSkinningDone);
    check("QuorvanSkinningSingle");
}
