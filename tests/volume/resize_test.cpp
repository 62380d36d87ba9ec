// The six resize functions against the model: modes, element types, forms, sizes, mappings, memory.

#include <gtest/gtest.h>

#include "support/core_probe.h"
#include "volume/resize_case.h"

using namespace zypr::test;

namespace {

constexpr ZyprInterpolation allModes[] = {zyprInterNearest,      zyprInterLinear,          zyprInterCubicLagrange,
                                          zyprInterCubicBSpline, zyprInterCubicCatmullRom, zyprInterCubicBC};

ZyprVoxelCuboid scaledCuboid(const ZyprVoxelCuboid &src, const ResizeMappingModel &m, ZyprInterpolation mode) {
    ZyprVoxelCuboid dst{0, 0, 0, 1, 1, 1};
    zyprGetResizeCuboid(&src, &dst, m.scale[0], m.scale[1], m.scale[2], m.shift[0], m.shift[1], m.shift[2], mode);
    return dst;
}

} // namespace

TEST(Resize, EverySmallExtentAndModeIsAsDefined) {
    const CoreProbeScope probe;
    uint32_t seed = 1;
    for (const ZyprInterpolation mode : allModes)
        for (int32_t width = 1; width <= 6; ++width)
            for (int32_t height = 1; height <= 5; ++height)
                for (int32_t depth = 1; depth <= 5; ++depth) {
                    const ZyprVolumeExtent extent{width, height, depth};
                    const double scale = seed % 3 == 0 ? 1.7 : seed % 3 == 1 ? 1.0 : 0.6;
                    const ResizeMappingModel mapping{{scale, scale, scale}, {0.3, 0.2, 0.1}};
                    ResizeCase c{extent, whole(extent), {}, mapping, mode};
                    c.dst = scaledCuboid(c.src, mapping, mode);
                    ASSERT_TRUE(resizesAsDefined(c, ++seed));
                }
}

TEST(Resize, EveryInteriorWidthUpToSeveralGroupsIsAsDefined) {
    const CoreProbeScope probe;
    for (const ZyprInterpolation mode : {zyprInterNearest, zyprInterLinear, zyprInterCubicCatmullRom})
        for (int32_t width = 1; width <= 70; ++width)
            // At 0.88 and 0.95, 0.38 and 0.43 groups of columns just miss a window
            for (const double scale : {1.5, 1.0, 0.95, 0.88, 0.5, 0.43, 0.38})
                for (const double zScale : {1.1, 0.45}) { // the latter without plane images
                    const ZyprVolumeExtent extent{width, 5, 3};
                    ResizeCase c{extent, whole(extent), {}, {{scale, 1.1, zScale}, {0, 0, 0}}, mode};
                    c.dst = scaledCuboid(c.src, c.mapping, mode);
                    ASSERT_TRUE(resizesAsDefined(c, static_cast<uint32_t>(width)));
                }
}

TEST(Resize, RandomMappingsCuboidsAndStepsAreAsDefined) {
    const CoreProbeScope probe;
    Random random(20);
    for (int trial = 0; trial < 500; ++trial) {
        const ZyprInterpolation mode = allModes[random.integer(0, 5)];
        ResizeCase c{};
        c.mode = mode;
        c.extent = {random.integer(1, 40), random.integer(1, 12), random.integer(1, 10)};
        c.src = {random.integer(0, c.extent.width - 1),
                 random.integer(0, c.extent.height - 1),
                 random.integer(0, c.extent.depth - 1),
                 random.integer(1, 50),
                 random.integer(1, 15),
                 random.integer(1, 12)};
        for (int k = 0; k < 3; ++k) {
            c.mapping.scale[k] = std::exp2(static_cast<double>(random.real(-2.0f, 2.5f)));
            c.mapping.shift[k] = random.chance(0.3f) ? 0.0 : static_cast<double>(random.real(-6.0f, 6.0f));
        }
        c.dst = {random.integer(0, 6),  random.integer(0, 4),  random.integer(0, 3),
                 random.integer(1, 60), random.integer(1, 24), random.integer(1, 16)};
        c.srcPadding = random.integer(0, 3);
        c.dstPadding = random.integer(0, 3);
        c.srcUpsideDown = random.chance(0.2f);
        c.bufferMisalignment = static_cast<size_t>(random.integer(0, 63));
        ASSERT_TRUE(resizesAsDefined(c, static_cast<uint32_t>(trial)));
    }
}
