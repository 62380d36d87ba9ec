// Rotation of an MRI head, as a warp and as a remap by maps of the same rotation: the three element types, every kernel, on one
// thread and on two, beside the peers that are installed. All take turns in one run. Prints medians in milliseconds, how many
// times faster zypr is than each peer, and the share of interior voxels on which both agree.
//
//     warp_vs_peers [PART OF A NAME]      such as "remap 32f", or "linear"
//
// Voxels agree in nearest mode when they are equal; in the others when they differ by one step of the integer types or less,
// or by less than a thousandth of the range of values: the cubic weights come from a table, and peers round positions and
// halves in their own ways. Peers also have their own ways at edges, so voxels count that read two or more from them.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "support/timings.h"
#include "warp_task.h"
#include "zypcore.h"

namespace {

using namespace zypr::bench;

template <class Sample> std::vector<Sample *> planesOf(std::vector<Sample> &voxels) {
    std::vector<Sample *> planes;
    for (size_t z = 0; z < depth; ++z) planes.push_back(voxels.data() + z * width * height);
    return planes;
}
template <class Sample> std::vector<const Sample *> planesOf(const std::vector<Sample> &voxels) {
    std::vector<const Sample *> planes;
    for (size_t z = 0; z < depth; ++z) planes.push_back(voxels.data() + z * width * height);
    return planes;
}

constexpr ZyprVolumeExtent extent = {width, height, depth};

template <class Sample, class Function> void warp(Function function, std::vector<Sample> &to, ZyprInterpolation mode) {
    ZyprVoxelCuboid region = {0, 0, 0, width, height, depth};
    const ZyprVoxelCuboid box = region;
    const int32_t step = width * static_cast<int32_t>(sizeof(Sample));
    function(planesOf(sourceVoxels<Sample>()).data(), &extent, step, &region, planesOf(to).data(), step, &box, forwardMatrix(),
             mode);
}
template <class Sample, class Function> void remap(Function function, std::vector<Sample> &to, ZyprInterpolation mode) {
    ZyprVoxelCuboid region = {0, 0, 0, width, height, depth};
    const int32_t step = width * static_cast<int32_t>(sizeof(Sample));
    function(planesOf(sourceVoxels<Sample>()).data(), &extent, step, &region, planesOf(sourceMap(0)).data(),
             planesOf(sourceMap(1)).data(), planesOf(sourceMap(2)).data(), width * 4, planesOf(to).data(), step, &extent, mode);
}

WarpContestant own(const Task &task) {
    return withElement(task.element, [&](auto sample) {
        using Sample = decltype(sample);
        const auto to = std::make_shared<std::vector<Sample>>(voxelCount);
        const auto work = [to, task] {
            const ZyprInterpolation mode = task.mode.interpolation;
            if constexpr (sizeof(Sample) == 1)
                task.isRemap ? remap(zyprRemap_8u_C1PV, *to, mode) : warp(zyprWarpAffine_8u_C1PV, *to, mode);
            else if constexpr (sizeof(Sample) == 2)
                task.isRemap ? remap(zyprRemap_16u_C1PV, *to, mode) : warp(zyprWarpAffine_16u_C1PV, *to, mode);
            else
                task.isRemap ? remap(zyprRemap_32f_C1PV, *to, mode) : warp(zyprWarpAffine_32f_C1PV, *to, mode);
        };
        return WarpContestant{[work, threads = task.threads] {
                                  zypSetNumThreads(threads);
                                  return secondsOf(work);
                              },
                              [to] { return std::vector<float>(to->begin(), to->end()); }};
    });
}

double percentAgreeing(const Task &task, const std::vector<float> &a, const std::vector<float> &b) {
    const float range = task.element == Element::Byte ? 255 : 255 * 16;
    const bool isNearest = task.mode.interpolation == zyprInterNearest;
    const float allowed = isNearest ? 0 : std::max(task.element == Element::Float ? 0.0f : 1.0f, range * 1e-3f);
    const float sizes[3] = {width, height, depth};
    size_t interior = 0, agreeing = 0;
    for (size_t i = 0; i < voxelCount; ++i) {
        bool isInterior = true;
        for (int axis = 0; axis < 3; ++axis) {
            const float position = sourceMap(axis)[i];
            isInterior = isInterior && position >= 2 && position <= sizes[axis] - 3;
        }
        interior += isInterior;
        agreeing += isInterior && std::fabs(a[i] - b[i]) <= allowed;
    }
    return 100.0 * static_cast<double>(agreeing) / static_cast<double>(interior);
}

void measure(const Task &task, const std::string &name) {
    constexpr int rounds = 5;
    const WarpContestant ours = own(task);
    std::vector<std::optional<WarpContestant>> theirs;
    for (const Peer &peer : peers()) theirs.push_back(peer.make(task));
    if (std::none_of(theirs.begin(), theirs.end(), [](const auto &one) { return one.has_value(); })) theirs.clear();

    Timings ownTimings;
    std::vector<Timings> peerTimings(theirs.size());
    std::string agreement;
    for (int round = -1; round < rounds; ++round) { // one to warm up
        const double seconds = ours.run();
        if (round >= 0) ownTimings.add(seconds);
        for (size_t k = 0; k < theirs.size(); ++k) {
            if (!theirs[k]) continue;
            const double peer = theirs[k]->run();
            if (round >= 0) peerTimings[k].add(peer);
            if (round >= 0) continue;
            char text[64];
            std::snprintf(text, sizeof text, "  %s %.3f%%", peers()[k].name,
                          percentAgreeing(task, ours.result(), theirs[k]->result()));
            agreement += text;
        }
    }
    std::printf("%-32s %8.2f", name.c_str(), 1e3 * ownTimings.median());
    for (Timings &timings : peerTimings) {
        if (timings.median() == 0)
            std::printf(" %10s %6s", "-", "-");
        else
            std::printf(" %10.2f %6.2f", 1e3 * timings.median(), timings.median() / ownTimings.median());
    }
    std::printf(" %s\n", agreement.c_str());
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv) {
    std::sort(peers().begin(), peers().end(),
              [](const Peer &a, const Peer &b) { return std::string(a.name) < std::string(b.name); });
    std::printf("%d x %d x %d voxels; milliseconds, and ratios above 1 where zypr is faster\n%-32s %8s", width, height, depth,
                "", "zypr");
    for (const Peer &peer : peers()) std::printf(" %10s %6s", peer.name, "ratio");
    std::printf("   agreement\n");
    const Mode modes[] = {{"nearest", zyprInterNearest},
                          {"linear", zyprInterLinear},
                          {"Catmull-Rom", zyprInterCubicCatmullRom},
                          {"B-spline", zyprInterCubicBSpline}};
    for (const int threads : {1, 2}) {
        for (const bool isRemap : {false, true}) {
            for (const Element element : {Element::Byte, Element::Word, Element::Float}) {
                for (const Mode &mode : modes) {
                    const char *const types[] = {"8u", "16u", "32f"};
                    const std::string name = std::string(isRemap ? "remap " : "warp ") + types[static_cast<int>(element)] +
                                             " " + mode.name + (threads == 1 ? ", one thread" : ", two threads");
                    if (argc < 2 || name.find(argv[1]) != std::string::npos) measure({isRemap, element, mode, threads}, name);
                }
            }
        }
    }
}
