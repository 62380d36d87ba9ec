// Where a resize's region begins and ends, which voxel is nearest and what cubic weights are, at numbers that tell a fused step
// from two and a bias from another. Volumes of such sizes have no memory here.

#include <gtest/gtest.h>

#include <cmath>

#include "frame/fronts.h"
#include "plane/resize_axis.h"
#include "support/bits.h"
#include "volume/records.h"
#include "volume/resize_model.h"

namespace {

using namespace zypr;

// Along x; the other axes have one voxel.
struct Region {
    zypStatus status;
    ZyprResizeJob job;
};
Region regionOf(int32_t origin, int32_t size, double scale, double shift) {
    const ZyprVolumeExtent extent{2000000000, 1, 1};
    const ZyprVoxelCuboid src{origin, 0, 0, size, 1, 1}, dst{0, 0, 0, 1000, 1, 1};
    const char memory = 0;
    Region region{};
    region.status = checkResizeArguments(&memory, &extent, &src, &memory, &dst, {scale, 1, 1, shift, 0, 0}, zyprInterLinear,
                                         &memory, &region.job);
    return region;
}

ZyprVoxelCuboid cuboidOf(int32_t origin, int32_t size, double scale, double shift) {
    const ZyprVoxelCuboid src{origin, 0, 0, size, 1, 1};
    ZyprVoxelCuboid dst{};
    EXPECT_EQ(front_zyprGetResizeCuboid(&src, &dst, scale, 1, 1, shift, 0, 0, zyprInterLinear), zypStsNoErr);
    return dst;
}

} // namespace

TEST(ResizeRegion, RoundsJustBesideAHalfByItsBiases) {
    // 0.5 + 0.00000000005 at both ends goes down at the low one, and the same below a half up at the high one.
    EXPECT_EQ(cuboidOf(0, 4, 1, 0.5 + 0.5e-10).x, 0);
    EXPECT_EQ(cuboidOf(0, 4, 1, 0.5 + 2e-10).x, 1);
    EXPECT_EQ(cuboidOf(0, 4, 1, 0.5 - 0.5e-10).width, 5);
    EXPECT_EQ(cuboidOf(0, 4, 1, 0.5 - 2e-10).width, 4);
    EXPECT_EQ(regionOf(0, 4, 1, 0.5 + 0.5e-10).job.dstX0, 0);
    EXPECT_EQ(regionOf(0, 4, 1, 0.5 + 2e-10).job.dstX0, 1);
    EXPECT_EQ(regionOf(0, 4, 1, 0.5 - 0.5e-10).job.dstX1, 5);
    EXPECT_EQ(regionOf(0, 4, 1, 0.5 - 2e-10).job.dstX1, 4);
}

TEST(ResizeRegion, ScalesAndShiftsInOneStep) {
    // 0.1 x 10^9 is 10^8 and 5.6e-9, and rounds to 10^8; 0.3 x 10^9 is 1.1e-8 below what it rounds to.
    EXPECT_EQ(cuboidOf(1000000000, 40, 0.1, -1e8 + 0.5).x, 1);
    EXPECT_EQ(regionOf(1000000000, 40, 0.1, -1e8 + 0.5).job.dstX0, 1);
    EXPECT_EQ(cuboidOf(999999990, 10, 0.3, -3e8 + 4.5).width, 3);
    EXPECT_EQ(regionOf(999999990, 10, 0.3, -3e8 + 4.5).job.dstX1, 4);
}

TEST(ResizeRegion, DividesTheShiftInsteadOfMultiplyingByTheInverse) {
    const Region region = regionOf(0, 100, 49, -49);
    ASSERT_EQ(region.status, zypStsNoErr);
    EXPECT_EQ(region.job.xOffset, 1.0); // 49 x (1 / 49) is below 1
    const ZyprVolumeExtent extent{4, 100, 100};
    const ZyprVoxelCuboid all{0, 0, 0, 4, 100, 100};
    const char memory = 0;
    ZyprResizeJob job{};
    ASSERT_EQ(
        checkResizeArguments(&memory, &extent, &all, &memory, &all, {1, 49, 49, 0, -49, -49}, zyprInterLinear, &memory, &job),
        zypStsNoErr);
    EXPECT_EQ(job.yOffset, 1.0);
    EXPECT_EQ(job.zOffset, 1.0);
}

TEST(ResizeAxis, TakesTheLowerVoxelUpToTheBiasAboveABorder) {
    EXPECT_EQ((ResizeAxis{1, 2.5 + 0.5e-10, 10}.nearest(0)), 2);
    EXPECT_EQ((ResizeAxis{1, 2.5 + 5e-10, 10}.nearest(0)), 3);
}

TEST(ResizeAxis, MapsInOneStep) {
    const double rounded = 1000000003.5 * 0.1; // 3.4e-9 above the product
    EXPECT_EQ((ResizeAxis{0.1, 5 - rounded, 10}.nearest(1000000003)), 4);
}

TEST(FixedFraction, TakesTheNextStepFromATenMillionthBelowItOn) {
    for (const double n : {1.0, 100.0, 16383.0}) {
        EXPECT_EQ(zypr::fixedFraction((n - 0.5e-7) / 16384), n);
        EXPECT_EQ(zypr::fixedFraction((n - 2e-7) / 16384), n - 1);
    }
    EXPECT_EQ(zypr::fixedFraction(0.0), 0);
    EXPECT_EQ(zypr::fixedFraction(std::nextafter(1.0, 0.0)), 16384);
}

TEST(CubicWeights, AreFusedWhereTheyComeNearZero) {
    for (const ZyprInterpolation mode :
         {zyprInterCubicLagrange, zyprInterCubicBSpline, zyprInterCubicCatmullRom, zyprInterCubicBC})
        for (int k = 0; k < 4000; ++k)
            for (const float t :
                 {static_cast<float>(k) * 0x1p-24f, 1.0f - static_cast<float>(k) * 0x1p-24f, static_cast<float>(k) / 4000}) {
                const CubicWeights weights = cubicWeights(mode, t);
                const float distances[4] = {-1.0f - t, t, 1.0f - t, 2.0f - t};
                for (int tap = 0; tap < 4; ++tap) {
                    const auto expected = static_cast<float>(test::resizeKernel(mode, std::fabs(distances[tap])));
                    ASSERT_EQ(test::bits(weights.w[tap]), test::bits(expected)) << mode << " " << t << " " << tap;
                }
            }
}
