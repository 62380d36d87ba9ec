// Affine warp of volumes: every voxel of a destination box is read where the inverse transform says.

#include "plane/warp.h"
#include "frame/fronts.h"
#include "volume/sampling.h"

namespace zypr {
using namespace sampling;

namespace {

// Three rows of four: row k gives coordinate k as a[k][0] x + a[k][1] y + a[k][2] z + a[k][3].
struct Affine {
    double a[3][4];
};

Affine affineFrom(const double *matrix) {
    Affine affine;
    std::memcpy(affine.a, matrix, sizeof affine.a);
    return affine;
}

double absolute(double a) { return a < 0 ? -a : a; }

// Whether p - q is as good as zero beside p.
bool cancels(double p, double q) {
    if (absolute(p) <= 1e-200) return absolute(q) <= 1e-10;
    return absolute((p - q) / p) <= 1e-10;
}

// A first test, which knows only the diagonal and the minors of the last two rows.
bool isDegenerate(const Affine &m) {
    const auto &c = m.a;
    const auto isNothing = [](double a) { return absolute(a) <= 1e-100; };
    return (isNothing(c[0][0]) && isNothing(c[1][1]) && isNothing(c[2][2])) ||
           (cancels(c[1][1] * c[2][2], c[1][2] * c[2][1]) && cancels(c[2][2] * c[1][0], c[1][2] * c[2][0]) &&
            cancels(c[2][1] * c[1][0], c[2][0] * c[1][1]));
}

// a d - b c, with one rounding of the difference.
double minor(double a, double b, double c, double d) { return fusedDifference(a, d, b * c); }

// False, with nothing filled, when the determinant is too small.
bool invert(const Affine &m, Affine *inverse) {
    const auto &c = m.a;
    const double x = minor(c[1][1], c[1][2], c[2][1], c[2][2]);
    const double y = minor(c[1][0], c[1][2], c[2][0], c[2][2]);
    const double z = minor(c[1][0], c[1][1], c[2][0], c[2][1]);
    const double determinant = fusedSubtract(c[0][1], y, fused(c[0][0], x, c[0][2] * z));
    if (-1e-10 < determinant && determinant < 1e-10) return false;

    const double r = 1.0 / determinant;
    auto &i = inverse->a;
    i[0][0] = x * r;
    i[0][1] = minor(c[0][2], c[0][1], c[2][2], c[2][1]) * r;
    i[0][2] = minor(c[0][1], c[0][2], c[1][1], c[1][2]) * r;
    i[1][0] = -y * r;
    i[1][1] = minor(c[0][0], c[0][2], c[2][0], c[2][2]) * r;
    i[1][2] = minor(c[0][2], c[0][0], c[1][2], c[1][0]) * r;
    i[2][0] = z * r;
    i[2][1] = minor(c[0][1], c[0][0], c[2][1], c[2][0]) * r;
    i[2][2] = minor(c[0][0], c[0][1], c[1][0], c[1][1]) * r;
    for (auto &row : i) row[3] = -(row[0] * c[0][3] + row[1] * c[1][3] + row[2] * c[2][3]);
    return true;
}

// The planes of one thread. Positions are stepped by addition at every level, from the part's first row and plane, so a voxel's
// position carries the roundings of the way to it.
template <class Region, class Kernel>
void warpPlanes(const Region &src, const Kernel &kernel, const Affine &inverse, typename Region::Sample *const *dstPlanes,
                int32_t dstRowStep, const ZyprVoxelCuboid &part) {
    const auto &i = inverse.a;
    const auto column = [&](int k) { return Double4{_mm256_setr_pd(i[0][k], i[1][k], i[2][k], 0.0)}; };
    const Double4 xStep = column(0), yStep = column(1), zStep = column(2);
    const Double4 atRowZero = fused(yStep, broadcastDouble(part.y), column(3));
    const Double4 toFirstColumn = broadcastDouble(part.x) * xStep;
    const Double4 toRowAhead = broadcastDouble(Kernel::planesFetchedAhead) * zStep;
    Double4 planeBase = fused(zStep, broadcastDouble(part.z), atRowZero);
    for (int32_t z = part.z; z < part.z + part.depth; ++z, planeBase = planeBase + zStep) {
        Double4 rowBase = planeBase;
        for (int32_t y = part.y; y < part.y + part.height; ++y, rowBase = rowBase + yStep) {
            sampleRow(src, kernel, SteppedRow(rowBase + toFirstColumn, xStep, toRowAhead),
                      planeRow(dstPlanes[z], dstRowStep, y) + part.x, part.width);
        }
    }
}

template <class Sample>
zypStatus warpVolume(const Sample *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                     ZyprVoxelCuboid *srcRegion, Sample *const *dstPlanes, int32_t dstRowStep, const ZyprVoxelCuboid *dstRegion,
                     const double *affineMatrix, ZyprInterpolation interpolation) {
    if (srcPlanes == nullptr || dstPlanes == nullptr) return zypStsNullPtrErr;
    if (!isValid(*srcExtent) || !isValid(*srcRegion) || !isValid(*dstRegion)) return zypStsSizeErr;
    const Affine forward = affineFrom(affineMatrix);
    if (isDegenerate(forward)) return zypStsSingularTransformErr;
    if (!isInterpolation(interpolation)) return zypStsInterpolationModeErr;
    const ZyprVoxelCuboid box = *dstRegion;
    if (srcExtent->depth == 1) {
        // Column 2 is the plane's translation here, and column 3 plays no part.
        const auto &c = forward.a;
        const double planeMatrix[6] = {c[0][0], c[0][1], c[0][2], c[1][0], c[1][1], c[1][2]};
        return planeWarp(srcPlanes[0], {srcExtent->width, srcExtent->height}, srcRowStep,
                         {srcRegion->x, srcRegion->y, srcRegion->width, srcRegion->height}, dstPlanes[0], dstRowStep,
                         {box.x, box.y, box.width, box.height}, planeMatrix, static_cast<uint32_t>(interpolation));
    }
    if (!startsInside(*srcRegion, *srcExtent)) return zypStsVolumeRoiOutsideWrn;
    *srcRegion = trimmed(*srcRegion, *srcExtent);
    Affine inverse;
    if (!invert(forward, &inverse)) return zypStsSingularTransformErr;

    const ZyprInterpolation mode = loweredMode(interpolation, *srcExtent);
    const SampledRegion<Sample> region = sampledRegion(srcPlanes, srcRowStep, *srcRegion, mode);
    withKernel<false>(mode, region, [&](const auto &kernel, const auto &src) {
        runSlices(box.width, box.height, box.depth, [&](TeamShare share, int, int) {
            ZyprVoxelCuboid part = box;
            part.z += share.first;
            part.depth = share.count;
            warpPlanes(src, kernel, inverse, dstPlanes, dstRowStep, part);
        });
    });
    return zypStsNoErr;
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprWarpAffineGetBufSize(const ZyprVoxelCuboid *srcRegion, const ZyprVoxelCuboid *dstRegion, int32_t channels,
                                         ZyprInterpolation interpolation, int32_t *size) {
    if (size == nullptr) return zypStsNullPtrErr;
    if (!isValid(*srcRegion) || !isValid(*dstRegion)) return zypStsSizeErr;
    if (channels != 1) return zypStsChannelCountErr;
    if (!isInterpolation(interpolation)) return zypStsInterpolationModeErr;
    *size = 0;
    return zypStsNoErr;
}

zypStatus front_zyprWarpAffine_8u_C1PV(const uint8_t *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                                       ZyprVoxelCuboid *srcRegion, uint8_t *const *dstPlanes, int32_t dstRowStep,
                                       const ZyprVoxelCuboid *dstRegion, const double *affineMatrix,
                                       ZyprInterpolation interpolation) {
    return warpVolume(srcPlanes, srcExtent, srcRowStep, srcRegion, dstPlanes, dstRowStep, dstRegion, affineMatrix,
                      interpolation);
}

zypStatus front_zyprWarpAffine_16u_C1PV(const uint16_t *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                                        ZyprVoxelCuboid *srcRegion, uint16_t *const *dstPlanes, int32_t dstRowStep,
                                        const ZyprVoxelCuboid *dstRegion, const double *affineMatrix,
                                        ZyprInterpolation interpolation) {
    return warpVolume(srcPlanes, srcExtent, srcRowStep, srcRegion, dstPlanes, dstRowStep, dstRegion, affineMatrix,
                      interpolation);
}

zypStatus front_zyprWarpAffine_32f_C1PV(const float *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                                        ZyprVoxelCuboid *srcRegion, float *const *dstPlanes, int32_t dstRowStep,
                                        const ZyprVoxelCuboid *dstRegion, const double *affineMatrix,
                                        ZyprInterpolation interpolation) {
    return warpVolume(srcPlanes, srcExtent, srcRowStep, srcRegion, dstPlanes, dstRowStep, dstRegion, affineMatrix,
                      interpolation);
}
