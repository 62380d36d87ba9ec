// zyprDistAttenuationSO_32f_M
#include "shading/arrays.h"
#include "shading/models.h"
#include "zypr.h"

using namespace zypr::test;

namespace {

constexpr float point[3] = {0.25f, -0.5f, 1.0f};

template <class Make>
void check(Random &random, int32_t count, const std::array<size_t, 3> &place, size_t maskPlace, size_t resultPlace, Make make) {
    PlacedPlanes positions(planesOf(make, random, count), place);
    PlacedArray mask(anyWords(random, count), maskPlace);
    PlacedArray result(finiteValues(random, count), resultPlace);
    PlacedPlanes::Values values = {positions[0].original(), positions[1].original(), positions[2].original()};
    std::vector<float> expected(values[0].size());
    const bool aligned = (place[0] | place[1] | place[2] | maskPlace | resultPlace) % 16 == 0 && count % 4 == 0;
    model::attenuate(point, Pointers(values), mask.original().data(), expected.data(), count, aligned, result.address());
    ASSERT_EQ(zyprDistAttenuationSO_32f_M(point, positions.pointers(), mask.data(), result.data(), count), zypStsNoErr);
    ASSERT_TRUE(equalValues(result.values(), expected)) << count << " result at " << resultPlace;
    ASSERT_TRUE(result.surroundingsIntact() && positions.untouched() && mask.untouched());
}

// The results for positions (x, 0, 0) about the origin, aligned but for the mask, whose `place` decides between the aligned
// path (0) and the general one (4).
std::vector<float> distances(int32_t count, size_t place, float x, const std::vector<int32_t> &words) {
    const float origin[3] = {0, 0, 0};
    const auto size = static_cast<size_t>(count);
    PlacedPlanes positions({std::vector<float>(size, x), std::vector<float>(size), std::vector<float>(size)}, 0);
    PlacedArray mask(words, place);
    PlacedArray result(std::vector<float>(size, -7.0f), 0);
    EXPECT_EQ(zyprDistAttenuationSO_32f_M(origin, positions.pointers(), mask.data(), result.data(), count), zypStsNoErr);
    return result.values();
}
std::vector<float> distances(int32_t count, size_t place, float x) {
    return distances(count, place, x, std::vector<int32_t>(static_cast<size_t>(count)));
}

} // namespace

TEST(Attenuation, GeneralPathMatchesTheModelAtEveryCountAndPlaceOfTheResult) {
    Random random(1);
    for (const int32_t count : interestingCounts()) {
        for (size_t place = 0; place < 32; ++place) {
            if (place % 4 != 0 && count % 5 != 1 && count < 1000) continue;
            check(random, count, {4, 0, 8}, 0, place, finiteValues);
            check(random, count, {0, 4, place}, 8, place, specialValues);
        }
    }
}

TEST(Attenuation, AlignedPathMatchesTheModelAtEveryCount) {
    Random random(2);
    for (const int32_t count : interestingCounts()) {
        for (const size_t place : {0, 16, 32, 48}) {
            check(random, count, {place, 0, 16}, 16, place, finiteValues);
            check(random, count, {place, 16, place}, 0, 16, specialValues);
        }
    }
}

TEST(Attenuation, EachArrayThatLosesItsAlignmentLeavesTheAlignedPath) {
    Random random(3);
    for (const int32_t count : {4, 16, 40, 64}) {
        for (const size_t place : {4, 8, 12, 20}) {
            check(random, count, {place, 0, 0}, 0, 0, specialValues);
            check(random, count, {0, place, 0}, 0, 0, specialValues);
            check(random, count, {0, 0, place}, 0, 0, specialValues);
            check(random, count, {0, 0, 0}, place, 0, specialValues);
            check(random, count, {0, 0, 0}, 0, place, specialValues);
        }
    }
}

TEST(Attenuation, TouchesNothingBehindTheArrays) {
    Random random(4);
    for (const int32_t count : interestingCounts()) {
        PlacedPlanes positions(planesOf(finiteValues, random, count));
        PlacedArray mask(anyWords(random, count));
        PlacedArray result(finiteValues(random, count));
        EXPECT_EQ(zyprDistAttenuationSO_32f_M(point, positions.pointers(), mask.data(), result.data(), count), zypStsNoErr);
        EXPECT_TRUE(result.surroundingsIntact());
    }
}

TEST(Attenuation, IsOneAtThePointAndBelowADistanceOfOne) {
    for (const float x : {0.0f, -0.0f, 1e-30f, 0.5f, -0.99999994f}) {
        for (const float distance : distances(20, 0, x)) EXPECT_EQ(distance, 1.0f);
        for (const float distance : distances(31, 4, x)) EXPECT_EQ(distance, 1.0f);
    }
}

TEST(Attenuation, IsTwoAtDistanceTwoAndNearItInAVectorStep) {
    for (const float distance : distances(20, 0, 2.0f)) EXPECT_EQ(distance, 2.0f);
    for (const float distance : distances(15, 4, -2.0f)) EXPECT_EQ(distance, 2.0f);
    const std::vector<float> general = distances(31, 4, 2.0f);
    for (size_t i = 0; i < 31; ++i) {
        if (i < 24)
            EXPECT_NEAR(general[i], 2.0f, 1e-5f);
        else
            EXPECT_EQ(general[i], 2.0f);
    }
}

TEST(Attenuation, AtADistanceOfOneAVectorStepKeepsItsEstimate) {
    const float origin[3] = {0, 0, 0};
    std::vector<float> xs(31, -1.0f), zeros(31), expected(31);
    const float *const positions[3] = {xs.data(), zeros.data(), zeros.data()};
    const std::vector<int32_t> mask(31, 0);
    model::attenuate(origin, positions, mask.data(), expected.data(), 31, false, 0);
    EXPECT_TRUE(equalBits(distances(31, 4, -1.0f), expected));
    EXPECT_EQ(distances(31, 4, -1.0f)[30], 1.0f);
}

// Some roots come out otherwise by the estimate: so the ways are told apart.
TEST(Attenuation, NeighboursMayCarryEitherRoot) {
    Random random(5);
    int different = 0;
    for (int k = 0; k < 100; ++k) {
        const std::vector<float> general = distances(31, 4, random.real(1.0f, 100.0f));
        different += general[0] != general[30];
        EXPECT_NEAR(general[0], general[30], 1e-5f * general[30]);
    }
    EXPECT_GT(different, 0);
}

TEST(Attenuation, ASquareThatIsNaNGivesOneOnTheAlignedPathAndNaNElsewhere) {
    for (const float distance : distances(20, 0, NAN)) EXPECT_EQ(distance, 1.0f);
    for (const float distance : distances(31, 4, NAN)) EXPECT_TRUE(std::isnan(distance));
}

TEST(Attenuation, AnInfiniteSquareGivesInfinityAndNaNInAVectorStep) {
    for (const float x : {INFINITY, 1e30f}) {
        for (const float distance : distances(20, 0, x)) EXPECT_EQ(distance, INFINITY);
        const std::vector<float> general = distances(31, 4, x);
        for (size_t i = 0; i < 31; ++i) {
            if (i < 24)
                EXPECT_TRUE(std::isnan(general[i]));
            else
                EXPECT_EQ(general[i], INFINITY);
        }
    }
}

TEST(Attenuation, UnselectedElementsAreOneEvenWhereThePositionIsNaN) {
    for (const auto &[count, place] : {std::pair<int32_t, size_t>{20, 0}, {31, 4}}) {
        std::vector<int32_t> words(static_cast<size_t>(count));
        for (size_t i = 0; i < words.size(); i += 2) words[i] = i % 4 == 0 ? -1 : INT32_MIN;
        const float origin[3] = {0, 0, 0};
        std::vector<float> xs(words.size(), 3.0f);
        for (size_t i = 0; i < xs.size(); i += 2) xs[i] = NAN;
        PlacedPlanes positions({xs, std::vector<float>(xs.size()), std::vector<float>(xs.size())}, 0);
        PlacedArray mask(words, place);
        PlacedArray result(std::vector<float>(xs.size()), 0);
        EXPECT_EQ(zyprDistAttenuationSO_32f_M(origin, positions.pointers(), mask.data(), result.data(), count), zypStsNoErr);
        const std::vector<float> values = result.values();
        for (size_t i = 0; i < xs.size(); ++i) {
            if (i % 2 == 0)
                EXPECT_EQ(values[i], 1.0f);
            else
                EXPECT_NEAR(values[i], 3.0f, 1e-5f);
        }
    }
}

TEST(Attenuation, UnselectedElementsAreOneWhateverTheirDistance) {
    for (const int32_t word : {-1, -2, INT32_MIN}) {
        for (const float distance : distances(20, 0, 9.0f, std::vector<int32_t>(20, word))) EXPECT_EQ(distance, 1.0f);
        for (const float distance : distances(31, 4, 9.0f, std::vector<int32_t>(31, word))) EXPECT_EQ(distance, 1.0f);
    }
    for (const int32_t word : {0, 1, INT32_MAX}) {
        for (const float distance : distances(20, 0, 9.0f, std::vector<int32_t>(20, word))) EXPECT_EQ(distance, 9.0f);
        for (const float distance : distances(31, 4, 9.0f, std::vector<int32_t>(31, word))) EXPECT_NEAR(distance, 9.0f, 1e-5f);
    }
}

TEST(Attenuation, ACountThatIsNoMultipleOfFourTakesTheGeneralPath) {
    for (const float distance : distances(5, 0, NAN)) EXPECT_TRUE(std::isnan(distance)); // 1.0 on the aligned path
    for (const float distance : distances(4, 0, NAN)) EXPECT_EQ(distance, 1.0f);
}

TEST(Attenuation, GroupsWithoutASelectedElementReadNoPosition) {
    Random random(6);
    for (const int32_t count : {5, 8, 16, 29, 32}) {
        PlacedPlanes positions(planesOf(finiteValues, random, count));
        PlacedArray mask(std::vector<int32_t>(static_cast<size_t>(count), -1));
        PlacedArray result(finiteValues(random, count));
        positions.forbidAccess();
        EXPECT_EQ(zyprDistAttenuationSO_32f_M(point, positions.pointers(), mask.data(), result.data(), count), zypStsNoErr);
        EXPECT_TRUE(equalBits(result.values(), std::vector<float>(static_cast<size_t>(count), 1.0f)));
    }
}

// The positions end at an inaccessible page behind the selected elements.
TEST(Attenuation, UnselectedPositionsOfAGroupAreNotRead) {
    Random random(7);
    for (const int32_t count : {7, 16, 27, 32}) {
        for (int32_t selected = 1; selected < count; ++selected) {
            PlacedPlanes positions(planesOf(finiteValues, random, selected));
            std::vector<int32_t> words(static_cast<size_t>(count), -1);
            std::fill_n(words.begin(), selected, 0);
            PlacedArray mask(words);
            PlacedArray result(finiteValues(random, count), 4);
            EXPECT_EQ(zyprDistAttenuationSO_32f_M(point, positions.pointers(), mask.data(), result.data(), count), zypStsNoErr);
            EXPECT_EQ(result.values().back(), 1.0f);
        }
    }
}

TEST(Attenuation, CountsBelowOneTouchNothingAndThePointIsNotChecked) {
    float *const nothing[3] = {nullptr, nullptr, nullptr};
    PlacedArray result(std::vector<float>{5.0f});
    const int32_t word = 0;
    for (const int32_t count : {0, -1, -4, -16, INT32_MIN}) {
        EXPECT_EQ(zyprDistAttenuationSO_32f_M(nullptr, nothing, &word, result.data(), count), zypStsNoErr);
    }
    EXPECT_TRUE(result.untouched());
}

TEST(Attenuation, ANullPointerIsRefusedWithNothingWritten) {
    PlacedPlanes positions({std::vector<float>{1}, {2}, {3}});
    PlacedArray result(std::vector<float>{5.0f});
    const int32_t word = 0;
    EXPECT_EQ(zyprDistAttenuationSO_32f_M(point, nullptr, &word, result.data(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprDistAttenuationSO_32f_M(point, positions.pointers(), nullptr, result.data(), 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprDistAttenuationSO_32f_M(point, positions.pointers(), &word, nullptr, 1), zypStsNullPtrErr);
    EXPECT_EQ(zyprDistAttenuationSO_32f_M(nullptr, nullptr, nullptr, nullptr, 0), zypStsNullPtrErr);
    EXPECT_TRUE(result.untouched());
}
