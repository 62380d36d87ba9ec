// Remap of volumes: every destination voxel is read where three maps say.

#include "plane/remap.h"
#include "frame/fronts.h"
#include "volume/sampling.h"

namespace zypr {
using namespace sampling;

namespace {

template <class Sample>
zypStatus remapVolume(const Sample *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                      ZyprVoxelCuboid *srcRegion, const float *const *xMapPlanes, const float *const *yMapPlanes,
                      const float *const *zMapPlanes, int32_t mapRowStep, Sample *const *dstPlanes, int32_t dstRowStep,
                      const ZyprVolumeExtent *dstExtent, ZyprInterpolation interpolation) {
    if (srcPlanes == nullptr || dstPlanes == nullptr) return zypStsNullPtrErr;
    if (xMapPlanes == nullptr || yMapPlanes == nullptr || zMapPlanes == nullptr) return zypStsNullPtrErr;
    if (!isValid(*srcExtent) || !isValid(*srcRegion) || !isValid(*dstExtent)) return zypStsSizeErr;
    if (!isInterpolation(interpolation)) return zypStsInterpolationModeErr;
    if (srcExtent->depth == 1) {
        ZyprPlaneRect rect = {srcRegion->x, srcRegion->y, srcRegion->width, srcRegion->height};
        return planeRemap(srcPlanes[0], {srcExtent->width, srcExtent->height}, srcRowStep, &rect, xMapPlanes[0], mapRowStep,
                          yMapPlanes[0], mapRowStep, dstPlanes[0], dstRowStep, {dstExtent->width, dstExtent->height},
                          static_cast<uint32_t>(interpolation));
    }
    if (!startsInside(*srcRegion, *srcExtent)) return zypStsVolumeRoiOutsideWrn;
    *srcRegion = trimmed(*srcRegion, *srcExtent);

    const ZyprInterpolation mode = loweredMode(interpolation, *srcExtent);
    const SampledRegion<Sample> region = sampledRegion(srcPlanes, srcRowStep, *srcRegion, mode);
    const ZyprVolumeExtent extent = *dstExtent;
    withKernel<true>(mode, region, [&](const auto &kernel, const auto &src) {
        runSlices(extent.width, extent.height, extent.depth, [&](TeamShare share, int, int) {
            for (int32_t z = share.first; z < share.first + share.count; ++z) {
                const int32_t ahead = kernel.planesFetchedAhead,
                              later = z < extent.depth - ahead ? z + ahead : extent.depth - 1;
                for (int32_t y = 0; y < extent.height; ++y) {
                    const auto mapsAt = [&](int32_t plane) {
                        return MapRows{planeRow(xMapPlanes[plane], mapRowStep, y), planeRow(yMapPlanes[plane], mapRowStep, y),
                                       planeRow(zMapPlanes[plane], mapRowStep, y)};
                    };
                    const MappedRow row(mapsAt(z), mapsAt(later));
                    sampleRow(src, kernel, row, planeRow(dstPlanes[z], dstRowStep, y), extent.width);
                }
            }
        });
    });
    return zypStsNoErr;
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprRemap_8u_C1PV(const uint8_t *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                                  ZyprVoxelCuboid *srcRegion, const float *const *xMapPlanes, const float *const *yMapPlanes,
                                  const float *const *zMapPlanes, int32_t mapRowStep, uint8_t *const *dstPlanes,
                                  int32_t dstRowStep, const ZyprVolumeExtent *dstExtent, ZyprInterpolation interpolation) {
    return remapVolume(srcPlanes, srcExtent, srcRowStep, srcRegion, xMapPlanes, yMapPlanes, zMapPlanes, mapRowStep, dstPlanes,
                       dstRowStep, dstExtent, interpolation);
}

zypStatus front_zyprRemap_16u_C1PV(const uint16_t *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                                   ZyprVoxelCuboid *srcRegion, const float *const *xMapPlanes, const float *const *yMapPlanes,
                                   const float *const *zMapPlanes, int32_t mapRowStep, uint16_t *const *dstPlanes,
                                   int32_t dstRowStep, const ZyprVolumeExtent *dstExtent, ZyprInterpolation interpolation) {
    return remapVolume(srcPlanes, srcExtent, srcRowStep, srcRegion, xMapPlanes, yMapPlanes, zMapPlanes, mapRowStep, dstPlanes,
                       dstRowStep, dstExtent, interpolation);
}

zypStatus front_zyprRemap_32f_C1PV(const float *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                                   ZyprVoxelCuboid *srcRegion, const float *const *xMapPlanes, const float *const *yMapPlanes,
                                   const float *const *zMapPlanes, int32_t mapRowStep, float *const *dstPlanes,
                                   int32_t dstRowStep, const ZyprVolumeExtent *dstExtent, ZyprInterpolation interpolation) {
    return remapVolume(srcPlanes, srcExtent, srcRowStep, srcRegion, xMapPlanes, yMapPlanes, zMapPlanes, mapRowStep, dstPlanes,
                       dstRowStep, dstExtent, interpolation);
}
