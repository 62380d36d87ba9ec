// Resize of an MRI head, up and down: the three element types, on one thread, beside the scalar model, a plain copy of the
// result, the traffic of memory that nearest mode cannot do without, and the peers that are installed.
//
//     resize_vs_peers [PART OF A NAME]      such as "32f", or "x0.5 linear"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "resize_task.h"
#include "support/scipy.h"
#include "support/timings.h"
#include "volume/resize_model.h"
#include "zypcore.h"

namespace {

using namespace zypr::bench;

template <class Sample> constexpr const char *typeName = sizeof(Sample) == 1 ? "8u" : sizeof(Sample) == 2 ? "16u" : "32f";
template <class Sample> constexpr auto exportFor = zyprResize_32f_C1V;
template <> constexpr auto exportFor<uint8_t> = zyprResize_8u_C1V;
template <> constexpr auto exportFor<uint16_t> = zyprResize_16u_C1V;

template <class Sample> Contestant own(const ResizeTask<Sample> &task) {
    struct Memory {
        std::vector<Sample> to;
        std::vector<uint8_t> buffer;
    };
    const auto memory = std::make_shared<Memory>();
    return {"zypr",
            [=, &task] {
                const auto bytes = [](int32_t samples) { return samples * static_cast<int32_t>(sizeof(Sample)); };
                return secondsOf([&] {
                    exportFor<Sample>(task.from.data(), &task.extent, bytes(task.extent.width),
                                      bytes(task.extent.width * task.extent.height), &task.src, memory->to.data(),
                                      bytes(task.dst.width), bytes(task.dst.width * task.dst.height), &task.dst, task.scale,
                                      task.scale, task.scale, 0.0, 0.0, 0.0, task.mode, memory->buffer.data());
                });
            },
            [=, &task] {
                int32_t size = 0;
                zyprResizeGetBufSize(&task.src, &task.dst, 1, task.mode, &size);
                *memory = {std::vector<Sample>(task.voxels()), std::vector<uint8_t>(static_cast<size_t>(size))};
            }};
}

// Some rows of the result, voxel by voxel.
template <class Sample> Contestant model(const ResizeTask<Sample> &task) {
    return {"scalar model", [&task] {
                constexpr int32_t rows = 8;
                const zypr::test::ResizeMappingModel mapping{{task.scale, task.scale, task.scale}, {0, 0, 0}};
                const auto region = zypr::test::resizeRegion(task.extent, task.src, task.dst, mapping);
                zypr::test::ResizeModel<Sample> voxels([&](int32_t x, int32_t y, int32_t z) { return task.srcRow(y, z)[x]; },
                                                       task.extent, *region, mapping, task.mode);
                std::vector<Sample> row(static_cast<size_t>(task.dst.width));
                const double seconds = secondsOf([&] {
                    for (int32_t y = 0; y < rows; ++y)
                        for (int32_t x = 0; x < task.dst.width; ++x)
                            row[static_cast<size_t>(x)] = voxels.voxel(x, y + 50, task.dst.depth / 2);
                });
                return seconds * task.dst.height * task.dst.depth / rows;
            }};
}

template <class Sample> Contestant copyOfResult(const ResizeTask<Sample> &task) {
    const auto from = std::make_shared<std::vector<Sample>>(task.voxels(), Sample{1});
    const auto to = std::make_shared<std::vector<Sample>>(task.voxels());
    return {"copy of the result",
            [=] { return secondsOf([&] { std::memcpy(to->data(), from->data(), to->size() * sizeof(Sample)); }); }};
}

// Reads a byte of every line of the source's rows that nearest mode takes, and fills the result.
template <class Sample> Contestant leastTraffic(const ResizeTask<Sample> &task) {
    const auto to = std::make_shared<std::vector<Sample>>(task.voxels());
    return {"its lines read, result filled", [=, &task] {
                return secondsOf([&] {
                    const size_t rowBytes = static_cast<size_t>(task.dst.width) * sizeof(Sample);
                    auto *out = reinterpret_cast<char *>(to->data());
                    int previous = -1;
                    for (int32_t z = 0; z < task.dst.depth; ++z) {
                        const int plane = static_cast<int>((z + 0.5) / task.scale - 1e-10);
                        for (int32_t y = 0; y < task.dst.height; ++y, out += rowBytes) {
                            const auto row = [&](int32_t at) {
                                return reinterpret_cast<const char *>(
                                    task.srcRow(static_cast<int>((at + 0.5) / task.scale - 1e-10), plane));
                            };
                            const char *const now = row(y), *const ahead = row(std::min(y + 6, task.dst.height - 1));
                            for (size_t i = 0; plane != previous && i < static_cast<size_t>(task.extent.width) * sizeof(Sample);
                                 i += 64) {
                                __builtin_prefetch(ahead + i);
                                static_cast<void>(*static_cast<const volatile char *>(now + i));
                            }
                            std::memset(out, y, rowBytes);
                        }
                        previous = plane;
                    }
                });
            }};
}

// Its linear and cubic modes take as many taps as zypr's do.
template <class Sample> Contestant scipyZoom(Scipy &scipy, const ResizeTask<Sample> &task) {
    const char *const dtype = sizeof(Sample) == 1 ? "uint8" : sizeof(Sample) == 2 ? "uint16" : "float32";
    const std::string name = std::string(dtype) + std::to_string(task.extent.width);
    const std::string path = scipy.save(name, task.from.data(), task.from.size() * sizeof(Sample));
    const std::string request = "zoom " + path + " " + dtype + " " + std::to_string(task.extent.depth) + " " +
                                std::to_string(task.extent.height) + " " + std::to_string(task.extent.width) + " " +
                                std::to_string(task.scale) + " " + (task.mode == zyprInterLinear ? "1" : "3");
    const auto answer = std::make_shared<Scipy::Answer>();
    return {"SciPy",
            [=, &scipy] {
                *answer = scipy.ask(request);
                return answer->seconds;
            },
            {},
            [=] { return answer->mebibytes; }};
}

template <class Sample>
void measure(Scipy &scipy, const std::string &wanted, double scale, const char *modeName, ZyprInterpolation mode) {
    const std::string name = std::string(typeName<Sample>) + (scale > 1.0 ? " x1.5 " : " x0.5 ") + modeName;
    if (name.find(wanted) == std::string::npos) return;
    const ResizeTask<Sample> task(scale, mode);
    std::vector<Contestant> contestants = {own(task), model(task), copyOfResult(task)};
    if (mode == zyprInterNearest) {
        contestants.push_back(leastTraffic(task));
    } else {
        if (scipy.isThere()) contestants.push_back(scipyZoom(scipy, task));
#ifdef ZYPR_HAS_ITK
        if (mode == zyprInterLinear) contestants.push_back(itkResize(task));
#endif
#ifdef ZYPR_HAS_OPENCV
        contestants.push_back(openCVResize(task));
#endif
    }
    contest(name, static_cast<double>(task.voxels()), contestants);
}

} // namespace

int main(int argc, char **argv) {
    zypSetNumThreads(1);
    Scipy scipy(ZYPR_BENCH_SCRIPTS "/volume_scipy.py");
    std::printf("%-26s %-30s %10s %10s %9s %9s\n", "", "", "ms", "Mvoxel/s", "x zypr's", "MiB");
    const std::pair<const char *, ZyprInterpolation> modes[] = {
        {"nearest", zyprInterNearest}, {"linear", zyprInterLinear}, {"cubic", zyprInterCubicCatmullRom}};
    const std::string wanted = argc > 1 ? argv[1] : "";
    for (const double scale : {1.5, 0.5})
        for (const auto &[name, mode] : modes) {
            measure<uint8_t>(scipy, wanted, scale, name, mode);
            measure<uint16_t>(scipy, wanted, scale, name, mode);
            measure<float>(scipy, wanted, scale, name, mode);
        }
}
