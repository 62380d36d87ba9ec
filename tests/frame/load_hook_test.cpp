#include "frame/load_hook.h"

#include <gtest/gtest.h>

#include "support/core_probe.h"

using zypr::test::CoreProbe;
using zypr::test::CoreProbeScope;

TEST(LoadHook, HasRunBeforeMainAndSetTheFlagFromTheFeatureMask) { EXPECT_EQ(zyprProcessorHasVectors, 1); }

TEST(LoadHook, SetsTheFlagOnlyWhenBits4And5AreBothSet) {
    const CoreProbeScope scope;
    struct Case {
        uint64_t features;
        int32_t flag;
    };
    for (const Case &c : {Case{0, 0}, Case{16, 0}, Case{32, 0}, Case{48, 1}, Case{~uint64_t{0}, 1}, Case{~uint64_t{16}, 0},
                          Case{~uint64_t{32}, 0}, Case{uint64_t{48} << 32, 0}}) {
        CoreProbe::features = c.features;
        zyprLoadHook();
        EXPECT_EQ(zyprProcessorHasVectors, c.flag) << std::hex << c.features;
    }
    CoreProbe::reset();
    zyprLoadHook();
}
