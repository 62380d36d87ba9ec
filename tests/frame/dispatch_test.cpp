#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "frame/fronts.h"
#include "zypr.h"

extern "C" void *const zyprDispatchTable[];

namespace {

struct Slot {
    std::string name;
    void *front;
};

const std::vector<Slot> &slots() {
    static const std::vector<Slot> all = {
#define ZYPR_EXPORT(name) {#name, reinterpret_cast<void *>(&front_##name)},
#include "frame/exports.inc"
#undef ZYPR_EXPORT
    };
    return all;
}

} // namespace

TEST(DispatchTable, HasOneSlotForEachOfTheFiftyTwoExportsInTheOrderOfTheirBytes) {
    ASSERT_EQ(slots().size(), 52u);
    for (size_t i = 1; i < slots().size(); ++i) EXPECT_LT(std::strcmp(slots()[i - 1].name.c_str(), slots()[i].name.c_str()), 0);
}

TEST(DispatchTable, HoldsTheFrontOfEachExport) {
    for (size_t i = 0; i < slots().size(); ++i) EXPECT_EQ(zyprDispatchTable[i], slots()[i].front) << slots()[i].name;
}

TEST(DispatchStub, LoadsItsSlotAndJumps) {
    size_t index = 0;
#define ZYPR_EXPORT(name)                                                                                                      \
    {                                                                                                                          \
        const auto *code = reinterpret_cast<const unsigned char *>(&name);                                                     \
        int32_t distance = 0;                                                                                                  \
        std::memcpy(&distance, code + 2, sizeof distance);                                                                     \
        EXPECT_EQ(code[0], 0xFF) << #name;                                                                                     \
        EXPECT_EQ(code[1], 0x25) << #name;                                                                                     \
        EXPECT_EQ(reinterpret_cast<const void *>(code + 6 + distance), &zyprDispatchTable[index]) << #name;                    \
        ++index;                                                                                                               \
    }
#include "frame/exports.inc"
#undef ZYPR_EXPORT
}
