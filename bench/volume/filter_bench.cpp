// The volume filter on an MRI head, on one thread, beside its scalar model, SciPy's convolve and the machine's limit: the rate
// of the two-tap multiply-add, measured in turns with the filter. Items are destination voxels.

#include <benchmark/benchmark.h>
#include <immintrin.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "support/beside.h"
#include "support/head_volume.h"
#include "volume/filter_model.h"
#include "zypcore.h"
#include "zypr.h"

namespace {

using zypr::bench::headVolume;

// Many multiply-adds of eight pairs of samples each that don't wait for one another.
struct MultiplyAdds {
    static constexpr int chains = 12, rounds = 1000000;
    void operator()() {
        __m256i value[chains];
        for (int c = 0; c < chains; ++c) value[c] = _mm256_set1_epi32(c + 1);
        const __m256i factor = _mm256_set1_epi32(0x00010001);
        for (int round = 0; round < rounds; ++round) {
            for (auto &v : value) v = _mm256_madd_epi16(v, factor);
        }
        for (auto &v : value) benchmark::DoNotOptimize(v);
    }
};

// The head in 16 bits, filtered where the kernel stays inside.
struct Filter {
    ZyprVolumeExtent source, kernel, dst;
    zypr::test::FilterModel model;
    std::vector<int16_t> from, to;
    std::vector<const int16_t *> fromPlanes;
    std::vector<int16_t *> toPlanes;
    std::vector<uint8_t> buffer;

    // Coefficients up to `most`: small ones take the 16-bit pairs.
    Filter(int32_t width, int32_t height, int32_t depth, int32_t most) : kernel{width, height, depth} {
        zypSetNumThreads(1);
        const auto &head = headVolume();
        source = {head.width, head.height, head.depth};
        from = head.as<int16_t>();
        dst = {source.width - width + 1, source.height - height + 1, source.depth - depth + 1};
        to.resize(voxels());
        const size_t srcPlane = static_cast<size_t>(source.width) * static_cast<size_t>(source.height);
        for (int32_t z = 0; z < source.depth; ++z) fromPlanes.push_back(from.data() + srcPlane * static_cast<size_t>(z));
        const size_t dstPlane = static_cast<size_t>(dst.width) * static_cast<size_t>(dst.height);
        for (int32_t z = 0; z < dst.depth; ++z) toPlanes.push_back(to.data() + dstPlane * static_cast<size_t>(z));
        const size_t taps = static_cast<size_t>(width * height * depth);
        model = {std::vector<int32_t>(taps), kernel, {width - 1, height - 1, depth - 1}, 1000};
        for (size_t i = 0; i < taps; ++i) model.taps[i] = static_cast<int32_t>(i * 7919 % 17) * most / 17;
        int32_t size = 0;
        zyprFilterGetBufSize(&dst, &kernel, 1, &size);
        buffer.resize(static_cast<size_t>(size));
    }
    size_t voxels() const {
        return static_cast<size_t>(dst.width) * static_cast<size_t>(dst.height) * static_cast<size_t>(dst.depth);
    }
    // Of eight pairs each.
    double multiplyAdds() const {
        return static_cast<double>(voxels()) / 8 * ((kernel.width + 1) / 2) * kernel.height * kernel.depth;
    }
    void operator()() {
        zyprFilter_16s_C1PV(fromPlanes.data(), 2 * source.width, toPlanes.data(), 2 * dst.width, &dst, model.taps.data(),
                            &kernel, model.origin, model.divisor, buffer.data());
        benchmark::ClobberMemory();
    }
};

void zyprFilter(benchmark::State &state, int32_t width, int32_t height, int32_t depth, int32_t most) {
    Filter filter(width, height, depth, most);
    MultiplyAdds multiplyAdds;
    zypr::bench::Timings filterTimings, peakTimings, modelTimings;
    const auto source = [&](int64_t x, int64_t y, int64_t z) {
        return filter.fromPlanes[static_cast<size_t>(z)][y * filter.source.width + x];
    };
    constexpr int32_t modelRows = 2;
    const auto model = [&] {
        for (int32_t y = 0; y < modelRows; ++y)
            for (int32_t x = 0; x < filter.dst.width; ++x)
                benchmark::DoNotOptimize(filter.model.at(x, y + 50, filter.dst.depth / 2, filter.dst.width, source));
    };
    filter();
    for (int turn = 0; auto _ : state) {
        state.SetIterationTime(filterTimings.measure(1, filter));
        peakTimings.measure(1, multiplyAdds);
        if (turn++ % 8 == 0) modelTimings.measure(1, model);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(filter.voxels()));
    const double peak = MultiplyAdds::chains * MultiplyAdds::rounds / peakTimings.median();
    state.counters["peak"] = filter.multiplyAdds() / filterTimings.median() / peak;
    const double modelVoxels = static_cast<double>(filter.dst.width) * modelRows;
    state.counters["model"] =
        modelTimings.median() / modelVoxels * static_cast<double>(filter.voxels()) / filterTimings.median();
}

void scipyConvolve(benchmark::State &state, int32_t side) {
    Filter filter(side, side, side, 17);
    const std::string path = "/tmp/zypr_bench_filter.raw";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char *>(filter.from.data()), static_cast<std::streamsize>(filter.from.size() * 2));
    const std::string command = "OMP_NUM_THREADS=1 /usr/bin/python3 " ZYPR_BENCH_SCRIPTS "/filter_scipy.py " + path + " " +
                                std::to_string(filter.source.depth) + " " + std::to_string(filter.source.height) + " " +
                                std::to_string(filter.source.width) + " " + std::to_string(side);
    for (auto _ : state) {
        double seconds = 0;
        std::FILE *const script = popen(command.c_str(), "r");
        if (script == nullptr || std::fscanf(script, "%lf", &seconds) != 1) state.SkipWithError("SciPy is not there");
        if (script != nullptr) pclose(script);
        state.SetIterationTime(seconds);
    }
    std::remove(path.c_str());
    // All voxels of the head: SciPy repeats the border.
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(filter.from.size()));
}

const bool registered = [] {
    const auto add = [](const char *name, auto function, auto... arguments) {
        return benchmark::RegisterBenchmark(name, function, arguments...)->Unit(benchmark::kMillisecond)->UseManualTime();
    };
    add("filter/zypr/3x3x3", zyprFilter, 3, 3, 3, 17);
    add("filter/zypr/5x5x5", zyprFilter, 5, 5, 5, 17);
    add("filter/zypr/7x7x7", zyprFilter, 7, 7, 7, 17);
    add("filter/zypr/4x4x4", zyprFilter, 4, 4, 4, 17);
    add("filter/zypr/9x1x1/exact", zyprFilter, 9, 1, 1, 17);
    add("filter/zypr/3x3x3/floats", zyprFilter, 3, 3, 3, 80000);
    for (const int32_t side : {3, 5, 7})
        add(("filter/scipy/" + std::to_string(side)).c_str(), scipyConvolve, side)->Iterations(1);
    return true;
}();

} // namespace
