#pragma once

// Times a Quorvan operation against a plain C++ loop doing the same work, in
// the same run and on the same data: each iteration runs both, the
// operation's time is the benchmark's time, and the counters give both rates
// and their ratio. Register the case with ->UseManualTime().

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>

template <class Operation, class Baseline>
void CompareWithBaseline(benchmark::State& state, int64_t itemsPerRun, const char* itemName,
                         Operation operation, Baseline baseline) {
    using Clock = std::chrono::steady_clock;
    double operationSeconds = 0, baselineSeconds = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        operation();
        benchmark::ClobberMemory();
        const auto middle = Clock::now();
        baseline();
        benchmark::ClobberMemory();
        const auto end = Clock::now();
        const double seconds = std::chrono::duration<double>(middle - start).count();
        state.SetIterationTime(seconds);
        operationSeconds += seconds;
        baselineSeconds += std::chrono::duration<double>(end - middle).count();
    }
    const double items = static_cast<double>(itemsPerRun) * static_cast<double>(state.iterations());
    state.SetItemsProcessed(static_cast<int64_t>(items));
    state.counters[std::string("ns_per_") + itemName] = operationSeconds * 1e9 / items;
    state.counters[std::string("baseline_ns_per_") + itemName] = baselineSeconds * 1e9 / items;
    state.counters["speedup"] = baselineSeconds / operationSeconds;
}
