// Resize of an MRI head: the three element types, up and down, beside the scalar model, a plain copy of the result, and what
// SciPy, OpenCV and ITK take for the same. All on one thread. Items are destination voxels.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <string>

#include "support/head_volume.h"
#include "volume/resize_model.h"
#include "zypcore.h"
#include "zypr.h"

#ifdef ZYPR_HAS_OPENCV
#include <opencv2/imgproc.hpp>
#endif
#ifdef ZYPR_HAS_ITK
#include <itkImage.h>
#include <itkLinearInterpolateImageFunction.h>
#include <itkResampleImageFilter.h>
#endif

namespace {

using zypr::bench::HeadVolume;
using zypr::bench::headVolume;

// Enlargements take the middle of the head, so that the results stay below 100 MB.
const HeadVolume &sourceFor(double scale) {
    static const HeadVolume middle = headVolume().middle(160, 192, 160);
    return scale > 1.0 ? middle : headVolume();
}

template <class Sample> const std::vector<Sample> &samplesFor(double scale) {
    static const std::vector<Sample> small = sourceFor(2.0).as<Sample>(), large = sourceFor(0.5).as<Sample>();
    return scale > 1.0 ? small : large;
}

template <class Sample> struct Resize {
    ZyprVolumeExtent extent;
    ZyprVoxelCuboid src, dst{};
    double scale;
    ZyprInterpolation mode;
    std::vector<Sample> from, to;
    std::vector<uint8_t> buffer;

    Resize(double factor, ZyprInterpolation interpolation) : scale(factor), mode(interpolation) {
        zypSetNumThreads(1);
        const HeadVolume &head = sourceFor(scale);
        extent = {head.width, head.height, head.depth};
        src = {0, 0, 0, extent.width, extent.height, extent.depth};
        from = samplesFor<Sample>(scale);
        zyprGetResizeCuboid(&src, &dst, scale, scale, scale, 0, 0, 0, mode);
        to.resize(voxels());
        int32_t size = 0;
        zyprResizeGetBufSize(&src, &dst, 1, mode, &size);
        buffer.resize(static_cast<size_t>(size));
    }
    size_t voxels() const {
        return static_cast<size_t>(dst.width) * static_cast<size_t>(dst.height) * static_cast<size_t>(dst.depth);
    }
    static int32_t bytes(int32_t samples) { return samples * static_cast<int32_t>(sizeof(Sample)); }

    void run() {
        const auto arguments = [&](auto function) {
            function(from.data(), &extent, bytes(extent.width), bytes(extent.width * extent.height), &src, to.data(),
                     bytes(dst.width), bytes(dst.width * dst.height), &dst, scale, scale, scale, 0.0, 0.0, 0.0, mode,
                     buffer.data());
        };
        if constexpr (sizeof(Sample) == 1)
            arguments(zyprResize_8u_C1V);
        else if constexpr (sizeof(Sample) == 2)
            arguments(zyprResize_16u_C1V);
        else
            arguments(zyprResize_32f_C1V);
    }
};

void countVoxels(benchmark::State &state, size_t voxels) {
    state.SetItemsProcessed(static_cast<int64_t>(voxels) * static_cast<int64_t>(state.iterations()));
}

template <class Sample> void zyprResize(benchmark::State &state, double scale, ZyprInterpolation mode) {
    Resize<Sample> resize(scale, mode);
    for (auto _ : state) {
        resize.run();
        benchmark::ClobberMemory();
    }
    countVoxels(state, resize.voxels());
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["scratch_KiB"] = static_cast<double>(resize.buffer.size()) / 1024;
    state.counters["peak_MiB"] = static_cast<double>(usage.ru_maxrss) / 1024;
}

// One plane of the result, voxel by voxel.
template <class Sample> void scalarModel(benchmark::State &state, double scale, ZyprInterpolation mode) {
    Resize<Sample> resize(scale, mode);
    const zypr::test::ResizeMappingModel mapping{{scale, scale, scale}, {0, 0, 0}};
    const auto region = zypr::test::resizeRegion(resize.extent, resize.src, resize.dst, mapping);
    const size_t row = static_cast<size_t>(resize.extent.width), plane = row * static_cast<size_t>(resize.extent.height);
    zypr::test::ResizeModel<Sample> model(
        [&](int32_t x, int32_t y, int32_t z) {
            return resize.from[static_cast<size_t>(z) * plane + static_cast<size_t>(y) * row + static_cast<size_t>(x)];
        },
        resize.extent, *region, mapping, mode);
    const int32_t z = resize.dst.depth / 2;
    for (auto _ : state)
        for (int32_t y = 0, k = 0; y < 8; ++y)
            for (int32_t x = 0; x < resize.dst.width; ++x, ++k) resize.to[static_cast<size_t>(k)] = model.voxel(x, y + 50, z);
    countVoxels(state, static_cast<size_t>(resize.dst.width) * 8);
}

// What copying the result costs.
template <class Sample> void plainCopy(benchmark::State &state, double scale) {
    Resize<Sample> resize(scale, zyprInterNearest);
    const std::vector<Sample> result = resize.to;
    for (auto _ : state) {
        std::memcpy(resize.to.data(), result.data(), result.size() * sizeof(Sample));
        benchmark::ClobberMemory();
    }
    countVoxels(state, resize.voxels());
}

template <class Sample> void scipyZoom(benchmark::State &state, double scale, int order) {
    Resize<Sample> resize(scale, zyprInterLinear);
    const std::string path = "/tmp/zypr_bench_volume.raw";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char *>(resize.from.data()),
               static_cast<std::streamsize>(resize.from.size() * sizeof(Sample)));
    const char *const dtype = sizeof(Sample) == 1 ? "uint8" : sizeof(Sample) == 2 ? "uint16" : "float32";
    const std::string command = "OMP_NUM_THREADS=1 /usr/bin/python3 " ZYPR_BENCH_SCRIPTS "/resize_scipy.py " + path + " " +
                                dtype + " " + std::to_string(resize.extent.depth) + " " + std::to_string(resize.extent.height) +
                                " " + std::to_string(resize.extent.width) + " " + std::to_string(scale) + " " +
                                std::to_string(order);
    for (auto _ : state) {
        double seconds = 0;
        std::FILE *const script = popen(command.c_str(), "r");
        if (script == nullptr || std::fscanf(script, "%lf", &seconds) != 1) state.SkipWithError("SciPy is not there");
        if (script != nullptr) pclose(script);
        state.SetIterationTime(seconds);
    }
    std::remove(path.c_str());
    countVoxels(state, resize.voxels());
}

#ifdef ZYPR_HAS_OPENCV
// Planes by cv::resize, each once, and the blend along z of those kept.
template <class Sample> void openCV(benchmark::State &state, double scale, int taps) {
    cv::setNumThreads(1);
    Resize<Sample> resize(scale, taps == 2 ? zyprInterLinear : zyprInterCubicCatmullRom);
    constexpr int type = sizeof(Sample) == 1 ? CV_8UC1 : sizeof(Sample) == 2 ? CV_16UC1 : CV_32FC1;
    const cv::Size size(resize.dst.width, resize.dst.height);
    const int depth = resize.extent.depth;
    for (auto _ : state) {
        std::map<int, cv::Mat> planes;
        const auto plane = [&](int z) -> const cv::Mat & {
            z = std::min(std::max(z, 0), depth - 1);
            while (!planes.empty() && planes.begin()->first < z - 3) planes.erase(planes.begin());
            cv::Mat &image = planes[z];
            if (image.empty()) {
                const cv::Mat source(resize.extent.height, resize.extent.width, type,
                                     resize.from.data() + static_cast<size_t>(z) * static_cast<size_t>(resize.extent.width) *
                                                              static_cast<size_t>(resize.extent.height));
                cv::resize(source, image, size, 0, 0, taps == 2 ? cv::INTER_LINEAR : cv::INTER_CUBIC);
                if (taps == 4) image.convertTo(image, CV_32F);
            }
            return image;
        };
        cv::Mat front, back, sum;
        for (int z = 0; z < resize.dst.depth; ++z) {
            cv::Mat out(size, type, resize.to.data() + static_cast<size_t>(z) * static_cast<size_t>(size.area()));
            const double c = (z + 0.5) / scale - 0.5;
            const int i = static_cast<int>(std::floor(c));
            const double t = c - i;
            if (taps == 2) {
                cv::addWeighted(plane(i), 1 - t, plane(i + 1), t, 0, out);
                continue;
            }
            const double w0 = ((-0.5 * t + 1) * t - 0.5) * t, w1 = (1.5 * t - 2.5) * t * t + 1, w3 = (0.5 * t - 0.5) * t * t;
            plane(i - 1);
            cv::addWeighted(plane(i - 1), w0, plane(i), w1, 0, front);
            cv::addWeighted(plane(i + 1), 1 - w0 - w1 - w3, plane(i + 2), w3, 0, back);
            if constexpr (sizeof(Sample) == 4) {
                cv::add(front, back, out);
            } else {
                cv::add(front, back, sum);
                sum.convertTo(out, type);
            }
        }
        benchmark::ClobberMemory();
    }
    countVoxels(state, resize.voxels());
}
#endif

#ifdef ZYPR_HAS_ITK
template <class Sample> void itkResample(benchmark::State &state, double scale) {
    using Image = itk::Image<Sample, 3>;
    Resize<Sample> resize(scale, zyprInterLinear);
    const auto image = Image::New();
    image->SetRegions(typename Image::RegionType(typename Image::SizeType{
        {static_cast<itk::SizeValueType>(resize.extent.width), static_cast<itk::SizeValueType>(resize.extent.height),
         static_cast<itk::SizeValueType>(resize.extent.depth)}}));
    image->Allocate();
    std::copy(resize.from.begin(), resize.from.end(), image->GetBufferPointer());
    for (auto _ : state) {
        const auto filter = itk::ResampleImageFilter<Image, Image>::New();
        filter->SetInput(image);
        filter->SetInterpolator(itk::LinearInterpolateImageFunction<Image>::New());
        filter->SetSize(typename Image::SizeType{{static_cast<itk::SizeValueType>(resize.dst.width),
                                                  static_cast<itk::SizeValueType>(resize.dst.height),
                                                  static_cast<itk::SizeValueType>(resize.dst.depth)}});
        typename Image::SpacingType spacing;
        spacing.Fill(1.0 / scale);
        typename Image::PointType origin;
        origin.Fill(0.5 / scale - 0.5);
        filter->SetOutputSpacing(spacing);
        filter->SetOutputOrigin(origin);
        filter->SetNumberOfWorkUnits(1);
        filter->Update();
        benchmark::DoNotOptimize(filter->GetOutput()->GetBufferPointer());
    }
    countVoxels(state, resize.voxels());
}
#endif

template <class Sample> void registerFor(const std::string &type) {
    const std::pair<const char *, ZyprInterpolation> modes[] = {
        {"nearest", zyprInterNearest}, {"linear", zyprInterLinear}, {"cubic", zyprInterCubicCatmullRom}};
    for (const double scale : {1.5, 0.5}) {
        const std::string place = "/" + type + (scale > 1.0 ? "/x1.5" : "/x0.5");
        const auto add = [&](const std::string &name, auto function, auto... arguments) {
            return benchmark::RegisterBenchmark((name + place).c_str(), function, arguments...)->Unit(benchmark::kMillisecond);
        };
        add("copy", plainCopy<Sample>, scale);
        for (const auto &[name, mode] : modes) {
            add(std::string("zypr/") + name, zyprResize<Sample>, scale, mode);
            add(std::string("model/") + name, scalarModel<Sample>, scale, mode);
        }
#ifdef ZYPR_HAS_OPENCV
        add("opencv/linear", openCV<Sample>, scale, 2);
        add("opencv/cubic", openCV<Sample>, scale, 4);
#endif
#ifdef ZYPR_HAS_ITK
        add("itk/linear", itkResample<Sample>, scale)->Iterations(1);
#endif
        add("scipy/linear", scipyZoom<Sample>, scale, 1)->UseManualTime()->Iterations(1);
        add("scipy/cubic", scipyZoom<Sample>, scale, 3)->UseManualTime()->Iterations(1);
    }
}

const bool registered = [] {
    registerFor<uint8_t>("8u");
    registerFor<uint16_t>("16u");
    registerFor<float>("32f");
    return true;
}();

} // namespace
