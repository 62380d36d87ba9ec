// zyprDotChangeNorm_32f_IM
#include "shading/arrays.h"
#include "shading/models.h"
#include "zypr.h"

using namespace zypr::test;

namespace {

template <class Make>
void check(Random &random, int32_t count, size_t referencePlace, size_t maskPlace, const std::array<size_t, 3> &normalsPlace,
           size_t resultPlace, Make make) {
    PlacedPlanes reference(planesOf(make, random, count), referencePlace);
    PlacedArray mask(anyWords(random, count), maskPlace);
    PlacedPlanes normals(planesOf(make, random, count), normalsPlace);
    PlacedArray result(finiteValues(random, count), resultPlace);
    PlacedPlanes::Values r = {reference[0].original(), reference[1].original(), reference[2].original()};
    PlacedPlanes::Values n = {normals[0].original(), normals[1].original(), normals[2].original()};
    std::vector<float> expected(r[0].size());
    model::turn(Pointers(r), mask.original().data(), Pointers(n), expected.data(), count);
    ASSERT_EQ(zyprDotChangeNorm_32f_IM(reference.pointers(), mask.data(), normals.pointers(), result.data(), count),
              zypStsNoErr);
    ASSERT_TRUE(equalValues(result.values(), expected)) << count;
    for (size_t c = 0; c < 3; ++c) ASSERT_TRUE(equalBits(normals[c].values(), n[c])) << count << " plane " << c;
    ASSERT_TRUE(result.surroundingsIntact() && normals.surroundingsIntact() && reference.untouched() && mask.untouched());
}

struct Turned {
    float dot;
    std::array<float, 3> normal;
};

// The element `at` of a call of `count` elements that are all alike, at the given place of the normals.
Turned turned(const std::array<float, 3> &r, const std::array<float, 3> &n, int32_t word = 0, int32_t count = 1, size_t at = 0,
              size_t place = 0) {
    const auto size = static_cast<size_t>(count);
    PlacedPlanes reference({std::vector<float>(size, r[0]), std::vector<float>(size, r[1]), std::vector<float>(size, r[2])}, 0);
    PlacedPlanes normals({std::vector<float>(size, n[0]), std::vector<float>(size, n[1]), std::vector<float>(size, n[2])},
                         place);
    PlacedArray mask(std::vector<int32_t>(size, word), 0);
    PlacedArray result(std::vector<float>(size, 7.0f), 0);
    EXPECT_EQ(zyprDotChangeNorm_32f_IM(reference.pointers(), mask.data(), normals.pointers(), result.data(), count),
              zypStsNoErr);
    return {result.values()[at], {normals[0].values()[at], normals[1].values()[at], normals[2].values()[at]}};
}

// Calls on the aligned path, in a vector step, and with single elements only.
struct Call {
    int32_t count;
    size_t at, place;
};
constexpr Call everyPath[] = {{8, 3, 0}, {20, 18, 0}, {31, 12, 4}, {31, 30, 0}, {5, 4, 4}, {40, 20, 4}};

} // namespace

TEST(TurnNormals, MatchesTheModelAtEveryCountAndPlace) {
    Random random(1);
    for (const int32_t count : interestingCounts()) {
        for (const size_t place : {0, 4, 8, 12, 16, 20, 24, 28, 7}) {
            check(random, count, place, place, {place, place, place}, place, finiteValues);
            check(random, count, 0, 0, {16, 0, place}, 0, finiteValues);
            check(random, count, 0, place, {0, 4, 8}, 12, specialValues);
            check(random, count, 16, 0, {0, 0, 0}, place, specialValues);
        }
    }
}

TEST(TurnNormals, TouchesNothingBehindTheArrays) {
    Random random(2);
    for (const int32_t count : interestingCounts()) {
        PlacedPlanes reference(planesOf(finiteValues, random, count)), normals(planesOf(finiteValues, random, count));
        PlacedArray mask(anyWords(random, count));
        PlacedArray result(finiteValues(random, count));
        EXPECT_EQ(zyprDotChangeNorm_32f_IM(reference.pointers(), mask.data(), normals.pointers(), result.data(), count),
                  zypStsNoErr);
        EXPECT_TRUE(normals.surroundingsIntact() && result.surroundingsIntact());
    }
}

TEST(TurnNormals, ANormalAtRightAnglesIsNotTurned) {
    for (const Call &call : everyPath) {
        const Turned kept = turned({1, 0, 0}, {0, 1, -1}, 0, call.count, call.at, call.place);
        EXPECT_EQ(kept.dot, 0.0f);
        EXPECT_EQ(kept.normal, (std::array<float, 3>{0, 1, -1}));
    }
}

TEST(TurnNormals, AZeroDotKeepsItsSign) {
    EXPECT_EQ(bits(turned({-1, 0, 0}, {0, -0.0f, -0.0f}).dot),
              bits(std::fma(-0.0f, 0.0f, std::fma(0.0f, -1.0f, -0.0f * 0.0f))));
    EXPECT_EQ(bits(turned({1, 1, 1}, {-0.0f, -0.0f, -0.0f}).dot), 0x80000000u);
    EXPECT_EQ(bits(turned({1, 1, 1}, {0.0f, 0.0f, 0.0f}).dot), 0u);
}

TEST(TurnNormals, AFacingNormalIsTurnedOnce) {
    for (const Call &call : everyPath) {
        const Turned first = turned({1, 0, 0}, {0.5f, 2.0f, -0.0f}, 0, call.count, call.at, call.place);
        EXPECT_EQ(first.dot, -0.5f);
        EXPECT_EQ(first.normal[0], -0.5f);
        EXPECT_EQ(first.normal[1], -2.0f);
        EXPECT_EQ(bits(first.normal[2]), 0u);
        const Turned second = turned({1, 0, 0}, first.normal, 0, call.count, call.at, call.place);
        EXPECT_EQ(second.dot, -0.5f);
        EXPECT_EQ(second.normal, first.normal);
    }
}

TEST(TurnNormals, AnUnselectedElementKeepsItsNormalAndGivesPositiveZero) {
    for (const int32_t word : {-1, -9, INT32_MIN}) {
        for (const Call &call : everyPath) {
            const Turned kept = turned({1, 0, 0}, {0.5f, 2.0f, -1.0f}, word, call.count, call.at, call.place);
            EXPECT_EQ(bits(kept.dot), 0u);
            EXPECT_EQ(kept.normal, (std::array<float, 3>{0.5f, 2.0f, -1.0f}));
        }
    }
}

TEST(TurnNormals, AnyWordThatIsNotNegativeSelects) {
    for (const int32_t word : {0, 1, INT32_MAX}) {
        for (const Call &call : everyPath) {
            EXPECT_EQ(turned({1, 0, 0}, {0.5f, 2.0f, -1.0f}, word, call.count, call.at, call.place).dot, -0.5f);
        }
    }
}

TEST(TurnNormals, NaNLeavesTheNormalWithItsBitsAndIsTheResult) {
    const float signalling = fromBits(0x7F800001);
    for (const Call &call : everyPath) {
        const Turned kept = turned({1, 1, 1}, {0.5f, signalling, 2.0f}, 0, call.count, call.at, call.place);
        EXPECT_TRUE(std::isnan(kept.dot));
        EXPECT_EQ(bits(kept.normal[1]), 0x7F800001u);
        EXPECT_EQ(kept.normal[0], 0.5f);
        EXPECT_TRUE(std::isnan(turned({0, 1, 1}, {INFINITY, 1, 1}, 0, call.count, call.at, call.place).dot));
    }
}

TEST(TurnNormals, AnInfiniteDotTurns) {
    for (const Call &call : everyPath) {
        const Turned result = turned({1, 1, 1}, {INFINITY, 1, 1}, 0, call.count, call.at, call.place);
        EXPECT_EQ(result.dot, -INFINITY);
        EXPECT_EQ(result.normal, (std::array<float, 3>{-INFINITY, -1, -1}));
    }
}

TEST(TurnNormals, SumsPlaneOneThenZeroThenTwo) {
    const float third = 0.33333334f;
    const float expected = std::fma(0.1f, third, std::fma(3.0000002f, third, -3.0f * third));
    for (const Call &call : everyPath) {
        EXPECT_EQ(bits(turned({third, third, third}, {3.0000002f, -3.0f, 0.1f}, 0, call.count, call.at, call.place).dot),
                  bits(-expected));
    }
}

TEST(TurnNormals, GroupsWithoutASelectedElementTouchNoNormalAndNoReference) {
    Random random(3);
    for (const int32_t count : {5, 8, 16, 29, 32}) {
        PlacedPlanes reference(planesOf(finiteValues, random, count)), normals(planesOf(finiteValues, random, count));
        PlacedArray mask(std::vector<int32_t>(static_cast<size_t>(count), INT32_MIN));
        PlacedArray result(finiteValues(random, count));
        reference.forbidAccess();
        normals.forbidAccess();
        EXPECT_EQ(zyprDotChangeNorm_32f_IM(reference.pointers(), mask.data(), normals.pointers(), result.data(), count),
                  zypStsNoErr);
        EXPECT_TRUE(equalBits(result.values(), std::vector<float>(static_cast<size_t>(count), 0.0f)));
    }
}

// Both triples end at inaccessible pages behind the selected elements.
TEST(TurnNormals, UnselectedElementsOfAGroupAreNotRead) {
    Random random(4);
    for (const int32_t count : {7, 16, 27, 32}) {
        for (int32_t selected = 1; selected < count; ++selected) {
            PlacedPlanes reference(planesOf(finiteValues, random, selected)), normals(planesOf(finiteValues, random, selected));
            std::vector<int32_t> words(static_cast<size_t>(count), -1);
            std::fill_n(words.begin(), selected, 0);
            PlacedArray mask(words);
            PlacedArray result(finiteValues(random, count));
            EXPECT_EQ(zyprDotChangeNorm_32f_IM(reference.pointers(), mask.data(), normals.pointers(), result.data(), count),
                      zypStsNoErr);
            EXPECT_EQ(bits(result.values().back()), 0u);
        }
    }
}

TEST(TurnNormals, NormalsThatAreNotTurnedAreNotWritten) {
    const int32_t count = 45;
    const std::vector<float> ones(count, 1.0f), minusOnes(count, -1.0f);
    PlacedPlanes reference({ones, ones, ones}), normals({minusOnes, minusOnes, minusOnes});
    PlacedArray mask(std::vector<int32_t>(count, 0));
    PlacedArray result(ones);
    normals.forbidWrites();
    EXPECT_EQ(zyprDotChangeNorm_32f_IM(reference.pointers(), mask.data(), normals.pointers(), result.data(), count),
              zypStsNoErr);
    EXPECT_TRUE(equalBits(result.values(), std::vector<float>(count, -3.0f)));
}

TEST(TurnNormals, CountsBelowOneTouchNothing) {
    float *const nothing[3] = {nullptr, nullptr, nullptr};
    PlacedPlanes normals({std::vector<float>{1}, {2}, {3}});
    PlacedArray result(std::vector<float>{5.0f});
    const int32_t word = 0;
    for (const int32_t count : {0, -1, -4, -16, INT32_MIN}) {
        EXPECT_EQ(zyprDotChangeNorm_32f_IM(nothing, &word, nothing, result.data(), count), zypStsNoErr);
        EXPECT_EQ(zyprDotChangeNorm_32f_IM(normals.pointers(), &word, normals.pointers(), result.data(), count), zypStsNoErr);
    }
    EXPECT_TRUE(result.untouched() && normals.untouched());
}

TEST(TurnNormals, ANullPointerIsRefusedWithNothingWritten) {
    PlacedPlanes reference({std::vector<float>{1}, {2}, {3}}), normals({std::vector<float>{1}, {2}, {3}});
    PlacedArray result(std::vector<float>{5.0f});
    const int32_t word = 0;
    EXPECT_EQ(zyprDotChangeNorm_32f_IM(nullptr, &word, normals.pointers(), result.data(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprDotChangeNorm_32f_IM(reference.pointers(), nullptr, normals.pointers(), result.data(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprDotChangeNorm_32f_IM(reference.pointers(), &word, nullptr, result.data(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprDotChangeNorm_32f_IM(reference.pointers(), &word, normals.pointers(), nullptr, 1), zypStsNullPtrErr);
    EXPECT_TRUE(normals.untouched() && result.untouched());
}
