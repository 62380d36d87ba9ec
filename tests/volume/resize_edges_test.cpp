// The edges of volume resize, one by one: degenerate extents, special mappings, huge and odd numbers, threads and scratch.

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <limits>
#include <numeric>

#include "support/core_probe.h"
#include "volume/resize_case.h"

using namespace zypr::test;

namespace {

constexpr ZyprInterpolation allModes[] = {zyprInterNearest,      zyprInterLinear,          zyprInterCubicLagrange,
                                          zyprInterCubicBSpline, zyprInterCubicCatmullRom, zyprInterCubicBC};

// A volume without padding, resized in the contiguous form into a destination cuboid that starts at 0.
template <class T> struct SimpleResize {
    ZyprVolumeExtent extent;
    std::vector<T> from;
    ZyprVoxelCuboid dst;
    double scale[3], shift[3] = {0, 0, 0};
    ZyprInterpolation mode;

    std::vector<T> run() const {
        const ZyprVoxelCuboid src = whole(extent);
        std::vector<T> to(static_cast<size_t>(dst.width) * static_cast<size_t>(dst.height) * static_cast<size_t>(dst.depth));
        std::vector<uint8_t> buffer(static_cast<size_t>(reportedBytes(src, dst, mode)));
        const auto bytes = [](int32_t samples) { return samples * static_cast<int32_t>(sizeof(T)); };
        const ResizeCall call{&extent,
                              bytes(extent.width),
                              bytes(extent.width * extent.height),
                              &src,
                              bytes(dst.width),
                              bytes(dst.width * dst.height),
                              &dst,
                              {scale[0], scale[1], scale[2]},
                              {shift[0], shift[1], shift[2]},
                              mode,
                              buffer.data()};
        EXPECT_EQ(resize(call, from.data(), to.data()), zypStsNoErr);
        return to;
    }
};

template <class T> std::vector<T> counting(size_t count) {
    std::vector<T> values(count);
    std::iota(values.begin(), values.end(), T(1));
    return values;
}

} // namespace

TEST(ResizeEdges, IdentityWithNearestCopiesTheBox) {
    const CoreProbeScope probe;
    const SimpleResize<uint16_t> r{{9, 7, 5}, counting<uint16_t>(315), {0, 0, 0, 9, 7, 5}, {1, 1, 1}, {}, zyprInterNearest};
    EXPECT_EQ(r.run(), r.from);
}

TEST(ResizeEdges, IdentityReproducesTheSourceInLinearLagrangeAndCatmullRom) {
    const CoreProbeScope probe;
    for (const ZyprInterpolation mode : {zyprInterLinear, zyprInterCubicLagrange, zyprInterCubicCatmullRom}) {
        const SimpleResize<float> f{{19, 7, 5}, counting<float>(665), {0, 0, 0, 19, 7, 5}, {1, 1, 1}, {}, mode};
        EXPECT_EQ(f.run(), f.from);
        const SimpleResize<uint8_t> b{{19, 7, 5}, counting<uint8_t>(665), {0, 0, 0, 19, 7, 5}, {1, 1, 1}, {}, mode};
        EXPECT_EQ(b.run(), b.from);
    }
}

TEST(ResizeEdges, IdentityInTheSmoothingModesWeighsNeighboursBySixthsOrTwelfths) {
    const CoreProbeScope probe;
    const size_t middle = 3 * 49 + 3 * 7 + 3;
    for (const ZyprInterpolation mode : {zyprInterCubicBSpline, zyprInterCubicBC}) {
        const double centre = mode == zyprInterCubicBSpline ? 2.0 / 3.0 : 5.0 / 6.0;
        const double side = mode == zyprInterCubicBSpline ? 1.0 / 6.0 : 1.0 / 12.0;
        SimpleResize<float> r{{7, 7, 7}, std::vector<float>(343), {0, 0, 0, 7, 7, 7}, {1, 1, 1}, {}, mode};
        r.from[middle] = 1000.0f;
        const std::vector<float> to = r.run();
        EXPECT_NEAR(to[middle], 1000 * centre * centre * centre, 1e-3);
        EXPECT_NEAR(to[middle + 1], 1000 * centre * centre * side, 1e-3);
        EXPECT_NEAR(to[middle - 7], 1000 * centre * centre * side, 1e-3);
        EXPECT_NEAR(to[middle + 49 + 7 + 1], 1000 * side * side * side, 1e-3);
        EXPECT_EQ(to[middle + 2], 0.0f);
    }
}

TEST(ResizeEdges, HalvingInLinearGivesTheMeanOfTwoNeighboursOnEachAxis) {
    const CoreProbeScope probe;
    const SimpleResize<float> r{{8, 8, 8}, counting<float>(512), {0, 0, 0, 4, 4, 4}, {0.5, 0.5, 0.5}, {}, zyprInterLinear};
    const std::vector<float> to = r.run();
    for (size_t z = 0; z < 4; ++z)
        for (size_t y = 0; y < 4; ++y)
            for (size_t x = 0; x < 4; ++x) {
                const float first = r.from[2 * z * 64 + 2 * y * 8 + 2 * x];
                EXPECT_EQ(to[z * 16 + y * 4 + x], first + 0.5f * (1 + 8 + 64));
            }
}

TEST(ResizeEdges, ADepthOfOneTakesItsPlaneAloneInLinear) {
    const CoreProbeScope probe;
    for (const double scale : {1.0, 3.0, 7.5})
        for (const double shift : {0.0, 0.3, -0.4}) {
            ResizeCase c{
                {20, 9, 1}, {0, 0, 0, 20, 9, 1}, {0, 0, 0, 40, 20, 9}, {{1.5, 1.5, scale}, {0, 0, shift}}, zyprInterLinear};
            ASSERT_TRUE(resizesAsDefined(c, 3));
        }
}

TEST(ResizeEdges, CubicModesOnExtentsBelowThreeReadNoVoxelThatDoesNotExist) {
    const CoreProbeScope probe;
    uint32_t seed = 0;
    for (int32_t width = 1; width <= 3; ++width)
        for (int32_t height = 1; height <= 3; ++height)
            for (int32_t depth = 1; depth <= 3; ++depth)
                for (const double scale : {0.7, 1.0, 2.5, 9.0}) {
                    ResizeCase c{{width, height, depth},
                                 {0, 0, 0, width, height, depth},
                                 {0, 0, 0, 20, 20, 20},
                                 {{scale, scale, scale}, {0.4, 0.4, 0.4}},
                                 zyprInterCubicCatmullRom};
                    ASSERT_TRUE(resizesAsDefined(c, ++seed));
                }
}

TEST(ResizeEdges, ARegionWhollyInTheLowBandOfXTakesTheFirstColumn) {
    const CoreProbeScope probe;
    ResizeCase c{{5, 6, 6}, {0, 0, 0, 5, 6, 6}, {0, 0, 0, 9, 9, 9}, {{1000.0, 1.5, 1.5}, {0, 0, 0}}, zyprInterLinear};
    ASSERT_TRUE(resizesAsDefined(c, 1));
    SimpleResize<float> r{c.extent, counting<float>(180), c.dst, {1000.0, 1.0, 1.0}, {}, zyprInterLinear};
    r.dst.height = r.dst.depth = 6;
    const std::vector<float> to = r.run();
    for (size_t row = 0; row < 36; ++row)
        for (size_t x = 0; x < 9; ++x) EXPECT_EQ(to[row * 9 + x], r.from[row * 5]);
}

TEST(ResizeEdges, BandsOfAnyDepthStayInsideTheBuffer) {
    const CoreProbeScope probe;
    uint32_t seed = 0;
    for (const ZyprInterpolation mode : {zyprInterLinear, zyprInterCubicBSpline})
        for (const double scale : {5.0, 17.0, 60.0}) // half a source voxel, at the least, is in a band
            for (const size_t at : {0, 1, 63}) {
                ResizeCase c{{4, 4, 4}, {0, 0, 0, 4, 4, 4}, {0, 0, 0, 90, 24, 12}, {{scale, scale, 5.0}, {0, 0, 0}}, mode};
                c.bufferMisalignment = at;
                ASSERT_TRUE(resizesAsDefined(c, ++seed));
            }
}

TEST(ResizeEdges, ThinVolumesStayInsideTheBufferAtEveryAlignment) {
    const CoreProbeScope probe;
    for (const ZyprInterpolation mode : allModes)
        for (const ZyprVolumeExtent extent :
             {ZyprVolumeExtent{16, 1, 39}, {1, 16, 5}, {3, 3, 3}, {1, 1, 1}, {300, 1, 3}, {1, 200, 3}})
            for (size_t at = 0; at < 64; at += 7) {
                ResizeCase c{extent, whole(extent), whole(extent), {{1.2, 1.2, 1.2}, {0, 0, 0}}, mode};
                c.bufferMisalignment = at;
                ASSERT_TRUE(resizesAsDefined(c, static_cast<uint32_t>(at)));
            }
}

TEST(ResizeEdges, AConstant16uVolumeIsKeptInTheFrameAndAtMostOneLowerInside) {
    const CoreProbeScope probe;
    const SimpleResize<uint16_t> r{
        {12, 12, 12}, std::vector<uint16_t>(1728, 51234), {0, 0, 0, 20, 20, 20}, {1.7, 1.7, 1.7}, {}, zyprInterLinear};
    const std::vector<uint16_t> to = r.run();
    for (size_t z = 0; z < 20; ++z)
        for (size_t y = 0; y < 20; ++y)
            for (size_t x = 0; x < 20; ++x) {
                const uint16_t v = to[z * 400 + y * 20 + x];
                const bool frame = x == 0 || y == 0 || x == 19 || y == 19;
                EXPECT_TRUE(v == 51234 || (!frame && v == 51233)) << x << " " << y << " " << z;
            }
}

TEST(ResizeEdges, AFrameVoxelJustBelowAHalfIsRoundedInDouble) {
    const CoreProbeScope probe;
    // Shifted by the largest float below a half: 0.49999997 is between 0 and 1, and half a bit of the bias lifts it over.
    SimpleResize<uint16_t> r{{4, 4, 4}, std::vector<uint16_t>(64), {0, 0, 0, 4, 4, 4}, {1, 1, 1}, {}, zyprInterLinear};
    r.shift[0] = -0.49999997;
    for (size_t k = 1; k < 64; k += 2) r.from[k] = 1;
    EXPECT_EQ(r.run()[12], 1); // the last row lies in a band
    EXPECT_EQ(r.run()[0], 0);  // the first row is interior, and truncated

    // 1.49999988 with the bias is below 2, but as a float 2.
    r.shift[0] = -0.4999998807907104;
    for (size_t k = 0; k < 64; ++k) r.from[k] = static_cast<uint16_t>(1 + k % 2);
    EXPECT_EQ(r.run()[12], 1);
}

TEST(ResizeEdges, OddBytesOfStepsAreLost) {
    const CoreProbeScope probe;
    for (const ZyprInterpolation mode : allModes) {
        ResizeCase c{{11, 6, 5}, {0, 0, 0, 11, 6, 5}, {0, 0, 0, 16, 9, 8}, {{1.4, 1.4, 1.4}, {0, 0, 0}}, mode};
        c.srcPadding = c.dstPadding = 2;
        for (const VolumeForm form : {VolumeForm::contiguous, VolumeForm::planeArray})
            for (const bool upsideDown : {false, true}) { // negative steps lose theirs downwards
                c.srcUpsideDown = upsideDown;
                c.oddBytes = 3;
                ASSERT_TRUE(resizesAsDefined<float>(c, form, 1));
                c.oddBytes = 1;
                ASSERT_TRUE(resizesAsDefined<uint16_t>(c, form, 1));
                ASSERT_TRUE(resizesAsDefined<float>(c, form, 1));
            }
    }
}

TEST(ResizeEdges, NonFiniteSamplesSpreadAsTheirFormulasSay) {
    const CoreProbeScope probe;
    // Frame columns of interior rows take one sample, those of band rows interpolate between two like ones.
    SimpleResize<float> r{{4, 4, 4}, std::vector<float>(64, -0.0f), {0, 0, 0, 8, 8, 8}, {2, 2, 2}, {}, zyprInterLinear};
    r.from[0] = std::numeric_limits<float>::infinity();
    const std::vector<float> to = r.run();
    EXPECT_TRUE(std::isnan(to[0])); // inf - inf at the corner
    EXPECT_TRUE(std::isnan(to[64]));
    EXPECT_EQ(bits(to[7 * 64 + 7]), bits(0.0f)); // 0 x t + -0
    EXPECT_EQ(bits(to[2 * 64 + 3 * 8 + 7]), bits(0.0f));
    SimpleResize<float> below = r;
    below.from[0] = 0.0f;
    below.from[4] = std::numeric_limits<float>::infinity(); // row 1, which destination row 1 weighs by a quarter
    EXPECT_EQ(below.run()[8], std::numeric_limits<float>::infinity());
}

TEST(ResizeEdges, FactorsFromTinyToHugeGiveTheDefinedVoxels) {
    const CoreProbeScope probe;
    uint32_t seed = 0;
    for (const ZyprInterpolation mode : allModes)
        for (const double scale : {1e-9, 1e-3, 1e3, 1e9})
            for (const double shift : {0.0, 0.5, 3.25}) {
                ResizeCase c{
                    {9, 5, 4}, {0, 0, 0, 9, 5, 4}, {0, 0, 0, 40, 7, 6}, {{scale, scale, scale}, {shift, shift, shift}}, mode};
                ASSERT_TRUE(resizesAsDefined(c, ++seed));
                c.mapping.scale[0] = 1.3;
                ASSERT_TRUE(resizesAsDefined(c, ++seed));
                c.mapping.scale[2] = 1.3;
                ASSERT_TRUE(resizesAsDefined(c, ++seed));
            }
}

TEST(ResizeEdges, AHugeDestinationCuboidBoundsNothing) {
    const CoreProbeScope probe;
    const ZyprVolumeExtent extent{9, 8, 7};
    const ZyprVoxelCuboid src{0, 0, 0, INT32_MAX, INT32_MAX, INT32_MAX}, dst = src;
    const std::vector<float> from = counting<float>(504);
    for (const ZyprInterpolation mode : allModes) {
        int32_t size = 0;
        ASSERT_EQ(zyprResizeGetBufSize(&src, &dst, 1, mode, &size), zypStsNoErr); // it wraps
        GuardedArray<uint8_t> buffer(static_cast<size_t>(size < 1 ? 1 : size < 4096 ? size : 4096), 5);
        std::vector<float> to(18 * 16 * 14), expected(to.size());
        const ResizeCall call{&extent, 36, 288, &src, 72, 1152, &dst, {2, 2, 2}, {0, 0, 0}, mode, buffer.data()};
        if (size > 4096) continue;
        ASSERT_EQ(resize(call, from.data(), to.data()), zypStsNoErr);
        EXPECT_TRUE(buffer.surroundingsIntact());
        const RegionModel region{{0, 0, 0}, {18, 16, 14}};
        ResizeModel<float> model([&](int32_t x, int32_t y, int32_t z) { return from[static_cast<size_t>(z * 72 + y * 9 + x)]; },
                                 extent, region, {{2, 2, 2}, {0, 0, 0}}, mode);
        for (int32_t z = 0, k = 0; z < 14; ++z)
            for (int32_t y = 0; y < 16; ++y)
                for (int32_t x = 0; x < 18; ++x, ++k) expected[static_cast<size_t>(k)] = model.voxel(x, y, z);
        EXPECT_TRUE(equalValues(to, expected)) << mode;
    }
}

TEST(ResizeEdges, VolumesBeyondTwoGibibytesAreAddressedRightly) {
    const CoreProbeScope probe;
    // Planes nearly 2 GiB apart, of which only a few pages are ever touched.
    constexpr size_t planeStep = 0x7FFFFF00, planes = 4, row = 64;
    const auto reserve = [&] {
        return mmap(nullptr, planeStep * planes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    };
    void *const from = reserve(), *const to = reserve();
    if (from == MAP_FAILED || to == MAP_FAILED) GTEST_SKIP() << "no address space";
    const ZyprVolumeExtent extent{8, 8, planes};
    const ZyprVoxelCuboid all = whole(extent);
    for (size_t z = 0; z < planes; ++z)
        for (size_t k = 0; k < 8 * row; k += row)
            for (size_t x = 0; x < 8; ++x)
                static_cast<uint8_t *>(from)[z * planeStep + k + x] = static_cast<uint8_t>(z * 64 + x + k);
    std::vector<uint8_t> buffer(static_cast<size_t>(reportedBytes(all, all, zyprInterLinear)));
    const ResizeCall call{&extent,   row,       planeStep,       &all,         row, planeStep, &all,
                          {1, 1, 1}, {0, 0, 0}, zyprInterLinear, buffer.data()};
    ASSERT_EQ(resize(call, static_cast<const uint8_t *>(from), static_cast<uint8_t *>(to)), zypStsNoErr);
    for (size_t z = 0; z < planes; ++z)
        for (size_t k = 0; k < 8 * row; k += row)
            EXPECT_EQ(std::memcmp(static_cast<uint8_t *>(from) + z * planeStep + k,
                                  static_cast<uint8_t *>(to) + z * planeStep + k, 8),
                      0);
    munmap(from, planeStep * planes);
    munmap(to, planeStep * planes);
}

TEST(ResizeEdges, ARowShorterThanARegisterIsNotReadInFrontOfItsBeginning) {
    const CoreProbeScope probe;
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *const mapped = mmap(nullptr, 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    auto *const second = static_cast<uint8_t *>(mapped) + page; // the volume begins with this page, the first is inaccessible
    ASSERT_EQ(mprotect(second, page, PROT_READ | PROT_WRITE), 0);
    const auto resizeAll = [&]<class T>(const T *from) {
        for (const ZyprInterpolation mode : allModes)
            for (int32_t width = 1; width <= 17; ++width) {
                const ZyprVolumeExtent extent{width, 1, 1};
                const ZyprVoxelCuboid src = whole(extent), dst{0, 0, 0, 2 * width, 1, 1};
                std::vector<T> to(static_cast<size_t>(2 * width), untouchedSample<T>());
                std::vector<uint8_t> buffer(static_cast<size_t>(reportedBytes(src, dst, mode)));
                const int32_t step = 1024;
                const ResizeCall call{&extent, step, step, &src, step, step, &dst, {2, 1, 1}, {0, 0, 0}, mode, buffer.data()};
                EXPECT_EQ(resize(call, from, to.data()), zypStsNoErr);
                for (const T sample : to) ASSERT_EQ(sample, T{0}) << mode << " " << width;
            }
    };
    resizeAll(second);
    resizeAll(reinterpret_cast<const uint16_t *>(second));
    resizeAll(reinterpret_cast<const float *>(second));
    munmap(mapped, 2 * page);
}

TEST(ResizeEdges, RepeatedPlanesOfNearestAreCopiedWholeSoThatLargeOnesAreSeenToBeLarge) {
    const CoreProbeScope probe;
    CoreProbe::cacheSize = 1 << 20;
    const ZyprVolumeExtent extent{512, 1025, 2};
    ResizeCase c{extent, whole(extent), {1, 1, 0, 1100, 2049, 5}, {{2, 2, 2.5}, {0, 0, 0}}, zyprInterNearest};
    EXPECT_TRUE(resizesAsDefined<uint16_t>(c, VolumeForm::contiguous, 1)); // planes 1, 2 and 4 repeat the one before
    EXPECT_EQ(CoreProbe::cacheQueries, 3);
    EXPECT_TRUE(resizesAsDefined<uint8_t>(c, VolumeForm::planeArray, 2)); // rows of 1023 bytes never ask
    EXPECT_EQ(CoreProbe::cacheQueries, 3);
    EXPECT_TRUE(resizesAsDefined<float>(c, VolumeForm::contiguous, 4)); // floats probe the processor instead
    EXPECT_EQ(CoreProbe::cacheQueries, 3);
    c.dst.height = 900; // 2 x 1023 x 900 x 2 bytes are below 4194305
    EXPECT_TRUE(resizesAsDefined<uint16_t>(c, VolumeForm::planeArray, 3));
    EXPECT_EQ(CoreProbe::cacheQueries, 3);
}

TEST(ResizeThreads, EveryNumberOfThreadsGivesTheSameVoxels) {
    const CoreProbeScope probe;
    for (const ZyprInterpolation mode : {zyprInterNearest, zyprInterLinear, zyprInterCubicBC})
        for (const int32_t depth : {16, 17, 35})
            for (const int32_t threads : {1, 2, 3, 5, 16}) {
                CoreProbe::threads = threads;
                ResizeCase c{{13, 12, 11}, {0, 0, 0, 13, 12, 11}, {1, 0, 2, 19, 17, depth}, {{1.5, 1.5, 3.4}, {0, 0, 0}}, mode};
                c.bufferMisalignment = static_cast<size_t>(threads);
                ASSERT_TRUE(resizesAsDefined(c, static_cast<uint32_t>(depth))) << threads << " threads";
            }
}

TEST(ResizeThreads, OnlyTheContiguousFloatsAskForTheirNumber) {
    const CoreProbeScope probe;
    CoreProbe::threads = 3;
    for (const ZyprInterpolation mode : allModes) {
        const ZyprVolumeExtent extent{17, 18, 19};
        const ResizeCase c{extent, whole(extent), whole(extent), {{1, 1, 1}, {0, 0, 0}}, mode};
        const auto queries = [&](auto sample, VolumeForm form) {
            CoreProbe::threadQueries = 0;
            EXPECT_TRUE(resizesAsDefined<decltype(sample)>(c, form, 1));
            return CoreProbe::threadQueries - 1; // one by the size query
        };
        EXPECT_EQ(queries(uint8_t{}, VolumeForm::contiguous), 0);
        EXPECT_EQ(queries(uint8_t{}, VolumeForm::planeArray), 0);
        EXPECT_EQ(queries(uint16_t{}, VolumeForm::contiguous), 0);
        EXPECT_EQ(queries(uint16_t{}, VolumeForm::planeArray), 0);
        EXPECT_EQ(queries(float{}, VolumeForm::planeArray), 0);
        EXPECT_GT(queries(float{}, VolumeForm::contiguous), 0);
    }
}

TEST(ResizeScratch, BuffersOfTheReportedSizeServeLargePlanes) {
    const CoreProbeScope probe;
    for (const ZyprInterpolation mode : {zyprInterLinear, zyprInterCubicLagrange})
        for (const ZyprVolumeExtent extent : {ZyprVolumeExtent{1500, 3, 3}, {3, 1500, 3}, {700, 60, 2}}) {
            ResizeCase c{extent, whole(extent), {0, 0, 0, 2500, 2500, 3}, {{1.1, 1.1, 1.0}, {0, 0, 0}}, mode};
            c.dst.width = std::min(2500, extent.width * 2), c.dst.height = std::min(2500, extent.height * 2);
            ASSERT_TRUE(resizesAsDefined<float>(c, VolumeForm::planeArray, 1));
            ASSERT_TRUE(resizesAsDefined<uint8_t>(c, VolumeForm::contiguous, 1));
        }
}
