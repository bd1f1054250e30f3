#pragma once

// Times an operation against a plain C++ baseline doing the same work, in the
// same run: batches of each alternate until the time budget is spent, and
// the fastest batch of each counts, which keeps other programs' noise out.

#include <algorithm>
#include <chrono>

struct Timing {
    double seconds;          // per call of the operation
    double baselineSeconds;  // per call of the baseline
};

template <class Operation, class Baseline>
Timing TimeAgainstBaseline(Operation operation, Baseline baseline, double budgetSeconds) {
    using Clock = std::chrono::steady_clock;
    const auto secondsOf = [](auto&& work, int calls) {
        const auto start = Clock::now();
        for (int k = 0; k < calls; ++k) work();
        return std::chrono::duration<double>(Clock::now() - start).count() / calls;
    };
    // Warm both up, then size the batches to about a millisecond.
    const double first = std::max(secondsOf(operation, 1), secondsOf(baseline, 1));
    const int calls = std::max(1, static_cast<int>(1e-3 / std::max(first, 1e-9)));
    Timing best{1e30, 1e30};
    const auto end = Clock::now() + std::chrono::duration<double>(budgetSeconds);
    for (int round = 0; round < 3 || Clock::now() < end; ++round) {
        best.seconds = std::min(best.seconds, secondsOf(operation, calls));
        best.baselineSeconds = std::min(best.baselineSeconds, secondsOf(baseline, calls));
    }
    return best;
}
