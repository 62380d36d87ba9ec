#include <cpuid.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

#include "zypcore.h"

TEST(Malloc, GivesWritableBlocksAlignedTo64Bytes) {
    for (const int32_t bytes : {1, 63, 64, 65, 4096, 16777216}) {
        void *block = zypMalloc(bytes);
        ASSERT_NE(block, nullptr) << bytes;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0u) << bytes;
        std::memset(block, 0x5A, static_cast<size_t>(bytes));
        zypFree(block);
    }
}

TEST(Malloc, GivesNullBelowOneByte) {
    for (const int32_t bytes : {0, -1, INT32_MIN}) EXPECT_EQ(zypMalloc(bytes), nullptr) << bytes;
}

TEST(Free, AcceptsNull) { zypFree(nullptr); }

TEST(ThreadCount, DefaultsToTheProcessorsThatThisProcessMayRunOn) {
    cpu_set_t before;
    ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
    EXPECT_EQ(ownGetNumThreads(), CPU_COUNT(&before));

    cpu_set_t one;
    CPU_ZERO(&one);
    int first = 0;
    while (!CPU_ISSET(first, &before)) ++first;
    CPU_SET(first, &one);
    ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    EXPECT_EQ(ownGetNumThreads(), 1);
    ASSERT_EQ(sched_setaffinity(0, sizeof before, &before), 0);
}

TEST(ThreadCount, IsWhatTheApplicationSetUntilItGivesItBack) {
    const int32_t usual = ownGetNumThreads();
    zypSetNumThreads(5);
    EXPECT_EQ(ownGetNumThreads(), 5);
    EXPECT_EQ(zypGetNumThreads(), 5);
    std::thread([] { EXPECT_EQ(ownGetNumThreads(), 5); }).join();
    zypSetNumThreads(0);
    EXPECT_EQ(ownGetNumThreads(), usual);
    zypSetNumThreads(7);
    zypSetNumThreads(-3);
    EXPECT_EQ(zypGetNumThreads(), usual);
}

TEST(MaxCacheSize, IsPositiveOrReportedAsUnknownWithNothingStored) {
    int32_t size = -77;
    if (zypGetMaxCacheSizeB(&size) == 0)
        EXPECT_GE(size, 16 * 1024);
    else
        EXPECT_EQ(size, -77);
}

// The kernel lists the caches of a processor one by one.
TEST(MaxCacheSize, IsThatOfTheLargestCacheWhichTheKernelLists) {
    const auto describesCaches = [](unsigned leaf) {
        unsigned a = 0, b, c, d;
        return __get_cpuid_count(leaf, 0, &a, &b, &c, &d) && (a & 31) != 0;
    };
    if (!describesCaches(4) && !describesCaches(0x8000001D)) GTEST_SKIP() << "a processor that tells nothing of its caches";
    int64_t largest = 0;
    for (int i = 0; i < 8; ++i) {
        const std::string cache = "/sys/devices/system/cpu/cpu0/cache/index" + std::to_string(i);
        std::string type;
        std::ifstream(cache + "/type") >> type;
        int64_t kibibytes = 0;
        if (std::ifstream(cache + "/size") >> kibibytes && type != "Instruction") largest = std::max(largest, kibibytes << 10);
    }
    if (largest == 0) GTEST_SKIP() << "no list of caches";
    int32_t size = 0;
    ASSERT_EQ(zypGetMaxCacheSizeB(&size), 0);
    EXPECT_EQ(size, largest);
}

TEST(MaxCacheSize, RefusesNull) { EXPECT_LT(zypGetMaxCacheSizeB(nullptr), 0); }

TEST(CpuFeatures, AgreeWithTheCompilersOwnProbe) {
    const uint64_t features = zypGetEnabledCpuFeatures();
    __builtin_cpu_init();
    EXPECT_EQ((features & zypCpuAVX2) != 0, __builtin_cpu_supports("avx2") != 0);
    EXPECT_EQ((features & zypCpuFMA) != 0, __builtin_cpu_supports("fma") != 0);
    EXPECT_EQ(zypCpuAVX2, 16);
    EXPECT_EQ(zypCpuFMA, 32);
}
