// The plane copies: checks, the choice of engine and of stores, and every byte at all sizes and alignments.

#include "plane/copy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "processor_caches.h"
#include "support/bits.h"
#include "support/core_probe.h"
#include "support/guarded_array.h"

using namespace zypr;
using namespace zypr::test;

namespace {

zypStatus copy(const uint8_t *src, int32_t srcStep, uint8_t *dst, int32_t dstStep, ZyprPlaneSize size) {
    return zyprPlaneCopy_8u_C1(src, srcStep, dst, dstStep, size);
}
zypStatus copy(const uint16_t *src, int32_t srcStep, uint16_t *dst, int32_t dstStep, ZyprPlaneSize size) {
    return zyprPlaneCopy_16u_C1(src, srcStep, dst, dstStep, size);
}
zypStatus copy(const float *src, int32_t srcStep, float *dst, int32_t dstStep, ZyprPlaneSize size) {
    return zyprPlaneCopy_32f_C1(src, srcStep, dst, dstStep, size);
}

template <class Sample> class PlaneCopy : public testing::Test {};
using Samples = testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(PlaneCopy, Samples);

std::vector<uint8_t> scrambledBytes(size_t count) {
    std::vector<uint8_t> bytes(count);
    for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(static_cast<uint32_t>(i) * 2654435761u >> 24);
    return bytes;
}

// Copies rows between guarded arrays and compares every byte, those between the rows included.
template <class Engine>
void expectCopied(const Engine &engine, int64_t rowBytes, int32_t rows, int32_t srcGap, int32_t dstGap, size_t srcAt,
                  size_t dstAt) {
    const auto row = static_cast<size_t>(rowBytes);
    const size_t srcStep = row + static_cast<size_t>(srcGap), dstStep = row + static_cast<size_t>(dstGap);
    const std::vector<uint8_t> bytes = scrambledBytes(srcStep * static_cast<size_t>(rows - 1) + row);
    const GuardedArray<uint8_t> src(bytes, srcAt);
    std::vector<uint8_t> expected(dstStep * static_cast<size_t>(rows - 1) + row, 0x5A);
    GuardedArray<uint8_t> dst(expected, dstAt);
    for (size_t y = 0; y < static_cast<size_t>(rows); ++y)
        std::copy_n(bytes.begin() + static_cast<ptrdiff_t>(y * srcStep), row,
                    expected.begin() + static_cast<ptrdiff_t>(y * dstStep));
    engine(PlaneBytes(src.data(), static_cast<int32_t>(srcStep), dst.data(), static_cast<int32_t>(dstStep), rowBytes, rows));
    ASSERT_TRUE(equalBits(dst, expected)) << rowBytes << " bytes, " << rows << " rows, from " << srcAt << " to " << dstAt;
    ASSERT_TRUE(dst.surroundingsIntact());
}

PlaneBytes planeOf(int64_t rowBytes, int32_t rows) {
    static uint8_t byte;
    return PlaneBytes(&byte, -1, &byte, -1, rowBytes, rows);
}

constexpr CacheDescriptors describing(uint32_t eax, uint32_t ebx = 0, uint32_t ecx = 0, uint32_t edx = 0) {
    return {{0x756E6547, 0x49656E69, 0x6C65746E}, {eax, ebx, ecx, edx}};
}

} // namespace

TYPED_TEST(PlaneCopy, RefusesNullPlanesAndThenEmptySizes) {
    TypeParam sample{};
    EXPECT_EQ(copy(static_cast<const TypeParam *>(nullptr), 8, &sample, 8, {0, 0}), zypStsNullPtrErr);
    EXPECT_EQ(copy(&sample, 8, static_cast<TypeParam *>(nullptr), 8, {0, 0}), zypStsNullPtrErr);
    TypeParam other{};
    for (const ZyprPlaneSize size : {ZyprPlaneSize{0, 1}, {1, 0}, {-1, 1}, {1, -1}})
        EXPECT_EQ(copy(&sample, 8, &other, 8, size), zypStsSizeErr);
}

TYPED_TEST(PlaneCopy, CopiesEverySmallSizeAndLeavesTheGaps) {
    const CoreProbeScope probe;
    for (int32_t width = 1; width <= 70; ++width)
        for (const int32_t gap : {0, 1, 5}) {
            const auto samples = static_cast<size_t>((width + gap) * 3);
            std::vector<TypeParam> from(samples), expected(samples, TypeParam(99));
            std::iota(from.begin(), from.end(), TypeParam(1));
            const GuardedArray<TypeParam> src(from);
            GuardedArray<TypeParam> dst(expected);
            const auto step = static_cast<int32_t>(sizeof(TypeParam)) * (width + gap);
            for (int32_t y = 0; y < 3; ++y)
                for (int32_t x = 0; x < width; ++x) {
                    const auto at = static_cast<size_t>(y * (width + gap) + x);
                    expected[at] = from[at];
                }
            EXPECT_EQ(copy(src.data(), step, dst.data(), step, {width, 3}), zypStsNoErr);
            ASSERT_TRUE(equalBits(dst, expected)) << width;
        }
}

TEST(PlaneCopyEngines, CopyEveryLengthAtEveryAlignment) {
    const CoreProbeScope probe;
    for (int64_t rowBytes = 1; rowBytes <= 300; ++rowBytes)
        for (const size_t dstAt : {0, 1, 15, 16, 31, 33, 63})
            expectCopied(planeCopyCached, rowBytes, 3, 7, 11, static_cast<size_t>(rowBytes % 64), dstAt);
    for (size_t at = 0; at < 64; ++at) expectCopied(planeCopyCached, 1000, 2, 3, 0, 5, at);
}

TEST(PlaneCopyEngines, StreamEveryRemainderAtEveryAlignment) {
    const CoreProbeScope probe;
    CoreProbe::cacheSize = 1 << 20;
    for (const size_t at : {0, 1, 15, 16, 30, 33, 63}) {
        const auto odd = static_cast<int64_t>(at);
        ASSERT_TRUE(largeCopyStreams(planeOf(70000 + odd, 31)));
        expectCopied(planeCopyLarge, 70000 + odd, 31, 13, 29, 64 - at - 1, at);
        expectCopied(planeCopyLarge, 2170000 + odd, 1, 0, 0, 64 - at - 1, at);
        expectCopied(planeCopyInBlocks, 70000 + odd, 31, 13, 29, 64 - at - 1, at);
        expectCopied(planeCopyInBlocks, 2170000 + odd, 1, 0, 0, 64 - at - 1, at);
        expectCopied(planeCopyInBlocks, 64 + odd, 20000, 13, 29, 64 - at - 1, at);
    }
    for (int64_t rowBytes = 128; rowBytes < 260; rowBytes += 3)
        expectCopied(planeCopyLarge, rowBytes, 17000, 3, 5, 1, static_cast<size_t>(rowBytes % 64));
}

TEST(PlaneCopyChoice, APlaneWithoutGapsIsOneRow) {
    uint8_t byte = 0;
    const PlaneBytes joined(&byte, 10, &byte, 10, 10, 1 << 30), apart(&byte, 10, &byte, 11, 10, 3),
        skewed(&byte, 11, &byte, 10, 10, 3);
    EXPECT_EQ(joined.rows, 1);
    EXPECT_EQ(joined.rowBytes, int64_t{10} << 30);
    EXPECT_EQ(apart.rows, 3);
    EXPECT_EQ(skewed.rows, 3);
}

TEST(PlaneCopyChoice, WidthDecidesTheEngine) {
    EXPECT_EQ(copyEngine(1, 1023), CopyEngine::cached);
    EXPECT_EQ(copyEngine(1, 1024), CopyEngine::large);
    EXPECT_EQ(copyEngine(2, 511), CopyEngine::cached);
    EXPECT_EQ(copyEngine(2, 512), CopyEngine::large);
    EXPECT_EQ(copyEngine(2, INT32_MAX), CopyEngine::large);
    EXPECT_EQ(copyEngine(4, 1), CopyEngine::probed);
    EXPECT_EQ(copyEngine(4, INT32_MAX), CopyEngine::probed);
}

TEST(PlaneCopyChoice, ANarrowPlaneOfBytesNeverAsksForTheCache) {
    const CoreProbeScope probe;
    CoreProbe::cacheSize = 1;
    const std::vector<uint8_t> src(1023 * 3000, 4);
    std::vector<uint8_t> dst(src.size());
    EXPECT_EQ(zyprPlaneCopy_8u_C1(src.data(), 1023, dst.data(), 1023, {1023, 3000}), zypStsNoErr);
    EXPECT_EQ(CoreProbe::cacheQueries, 0);
    EXPECT_EQ(dst, src);
}

TEST(PlaneCopyChoice, LargeCopiesStreamWhenBothPlanesExceedTheCache) {
    const CoreProbeScope probe;
    CoreProbe::cacheSize = 4194304;
    EXPECT_FALSE(largeCopyStreams(planeOf(2097152, 1))); // 2 x 2097152 is below 4194305
    EXPECT_EQ(CoreProbe::cacheQueries, 0);
    EXPECT_TRUE(largeCopyStreams(planeOf(2097153, 1)));
    EXPECT_EQ(CoreProbe::cacheQueries, 1);
    CoreProbe::cacheSize = 2 * 2097153;
    EXPECT_FALSE(largeCopyStreams(planeOf(2097153, 1)));
    CoreProbe::cacheSize = 2 * 2097153 - 1;
    EXPECT_TRUE(largeCopyStreams(planeOf(2097153, 1)));
    CoreProbe::cacheStatus = -1;
    EXPECT_FALSE(largeCopyStreams(planeOf(2097153, 1)));
}

TEST(PlaneCopyChoice, LargeCopiesOfShortRowsDoNotStreamUnlessTheRowsJoin) {
    const CoreProbeScope probe;
    CoreProbe::cacheSize = 1;
    EXPECT_FALSE(largeCopyStreams(planeOf(127, 1000000)));
    EXPECT_TRUE(largeCopyStreams(planeOf(128, 1000000)));
    uint8_t byte = 0;
    EXPECT_TRUE(largeCopyStreams(PlaneBytes(&byte, 1, &byte, 1, 1, 100000000)));
}

// Where the descriptors mean nothing, that of the processor's largest cache.
TEST(PlaneCopyChoice, ProbedCopiesStreamFromHalfTheCacheOn) {
    const int64_t described = describedCacheSize(readCacheDescriptors());
    const int64_t cacheSize = described != 0 ? described : largestCache();
    const int64_t least = std::max(cacheSize / 2, int64_t{1} << 20);
    EXPECT_FALSE(probedCopyStreams(planeOf(least - 1, 1)));
    EXPECT_EQ(probedCopyStreams(planeOf(least, 1)), cacheSize > 0);
    EXPECT_EQ(probedCopyStreams(planeOf(int64_t{1} << 40, 1)), cacheSize > 0);
    EXPECT_EQ(probedCopyStreams(planeOf(64, 1 << 30)), cacheSize > 0);
    EXPECT_FALSE(probedCopyStreams(planeOf(63, 1 << 30)));
}

TEST(PlaneCopyChoice, ProbedCopiesNeverAskTheCoreLibrary) {
    const CoreProbeScope probe;
    CoreProbe::cacheSize = 1;
    for (const int32_t rowBytes : {1 << 16, 1 << 20, 1 << 23}) expectCopied(planeCopyProbed, rowBytes, 2, 3, 5, 1, 2);
    EXPECT_EQ(CoreProbe::cacheQueries, 0);
}

TEST(CacheDescriptors, NameTheCacheOfTheFirstRowThatMatches) {
    EXPECT_EQ(describedCacheSize(describing(0x0000EC01)), 24 << 20);
    EXPECT_EQ(describedCacheSize(describing(0x00EB0001)), 18 << 20);
    EXPECT_EQ(describedCacheSize(describing(0x4D000001)), 16 << 20);
    EXPECT_EQ(describedCacheSize(describing(1, 0xEA)), 12 << 20);
    EXPECT_EQ(describedCacheSize(describing(1, 0, 0x4C00)), 12 << 20);
    EXPECT_EQ(describedCacheSize(describing(1, 0, 0, 0x47000000)), 8 << 20);
    EXPECT_EQ(describedCacheSize(describing(1, 0x43, 0x48)), 3 << 20); // the larger, though it comes later
    EXPECT_EQ(describedCacheSize(describing(1, 0x43)), 512 << 10);
    EXPECT_EQ(describedCacheSize(describing(1, 0x45)), 2 << 20);
    EXPECT_EQ(describedCacheSize(describing(1, 0x29)), 4 << 20);
    EXPECT_EQ(describedCacheSize(describing(1, 0x4A)), 6 << 20);
    EXPECT_EQ(describedCacheSize(describing(1, 0x84)), 1 << 20);
}

TEST(CacheDescriptors, MeanNothingFromAnotherVendorOrInAnotherForm) {
    CacheDescriptors other = describing(0x0000EC01);
    other.vendor[1] ^= 1;
    EXPECT_EQ(describedCacheSize(other), 0);
    EXPECT_EQ(describedCacheSize(describing(0x0000EC02)), 0); // the low byte must be 1
    EXPECT_EQ(describedCacheSize(describing(0x8000EC01)), 0); // bit 31: the register is empty
    EXPECT_EQ(describedCacheSize(describing(1, 0x800000EC)), 0);
    EXPECT_EQ(describedCacheSize(describing(1, 0xFF, 0xF0)), 0); // no such rows
    EXPECT_EQ(describedCacheSize(describing(0x00000001)), 0);
}
