// Reflected rays.
#include <gtest/gtest.h>

#include "rays/casting_model.h"
#include "rays/plane_triple.h"
#include "zypr.h"

using namespace zypr::test;
using model::Vector;

namespace {

constexpr float untouched = 77.0f;

void expectReflections(PlaneTriple &incident, PlaneTriple &normal, GuardedArray<int32_t> &mask, PlaneTriple &reflected) {
    const auto count = static_cast<int32_t>(mask.size());
    ExpectedTriple expected(mask.size());
    for (size_t i = 0; i < mask.size(); ++i) expected.set(i, model::reflected(incident.at(i), normal.at(i), mask[i], count));
    ASSERT_EQ(zyprCastReflectionRay_32f(incident, mask.data(), normal, reflected, count), zypStsNoErr);
    ASSERT_TRUE(equalValues(reflected, expected)) << "count " << count;
}

} // namespace

TEST(CastReflectionRay, FollowsTheModelAtEveryCount) {
    Random random(3);
    for (size_t count = 1; count <= 70; ++count) {
        PlaneTriple incident(count), normal(count), reflected(count);
        incident.fill(random, -2.0f, 2.0f);
        normal.fill(random, -1.0f, 1.0f);
        GuardedArray<int32_t> mask(count);
        for (int32_t &word : mask) word = random.maskWord();
        expectReflections(incident, normal, mask, reflected);
    }
}

TEST(CastReflectionRay, GivesTheSameRaysWhicheverArrayIsMisaligned) {
    Random random(4);
    for (const size_t count : {16u, 17u}) {
        for (size_t array = 0; array <= 10; ++array) { // 10: all aligned
            const auto at = [&](size_t number) { return array == number ? size_t{4} : size_t{16}; };
            PlaneTriple incident(count, {at(0), at(1), at(2)}), normal(count, {at(3), at(4), at(5)});
            PlaneTriple reflected(count, {at(6), at(7), at(8)});
            GuardedArray<int32_t> mask(count, at(9));
            incident.fill(random, -2.0f, 2.0f);
            normal.fill(random, -1.0f, 1.0f);
            for (int32_t &word : mask) word = random.maskWord();
            expectReflections(incident, normal, mask, reflected);
        }
    }
}

TEST(CastReflectionRay, TakesSpecialValuesThroughTheSameArithmetic) {
    Random random(5);
    for (const size_t count : {400u, 401u}) {
        PlaneTriple incident(count), normal(count), reflected(count);
        incident.fillSpecial(random);
        normal.fillSpecial(random);
        GuardedArray<int32_t> mask(count);
        for (int32_t &word : mask) word = random.maskWord();
        expectReflections(incident, normal, mask, reflected);
    }
}

TEST(CastReflectionRay, GivesPositiveZerosForMaskedRaysWhateverTheirNeighbours) {
    const float infinity = std::numeric_limits<float>::infinity();
    for (const size_t count : {4u, 5u, 8u, 12u, 19u}) {
        for (uint32_t pattern = 0; pattern < 256; ++pattern) {
            PlaneTriple incident(count), normal(count), reflected(count);
            incident.fill(infinity);
            normal.fill(-1.0f);
            GuardedArray<int32_t> mask(count);
            for (size_t i = 0; i < count; ++i) mask[i] = (pattern >> (i % 8)) & 1 ? -1 : 0;
            ASSERT_EQ(zyprCastReflectionRay_32f(incident, mask.data(), normal, reflected, static_cast<int32_t>(count)), 0);
            for (size_t i = 0; i < count; ++i) ASSERT_EQ(isPositiveZeros(reflected.at(i)), mask[i] < 0) << pattern << ' ' << i;
        }
    }
}

TEST(CastReflectionRay, ReadsOnlyTheSignOfAMaskWord) {
    for (const size_t count : {4u, 5u}) {
        PlaneTriple incident(count), normal(count), reflected(count);
        incident.fill(1.0f);
        normal.fill(0.5f);
        GuardedArray<int32_t> mask(count);
        mask[0] = INT32_MIN;
        mask[1] = INT32_MAX;
        mask[2] = 1;
        mask[3] = -2;
        ASSERT_EQ(zyprCastReflectionRay_32f(incident, mask.data(), normal, reflected, static_cast<int32_t>(count)), 0);
        EXPECT_TRUE(isPositiveZeros(reflected.at(0)));
        EXPECT_EQ(reflected.at(1), (Vector{-0.5f, -0.5f, -0.5f})); // 1 - 2 x 1.5 x 0.5
        EXPECT_EQ(reflected.at(2), (Vector{-0.5f, -0.5f, -0.5f}));
        EXPECT_TRUE(isPositiveZeros(reflected.at(3)));
    }
}

TEST(CastReflectionRay, FourElementsMayDifferInTheLastBitFromTheSameFourOfFive) {
    Random random(6);
    bool different = false;
    for (int attempt = 0; attempt < 50; ++attempt) {
        PlaneTriple incident(5), normal(5), ofFour(5), ofFive(5);
        incident.fill(random, -2.0f, 2.0f);
        normal.fill(random, -1.0f, 1.0f);
        GuardedArray<int32_t> mask(5);
        for (int32_t &word : mask) word = 0;
        ASSERT_EQ(zyprCastReflectionRay_32f(incident, mask.data(), normal, ofFour, 4), zypStsNoErr);
        ASSERT_EQ(zyprCastReflectionRay_32f(incident, mask.data(), normal, ofFive, 5), zypStsNoErr);
        for (size_t i = 0; i < 4; ++i) {
            for (size_t a = 0; a < 3; ++a) ASSERT_NEAR(ofFour.at(i)[a], ofFive.at(i)[a], 1e-5f);
            different |= ofFour.at(i) != ofFive.at(i);
        }
    }
    EXPECT_TRUE(different);
}

TEST(CastReflectionRay, TurnsARayAboutTheNormal) {
    PlaneTriple incident(1), normal(1), reflected(1);
    incident.set(0, {3.0f, -2.0f, 1.0f});
    normal.set(0, {0.0f, 1.0f, 0.0f});
    const int32_t mask = 0;
    ASSERT_EQ(zyprCastReflectionRay_32f(incident, &mask, normal, reflected, 1), zypStsNoErr);
    EXPECT_EQ(reflected.at(0), (Vector{3.0f, 2.0f, 1.0f}));
}

TEST(CastReflectionRay, MayReplaceTheIncidentRaysOrTheNormals) {
    Random random(10);
    for (const size_t count : {20u, 21u}) {
        PlaneTriple incident(count), normal(count), apart(count);
        incident.fill(random, -2.0f, 2.0f);
        normal.fill(random, -1.0f, 1.0f);
        GuardedArray<int32_t> mask(count);
        for (int32_t &word : mask) word = random.maskWord();
        const auto length = static_cast<int32_t>(count);
        ASSERT_EQ(zyprCastReflectionRay_32f(incident, mask.data(), normal, apart, length), zypStsNoErr);
        PlaneTriple inNormals(count);
        for (size_t i = 0; i < count; ++i) inNormals.set(i, normal.at(i));
        ASSERT_EQ(zyprCastReflectionRay_32f(incident, mask.data(), inNormals, inNormals, length), zypStsNoErr);
        ASSERT_EQ(zyprCastReflectionRay_32f(incident, mask.data(), normal, incident, length), zypStsNoErr);
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_TRUE(equalValues(inNormals.plane(axis), apart.plane(axis).values()));
            EXPECT_TRUE(equalValues(incident.plane(axis), apart.plane(axis).values()));
        }
    }
}

TEST(CastReflectionRay, DoesNothingForACountBelowOne) {
    PlaneTriple planes(4);
    const int32_t mask[4] = {};
    for (const int32_t count : {0, -1, -4, INT32_MIN}) {
        planes.fill(untouched);
        EXPECT_EQ(zyprCastReflectionRay_32f(planes, mask, planes, planes, count), zypStsNoErr);
        EXPECT_EQ(planes.at(0), (Vector{untouched, untouched, untouched}));
    }
}

TEST(CastReflectionRay, RefusesEachNullPointerAndWritesNothing) {
    PlaneTriple planes(4);
    const int32_t mask[4] = {};
    for (const int32_t count : {4, 5, 0, -1}) {
        planes.fill(untouched);
        EXPECT_EQ(zyprCastReflectionRay_32f(nullptr, mask, planes, planes, count), zypStsNullPtrErr);
        EXPECT_EQ(zyprCastReflectionRay_32f(planes, nullptr, planes, planes, count), zypStsNullPtrErr);
        EXPECT_EQ(zyprCastReflectionRay_32f(planes, mask, nullptr, planes, count), zypStsNullPtrErr);
        EXPECT_EQ(zyprCastReflectionRay_32f(planes, mask, planes, nullptr, count), zypStsNullPtrErr);
        EXPECT_EQ(planes.x.values(), std::vector<float>(4, untouched));
    }
}
