#include "frame/load_hook.h"

#include <gtest/gtest.h>

TEST(LoadHook, HasRunBeforeMainAndSetTheFlagFromTheFeatureMask) { EXPECT_EQ(zyprProcessorHasVectors, 1); }
