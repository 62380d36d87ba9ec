// What every volume operation stands on: the checks of its records, the two ways of addressing a volume, and the split of a
// destination's planes over threads. The operations themselves are in files of their own.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/team.h"
#include "zypr.h"

namespace zypr {

// ---- Records ------------------------------------------------------------------------------------------------------------

inline bool isValid(const ZyprVolumeExtent &extent) { return extent.width > 0 && extent.height > 0 && extent.depth > 0; }

inline bool isValid(const ZyprVoxelCuboid &cuboid) {
    return cuboid.x >= 0 && cuboid.width > 0 && cuboid.y >= 0 && cuboid.height > 0 && cuboid.z >= 0 && cuboid.depth > 0;
}

inline bool isInterpolation(ZyprInterpolation mode) {
    return mode == zyprInterNearest || mode == zyprInterLinear || (mode >= zyprInterCubicLagrange && mode <= zyprInterCubicBC);
}

inline bool isCubic(ZyprInterpolation mode) { return mode >= zyprInterCubicLagrange && mode <= zyprInterCubicBC; }

// Whether the cuboid's first voxel exists. Both records must be valid.
inline bool startsInside(const ZyprVoxelCuboid &cuboid, const ZyprVolumeExtent &extent) {
    return cuboid.x < extent.width && cuboid.y < extent.height && cuboid.z < extent.depth;
}

// The part of the cuboid that lies in the volume; it must start inside.
inline ZyprVoxelCuboid trimmed(ZyprVoxelCuboid cuboid, const ZyprVolumeExtent &extent) {
    if (cuboid.width > extent.width - cuboid.x) cuboid.width = extent.width - cuboid.x;
    if (cuboid.height > extent.height - cuboid.y) cuboid.height = extent.height - cuboid.y;
    if (cuboid.depth > extent.depth - cuboid.z) cuboid.depth = extent.depth - cuboid.z;
    return cuboid;
}

// ---- Voxels in memory ---------------------------------------------------------------------------------------------------

// A byte step in samples: odd bytes are lost.
template <class Sample> ptrdiff_t samplesOf(int32_t byteStep) {
    static_assert(sizeof(Sample) == 1 || sizeof(Sample) == 2 || sizeof(Sample) == 4);
    return byteStep >> (sizeof(Sample) / 2);
}

// A volume in either form. Voxel (x, y, z) is plane(z)[y * rowStep + x]; steps count samples and may be negative.
template <class Sample> struct Volume {
    Sample *base;          // contiguous form
    ptrdiff_t planeStep;   //
    Sample *const *planes; // plane-array form, null in the other; only the entries of planes in use are read
    ptrdiff_t rowStep;

    Sample *plane(int32_t z) const { return planes != nullptr ? planes[z] : base + z * planeStep; }
};

template <class Sample> Volume<Sample> contiguousVolume(Sample *base, int32_t byteRowStep, int32_t bytePlaneStep) {
    return {base, samplesOf<Sample>(bytePlaneStep), nullptr, samplesOf<Sample>(byteRowStep)};
}
template <class Sample> Volume<Sample> planeArrayVolume(Sample *const *planes, int32_t byteRowStep) {
    return {nullptr, 0, planes, samplesOf<Sample>(byteRowStep)};
}

// ---- Threads ------------------------------------------------------------------------------------------------------------

// Calls body(share, thread, teamSize) with shares that cover the planes 0 to depth - 1 of a region: on a team when the region
// is at least 16 voxels in each direction and more than one thread may be used, else once.
template <class Body> void runSlices(int32_t width, int32_t height, int32_t depth, const Body &body) {
    constexpr int32_t leastExtent = 16;
    const bool large = width >= leastExtent && height >= leastExtent && depth >= leastExtent;
    const int32_t threads = large ? ownGetNumThreads() : 1;
    if (threads <= 1) return body(TeamShare{0, depth}, 0, 1);
    runTeam(threads, [&](int thread, int teamSize) { body(teamShare(depth, thread, teamSize), thread, teamSize); });
}

// The bytes of the caller's buffer that are one thread's own; none when the buffer's size is below 1.
struct ScratchSlice {
    uint8_t *begin;
    int64_t bytes;
};

inline ScratchSlice scratchSlice(uint8_t *buffer, int64_t bufferBytes, int thread, int teamSize) {
    if (bufferBytes < 1) return {buffer, 0};
    const int64_t first = thread * bufferBytes / teamSize;
    return {buffer + first, (thread + 1) * bufferBytes / teamSize - first};
}

// ---- Resize -------------------------------------------------------------------------------------------------------------

// The six numbers of a mapping: source coordinate s goes to destination coordinate scale * s + translate.
struct ResizeMapping {
    double xScale, yScale, zScale;
    double xTranslate, yTranslate, zTranslate;
};

// What the checks of a resize make of its arguments.
struct ZyprResizeJob {
    double xInvScale, yInvScale, zInvScale; // 1 / scale
    double xOffset, yOffset, zOffset;       // (0 - translate) / scale
    int32_t dstX0, dstY0, dstZ0;            // the region to be written
    int32_t dstX1, dstY1, dstZ1;            // one past it
    int32_t dstWidth, dstHeight, dstDepth;
};

// All checks of the resize functions, in their order. The job is filled when the result is zypStsNoErr. Its region is what the
// source cuboid, trimmed to the volume, maps to, as far as it lies in the destination cuboid.
zypStatus checkResizeArguments(const void *src, const ZyprVolumeExtent *srcExtent, const ZyprVoxelCuboid *srcCuboid,
                               const void *dst, const ZyprVoxelCuboid *dstCuboid, const ResizeMapping &mapping,
                               ZyprInterpolation interpolation, const void *buffer, ZyprResizeJob *job);

} // namespace zypr
