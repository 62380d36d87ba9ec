#include "zypr_support.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

const zypStatus everyStatus[] = {40, 30, 29, 1, 0, -2, -4, -5, -6, -7, -8, -9, -11, -14, -22, -23, -53, -56, -57};

} // namespace

TEST(StatusText, TellsEveryStatusApart) {
    std::set<std::string> texts;
    for (const zypStatus status : everyStatus) EXPECT_TRUE(texts.insert(zyprStatusText(status)).second) << status;
    EXPECT_FALSE(texts.contains(zyprStatusText(-1000)));
}

TEST(StatusText, IsNeverNull) {
    for (zypStatus status = -100; status <= 100; ++status) EXPECT_NE(zyprStatusText(status), nullptr) << status;
}

TEST(ProcessorIsSupported, IsTrueWhereTheTestsRun) { EXPECT_EQ(zyprProcessorIsSupported(), 1); }
