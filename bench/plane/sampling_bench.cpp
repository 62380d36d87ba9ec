// Remap and warp of one plane, mode by mode: a turn by a few degrees, as maps and as a matrix. Items are destination samples.

#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <vector>

#include "plane/remap.h"
#include "plane/warp.h"

namespace {

using namespace zypr;

constexpr int32_t side = 1024;
constexpr double cosine = 0.9945, sine = 0.1045;

template <class Sample> std::vector<Sample> pattern() {
    std::vector<Sample> samples(size_t{side} * side);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<Sample>(i * 2654435761u >> 24);
    return samples;
}

template <class Sample> void remap(benchmark::State &state, uint32_t mode) {
    const std::vector<Sample> src = pattern<Sample>();
    std::vector<Sample> dst(src.size());
    std::vector<float> x(src.size()), y(src.size());
    for (int32_t j = 0; j < side; ++j) {
        for (int32_t i = 0; i < side; ++i) {
            const auto k = static_cast<size_t>(j * side + i);
            x[k] = static_cast<float>(cosine * i + sine * (j - side / 2));
            y[k] = static_cast<float>(cosine * j - sine * (i - side / 2));
        }
    }
    constexpr int32_t step = side * sizeof(Sample), mapStep = side * 4;
    for (auto _ : state) {
        ZyprPlaneRect rect = {0, 0, side, side};
        planeRemap(src.data(), {side, side}, step, &rect, x.data(), mapStep, y.data(), mapStep, dst.data(), step, {side, side},
                   mode);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * side * side);
}

template <class Sample> void warp(benchmark::State &state, uint32_t mode) {
    const std::vector<Sample> src = pattern<Sample>();
    std::vector<Sample> dst(src.size());
    const double matrix[6] = {cosine, -sine, sine * side / 2, sine, cosine, -sine * side / 2};
    constexpr int32_t step = side * sizeof(Sample);
    for (auto _ : state) {
        planeWarp(src.data(), {side, side}, step, {0, 0, side, side}, dst.data(), step, {0, 0, side, side}, matrix, mode);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * side * side);
}

template <class Sample> void registerAll(const std::string &suffix) {
    const std::pair<const char *, uint32_t> modes[] = {{"nearest", 1}, {"linear", 2}, {"lagrange", 4}, {"catmullRom", 6}};
    for (const auto &[name, mode] : modes) {
        benchmark::RegisterBenchmark(("planeRemap/" + suffix + "/" + name).c_str(), remap<Sample>, mode);
        benchmark::RegisterBenchmark(("planeWarp/" + suffix + "/" + name).c_str(), warp<Sample>, mode);
    }
}

[[maybe_unused]] const bool registered = [] {
    registerAll<uint8_t>("8u");
    registerAll<uint16_t>("16u");
    registerAll<float>("32f");
    return true;
}();

} // namespace
