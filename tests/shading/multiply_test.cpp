// zyprMul_32f_C1IM
#include "shading/arrays.h"
#include "shading/models.h"
#include "zypr.h"

using namespace zypr::test;

namespace {

// One call at the given places, beside the model.
void check(Random &random, int32_t count, size_t factorPlace, size_t maskPlace, size_t valuesPlace) {
    PlacedArray factor(specialValues(random, count), factorPlace);
    PlacedArray mask(anyWords(random, count), maskPlace);
    PlacedArray values(specialValues(random, count), valuesPlace);
    std::vector<float> expected = values.original();
    model::multiply(factor.original().data(), mask.original().data(), expected.data(), count);
    ASSERT_EQ(zyprMul_32f_C1IM(factor.data(), mask.data(), values.data(), count), zypStsNoErr);
    ASSERT_TRUE(equalValues(values.values(), expected)) << count << " at " << valuesPlace;
    ASSERT_TRUE(values.surroundingsIntact() && factor.untouched() && mask.untouched());
}

float multiplied(float value, float factor, int32_t word) {
    EXPECT_EQ(zyprMul_32f_C1IM(&factor, &word, &value, 1), zypStsNoErr);
    return value;
}

} // namespace

TEST(MultiplyMasked, MatchesTheModelAtEveryCountAndPlace) {
    Random random(1);
    for (const int32_t count : interestingCounts()) {
        for (const size_t place : {0, 4, 8, 12, 16, 20, 24, 28, 1, 6, 15, 31}) {
            check(random, count, place, 0, 0);
            check(random, count, 0, 0, place);
            check(random, count, place, place, place);
        }
    }
}

TEST(MultiplyMasked, TouchesNothingBehindTheArrays) {
    Random random(2);
    for (const int32_t count : interestingCounts()) {
        PlacedArray factor(specialValues(random, count));
        PlacedArray mask(anyWords(random, count));
        PlacedArray values(specialValues(random, count));
        std::vector<float> expected = values.original();
        model::multiply(factor.original().data(), mask.original().data(), expected.data(), count);
        EXPECT_EQ(zyprMul_32f_C1IM(factor.data(), mask.data(), values.data(), count), zypStsNoErr);
        EXPECT_TRUE(equalValues(values.values(), expected));
        EXPECT_TRUE(values.surroundingsIntact());
    }
}

TEST(MultiplyMasked, MultipliesSpecialValuesAsTheModelDoes) {
    std::vector<float> values, factor;
    for (const float a : specialFloats()) {
        for (const float b : specialFloats()) {
            values.push_back(a);
            factor.push_back(b);
        }
    }
    for (const int32_t word : {0, -1, 1, INT32_MIN, INT32_MAX}) {
        const std::vector<int32_t> mask(values.size(), word);
        std::vector<float> actual = values, expected = values;
        const auto count = static_cast<int32_t>(values.size());
        model::multiply(factor.data(), mask.data(), expected.data(), count);
        EXPECT_EQ(zyprMul_32f_C1IM(factor.data(), mask.data(), actual.data(), count), zypStsNoErr);
        EXPECT_TRUE(equalValues(actual, expected));
    }
}

TEST(MultiplyMasked, AMaskedElementIsMultipliedByZero) {
    EXPECT_TRUE(std::isnan(multiplied(1e30f, 1e30f, -1)));
    EXPECT_TRUE(std::isnan(multiplied(NAN, 1.0f, -1)));
    EXPECT_EQ(bits(multiplied(1.5f, -2.0f, -1)), 0x80000000u);
    EXPECT_EQ(bits(multiplied(1.5f, 2.0f, INT32_MIN)), 0u);
}

TEST(MultiplyMasked, OnlyTheSignOfAWordCounts) {
    EXPECT_EQ(multiplied(1.5f, -2.0f, 5), -3.0f);
    EXPECT_EQ(multiplied(1.5f, -2.0f, INT32_MAX), -3.0f);
    EXPECT_EQ(multiplied(1.5f, -2.0f, 0), -3.0f);
}

TEST(MultiplyMasked, AValueMayBeItsOwnFactor) {
    Random random(3);
    std::vector<float> values = finiteValues(random, 45), expected = values;
    const std::vector<int32_t> mask = anyWords(random, 45);
    const std::vector<float> factor = values;
    model::multiply(factor.data(), mask.data(), expected.data(), 45);
    EXPECT_EQ(zyprMul_32f_C1IM(values.data(), mask.data(), values.data(), 45), zypStsNoErr);
    EXPECT_TRUE(equalValues(values, expected));
}

TEST(MultiplyMasked, CountsBelowOneTouchNothingAndNoPointerIsChecked) {
    for (const int32_t count : {0, -1, -8, -15, INT32_MIN}) {
        EXPECT_EQ(zyprMul_32f_C1IM(nullptr, nullptr, nullptr, count), zypStsNoErr);
    }
}
