// Rotation of an MRI head, as a warp and as a remap by the same positions: the three element types, nearest, linear and cubic,
// on one thread and on two, beside what SciPy's affine_transform and map_coordinates take. Items are destination voxels.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "support/head_volume.h"
#include "zypcore.h"
#include "zypr.h"

namespace {

using zypr::bench::HeadVolume;
using zypr::bench::headVolume;

const HeadVolume &head() {
    static const HeadVolume middle = headVolume().middle(160, 192, 160);
    return middle;
}

// A turn about the volume's middle, about an axis that is none of its own.
struct Rotation {
    double matrix[12];
    explicit Rotation(const ZyprVolumeExtent &extent) {
        const double a = 0.4, b = 0.25,
                     middle[3] = {(extent.width - 1) / 2.0, (extent.height - 1) / 2.0, (extent.depth - 1) / 2.0};
        const double turn[3][3] = {{std::cos(a), -std::sin(a), 0},
                                   {std::cos(b) * std::sin(a), std::cos(b) * std::cos(a), -std::sin(b)},
                                   {std::sin(b) * std::sin(a), std::sin(b) * std::cos(a), std::cos(b)}};
        for (int r = 0; r < 3; ++r) {
            double rest = middle[r];
            for (int c = 0; c < 3; ++c) {
                matrix[4 * r + c] = turn[r][c];
                rest -= turn[r][c] * middle[c];
            }
            matrix[4 * r + 3] = rest;
        }
    }
    // The source of a destination voxel: a rotation's inverse is its transpose.
    double source(int axis, double x, double y, double z) const {
        const double from[3] = {x - matrix[3], y - matrix[7], z - matrix[11]};
        return matrix[axis] * from[0] + matrix[4 + axis] * from[1] + matrix[8 + axis] * from[2];
    }
};

template <class Sample> struct Planes {
    std::vector<Sample> samples;
    std::vector<Sample *> pointers;
    Planes(std::vector<Sample> values, const ZyprVolumeExtent &extent) : samples(std::move(values)) {
        for (int32_t z = 0; z < extent.depth; ++z)
            pointers.push_back(samples.data() + static_cast<ptrdiff_t>(z) * extent.width * extent.height);
    }
};

template <class Sample> struct Work {
    ZyprVolumeExtent extent{head().width, head().height, head().depth};
    size_t voxels = head().voxels.size();
    Planes<Sample> from{head().as<Sample>(), extent}, to{std::vector<Sample>(voxels), extent};
    int32_t step = extent.width * static_cast<int32_t>(sizeof(Sample));
    Rotation rotation{extent};

    void warp(ZyprInterpolation mode) {
        ZyprVoxelCuboid region = {0, 0, 0, extent.width, extent.height, extent.depth};
        const ZyprVoxelCuboid box = region;
        const auto call = [&](auto function) {
            function(from.pointers.data(), &extent, step, &region, to.pointers.data(), step, &box, rotation.matrix, mode);
        };
        if constexpr (sizeof(Sample) == 1)
            call(zyprWarpAffine_8u_C1PV);
        else if constexpr (sizeof(Sample) == 2)
            call(zyprWarpAffine_16u_C1PV);
        else
            call(zyprWarpAffine_32f_C1PV);
    }
    void remap(const std::vector<Planes<float>> &maps, ZyprInterpolation mode) {
        ZyprVoxelCuboid region = {0, 0, 0, extent.width, extent.height, extent.depth};
        const auto call = [&](auto function) {
            function(from.pointers.data(), &extent, step, &region, maps[0].pointers.data(), maps[1].pointers.data(),
                     maps[2].pointers.data(), extent.width * 4, to.pointers.data(), step, &extent, mode);
        };
        if constexpr (sizeof(Sample) == 1)
            call(zyprRemap_8u_C1PV);
        else if constexpr (sizeof(Sample) == 2)
            call(zyprRemap_16u_C1PV);
        else
            call(zyprRemap_32f_C1PV);
    }
    std::vector<Planes<float>> maps() const {
        std::vector<Planes<float>> all;
        for (int axis = 0; axis < 3; ++axis) {
            all.emplace_back(std::vector<float>(voxels), extent);
            size_t k = 0;
            for (int32_t z = 0; z < extent.depth; ++z)
                for (int32_t y = 0; y < extent.height; ++y)
                    for (int32_t x = 0; x < extent.width; ++x, ++k)
                        all.back().samples[k] = static_cast<float>(rotation.source(axis, x, y, z));
        }
        return all;
    }
};

void countVoxels(benchmark::State &state, size_t voxels) {
    state.SetItemsProcessed(static_cast<int64_t>(voxels) * static_cast<int64_t>(state.iterations()));
}

template <class Sample> void warp(benchmark::State &state, ZyprInterpolation mode, int threads) {
    zypSetNumThreads(threads);
    Work<Sample> work;
    for (auto _ : state) {
        work.warp(mode);
        benchmark::ClobberMemory();
    }
    countVoxels(state, work.voxels);
}

template <class Sample> void remap(benchmark::State &state, ZyprInterpolation mode, int threads) {
    zypSetNumThreads(threads);
    Work<Sample> work;
    const auto maps = work.maps();
    for (auto _ : state) {
        work.remap(maps, mode);
        benchmark::ClobberMemory();
    }
    countVoxels(state, work.voxels);
}

// The script rotates a volume of the same shape by the same matrix and reports its seconds.
template <class Sample> void scipy(benchmark::State &state, const char *function, int order) {
    const Work<Sample> work;
    const std::string path = "/tmp/zypr_bench_warp.raw";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char *>(work.from.samples.data()),
               static_cast<std::streamsize>(work.voxels * sizeof(Sample)));
    const char *const dtype = sizeof(Sample) == 1 ? "uint8" : sizeof(Sample) == 2 ? "uint16" : "float32";
    std::string command = std::string("OMP_NUM_THREADS=1 /usr/bin/python3 " ZYPR_BENCH_SCRIPTS "/warp_scipy.py ") + function +
                          " " + path + " " + dtype + " " + std::to_string(work.extent.depth) + " " +
                          std::to_string(work.extent.height) + " " + std::to_string(work.extent.width) + " " +
                          std::to_string(order);
    for (const double value : work.rotation.matrix) command.append(" ").append(std::to_string(value));
    for (auto _ : state) {
        double seconds = 0;
        std::FILE *const script = popen(command.c_str(), "r");
        if (script == nullptr || std::fscanf(script, "%lf", &seconds) != 1) state.SkipWithError("SciPy is not there");
        if (script != nullptr) pclose(script);
        state.SetIterationTime(seconds);
    }
    std::remove(path.c_str());
    countVoxels(state, work.voxels);
}

template <class Sample> void registerType(const char *type) {
    const struct {
        const char *name;
        ZyprInterpolation mode;
        int order;
    } modes[] = {{"nearest", zyprInterNearest, 0}, {"linear", zyprInterLinear, 1}, {"cubic", zyprInterCubicCatmullRom, 3}};
    for (const auto &m : modes) {
        const std::string suffix = std::string("/").append(type).append("/").append(m.name);
        for (const int threads : {1, 2}) {
            const std::string team = threads == 1 ? "" : "/two threads";
            benchmark::RegisterBenchmark(std::string("warp").append(suffix).append(team).c_str(), warp<Sample>, m.mode, threads)
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
            benchmark::RegisterBenchmark(std::string("remap").append(suffix).append(team).c_str(), remap<Sample>, m.mode,
                                         threads)
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
        }
        for (const char *function : {"affine_transform", "map_coordinates"})
            benchmark::RegisterBenchmark(std::string(function).append(suffix).c_str(), scipy<Sample>, function, m.order)
                ->Unit(benchmark::kMillisecond)
                ->Iterations(1)
                ->UseManualTime();
    }
}

[[maybe_unused]] const bool registered = [] {
    registerType<uint8_t>("8u");
    registerType<uint16_t>("16u");
    registerType<float>("32f");
    return true;
}();

} // namespace
