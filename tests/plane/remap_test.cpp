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
    Sample at(uint32_t mode, float px, float py) {
        x.at(0, 0) = px, y.at(0, 0) = py;
        dst.fill(77);
        EXPECT_EQ(run(mode), zypStsNoErr);
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
        for (float &value : r.x.samples) value = anyCoordinate(random, rect.x, rect.width);
        for (float &value : r.y.samples) value = anyCoordinate(random, rect.y, rect.height);
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

TYPED_TEST(PlaneRemapOf, NearestRoundsHalvesUp) {
    Random random(1);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 8, 8), 1, 1);
    EXPECT_EQ(r.at(1, 2.5f, 4.5f), r.src.at(3, 5));
}

TYPED_TEST(PlaneRemapOf, APositionAtTheUpperBoundGivesTheLastSample) {
    Random random(2);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 8, 8), 1, 1);
    EXPECT_EQ(r.at(2, 7, 7), r.src.at(7, 7));
}

TYPED_TEST(PlaneRemapOf, APlaneOneSampleWideIsSampledNearest) {
    Random random(3);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 1, 9), 1, 1);
    for (const uint32_t mode : planeModes) EXPECT_EQ(r.at(mode, 0, 4.4f), r.src.at(0, 4));
    PlaneRemap<TypeParam> low(TestPlane<TypeParam>::random(random, 3, 1), 1, 1);
    for (const uint32_t mode : planeModes) EXPECT_EQ(low.at(mode, 1.4f, 0), low.src.at(1, 0));
}

TYPED_TEST(PlaneRemapOf, APlaneOfFiveColumnsTurnsLanczosIntoLagrangeAndKeepsCatmullRom) {
    Random random(4);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 5, 20), 1, 1);
    EXPECT_EQ(r.at(16, 2.3f, 7.6f), r.at(4, 2.3f, 7.6f));
    EXPECT_NE(loweredPlaneMode(6, 5, 20), loweredPlaneMode(4, 5, 20));
}

TYPED_TEST(PlaneRemapOf, ARectangleOneSampleWideAtColumnZeroReadsNothingBeforeIt) {
    Random random(5);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>::random(random, 8, 8), 1, 1);
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
                         int32_t srcStep = 64, int32_t mapStep = 64, int32_t dstStep = 64) {
        const ZyprPlaneRect before = rect;
        const zypStatus status = planeRemap<TypeParam>(
            null == 0 ? nullptr : r.src.data(), srcSize, srcStep, &rect, null == 1 ? nullptr : r.x.data(), mapStep,
            null == 2 ? nullptr : r.y.data(), mapStep, null == 3 ? nullptr : r.dst.data(), dstStep, dstSize, mode);
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
    EXPECT_EQ(run(-1, size, {6, 0, 1, 1}, dst, 1, 0), zypStsRowStepErr);
    EXPECT_EQ(run(-1, size, {6, 0, 1, 1}, dst, 1, 64, 0), zypStsRowStepErr);
    EXPECT_EQ(run(-1, size, {6, 0, 1, 1}, dst, 1, 64, 64, -4), zypStsRowStepErr);
    EXPECT_EQ(run(-1, size, {6, 0, 1, 1}, dst, 1), zypStsPlaneRoiOutsideWrn);
    EXPECT_EQ(run(-1, size, {0, 6, 1, 1}, dst, 1), zypStsPlaneRoiOutsideWrn);
    for (const TypeParam sample : r.dst.samples) EXPECT_EQ(sample, 77);
}

TYPED_TEST(PlaneRemapOf, ASmoothEdgeFadesFromTheBorderToTheOldValueOneSampleAway) {
    Random random(8);
    PlaneRemap<TypeParam> r(TestPlane<TypeParam>(9, 9), 1, 1);
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
    PlaneRemap<uint8_t> r(TestPlane<uint8_t>(8, 8), 1, 1);
    for (int value = 0; value < 256; ++value) {
        r.src.fill(static_cast<uint8_t>(value));
        EXPECT_EQ(r.at(2, 2.3f, 4.7f), value);
    }
    for (int32_t j = 0; j < 8; ++j)
        for (int32_t i = 0; i < 8; ++i) r.src.at(i, j) = static_cast<uint8_t>(i & 1);
    EXPECT_EQ(r.at(2, 2.5f, 3), 0);
    EXPECT_EQ(r.at(2 | smooth, 2.5f, 3), 0) << "in float a half goes to even";
    EXPECT_EQ(r.at(2 | smooth, 2.75f, 3), 1);
}

TEST(PlaneRemap32f, LagrangeExtrapolatesItsWindowAtBothEndsInsteadOfRepeatingSamples) {
    PlaneRemap<float> r(TestPlane<float>(8, 8), 1, 1);
    for (int32_t j = 0; j < 8; ++j) // a cubic is reproduced everywhere
        for (int32_t i = 0; i < 8; ++i) r.src.at(i, j) = static_cast<float>(i * i * i - 4 * i * i + j);
    for (const float x : {0.0f, 0.25f, 0.75f, 3.5f, 6.25f, 6.75f, 7.0f})
        EXPECT_NEAR(r.at(4, x, 2), x * x * x - 4 * x * x + 2, 1e-3f);
}

TEST(PlaneRemap32f, EdgePathsStoreTinyValuesAsZeroAndFastPathsDoNot) {
    PlaneRemap<float> r(TestPlane<float>(9, 9), 1, 1);
    r.src.fill(1e-39f);
    EXPECT_EQ(r.at(6, 0, 4), 0.0f);
    EXPECT_EQ(r.at(6, 4, 4), 1e-39f);
    EXPECT_EQ(r.at(16, 1, 4), 0.0f);
}

} // namespace
} // namespace zypr::test
