// zyprDiv_32f_C1IM
#include "shading/arrays.h"
#include "shading/models.h"
#include "zypr.h"

using namespace zypr::test;

namespace {

constexpr uint32_t undefinedQuotient = 0x7FBFFFFF;

template <class Make, class MakeWords>
void check(Random &random, int32_t count, size_t factorPlace, size_t maskPlace, size_t valuesPlace, Make make,
           MakeWords makeWords) {
    PlacedArray factor(make(random, count), factorPlace);
    PlacedArray mask(makeWords(random, count), maskPlace);
    PlacedArray values(make(random, count), valuesPlace);
    std::vector<float> expected = values.original();
    const int32_t status = model::divide(factor.original().data(), mask.original().data(), expected.data(), count);
    ASSERT_EQ(zyprDiv_32f_C1IM(factor.data(), mask.data(), values.data(), count), status) << count;
    ASSERT_TRUE(equalValues(values.values(), expected)) << count;
    ASSERT_TRUE(values.surroundingsIntact() && factor.untouched() && mask.untouched());
}

struct Quotients {
    zypStatus status;
    std::vector<float> values;
};

// `count` times dividend / divisor under one word.
Quotients divided(size_t count, float dividend, float divisor, int32_t word = 0) {
    PlacedArray factor(std::vector<float>(count, divisor));
    PlacedArray mask(std::vector<int32_t>(count, word));
    PlacedArray values(std::vector<float>(count, dividend));
    const zypStatus status = zyprDiv_32f_C1IM(factor.data(), mask.data(), values.data(), static_cast<int32_t>(count));
    return {status, values.values()};
}

std::vector<float> signedZeros(Random &random, int32_t count) {
    std::vector<float> values = finiteValues(random, count);
    for (float &value : values) {
        if (random.chance(0.3f)) value = random.chance(0.5f) ? 0.0f : -0.0f;
    }
    return values;
}

} // namespace

TEST(DivideMasked, MatchesTheModelAtEveryCountAndPlace) {
    Random random(1);
    for (const int32_t count : interestingCounts()) {
        for (const size_t place : {0, 4, 8, 12, 16, 20, 24, 28, 7}) {
            check(random, count, place, place, place, finiteValues, anyWords);
            check(random, count, 4, 8, place, finiteValues, anyWords);
            check(random, count, place, 0, 0, specialValues, plainWords);
            check(random, count, place, 0, 0, signedZeros, plainWords);
            check(random, count, 0, 0, place, signedZeros, anyWords);
        }
    }
}

TEST(DivideMasked, TouchesNothingBehindTheArrays) {
    Random random(2);
    for (const int32_t count : interestingCounts()) {
        PlacedArray factor(signedZeros(random, count));
        PlacedArray mask(plainWords(random, count));
        PlacedArray values(finiteValues(random, count));
        std::vector<float> expected = values.original();
        const int32_t status = model::divide(factor.original().data(), mask.original().data(), expected.data(), count);
        EXPECT_EQ(zyprDiv_32f_C1IM(factor.data(), mask.data(), values.data(), count), status);
        EXPECT_TRUE(equalBits(values.values(), expected));
        EXPECT_TRUE(values.surroundingsIntact());
    }
}

TEST(DivideMasked, EverySpecialPairComesOutAsTheModelHasIt) {
    for (const float dividend : specialFloats()) {
        for (const float divisor : specialFloats()) {
            for (const size_t count : {31u, 16u, 8u, 7u, 1u}) {
                std::vector<float> expected(count, dividend);
                const std::vector<float> factor(count, divisor);
                const std::vector<int32_t> mask(count, 0);
                const int32_t status = model::divide(factor.data(), mask.data(), expected.data(), static_cast<int32_t>(count));
                const Quotients actual = divided(count, dividend, divisor);
                EXPECT_EQ(actual.status, status);
                EXPECT_TRUE(equalValues(actual.values, expected)) << dividend << " / " << divisor;
            }
        }
    }
}

TEST(DivideMasked, AQuotientIsNearTheTrueOne) {
    Random random(3);
    for (int k = 0; k < 1000; ++k) {
        const float dividend = random.real(-100.0f, 100.0f), divisor = random.real(0.01f, 100.0f);
        EXPECT_NEAR(divided(1, dividend, divisor).values[0], dividend / divisor, 1e-6f * std::fabs(dividend / divisor));
    }
}

TEST(DivideMasked, PositiveZeroDivisorGivesSignedInfinityAndWarns) {
    for (const size_t count : {1u, 8u, 16u, 31u}) {
        const auto check = [count](float dividend, uint32_t expected) {
            const Quotients quotients = divided(count, dividend, 0.0f);
            EXPECT_EQ(quotients.status, zypStsDivByZeroWrn);
            EXPECT_TRUE(equalBits(quotients.values, std::vector<float>(count, fromBits(expected))));
        };
        check(1.0f, bits(INFINITY));
        check(-2.0f, bits(-INFINITY));
        check(INFINITY, bits(INFINITY));
        check(-INFINITY, bits(-INFINITY));
        check(1e-45f, bits(INFINITY));
        check(0.0f, undefinedQuotient);
        check(-0.0f, undefinedQuotient);
        check(NAN, undefinedQuotient);
        check(-NAN, undefinedQuotient);
    }
}

TEST(DivideMasked, TheUndefinedQuotientIsMaskedAsAWord) {
    for (const size_t count : {1u, 16u, 31u}) {
        const uint32_t words[] = {1u, 0x7F800000u, 0x003FFFFFu, 0x80000000u};
        for (const uint32_t word : words) {
            if (count == 31 && word == 0x80000000u) continue; // its step of eight is all negative
            const Quotients quotients = divided(count, 0.0f, 0.0f, static_cast<int32_t>(word));
            EXPECT_EQ(quotients.status, zypStsDivByZeroWrn);
            EXPECT_TRUE(equalBits(quotients.values, std::vector<float>(count, fromBits(undefinedQuotient & ~word))));
        }
    }
}

TEST(DivideMasked, NegativeZeroDivisorGivesPositiveZeroInStepsOfSixteenAndNegativeZeroBehind) {
    const Quotients quotients = divided(20, 1.0f, -0.0f);
    EXPECT_EQ(quotients.status, zypStsNoErr);
    for (size_t i = 0; i < 20; ++i) EXPECT_EQ(bits(quotients.values[i]), i < 16 ? 0u : 0x80000000u) << i;

    for (const float dividend : {1.0f, -1.0f, 0.0f, INFINITY, NAN}) {
        const Quotients all = divided(16 + 8 + 7, dividend, -0.0f);
        EXPECT_EQ(all.status, zypStsNoErr);
        for (size_t i = 0; i < 31; ++i) EXPECT_EQ(bits(all.values[i]), i < 16 ? 0u : 0x80000000u) << i;
    }
}

TEST(DivideMasked, NegativeZeroFromANegativeZeroDivisorIsMaskedToo) {
    for (const float quotient : divided(7, 1.0f, -0.0f, INT32_MIN).values) EXPECT_EQ(bits(quotient), 0u);
}

TEST(DivideMasked, AStepOfSixteenWarnsUnderTheMaskAndAStepOfEightDoesNot) {
    const Quotients sixteen = divided(16, 1.0f, 0.0f, -1);
    EXPECT_EQ(sixteen.status, zypStsDivByZeroWrn);
    EXPECT_TRUE(equalBits(sixteen.values, std::vector<float>(16, 0.0f)));
    const Quotients eight = divided(8, 1.0f, 0.0f, -1);
    EXPECT_EQ(eight.status, zypStsNoErr);
    EXPECT_TRUE(equalBits(eight.values, std::vector<float>(8, 0.0f)));
}

TEST(DivideMasked, AStepOfEightWithOneWordThatIsNotNegativeIsComputed) {
    for (size_t open = 0; open < 8; ++open) {
        std::vector<float> factor(8, 0.0f), values(8, 1.0f);
        std::vector<int32_t> mask(8, INT32_MIN);
        mask[open] = 0;
        EXPECT_EQ(zyprDiv_32f_C1IM(factor.data(), mask.data(), values.data(), 8), zypStsDivByZeroWrn);
        EXPECT_TRUE(equalBits(values, std::vector<float>(8, INFINITY)));
    }
}

TEST(DivideMasked, AnAllNegativeGroupOfAStepOfSixteenKeepsTheMagnitudes) {
    for (const float quotient : divided(16, -1.0f, 1.0f, INT32_MIN).values) EXPECT_EQ(quotient, 1.0f);
    for (const float quotient : divided(8, -1.0f, 1.0f, INT32_MIN).values) EXPECT_EQ(bits(quotient), 0u);
}

TEST(DivideMasked, TheLastStepHasNoShortcutForNegativeWords) {
    for (size_t count = 1; count < 8; ++count) {
        const Quotients quotients = divided(count, 1.0f, 0.0f, -1);
        EXPECT_EQ(quotients.status, zypStsDivByZeroWrn);
        EXPECT_TRUE(equalBits(quotients.values, std::vector<float>(count, 0.0f)));
        for (const float quotient : divided(count, -1.0f, 1.0f, INT32_MIN).values) EXPECT_EQ(quotient, 1.0f);
    }
}

TEST(DivideMasked, LanesBehindTheLastElementNeverWarn) {
    for (size_t count = 1; count < 8; ++count) EXPECT_EQ(divided(count, 1.0f, 2.0f).status, zypStsNoErr);
}

TEST(DivideMasked, AllNegativeStepOfEightReadsNoDivisor) {
    PlacedArray factor(std::vector<float>(8, 0.0f));
    PlacedArray mask(std::vector<int32_t>(8, -3));
    PlacedArray values(std::vector<float>(8, 1.0f));
    factor.forbidAccess();
    EXPECT_EQ(zyprDiv_32f_C1IM(factor.data(), mask.data(), values.data(), 8), zypStsNoErr);
    EXPECT_TRUE(equalBits(values.values(), std::vector<float>(8, 0.0f)));
}

TEST(DivideMasked, OneZeroDivisorAnywhereWarnsAndEveryElementIsWritten) {
    for (size_t at = 0; at < 31; ++at) {
        std::vector<float> factor(31, 2.0f), values(31, 4.0f);
        const std::vector<int32_t> mask(31, 0);
        factor[at] = 0.0f;
        EXPECT_EQ(zyprDiv_32f_C1IM(factor.data(), mask.data(), values.data(), 31), zypStsDivByZeroWrn);
        for (size_t i = 0; i < 31; ++i) EXPECT_EQ(values[i], i == at ? INFINITY : 2.0f);
    }
}

TEST(DivideMasked, DivisorsWithoutAFiniteReciprocalAreNotCorrected) {
    for (const float quotient : divided(31, 1.0f, INFINITY).values) EXPECT_TRUE(std::isnan(quotient));
    for (const float quotient : divided(31, 1.0f, 1e-45f).values) EXPECT_TRUE(std::isnan(quotient));
    for (const float quotient : divided(31, INFINITY, INFINITY).values) EXPECT_TRUE(std::isnan(quotient));
    EXPECT_EQ(divided(31, 1.0f, INFINITY).status, zypStsNoErr);
}

// No step of sixteen; the step of eight and the last step as the low four bits have them, from the start of the arrays.
TEST(DivideMasked, ANegativeCountHandlesItsLowFourBitsAtTheStart) {
    Random random(4);
    for (int32_t count = -40; count < 0; ++count) {
        const int32_t handled = count & 15;
        PlacedArray factor(signedZeros(random, handled));
        PlacedArray mask(plainWords(random, handled));
        PlacedArray values(finiteValues(random, handled));
        std::vector<float> expected = values.original();
        const int32_t status = model::divide(factor.original().data(), mask.original().data(), expected.data(), handled);
        EXPECT_EQ(zyprDiv_32f_C1IM(factor.data(), mask.data(), values.data(), count), status) << count;
        EXPECT_TRUE(equalBits(values.values(), expected));
        EXPECT_TRUE(values.surroundingsIntact());
    }
    EXPECT_EQ(divided(0, 1, 1).status, zypStsNoErr);
    float untouched = 3.0f;
    EXPECT_EQ(zyprDiv_32f_C1IM(&untouched, nullptr, &untouched, INT32_MIN), zypStsNoErr);
    EXPECT_EQ(untouched, 3.0f);
}

TEST(DivideMasked, ANegativeCountHasNegativeZerosAndTheShortcutOfTheStepOfEight) {
    std::vector<float> factor(15, -0.0f), values(15, 1.0f);
    std::vector<int32_t> mask(15, 0);
    EXPECT_EQ(zyprDiv_32f_C1IM(factor.data(), mask.data(), values.data(), -1), zypStsNoErr);
    EXPECT_TRUE(equalBits(values, std::vector<float>(15, -0.0f)));

    factor.assign(15, 0.0f);
    mask.assign(15, -1);
    values.assign(15, 1.0f);
    EXPECT_EQ(zyprDiv_32f_C1IM(factor.data(), mask.data(), values.data(), -8), zypStsNoErr);
    EXPECT_EQ(values[7], 0.0f);
    EXPECT_EQ(values[8], 1.0f);
    EXPECT_EQ(zyprDiv_32f_C1IM(factor.data(), mask.data(), values.data(), -1), zypStsDivByZeroWrn);
}

TEST(DivideMasked, AValueMayBeItsOwnDivisor) {
    std::vector<float> values(31, 4.0f);
    const std::vector<int32_t> mask(31, 0);
    EXPECT_EQ(zyprDiv_32f_C1IM(values.data(), mask.data(), values.data(), 31), zypStsNoErr);
    EXPECT_TRUE(equalBits(values, std::vector<float>(31, 1.0f)));
}

TEST(DivideMasked, ACountOfZeroLeavesEverythingUntouchedAndTheMaskIsNotChecked) {
    PlacedArray values(std::vector<float>{1.0f});
    const float factor = 0.0f;
    EXPECT_EQ(zyprDiv_32f_C1IM(&factor, nullptr, values.data(), 0), zypStsNoErr);
    EXPECT_TRUE(values.untouched());
}

TEST(DivideMasked, ANullPointerIsRefusedWithNothingWritten) {
    PlacedArray values(std::vector<float>{1.0f});
    const float factor = 2.0f;
    const int32_t word = 0;
    EXPECT_EQ(zyprDiv_32f_C1IM(nullptr, &word, values.data(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprDiv_32f_C1IM(&factor, &word, nullptr, 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprDiv_32f_C1IM(&factor, nullptr, nullptr, 1), zypStsNullPtrErr);
    EXPECT_TRUE(values.untouched());
}
