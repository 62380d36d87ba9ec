// The volume filter on an MRI head, on one thread, beside its scalar model, SciPy's convolve and the machine's limit: the time
// that as many two-tap multiply-adds take at the least.
//
//     filter_vs_peers [PART OF A NAME]      such as "5x5x5"

#include <immintrin.h>

#include <cstdio>
#include <memory>
#include <string>

#include "support/contest.h"
#include "support/head_volume.h"
#include "support/scipy.h"
#include "support/timings.h"
#include "volume/filter_model.h"
#include "zypcore.h"
#include "zypr.h"

namespace {

using namespace zypr::bench;

struct FilterTask {
    ZyprVolumeExtent kernel;
    int32_t most; // coefficients go up to it: small ones take the 16-bit pairs

    // The head, filtered where the kernel stays inside.
    ZyprVolumeExtent source{}, dst{};
    std::vector<int16_t> from;
    std::vector<const int16_t *> fromPlanes;
    zypr::test::FilterModel model;

    FilterTask(const ZyprVolumeExtent &extent, int32_t mostCoefficient) : kernel(extent), most(mostCoefficient) {
        const HeadVolume &head = headVolume();
        source = {head.width, head.height, head.depth};
        dst = {source.width - kernel.width + 1, source.height - kernel.height + 1, source.depth - kernel.depth + 1};
        from = head.as<int16_t>();
        const size_t plane = static_cast<size_t>(source.width) * static_cast<size_t>(source.height);
        for (size_t z = 0; z * plane < from.size(); ++z) fromPlanes.push_back(from.data() + z * plane);
        const auto taps = static_cast<size_t>(kernel.width * kernel.height * kernel.depth);
        model = {std::vector<int32_t>(taps), kernel, {kernel.width - 1, kernel.height - 1, kernel.depth - 1}, 1000};
        for (size_t i = 0; i < taps; ++i) model.taps[i] = static_cast<int32_t>(i * 7919 % 17) * most / 17;
    }
    size_t voxels() const {
        return static_cast<size_t>(dst.width) * static_cast<size_t>(dst.height) * static_cast<size_t>(dst.depth);
    }
};

Contestant own(const FilterTask &task) {
    struct Memory {
        std::vector<int16_t> to;
        std::vector<int16_t *> toPlanes;
        std::vector<uint8_t> buffer;
    };
    const auto memory = std::make_shared<Memory>();
    return {"zypr",
            [=, &task] {
                return secondsOf([&] {
                    zyprFilter_16s_C1PV(task.fromPlanes.data(), 2 * task.source.width, memory->toPlanes.data(),
                                        2 * task.dst.width, &task.dst, task.model.taps.data(), &task.kernel, task.model.origin,
                                        task.model.divisor, memory->buffer.data());
                });
            },
            [=, &task] {
                int32_t size = 0;
                zyprFilterGetBufSize(&task.dst, &task.kernel, 1, &size);
                *memory = {std::vector<int16_t>(task.voxels()), {}, std::vector<uint8_t>(static_cast<size_t>(size))};
                const size_t plane = task.voxels() / static_cast<size_t>(task.dst.depth);
                for (size_t z = 0; z * plane < task.voxels(); ++z) memory->toPlanes.push_back(memory->to.data() + z * plane);
            }};
}

// Some rows of the result, voxel by voxel.
Contestant scalarModel(const FilterTask &task) {
    return {"scalar model", [&task] {
                constexpr int32_t rows = 2;
                const auto source = [&](int64_t x, int64_t y, int64_t z) {
                    return task.fromPlanes[static_cast<size_t>(z)][y * task.source.width + x];
                };
                volatile int16_t sink = 0;
                const double seconds = secondsOf([&] {
                    for (int32_t y = 0; y < rows; ++y)
                        for (int32_t x = 0; x < task.dst.width; ++x)
                            sink = task.model.at(x, y + 50, task.dst.depth / 2, task.dst.width, source);
                });
                return seconds * task.dst.height * task.dst.depth / rows;
            }};
}

// As many multiply-adds of eight pairs each as the kernel's pairs of coefficients need, that don't wait for one another.
Contestant multiplyAdds(const FilterTask &task) {
    return {"multiply-adds at the peak", [&task] {
                constexpr int chains = 12, rounds = 1000000;
                const double seconds = secondsOf([] {
                    __m256i value[chains];
                    for (int c = 0; c < chains; ++c) value[c] = _mm256_set1_epi32(c + 1);
                    const __m256i factor = _mm256_set1_epi32(0x00010001);
                    for (int round = 0; round < rounds; ++round) {
                        for (auto &v : value) v = _mm256_madd_epi16(v, factor);
                    }
                    for (const auto &v : value) __asm__ volatile("" : : "x"(v));
                });
                const double pairs = static_cast<double>((task.kernel.width + 1) / 2) * task.kernel.height * task.kernel.depth;
                return seconds / rounds / chains * pairs * static_cast<double>(task.voxels()) / 8;
            }};
}

// SciPy repeats the border, and so gives a voxel for every one of its source. It gets fewer planes of the larger kernels.
Contestant scipyConvolve(Scipy &scipy, const FilterTask &task) {
    const int32_t planes = task.kernel.width > 3 ? 32 : task.source.depth;
    const std::string path = scipy.save("head", task.from.data(), task.from.size() * sizeof(int16_t));
    const std::string request = "convolve " + path + " int16 " + std::to_string(planes) + " " +
                                std::to_string(task.source.height) + " " + std::to_string(task.source.width) + " " +
                                std::to_string(task.kernel.width);
    const double share = static_cast<double>(task.voxels()) / planes / task.source.height / task.source.width;
    return {"SciPy", [=, &scipy] { return scipy.ask(request).seconds * share; }};
}

} // namespace

int main(int argc, char **argv) {
    zypSetNumThreads(1);
    Scipy scipy(ZYPR_BENCH_SCRIPTS "/volume_scipy.py");
    std::printf("%-26s %-30s %10s %10s %9s %9s\n", "", "", "ms", "Mvoxel/s", "x zypr's", "MiB");
    const struct {
        const char *name;
        ZyprVolumeExtent kernel;
        int32_t most;
        bool hasPeer;
    } kernels[] = {{"3x3x3", {3, 3, 3}, 17, true},         {"5x5x5", {5, 5, 5}, 17, true},
                   {"7x7x7", {7, 7, 7}, 17, true},         {"4x4x4", {4, 4, 4}, 17, false},
                   {"9x1x1, exact", {9, 1, 1}, 17, false}, {"3x3x3, floats", {3, 3, 3}, 80000, false}};
    for (const auto &[name, kernel, most, hasPeer] : kernels) {
        if (argc > 1 && std::string(name).find(argv[1]) == std::string::npos) continue;
        const FilterTask task(kernel, most);
        std::vector<Contestant> contestants = {own(task), scalarModel(task), multiplyAdds(task)};
        if (hasPeer && scipy.isThere()) contestants.push_back(scipyConvolve(scipy, task));
        contest(name, static_cast<double>(task.voxels()), contestants);
    }
}
