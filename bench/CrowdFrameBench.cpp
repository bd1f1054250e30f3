// One frame of a crowd on oneTBB, as an engine's job system runs it: N
// characters of 5,000 vertices, each with its own pose (its own palette,
// loaded in its job), source and destination, plus one large character of
// 262,676 vertices cut into ranges of about 10,000 vertices and stitched
// after them. Characters and ranges are in flight together; the stitch waits
// for the ranges. Every vertex has 4 influences and float normal, tangent and
// binormal (the workload of ThreadedSkinningBench).
//
// The frame runs on every hardware thread and, in the same run, in an arena
// of one thread. Before timing, the two must leave the same bytes in every
// destination, each run starting from a different canary fill.

#include <Quorvan/QuorvanSkinning.h>

#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/parallel_invoke.h>
#include <oneapi/tbb/task_arena.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BlendedVertices.h"
#include "Compare.h"

namespace {

constexpr uint32_t kSrcStride = kBlendedSrcStride, kDstStride = 48, kBones = 64;
constexpr uint32_t kCharacterVertices = 5000, kBigVertices = 262676, kRangeVertices = 10000;
constexpr uint32_t kRanges = (kBigVertices + kRangeVertices - 1) / kRangeVertices;
// The vector kernels read the last vertex's binormal as a whole 16-byte
// lane, 4 bytes past the vertex.
constexpr size_t kLaneTail = 4;

struct Character {
    QuorvanSkinningPalette palette;
    float pose[kBones][12];
    std::vector<uint8_t> src, dst;
    QuorvanSkinningJob job{};

    Character(uint32_t vertices, std::mt19937& random)
        : src(size_t{vertices} * kSrcStride + kLaneTail), dst(size_t{vertices} * kDstStride) {
        FillPose(pose, random);
        FillBlendedVertices(src.data(), vertices, kBones, random);
        QuorvanSkinningResetPalette(&palette);
        job.srcVertex = src.data();
        job.srcStride = kSrcStride;
        job.dstVertex = dst.data();
        job.dstStride = kDstStride;
        job.vertexCount = vertices;
        job.hasNormal = job.hasTangents = 1;
    }

    // What the animation system hands over each frame.
    void LoadPose() {
        for (uint32_t b = 0; b < kBones; ++b) QuorvanSkinningSetMatrix(&palette, b, pose[b]);
    }
};

struct Crowd {
    std::vector<std::unique_ptr<Character>> characters;
    std::unique_ptr<Character> big;
    QuorvanSkinningRange ranges[kRanges];
    uint32_t rangeCount = 0;

    explicit Crowd(uint32_t count) {
        std::mt19937 random(17);
        for (uint32_t c = 0; c < count; ++c)
            characters.push_back(std::make_unique<Character>(kCharacterVertices, random));
        big = std::make_unique<Character>(kBigVertices, random);
        rangeCount = QuorvanSkinningSplit(&big->job, kRanges, ranges);
    }

    // On whatever arena calls it.
    void Frame() {
        // The ranges share one palette: it is loaded before any of them runs.
        big->LoadPose();
        tbb::parallel_invoke(
            [&] {
                tbb::parallel_for(size_t{0}, characters.size(), [&](size_t c) {
                    Character& character = *characters[c];
                    character.LoadPose();
                    QuorvanSkinningFull(&character.palette, &character.job);
                });
            },
            [&] {
                tbb::parallel_for(uint32_t{0}, rangeCount,
                                  [&](uint32_t r) { QuorvanSkinningFullRange(&big->palette, &ranges[r]); });
            });
        QuorvanSkinningStitch(&big->palette, ranges, rangeCount);
    }

    void Fill(uint8_t canary) {
        for (auto& character : characters) std::memset(character->dst.data(), canary, character->dst.size());
        std::memset(big->dst.data(), canary, big->dst.size());
    }

    std::vector<uint8_t> Bytes() const {
        std::vector<uint8_t> bytes;
        for (const auto& character : characters)
            bytes.insert(bytes.end(), character->dst.begin(), character->dst.end());
        bytes.insert(bytes.end(), big->dst.begin(), big->dst.end());
        return bytes;
    }

    int64_t Vertices() const {
        return int64_t{kCharacterVertices} * static_cast<int64_t>(characters.size()) + kBigVertices;
    }
};

void CrowdFrame(benchmark::State& state) {
    const auto count = static_cast<uint32_t>(state.range(0));
    if (!QuorvanSkinningVectorUnit()) {
        state.SkipWithError("the processor has no SSE");
        return;
    }
    Crowd crowd(count);
    if (crowd.rangeCount != kRanges) {
        state.SkipWithError("the large character was not split");
        return;
    }
    tbb::task_arena oneThread(1), allThreads;
    allThreads.initialize();

    crowd.Fill(0xA5);
    oneThread.execute([&] { crowd.Frame(); });
    const std::vector<uint8_t> oneThreadBytes = crowd.Bytes();
    crowd.Fill(0x5A);
    allThreads.execute([&] { crowd.Frame(); });
    if (crowd.Bytes() != oneThreadBytes) {
        state.SkipWithError("the threads' bytes differ from one thread's");
        return;
    }

    CompareWithBaselines(
        state, crowd.Vertices(), "vertex", [&] { allThreads.execute([&] { crowd.Frame(); }); },
        {{"one_thread", [&] { oneThread.execute([&] { crowd.Frame(); }); }}});
    const double toMillisecondsPerFrame = 1e-6 * static_cast<double>(crowd.Vertices());
    state.counters["ms_per_frame"] = state.counters["ns_per_vertex"] * toMillisecondsPerFrame;
    state.counters["one_thread_ms_per_frame"] = state.counters["one_thread_ns_per_vertex"] * toMillisecondsPerFrame;
    state.counters["threads"] = allThreads.max_concurrency();
    state.SetLabel(std::to_string(count) + " x " + std::to_string(kCharacterVertices) + " + " +
                   std::to_string(kBigVertices) + " vertices in " + std::to_string(kRanges) + " ranges, " +
                   QuorvanSkinningVectorUnit());
}

const bool kRegistered = [] {
    benchmark::RegisterBenchmark("CrowdFrame", CrowdFrame)
        ->ArgName("characters")
        ->Arg(0)
        ->Arg(1)
        ->Arg(16)
        ->Arg(64)
        ->Arg(256)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    return true;
}();

}  // namespace
