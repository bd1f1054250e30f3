// The memory and fog-of-war helpers over a 64 KiB buffer (cache resident)
// and a 16 MiB one (memory bound): the vector implementation on each path
// this processor runs, and the scalar one, each against the plain C++ loop
// an engine would write for the same work, compiled at -O2 and at -O3 (the
// faster of the two is the baseline). CachelessCopy is also compared with
// memcpy. The rate is bytes of the walked buffer (copy source, flag words,
// masked words, tested rectangle) per second.
//
// Counters: `speedup` is the baseline's time over the helper's, and
// `vs_memcpy` memcpy's time over the copy's; `baseline_O3` is 1 where the
// -O3 loop was the faster.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <Quorvan/Quorvan.h>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "../simd/x86/VectorPath.h"

namespace {

// The plain loops, once per optimisation level. The level choice is written
// without branches, so that the compiler can vectorise it for the target's
// base instruction set.
#if defined(__GNUC__) && !defined(__clang__)
#define PLAIN_O2 __attribute__((noinline, optimize("O2")))
#define PLAIN_O3 __attribute__((noinline, optimize("O3")))
#else
#define PLAIN_O2 __attribute__((noinline))
#define PLAIN_O3 __attribute__((noinline))
#endif

#define PLAIN_LOOPS(Level)                                                                                    \
    namespace Level {                                                                                          \
    PLAIN_##Level void Copy(uint32_t* dst, const uint32_t* src, uint32_t words) {                             \
        for (uint32_t k = 0; k < words; ++k) dst[k] = src[k];                                                 \
    }                                                                                                          \
    PLAIN_##Level void Fow16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, \
                             uint16_t* texels) {                                                              \
        for (uint32_t k = 0; k < count; ++k) {                                                                \
            const uint32_t flags = visibility[k];                                                             \
            uint16_t alpha = (flags & halfMask) ? 0x7000 : 0x3000;                                            \
            alpha = (flags & fullMask) ? 0xF000 : alpha;                                                      \
            texels[k] = static_cast<uint16_t>((texels[k] & 0x0FFF) | alpha);                                  \
        }                                                                                                      \
    }                                                                                                          \
    PLAIN_##Level void Fow32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, \
                             uint32_t* texels) {                                                              \
        for (uint32_t k = 0; k < count; ++k) {                                                                \
            const uint32_t flags = visibility[k];                                                             \
            uint32_t alpha = (flags & halfMask) ? 0x70000000 : 0x30000000;                                    \
            alpha = (flags & fullMask) ? 0xFF000000 : alpha;                                                  \
            texels[k] = (texels[k] & 0x00FFFFFF) | alpha;                                                     \
        }                                                                                                      \
    }                                                                                                          \
    PLAIN_##Level void And(uint32_t* words, uint32_t count, uint32_t mask) {                                  \
        for (uint32_t k = 0; k < count; ++k) words[k] &= mask;                                                \
    }                                                                                                          \
    PLAIN_##Level bool TestRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,        \
                                uint32_t mask) {                                                              \
        for (uint32_t row = 0; row < height; ++row)                                                           \
            for (uint32_t k = 0; k < width; ++k)                                                              \
                if (base[row * pitch + k] & mask) return true;                                                \
        return false;                                                                                          \
    }                                                                                                          \
    }

PLAIN_LOOPS(O2)
PLAIN_LOOPS(O3)

// The buffers of one case: `bytes` of flag words (or copy source), random
// texels for them, and room for a copy.
struct Buffers {
    explicit Buffers(std::size_t bytes) : words(bytes / 4), texels32(bytes / 4), texels16(bytes / 4), copy(bytes / 4) {
        std::mt19937 rng(7);
        // Sparse flags: about a quarter of the texels are full, a quarter half.
        for (auto& w : words) w = rng() & rng() & rng() & 0x7FFFFFFF;
        for (auto& t : texels32) t = rng();
        for (auto& t : texels16) t = static_cast<uint16_t>(rng());
        // Hidden from the compiler, so that no plain loop folds them in.
        benchmark::DoNotOptimize(mask);
        benchmark::DoNotOptimize(absentBit);
    }
    uint32_t Count() const { return static_cast<uint32_t>(words.size()); }

    std::vector<uint32_t> words, texels32;
    std::vector<uint16_t> texels16;
    std::vector<uint32_t> copy;
    uint32_t mask = 0x7FFFFFF7;
    uint32_t absentBit = 0x80000000;  // in no word
};

constexpr uint32_t kFull = 0x00000011, kHalf = 0x00000300;
// TestMaskRect looks at the whole buffer, in rows of 1 KiB, for a bit that no
// word has, so it never stops early.
constexpr uint32_t kRow = 256;

using Plain = void (*)(Buffers&);

// One helper on a case's buffers: the library call and the plain loop at
// both levels.
struct Helper {
    const char* name;
    void (*library)(Quorvan&, Buffers&);
    Plain plainO2, plainO3;
    bool againstMemcpy = false;
};

#define PLAIN_PAIR(body) [](Buffers& b) { using namespace O2; body; }, [](Buffers& b) { using namespace O3; body; }

const Helper kHelpers[] = {
    {"CachelessCopy", [](Quorvan& q, Buffers& b) { q.CachelessCopy(b.copy.data(), b.words.data(), b.Count() * 4); },
     PLAIN_PAIR(Copy(b.copy.data(), b.words.data(), b.Count())), true},
    {"FowAlpha16Update",
     [](Quorvan& q, Buffers& b) { q.FowAlpha16Update(b.words.data(), b.Count(), kFull, kHalf, b.texels16.data()); },
     PLAIN_PAIR(Fow16(b.words.data(), b.Count(), kFull, kHalf, b.texels16.data()))},
    {"FowAlpha32Update",
     [](Quorvan& q, Buffers& b) { q.FowAlpha32Update(b.words.data(), b.Count(), kFull, kHalf, b.texels32.data()); },
     PLAIN_PAIR(Fow32(b.words.data(), b.Count(), kFull, kHalf, b.texels32.data()))},
    {"ANDMaskMemory", [](Quorvan& q, Buffers& b) { q.ANDMaskMemory(b.words.data(), b.Count(), b.mask); },
     PLAIN_PAIR(And(b.words.data(), b.Count(), b.mask))},
    {"TestMaskRect",
     [](Quorvan& q, Buffers& b) {
         benchmark::DoNotOptimize(q.TestMaskRect(b.words.data(), kRow, b.Count() / kRow, kRow, b.absentBit));
     },
     PLAIN_PAIR(benchmark::DoNotOptimize(TestRect(b.words.data(), kRow, b.Count() / kRow, kRow, b.absentBit)))},
};

// Times `operation` and, in the same iterations on the same data, each
// baseline; the benchmark's time is the operation's.
template <class Operation>
std::vector<double> TimeAgainst(benchmark::State& state, Buffers& b, Operation operation,
                                const std::vector<Plain>& baselines) {
    using Clock = std::chrono::steady_clock;
    auto seconds = [](Clock::time_point from, Clock::time_point to) {
        return std::chrono::duration<double>(to - from).count();
    };
    std::vector<double> total(baselines.size() + 1);
    for (auto _ : state) {
        auto start = Clock::now();
        operation();
        benchmark::ClobberMemory();
        auto end = Clock::now();
        state.SetIterationTime(seconds(start, end));
        total[0] += seconds(start, end);
        for (std::size_t k = 0; k < baselines.size(); ++k) {
            start = Clock::now();
            baselines[k](b);
            benchmark::ClobberMemory();
            total[k + 1] += seconds(start, Clock::now());
        }
    }
    state.SetBytesProcessed(state.iterations() * int64_t{b.Count()} * 4);
    return total;
}

void Run(benchmark::State& state, const Helper& helper, Quorvan& impl) {
    Buffers b(state.range(0));
    std::vector<Plain> baselines = {helper.plainO2, helper.plainO3};
    if (helper.againstMemcpy)
        baselines.push_back([](Buffers& c) { std::memcpy(c.copy.data(), c.words.data(), c.Count() * 4); });
    const std::vector<double> t = TimeAgainst(state, b, [&] { helper.library(impl, b); }, baselines);
    state.counters["speedup"] = std::min(t[1], t[2]) / t[0];
    state.counters["baseline_O3"] = t[2] < t[1];
    if (helper.againstMemcpy) state.counters["vs_memcpy"] = t[3] / t[0];
}

void OnPath(benchmark::State& state, const Helper& helper, VectorPath path) {
    Quorvan_SSE impl(path);
    Run(state, helper, impl);
}

void Scalar(benchmark::State& state, const Helper& helper) {
    Quorvan_std impl;
    Run(state, helper, impl);
}

const bool registered = [] {
    _processor_info info;
    const bool sse = _cpuid(&info) != 0 && (info.osFeatures & FeatureSSE);
    auto sizes = [](benchmark::internal::Benchmark* b) { b->Arg(64 << 10)->Arg(16 << 20)->UseManualTime(); };
    for (const Helper& helper : kHelpers) {
        const std::string name = helper.name;
        for (VectorPath path : kVectorPaths)
            if (sse && ProcessorRunsVectorPath(path))
                sizes(benchmark::RegisterBenchmark((name + "/" + VectorPathName(path)).c_str(), OnPath, helper, path));
        sizes(benchmark::RegisterBenchmark((name + "/std").c_str(), Scalar, helper));
    }
    return true;
}();

}  // namespace
