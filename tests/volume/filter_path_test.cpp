// Which arithmetic a kernel and a width get, and what a divisor becomes.

#include <gtest/gtest.h>

#include <vector>

#include "volume/filter.h"

namespace {

using zypr::FilterPath;

FilterPath pathOf(ZyprVolumeExtent kernel, int32_t width, int32_t coefficient = 1, int32_t second = 0, int32_t third = 0) {
    std::vector<int32_t> taps(static_cast<size_t>(kernel.width) * kernel.height * kernel.depth);
    taps.front() = coefficient;
    if (taps.size() > 8) taps[8] = second;
    if (taps.size() > 9) taps[9] = third;
    return zypr::filterPath(taps.data(), kernel, width);
}

TEST(FilterPath, TakesIntegersFromThreeSamplesInEveryDirectionOn) {
    for (const ZyprVolumeExtent kernel : {ZyprVolumeExtent{3, 3, 3}, {5, 5, 5}, {3, 4, 5}, {7, 7, 7}, {4, 4, 4}})
        EXPECT_EQ(pathOf(kernel, 16), FilterPath::multiplyAdd);
    for (const ZyprVolumeExtent kernel : {ZyprVolumeExtent{2, 3, 3}, {3, 2, 3}, {3, 3, 2}, {1, 9, 9}, {1, 1, 1}})
        EXPECT_EQ(pathOf(kernel, 16), FilterPath::exact);
}

TEST(FilterPath, FallsBackBelowSixteenSamples) {
    EXPECT_EQ(pathOf({3, 3, 3}, 15), FilterPath::floatRows);
    EXPECT_EQ(pathOf({5, 5, 5}, 15), FilterPath::floatRows);
    EXPECT_EQ(pathOf({3, 3, 5}, 15), FilterPath::exact);
    EXPECT_EQ(pathOf({7, 7, 7}, 15), FilterPath::exact);
}

TEST(FilterPath, FallsBackForCoefficientsOutsideThePackedRange) {
    for (const auto &[kernel, other] : {std::pair{ZyprVolumeExtent{3, 3, 3}, FilterPath::floatRows},
                                        {{5, 5, 5}, FilterPath::floatRows},
                                        {{3, 3, 4}, FilterPath::exact}}) {
        EXPECT_EQ(pathOf(kernel, 16, 32766), FilterPath::multiplyAdd);
        EXPECT_EQ(pathOf(kernel, 16, 32767), other);
        EXPECT_EQ(pathOf(kernel, 16, -32767), FilterPath::multiplyAdd);
        EXPECT_EQ(pathOf(kernel, 16, -32768), other);
    }
}

TEST(FilterPath, FallsBackAboveASignedSumOf98301) {
    std::vector<int32_t> taps(27);
    taps[0] = taps[1] = taps[2] = 32766;
    taps[3] = 3;
    EXPECT_EQ(zypr::filterPath(taps.data(), {3, 3, 3}, 16), FilterPath::multiplyAdd);
    taps[3] = 4;
    EXPECT_EQ(zypr::filterPath(taps.data(), {3, 3, 3}, 16), FilterPath::floatRows);
    taps[4] = -32767;
    EXPECT_EQ(zypr::filterPath(taps.data(), {3, 3, 3}, 16), FilterPath::multiplyAdd);
    taps.assign(27, -32767);
    EXPECT_EQ(zypr::filterPath(taps.data(), {3, 3, 3}, 16), FilterPath::multiplyAdd);
}

TEST(FilterScale, KnowsPositivePowersOfTwoAlone) {
    EXPECT_EQ(zypr::filterScale(1).mode, zypr::ScaleMode::none);
    for (int s = 1; s < 31; ++s) {
        const zypr::FilterScale scale = zypr::filterScale(1 << s);
        EXPECT_EQ(scale.mode, zypr::ScaleMode::shift);
        EXPECT_EQ(scale.shift, s);
        EXPECT_EQ(scale.half, 1 << (s - 1));
    }
    for (const int32_t divisor : {-1, -2, -4, 3, 6, INT32_MAX, INT32_MIN})
        EXPECT_EQ(zypr::filterScale(divisor).mode, zypr::ScaleMode::division);
}

TEST(FilterScale, DividesByTheDivisorAsAFloat) {
    EXPECT_EQ(zypr::filterScale(7).reciprocal, 1.0f / 7.0f);
    EXPECT_EQ(zypr::filterScale(-3).reciprocal, -1.0f / 3.0f);
    EXPECT_EQ(zypr::filterScale((1 << 24) + 1).reciprocal, 1.0f / (1 << 24)) << "2^24 + 1 is no float";
}

} // namespace
