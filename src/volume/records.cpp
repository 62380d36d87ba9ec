// Cuboids under a scale and a shift: the size of a resize's result, and the checks that every resize begins with.

#include "volume/records.h"

#include "frame/fronts.h"
#include "simd/vector.h"

namespace zypr {
namespace {

// The voxels that [origin, end) covers under the mapping, before their conversion to integers. A coordinate that lands on a
// half goes down at the low edge and up at the high edge, so that adjoining source boxes give destination boxes that touch.
constexpr double lowEdgeBias = 0.4999999999;
constexpr double highEdgeBias = 0.5000000001;

struct Interval {
    int32_t low, high;
    bool isEmpty() const { return low >= high; }
};

Interval scaledInterval(int32_t origin, int32_t size, double scale, double translate) {
    const auto end = static_cast<int32_t>(static_cast<uint32_t>(origin) + static_cast<uint32_t>(size));
    const int32_t low = truncated(lowEdgeBias + fused(scale, static_cast<double>(origin), translate));
    const int32_t high = truncated(highEdgeBias + fused(scale, static_cast<double>(end), translate));
    return {low < 0 ? 0 : low, high < 0 ? 0 : high};
}

// The same within `limit` voxels from `first` on. A mapping that is not a number, or that leaves the 32-bit range, gives an
// empty interval; it never gives one that starts below `first`.
Interval scaledIntervalWithin(int32_t first, int32_t limit, int32_t origin, int32_t size, double scale, double translate) {
    const double mappedLow = fused(scale, static_cast<double>(origin), translate);
    const double mappedHigh = fused(scale, static_cast<double>(origin + size), translate);
    const auto least = static_cast<double>(first);
    const double most = least + static_cast<double>(limit);
    const int32_t low = truncated(lowEdgeBias + (mappedLow < least ? least : mappedLow));
    const int32_t high = truncated(highEdgeBias + (mappedHigh > most ? most : mappedHigh));
    return low < first ? Interval{0, 0} : Interval{low, high};
}

// A scale that is not a number passes.
bool isRefused(double scale) { return 0.0 >= scale; }

} // namespace

zypStatus checkResizeArguments(const void *src, const ZyprVolumeExtent *srcExtent, const ZyprVoxelCuboid *srcCuboid,
                               const void *dst, const ZyprVoxelCuboid *dstCuboid, const ResizeMapping &mapping,
                               ZyprInterpolation interpolation, const void *buffer, ZyprResizeJob *job) {
    if (src == nullptr || dst == nullptr || buffer == nullptr) return zypStsNullPtrErr;
    if (!isValid(*srcExtent) || !isValid(*srcCuboid) || !isValid(*dstCuboid)) return zypStsSizeErr;
    if (isRefused(mapping.xScale) || isRefused(mapping.yScale) || isRefused(mapping.zScale)) return zypStsScaleFactorErr;
    if (!isInterpolation(interpolation)) return zypStsInterpolationModeErr;
    if (!startsInside(*srcCuboid, *srcExtent)) return zypStsVolumeRoiOutsideWrn;

    const ZyprVoxelCuboid from = trimmed(*srcCuboid, *srcExtent), to = *dstCuboid;
    const Interval x = scaledIntervalWithin(to.x, to.width, from.x, from.width, mapping.xScale, mapping.xTranslate);
    const Interval y = scaledIntervalWithin(to.y, to.height, from.y, from.height, mapping.yScale, mapping.yTranslate);
    const Interval z = scaledIntervalWithin(to.z, to.depth, from.z, from.depth, mapping.zScale, mapping.zTranslate);
    if (x.isEmpty() || y.isEmpty() || z.isEmpty()) return zypStsEmptyCuboidWrn;

    *job = {.xInvScale = 1.0 / mapping.xScale,
            .yInvScale = 1.0 / mapping.yScale,
            .zInvScale = 1.0 / mapping.zScale,
            .xOffset = (0.0 - mapping.xTranslate) / mapping.xScale,
            .yOffset = (0.0 - mapping.yTranslate) / mapping.yScale,
            .zOffset = (0.0 - mapping.zTranslate) / mapping.zScale,
            .dstX0 = x.low,
            .dstY0 = y.low,
            .dstZ0 = z.low,
            .dstX1 = x.high,
            .dstY1 = y.high,
            .dstZ1 = z.high,
            .dstWidth = x.high - x.low,
            .dstHeight = y.high - y.low,
            .dstDepth = z.high - z.low};
    return zypStsNoErr;
}

} // namespace zypr

using namespace zypr;

zypStatus front_zyprGetResizeCuboid(const ZyprVoxelCuboid *srcCuboid, ZyprVoxelCuboid *dstCuboid, double xScale, double yScale,
                                    double zScale, double xTranslate, double yTranslate, double zTranslate,
                                    ZyprInterpolation interpolation) {
    if (dstCuboid == nullptr) return zypStsNullPtrErr;
    if (!isValid(*srcCuboid)) return zypStsSizeErr;
    if (isRefused(xScale) || isRefused(yScale) || isRefused(zScale)) return zypStsScaleFactorErr;
    if (!isInterpolation(interpolation)) return zypStsInterpolationModeErr;

    const Interval x = scaledInterval(srcCuboid->x, srcCuboid->width, xScale, xTranslate);
    const Interval y = scaledInterval(srcCuboid->y, srcCuboid->height, yScale, yTranslate);
    const Interval z = scaledInterval(srcCuboid->z, srcCuboid->depth, zScale, zTranslate);
    if (x.isEmpty() || y.isEmpty() || z.isEmpty()) return zypStsEmptyCuboidWrn;
    *dstCuboid = {x.low, y.low, z.low, x.high - x.low, y.high - y.low, z.high - z.low};
    return zypStsNoErr;
}
