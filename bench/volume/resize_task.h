// What the comparison of resizes runs, and the peers that it may have been built with.
#pragma once

#include <cstdint>
#include <vector>

#include "support/contest.h"
#include "support/head_volume.h"
#include "zypr.h"

namespace zypr::bench {

// The MRI head under one scale for all axes. Enlargements take its middle, so that the results stay below 100 MB.
template <class SampleType> struct ResizeTask {
    using Sample = SampleType;

    double scale;
    ZyprInterpolation mode;
    ZyprVolumeExtent extent{};
    ZyprVoxelCuboid src{}, dst{};
    std::vector<Sample> from;

    ResizeTask(double factor, ZyprInterpolation interpolation) : scale(factor), mode(interpolation) {
        const HeadVolume head = scale > 1.0 ? headVolume().middle(160, 192, 160) : headVolume();
        extent = {head.width, head.height, head.depth};
        src = {0, 0, 0, extent.width, extent.height, extent.depth};
        from = head.as<Sample>();
        zyprGetResizeCuboid(&src, &dst, scale, scale, scale, 0, 0, 0, mode);
    }
    size_t voxels() const {
        return static_cast<size_t>(dst.width) * static_cast<size_t>(dst.height) * static_cast<size_t>(dst.depth);
    }
    const Sample *srcRow(int y, int z) const {
        const size_t row = static_cast<size_t>(z) * static_cast<size_t>(extent.height) + static_cast<size_t>(y);
        return from.data() + row * static_cast<size_t>(extent.width);
    }
};

// Planes by cv::resize, each once, and the blend along z of those kept.
template <class Sample> Contestant openCVResize(const ResizeTask<Sample> &task);

// The resampler with linear interpolation.
template <class Sample> Contestant itkResize(const ResizeTask<Sample> &task);

} // namespace zypr::bench
