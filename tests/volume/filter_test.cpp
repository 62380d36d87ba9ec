// The volume filter against its model: every arithmetic, kernel shape, width and divisor.

#include <gtest/gtest.h>

#include "volume/filter_call.h"

namespace {

using namespace zypr::test;

constexpr int32_t divisors[] = {1,     2,         4,  1024, 1 << 30, 3,  7,     10,       1000,     65535,
                                46341, INT32_MAX, -1, -2,   -4,      -7, -1024, -1000000, INT32_MIN};

class Filter : public testing::Test {
protected:
    CoreProbeScope core;
};

// ---- Kernels and widths -------------------------------------------------------------------------------------------------

TEST_F(Filter, GivesTheModelsSamplesForEveryKernelShape) {
    for (const ZyprVolumeExtent kernel : {ZyprVolumeExtent{1, 1, 1},
                                          {2, 1, 1},
                                          {1, 2, 1},
                                          {1, 1, 2},
                                          {2, 2, 2},
                                          {1, 1, 9},
                                          {1, 9, 1},
                                          {9, 1, 1},
                                          {17, 1, 1},
                                          {3, 3, 1},
                                          {3, 1, 3},
                                          {1, 3, 3},
                                          {2, 3, 3},
                                          {3, 2, 3},
                                          {3, 3, 2},
                                          {3, 3, 3},
                                          {4, 3, 3},
                                          {3, 4, 3},
                                          {3, 3, 4},
                                          {4, 4, 4},
                                          {5, 3, 3},
                                          {3, 5, 5},
                                          {5, 5, 3},
                                          {5, 5, 5},
                                          {5, 5, 4},
                                          {6, 6, 6},
                                          {6, 3, 3},
                                          {7, 7, 7},
                                          {7, 3, 4},
                                          {8, 8, 8},
                                          {9, 3, 5}}) {
        for (const int32_t width : {3, 15, 16, 21, 37})
            FilterCall{.model = randomKernel(kernel, -60, 60, 25), .dst = {width, 3, 2}}.check();
        if (HasFatalFailure()) FAIL() << kernel.width << " x " << kernel.height << " x " << kernel.depth;
    }
}

TEST_F(Filter, GivesTheModelsSamplesAtEveryWidth) {
    for (const ZyprVolumeExtent kernel : {ZyprVolumeExtent{3, 3, 3}, {5, 5, 5}, {4, 3, 3}, {7, 3, 3}, {3, 1, 1}}) {
        for (int32_t width = 1; width <= 150; ++width) {
            FilterCall{.model = randomKernel(kernel, -900, 900, 512), .dst = {width, 1, 1}}.check();
            if (HasFatalFailure()) FAIL() << "width " << width;
        }
    }
}

TEST_F(Filter, GivesTheModelsSamplesInLongRows) {
    for (const int32_t width : {1199, 1200, 1201, 1231, 5000})
        for (const int32_t most : {900, 40000}) // 16-bit pairs, floats
            FilterCall{.model = randomKernel({3, 3, 3}, -900, most, 4000), .dst = {width, 2, 1}}.check();
}

// ---- Divisors -----------------------------------------------------------------------------------------------------------

TEST_F(Filter, ScalesIntegerSumsByEveryKindOfDivisor) {
    for (const ZyprVolumeExtent kernel : {ZyprVolumeExtent{3, 3, 3}, {5, 5, 5}, {4, 3, 3}})
        for (const int32_t divisor : divisors)
            for (const int32_t most : {2, 32766})
                FilterCall{.model = randomKernel(kernel, -most, most, divisor), .dst = {37, 2, 1}, .least = -40, .most = 40}
                    .check();
}

TEST_F(Filter, ScalesFloatSumsByEveryKindOfDivisor) {
    for (const ZyprVolumeExtent kernel : {ZyprVolumeExtent{3, 3, 3}, {5, 5, 5}})
        for (const int32_t divisor : divisors)
            for (const int32_t most : {2, 100000})
                for (const int32_t width : {5, 13, 37})
                    FilterCall{
                        .model = randomKernel(kernel, -most, most, divisor), .dst = {width, 2, 1}, .least = -9, .most = 9}
                        .check();
}

TEST_F(Filter, ScalesExactSumsByEveryKindOfDivisor) {
    for (const ZyprVolumeExtent kernel : {ZyprVolumeExtent{2, 2, 2}, {9, 1, 1}, {1, 1, 3}})
        for (const int32_t divisor : divisors)
            for (const int32_t most : {2, 70000, INT32_MAX})
                FilterCall{.model = randomKernel(kernel, -most, most, divisor), .dst = {37, 2, 1}, .least = -40, .most = 40}
                    .check();
}

// One kernel coefficient of 1 and a volume of one value: the sum is the value, whatever the arithmetic.
int16_t scaled(int16_t value, int32_t divisor, int32_t side, int32_t width, int32_t coefficient = 1) {
    FilterModel model{std::vector<int32_t>(static_cast<size_t>(side * side * side)), {side, side, side}, {0, 0, 0}, divisor};
    model.taps[0] = coefficient;
    std::vector<int16_t> plane(static_cast<size_t>(width + side) * side, value), result(static_cast<size_t>(width));
    std::vector<const int16_t *> planes(static_cast<size_t>(side), plane.data() + (side - 1) * (width + side) + side - 1);
    int16_t *results[] = {result.data()};
    const ZyprVolumeExtent dst{width, 1, 1};
    int32_t size = 0;
    EXPECT_EQ(zyprFilterGetBufSize(&dst, &model.extent, 1, &size), zypStsNoErr);
    std::vector<uint8_t> scratch(static_cast<size_t>(size));
    EXPECT_EQ(zyprFilter_16s_C1PV(planes.data() + side - 1, 2 * (width + side), results, 2 * width, &dst, model.taps.data(),
                                  &model.extent, model.origin, divisor, scratch.data()),
              zypStsNoErr);
    for (const int16_t sample : result) EXPECT_EQ(sample, result[0]);
    return result[0];
}

TEST_F(Filter, RoundsHalvesToEvenUnderADivisorOfFour) {
    for (const auto &[side, width] : {std::pair{3, 16}, {5, 16}, {7, 16}, {3, 4}, {3, 15}, {5, 9}, {2, 16}, {1, 5}}) {
        EXPECT_EQ(scaled(6, 4, side, width), 2);
        EXPECT_EQ(scaled(10, 4, side, width), 2);
        EXPECT_EQ(scaled(-6, 4, side, width), -2);
        EXPECT_EQ(scaled(-10, 4, side, width), -2);
        EXPECT_EQ(scaled(2, 4, side, width), 0);
        EXPECT_EQ(scaled(-2, 4, side, width), 0);
        EXPECT_EQ(scaled(7, 4, side, width), 2);
        EXPECT_EQ(scaled(5, 4, side, width), 1);
        EXPECT_EQ(scaled(9, 6, side, width), 2);
        EXPECT_EQ(scaled(15, 6, side, width), 2);
        EXPECT_EQ(scaled(-15, 6, side, width), -2);
    }
}

TEST_F(Filter, LeavesAndSaturatesTheSumUnderADivisorOfOne) {
    for (const auto &[side, width] : {std::pair{3, 16}, {5, 16}, {7, 16}, {3, 4}, {2, 16}, {1, 5}}) {
        EXPECT_EQ(scaled(-12345, 1, side, width), -12345);
        EXPECT_EQ(scaled(32767, 1, side, width, 2), 32767);
        EXPECT_EQ(scaled(-32768, 1, side, width, 2), -32768);
        EXPECT_EQ(scaled(-32768, 1, side, width, -1), 32767);
    }
}

TEST_F(Filter, NeverTakesANegativeDivisorForAPowerOfTwo) {
    for (const auto &[side, width] : {std::pair{3, 16}, {5, 16}, {7, 16}, {3, 4}, {2, 16}}) {
        EXPECT_EQ(scaled(100, -4, side, width), -25);
        EXPECT_EQ(scaled(6, -4, side, width), -2);
        EXPECT_EQ(scaled(10, -4, side, width), -2);
        EXPECT_EQ(scaled(100, INT32_MIN, side, width), 0);
        EXPECT_EQ(scaled(5, -1, side, width), -5);
    }
}

TEST_F(Filter, DividesExactSumsToTheNearestAroundAHalf) {
    for (const int16_t value : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 14, 15, 17, 18, 21, 147, 343, 32766, 32767})
        for (const int32_t divisor : {2, 3, 6, 10, 14, 98, -6, -10, -98}) // 147 x (1 / 98) is below a half
            for (const int16_t sign : {1, -1})
                FilterCall{.model = {{1}, {1, 1, 1}, {0, 0, 0}, divisor},
                           .dst = {5, 1, 1},
                           .least = sign * value,
                           .most = sign * value}
                    .check();
}

// ---- The choice of the arithmetic ---------------------------------------------------------------------------------------

TEST_F(Filter, WrapsInThirtyTwoBitsOnTheIntegerPaths) {
    for (const ZyprVolumeExtent extent : {ZyprVolumeExtent{3, 3, 3}, {5, 5, 5}, {3, 3, 4}}) {
        for (const int32_t divisor : {1, 2, 1 << 30, -1, 3, 1 << 16}) {
            for (const int32_t value : {-32768, 32767}) {
                FilterModel model = randomKernel(extent, -32767, -32767, divisor);
                FilterCall{.model = model, .dst = {16, 1, 1}, .least = value, .most = value}.check();
                for (size_t i = 0; i < model.taps.size(); i += 2) model.taps[i] = 32766; // cancel, as the sum sees it
                FilterCall{.model = model, .dst = {16, 1, 1}}.check();
            }
        }
    }
}

TEST_F(Filter, SaturatesTheIndefiniteIntegerOfARoundingOutOfRange) {
    // 2^31 from -2^31 x -1: 65536 x -32768 wraps nothing.
    FilterModel model{std::vector<int32_t>(27), {3, 3, 3}, {1, 1, 1}, -1};
    for (const size_t i : {0, 5}) model.taps[i] = 32766;
    for (const size_t i : {7, 9}) model.taps[i] = 2;
    for (const size_t i : {20, 26}) model.taps[i] = 0;
    ASSERT_TRUE(model.goesInIntegers(16));
    ASSERT_EQ(model.at(0, 0, 0, 16, [](auto, auto, auto) { return -32768; }), -32768);
    FilterCall{.model = model, .dst = {16, 1, 1}, .least = -32768, .most = -32768}.check();
}

TEST_F(Filter, TakesTheLargestAndSmallestCoefficientsThatPackAndThoseThatDoNot) {
    for (const ZyprVolumeExtent extent : {ZyprVolumeExtent{3, 3, 3}, {5, 5, 5}, {4, 3, 5}}) {
        for (const int32_t coefficient : {32766, 32767, -32767, -32768, 98301, 98302, INT32_MAX, INT32_MIN}) {
            FilterModel model = randomKernel(extent, -3, 3, 1 << 14);
            model.taps[model.taps.size() / 2] = coefficient;
            FilterCall{.model = model, .dst = {33, 1, 1}}.check();
            model.taps[0] = -32767; // a smaller sum doesn't help what doesn't pack
            FilterCall{.model = model, .dst = {33, 1, 1}}.check();
        }
    }
}

TEST_F(Filter, ChangesItsArithmeticWhenTheCoefficientsSumIsAbove98301) {
    for (const ZyprVolumeExtent extent : {ZyprVolumeExtent{3, 3, 3}, {5, 5, 5}, {4, 4, 4}}) {
        for (const int32_t last : {98301 - 3 * 32766, 98302 - 3 * 32766}) {
            FilterModel model = randomKernel(extent, 0, 0, 7);
            for (size_t i = 0; i < 3; ++i) model.taps[3 * i] = 32766;
            model.taps[20] = last;
            EXPECT_EQ(model.goesInIntegers(16), last == 3);
            FilterCall{.model = model, .dst = {40, 1, 1}}.check();
        }
    }
}

TEST_F(Filter, RunsInFloatsWhenTheDestinationIsNarrowerThanSixteen) {
    // Three rows' sums of 2^30 each: they wrap 32 bits on the integer path and add up in floats.
    FilterModel model = randomKernel({3, 3, 3}, 0, 0, 1 << 17);
    for (const size_t i : {0, 3, 6}) model.taps[i] = 32766;
    const auto bright = [](auto, auto, auto) { return 32767; };
    ASSERT_EQ(model.at(0, 0, 0, 16, bright), -8194);
    ASSERT_EQ(model.at(0, 0, 0, 15, bright), 24574);
    for (const int32_t width : {15, 16})
        FilterCall{.model = model, .dst = {width, 1, 1}, .least = 32767, .most = 32767}.check();
}

TEST_F(Filter, RunsExactlyForAKernelTwoSamplesWide) {
    // The sum wraps 32 bits on the integer path; 64 bits hold it.
    FilterModel model = randomKernel({2, 3, 3}, -32767, -32767, 1 << 16);
    FilterCall{.model = model, .dst = {16, 1, 1}, .least = 30000, .most = 32767}.check();
    EXPECT_EQ(model.at(0, 0, 0, 16, [](auto, auto, auto) { return 32767; }), -32768);
}

// ---- Placement ----------------------------------------------------------------------------------------------------------

TEST_F(Filter, CopiesTheSourceUnderAKernelOfOne) {
    FilterCall{.model = {{1}, {1, 1, 1}, {0, 0, 0}, 1}, .dst = {37, 3, 4}}.check();
}

TEST_F(Filter, ReadsThePlaneInFrontOfPlaneZeroUnderAnOriginOfOne) {
    const int16_t value = 77, other = 1;
    std::vector<int16_t> front(18 * 3, value), rest(18 * 3, other), result(16);
    const int16_t *planes[] = {front.data() + 19, rest.data() + 19, rest.data() + 19};
    int16_t *results[] = {result.data()};
    std::vector<int32_t> taps(27);
    taps[2 * 9 + 4] = 1; // the last plane of the kernel meets the first of the source
    const ZyprVolumeExtent dst{16, 1, 1}, kernel{3, 3, 3};
    const int32_t origin[] = {1, 1, 1};
    std::vector<uint8_t> scratch(4096);
    ASSERT_EQ(zyprFilter_16s_C1PV(planes + 1, 36, results, 32, &dst, taps.data(), &kernel, origin, 1, scratch.data()),
              zypStsNoErr);
    EXPECT_EQ(result, std::vector<int16_t>(16, value));
}

TEST_F(Filter, ReadsNothingThatTheKernelDoesNotReachAtAnyOrigin) {
    for (const ZyprVolumeExtent extent :
         {ZyprVolumeExtent{3, 3, 3}, {5, 5, 5}, {4, 3, 3}, {7, 5, 3}, {6, 4, 4}, {1, 1, 1}, {2, 2, 2}, {9, 1, 1}})
        for (const auto &origin : {std::array{0, 0, 0},
                                   {extent.width - 1, extent.height - 1, extent.depth - 1},
                                   {-1, -2, -3},
                                   {100, 50, 20},
                                   {extent.width, 0, extent.depth},
                                   {0, -50, 1}})
            for (const int32_t most : {100, 70000})
                for (const int32_t width : {1, 4, 7, 8, 9, 15, 16, 17, 31, 33, 65})
                    for (const Guard guard : {Guard::behind, Guard::inFront}) {
                        FilterModel model = randomKernel(extent, -most, most, 1000);
                        std::copy(origin.begin(), origin.end(), model.origin);
                        FilterCall{.model = model, .dst = {width, 2, 2}, .guard = guard}.check();
                        if (HasFatalFailure()) FAIL() << "width " << width;
                    }
}

TEST_F(Filter, PlacesTheTapFarOutsideTheKernel) {
    for (const int32_t far : {1 << 20, -(1 << 20), INT32_MAX, INT32_MIN}) {
        FilterModel model = randomKernel({3, 3, 3}, -9, 9, 8);
        for (int axis = 0; axis < 3; ++axis) {
            std::fill(model.origin, model.origin + 3, 1);
            model.origin[axis] = far;
            FilterCall{.model = model, .dst = {17, 2, 2}}.check();
        }
    }
}

TEST_F(Filter, CountsStepsInSamplesAndTakesNegativeOnes) {
    for (const ZyprVolumeExtent extent : {ZyprVolumeExtent{3, 3, 3}, {2, 2, 2}})
        for (const int32_t most : {100, 70000})
            for (const bool upsideDown : {false, true})
                FilterCall{.model = randomKernel(extent, -most, most, 1000),
                           .dst = {19, 4, 2},
                           .srcGap = 6,
                           .dstGap = 10,
                           .upsideDown = upsideDown}
                    .check();
}

TEST_F(Filter, LosesTheLowBitOfOddSteps) {
    for (const int32_t width : {9, 20}) {
        const ZyprVolumeExtent dst{width, 3, 1}, kernel{3, 3, 3};
        const int32_t step = 2 * (width + 6), origin[] = {1, 1, 1};
        Random random(5);
        std::vector<int16_t> plane(static_cast<size_t>(width + 6) * 6);
        for (int16_t &sample : plane) sample = static_cast<int16_t>(random.word());
        const int16_t *planes[] = {plane.data() + width + 8, plane.data() + width + 8, plane.data() + width + 8};
        const FilterModel model = randomKernel(kernel, -50, 50, 100);
        std::vector<uint8_t> scratch(4096);
        std::vector<std::vector<int16_t>> results;
        for (const int32_t odd : {0, 1}) {
            std::vector<int16_t> result(plane.size());
            int16_t *target[] = {result.data()};
            ASSERT_EQ(zyprFilter_16s_C1PV(planes + 1, step + odd, target, step + odd, &dst, model.taps.data(), &kernel, origin,
                                          100, scratch.data()),
                      zypStsNoErr);
            results.push_back(result);
        }
        EXPECT_EQ(results[0], results[1]);
    }
}

TEST_F(Filter, WritesAtEveryAlignmentOddAddressesIncluded) {
    for (const ZyprVolumeExtent extent : {ZyprVolumeExtent{3, 3, 3}, {2, 2, 2}})
        for (const int32_t most : {100, 70000})
            for (size_t offset = 0; offset < 34; ++offset)
                FilterCall{.model = randomKernel(extent, -most, most, 1000), .dst = {35, 2, 1}, .dstOffset = offset}.check();
}

TEST_F(Filter, ReadsAtOddAddresses) {
    for (const ZyprVolumeExtent extent : {ZyprVolumeExtent{3, 3, 3}, {2, 2, 2}}) {
        for (const int32_t width : {5, 35}) {
            const FilterModel model = randomKernel(extent, -90, 90, 100);
            std::vector<int16_t> samples(static_cast<size_t>(width + 2) * 3);
            Random random(3);
            for (int16_t &sample : samples) sample = static_cast<int16_t>(random.word());
            std::vector<unsigned char> odd(samples.size() * 2 + 1);
            std::memcpy(odd.data() + 1, samples.data(), samples.size() * 2);
            std::vector<uint8_t> scratch(4096);
            std::vector<int16_t> expected(static_cast<size_t>(width)), result(static_cast<size_t>(width));
            const ZyprVolumeExtent dst{width, 1, 1};
            const size_t middle = static_cast<size_t>(width) + 3;
            for (const auto &[source, target] :
                 {std::pair<const void *, int16_t *>{samples.data(), expected.data()}, {odd.data() + 1, result.data()}}) {
                const auto first = reinterpret_cast<const int16_t *>(static_cast<const unsigned char *>(source) + 2 * middle);
                const int16_t *planes[] = {first, first, first};
                int16_t *targets[] = {target};
                ASSERT_EQ(zyprFilter_16s_C1PV(planes + 1, 2 * (width + 2), targets, 2 * width, &dst, model.taps.data(),
                                              &model.extent, model.origin, 100, scratch.data()),
                          zypStsNoErr);
            }
            EXPECT_EQ(result, expected);
        }
    }
}

TEST_F(Filter, NeedsNoMoreScratchThanReportedAtAnyAlignment) {
    for (const ZyprVolumeExtent extent : {ZyprVolumeExtent{3, 3, 3}, {5, 5, 5}, {4, 3, 3}, {7, 3, 3}})
        for (const int32_t width : {4, 16, 17})
            for (size_t offset = 0; offset < 64; ++offset)
                FilterCall{.model = randomKernel(extent, -90, 90, 100), .dst = {width, 1, 1}, .scratchOffset = offset}.check();
}

// ---- Threads ------------------------------------------------------------------------------------------------------------

TEST_F(Filter, GivesTheSameSamplesOnAnyNumberOfThreads) {
    for (const int32_t threads : {1, 2, 3, 5, 16}) {
        CoreProbe::threads = threads;
        for (const ZyprVolumeExtent extent : {ZyprVolumeExtent{3, 3, 3}, {5, 5, 5}, {4, 3, 3}, {3, 3, 1}})
            for (const int32_t depth : {16, 17, 21})
                FilterCall{.model = randomKernel(extent, -90, 90, 100), .dst = {19, 16, depth}, .scratchOffset = 5}.check();
        FilterCall{.model = randomKernel({3, 3, 3}, -70000, 70000, 100), .dst = {16, 16, 18}}.check();
    }
}

TEST_F(Filter, StaysOnTheCallingThreadBelowSixteenSamplesInAnyDirection) {
    CoreProbe::threads = 3;
    for (const ZyprVolumeExtent dst : {ZyprVolumeExtent{15, 16, 16}, {16, 15, 16}, {16, 16, 15}})
        FilterCall{.model = randomKernel({3, 3, 3}, -90, 90, 100), .dst = dst}.check();
}

} // namespace
