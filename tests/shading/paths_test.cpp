#include "shading/paths.h"

#include <gtest/gtest.h>

#include "shading/models.h"

using zypr::bitMaskedElements;
using zypr::takesAlignedPath;
using zypr::VectorRange;
using zypr::vectorRange;
using namespace zypr::test;

namespace {

const float *at(uintptr_t address) { return reinterpret_cast<const float *>(address); }

bool operator==(VectorRange a, VectorRange b) { return a.begin == b.begin && a.end == b.end; }

} // namespace

TEST(VectorRange, IsEmptyBelowSixteenElements) {
    for (int32_t count = 0; count < 16; ++count) EXPECT_TRUE(vectorRange(at(0x1000), count) == (VectorRange{0, 0}));
    EXPECT_TRUE(vectorRange(at(0x1000), -1) == (VectorRange{0, 0}));
    EXPECT_TRUE(vectorRange(at(0x1000), INT32_MIN) == (VectorRange{0, 0}));
    EXPECT_TRUE(vectorRange(at(0x1000), 16) == (VectorRange{0, 16}));
}

TEST(VectorRange, BeginsAtTheNextMultipleOf32Bytes) {
    for (uintptr_t past = 4; past < 32; past += 4) {
        EXPECT_EQ(vectorRange(at(0x1000 + past), 1000).begin, static_cast<int32_t>((32 - past) / 4));
    }
    EXPECT_EQ(vectorRange(at(0x1000), 1000).begin, 0);
}

TEST(VectorRange, IsEmptyForAKeyThatIsNoMultipleOfFour) {
    for (uintptr_t past = 1; past < 32; ++past) {
        const VectorRange range = vectorRange(at(0x1000 + past), 1000);
        EXPECT_EQ(range.end == 0, past % 4 != 0) << past;
    }
}

TEST(VectorRange, IsEmptyUnlessAStepOfSixteenFitsBehindThePeel) {
    EXPECT_TRUE(vectorRange(at(0x1004), 22) == (VectorRange{0, 0}));
    EXPECT_TRUE(vectorRange(at(0x1004), 23) == (VectorRange{7, 23}));
}

TEST(VectorRange, EndsWithAStepOfEightWhereEightAreLeft) {
    EXPECT_TRUE(vectorRange(at(0x1000), 23) == (VectorRange{0, 16}));
    EXPECT_TRUE(vectorRange(at(0x1000), 24) == (VectorRange{0, 24}));
    EXPECT_TRUE(vectorRange(at(0x1000), 31) == (VectorRange{0, 24}));
    EXPECT_TRUE(vectorRange(at(0x1000), 32) == (VectorRange{0, 32}));
}

TEST(VectorRange, HoldsExactlyTheElementsThatTheModelSendsToVectorSteps) {
    for (uintptr_t past = 0; past < 64; ++past) {
        for (int32_t count = 1; count < 100; ++count) {
            const VectorRange range = vectorRange(at(0x1000 + past), count);
            for (int32_t i = 0; i < count; ++i) {
                ASSERT_EQ(i >= range.begin && i < range.end, model::generalWay(i, count, past) == model::Way::vector)
                    << past << " " << count << " " << i;
            }
        }
    }
}

TEST(VectorRange, TakesTheLargestCounts) {
    EXPECT_TRUE(vectorRange(at(0x1000), INT32_MAX) == (VectorRange{0, INT32_MAX - 7}));
    EXPECT_TRUE(vectorRange(at(0x1004), INT32_MAX) == (VectorRange{7, INT32_MAX}));
}

TEST(AlignedPath, NeedsAMultipleOfFourAndEveryArrayAt16Bytes) {
    EXPECT_TRUE(takesAlignedPath(4, at(0x1010), at(0x1020)));
    EXPECT_TRUE(takesAlignedPath(0, at(0x1010)));
    EXPECT_TRUE(takesAlignedPath(-8, at(0x1010)));
    for (const int32_t count : {1, 2, 3, 5, 6, 7, -1, -3}) EXPECT_FALSE(takesAlignedPath(count, at(0x1010)));
    for (uintptr_t past = 1; past < 16; ++past) {
        EXPECT_FALSE(takesAlignedPath(4, at(0x1010 + past), at(0x1020)));
        EXPECT_FALSE(takesAlignedPath(4, at(0x1010), at(0x1020 + past)));
    }
}

TEST(BitMaskedElements, AreTheCountOrTheLowBitsOfANegativeOne) {
    EXPECT_EQ(bitMaskedElements<8>(0), 0);
    EXPECT_EQ(bitMaskedElements<8>(1000), 1000);
    EXPECT_EQ(bitMaskedElements<8>(INT32_MAX), INT32_MAX);
    EXPECT_EQ(bitMaskedElements<8>(-1), 7);
    EXPECT_EQ(bitMaskedElements<8>(-8), 0);
    EXPECT_EQ(bitMaskedElements<8>(-11), 5);
    EXPECT_EQ(bitMaskedElements<8>(INT32_MIN), 0);
    EXPECT_EQ(bitMaskedElements<16>(-1), 15);
    EXPECT_EQ(bitMaskedElements<16>(-8), 8);
    EXPECT_EQ(bitMaskedElements<16>(-11), 5);
    EXPECT_EQ(bitMaskedElements<16>(INT32_MIN + 9), 9);
}
