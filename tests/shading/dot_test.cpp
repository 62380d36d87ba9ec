// zyprDot_32f_P3C1M
#include "shading/arrays.h"
#include "shading/models.h"
#include "zypr.h"

using namespace zypr::test;

namespace {

template <class Make, class MakeWords>
void check(Random &random, int32_t count, size_t leftPlace, size_t rightPlace, size_t maskPlace, size_t resultPlace, Make make,
           MakeWords makeWords) {
    PlacedPlanes left(planesOf(make, random, count), leftPlace), right(planesOf(make, random, count), rightPlace);
    PlacedArray mask(makeWords(random, count), maskPlace);
    PlacedArray result(finiteValues(random, count), resultPlace);
    PlacedPlanes::Values a = {left[0].original(), left[1].original(), left[2].original()};
    PlacedPlanes::Values b = {right[0].original(), right[1].original(), right[2].original()};
    std::vector<float> expected(a[0].size());
    model::dot(Pointers(a), Pointers(b), mask.original().data(), expected.data(), count);
    ASSERT_EQ(zyprDot_32f_P3C1M(left.pointers(), right.pointers(), mask.data(), result.data(), count), zypStsNoErr);
    ASSERT_TRUE(equalValues(result.values(), expected)) << count;
    ASSERT_TRUE(result.surroundingsIntact() && left.untouched() && right.untouched() && mask.untouched());
}

// The dot product of (value, 0, 0) and (1, 0, 0) at each word.
std::vector<float> dotted(float value, const std::vector<int32_t> &words) {
    const size_t count = words.size();
    PlacedPlanes::Values a = {std::vector<float>(count, value), std::vector<float>(count), std::vector<float>(count)};
    PlacedPlanes::Values b = {std::vector<float>(count, 1.0f), std::vector<float>(count), std::vector<float>(count)};
    std::vector<float> result(count, 7.0f);
    EXPECT_EQ(zyprDot_32f_P3C1M(Pointers(a), Pointers(b), words.data(), result.data(), static_cast<int32_t>(count)),
              zypStsNoErr);
    return result;
}

} // namespace

TEST(DotMasked, MatchesTheModelAtEveryCountAndPlace) {
    Random random(1);
    for (const int32_t count : interestingCounts()) {
        for (const size_t place : {0, 4, 8, 12, 16, 20, 24, 28, 7}) {
            check(random, count, place, place, place, place, finiteValues, anyWords);
            check(random, count, 4, 8, 12, place, finiteValues, anyWords);
            check(random, count, place, 0, 0, 0, specialValues, plainWords);
        }
    }
}

TEST(DotMasked, TouchesNothingBehindTheArrays) {
    Random random(2);
    for (const int32_t count : interestingCounts()) {
        PlacedPlanes left(planesOf(finiteValues, random, count)), right(planesOf(finiteValues, random, count));
        PlacedArray mask(anyWords(random, count));
        PlacedArray result(finiteValues(random, count));
        EXPECT_EQ(zyprDot_32f_P3C1M(left.pointers(), right.pointers(), mask.data(), result.data(), count), zypStsNoErr);
        EXPECT_TRUE(result.surroundingsIntact());
    }
}

TEST(DotMasked, SumsPlaneOneThenZeroThenTwo) {
    // Rounded, 1/3-like products cancel in one order only: each order leaves another rest.
    const float third = 0.33333334f;
    PlacedPlanes::Values a = {std::vector<float>{third}, {third}, {third}},
                         b = {std::vector<float>{3.0000002f}, {-3.0f}, {0.1f}};
    const std::vector<int32_t> mask = {0};
    std::vector<float> result(1);
    const float middle = third * -3.0f;
    const float first = std::fma(third, 3.0000002f, middle);
    const float expected = std::fma(third, 0.1f, first);
    const float reverse = std::fma(third, 0.1f, std::fma(third, -3.0f, third * 3.0000002f));
    ASSERT_NE(bits(expected), bits(reverse));
    EXPECT_EQ(zyprDot_32f_P3C1M(Pointers(a), Pointers(b), mask.data(), result.data(), 1), zypStsNoErr);
    EXPECT_EQ(bits(result[0]), bits(expected));
}

TEST(DotMasked, AWordClearsItsOwnBits) {
    for (const size_t count : {1u, 8u, 9u}) {
        for (int bit = 0; bit < 31; ++bit) {
            for (const float result : dotted(-1.9999999f, std::vector<int32_t>(count, int32_t{1} << bit))) {
                EXPECT_EQ(bits(result), bits(-1.9999999f) & ~(1u << bit));
            }
        }
    }
    EXPECT_EQ(bits(dotted(fromBits(0x3F800001), {1})[0]), 0x3F800000u);
}

TEST(DotMasked, ASignBitGivesTheMagnitudeUnlessAllEightWordsAreNegative) {
    std::vector<int32_t> words(8, INT32_MIN);
    for (const float result : dotted(-3.0f, words)) EXPECT_EQ(bits(result), 0u);
    words[7] = 0;
    const std::vector<float> results = dotted(-3.0f, words);
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(results[i], i == 7 ? -3.0f : 3.0f);
}

TEST(DotMasked, AShortLastGroupIsNeverTakenForAllNegative) {
    for (size_t count = 1; count < 8; ++count) {
        for (const float result : dotted(-3.0f, std::vector<int32_t>(count, INT32_MIN))) EXPECT_EQ(result, 3.0f);
    }
}

TEST(DotMasked, AGroupOfNegativeWordsReadsNoInput) {
    Random random(3);
    PlacedPlanes left(planesOf(finiteValues, random, 24)), right(planesOf(finiteValues, random, 24));
    PlacedArray mask(std::vector<int32_t>(24, INT32_MIN));
    PlacedArray result(finiteValues(random, 24));
    left.forbidAccess();
    right.forbidAccess();
    EXPECT_EQ(zyprDot_32f_P3C1M(left.pointers(), right.pointers(), mask.data(), result.data(), 24), zypStsNoErr);
    EXPECT_TRUE(equalBits(result.values(), std::vector<float>(24, 0.0f)));
}

TEST(DotMasked, ANegativeCountHandlesItsLowThreeBitsAtTheStart) {
    Random random(4);
    for (const int32_t count : {-1, -2, -3, -5, -7, -8, -9, -13, -16, -1001, INT32_MIN, INT32_MIN + 3}) {
        const int32_t handled = count & 7;
        PlacedPlanes left(planesOf(finiteValues, random, handled)), right(planesOf(finiteValues, random, handled));
        PlacedArray mask(anyWords(random, handled));
        PlacedArray result(finiteValues(random, handled));
        PlacedPlanes::Values a = {left[0].original(), left[1].original(), left[2].original()};
        PlacedPlanes::Values b = {right[0].original(), right[1].original(), right[2].original()};
        std::vector<float> expected(a[0].size());
        model::dot(Pointers(a), Pointers(b), mask.original().data(), expected.data(), handled);
        EXPECT_EQ(zyprDot_32f_P3C1M(left.pointers(), right.pointers(), mask.data(), result.data(), count), zypStsNoErr);
        EXPECT_TRUE(equalBits(result.values(), expected));
        EXPECT_TRUE(result.surroundingsIntact());
    }
}

TEST(DotMasked, ACountOfZeroLeavesEverythingUntouched) {
    float *const nothing[3] = {nullptr, nullptr, nullptr};
    const int32_t word = 0;
    PlacedArray result(std::vector<float>{5.0f});
    EXPECT_EQ(zyprDot_32f_P3C1M(nothing, nothing, &word, result.data(), 0), zypStsNoErr);
    EXPECT_TRUE(result.untouched());
}

TEST(DotMasked, ANullPointerIsRefusedWithNothingWritten) {
    PlacedPlanes planes({std::vector<float>{1}, {2}, {3}});
    PlacedArray result(std::vector<float>{5.0f});
    const int32_t word = 0;
    EXPECT_EQ(zyprDot_32f_P3C1M(nullptr, planes.pointers(), &word, result.data(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprDot_32f_P3C1M(planes.pointers(), nullptr, &word, result.data(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprDot_32f_P3C1M(planes.pointers(), planes.pointers(), nullptr, result.data(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprDot_32f_P3C1M(planes.pointers(), planes.pointers(), &word, nullptr, 1), zypStsNullPtrErr);
    EXPECT_TRUE(result.untouched());
}
