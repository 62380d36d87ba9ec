// Boxes and triangle records, beside scalar models.

#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <cmath>
#include <cstring>

#include "scene/record_models.h"
#include "support/bits.h"
#include "support/core_probe.h"
#include "support/guarded_array.h"
#include "support/random.h"
#include "zypr.h"

using namespace zypr::test;

namespace {

std::array<float, 6> boxOf(const GuardedArray<float> &points, int32_t count) {
    ZyprBox box;
    EXPECT_EQ(zyprSetBoundBox_32f(points.data(), count, &box), zypStsNoErr);
    std::array<float, 6> values;
    std::memcpy(values.data(), &box, sizeof box);
    return values;
}

using model::Words;

Words wordsOf(const ZyprTriangleAccel &accel) {
    Words words;
    std::memcpy(words.data(), &accel, sizeof accel);
    return words;
}

testing::AssertionResult sameWords(const Words &actual, const Words &expected) {
    for (size_t i = 0; i < 10; ++i) {
        const bool bothNaN = i > 0 && std::isnan(fromBits(actual[i])) && std::isnan(fromBits(expected[i]));
        if (actual[i] != expected[i] && !bothNaN)
            return testing::AssertionFailure()
                   << "word " << i << " is " << std::hex << actual[i] << ", expected " << expected[i];
    }
    return testing::AssertionSuccess();
}

// The records of triangles in arrays that end at inaccessible pages.
std::vector<Words> accelsOf(const std::vector<float> &vertices, const std::vector<int32_t> &triangles) {
    const GuardedArray<float> guardedVertices(vertices);
    const GuardedArray<int32_t> guardedTriangles(triangles);
    GuardedArray<ZyprTriangleAccel> accels(triangles.size() / 4, 8);
    EXPECT_EQ(zyprTriangleAccelInit(accels.data(), guardedVertices.data(), guardedTriangles.data(),
                                    static_cast<int32_t>(triangles.size() / 4)),
              zypStsNoErr);
    EXPECT_TRUE(accels.surroundingsIntact());
    std::vector<Words> words;
    for (const ZyprTriangleAccel &accel : accels) words.push_back(wordsOf(accel));
    return words;
}

Words accelOf(std::array<float, 3> p0, std::array<float, 3> p1, std::array<float, 3> p2) {
    const std::vector<float> vertices = {p0[0], p0[1], p0[2], p1[0], p1[1], p1[2], p2[0], p2[1], p2[2]};
    const Words words = accelsOf(vertices, {0, 1, 2, -1})[0];
    EXPECT_TRUE(sameWords(words, model::accelOf(p0.data(), p1.data(), p2.data())));
    return words;
}

} // namespace

TEST(BoundBox, NullPointsAreRefusedWithTheBoxUnwritten) {
    ZyprBox box{{1, 2, 3}, {4, 5, 6}};
    EXPECT_EQ(zyprSetBoundBox_32f(nullptr, 1, &box), zypStsNullPtrErr);
    EXPECT_EQ(zyprSetBoundBox_32f(nullptr, 0, nullptr), zypStsNullPtrErr);
    EXPECT_EQ(box.minimum[0], 1.0f);
    EXPECT_EQ(box.maximum[2], 6.0f);
}

TEST(BoundBox, IsTheModelsAtEveryCountAndAlignment) {
    Random random(1);
    for (size_t count = 0; count <= 50; ++count) {
        for (const size_t misalignment : {0, 4, 16, 36}) {
            const GuardedArray<float> points(random.reals(3 * count, -100.0f, 7.0f), misalignment);
            EXPECT_TRUE(equalBits(boxOf(points, static_cast<int32_t>(count)), model::boxOf(points.values()))) << count;
        }
    }
}

TEST(BoundBox, FindsAnExtremeAtEveryPlace) {
    for (size_t place = 0; place < 3 * 19; ++place) {
        for (const float extreme : {-5.0f, 5.0f}) {
            std::vector<float> values(3 * 19, 0.5f);
            values[place] = extreme;
            EXPECT_TRUE(equalBits(boxOf(GuardedArray<float>(values), 19), model::boxOf(values))) << place;
        }
    }
}

TEST(BoundBox, OfNoPointsIsInsideOut) {
    const GuardedArray<float> none(size_t{0});
    for (const int32_t count : {0, -1, INT32_MIN}) {
        const std::array<float, 6> box = boxOf(none, count);
        for (int a = 0; a < 3; ++a) {
            EXPECT_EQ(box[static_cast<size_t>(a)], 3.4024831e38f);
            EXPECT_EQ(box[static_cast<size_t>(a + 3)], -3.4024831e38f);
        }
    }
}

TEST(BoundBox, OfTheOriginHasADenormalMargin) {
    const std::array<float, 6> box = boxOf(GuardedArray<float>(std::vector<float>(3 * 11, 0.0f)), 11);
    const float margin = 1.1754944e-38f * 9.9999997e-05f;
    EXPECT_GT(margin, 0.0f);
    EXPECT_LT(margin, FLT_MIN);
    for (size_t a = 0; a < 3; ++a) {
        EXPECT_EQ(bits(box[a]), bits(-margin));
        EXPECT_EQ(bits(box[a + 3]), bits(margin));
    }
}

TEST(BoundBox, HasOneMarginOnAllAxesFromTheLargestCoordinate) {
    const std::array<float, 6> box = boxOf(GuardedArray<float>(std::vector<float>{1, 1000, 1, 0, 0, 0}), 2);
    for (size_t a = 0; a < 3; ++a) EXPECT_EQ(box[a], -0.099999997f);
    EXPECT_FLOAT_EQ(box[3], 1.1f);
    EXPECT_FLOAT_EQ(box[4], 1000.1f);
    const std::array<float, 6> negative = boxOf(GuardedArray<float>(std::vector<float>{-1, -1000, -1, 0, 0, 0}), 2);
    EXPECT_EQ(negative[3], 0.099999997f);
}

TEST(TriangleAccelGetSize, GivesFortyAndRefusesNull) {
    int32_t size = 0;
    EXPECT_EQ(zyprTriangleAccelGetSize(&size), zypStsNoErr);
    EXPECT_EQ(size, 40);
    EXPECT_EQ(zyprTriangleAccelGetSize(nullptr), zypStsNullPtrErr);
}

TEST(TriangleAccel, CountsBelowOneWriteNothingAndCheckNoPointer) {
    EXPECT_EQ(zyprTriangleAccelInit(nullptr, nullptr, nullptr, 0), zypStsNoErr);
    EXPECT_EQ(zyprTriangleAccelInit(nullptr, nullptr, nullptr, -1), zypStsNoErr);
    EXPECT_EQ(zyprTriangleAccelInit(nullptr, nullptr, nullptr, INT32_MIN), zypStsNoErr);
}

TEST(TriangleAccel, IsTheModelsForRandomTriangles) {
    Random random(2);
    std::vector<int32_t> triangles;
    const std::vector<float> vertices = random.reals(3 * 60, -2.0f, 2.0f);
    for (int i = 0; i < 1001; ++i) {
        for (int k = 0; k < 3; ++k) triangles.push_back(random.integer(0, 59));
        triangles.push_back(random.integer(-1000, 1000));
    }
    for (const size_t count : {1, 2, 3, 4, 5, 6, 7, 8, 9, 1001}) {
        const std::vector<Words> words =
            accelsOf(vertices, {triangles.begin(), triangles.begin() + static_cast<long>(4 * count)});
        for (size_t i = 0; i < count; ++i) {
            const auto corner = [&](size_t k) { return vertices.data() + 3 * triangles[4 * i + k]; };
            EXPECT_TRUE(sameWords(words[i], model::accelOf(corner(0), corner(1), corner(2)))) << i;
        }
    }
}

TEST(TriangleAccel, IsTheModelsForCoordinatesOfAllKinds) {
    Random random(3);
    const std::vector<float> &special = specialFloats();
    const auto pick = [&] {
        return random.chance(0.5f) ? special[static_cast<size_t>(random.integer(0, static_cast<int32_t>(special.size()) - 1))]
                                   : static_cast<float>(random.integer(-2, 2));
    };
    for (int i = 0; i < 4000; ++i) {
        accelOf({pick(), pick(), pick()}, {pick(), pick(), pick()}, {pick(), pick(), pick()});
    }
}

TEST(TriangleAccel, DegenerateTrianglesHaveRecordsOfZeros) {
    EXPECT_EQ(accelOf({1, 2, 3}, {1, 2, 3}, {4, 5, 7}), Words{});
    EXPECT_EQ(accelOf({1, 2, 3}, {4, 5, 7}, {4, 5, 7}), Words{});
    EXPECT_EQ(accelOf({0, 0, 0}, {1, 1, 1}, {2, 2, 2}), Words{});
}

TEST(TriangleAccel, APlaneAcrossZIsFlagged) {
    const Words words = accelOf({1, 0, 5}, {0, 1, 5}, {0, 0, 5});
    EXPECT_EQ(words[0], 0x80000000u | 33u);
    EXPECT_EQ(words[1], bits(0.0f));
    EXPECT_EQ(words[3], bits(0.0f));
    EXPECT_EQ(words[2], bits(5.0f));
}

TEST(TriangleAccel, APlaneIsAcrossItsAxisStrictlyBelowTheThresholdOfBothSlopes) {
    // n = (slope, 0, 1) and n = (0, slope, 1)
    for (const bool alongX : {true, false}) {
        const auto words = [&](float slope) {
            return alongX ? accelOf({1, 0, -slope}, {0, 1, 0}, {0, 0, 0}) : accelOf({1, 0, 0}, {0, 1, -slope}, {0, 0, 0});
        };
        const Words at = words(0x1p-52f), below = words(0x1.fffffep-53f);
        EXPECT_EQ(at[0], 33u);
        EXPECT_EQ(at[alongX ? 1 : 3], bits(0x1p-52f));
        EXPECT_EQ(below[0], 0x80000000u | 33u);
        EXPECT_EQ(below[alongX ? 1 : 3], bits(0.0f));
    }
}

TEST(TriangleAccel, EqualNormalComponentsChooseX) {
    const Words words = accelOf({1, 0, 0}, {0, 1, 0}, {0, 0, 1});
    EXPECT_EQ(words[0], 6u);
    EXPECT_EQ(accelOf({0, 1, 1}, {0, 0, 0}, {1, 1, 0})[0] & 63, 6u);
    EXPECT_EQ(accelOf({1, 0, 0}, {0, 1, 1}, {0, 0, 0})[0] & 63, 18u); // n = (0, -1, 1): the earlier axis
}

TEST(TriangleAccel, AlongYTheSignKeepsWeightsPositive) {
    const std::array<float, 3> p0 = {2, 1, 0}, p1 = {0, 1, 3}, p2 = {0, 1, 0};
    const Words words = accelOf(p0, p1, p2);
    EXPECT_EQ(words[0] & 63, 18u);
    const float x = 0.5f, z = 0.75f; // inside
    const float dp = x - fromBits(words[4]), dq = z - fromBits(words[5]);
    const float u = dp * fromBits(words[7]) - dq * fromBits(words[6]);
    const float v = dq * fromBits(words[8]) - dp * fromBits(words[9]);
    EXPECT_NEAR(u, 0.25f, 1e-6f);
    EXPECT_NEAR(v, 0.25f, 1e-6f);
    EXPECT_NEAR(u * p0[0] + v * p1[0], x, 1e-6f);
    EXPECT_NEAR(u * p0[2] + v * p1[2], z, 1e-6f);
}

TEST(TriangleAccel, ANaNNormalIsNotDegenerate) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(accelOf({nan, 0, 0}, {0, 1, 0}, {0, 0, 1})[0] & 63, 6u);
}
