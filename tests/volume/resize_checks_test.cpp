// What the resize functions refuse, in which order, and the sizes that they report.

#include <gtest/gtest.h>

#include <array>
#include <limits>

#include "support/core_probe.h"
#include "volume/resize_case.h"

using namespace zypr::test;

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr int32_t most = std::numeric_limits<int32_t>::max();

std::array<int32_t, 6> fieldsOf(const ZyprVoxelCuboid &c) { return {c.x, c.y, c.z, c.width, c.height, c.depth}; }

int32_t &field(ZyprVoxelCuboid &cuboid, int k) {
    int32_t *const fields[] = {&cuboid.x, &cuboid.width, &cuboid.y, &cuboid.height, &cuboid.z, &cuboid.depth};
    return *fields[k];
}
int32_t &field(ZyprVolumeExtent &extent, int k) {
    int32_t *const fields[] = {&extent.width, &extent.height, &extent.depth};
    return *fields[k];
}

// The arguments of zyprGetResizeCuboid.
struct CuboidCall {
    ZyprVoxelCuboid src{0, 0, 0, 4, 4, 4};
    double scale[3] = {2, 2, 2}, shift[3] = {0, 0, 0};
    ZyprInterpolation mode = zyprInterLinear;
    ZyprVoxelCuboid result{-7, -7, -7, -7, -7, -7};

    zypStatus run() {
        return zyprGetResizeCuboid(&src, &result, scale[0], scale[1], scale[2], shift[0], shift[1], shift[2], mode);
    }
    bool isUntouched() const { return fieldsOf(result) == std::array<int32_t, 6>{-7, -7, -7, -7, -7, -7}; }
};

// A valid resize of a volume of 4 x 4 x 4 into one of 8 x 8 x 8.
template <class T> struct Arguments {
    ZyprVolumeExtent extent{4, 4, 4};
    ZyprVoxelCuboid src{0, 0, 0, 4, 4, 4}, dst{0, 0, 0, 8, 8, 8};
    double scale[3] = {2, 2, 2}, shift[3] = {0, 0, 0};
    ZyprInterpolation mode = zyprInterLinear;
    bool hasSrc = true, hasDst = true, hasBuffer = true;
    std::vector<T> from = std::vector<T>(64, T(3)), to = std::vector<T>(512, untouchedSample<T>());
    std::vector<uint8_t> buffer = std::vector<uint8_t>(100000);

    zypStatus run(VolumeForm form) {
        const ResizeCall call{&extent,
                              4 * sizeof(T),
                              16 * sizeof(T),
                              &src,
                              8 * sizeof(T),
                              64 * sizeof(T),
                              &dst,
                              {scale[0], scale[1], scale[2]},
                              {shift[0], shift[1], shift[2]},
                              mode,
                              hasBuffer ? buffer.data() : nullptr};
        if (form == VolumeForm::contiguous) return resize(call, hasSrc ? from.data() : nullptr, hasDst ? to.data() : nullptr);
        std::array<const T *, 4> fromPlanes;
        std::array<T *, 8> toPlanes;
        for (size_t z = 0; z < 4; ++z) fromPlanes[z] = from.data() + 16 * z;
        for (size_t z = 0; z < 8; ++z) toPlanes[z] = to.data() + 64 * z;
        return resize(call, hasSrc ? fromPlanes.data() : nullptr, hasDst ? toPlanes.data() : nullptr);
    }
    bool isUntouched() const { return to == std::vector<T>(512, untouchedSample<T>()); }
};

// Runs `spoil` on valid arguments of all six functions and expects the status, with nothing written.
template <class Spoil> void expectRefused(zypStatus status, const Spoil &spoil) {
    const auto check = [&](auto arguments, VolumeForm form) {
        spoil(arguments);
        EXPECT_EQ(arguments.run(form), status);
        EXPECT_TRUE(arguments.isUntouched());
    };
    for (const VolumeForm form : {VolumeForm::contiguous, VolumeForm::planeArray}) {
        check(Arguments<uint8_t>(), form);
        check(Arguments<uint16_t>(), form);
        check(Arguments<float>(), form);
    }
}

} // namespace

// ---- zyprGetResizeCuboid ----------------------------------------------------------------------------------------------------

TEST(ResizeCuboid, DoublesACube) {
    CuboidCall call;
    EXPECT_EQ(call.run(), zypStsNoErr);
    EXPECT_EQ(fieldsOf(call.result), (std::array<int32_t, 6>{0, 0, 0, 8, 8, 8}));
}

TEST(ResizeCuboid, RoundsAHalfDownAtTheLowEdgeAndUpAtTheHighEdge) {
    CuboidCall call;
    call.src = {1, 1, 1, 2, 2, 2};
    for (double &scale : call.scale) scale = 1.5; // 1.5 to 4.5
    EXPECT_EQ(call.run(), zypStsNoErr);
    EXPECT_EQ(fieldsOf(call.result), (std::array<int32_t, 6>{1, 1, 1, 4, 4, 4}));
}

TEST(ResizeCuboid, TreatsEachAxisOnItsOwnAndTrimsToNothing) {
    CuboidCall call;
    call.src = {10, 20, 30, 5, 6, 7};
    call.scale[0] = 1, call.scale[1] = 3, call.scale[2] = 10;
    call.shift[0] = -12, call.shift[1] = 0.25, call.shift[2] = 1000;
    EXPECT_EQ(call.run(), zypStsNoErr);
    EXPECT_EQ(fieldsOf(call.result), (std::array<int32_t, 6>{0, 60, 1300, 3, 18, 70}));
}

TEST(ResizeCuboid, AShiftBelowZeroLeavesNothing) {
    for (int axis = 0; axis < 3; ++axis) {
        CuboidCall call;
        call.shift[axis] = -100;
        EXPECT_EQ(call.run(), zypStsEmptyCuboidWrn);
        EXPECT_TRUE(call.isUntouched());
    }
}

TEST(ResizeCuboid, AFactorThatIsNotANumberPassesTheCheckAndLeavesNothing) {
    for (int axis = 0; axis < 3; ++axis) {
        CuboidCall call;
        call.scale[axis] = notANumber;
        EXPECT_EQ(call.run(), zypStsEmptyCuboidWrn);
        EXPECT_TRUE(call.isUntouched());
    }
}

TEST(ResizeCuboid, SurvivesHugeAndOddNumbers) {
    for (const double scale : {1e-300, 1e-9, 1e9, 1e300, infinity})
        for (const double shift : {-infinity, -1e300, -1e9, 1e9, 1e300, infinity, notANumber}) {
            CuboidCall call;
            call.src = {most, most, most, most, most, most};
            for (int k = 0; k < 3; ++k) call.scale[k] = scale, call.shift[k] = shift;
            const zypStatus status = call.run();
            EXPECT_TRUE(status == zypStsNoErr || status == zypStsEmptyCuboidWrn);
            EXPECT_EQ(call.isUntouched(), status == zypStsEmptyCuboidWrn);
        }
}

TEST(ResizeCuboid, ANullResultIsRefusedFirstAndTheSourceIsNotTested) {
    CuboidCall call;
    EXPECT_EQ(zyprGetResizeCuboid(nullptr, nullptr, -1, -1, -1, 0, 0, 0, 3), zypStsNullPtrErr);
    call.src.x = -1;
    EXPECT_EQ(zyprGetResizeCuboid(&call.src, nullptr, -1, -1, -1, 0, 0, 0, 3), zypStsNullPtrErr);
}

TEST(ResizeCuboid, EveryFieldOfTheSourceIsChecked) {
    for (int k = 0; k < 6; ++k) {
        CuboidCall call;
        field(call.src, k) = k % 2 == 0 ? -1 : 0;
        call.scale[0] = 0;
        EXPECT_EQ(call.run(), zypStsSizeErr);
        EXPECT_TRUE(call.isUntouched());
    }
}

TEST(ResizeCuboid, EveryFactorMustBeAboveZeroBeforeTheModeIsLookedAt) {
    for (int axis = 0; axis < 3; ++axis)
        for (const double scale : {0.0, -0.0, -1.0, -infinity}) {
            CuboidCall call;
            call.scale[axis] = scale;
            call.mode = 3;
            EXPECT_EQ(call.run(), zypStsScaleFactorErr);
            EXPECT_TRUE(call.isUntouched());
        }
}

TEST(ResizeCuboid, TakesTheSixModesOnly) {
    for (int32_t mode = -2; mode < 12; ++mode) {
        CuboidCall call;
        call.mode = mode;
        const bool known = mode == 1 || mode == 2 || (mode >= 4 && mode <= 7);
        EXPECT_EQ(call.run(), known ? zypStsNoErr : zypStsInterpolationModeErr) << mode;
        EXPECT_EQ(call.isUntouched(), !known);
    }
}

// ---- zyprResizeGetBufSize ---------------------------------------------------------------------------------------------------

namespace {

// The formulas, in exact arithmetic.
int64_t bufferBytes(int64_t w, int64_t h, int64_t d, ZyprInterpolation mode) {
    const auto up = [](int64_t n, int64_t to) { return (n + to - 1) / to * to; };
    const auto down64 = [](int64_t n) { return n / 64 * 64; };
    const int64_t t16 = 4 * (up(w, 16) + up(h, 16) + up(d, 16)), t64 = 4 * (up(w, 64) + up(h, 64) + up(d, 64));
    if (mode == zyprInterNearest) return t16 + 64;
    if (mode == zyprInterLinear)
        return t16 + t64 + 4 * down64(2 * w + 127) + 8 * h * up(w, 64) + 4 * down64(8 * (w + h) + 127) + 64;
    return t16 + t64 + 8 * down64(4 * w + 255) + 16 * h * up(w, 64) + 4 * down64(4 * h + 255) + 4 * down64(4 * d + 255) +
           4 * down64(128 * (w + h) + 255) + 64;
}

} // namespace

TEST(ResizeBufferSize, IsTheFormulaTimesTheThreads) {
    const CoreProbeScope probe;
    Random random(3);
    const ZyprVoxelCuboid src{0, 0, 0, 1, 1, 1};
    for (const int32_t threads : {1, 2, 3, 16}) {
        CoreProbe::threads = threads;
        for (const ZyprInterpolation mode : {1, 2, 4, 5, 6, 7})
            for (int trial = 0; trial < 50; ++trial) {
                const ZyprVoxelCuboid dst{random.integer(0, 9),   random.integer(0, 9),   random.integer(0, 9),
                                          random.integer(1, 300), random.integer(1, 300), random.integer(1, 300)};
                EXPECT_EQ(reportedBytes(src, dst, mode), threads * bufferBytes(dst.width, dst.height, dst.depth, mode));
            }
    }
    EXPECT_EQ(bufferBytes(1, 1, 1, zyprInterNearest), 256);
    EXPECT_EQ(bufferBytes(1, 1, 1, zyprInterLinear), 2560);
    EXPECT_EQ(bufferBytes(1, 1, 1, zyprInterCubicBC), 7936);
}

TEST(ResizeBufferSize, DoesNotDependOnTheSource) {
    const CoreProbeScope probe;
    const ZyprVoxelCuboid dst{1, 2, 3, 40, 50, 60};
    for (const ZyprInterpolation mode : {1, 2, 4, 5, 6, 7})
        EXPECT_EQ(reportedBytes({0, 0, 0, 1, 1, 1}, dst, mode), reportedBytes({5, 6, 7, most, most, most}, dst, mode));
}

TEST(ResizeBufferSize, ChecksTheResultThenTheCuboidsThenTheChannelsThenTheMode) {
    const CoreProbeScope probe;
    const ZyprVoxelCuboid good{0, 0, 0, 2, 2, 2};
    ZyprVoxelCuboid bad = good;
    bad.width = 0;
    int32_t size = -7;
    EXPECT_EQ(zyprResizeGetBufSize(&bad, &bad, 3, 3, nullptr), zypStsNullPtrErr);
    for (int k = 0; k < 6; ++k) {
        ZyprVoxelCuboid spoilt = good;
        field(spoilt, k) = k % 2 == 0 ? -1 : 0;
        EXPECT_EQ(zyprResizeGetBufSize(&spoilt, &good, 3, 3, &size), zypStsSizeErr);
        EXPECT_EQ(zyprResizeGetBufSize(&good, &spoilt, 3, 3, &size), zypStsSizeErr);
    }
    for (const int32_t channels : {-1, 0, 2, 3, 4}) {
        EXPECT_EQ(zyprResizeGetBufSize(&good, &good, channels, 2, &size), zypStsChannelCountErr);
        EXPECT_EQ(zyprResizeGetBufSize(&good, &good, channels, 3, &size), zypStsChannelCountErr);
    }
    for (const int32_t mode : {-1, 0, 3, 8, 100})
        EXPECT_EQ(zyprResizeGetBufSize(&good, &good, 1, mode, &size), zypStsInterpolationModeErr);
    EXPECT_EQ(size, -7);
}

// ---- The six functions ------------------------------------------------------------------------------------------------------

TEST(ResizeChecks, NullPointersComeFirst) {
    const CoreProbeScope probe;
    const auto spoilAll = [](auto &a) { a.extent.width = 0, a.src.x = -1, a.dst.x = -1, a.scale[0] = 0, a.mode = 3; };
    expectRefused(zypStsNullPtrErr, [&](auto &a) { spoilAll(a), a.hasSrc = false; });
    expectRefused(zypStsNullPtrErr, [&](auto &a) { spoilAll(a), a.hasDst = false; });
    expectRefused(zypStsNullPtrErr, [&](auto &a) { spoilAll(a), a.hasBuffer = false; });
}

TEST(ResizeChecks, SizesComeBeforeFactors) {
    const CoreProbeScope probe;
    for (int k = 0; k < 3; ++k)
        for (const int32_t size : {0, -1})
            expectRefused(zypStsSizeErr, [&](auto &a) { field(a.extent, k) = size, a.scale[0] = 0, a.mode = 3; });
    for (int k = 0; k < 6; ++k) {
        const int32_t wrong = k % 2 == 0 ? -1 : 0;
        expectRefused(zypStsSizeErr, [&](auto &a) { field(a.src, k) = wrong, a.scale[0] = 0, a.mode = 3; });
        expectRefused(zypStsSizeErr, [&](auto &a) { field(a.dst, k) = wrong, a.scale[0] = 0, a.mode = 3; });
    }
}

TEST(ResizeChecks, FactorsComeBeforeTheMode) {
    const CoreProbeScope probe;
    for (int axis = 0; axis < 3; ++axis)
        for (const double scale : {0.0, -0.0, -2.0, -infinity})
            expectRefused(zypStsScaleFactorErr, [&](auto &a) { a.scale[axis] = scale, a.mode = 3, a.src.x = 4; });
}

TEST(ResizeChecks, TheModeComesBeforeThePlaceOfTheSource) {
    const CoreProbeScope probe;
    for (const int32_t mode : {-1, 0, 3, 8, 1000})
        expectRefused(zypStsInterpolationModeErr, [&](auto &a) { a.mode = mode, a.src.x = 4; });
}

TEST(ResizeChecks, ASourceThatStartsOutsideIsAWarningBeforeEmptiness) {
    const CoreProbeScope probe;
    for (int k = 0; k < 6; k += 2)
        expectRefused(zypStsVolumeRoiOutsideWrn, [&](auto &a) { field(a.src, k) = 4, a.shift[0] = -1000; });
    expectRefused(zypStsVolumeRoiOutsideWrn, [&](auto &a) { a.src.y = most; });
}

TEST(ResizeChecks, ADestinationThatDoesNotMeetTheScaledSourceStaysUnchanged) {
    const CoreProbeScope probe;
    for (int axis = 0; axis < 3; ++axis) {
        expectRefused(zypStsEmptyCuboidWrn, [&](auto &a) { a.shift[axis] = 8; });
        expectRefused(zypStsEmptyCuboidWrn, [&](auto &a) { a.shift[axis] = -8; });
        expectRefused(zypStsEmptyCuboidWrn, [&](auto &a) { a.scale[axis] = 0.1; });
        expectRefused(zypStsEmptyCuboidWrn, [&](auto &a) { field(a.dst, 2 * axis) = 8; });
    }
}

TEST(ResizeChecks, WhatIsNotANumberOrLeavesTheRangeOfIntegersIsEmpty) {
    const CoreProbeScope probe;
    for (int axis = 0; axis < 3; ++axis) {
        for (const double shift : {notANumber, infinity, -infinity, 1e300, -1e300, 1e10, -1e10})
            expectRefused(zypStsEmptyCuboidWrn, [&](auto &a) { a.shift[axis] = shift; });
        expectRefused(zypStsEmptyCuboidWrn, [&](auto &a) { a.scale[axis] = notANumber; });
        expectRefused(zypStsEmptyCuboidWrn, [&](auto &a) { a.scale[axis] = infinity; });
        expectRefused(zypStsEmptyCuboidWrn, [&](auto &a) { a.scale[axis] = 1e-300; });
        expectRefused(zypStsEmptyCuboidWrn, [&](auto &a) { a.src.x = a.src.y = a.src.z = 1, a.scale[axis] = 1e300; });
    }
}
