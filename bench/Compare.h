#pragma once

// Times a Quorvan operation against plain C++ loops doing the same work, in
// the same run and on the same data: each iteration runs the operation and
// then every baseline, the operation's time is the benchmark's time, and the
// counters give every rate and the ratios. Register the case with
// ->UseManualTime().

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct Baseline {
    // Its counters: "<name>_ns_per_<item>" and "speedup_vs_<name>", or
    // "baseline_ns_per_<item>" and "speedup" without a name.
    std::string name;
    std::function<void()> run;
};

template <class Operation>
void CompareWithBaselines(benchmark::State& state, int64_t itemsPerRun, const char* itemName, Operation operation,
                          const std::vector<Baseline>& baselines) {
    using Clock = std::chrono::steady_clock;
    double operationSeconds = 0;
    std::vector<double> baselineSeconds(baselines.size());
    for (auto _ : state) {
        auto start = Clock::now();
        operation();
        benchmark::ClobberMemory();
        auto end = Clock::now();
        const double seconds = std::chrono::duration<double>(end - start).count();
        state.SetIterationTime(seconds);
        operationSeconds += seconds;
        for (size_t k = 0; k < baselines.size(); ++k) {
            start = end;
            baselines[k].run();
            benchmark::ClobberMemory();
            end = Clock::now();
            baselineSeconds[k] += std::chrono::duration<double>(end - start).count();
        }
    }
    const double items = static_cast<double>(itemsPerRun) * static_cast<double>(state.iterations());
    state.SetItemsProcessed(static_cast<int64_t>(items));
    state.counters[std::string("ns_per_") + itemName] = operationSeconds * 1e9 / items;
    for (size_t k = 0; k < baselines.size(); ++k) {
        const std::string& name = baselines[k].name;
        state.counters[(name.empty() ? "baseline" : name) + "_ns_per_" + itemName] = baselineSeconds[k] * 1e9 / items;
        state.counters[name.empty() ? "speedup" : "speedup_vs_" + name] = baselineSeconds[k] / operationSeconds;
    }
}

// One baseline, reported as "baseline_ns_per_<item>" and "speedup".
template <class Operation, class BaselineLoop>
void CompareWithBaseline(benchmark::State& state, int64_t itemsPerRun, const char* itemName,
                         Operation operation, BaselineLoop baseline) {
    CompareWithBaselines(state, itemsPerRun, itemName, operation, {{"", baseline}});
}
