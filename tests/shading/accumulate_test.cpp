// zyprAddMulMul_32f_AC1P3IM
#include "shading/arrays.h"
#include "shading/models.h"
#include "zypr.h"

using namespace zypr::test;

namespace {

constexpr float scale[3] = {0.7f, -1.3f, 0.1f};

struct Places {
    size_t weight = 0, mask = 0;
    std::array<size_t, 3> factor = {}, accumulator = {};
    bool aligned() const { return (weight | mask | accumulator[0] | accumulator[1] | accumulator[2]) % 16 == 0; }
};

template <class Make> void check(Random &random, int32_t count, const Places &places, Make make) {
    PlacedArray weight(make(random, count), places.weight);
    PlacedPlanes factor(planesOf(make, random, count), places.factor);
    PlacedArray mask(anyWords(random, count), places.mask);
    PlacedPlanes accumulator(planesOf(make, random, count), places.accumulator);
    PlacedPlanes::Values factors = {factor[0].original(), factor[1].original(), factor[2].original()};
    PlacedPlanes::Values expected = {accumulator[0].original(), accumulator[1].original(), accumulator[2].original()};
    model::accumulate(scale, weight.original().data(), Pointers(factors), mask.original().data(), Pointers(expected), count,
                      places.aligned() && count % 4 == 0, weight.address());
    ASSERT_EQ(zyprAddMulMul_32f_AC1P3IM(scale, weight.data(), factor.pointers(), mask.data(), accumulator.pointers(), count),
              zypStsNoErr);
    for (size_t c = 0; c < 3; ++c) {
        ASSERT_TRUE(equalValues(accumulator[c].values(), expected[c]))
            << count << " plane " << c << " weights at " << places.weight;
    }
    ASSERT_TRUE(accumulator.surroundingsIntact() && weight.untouched() && factor.untouched() && mask.untouched());
}

// The first plane after a call in which every element has the same operands. The arrays are 32-byte aligned but for the
// accumulators, whose `place` decides between the aligned path (0) and the general one (4).
std::vector<float> accumulated(int32_t count, size_t place, float weight, float factor, float start,
                               const std::vector<int32_t> &words) {
    const auto size = static_cast<size_t>(count);
    const float one[3] = {1.0f, 1.0f, 1.0f};
    PlacedArray weights(std::vector<float>(size, weight), 0);
    PlacedPlanes factors({std::vector<float>(size, factor), std::vector<float>(size, factor), std::vector<float>(size, factor)},
                         0);
    PlacedArray mask(words, 0);
    PlacedPlanes sums({std::vector<float>(size, start), std::vector<float>(size, start), std::vector<float>(size, start)},
                      place);
    EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(one, weights.data(), factors.pointers(), mask.data(), sums.pointers(), count),
              zypStsNoErr);
    return sums[0].values();
}

} // namespace

TEST(Accumulate, GeneralPathMatchesTheModelAtEveryCountAndPlaceOfTheWeights) {
    Random random(1);
    for (const int32_t count : interestingCounts()) {
        for (size_t place = 0; place < 32; ++place) {
            if (place % 4 != 0 && count % 5 != 1 && count < 1000) continue;
            Places places;
            places.weight = place;
            places.accumulator = {4, 0, 12}; // never aligned
            check(random, count, places, finiteValues);
            check(random, count, places, specialValues);
        }
    }
}

TEST(Accumulate, AlignedPathMatchesTheModelAtEveryCount) {
    Random random(2);
    for (const int32_t count : interestingCounts()) {
        for (const size_t place : {0, 16, 32, 48}) {
            for (const size_t factorPlace : {0, 4, 20, 7}) { // of the factors the path does not ask
                Places places;
                places.weight = place;
                places.mask = 16;
                places.factor = {factorPlace, 4, 8};
                places.accumulator = {16, place, 0};
                check(random, count, places, finiteValues);
                check(random, count, places, specialValues);
            }
        }
    }
}

TEST(Accumulate, EachArrayThatLosesItsAlignmentLeavesTheAlignedPath) {
    Random random(3);
    for (const int32_t count : {4, 16, 40, 64}) {
        for (const size_t place : {4, 8, 12, 20}) {
            Places places;
            places.weight = place;
            check(random, count, places, finiteValues);
            places = {};
            places.mask = place;
            check(random, count, places, finiteValues);
            for (size_t c = 0; c < 3; ++c) {
                places = {};
                places.accumulator[c] = place;
                check(random, count, places, finiteValues);
                places = {};
                places.factor[c] = place;
                check(random, count, places, finiteValues);
            }
        }
    }
}

TEST(Accumulate, TouchesNothingBehindTheArrays) {
    Random random(4);
    for (const int32_t count : interestingCounts()) {
        PlacedArray weight(finiteValues(random, count));
        PlacedPlanes factor(planesOf(finiteValues, random, count));
        PlacedArray mask(anyWords(random, count));
        PlacedPlanes accumulator(planesOf(finiteValues, random, count));
        EXPECT_EQ(
            zyprAddMulMul_32f_AC1P3IM(scale, weight.data(), factor.pointers(), mask.data(), accumulator.pointers(), count),
            zypStsNoErr);
        EXPECT_TRUE(accumulator.surroundingsIntact());
    }
}

// A case in which the three roundings are three numbers.
TEST(Accumulate, AlignedVectorAndSingleElementsRoundInThreeWays) {
    Random random(5);
    for (;;) {
        const float s = random.real(1.0f, 2.0f), f = random.real(1.0f, 2.0f), w = random.real(1.0f, 2.0f);
        const float start = random.real(-4.0f, 4.0f);
        const float aligned = std::fma(f * w, s, start);
        const float single = std::fma(s * f, w, start);
        const float scaled = s * f;
        const float term = scaled * w;
        const float vector = term + start;
        if (aligned == single || single == vector || aligned == vector) continue;

        const float scales[3] = {s, s, s};
        const auto at = [&](size_t place, size_t count) {
            PlacedArray weight(std::vector<float>(count, w), 0);
            PlacedPlanes factor({std::vector<float>(count, f), std::vector<float>(count, f), std::vector<float>(count, f)}, 0);
            PlacedArray mask(std::vector<int32_t>(count, 0), 0);
            PlacedPlanes sums(
                {std::vector<float>(count, start), std::vector<float>(count, start), std::vector<float>(count, start)}, place);
            EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(scales, weight.data(), factor.pointers(), mask.data(), sums.pointers(),
                                                static_cast<int32_t>(count)),
                      zypStsNoErr);
            EXPECT_TRUE(equalBits(sums[0].values(), sums[1].values()));
            EXPECT_TRUE(equalBits(sums[0].values(), sums[2].values()));
            return sums[0].values();
        };
        for (const float sum : at(0, 20)) EXPECT_EQ(bits(sum), bits(aligned));
        for (const float sum : at(4, 12)) EXPECT_EQ(bits(sum), bits(single));
        const std::vector<float> mixed = at(4, 28);
        for (size_t i = 0; i < 28; ++i) EXPECT_EQ(bits(mixed[i]), bits(i < 24 ? vector : single)) << i;
        break;
    }
}

TEST(Accumulate, AnUnselectedNegativeZeroBecomesPositiveOnlyInAVectorStep) {
    const std::vector<int32_t> unselected(20, -1);
    for (const float sum : accumulated(20, 0, 1, 1, -0.0f, unselected)) EXPECT_EQ(bits(sum), 0x80000000u);
    const std::vector<float> general = accumulated(20, 4, 1, 1, -0.0f, unselected);
    for (size_t i = 0; i < 20; ++i) EXPECT_EQ(bits(general[i]), i < 16 ? 0u : 0x80000000u) << i;
}

TEST(Accumulate, AnUnselectedElementOfAVectorStepTakesNoTermEvenIfThatIsNaN) {
    const std::vector<float> sums = accumulated(16, 4, INFINITY, 0.0f, 2.5f, std::vector<int32_t>(16, INT32_MIN));
    for (const float sum : sums) EXPECT_EQ(sum, 2.5f);
    for (const float sum : accumulated(16, 4, 1, 1, NAN, std::vector<int32_t>(16, -1))) EXPECT_TRUE(std::isnan(sum));
}

TEST(Accumulate, UnselectedBitsStayOnTheAlignedAndSinglePaths) {
    const float signalling = fromBits(0x7F800001);
    const std::vector<float> aligned = accumulated(8, 0, 1, 1, signalling, {-1, 0, -1, 0, -1, -1, -1, -1});
    for (const size_t i : {0u, 2u, 4u, 5u, 6u, 7u}) EXPECT_EQ(bits(aligned[i]), 0x7F800001u);
    const std::vector<float> single = accumulated(5, 4, 1, 1, signalling, {-1, -2, INT32_MIN, -1, 0});
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(bits(single[i]), 0x7F800001u);
}

TEST(Accumulate, ASelectedZeroTimesInfinityIsNaNOnAllPaths) {
    for (const float sum : accumulated(20, 0, 0.0f, INFINITY, 1, std::vector<int32_t>(20, 0))) EXPECT_TRUE(std::isnan(sum));
    for (const float sum : accumulated(20, 4, 0.0f, INFINITY, 1, std::vector<int32_t>(20, 0))) EXPECT_TRUE(std::isnan(sum));
}

TEST(Accumulate, AnyWordThatIsNotNegativeSelects) {
    for (const int32_t word : {0, 1, 5, INT32_MAX}) {
        for (const float sum : accumulated(20, 0, 2, 3, 1, std::vector<int32_t>(20, word))) EXPECT_EQ(sum, 7.0f);
        for (const float sum : accumulated(23, 4, 2, 3, 1, std::vector<int32_t>(23, word))) EXPECT_EQ(sum, 7.0f);
    }
    for (const int32_t word : {-1, -2, INT32_MIN}) {
        for (const float sum : accumulated(20, 0, 2, 3, 1, std::vector<int32_t>(20, word))) EXPECT_EQ(sum, 1.0f);
        for (const float sum : accumulated(23, 4, 2, 3, 1, std::vector<int32_t>(23, word))) EXPECT_EQ(sum, 1.0f);
    }
}

TEST(Accumulate, AStepOfFourDeadWordsReadsAndWritesNothingOnTheAlignedPath) {
    Random random(6);
    PlacedArray weight(finiteValues(random, 8));
    PlacedArray mask(std::vector<int32_t>(8, -7));
    PlacedPlanes factor(planesOf(finiteValues, random, 8)), accumulator(planesOf(finiteValues, random, 8));
    weight.forbidAccess();
    factor.forbidAccess();
    accumulator.forbidAccess();
    EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(scale, weight.data(), factor.pointers(), mask.data(), accumulator.pointers(), 8),
              zypStsNoErr);
    accumulator.allowAccess();
    EXPECT_TRUE(accumulator.untouched());
}

// The second four elements of every array but the mask lie on an inaccessible page.
TEST(Accumulate, ADeadStepOfFourBesideALiveOneReadsAndWritesNothing) {
    Random random(7);
    PlacedArray weight(finiteValues(random, 4));
    PlacedArray mask(std::vector<int32_t>{0, 0, 0, 0, -1, -1, -1, -1});
    PlacedPlanes factor(planesOf(finiteValues, random, 4)), accumulator(planesOf(finiteValues, random, 4));
    EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(scale, weight.data(), factor.pointers(), mask.data(), accumulator.pointers(), 8),
              zypStsNoErr);
    EXPECT_FALSE(accumulator.untouched());
    EXPECT_TRUE(accumulator.surroundingsIntact());
}

TEST(Accumulate, UnselectedSingleElementsAreNeitherReadNorWritten) {
    Random random(8);
    PlacedArray weight(finiteValues(random, 3));
    PlacedArray mask(std::vector<int32_t>{0, 0, 0, -1, -2, INT32_MIN, -1});
    PlacedPlanes factor(planesOf(finiteValues, random, 3)), accumulator(planesOf(finiteValues, random, 3));
    EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(scale, weight.data(), factor.pointers(), mask.data(), accumulator.pointers(), 7),
              zypStsNoErr);
    EXPECT_FALSE(accumulator.untouched());
}

TEST(Accumulate, OneArrayMayTakeAllThreeTerms) {
    const std::vector<float> ones(40, 1.0f);
    const std::vector<int32_t> mask(40, 0);
    const float *const factor[3] = {ones.data(), ones.data(), ones.data()};
    const float scales[3] = {1.0f, 2.0f, 4.0f};
    for (const size_t place : {0u, 4u}) {
        for (const size_t count : {40u, 13u}) {
            PlacedArray sum(std::vector<float>(count, 0.0f), place);
            float *const sums[3] = {sum.data(), sum.data(), sum.data()};
            EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(scales, ones.data(), factor, mask.data(), sums, static_cast<int32_t>(count)),
                      zypStsNoErr);
            EXPECT_TRUE(equalBits(sum.values(), std::vector<float>(count, 7.0f)));
        }
    }
}

TEST(Accumulate, CountsBelowOneTouchNothingAndTheScaleIsNotChecked) {
    const float *const noFactors[3] = {nullptr, nullptr, nullptr};
    float *const noPlanes[3] = {nullptr, nullptr, nullptr};
    PlacedPlanes accumulator({std::vector<float>{1}, {2}, {3}});
    const float weight = 1.0f;
    const int32_t word = 0;
    for (const int32_t count : {0, -1, -3, -4, -8, -16, INT32_MIN}) {
        EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(nullptr, &weight, noFactors, &word, noPlanes, count), zypStsNoErr);
        EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(scale, &weight, noFactors, &word, accumulator.pointers(), count), zypStsNoErr);
    }
    EXPECT_TRUE(accumulator.untouched());
}

TEST(Accumulate, ANullPointerIsRefusedWithNothingWritten) {
    PlacedPlanes planes({std::vector<float>{1}, {2}, {3}}), accumulator({std::vector<float>{1}, {2}, {3}});
    const float weight = 1.0f;
    const int32_t word = 0;
    EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(scale, nullptr, planes.pointers(), &word, accumulator.pointers(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(scale, &weight, nullptr, &word, accumulator.pointers(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(scale, &weight, planes.pointers(), nullptr, accumulator.pointers(), 1),
              zypStsNullPtrErr);
    EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(scale, &weight, planes.pointers(), &word, nullptr, 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprAddMulMul_32f_AC1P3IM(nullptr, nullptr, nullptr, nullptr, nullptr, 0), zypStsNullPtrErr);
    EXPECT_TRUE(accumulator.untouched());
}
