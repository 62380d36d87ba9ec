// Shadow rays: from the light to hit points.
#include <gtest/gtest.h>

#include "rays/casting_model.h"
#include "rays/plane_triple.h"
#include "zypr.h"

using namespace zypr::test;
using model::Vector;

namespace {

constexpr float untouched = 77.0f;

struct ShadowCall {
    explicit ShadowCall(size_t count)
        : facing(count), lightDot(count), mask(count), normal(count), point(count), shadow(count) {
        setFacing(1.0f);
    }
    // Array k of the twelve lies misalignment[k] bytes past a multiple of 64.
    ShadowCall(size_t count, const std::array<size_t, 12> &m)
        : facing(count, m[0]), lightDot(count, m[1]), mask(count, m[2]), normal(count, {m[3], m[4], m[5]}),
          point(count, {m[6], m[7], m[8]}), shadow(count, {m[9], m[10], m[11]}) {}

    void setFacing(float value) { std::fill(facing.begin(), facing.end(), value); }
    void setWords(int32_t word) { std::fill(mask.begin(), mask.end(), word); }
    zypStatus run() {
        return zyprCastShadowSO_32f(light.data(), facing.data(), normal, point, mask.data(), lightDot.data(), shadow,
                                    static_cast<int32_t>(mask.size()));
    }
    void expectModel() {
        const size_t count = mask.size();
        ExpectedTriple expectedShadow(count);
        std::vector<float> expectedDot(count);
        std::vector<int32_t> expectedMask(count);
        for (size_t i = 0; i < count; ++i) {
            const auto result = model::shadow(light, facing[i], normal.at(i), point.at(i), mask[i], i < count / 8 * 8);
            expectedShadow.set(i, result.direction);
            expectedDot[i] = result.lightDot;
            expectedMask[i] = result.word;
        }
        ASSERT_EQ(run(), zypStsNoErr);
        ASSERT_TRUE(equalValues(shadow, expectedShadow)) << "count " << count;
        ASSERT_TRUE(equalValues(lightDot, expectedDot)) << "count " << count;
        ASSERT_TRUE(equalValues(mask, expectedMask)) << "count " << count;
        ASSERT_TRUE(lightDot.surroundingsIntact() && mask.surroundingsIntact());
    }

    Vector light{0.0f, 0.0f, 0.0f};
    GuardedArray<float> facing, lightDot;
    GuardedArray<int32_t> mask;
    PlaneTriple normal, point, shadow;
};

void fillRandom(ShadowCall &call, Random &random) {
    call.light = {random.real(-2.0f, 2.0f), random.real(-2.0f, 2.0f), random.real(-2.0f, 2.0f)};
    call.normal.fill(random, -1.0f, 1.0f);
    call.point.fill(random, -3.0f, 3.0f);
    for (float &value : call.facing) value = random.real(-1.0f, 1.0f);
    for (int32_t &word : call.mask) word = random.maskWord();
}

// One point at (0, 0, -1) with a light in the origin: the dot product is minus normal z.
void placePoints(ShadowCall &call, float normalZ) {
    for (size_t i = 0; i < call.mask.size(); ++i) {
        call.point.set(i, {0.0f, 0.0f, -1.0f});
        call.normal.set(i, {0.0f, 0.0f, normalZ});
    }
}

} // namespace

TEST(CastShadow, FollowsTheModelAtEveryCount) {
    Random random(7);
    for (size_t count = 1; count <= 70; ++count) {
        ShadowCall call(count);
        fillRandom(call, random);
        call.expectModel();
    }
}

TEST(CastShadow, GivesTheSameAtEveryAlignment) {
    Random random(8);
    for (size_t shift = 0; shift < 16; ++shift) {
        std::array<size_t, 12> misalignment;
        for (size_t k = 0; k < 12; ++k) misalignment[k] = (shift * (k + 1) + k) % 16 * 4;
        ShadowCall call(27, misalignment);
        fillRandom(call, random);
        call.expectModel();
    }
}

TEST(CastShadow, TakesSpecialValuesThroughTheSameArithmetic) {
    Random random(9);
    for (const float special : specialFloats()) {
        ShadowCall call(403);
        fillRandom(call, random);
        call.normal.fillSpecial(random);
        call.point.fillSpecial(random);
        call.light[1] = special;
        for (size_t i = 0; i < call.facing.size(); ++i) call.facing[i] = specialFloats()[i % specialFloats().size()];
        call.expectModel();
    }
}

TEST(CastShadow, GivesTheVectorFromTheLightToThePoint) {
    for (const size_t count : {1u, 8u}) {
        ShadowCall call(count);
        call.light = {1.0f, 2.0f, 3.0f};
        for (size_t i = 0; i < count; ++i) {
            call.point.set(i, {1.0f, -2.0f, 10.0f});
            call.normal.set(i, {0.0f, 1.0f, 0.0f});
        }
        call.setFacing(-1.0f);
        call.setWords(0);
        ASSERT_EQ(call.run(), zypStsNoErr);
        EXPECT_EQ(call.shadow.at(0), (Vector{0.0f, -4.0f, 7.0f}));
        EXPECT_EQ(call.lightDot[0], 4.0f);
        EXPECT_EQ(call.mask[0], 0);
    }
}

TEST(CastShadow, ASurfaceSeenFromBehindIsNotLitByALightInFront) {
    for (const size_t count : {1u, 8u}) {
        for (const float facing : {1.0f, -1.0f}) {
            for (const float normalZ : {1.0f, -1.0f}) {
                ShadowCall call(count);
                placePoints(call, normalZ);
                call.setFacing(facing);
                call.setWords(0);
                ASSERT_EQ(call.run(), zypStsNoErr);
                const bool lit = facing * -normalZ > 0.0f;
                EXPECT_EQ(call.mask[0], lit ? 0 : -1);
                EXPECT_EQ(call.lightDot[0], lit ? 1.0f : 0.0f);
                EXPECT_EQ(isPositiveZeros(call.shadow.at(0)), !lit);
            }
        }
    }
}

TEST(CastShadow, AFacingOfZeroLeavesNothingLit) {
    for (const size_t count : {3u, 8u}) {
        for (const float facing : {0.0f, -0.0f}) {
            ShadowCall call(count);
            placePoints(call, -1.0f);
            call.setFacing(facing);
            call.setWords(0);
            ASSERT_EQ(call.run(), zypStsNoErr);
            for (size_t i = 0; i < count; ++i) {
                EXPECT_EQ(call.mask[i], -1);
                EXPECT_EQ(bits(call.lightDot[i]), 0u);
                EXPECT_TRUE(isPositiveZeros(call.shadow.at(i)));
            }
        }
    }
}

TEST(CastShadow, AFacingWhoseProductUnderflowsLeavesNothingLit) {
    for (const size_t count : {3u, 8u}) {
        ShadowCall call(count);
        placePoints(call, -0.25f);
        call.setFacing(std::numeric_limits<float>::denorm_min());
        call.setWords(0);
        ASSERT_EQ(call.run(), zypStsNoErr);
        for (size_t i = 0; i < count; ++i) EXPECT_EQ(call.mask[i], -1);
    }
}

TEST(CastShadow, ALightOfATenthOfADegreeReachesAndAFlatterOneDoesNot) {
    for (const size_t count : {1u, 8u}) {
        for (const float sign : {1.0f, -1.0f}) {
            const float reaching = 0.0017453292f;
            for (const float dot : {reaching, std::nextafter(reaching, 0.0f)}) {
                ShadowCall call(count);
                placePoints(call, -sign * dot);
                call.setFacing(sign);
                call.setWords(0);
                ASSERT_EQ(call.run(), zypStsNoErr);
                EXPECT_EQ(call.mask[0], dot == reaching ? 0 : -1);
                EXPECT_EQ(call.lightDot[0], dot == reaching ? dot : 0.0f);
            }
        }
    }
}

TEST(CastShadow, ANegativeWordBecomesMinusOneInABlockOfEightAndStaysInTheTail) {
    for (const int32_t word : {-1, -2, INT32_MIN}) {
        ShadowCall call(8 + 7);
        placePoints(call, -1.0f);
        call.setWords(word);
        ASSERT_EQ(call.run(), zypStsNoErr);
        for (size_t i = 0; i < 15; ++i) {
            EXPECT_EQ(call.mask[i], i < 8 ? -1 : word) << i;
            EXPECT_EQ(bits(call.lightDot[i]), 0u);
            EXPECT_TRUE(isPositiveZeros(call.shadow.at(i)));
        }
    }
}

TEST(CastShadow, ALitWordPassesThroughAFloatInABlockOfEightAndStaysInTheTail) {
    const std::pair<int32_t, int32_t> words[] = {{0, 0},
                                                 {1, 1},
                                                 {16777215, 16777215},
                                                 {16777216, 16777216},
                                                 {16777217, 16777216},
                                                 {16777219, 16777220},
                                                 {0x7FFFFFBF, 0x7FFFFF80},
                                                 {0x7FFFFFFF, INT32_MIN}};
    for (const auto &[word, inBlock] : words) {
        ShadowCall call(8 + 7);
        placePoints(call, -1.0f);
        call.setWords(word);
        ASSERT_EQ(call.run(), zypStsNoErr);
        for (size_t i = 0; i < 15; ++i) {
            EXPECT_EQ(call.mask[i], i < 8 ? inBlock : word) << i;
            EXPECT_EQ(call.lightDot[i], 1.0f);
        }
    }
}

TEST(CastShadow, ANaNAnywhereIsNotLit) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const size_t count : {1u, 8u}) {
        for (int place = 0; place < 3; ++place) {
            ShadowCall call(count);
            placePoints(call, -1.0f);
            call.setWords(5);
            if (place == 0) call.facing[0] = nan;
            if (place == 1) call.point.x[0] = nan;
            if (place == 2) call.normal.y[0] = nan;
            ASSERT_EQ(call.run(), zypStsNoErr);
            EXPECT_EQ(call.mask[0], -1);
            EXPECT_EQ(bits(call.lightDot[0]), 0u);
            EXPECT_TRUE(isPositiveZeros(call.shadow.at(0)));
            if (count == 8) {
                EXPECT_EQ(call.mask[1], 5);
            }
        }
    }
}

TEST(CastShadow, MayReplaceThePoints) {
    Random random(14);
    ShadowCall apart(21), inPlace(21);
    fillRandom(apart, random);
    Random same(14);
    fillRandom(inPlace, same);
    ASSERT_EQ(apart.run(), zypStsNoErr);
    ASSERT_EQ(zyprCastShadowSO_32f(inPlace.light.data(), inPlace.facing.data(), inPlace.normal, inPlace.point,
                                   inPlace.mask.data(), inPlace.lightDot.data(), inPlace.point, 21),
              zypStsNoErr);
    for (int axis = 0; axis < 3; ++axis) EXPECT_TRUE(equalValues(inPlace.point.plane(axis), apart.shadow.plane(axis).values()));
}

TEST(CastShadow, DoesNothingForACountBelowOne) {
    PlaneTriple planes(8);
    GuardedArray<float> values(8);
    int32_t mask[8] = {3, 3, 3, 3, 3, 3, 3, 3};
    for (const int32_t count : {0, -1, -8, INT32_MIN}) {
        planes.fill(untouched);
        EXPECT_EQ(zyprCastShadowSO_32f(nullptr, values.data(), planes, planes, mask, values.data(), planes, count),
                  zypStsNoErr);
        EXPECT_EQ(planes.at(0), (Vector{untouched, untouched, untouched}));
        EXPECT_EQ(mask[0], 3);
    }
}

TEST(CastShadow, RefusesEachNullPointerButNotTheLightAndWritesNothing) {
    PlaneTriple planes(8);
    const float light[3] = {};
    std::vector<float> values(8, untouched);
    int32_t mask[8] = {3, 3, 3, 3, 3, 3, 3, 3};
    planes.fill(untouched);
    float *v = values.data();
    for (const int32_t count : {8, 0, -1}) {
        EXPECT_EQ(zyprCastShadowSO_32f(light, nullptr, planes, planes, mask, v, planes, count), zypStsNullPtrErr);
        EXPECT_EQ(zyprCastShadowSO_32f(light, v, nullptr, planes, mask, v, planes, count), zypStsNullPtrErr);
        EXPECT_EQ(zyprCastShadowSO_32f(light, v, planes, nullptr, mask, v, planes, count), zypStsNullPtrErr);
        EXPECT_EQ(zyprCastShadowSO_32f(light, v, planes, planes, nullptr, v, planes, count), zypStsNullPtrErr);
        EXPECT_EQ(zyprCastShadowSO_32f(light, v, planes, planes, mask, v, nullptr, count), zypStsNullPtrErr);
        EXPECT_EQ(zyprCastShadowSO_32f(light, v, planes, planes, mask, nullptr, planes, count), zypStsNullPtrErr);
        EXPECT_EQ(mask[0], 3);
        EXPECT_EQ(planes.x.values(), std::vector<float>(8, untouched));
        EXPECT_EQ(values, std::vector<float>(8, untouched));
    }
}
