// Volumes at another resolution.
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "volume/volume.h"
#include "zypr.h"
#include "zypr_support.h"

namespace volume {
namespace {

void check(zypStatus status) {
    if (status != zypStsNoErr) throw std::runtime_error(std::string("cannot resize: ") + zyprStatusText(status));
}

void checkSource(const Extent &extent, ZyprInterpolation interpolation) {
    const bool cubic = interpolation >= zyprInterCubicLagrange;
    if (cubic && (extent.width < 3 || extent.height < 3 || extent.depth < 3))
        throw std::runtime_error("cannot resize: cubic interpolation needs three voxels in every direction");
}

// A dimension of a NIfTI file is a 16-bit number, and a plane's bytes are a 32-bit one here.
void checkResult(const ZyprVoxelCuboid &cuboid) {
    constexpr int32_t mostVoxels = 32767;
    if (cuboid.width > mostVoxels || cuboid.height > mostVoxels || cuboid.depth > mostVoxels ||
        int64_t{cuboid.width} * cuboid.height * 4 > INT32_MAX)
        throw std::runtime_error("cannot resize: the result would be too large");
}

} // namespace

Volume resized(const Volume &source, const ResizeSettings &settings, bool quiet) {
    checkSource(source.extent, settings.interpolation);
    const double spacings[] = {source.header->dx, source.header->dy, source.header->dz};
    double scale[3];
    for (size_t axis = 0; axis < 3; ++axis) {
        const double wanted = settings.spacing[axis];
        scale[axis] = wanted > 0.0 ? std::abs(spacings[axis]) / wanted : settings.scale[axis];
        if (!(scale[axis] > 0.0)) throw std::runtime_error("cannot resize: the file doesn't tell the voxels' spacing");
    }

    const Extent &from = source.extent;
    const ZyprVolumeExtent srcExtent{from.width, from.height, from.depth};
    const ZyprVoxelCuboid srcCuboid{0, 0, 0, from.width, from.height, from.depth};
    ZyprVoxelCuboid whole{};
    check(zyprGetResizeCuboid(&srcCuboid, &whole, scale[0], scale[1], scale[2], 0.0, 0.0, 0.0, settings.interpolation));
    checkResult(whole);

    Volume result{copyOf(*source.header), {whole.width, whole.height, whole.depth}, {}};
    result.voxels.resize(result.extent.voxels());
    setGrid(*result.header, result.extent, scale);

    const auto srcRowBytes = static_cast<int32_t>(sizeof(float)) * from.width;
    const auto dstRowBytes = static_cast<int32_t>(sizeof(float)) * whole.width;
    inSlabs(whole.depth, "resizing", quiet, [&](int32_t first, int32_t planes) {
        ZyprVoxelCuboid slab = whole;
        slab.z = first, slab.depth = planes;
        int32_t bytes = 0;
        check(zyprResizeGetBufSize(&srcCuboid, &slab, 1, settings.interpolation, &bytes));
        if (bytes <= 0) throw std::runtime_error("cannot resize: the result would be too large");
        std::vector<uint8_t> scratch(static_cast<size_t>(bytes));
        check(zyprResize_32f_C1V(source.voxels.data(), &srcExtent, srcRowBytes, srcRowBytes * from.height, &srcCuboid,
                                 result.voxels.data(), dstRowBytes, dstRowBytes * whole.height, &slab, scale[0], scale[1],
                                 scale[2], 0.0, 0.0, 0.0, settings.interpolation, scratch.data()));
    });
    return result;
}

} // namespace volume
