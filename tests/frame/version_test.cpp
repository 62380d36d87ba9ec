#include <gtest/gtest.h>

#include <cstring>

#include "zypr.h"

TEST(GetLibVersion, ReturnsTheSameAddressOnEveryCall) {
    EXPECT_NE(zyprGetLibVersion(), nullptr);
    EXPECT_EQ(zyprGetLibVersion(), zyprGetLibVersion());
}

TEST(GetLibVersion, HoldsTheNumbersAndTexts) {
    const ZyprLibVersion &version = *zyprGetLibVersion();
    EXPECT_EQ(version.versionMajor, 7);
    EXPECT_EQ(version.versionMinor, 1);
    EXPECT_EQ(version.versionPatch, 0);
    EXPECT_EQ(version.revision, 36264);
    EXPECT_EQ(std::memcmp(version.cpuTag, "l9\0", 4), 0);
    EXPECT_STREQ(version.libraryName, "zypRR AVX2 (l9)");
    EXPECT_STREQ(version.versionText, "7.1.0 (r36264)");
    EXPECT_STREQ(version.buildDateText, "Jul 23 2012");
}
