#include "frame/memory.h"

#include <gtest/gtest.h>

#include "support/core_probe.h"
#include "support/guarded_array.h"

using zypr::test::CoreProbe;
using zypr::test::CoreProbeScope;
using zypr::test::GuardedArray;

TEST(AllocationWrappers, GiveNullBelowOneWithoutCallingTheAllocator) {
    const CoreProbeScope scope;
    for (const int32_t count : {0, -1, INT32_MIN}) {
        EXPECT_EQ(zyprAllocQwords(count), nullptr);
        EXPECT_EQ(zyprAllocDwords(count), nullptr);
        EXPECT_EQ(zyprAllocBytes(count), nullptr);
    }
    EXPECT_TRUE(CoreProbe::requests().empty());
}

TEST(AllocationWrappers, AskForCountTimesElementSizeFormedIn32Bits) {
    const CoreProbeScope scope;
    zyprFreeBlock(zyprAllocQwords(3));
    zyprFreeBlock(zyprAllocDwords(3));
    zyprFreeBlock(zyprAllocBytes(3));
    zyprFreeBlock(zyprAllocQwords(0x20000001)); // wraps to 8
    zyprFreeBlock(zyprAllocDwords(0x40000001)); // wraps to 4
    EXPECT_EQ(CoreProbe::requests(), (std::vector<int32_t>{24, 12, 3, 8, 4}));
}

TEST(ClearBlock, NullComesBeforeTheCount) {
    EXPECT_EQ(zyprClearBlock16(nullptr, 0), zypStsNullPtrErr);
    EXPECT_EQ(zyprClearBlock32(nullptr, 0), zypStsNullPtrErr);
}

TEST(ClearBlock, CountsBelowOneAreRefusedWithNothingWritten) {
    uint32_t word = 7;
    EXPECT_EQ(zyprClearBlock16(&word, 0), zypStsSizeErr);
    EXPECT_EQ(zyprClearBlock32(&word, -1), zypStsSizeErr);
    EXPECT_EQ(word, 7u);
}

TEST(ClearBlock, ClearsExactlyTheBlockAtEverySizeAndAlignment) {
    const CoreProbeScope scope;
    for (int32_t count = 1; count < 200; ++count) {
        for (size_t misalignment = 0; misalignment < 64; misalignment += 2) {
            GuardedArray<uint16_t> block(static_cast<size_t>(count), misalignment);
            ASSERT_EQ(zyprClearBlock16(block.data(), count), zypStsNoErr);
            for (const uint16_t element : block) ASSERT_EQ(element, 0);
            ASSERT_TRUE(block.surroundingsIntact());
        }
    }
    EXPECT_EQ(CoreProbe::cacheQueries, 0);
}

TEST(ClearBlock, AsksForTheCacheSizeOnlyAbove2097152Bytes) {
    const CoreProbeScope scope;
    std::vector<uint32_t> block(2097152 / 4 + 1, 1);
    EXPECT_EQ(zyprClearBlock32(block.data(), 2097152 / 4), zypStsNoErr);
    EXPECT_EQ(CoreProbe::cacheQueries, 0);
    EXPECT_EQ(block.back(), 1u);
    EXPECT_EQ(zyprClearBlock32(block.data(), 2097152 / 4 + 1), zypStsNoErr);
    EXPECT_EQ(CoreProbe::cacheQueries, 1);
    EXPECT_EQ(block.back(), 0u);
}

TEST(ClearBlock, LargeBlocksAreClearedExactlyWhateverTheCacheIsSaidToBe) {
    const CoreProbeScope scope;
    struct Answer {
        int32_t status, size;
    };
    for (const Answer answer : {Answer{0, 1 << 20}, Answer{0, 1 << 30}, Answer{0, 0}, Answer{-1, 1 << 20}}) {
        CoreProbe::cacheStatus = answer.status;
        CoreProbe::cacheSize = answer.size;
        for (size_t misalignment = 0; misalignment < 64; misalignment += 6) {
            for (const size_t extra : {1u, 9u, 16u, 17u, 31u, 32u, 33u, 47u, 63u}) {
                GuardedArray<uint16_t> block((2097152 + 64) / 2 + extra, misalignment);
                ASSERT_EQ(zyprClearBlock16(block.data(), static_cast<int32_t>(block.size())), zypStsNoErr);
                ASSERT_TRUE(std::all_of(block.begin(), block.end(), [](uint16_t element) { return element == 0; }));
                ASSERT_TRUE(block.surroundingsIntact());
            }
        }
    }
}
