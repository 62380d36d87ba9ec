#include "plane/remap.h"

#include <gtest/gtest.h>

#include <cmath>

#include "plane_model.h"
#include "support/core_probe.h"

namespace zypr::test {
namespace {

constexpr uint32_t planeModes[] = {1, 2, 4, 6, 16};
constexpr uint32_t smooth = zyprSmoothEdgeFlag;

template <class Sample> struct PlaneRemap {
    TestPlane<Sample> src, dst;
    TestPlane<float> x, y;
    ZyprPlaneRect rect;
    PlaneRemap(TestPlane<Sample> source, int32_t width, int32_t height)
        : src(std::move(source)), dst(width, height), x(width, height), y(width, height), rect{0, 0, src.width, src.height} {
        dst.fill(77);
    }
    zypStatus run(uint32_t mode) {
        return planeRemap<Sample>(src.data(), {src.width, src.height}, src.step(), &rect, x.data(), x.step(), y.data(),
                                  y.step(), dst.data(), dst.step(), {dst.width, dst.height}, mode);
    }
    // Every sample read at one place.
    Sample at(uint32_t mode, float px, float py) {
        x.fill(px), y.fill(py);
        dst.fill(77);
        EXPECT_EQ(run(mode), zypStsNoErr);
        for (const Sample sample : dst.samples) EXPECT_TRUE(sameBits(sample, dst.at(0, 0)));
        return dst.at(0, 0);
    }
};

float anyCoordinate(Random &random, int32_t low, int32_t size) {
    const auto first = static_cast<float>(low), last = static_cast<float>(low + size - 1);
    switch (random.integer(0, 8)) {
    case 0: return first;
    case 1: return last;
    case 2: return std::nextafter(last, 9e9f);
    case 3: return std::nextafter(last, first);
    case 4: return static_cast<float>(random.integer(low, low + size - 1)) + 0.5f;
    case 5: return first - random.real(0, 1.5f);
    default: return random.real(first - 0.25f, last + 0.25f);
    }
}

template <class Sample> class PlaneRemapOf : public testing::Test { CoreProbeScope probe; };
using Samples = testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(PlaneRemapOf, Samples);

TYPED_TEST(PlaneRemapOf, EveryModeAgreesWithTheModelWithPlainAndSmoothEdges) {
    Random random(72);
    for (int round = 0; round < 60; ++round) {
        PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, random.integer(1, 14), random.integer(1, 12)), 23, 5);
        const ZyprPlaneRect asked = {random.integer(0, r.src.width - 1), random.integer(0, r.src.height - 1),
                                     random.integer(1, 15), random.integer(1, 15)};
        const ZyprPlaneRect rect = clippedRect(asked, r.src.width, r.src.height);
        const bool inside = round % 2 == 0; // else hardly ever are eight neighbours all inside
        const auto coordinate = [&](int32_t low, int32_t size) {
            const float any = anyCoordinate(random, low, size);
            return inside ? std::clamp(any, static_cast<float>(low), static_cast<float>(low + size - 1)) : any;
        };
        for (float &value : r.x.samples) value = coordinate(rect.x, rect.width);
        for (float &value : r.y.samples) value = coordinate(rect.y, rect.height);
        for (const uint32_t mode : planeModes) {
            for (const uint32_t flag : {0u, smooth}) {
                r.rect = asked;
                r.dst.fill(77);
                EXPECT_EQ(r.run(mode | flag), zypStsNoErr);
                EXPECT_EQ(r.rect.width, rect.width) << "the rectangle is clipped in place";
                EXPECT_EQ(r.rect.height, rect.height);
                for (int32_t j = 0; j < 5; ++j) {
                    for (int32_t i = 0; i < 23; ++i) {
                        const auto expected = modelRemap(r.src, rect, loweredPlaneMode(mode, r.src.width, r.src.height),
                                                         flag != 0, r.x.at(i, j), r.y.at(i, j), TypeParam(77));
                        ASSERT_TRUE(expected.allows(static_cast<double>(r.dst.at(i, j))))
                            << "mode " << mode << (flag ? " smooth" : "") << " from " << r.x.at(i, j) << " " << r.y.at(i, j)
                            << " in " << r.src.width << "x" << r.src.height << ": " << +r.dst.at(i, j) << ", expected "
                            << expected.low;
                    }
                }
                EXPECT_TRUE(r.dst.samples.surroundingsIntact());
            }
        }
    }
}

// All positions in 1/1024, where weights of 14 bits and table entries are ties as often as not, and beside them.
TYPED_TEST(PlaneRemapOf, PositionsHalfWayBetweenWeightsAgreeWithTheModel) {
    Random random(71);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 9, 9), 64, 64);
    const auto inSteps = [&](float steps) {
        const float on = static_cast<float>(random.integer(0, static_cast<int32_t>(8 * steps))) / steps;
        const float beside = std::nextafter(on, random.chance(0.5f) ? 0.0f : 8.0f);
        return random.chance(0.2f) ? beside : on;
    };
    for (const float steps : {1024.0f, 32768.0f}) {
        for (float &value : r.x.samples) value = inSteps(steps);
        for (float &value : r.y.samples) value = inSteps(steps);
        for (const uint32_t mode : {2u, 4u}) {
            EXPECT_EQ(r.run(mode), zypStsNoErr);
            for (int32_t j = 0; j < 64; ++j)
                for (int32_t i = 0; i < 64; ++i) {
                    const auto expected = modelRemap(r.src, r.rect, mode, false, r.x.at(i, j), r.y.at(i, j), TypeParam(77));
                    ASSERT_TRUE(expected.allows(static_cast<double>(r.dst.at(i, j))))
                        << "mode " << mode << " from " << r.x.at(i, j) << " " << r.y.at(i, j);
                }
        }
    }
}

TYPED_TEST(PlaneRemapOf, NearestRoundsHalvesUp) {
    Random random(1);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 8, 8), 9, 1);
    EXPECT_EQ(r.at(1, 2.5f, 4.5f), r.src.at(3, 5));
}

TYPED_TEST(PlaneRemapOf, NearestAddsTheHalfInFloat) {
    Random random(9);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 8, 8), 9, 1);
    const float belowHalf = std::nextafter(0.5f, 0.0f); // with the half it is 1 as a float
    r.src.at(0, 0) = 1, r.src.at(1, 0) = 2, r.src.at(0, 1) = 3, r.src.at(1, 1) = 4;
    EXPECT_EQ(r.at(1, belowHalf, belowHalf), 4);
    EXPECT_EQ(r.at(1, belowHalf - 1e-6f, 0.499999f), 1);
}

// Steps are bytes, each of its own, and need not be multiples of a sample.
TYPED_TEST(PlaneRemapOf, EveryPlaneHasItsOwnStepInBytes) {
    Random random(10);
    constexpr int32_t side = 9, rows = 5;
    const auto stepped = [](const auto &plane, int32_t step) {
        std::vector<unsigned char> bytes(static_cast<size_t>(step * plane.height));
        const auto row = static_cast<size_t>(plane.step());
        for (int32_t j = 0; j < plane.height; ++j)
            std::memcpy(bytes.data() + j * step, &plane.samples[static_cast<size_t>(j * plane.width)], row);
        return bytes;
    };
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, side, side), 19, rows);
    for (float &value : r.x.samples) value = random.real(0, 8);
    for (float &value : r.y.samples) value = random.real(0, 8);
    const int32_t srcStep = r.src.step() + 3, xStep = r.x.step() + 1, yStep = r.y.step() + 6, dstStep = r.dst.step() + 7;
    const auto src = stepped(r.src, srcStep), x = stepped(r.x, xStep), y = stepped(r.y, yStep);
    for (const uint32_t mode : planeModes) {
        EXPECT_EQ(r.run(mode), zypStsNoErr);
        TestPlane<TypeParam> untouched(19, rows);
        untouched.fill(77);
        auto dst = stepped(untouched, dstStep);
        const auto *from = reinterpret_cast<const TypeParam *>(src.data());
        const auto *xMap = reinterpret_cast<const float *>(x.data()), *yMap = reinterpret_cast<const float *>(y.data());
        EXPECT_EQ(planeRemap(from, {side, side}, srcStep, &r.rect, xMap, xStep, yMap, yStep,
                             reinterpret_cast<TypeParam *>(dst.data()), dstStep, {19, rows}, mode),
                  zypStsNoErr);
        EXPECT_EQ(dst, stepped(r.dst, dstStep)) << "mode " << mode;
    }
}

TYPED_TEST(PlaneRemapOf, APositionAtTheUpperBoundGivesTheLastSample) {
    Random random(2);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 8, 8), 9, 1);
    EXPECT_EQ(r.at(2, 7, 7), r.src.at(7, 7));
}

TYPED_TEST(PlaneRemapOf, APlaneOneSampleWideIsSampledNearest) {
    Random random(3);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 1, 9), 9, 1);
    for (const uint32_t mode : planeModes) EXPECT_EQ(r.at(mode, 0, 4.4f), r.src.at(0, 4));
    PlaneRemap<TypeParam> low(TestPlane<TypeParam>::random(random, 3, 1), 9, 1);
    for (const uint32_t mode : planeModes) EXPECT_EQ(low.at(mode, 1.4f, 0), low.src.at(1, 0));
}

TYPED_TEST(PlaneRemapOf, APlaneOfFiveColumnsTurnsLanczosIntoLagrangeAndKeepsCatmullRom) {
    Random random(4);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 5, 20), 9, 1);
    EXPECT_EQ(r.at(16, 2.3f, 7.6f), r.at(4, 2.3f, 7.6f));
    EXPECT_NE(loweredPlaneMode(6, 5, 20), loweredPlaneMode(4, 5, 20));
}

TYPED_TEST(PlaneRemapOf, ARectangleOneSampleWideAtColumnZeroReadsNothingBeforeIt) {
    Random random(5);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 8, 8), 9, 1);
    r.rect = {0, 0, 1, 1};
    for (const uint32_t mode : planeModes) r.at(mode, 0, 0);
    EXPECT_EQ(r.at(2, 0, 0), r.src.at(0, 0));
}

TYPED_TEST(PlaneRemapOf, WildMapValuesTouchNoForeignMemory) {
    Random random(6);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 9, 9), 20, 20);
    const auto wild = [&] {
        const auto &special = specialFloats();
        return random.chance(0.5f) ? random.real(0, 8)
                                   : special[static_cast<size_t>(random.integer(0, static_cast<int32_t>(special.size()) - 1))];
    };
    for (float &value : r.x.samples) value = wild();
    for (float &value : r.y.samples) value = wild();
    for (const uint32_t mode : planeModes) {
        for (const uint32_t flag : {0u, smooth}) {
            EXPECT_EQ(r.run(mode | flag), zypStsNoErr);
            EXPECT_TRUE(r.dst.samples.surroundingsIntact());
        }
    }
}

TYPED_TEST(PlaneRemapOf, ChecksComeInTheirOrder) {
    Random random(7);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 6, 6), 3, 3);
    const ZyprPlaneSize size = {6, 6}, dst = {3, 3}, noSize = {0, 6};
    const auto run = [&](int null, ZyprPlaneSize srcSize, ZyprPlaneRect rect, ZyprPlaneSize dstSize, uint32_t mode,
                         int32_t srcStep = 64, int32_t xStep = 64, int32_t yStep = 64, int32_t dstStep = 64) {
        const ZyprPlaneRect before = rect;
        const zypStatus status = planeRemap<TypeParam>(
            null == 0 ? nullptr : r.src.data(), srcSize, srcStep, &rect, null == 1 ? nullptr : r.x.data(), xStep,
            null == 2 ? nullptr : r.y.data(), yStep, null == 3 ? nullptr : r.dst.data(), dstStep, dstSize, mode);
        EXPECT_TRUE(rect.width == before.width && rect.height == before.height);
        return status;
    };
    for (int null = 0; null < 4; ++null) EXPECT_EQ(run(null, noSize, {-1, 0, 1, 1}, noSize, 3), zypStsNullPtrErr);
    for (const ZyprPlaneSize bad : {ZyprPlaneSize{0, 6}, {6, 0}}) {
        EXPECT_EQ(run(-1, bad, {0, 0, 6, 6}, dst, 3), zypStsSizeErr);
        EXPECT_EQ(run(-1, size, {0, 0, 6, 6}, bad, 3), zypStsSizeErr);
    }
    for (const ZyprPlaneRect bad : {ZyprPlaneRect{-1, 0, 1, 1}, {0, -1, 1, 1}, {0, 0, 0, 1}, {0, 0, 1, 0}})
        EXPECT_EQ(run(-1, size, bad, dst, 3), zypStsSizeErr);
    for (const uint32_t mode : {0u, 3u, 5u, 7u, 8u, 17u, smooth, smooth | 5u})
        EXPECT_EQ(run(-1, size, {6, 0, 1, 1}, dst, mode, 0), zypStsInterpolationModeErr);
    for (const int32_t step : {0, -1, -64, INT32_MIN}) {
        EXPECT_EQ(run(-1, size, {6, 0, 1, 1}, dst, 1, step), zypStsRowStepErr);
        EXPECT_EQ(run(-1, size, {6, 0, 1, 1}, dst, 1, 64, step), zypStsRowStepErr);
        EXPECT_EQ(run(-1, size, {6, 0, 1, 1}, dst, 1, 64, 64, step), zypStsRowStepErr);
        EXPECT_EQ(run(-1, size, {6, 0, 1, 1}, dst, 1, 64, 64, 64, step), zypStsRowStepErr);
    }
    EXPECT_EQ(run(-1, size, {6, 0, 1, 1}, dst, 1), zypStsPlaneRoiOutsideWrn);
    EXPECT_EQ(run(-1, size, {0, 6, 1, 1}, dst, 1), zypStsPlaneRoiOutsideWrn);
    for (const TypeParam sample : r.dst.samples) EXPECT_EQ(sample, 77);
}

TYPED_TEST(PlaneRemapOf, ASmoothEdgeFadesFromTheBorderToTheOldValueOneSampleAway) {
    Random random(8);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>(9, 9), 9, 1);
    r.src.fill(7);
    r.rect = {2, 2, 4, 4};
    for (const uint32_t mode : planeModes) {
        EXPECT_EQ(r.at(mode | smooth, 5.5f, 3), 42);
        EXPECT_EQ(r.at(mode | smooth, 6.0f, 3), 77);
        EXPECT_EQ(r.at(mode | smooth, std::nextafter(6.0f, 9.0f), 3), 77);
        EXPECT_EQ(r.at(mode | smooth, 5.0f, 3), 7);
        EXPECT_EQ(r.at(mode | smooth, 1.5f, 1.5f), static_cast<TypeParam>(sizeof(TypeParam) == 4 ? 59.5 : 60))
            << "weight 3/4, ties to even";
        EXPECT_EQ(r.at(mode, 5.5f, 3), 77) << "without the flag";
    }
}

TEST(PlaneRemap8u, LinearKeepsFlatAreasAndIsOtherwiseRoundedDown) {
    PlaneRemap<uint8_t> r(TestPlane<uint8_t>(8, 8), 9, 1);
    for (int value = 0; value < 256; ++value) {
        r.src.fill(static_cast<uint8_t>(value));
        EXPECT_EQ(r.at(2, 2.3f, 4.7f), value);
    }
    for (int32_t j = 0; j < 8; ++j)
        for (int32_t i = 0; i < 8; ++i) r.src.at(i, j) = static_cast<uint8_t>(i & 1);
    EXPECT_EQ(r.at(2, 2.5f, 3), 0);
    // A sum 33 below 4 x 2^20 makes it, one 34 below 3 x 2^20 does not.
    r.src.at(0, 0) = 0, r.src.at(1, 0) = 5, r.src.at(0, 1) = 6, r.src.at(1, 1) = 5;
    EXPECT_EQ(r.at(2, 8660 / 16384.0f, 7875 / 16384.0f), 4);
    r.src.at(0, 1) = 3;
    EXPECT_EQ(r.at(2, 2475 / 16384.0f, 14474 / 16384.0f), 2);
    EXPECT_EQ(r.at(2 | smooth, 2.5f, 3), 0) << "in float a half goes to even";
    EXPECT_EQ(r.at(2 | smooth, 2.75f, 3), 1);
}

// A sample of weight 0 shows where it is infinite.
TEST(PlaneRemap32f, PairsEndAtTheRectanglesLastSampleAndWithSmoothEdgesAtThePlanes) {
    PlaneRemap<float> r(TestPlane<float>(9, 9), 9, 1);
    r.src.fill(3);
    r.rect = {0, 0, 6, 5};
    for (int32_t k = 0; k < 9; ++k) r.src.at(6, k) = r.src.at(k, 5) = INFINITY;
    EXPECT_EQ(r.at(2, 5, 3.5f), 3.0f);
    EXPECT_EQ(r.at(2, 3.5f, 4), 3.0f);
    EXPECT_TRUE(std::isnan(r.at(2 | smooth, 5, 3.5f)));
    EXPECT_TRUE(std::isnan(r.at(2 | smooth, 3.5f, 4)));
}

// The source begins with the second row and column of a plane whose first ones must not be read.
TEST(PlaneRemap32f, RectanglesOneSampleWideOrHighAtTheBeginningReadNothingBeforeIt) {
    TestPlane<float> plane(9, 9), x(9, 2), y(9, 2), dst(9, 2);
    plane.fill(NAN);
    for (int32_t j = 1; j < 9; ++j)
        for (int32_t i = 1; i < 9; ++i) plane.at(i, j) = static_cast<float>(10 * j + i);
    x.fill(0), y.fill(0);
    for (int32_t i = 0; i < 9; ++i) x.at(i, 0) = y.at(i, 1) = 2.5f;
    for (const uint32_t mode : {2u, 2u | smooth}) {
        for (const int32_t row : {0, 1}) {
            ZyprPlaneRect rect = row == 0 ? ZyprPlaneRect{0, 0, 8, 1} : ZyprPlaneRect{0, 0, 1, 8};
            EXPECT_EQ(planeRemap<float>(&plane.at(1, 1), {8, 8}, plane.step(), &rect, &x.at(0, row), x.step(), &y.at(0, row),
                                        y.step(), dst.data(), dst.step(), {9, 1}, mode),
                      zypStsNoErr);
            for (int32_t i = 0; i < 9; ++i) EXPECT_EQ(dst.at(i, 0), row == 0 ? 13.5f : 36.0f);
        }
    }
}

TEST(PlaneRemap32f, LagrangeExtrapolatesItsWindowAtBothEndsInsteadOfRepeatingSamples) {
    PlaneRemap<float> r(TestPlane<float>(8, 8), 9, 1);
    for (int32_t j = 0; j < 8; ++j) // a cubic is reproduced everywhere
        for (int32_t i = 0; i < 8; ++i) r.src.at(i, j) = static_cast<float>(i * i * i - 4 * i * i + j);
    for (const float x : {0.0f, 0.25f, 0.75f, 3.5f, 6.25f, 6.75f, 7.0f})
        EXPECT_NEAR(r.at(4, x, 2), x * x * x - 4 * x * x + 2, 1e-3f);
}

// 32f tells the two paths apart: beside the border magnitudes below the least normal float become 0.
TEST(PlaneRemap32f, EdgePathsStoreTinyValuesAsZeroAndFastPathsDoNot) {
    PlaneRemap<float> r(TestPlane<float>(10, 9), 9, 1);
    for (const float tiny : {1e-39f, -1e-39f}) {
        r.src.fill(tiny);
        for (const uint32_t mode : {6u, 16u}) {
            const int32_t reach = mode == 6 ? 1 : 2;
            for (int32_t j = 0; j < 9; ++j)
                for (int32_t i = 0; i < 10; ++i) {
                    const bool fast = i >= reach && i < 9 - reach && j >= reach && j < 8 - reach;
                    EXPECT_TRUE(sameBits(r.at(mode, static_cast<float>(i), static_cast<float>(j)), fast ? tiny : 0.0f))
                        << mode << " " << i << " " << j;
                }
        }
    }
    for (const float normal : {1.1754943508222875e-38f, -1.1754943508222875e-38f}) {
        r.src.fill(normal);
        EXPECT_TRUE(sameBits(r.at(6, 0, 4), normal));
    }
}

// A position counts as the next sample from 1e-7 below it on, as a float sum in the fast path and as a double beside the
// border.
TEST(PlaneRemap32f, WideKernelsCountPositionsJustBelowASampleAsThatSample) {
    PlaneRemap<float> r(TestPlane<float>(10, 9), 9, 1), narrow(TestPlane<float>(4, 9), 9, 1);
    r.src.fill(1e-39f), narrow.src.fill(1e-39f);
    EXPECT_NE(r.at(6, std::nextafter(1.0f, 0.0f), 4), 0.0f);
    EXPECT_EQ(r.at(6, 1 - 2e-7f, 4), 0.0f);
    EXPECT_EQ(narrow.at(6, std::nextafter(2.0f, 0.0f), 4), 0.0f) << "2 - 1.2e-7 with 1e-7 rounds up to 2, the high edge";
    EXPECT_NE(narrow.at(6, 2 - 3e-7f, 4), 0.0f);
}

template <class Sample> void expectHalvesByPath() {
    // At 1/2 above a sample the weights are -1, 9, 9 and -1 sixteenths.
    PlaneRemap<Sample> r(TestPlane<Sample>(9, 9), 9, 1);
    r.src.fill(0);
    for (int32_t j = 0; j < 9; ++j) r.src.at(0, j) = 1;
    EXPECT_EQ(r.at(6, 0.5f, 4), 1) << "beside the border halves go up";
    for (int32_t j = 0; j < 9; ++j) r.src.at(1, j) = 1;
    EXPECT_EQ(r.at(6, 1.5f, 4), 0) << "elsewhere to even";
    for (int32_t j = 0; j < 9; ++j) r.src.at(0, j) = 3, r.src.at(1, j) = 3;
    EXPECT_EQ(r.at(6, 1.5f, 4), 2);
}
TEST(PlaneRemap, CatmullRomRoundsHalvesUpOnTheEdgeAndToEvenInside) {
    expectHalvesByPath<uint8_t>();
    expectHalvesByPath<uint16_t>();
}

} // namespace
} // namespace zypr::test
