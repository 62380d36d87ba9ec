// Hit points, with one origin and with one per ray.
#include <gtest/gtest.h>

#include "rays/hit_geometry_model.h"
#include "rays/plane_triple.h"
#include "zypr.h"

using namespace zypr::test;
using model::Vector;

namespace {

constexpr float untouched = 77.0f;

// Both functions run on the same rays; the one with a single origin takes that of ray 0.
struct HitCall {
    explicit HitCall(size_t count) : distance(count), mask(count), origin(count), direction(count), hit(count) {}
    // Array k of the eleven lies misalignment[k] bytes past a multiple of 64.
    HitCall(size_t count, const std::array<size_t, 11> &m)
        : distance(count, m[0]), mask(count, m[1]), origin(count, {m[2], m[3], m[4]}), direction(count, {m[5], m[6], m[7]}),
          hit(count, {m[8], m[9], m[10]}) {}

    int32_t count() const { return static_cast<int32_t>(mask.size()); }
    void setWords(int32_t word) { std::fill(mask.begin(), mask.end(), word); }
    zypStatus runPerRay() {
        return zyprHitPoint3DEpsM0_32f_M(origin, direction, distance.data(), mask.data(), hit, count(), eps);
    }
    zypStatus runSingle() {
        const Vector o = origin.at(0);
        return zyprHitPoint3DEpsS0_32f_M(o.data(), direction, distance.data(), mask.data(), hit, count(), eps);
    }
    void expectModel() {
        ExpectedTriple perRay(mask.size()), single(mask.size());
        for (int32_t i = 0; i < count(); ++i) {
            const auto k = static_cast<size_t>(i);
            const bool negatives = model::inGroupOfNegatives(mask.data(), count(), i);
            perRay.set(k, model::hitPoint(origin.at(k), direction.at(k), distance[k], eps, mask[k], negatives));
            single.set(k, model::hitPoint(origin.at(0), direction.at(k), distance[k], eps, mask[k], negatives));
        }
        ASSERT_EQ(runPerRay(), zypStsNoErr);
        ASSERT_TRUE(equalValues(hit, perRay)) << "count " << count();
        hit.fill(untouched);
        ASSERT_EQ(runSingle(), zypStsNoErr);
        ASSERT_TRUE(equalValues(hit, single)) << "count " << count();
    }
    // Calls body once after each function has run.
    template <class Body> void onBoth(const Body &body) {
        hit.fill(untouched);
        ASSERT_EQ(runPerRay(), zypStsNoErr);
        body();
        hit.fill(untouched);
        ASSERT_EQ(runSingle(), zypStsNoErr);
        body();
    }

    float eps = 0.9999f;
    GuardedArray<float> distance;
    GuardedArray<int32_t> mask;
    PlaneTriple origin, direction, hit;
};

void fillRandom(HitCall &call, Random &random) {
    call.origin.fill(random, -2.0f, 2.0f);
    call.direction.fill(random, -1.0f, 1.0f);
    for (float &t : call.distance) t = random.real(0.0f, 9.0f);
    // Whole groups of negative words, and mixed ones.
    for (size_t i = 0; i < call.mask.size(); ++i) {
        const bool negativeGroup = (i / 8) % 3 == 0;
        call.mask[i] = negativeGroup ? static_cast<int32_t>(random.word() | 0x80000000u) : random.maskWord();
    }
    call.eps = random.real(0.99f, 1.0f);
}

// Rays along x to distance 2, so that with an eps of 1 every point is (3, 1, 1), of bits 0x40400000 and 0x3F800000.
void placeRays(HitCall &call) {
    call.eps = 1.0f;
    call.origin.fill(1.0f);
    call.direction.fill(0.0f);
    std::fill(call.direction.x.begin(), call.direction.x.end(), 1.0f);
    std::fill(call.distance.begin(), call.distance.end(), 2.0f);
}
constexpr Vector plainPoint = {3.0f, 1.0f, 1.0f};

} // namespace

TEST(HitPoints, FollowTheModelAtEveryCount) {
    Random random(11);
    for (size_t count = 1; count <= 70; ++count) {
        HitCall call(count);
        fillRandom(call, random);
        call.expectModel();
    }
}

TEST(HitPoints, AreTheSameAtEveryAlignment) {
    Random random(12);
    for (size_t shift = 0; shift < 16; ++shift) {
        std::array<size_t, 11> misalignment;
        for (size_t k = 0; k < 11; ++k) misalignment[k] = (shift * (k + 1) + k) % 16 * 4;
        HitCall call(45, misalignment);
        fillRandom(call, random);
        call.expectModel();
    }
}

TEST(HitPoints, TakeSpecialValuesThroughTheSameArithmetic) {
    Random random(13);
    for (const float special : specialFloats()) {
        HitCall call(405);
        fillRandom(call, random);
        call.origin.fillSpecial(random);
        call.direction.fillSpecial(random);
        for (size_t i = 0; i < call.distance.size(); ++i) {
            call.distance[i] = specialFloats()[i % specialFloats().size()];
            if (call.mask[i] != 0) call.mask[i] = -1; // other words would show the payloads of NaN
        }
        call.eps = special;
        call.expectModel();
    }
}

TEST(HitPoints, RoundTheStepAndFuseItsProductWithEps) {
    HitCall call(9);
    call.setWords(0);
    call.origin.fill(-1.0f);
    call.direction.fill(1.0f + 0x1p-12f);
    std::fill(call.distance.begin(), call.distance.end(), 1.0f + 0x1p-12f); // the product rounds to 1 + 2^-11
    call.eps = 1.0f + 0x1p-23f;
    call.onBoth([&] {
        for (size_t i = 0; i < 9; ++i) EXPECT_EQ(call.hit.x[i], 0x1p-11f + 0x1p-23f + 0x1p-34f);
    });
}

TEST(HitPoints, OfAGroupOfEightMaskedRaysArePoints) {
    for (const int32_t word : {-1, -2, INT32_MIN}) {
        HitCall call(16);
        placeRays(call);
        call.setWords(word);
        call.onBoth([&] {
            for (size_t i = 0; i < 16; ++i) EXPECT_EQ(call.hit.at(i), plainPoint);
        });
    }
}

TEST(HitPoints, OfSevenMaskedRaysAndALiveOneAreSevenZerosAndOnePoint) {
    for (size_t live = 0; live < 8; ++live) {
        HitCall call(8);
        placeRays(call);
        call.setWords(-1);
        call.mask[live] = 0;
        call.onBoth([&] {
            for (size_t i = 0; i < 8; ++i) {
                if (i == live)
                    EXPECT_EQ(call.hit.at(i), plainPoint);
                else
                    EXPECT_TRUE(isPositiveZeros(call.hit.at(i)));
            }
        });
    }
}

TEST(HitPoints, LoseTheBitsThatAreSetInTheirWord) {
    for (const size_t count : {8u, 5u}) {
        HitCall call(count);
        placeRays(call);
        call.origin.fill(fromBits(0x3F800007));
        call.setWords(0);
        call.mask[2] = 5;
        call.mask[3] = INT32_MIN + 2;
        std::fill(call.direction.x.begin(), call.direction.x.end(), 0.0f);
        call.onBoth([&] {
            for (int axis = 0; axis < 3; ++axis) {
                EXPECT_EQ(bits(call.hit.plane(axis)[1]), 0x3F800007u);
                EXPECT_EQ(bits(call.hit.plane(axis)[2]), 0x3F800002u);
                EXPECT_EQ(bits(call.hit.plane(axis)[3]), 0x3F800005u);
            }
        });
    }
}

TEST(HitPoints, AfterTheLastWholeGroupAreZeroForMinusOneEvenWhenAllAreMasked) {
    for (size_t count = 1; count < 16; ++count) {
        HitCall call(count);
        placeRays(call);
        call.setWords(-1);
        call.onBoth([&] {
            for (size_t i = 0; i < count; ++i) {
                if (i < count / 8 * 8)
                    EXPECT_EQ(call.hit.at(i), plainPoint);
                else
                    EXPECT_TRUE(isPositiveZeros(call.hit.at(i)));
            }
        });
    }
}

TEST(HitPoints, MayReplaceTheDirectionsOrTheOrigins) {
    Random random(15);
    HitCall apart(29), inPlace(29);
    fillRandom(apart, random);
    Random same(15);
    fillRandom(inPlace, same);
    ASSERT_EQ(apart.runPerRay(), zypStsNoErr);
    PlaneTriple inOrigins(29);
    for (size_t i = 0; i < 29; ++i) inOrigins.set(i, inPlace.origin.at(i));
    ASSERT_EQ(zyprHitPoint3DEpsM0_32f_M(inOrigins, inPlace.direction, inPlace.distance.data(), inPlace.mask.data(), inOrigins,
                                        29, inPlace.eps),
              zypStsNoErr);
    ASSERT_EQ(zyprHitPoint3DEpsM0_32f_M(inPlace.origin, inPlace.direction, inPlace.distance.data(), inPlace.mask.data(),
                                        inPlace.direction, 29, inPlace.eps),
              zypStsNoErr);
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_TRUE(equalValues(inOrigins.plane(axis), apart.hit.plane(axis).values()));
        EXPECT_TRUE(equalValues(inPlace.direction.plane(axis), apart.hit.plane(axis).values()));
    }
}

TEST(HitPoints, DoNothingForACountBelowOne) {
    PlaneTriple planes(8);
    const float distance[8] = {};
    const int32_t mask[8] = {};
    planes.fill(untouched);
    for (const int32_t count : {0, -1, -8, INT32_MIN}) {
        EXPECT_EQ(zyprHitPoint3DEpsM0_32f_M(planes, planes, distance, mask, planes, count, 1.0f), zypStsNoErr);
        EXPECT_EQ(zyprHitPoint3DEpsS0_32f_M(nullptr, planes, distance, mask, planes, count, 1.0f), zypStsNoErr);
        EXPECT_EQ(planes.x.values(), std::vector<float>(8, untouched));
    }
}

TEST(HitPoints, RefuseEachNullPointerAndWriteNothing) {
    PlaneTriple planes(8);
    const float distance[8] = {}, origin[3] = {};
    const int32_t mask[8] = {};
    planes.fill(untouched);
    for (const int32_t count : {8, 0, -1}) {
        EXPECT_EQ(zyprHitPoint3DEpsM0_32f_M(planes, planes, nullptr, mask, planes, count, 1.0f), zypStsNullPtrErr);
        EXPECT_EQ(zyprHitPoint3DEpsM0_32f_M(planes, planes, distance, nullptr, planes, count, 1.0f), zypStsNullPtrErr);
        EXPECT_EQ(zyprHitPoint3DEpsM0_32f_M(planes, nullptr, distance, mask, planes, count, 1.0f), zypStsNullPtrErr);
        EXPECT_EQ(zyprHitPoint3DEpsM0_32f_M(planes, planes, distance, mask, nullptr, count, 1.0f), zypStsNullPtrErr);
        EXPECT_EQ(zyprHitPoint3DEpsM0_32f_M(nullptr, planes, distance, mask, planes, count, 1.0f), zypStsNullPtrErr);
        EXPECT_EQ(zyprHitPoint3DEpsS0_32f_M(origin, planes, nullptr, mask, planes, count, 1.0f), zypStsNullPtrErr);
        EXPECT_EQ(zyprHitPoint3DEpsS0_32f_M(origin, planes, distance, nullptr, planes, count, 1.0f), zypStsNullPtrErr);
        EXPECT_EQ(zyprHitPoint3DEpsS0_32f_M(origin, nullptr, distance, mask, planes, count, 1.0f), zypStsNullPtrErr);
        EXPECT_EQ(zyprHitPoint3DEpsS0_32f_M(origin, planes, distance, mask, nullptr, count, 1.0f), zypStsNullPtrErr);
        EXPECT_EQ(planes.x.values(), std::vector<float>(8, untouched));
    }
}
