// The fronts of volume resize: the size of the scratch buffer, and the six members of the family.

#include "frame/fronts.h"
#include "volume/records.h"
#include "volume/resize_nearest.h"
#include "volume/resize_tiles.h"

namespace zypr {
namespace {

uint32_t roundedUpTo16(uint32_t n) { return (n + 15) & ~15u; }
uint32_t roundedUpTo64(uint32_t n) { return (n + 63) & ~63u; }

// The buffer for one thread, in wrapping 32-bit arithmetic: tables of the three axes, rows filtered along x, and images of
// whole planes. It depends on the destination alone, whatever the element type.
uint32_t bufferBytesPerThread(const ZyprVoxelCuboid &dst, ZyprInterpolation mode) {
    const auto w = static_cast<uint32_t>(dst.width), h = static_cast<uint32_t>(dst.height),
               d = static_cast<uint32_t>(dst.depth);
    const uint32_t indices = 4 * (roundedUpTo16(w) + roundedUpTo16(h) + roundedUpTo16(d));
    if (mode == zyprInterNearest) return indices + 64;

    const uint32_t fractions = 4 * (roundedUpTo64(w) + roundedUpTo64(h) + roundedUpTo64(d));
    if (mode == zyprInterLinear) {
        const uint32_t rows = 4 * ((2 * w + 127) & ~63u);
        const uint32_t interiorImages = 8 * h * roundedUpTo64(w);
        const uint32_t frameImages = 4 * ((8 * (w + h) + 127) & ~63u);
        return indices + fractions + rows + interiorImages + frameImages + 64;
    }
    const uint32_t rowsAndWeights = 8 * ((4 * w + 255) & ~63u);
    const uint32_t interiorImages = 16 * h * roundedUpTo64(w);
    const uint32_t yAndZWeights = 4 * ((4 * h + 255) & ~63u) + 4 * ((4 * d + 255) & ~63u);
    const uint32_t frameImages = 4 * ((128 * (w + h) + 255) & ~63u);
    return indices + fractions + rowsAndWeights + interiorImages + yAndZWeights + frameImages + 64;
}

// What the size query reports, and so all that a caller's buffer is sure to hold. A cuboid of absurd size makes it wrap.
int32_t bufferBytes(const ZyprVoxelCuboid &dst, ZyprInterpolation mode) {
    return static_cast<int32_t>(bufferBytesPerThread(dst, mode) * static_cast<uint32_t>(ownGetNumThreads()));
}

// What a resize on the calling thread may use: one thread's part, which needs no asking for the count, unless the cuboid is so
// large that the sum over some threads might wrap to less than that.
int32_t serialBufferBytes(const ZyprVoxelCuboid &dst, ZyprInterpolation mode) {
    const uint32_t bytes = bufferBytesPerThread(dst, mode);
    return bytes <= 4u << 20 ? static_cast<int32_t>(bytes) : bufferBytes(dst, mode);
}

template <class Sample> struct ResizeRequest {
    Volume<const Sample> src;
    ZyprVolumeExtent extent;
    Volume<Sample> dst;
    ZyprResizeJob job;
    ZyprInterpolation mode;
};

template <class Sample>
void resizePlanes(const ResizeRequest<Sample> &request, const TeamShare &planes, const ScratchSlice &scratch) {
    const auto &[src, extent, dst, job, mode] = request;
    if (mode == zyprInterNearest)
        resizeNearest(src, extent, dst, job, planes);
    else if (mode == zyprInterLinear)
        VolumeResize<LinearStage<Sample>>(src, extent, dst, job, mode).run(planes, scratch);
    else
        VolumeResize<CubicStage<Sample>>(src, extent, dst, job, mode).run(planes, scratch);
}

template <class Sample>
zypStatus resizeSerially(const ResizeRequest<Sample> &request, const ZyprVoxelCuboid &dstCuboid, uint8_t *buffer) {
    const int32_t bytes = serialBufferBytes(dstCuboid, request.mode);
    resizePlanes(request, TeamShare{0, request.job.dstDepth}, scratchSlice(buffer, bytes, 0, 1));
    return zypStsNoErr;
}

template <class Sample>
zypStatus resizeOnTeam(const ResizeRequest<Sample> &request, const ZyprVoxelCuboid &dstCuboid, uint8_t *buffer) {
    const int32_t bytes = bufferBytes(dstCuboid, request.mode);
    const ZyprResizeJob &job = request.job;
    runSlices(job.dstWidth, job.dstHeight, job.dstDepth, [&](const TeamShare &planes, int thread, int teamSize) {
        resizePlanes(request, planes, scratchSlice(buffer, bytes, thread, teamSize));
    });
    return zypStsNoErr;
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprResizeGetBufSize(const ZyprVoxelCuboid *srcCuboid, const ZyprVoxelCuboid *dstCuboid, int32_t channels,
                                     ZyprInterpolation interpolation, int32_t *size) {
    if (size == nullptr) return zypStsNullPtrErr;
    if (!isValid(*srcCuboid) || !isValid(*dstCuboid)) return zypStsSizeErr;
    if (channels != 1) return zypStsChannelCountErr;
    if (!isInterpolation(interpolation)) return zypStsInterpolationModeErr;
    *size = bufferBytes(*dstCuboid, interpolation);
    return zypStsNoErr;
}

#define ZYPR_RESIZE_CONTIGUOUS(suffix, Sample, run)                                                                            \
    zypStatus front_zyprResize_##suffix##_C1V(                                                                                 \
        const Sample *src, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep, int32_t srcPlaneStep,                        \
        const ZyprVoxelCuboid *srcCuboid, Sample *dst, int32_t dstRowStep, int32_t dstPlaneStep,                               \
        const ZyprVoxelCuboid *dstCuboid, double xScale, double yScale, double zScale, double xTranslate, double yTranslate,   \
        double zTranslate, ZyprInterpolation interpolation, uint8_t *buffer) {                                                 \
        ZyprResizeJob job;                                                                                                     \
        const zypStatus status =                                                                                               \
            checkResizeArguments(src, srcExtent, srcCuboid, dst, dstCuboid,                                                    \
                                 {xScale, yScale, zScale, xTranslate, yTranslate, zTranslate}, interpolation, buffer, &job);   \
        if (status != zypStsNoErr) return status;                                                                              \
        return run<Sample>({contiguousVolume(src, srcRowStep, srcPlaneStep), *srcExtent,                                       \
                            contiguousVolume(dst, dstRowStep, dstPlaneStep), job, interpolation},                              \
                           *dstCuboid, buffer);                                                                                \
    }

#define ZYPR_RESIZE_PLANE_ARRAY(suffix, Sample)                                                                                \
    zypStatus front_zyprResize_##suffix##_C1PV(const Sample *const *srcPlanes, const ZyprVolumeExtent *srcExtent,              \
                                               int32_t srcRowStep, const ZyprVoxelCuboid *srcCuboid, Sample *const *dstPlanes, \
                                               int32_t dstRowStep, const ZyprVoxelCuboid *dstCuboid, double xScale,            \
                                               double yScale, double zScale, double xTranslate, double yTranslate,             \
                                               double zTranslate, ZyprInterpolation interpolation, uint8_t *buffer) {          \
        ZyprResizeJob job;                                                                                                     \
        const zypStatus status =                                                                                               \
            checkResizeArguments(srcPlanes, srcExtent, srcCuboid, dstPlanes, dstCuboid,                                        \
                                 {xScale, yScale, zScale, xTranslate, yTranslate, zTranslate}, interpolation, buffer, &job);   \
        if (status != zypStsNoErr) return status;                                                                              \
        return resizeSerially<Sample>({planeArrayVolume(srcPlanes, srcRowStep), *srcExtent,                                    \
                                       planeArrayVolume(dstPlanes, dstRowStep), job, interpolation},                           \
                                      *dstCuboid, buffer);                                                                     \
    }

ZYPR_RESIZE_CONTIGUOUS(8u, uint8_t, resizeSerially)
ZYPR_RESIZE_CONTIGUOUS(16u, uint16_t, resizeSerially)
ZYPR_RESIZE_CONTIGUOUS(32f, float, resizeOnTeam)
ZYPR_RESIZE_PLANE_ARRAY(8u, uint8_t)
ZYPR_RESIZE_PLANE_ARRAY(16u, uint16_t)
ZYPR_RESIZE_PLANE_ARRAY(32f, float)
