// The volume filter's checks, their order, and the scratch size.

#include <gtest/gtest.h>

#include "support/core_probe.h"
#include "support/guarded_array.h"
#include "zypr.h"

namespace {

using namespace zypr::test;

class FilterBufSize : public testing::Test {
protected:
    CoreProbeScope core;
    ZyprVolumeExtent dst{16, 16, 16}, kernel{3, 3, 3};
    int32_t size = 4711;

    zypStatus query(int32_t channels = 1) { return zyprFilterGetBufSize(&dst, &kernel, channels, &size); }
    int32_t sizeFor(ZyprVolumeExtent dstExtent, ZyprVolumeExtent kernelExtent) {
        EXPECT_EQ(zyprFilterGetBufSize(&dstExtent, &kernelExtent, 1, &size), zypStsNoErr);
        return size;
    }
};

TEST_F(FilterBufSize, CountsPairsOfCoefficientsARowAndSlack) {
    EXPECT_EQ(sizeFor({16, 1, 1}, {3, 3, 3}), 32 * 2 * 9 + 4 * 16 + 64);
    EXPECT_EQ(sizeFor({17, 9, 9}, {3, 3, 3}), 32 * 2 * 9 + 4 * 32 + 64);
    EXPECT_EQ(sizeFor({1, 1, 1}, {1, 1, 1}), 32 + 4 * 16 + 64);
    EXPECT_EQ(sizeFor({32, 1, 1}, {5, 4, 7}), 32 * 3 * 28 + 4 * 32 + 64);
    EXPECT_EQ(sizeFor({33, 1, 1}, {6, 1, 2}), 32 * 3 * 2 + 4 * 48 + 64);
}

TEST_F(FilterBufSize, MultipliesByTheThreadCount) {
    for (const int32_t threads : {1, 2, 3, 16, 0, -1}) {
        CoreProbe::threads = threads;
        EXPECT_EQ(sizeFor({16, 1, 1}, {3, 3, 3}), threads * (32 * 2 * 9 + 4 * 16 + 64));
    }
}

TEST_F(FilterBufSize, WrapsInThirtyTwoBits) {
    EXPECT_EQ(sizeFor({1, 1, 1}, {1, 1 << 27, 1}), 128);
    EXPECT_EQ(sizeFor({1, 1, 1}, {INT32_MAX, 1, 1}), 128);
    EXPECT_EQ(sizeFor({1 << 30, 1, 1}, {1, 1, 1}), 32 + 64);
    EXPECT_EQ(sizeFor({INT32_MAX, 1, 1}, {1, 1, 1}), 32 + 64);
    CoreProbe::threads = 1 << 27;
    EXPECT_EQ(sizeFor({1, 1, 1}, {1, 1, 1}), 0);
}

TEST_F(FilterBufSize, RefusesANullSizeBeforeAllElse) {
    dst.width = 0;
    EXPECT_EQ(zyprFilterGetBufSize(&dst, &kernel, 2, nullptr), zypStsNullPtrErr);
}

TEST_F(FilterBufSize, RefusesEveryExtentBelowOneBeforeTheChannels) {
    for (ZyprVolumeExtent *extent : {&dst, &kernel}) {
        for (int32_t *side : {&extent->width, &extent->height, &extent->depth}) {
            for (const int32_t bad : {0, -1, INT32_MIN}) {
                const int32_t good = *side;
                *side = bad;
                EXPECT_EQ(query(2), zypStsSizeErr);
                *side = good;
            }
        }
    }
    EXPECT_EQ(size, 4711);
}

TEST_F(FilterBufSize, RefusesChannelsOtherThanOne) {
    for (const int32_t channels : {0, 2, 3, -1}) EXPECT_EQ(query(channels), zypStsChannelCountErr);
    EXPECT_EQ(size, 4711);
    EXPECT_EQ(query(1), zypStsNoErr);
}

class FilterChecks : public testing::Test {
protected:
    CoreProbeScope core;
    std::vector<int16_t> source = std::vector<int16_t>(18 * 3, 3);
    GuardedArray<int16_t> result{16};
    const int16_t *srcPlanes[3] = {source.data() + 19, source.data() + 19, source.data() + 19};
    int16_t *dstPlanes[1] = {result.data()};
    ZyprVolumeExtent dst{16, 1, 1}, kernel{3, 3, 3};
    std::vector<int32_t> taps = std::vector<int32_t>(27, 1);
    int32_t origin[3] = {1, 1, 1};
    int32_t divisor = 27;
    std::vector<uint8_t> scratch = std::vector<uint8_t>(4096);

    const int16_t *const *src = srcPlanes + 1;
    int16_t *const *target = dstPlanes;
    const int32_t *coefficients = taps.data();
    uint8_t *buffer = scratch.data();

    FilterChecks() { std::fill(result.begin(), result.end(), int16_t{-1}); }

    zypStatus call() { return zyprFilter_16s_C1PV(src, 36, target, 32, &dst, coefficients, &kernel, origin, divisor, buffer); }
    void expectRefused(zypStatus status) {
        EXPECT_EQ(call(), status);
        EXPECT_EQ(result.values(), std::vector<int16_t>(16, -1));
        EXPECT_TRUE(result.surroundingsIntact());
    }
};

TEST_F(FilterChecks, PassForGoodArguments) {
    EXPECT_EQ(call(), zypStsNoErr);
    EXPECT_EQ(result.values(), std::vector<int16_t>(16, 3));
}

TEST_F(FilterChecks, RefuseNullPointersBeforeSizes) {
    dst.width = kernel.width = divisor = 0;
    src = nullptr;
    expectRefused(zypStsNullPtrErr);
    src = srcPlanes + 1;
    target = nullptr;
    expectRefused(zypStsNullPtrErr);
    target = dstPlanes;
    coefficients = nullptr;
    expectRefused(zypStsNullPtrErr);
    coefficients = taps.data();
    buffer = nullptr;
    expectRefused(zypStsNullPtrErr);
}

TEST_F(FilterChecks, RefuseEveryExtentBelowOne) {
    for (ZyprVolumeExtent *extent : {&dst, &kernel}) {
        for (int32_t *side : {&extent->width, &extent->height, &extent->depth}) {
            for (const int32_t bad : {0, -1, INT32_MIN}) {
                const int32_t good = *side;
                *side = bad;
                expectRefused(zypStsSizeErr);
                *side = good;
            }
        }
    }
}

TEST_F(FilterChecks, RefuseADivisorOfZeroWithoutDividing) {
    divisor = 0;
    expectRefused(zypStsSizeErr);
}

TEST_F(FilterChecks, TakeAnyOriginAndDivisorOtherThanZero) {
    for (const int32_t any : {1, -1, INT32_MIN, INT32_MAX}) {
        divisor = any;
        EXPECT_EQ(call(), zypStsNoErr);
    }
}

} // namespace
