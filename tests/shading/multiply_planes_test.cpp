// zyprMul_32f_C1P3IM
#include "shading/arrays.h"
#include "shading/models.h"
#include "zypr.h"

using namespace zypr::test;

namespace {

template <class Make, class MakeWords>
void check(Random &random, int32_t count, const std::array<size_t, 5> &place, Make make, MakeWords makeWords) {
    PlacedArray factor(make(random, count), place[0]);
    PlacedArray mask(makeWords(random, count), place[1]);
    PlacedPlanes values(planesOf(make, random, count), {place[2], place[3], place[4]});
    PlacedPlanes::Values expected = {values[0].original(), values[1].original(), values[2].original()};
    model::multiplyPlanes(factor.original().data(), mask.original().data(), Pointers(expected), count);
    ASSERT_EQ(zyprMul_32f_C1P3IM(factor.data(), mask.data(), values.pointers(), count), zypStsNoErr);
    for (size_t c = 0; c < 3; ++c) ASSERT_TRUE(equalValues(values[c].values(), expected[c])) << count << " plane " << c;
    ASSERT_TRUE(values.surroundingsIntact() && factor.untouched() && mask.untouched());
}

// All planes of the first `words.size()` elements are `value`; the first plane's results.
std::vector<float> multiplied(float value, float factor, const std::vector<int32_t> &words) {
    const size_t count = words.size();
    const std::vector<float> factors(count, factor);
    PlacedPlanes::Values values = {std::vector<float>(count, value), std::vector<float>(count, value),
                                   std::vector<float>(count, value)};
    EXPECT_EQ(zyprMul_32f_C1P3IM(factors.data(), words.data(), Pointers(values), static_cast<int32_t>(count)), zypStsNoErr);
    EXPECT_TRUE(equalBits(values[0], values[1]));
    EXPECT_TRUE(equalBits(values[0], values[2]));
    return values[0];
}

} // namespace

TEST(MultiplyPlanes, MatchesTheModelAtEveryCountAndPlace) {
    Random random(1);
    for (const int32_t count : interestingCounts()) {
        for (const size_t place : {0, 4, 8, 12, 16, 20, 24, 28, 7}) {
            check(random, count, {place, place, place, place, place}, finiteValues, anyWords);
            check(random, count, {0, 4, 8, 12, place}, finiteValues, anyWords);
            check(random, count, {place, 0, 0, 0, 0}, specialValues, plainWords);
        }
    }
}

TEST(MultiplyPlanes, TouchesNothingBehindTheArrays) {
    Random random(2);
    for (const int32_t count : interestingCounts()) {
        PlacedArray factor(finiteValues(random, count));
        PlacedArray mask(anyWords(random, count));
        PlacedPlanes values(planesOf(finiteValues, random, count));
        PlacedPlanes::Values expected = {values[0].original(), values[1].original(), values[2].original()};
        model::multiplyPlanes(factor.original().data(), mask.original().data(), Pointers(expected), count);
        EXPECT_EQ(zyprMul_32f_C1P3IM(factor.data(), mask.data(), values.pointers(), count), zypStsNoErr);
        for (size_t c = 0; c < 3; ++c) EXPECT_TRUE(equalBits(values[c].values(), expected[c]));
        EXPECT_TRUE(values.surroundingsIntact());
    }
}

TEST(MultiplyPlanes, AWordClearsItsOwnBits) {
    for (const size_t count : {1u, 8u, 9u}) {
        for (int bit = 0; bit < 31; ++bit) {
            const std::vector<int32_t> words(count, int32_t{1} << bit);
            for (const float result : multiplied(1.5f, -1.3333334f, words)) {
                EXPECT_EQ(bits(result), bits(1.5f * -1.3333334f) & ~(1u << bit));
            }
        }
    }
    EXPECT_EQ(bits(multiplied(fromBits(0x3F800001), 1.0f, {1})[0]), 0x3F800000u);
    EXPECT_EQ(bits(multiplied(-2.0f, 1.0f, {INT32_MAX})[0]), 0x80000000u);
}

TEST(MultiplyPlanes, ASignBitGivesTheMagnitudeUnlessAllEightWordsAreNegative) {
    std::vector<int32_t> words(8, INT32_MIN);
    for (const float result : multiplied(-3.0f, 2.0f, words)) EXPECT_EQ(bits(result), 0u);
    words[5] = 0;
    const std::vector<float> results = multiplied(-3.0f, 2.0f, words);
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(results[i], i == 5 ? -6.0f : 6.0f);
}

TEST(MultiplyPlanes, AShortLastGroupIsNeverTakenForAllNegative) {
    for (size_t count = 1; count < 8; ++count) {
        for (const float result : multiplied(-3.0f, 2.0f, std::vector<int32_t>(count, INT32_MIN))) EXPECT_EQ(result, 6.0f);
        for (const float result : multiplied(-3.0f, 2.0f, std::vector<int32_t>(count, -1))) EXPECT_EQ(bits(result), 0u);
    }
}

TEST(MultiplyPlanes, AMaskedInfinityOrNaNBecomesPositiveZero) {
    std::vector<int32_t> words(11, -1);
    words[3] = 0;
    const std::vector<float> results = multiplied(INFINITY, -1.0f, words);
    for (size_t i = 0; i < words.size(); ++i) EXPECT_EQ(bits(results[i]), i == 3 ? bits(-INFINITY) : 0u);
    EXPECT_EQ(bits(multiplied(NAN, 1.0f, {-1, 0})[0]), 0u);
}

TEST(MultiplyPlanes, AGroupOfNegativeWordsReadsNoFactor) {
    Random random(3);
    PlacedArray factor(finiteValues(random, 16));
    PlacedArray mask(std::vector<int32_t>(16, -5));
    PlacedPlanes values(planesOf(finiteValues, random, 16));
    factor.forbidAccess();
    EXPECT_EQ(zyprMul_32f_C1P3IM(factor.data(), mask.data(), values.pointers(), 16), zypStsNoErr);
    factor.allowAccess();
    for (size_t c = 0; c < 3; ++c) EXPECT_TRUE(equalBits(values[c].values(), std::vector<float>(16, 0.0f)));
}

TEST(MultiplyPlanes, ANegativeCountHandlesItsLowThreeBitsAtTheStart) {
    Random random(4);
    for (const int32_t count : {-1, -2, -3, -5, -7, -8, -9, -13, -16, -1001, INT32_MIN, INT32_MIN + 3}) {
        const int32_t handled = count & 7;
        PlacedArray factor(finiteValues(random, handled));
        PlacedArray mask(anyWords(random, handled));
        PlacedPlanes values(planesOf(finiteValues, random, handled));
        PlacedPlanes::Values expected = {values[0].original(), values[1].original(), values[2].original()};
        model::multiplyPlanes(factor.original().data(), mask.original().data(), Pointers(expected), handled);
        EXPECT_EQ(zyprMul_32f_C1P3IM(factor.data(), mask.data(), values.pointers(), count), zypStsNoErr);
        for (size_t c = 0; c < 3; ++c) EXPECT_TRUE(equalBits(values[c].values(), expected[c]));
        EXPECT_TRUE(values.surroundingsIntact());
    }
}

TEST(MultiplyPlanes, ACountOfZeroLeavesEverythingUntouched) {
    float *const nothing[3] = {nullptr, nullptr, nullptr};
    const float factor = 2.0f;
    const int32_t word = 0;
    EXPECT_EQ(zyprMul_32f_C1P3IM(&factor, &word, nothing, 0), zypStsNoErr);
    PlacedPlanes values({std::vector<float>{1}, {2}, {3}});
    EXPECT_EQ(zyprMul_32f_C1P3IM(&factor, &word, values.pointers(), 0), zypStsNoErr);
    EXPECT_TRUE(values.untouched());
}

TEST(MultiplyPlanes, ANullPointerIsRefusedWithNothingWritten) {
    PlacedPlanes values({std::vector<float>{1}, {2}, {3}});
    const float factor = 2.0f;
    const int32_t word = 0;
    EXPECT_EQ(zyprMul_32f_C1P3IM(nullptr, &word, values.pointers(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprMul_32f_C1P3IM(&factor, nullptr, values.pointers(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprMul_32f_C1P3IM(&factor, &word, nullptr, 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprMul_32f_C1P3IM(nullptr, nullptr, nullptr, 0), zypStsNullPtrErr);
    EXPECT_TRUE(values.untouched());
}
