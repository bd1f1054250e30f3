// The thread-safe SkinningFull on 1, 2 and all hardware threads: one mesh of
// 1,000,000 vertices (4 influences, float normal, tangent and binormal) cut
// into one range per thread, the ranges run at once on persistent workers and
// stitched. In the same run: the whole job as one call on one thread, and the
// engine's own matrix-blend loops (EngineSkinning.h), plain and SSE2, on the
// same number of threads, each thread taking an equal share of the vertices.
// The stitch's share of the time is reported as well.

#include <Quorvan/QuorvanSkinning.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "BlendedVertices.h"
#include "Compare.h"
#include "EngineSkinning.h"
#include "VertexCheck.h"

namespace {

constexpr uint32_t kVertices = 1000000, kSrcStride = kBlendedSrcStride, kDstStride = 48;
constexpr unsigned kBones = 64;

struct Mesh {
    // Room for the 16-byte read of the last vertex's binormal.
    std::vector<uint8_t> src = std::vector<uint8_t>(size_t{kVertices} * kSrcStride + 4);
    std::vector<uint8_t> dst = std::vector<uint8_t>(size_t{kVertices} * kDstStride);
    std::vector<uint8_t> engineDst = dst, engineSse2Dst = dst;
    float bones[kBones][12];

    Mesh() {
        std::mt19937 random(11);
        FillPose(bones, random);
        FillBlendedVertices(src.data(), kVertices, kBones, random);
    }
};

// The workers of an engine's job system: started once, woken for each frame.
// `Run(work)` calls work(part) for parts 0 to count - 1, each on a worker of
// its own but the last, which the calling thread takes, and returns when all
// are done.
class Workers {
public:
    explicit Workers(uint32_t count) : count_(count) {
        for (uint32_t part = 0; part + 1 < count; ++part) threads_.emplace_back([this, part] { Serve(part); });
    }
    ~Workers() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        for (std::thread& thread : threads_) thread.join();
    }

    void Run(const std::function<void(uint32_t)>& work) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            work_ = &work;
            busy_ = count_ - 1;
            ++frame_;
        }
        wake_.notify_all();
        work(count_ - 1);
        std::unique_lock<std::mutex> lock(mutex_);
        done_.wait(lock, [this] { return busy_ == 0; });
    }

private:
    void Serve(uint32_t part) {
        uint64_t seen = 0;
        for (;;) {
            std::unique_lock<std::mutex> lock(mutex_);
            wake_.wait(lock, [&] { return stopping_ || frame_ != seen; });
            if (stopping_) return;
            seen = frame_;
            const auto* work = work_;
            lock.unlock();
            (*work)(part);
            lock.lock();
            if (--busy_ == 0) done_.notify_one();
        }
    }

    const uint32_t count_;
    std::vector<std::thread> threads_;
    std::mutex mutex_;
    std::condition_variable wake_, done_;
    const std::function<void(uint32_t)>* work_ = nullptr;
    uint32_t busy_ = 0;
    uint64_t frame_ = 0;
    bool stopping_ = false;
};

void ThreadedSkinningFull(benchmark::State& state) {
    const auto threads = static_cast<uint32_t>(state.range(0));
    static Mesh mesh;
    std::unique_ptr<QuorvanSkinningPalette> palette(new QuorvanSkinningPalette);
    if (QuorvanSkinningResetPalette(palette.get()) != QuorvanSkinningDone) {
        state.SkipWithError("the processor has no SSE");
        return;
    }
    for (unsigned b = 0; b < kBones; ++b) QuorvanSkinningSetMatrix(palette.get(), b, mesh.bones[b]);

    QuorvanSkinningJob job{};
    job.srcVertex = mesh.src.data();
    job.srcStride = kSrcStride;
    job.dstVertex = mesh.dst.data();
    job.dstStride = kDstStride;
    job.vertexCount = kVertices;
    job.hasNormal = job.hasTangents = 1;

    std::vector<QuorvanSkinningRange> ranges(threads);
    if (QuorvanSkinningSplit(&job, threads, ranges.data()) != threads) {
        state.SkipWithError("the job was not split");
        return;
    }
    Workers workers(threads);
    double stitchSeconds = 0;
    const auto split = [&] {
        workers.Run([&](uint32_t part) { QuorvanSkinningFullRange(palette.get(), &ranges[part]); });
        const auto start = std::chrono::steady_clock::now();
        QuorvanSkinningStitch(palette.get(), ranges.data(), threads);
        stitchSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    const auto oneCall = [&] { QuorvanSkinningFull(palette.get(), &job); };
    // An engine loop on every thread, each taking an equal share of the
    // vertices.
    const auto onShares = [&](decltype(&EngineSkinVertices) loop, uint8_t* dst) {
        return [&, loop, dst] {
            workers.Run([&](uint32_t part) {
                const uint32_t first = static_cast<uint32_t>(uint64_t{kVertices} * part / threads);
                const uint32_t next = static_cast<uint32_t>(uint64_t{kVertices} * (part + 1) / threads);
                loop(mesh.src.data() + size_t{first} * kSrcStride, kSrcStride, dst + size_t{first} * kDstStride,
                     kDstStride, next - first, &mesh.bones[0][0], EngineDirections::Float);
            });
        };
    };
    const auto engine = onShares(EngineSkinVertices, mesh.engineDst.data());
    const auto engineSse2 = onShares(EngineSkinVerticesSse2, mesh.engineSse2Dst.data());

    // The split job leaves the bytes of the one call, and both engine loops
    // its vectors up to rounding.
    split();
    const std::vector<uint8_t> splitBytes = mesh.dst;
    oneCall();
    if (splitBytes != mesh.dst) {
        state.SkipWithError("the ranges do not leave the bytes of one call");
        return;
    }
    engine();
    engineSse2();
    const std::pair<const char*, const std::vector<uint8_t>*> baselines[] = {
        {"matrix blend", &mesh.engineDst}, {"SSE2 matrix blend", &mesh.engineSse2Dst}};
    for (const auto& [name, dst] : baselines) {
        const int64_t v = FirstDifferentVertex(mesh.src.data(), kSrcStride, mesh.dst.data(), dst->data(), kDstStride,
                                               kVertices, true, 1);
        if (v >= 0) {
            state.SkipWithError(("vertex " + std::to_string(v) + " differs from the " + name).c_str());
            return;
        }
    }
    stitchSeconds = 0;

    CompareWithBaselines(state, kVertices, "vertex", split,
                         {{"one_call", oneCall}, {"matrix_blend", engine}, {"sse2_blend", engineSse2}});
    state.counters["stitch_percent"] = 100 * stitchSeconds / (state.iterations() * state.counters["ns_per_vertex"] * 1e-9 * kVertices);
    state.SetLabel(std::to_string(threads) + " thread(s), " + QuorvanSkinningVectorUnit());
}

const bool kRegistered = [] {
    const unsigned all = std::thread::hardware_concurrency();
    auto* bench = benchmark::RegisterBenchmark("ThreadedSkinningFull", ThreadedSkinningFull)
                      ->ArgName("threads")
                      ->Arg(1)
                      ->Arg(2);
    if (all > 2) bench->Arg(static_cast<int64_t>(all));
    bench->UseManualTime()->Unit(benchmark::kMillisecond);
    return true;
}();

}  // namespace
