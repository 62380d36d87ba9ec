// Measures a kernel beside its scalar model and beside a plain copy that moves as many bytes, taking turns in one run, so that
// the ratios hold on a machine that is doing other things as well.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "support/timings.h"

namespace zypr::bench {

// Reads half of `bytes` and writes the other half.
class Copy {
public:
    explicit Copy(size_t bytes) : from_(bytes / 2, 'a'), to_(bytes / 2, 'b') {}
    void operator()() {
        std::memcpy(to_.data(), from_.data(), to_.size());
        benchmark::DoNotOptimize(to_.data());
        benchmark::ClobberMemory();
    }

private:
    std::vector<char> from_, to_;
};

// The body of a benchmark registered with UseManualTime. `bytes` is what one call of the kernel reads and writes. Beside the
// kernel's time stand three counters, all from medians: GB/s; copy, the kernel's rate as a fraction of the plain copy's; and
// model, how many times faster than the model the kernel is.
template <class Kernel, class Model> void runBeside(benchmark::State &state, size_t bytes, Kernel kernel, Model model) {
    Copy copy(bytes);
    Timings kernelTimings, copyTimings, modelTimings;
    const int calls = bytes < 1000000 ? 32 : 1; // few microseconds are too short for the clock
    kernel();
    copy();
    for (int turn = 0; auto _ : state) {
        state.SetIterationTime(kernelTimings.measure(calls, kernel) * calls);
        copyTimings.measure(calls, copy);
        if (turn++ % 16 == 0) modelTimings.measure(1, model);
    }
    state.SetItemsProcessed(state.iterations() * calls);
    state.counters["GB/s"] = static_cast<double>(bytes) / kernelTimings.median() * 1e-9;
    state.counters["copy"] = copyTimings.median() / kernelTimings.median();
    state.counters["model"] = modelTimings.median() / kernelTimings.median();
}

} // namespace zypr::bench
