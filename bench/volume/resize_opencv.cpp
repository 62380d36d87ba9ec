#include <cmath>
#include <map>
#include <memory>
#include <opencv2/imgproc.hpp>

#include "resize_task.h"
#include "support/timings.h"

namespace zypr::bench {
namespace {

template <class Sample> constexpr int matType = sizeof(Sample) == 1 ? CV_8UC1 : sizeof(Sample) == 2 ? CV_16UC1 : CV_32FC1;

template <class Sample> void resize(const ResizeTask<Sample> &task, std::vector<Sample> &to) {
    const bool isLinear = task.mode == zyprInterLinear;
    const cv::Size size(task.dst.width, task.dst.height);
    std::map<int, cv::Mat> planes;
    const auto plane = [&](int z) -> const cv::Mat & {
        z = std::min(std::max(z, 0), task.extent.depth - 1);
        while (!planes.empty() && planes.begin()->first < z - 3) planes.erase(planes.begin());
        cv::Mat &image = planes[z];
        if (image.empty()) {
            const cv::Mat source(task.extent.height, task.extent.width, matType<Sample>,
                                 const_cast<Sample *>(task.srcRow(0, z)));
            cv::resize(source, image, size, 0, 0, isLinear ? cv::INTER_LINEAR : cv::INTER_CUBIC);
            if (!isLinear) image.convertTo(image, CV_32F);
        }
        return image;
    };
    cv::Mat front, back, sum;
    for (int z = 0; z < task.dst.depth; ++z) {
        cv::Mat out(size, matType<Sample>, to.data() + static_cast<size_t>(z) * static_cast<size_t>(size.area()));
        const double c = (z + 0.5) / task.scale - 0.5;
        const int i = static_cast<int>(std::floor(c));
        const double t = c - i;
        if (isLinear) {
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
            sum.convertTo(out, matType<Sample>);
        }
    }
}

} // namespace

template <class Sample> Contestant openCVResize(const ResizeTask<Sample> &task) {
    cv::setNumThreads(1);
    const auto to = std::make_shared<std::vector<Sample>>();
    return {"OpenCV planes, blend along z", [=, &task] { return secondsOf([&] { resize(task, *to); }); },
            [=, &task] { *to = std::vector<Sample>(task.voxels()); }};
}
template Contestant openCVResize(const ResizeTask<uint8_t> &);
template Contestant openCVResize(const ResizeTask<uint16_t> &);
template Contestant openCVResize(const ResizeTask<float> &);

} // namespace zypr::bench
