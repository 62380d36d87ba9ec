#include "plane/warp.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "plane/remap.h"
#include "plane/warp_spans.h"
#include "plane_model.h"
#include "support/core_probe.h"

namespace zypr::test {
namespace {

using Matrix = std::array<double, 6>;
constexpr Matrix identity = {1, 0, 0, 0, 1, 0};
constexpr uint32_t warpModes[] = {1, 2, 4, 6};

template <class Sample> struct PlaneWarp {
    TestPlane<Sample> src, dst;
    ZyprPlaneRect rect, box;
    PlaneWarp(TestPlane<Sample> source, int32_t width, int32_t height)
        : src(std::move(source)), dst(width, height), rect{0, 0, src.width, src.height}, box{0, 0, width, height} {
        dst.fill(77);
    }
    zypStatus run(const Matrix &m, uint32_t mode) {
        return planeWarp<Sample>(src.data(), {src.width, src.height}, src.step(), rect, dst.data(), dst.step(), box, m.data(),
                                 mode);
    }
};

// From the images of three corners of the rectangle back to them.
Matrix modelInverse(const Matrix &m, const ZyprPlaneRect &r) {
    const double x0 = r.x, y0 = r.y, x1 = r.x + r.width - 1, y1 = r.y + r.height - 1;
    const auto corner = [&](double x, double y) {
        return std::array<double, 2>{std::fma(m[0], x, std::fma(m[1], y, m[2])), std::fma(m[3], x, std::fma(m[4], y, m[5]))};
    };
    const auto p0 = corner(x0, y0), p1 = corner(x1, y0), p2 = corner(x1, y1);
    const double d = 1 / ((p2[1] - p1[1]) * (p1[0] - p0[0]) - (p2[0] - p1[0]) * (p1[1] - p0[1]));
    const double i00 = (p2[1] - p1[1]) * (x1 - x0) * d, i01 = -(p2[0] - p1[0]) * (x1 - x0) * d;
    const double i10 = -(p1[1] - p0[1]) * (y1 - y0) * d, i11 = (p1[0] - p0[0]) * (y1 - y0) * d;
    return {i00, i01, x0 - i00 * p0[0] - i01 * p0[1], i10, i11, y0 - i10 * p0[0] - i11 * p0[1]};
}

// The sample at a stepped position.
template <class Sample> Allowed modelStepped(const TestPlane<Sample> &src, uint32_t mode, double x, double y) {
    if (mode == 1) return exactly(src.at(static_cast<int32_t>(x), static_cast<int32_t>(y)));
    if (mode == 4) {
        const auto fx = static_cast<float>(x), fy = static_cast<float>(y);
        if (sizeof(Sample) == 1) return exactly(modelLagrangeFixed(src, fx, fy));
        return fastEnding<Sample>(modelSum(src, modelLagrange(fx, src.width - 1), modelLagrange(fy, src.height - 1)));
    }
    if (mode == 6) return modelWideSample(src, mode, x, y);
    if (sizeof(Sample) == 1) x = static_cast<float>(x), y = static_cast<float>(y);
    const int32_t ix = std::clamp(static_cast<int32_t>(x), 0, src.width - 2),
                  iy = std::clamp(static_cast<int32_t>(y), 0, src.height - 2);
    const float value = modelBilinear(src, ix, iy, static_cast<float>(x - ix), static_cast<float>(y - iy));
    if (sizeof(Sample) == 1) return exactly(std::clamp(std::trunc(value + 0.5f), 0.0f, 255.0f));
    return exactly(rounded<Sample>(value));
}

template <class Sample> class PlaneWarpOf : public testing::Test { CoreProbeScope probe; };
using Samples = testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(PlaneWarpOf, Samples);

// Whether a sample is written is told by the inverse, but for samples within 1e-9 of the border, which these matrices avoid.
TYPED_TEST(PlaneWarpOf, EveryModeAgreesWithTheModelOnTheImageAndTouchesNothingElse) {
    Random random(73);
    for (int round = 0; round < 60; ++round) {
        PlaneWarp<TypeParam> w(TestPlane<TypeParam>::random(random, random.integer(3, 14), random.integer(3, 12)), 31, 24);
        w.rect = {random.integer(0, w.src.width - 2), random.integer(0, w.src.height - 2), random.integer(2, 15),
                  random.integer(2, 15)};
        w.box = {random.integer(0, 8), random.integer(0, 8), random.integer(1, 23), random.integer(1, 16)};
        const float turn = random.real(-3.2f, 3.2f), scale = random.real(0.6f, 2.5f);
        const double c = std::cos(turn) * scale, s = std::sin(turn) * scale, skew = random.real(-0.5f, 0.5f);
        const Matrix m = {c, -s + skew * c, random.real(2, 20), s, c + skew * s, random.real(2, 20)};
        const ZyprPlaneRect r = clippedRect(w.rect, w.src.width, w.src.height);
        const double x0 = r.x, y0 = r.y, x1 = r.x + r.width - 1, y1 = r.y + r.height - 1;
        const Matrix inverse = modelInverse(m, r);
        const auto [i00, i01, i02, i10, i11, i12] = inverse;
        const auto isCovered = [&](int32_t x, int32_t y) {
            if (x < w.box.x || y < w.box.y || x >= w.box.x + w.box.width || y >= w.box.y + w.box.height) return false;
            const double sx = inverse[0] * x + inverse[1] * y + inverse[2], sy = inverse[3] * x + inverse[4] * y + inverse[5];
            return sx >= x0 && sx <= x1 && sy >= y0 && sy <= y1;
        };
        for (const uint32_t mode : warpModes) {
            const uint32_t lowered = mode == 4 && (w.src.width < 4 || w.src.height < 4) ? 2 : mode;
            w.dst.fill(77);
            const zypStatus status = w.run(m, mode);
            bool anyRow = false;
            double xTerm = 0, yTerm = 0;
            for (int32_t y = 0; y < 24; ++y) {
                bool anyInRow = false;
                double sx = 0, sy = 0;
                for (int32_t x = 0; x < 31; ++x) {
                    const auto actual = static_cast<double>(w.dst.at(x, y));
                    if (!isCovered(x, y)) {
                        ASSERT_EQ(actual, 77) << x << " " << y;
                        continue;
                    }
                    if (!anyRow) xTerm = i01 * y + i02, yTerm = i11 * y + i12;
                    anyRow = true;
                    if (!anyInRow) {
                        sx = i00 * x + xTerm, sy = i10 * x + yTerm;
                        if (lowered == 1) sx += 0.5, sy += 0.5;
                    }
                    anyInRow = true;
                    // The first rows of the polygon may hold no sample; stepping began there, so roundings may differ by
                    // little.
                    const Allowed expected = modelStepped(w.src, lowered, sx, sy);
                    const double slack = lowered == 1 ? 0 : std::is_same_v<TypeParam, float> ? 1e-2 : 1;
                    ASSERT_TRUE(actual >= expected.low - slack && actual <= expected.high + slack)
                        << "mode " << mode << " at " << x << " " << y << " from " << sx << " " << sy << " is " << actual
                        << ", expected " << expected.low;
                    sx += i00, sy += i10;
                }
                if (anyRow) xTerm += i01, yTerm += i11;
            }
            EXPECT_EQ(status, status == zypStsNoErr || !anyRow ? status : zypStsNoErr);
            EXPECT_TRUE(w.dst.samples.surroundingsIntact());
        }
    }
}

// Every row of the image begins at its top here, so all roundings are the model's.
TYPED_TEST(PlaneWarpOf, PositionsAreSteppedByAdditionAlongRowsAndColumns) {
    Random random(74);
    PlaneWarp<TypeParam> w(TestPlane<TypeParam>::random(random, 12, 11), 40, 38);
    const double xScale = 10.0 / 3, yScale = 23.0 / 7;
    for (const uint32_t mode : warpModes) {
        EXPECT_EQ(w.run({xScale, 0, 0, 0, yScale, 0}, mode), zypStsNoErr);
        const double w1 = 11 * xScale, h1 = 10 * yScale, d = 1 / (h1 * w1);
        const double i00 = h1 * 11 * d, i11 = w1 * 10 * d;
        double sy = i11 * 0 + 0.0;
        for (int32_t y = 0; y <= std::floor(h1); ++y, sy += i11) {
            double sx = 0;
            double px = mode == 1 ? sx + 0.5 : sx, py = mode == 1 ? sy + 0.5 : sy;
            for (int32_t x = 0; x <= std::floor(w1); ++x, px += i00) {
                const Allowed expected = modelStepped(w.src, mode, px, py);
                ASSERT_TRUE(expected.allows(static_cast<double>(w.dst.at(x, y)))) << "mode " << mode << " at " << x << " " << y;
            }
        }
    }
}

// Stepping begins at the corner of a box that lies inside the image.
TYPED_TEST(PlaneWarpOf, PositionsInsideATurnedImageAreSteppedFromTheBoxsCorner) {
    Random random(79);
    for (int round = 0; round < 20; ++round) {
        PlaneWarp<TypeParam> w(TestPlane<TypeParam>::random(random, 60, 50), 40, 32);
        w.rect = {2, 1, 57, 48};
        w.box = {random.integer(8, 12), random.integer(8, 12), random.integer(1, 20), random.integer(1, 14)};
        const float turn = random.real(-3.2f, 3.2f), scale = random.real(0.9f, 1.6f);
        const double c = std::cos(turn) * scale, s = std::sin(turn) * scale;
        const Matrix m = {c, -s, 20 - c * 30 + s * 25, s, c, 16 - s * 30 - c * 25};
        const auto [i00, i01, i02, i10, i11, i12] = modelInverse(m, w.rect);
        for (const uint32_t mode : warpModes) {
            w.dst.fill(77);
            EXPECT_EQ(w.run(m, mode), zypStsNoErr);
            double xTerm = i01 * w.box.y + i02, yTerm = i11 * w.box.y + i12;
            for (int32_t y = 0; y < 32; ++y) {
                const bool isRow = y >= w.box.y && y < w.box.y + w.box.height;
                double sx = i00 * w.box.x + xTerm, sy = i10 * w.box.x + yTerm;
                if (mode == 1) sx += 0.5, sy += 0.5;
                for (int32_t x = 0; x < 40; ++x) {
                    const auto actual = static_cast<double>(w.dst.at(x, y));
                    if (!isRow || x < w.box.x || x >= w.box.x + w.box.width) {
                        ASSERT_EQ(actual, 77);
                        continue;
                    }
                    ASSERT_TRUE(modelStepped(w.src, mode, sx, sy).allows(actual)) << "mode " << mode << " at " << x << " " << y;
                    sx += i00, sy += i10;
                }
                if (isRow) xTerm += i01, yTerm += i11;
            }
        }
    }
}

TYPED_TEST(PlaneWarpOf, TheIdentityCoversTheRectangleWithItsBorders) {
    Random random(75);
    PlaneWarp<TypeParam> w(TestPlane<TypeParam>::random(random, 9, 8), 12, 12);
    w.rect = {2, 1, 5, 6};
    for (const uint32_t mode : warpModes) {
        w.dst.fill(77);
        EXPECT_EQ(w.run(identity, mode), zypStsNoErr);
        for (int32_t y = 0; y < 12; ++y)
            for (int32_t x = 0; x < 12; ++x) {
                const bool inside = x >= 2 && x < 7 && y >= 1 && y < 7;
                EXPECT_EQ(static_cast<double>(w.dst.at(x, y)), inside ? static_cast<double>(w.src.at(x, y)) : 77);
            }
    }
}

TYPED_TEST(PlaneWarpOf, BoxesOfOneColumnOrRowAreFilled) {
    Random random(76);
    PlaneWarp<TypeParam> w(TestPlane<TypeParam>::random(random, 9, 9), 12, 12);
    for (const ZyprPlaneRect box : {ZyprPlaneRect{3, 0, 1, 12}, {0, 4, 12, 1}, {8, 8, 1, 1}, {0, 0, 1, 1}, {8, 2, 4, 1}}) {
        w.box = box;
        w.dst.fill(77);
        EXPECT_EQ(w.run(identity, 1), zypStsNoErr);
        for (int32_t y = 0; y < 12; ++y)
            for (int32_t x = 0; x < 12; ++x) {
                const bool inside =
                    x >= box.x && x < std::min(box.x + box.width, 9) && y >= box.y && y < std::min(box.y + box.height, 9);
                EXPECT_EQ(static_cast<double>(w.dst.at(x, y)), inside ? static_cast<double>(w.src.at(x, y)) : 77)
                    << x << " " << y;
            }
    }
}

TYPED_TEST(PlaneWarpOf, AnImageOffTheBoxIsAWarningAndWritesNothing) {
    PlaneWarp<TypeParam> w(TestPlane<TypeParam>(6, 6), 8, 8);
    EXPECT_EQ(w.run({1, 0, 100, 0, 1, 0}, 1), zypStsNoQuadOverlapWrn);
    EXPECT_EQ(w.run({1, 0, 0, 0, 1, -100}, 1), zypStsNoQuadOverlapWrn);
    EXPECT_EQ(w.run({0.1, 0, 2.2, 0, 1, 0}, 1), zypStsNoQuadOverlapWrn) << "between two columns";
    EXPECT_TRUE(CoreProbe::requests().empty());
    for (const TypeParam sample : w.dst.samples) EXPECT_EQ(sample, 77);
}

TYPED_TEST(PlaneWarpOf, RectanglesThinnerThanTwoSamplesAreRefusedAfterClipping) {
    PlaneWarp<TypeParam> w(TestPlane<TypeParam>(6, 6), 8, 8);
    w.rect = {5, 0, 4, 4};
    EXPECT_EQ(w.run(identity, 1), zypStsRoiTooSmallErr);
    w.rect = {0, 5, 4, 4};
    EXPECT_EQ(w.run(identity, 1), zypStsRoiTooSmallErr);
    w.rect = {4, 4, 9, 9};
    EXPECT_EQ(w.run(identity, 1), zypStsNoErr);
}

TYPED_TEST(PlaneWarpOf, SmallPlanesLowerLagrangeButNotCatmullRom) {
    Random random(77);
    PlaneWarp<TypeParam> w(TestPlane<TypeParam>::random(random, 3, 3), 9, 9);
    const Matrix m = {2.7, 0, 0, 0, 2.6, 0};
    EXPECT_EQ(w.run(m, 2), zypStsNoErr);
    const auto linear = w.dst.samples.values();
    CoreProbe::reset();
    EXPECT_EQ(w.run(m, 4), zypStsNoErr);
    EXPECT_EQ(CoreProbe::requests().size(), 1u) << "no row of positions";
    EXPECT_TRUE(equalBits(w.dst.samples.values(), linear));
    EXPECT_EQ(w.run(m, 6), zypStsNoErr);
    EXPECT_FALSE(equalBits(w.dst.samples.values(), linear));
}

TYPED_TEST(PlaneWarpOf, ChecksComeInTheirOrder) {
    PlaneWarp<TypeParam> w(TestPlane<TypeParam>(6, 6), 8, 8);
    const Matrix singular = {1, 2, 0, 2, 4, 0};
    const ZyprPlaneRect whole = {0, 0, 6, 6}, outside = {6, 0, 1, 1};
    const auto run = [&](bool src, bool dst, ZyprPlaneSize size, ZyprPlaneRect rect, ZyprPlaneRect box, const Matrix &m,
                         uint32_t mode) {
        return planeWarp<TypeParam>(src ? w.src.data() : nullptr, size, w.src.step(), rect, dst ? w.dst.data() : nullptr,
                                    w.dst.step(), box, m.data(), mode);
    };
    EXPECT_EQ(run(false, true, {0, 0}, whole, whole, singular, 3), zypStsNullPtrErr);
    EXPECT_EQ(run(true, false, {0, 0}, whole, whole, singular, 3), zypStsNullPtrErr);
    EXPECT_EQ(run(true, true, {0, 6}, whole, whole, singular, 3), zypStsSizeErr);
    EXPECT_EQ(run(true, true, {6, 0}, whole, whole, singular, 3), zypStsSizeErr);
    for (const ZyprPlaneRect bad : {ZyprPlaneRect{-1, 0, 1, 1}, {0, -1, 1, 1}, {0, 0, 0, 1}, {0, 0, 1, 0}}) {
        EXPECT_EQ(run(true, true, {6, 6}, bad, whole, singular, 3), zypStsSizeErr);
        EXPECT_EQ(run(true, true, {6, 6}, whole, bad, singular, 3), zypStsSizeErr);
    }
    for (const uint32_t mode : {0u, 3u, 5u, 7u, 16u})
        EXPECT_EQ(run(true, true, {6, 6}, outside, whole, singular, mode), zypStsInterpolationModeErr);
    EXPECT_EQ(run(true, true, {6, 6}, outside, whole, singular, 1), zypStsSingularTransformErr);
    EXPECT_EQ(run(true, true, {6, 6}, outside, whole, {0, 1e-11, 0, 1, 0, 0}, 1), zypStsSingularTransformErr);
    EXPECT_EQ(run(true, true, {6, 6}, outside, whole, identity, 1), zypStsPlaneRoiOutsideWrn);
    EXPECT_EQ(run(true, true, {6, 6}, {5, 5, 1, 1}, whole, {1, 0, 1e9, 0, 1, 0}, 1), zypStsRoiTooSmallErr);
    EXPECT_EQ(run(true, true, {6, 6}, whole, whole, {1, 0, 1e300, 0, 1, 0}, 1), zypStsSingularTransformErr)
        << "corners coincide";
    EXPECT_EQ(run(true, true, {6, 6}, whole, whole, {0, 1, 0, 1, 0, 0}, 1), zypStsNoErr);
    EXPECT_EQ(run(true, true, {6, 6}, whole, whole, identity, 1 | zyprSmoothEdgeFlag), zypStsNoErr);
}

TYPED_TEST(PlaneWarpOf, AMatrixIsSingularWhenItsProductsCancelBesideTheFirst) {
    PlaneWarp<TypeParam> w(TestPlane<TypeParam>(6, 6), 8, 8);
    const auto isSingular = [&](double a, double b, double c, double d) {
        const zypStatus status = w.run({a, b, 0, c, d, 0}, 1);
        EXPECT_TRUE(status == zypStsSingularTransformErr || status >= zypStsNoErr);
        return status == zypStsSingularTransformErr;
    };
    EXPECT_TRUE(isSingular(1, 1, 1 - 5e-11, 1));
    EXPECT_FALSE(isSingular(1, 1, 1 - 2e-10, 1));
    EXPECT_TRUE(isSingular(1e3, 1e3, 1e3 * (1 - 5e-11), 1e3)) << "relative to the first product";
    EXPECT_FALSE(isSingular(1e-6, 0, 0, 1e-6));
    EXPECT_FALSE(isSingular(1e-6, 1, 1, 1e-6)) << "and to the first alone";
    EXPECT_TRUE(isSingular(1e-125, 1, 5e-11, 1e-125)) << "a first product of 1e-250 counts as nothing";
    EXPECT_FALSE(isSingular(1e-125, 1, 2e-10, 1e-125));
    EXPECT_FALSE(isSingular(1e-75, 1, 5e-11, 1e-75));
}

TYPED_TEST(PlaneWarpOf, NoMemoryForTheRowsIsTheOverlapWarningAndNothingLeaks) {
    PlaneWarp<TypeParam> w(TestPlane<TypeParam>(6, 6), 8, 8);
    CoreProbe::failingAllocation = 0;
    EXPECT_EQ(w.run(identity, 4), zypStsNoQuadOverlapWrn);
    CoreProbe::reset();
    CoreProbe::failingAllocation = 1;
    EXPECT_EQ(w.run(identity, 4), zypStsAllocFailErr) << "the positions of one row";
    for (const TypeParam sample : w.dst.samples) EXPECT_EQ(sample, 77);
    CoreProbe::reset();
    EXPECT_EQ(w.run(identity, 4), zypStsNoErr);
    EXPECT_EQ(CoreProbe::requests(), (std::vector<int32_t>{6 * 8, 8 * 8})) << "a pair for each row, two floats for each column";
    for (const uint32_t mode : {1u, 2u, 6u}) {
        CoreProbe::reset();
        EXPECT_EQ(w.run(identity, mode), zypStsNoErr);
        EXPECT_EQ(CoreProbe::requests(), (std::vector<int32_t>{6 * 8}));
    }
}

TYPED_TEST(PlaneWarpOf, WildMatricesTouchNoForeignMemory) {
    Random random(78);
    PlaneWarp<TypeParam> w(TestPlane<TypeParam>::random(random, 7, 7), 9, 9);
    for (const uint32_t mode : warpModes) {
        for (const double value :
             {double(NAN), double(INFINITY), -double(INFINITY), 1e300, -1e300, 1e160, 1e30, 4e9, 1e-12, 1e-30}) {
            for (size_t k = 0; k < 6; ++k) {
                Matrix m = identity;
                m[k] = value;
                w.run(m, mode);
                m[k == 0 ? 1 : 0] = value;
                w.run(m, mode);
                EXPECT_TRUE(w.dst.samples.surroundingsIntact());
            }
        }
    }
}

template <class Sample> Sample halfWayBetweenZeroAndOne() {
    PlaneWarp<Sample> w(TestPlane<Sample>(6, 6), 6, 6);
    for (int32_t j = 0; j < 6; ++j)
        for (int32_t i = 0; i < 6; ++i) w.src.at(i, j) = static_cast<Sample>(i & 1);
    EXPECT_EQ(w.run({1, 0, 0.5, 0, 1, 0}, 2), zypStsNoErr);
    return w.dst.at(1, 2);
}

TEST(PlaneWarp, LinearRoundsHalvesUpIn8uAndToEvenIn16u) {
    CoreProbeScope probe;
    EXPECT_EQ(halfWayBetweenZeroAndOne<uint8_t>(), 1);
    EXPECT_EQ(halfWayBetweenZeroAndOne<uint16_t>(), 0);
    EXPECT_EQ(halfWayBetweenZeroAndOne<float>(), 0.5f);
}

// At 2 - 1e-12 the pair is that of 1, with the fraction 1, though as a float the position is 2.
TEST(PlaneWarp, LinearTruncatesPositionsAsDoublesIn32f) {
    CoreProbeScope probe;
    PlaneWarp<float> w(TestPlane<float>(30, 4), 30, 4);
    for (int32_t j = 0; j < 4; ++j)
        for (int32_t i = 0; i < 30; ++i) w.src.at(i, j) = static_cast<float>(i & 1);
    EXPECT_EQ(w.run({1, 0, 1e-12, 0, 1, 0}, 2), zypStsNoErr);
    for (int32_t j = 0; j < 4; ++j)
        for (int32_t i = 1; i < 30; ++i) EXPECT_EQ(w.dst.at(i, j), static_cast<float>(i & 1)) << i;
}

// ---- Spans --------------------------------------------------------------------------------------------------------------

RowSpan spanOf(double left, double right) {
    const PlanePolygon box = {4, {{left, 0}, {right, 0}, {right, 2}, {left, 2}}};
    RowSpan spans[3];
    fillSpans(box, {0, 2}, {0, 0, 100, 3}, spans);
    return spans[1];
}

TEST(PlaneWarpSpans, BordersHaveAToleranceOfTenToTheMinusThirteen) {
    EXPECT_EQ(spanOf(3, 7).first, 3);
    EXPECT_EQ(spanOf(3, 7).last, 7);
    EXPECT_EQ(spanOf(3 + 1e-14, 7 - 1e-14).first, 3);
    EXPECT_EQ(spanOf(3 + 1e-14, 7 - 1e-14).last, 7);
    EXPECT_EQ(spanOf(3 + 0.9e-13, 7 - 0.9e-13).first, 3);
    EXPECT_EQ(spanOf(3 + 0.9e-13, 7 - 0.9e-13).last, 7);
    EXPECT_EQ(spanOf(3 + 1.1e-13, 7 - 1.1e-13).first, 4);
    EXPECT_EQ(spanOf(3 + 1.1e-13, 7 - 1.1e-13).last, 6);
    EXPECT_EQ(spanOf(3 + 1e-12, 7 - 1e-12).first, 4);
    EXPECT_EQ(spanOf(3 + 1e-12, 7 - 1e-12).last, 6);
    EXPECT_EQ(spanOf(3 - 1e-12, 7 + 1e-12).first, 3);
    EXPECT_EQ(spanOf(3 - 1e-12, 7 + 1e-12).last, 7);
    EXPECT_LT(spanOf(3.2, 3.8).last, spanOf(3.2, 3.8).first);
}

// The left edge meets row 3 at 0.99e-13, but at 1.14e-13 when its product is rounded.
TEST(PlaneWarpSpans, EdgesAreFollowedInOneStep) {
    const PlanePolygon polygon = {4, {{-345.59999999999991, 0}, {900, 0}, {900, 5}, {230.40000000000009, 5}}};
    RowSpan spans[6];
    fillSpans(polygon, {0, 5}, {0, 0, 2000, 6}, spans);
    EXPECT_EQ(spans[3].first, 0);
}

TEST(PlaneWarpSpans, CornersAreMappedInFusedSteps) {
    const PlanePolygon corners = quadrangleOf({3, 7, 2, 3}, {{{0.1, 0, -0.3}, {0, 0.1, -0.7}}});
    EXPECT_EQ(corners.vertex[0].x, std::fma(0.1, 3, -0.3));
    EXPECT_EQ(corners.vertex[0].y, std::fma(0.1, 7, -0.7));
    EXPECT_NE(corners.vertex[0].x, 0.1 * 3 - 0.3);
}

TEST(PlaneWarpSpans, TheInverseIsFormedFromThreeCornersAsWritten) {
    Random random(80);
    for (int round = 0; round < 100; ++round) {
        const ZyprPlaneRect r = {random.integer(0, 9), random.integer(0, 9), random.integer(2, 90), random.integer(2, 90)};
        Matrix m;
        for (double &value : m) value = random.real(-3, 3);
        const PlaneAffine inverse = inverseOf(quadrangleOf(r, {{{m[0], m[1], m[2]}, {m[3], m[4], m[5]}}}), r);
        const Matrix expected = modelInverse(m, r);
        for (size_t k = 0; k < 6; ++k) EXPECT_EQ(inverse.a[k / 3][k % 3], expected[k]);
    }
}

TEST(PlaneWarpSpans, ClippingSetsCutCoordinatesToTheBorderExactly) {
    const PlanePolygon diamond = {4, {{5, -3.3}, {13.7, 5}, {5, 13.1}, {-3.9, 5}}};
    const PlanePolygon clipped = clippedTo({0, 0, 11, 11}, diamond);
    EXPECT_EQ(clipped.count, 8);
    for (int32_t k = 0; k < clipped.count; ++k) {
        const PlanePoint p = clipped.vertex[k];
        EXPECT_TRUE(p.x == 0 || p.x == 10 || p.y == 0 || p.y == 10);
        EXPECT_TRUE(p.x >= 0 && p.x <= 10 && p.y >= 0 && p.y <= 10);
    }
    EXPECT_EQ(clippedTo({20, 20, 3, 3}, diamond).count, 0);
}

} // namespace
} // namespace zypr::test
