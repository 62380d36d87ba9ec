// Eye rays, reflected rays and shadow rays.
#include <gtest/gtest.h>

#include "rays/casting_model.h"
#include "rays/plane_triple.h"
#include "zypr.h"

using namespace zypr::test;
using model::Vector;

namespace {

constexpr float untouched = 77.0f;

// ---- Eye rays -----------------------------------------------------------------------------------------------------------

zypStatus castEye(const model::EyeGrid &grid, float *const direction[3], int32_t width, int32_t height) {
    return zyprCastEye_32f(grid.planeBase.data(), grid.columnStep.data(), grid.rowStep.data(), grid.blockX, grid.blockY,
                           {grid.blockWidth, grid.blockHeight}, direction, {width, height});
}

ExpectedTriple expectedEye(const model::EyeGrid &grid, int32_t width, int32_t height) {
    ExpectedTriple expected(static_cast<size_t>(width * height));
    model::castEye(grid, width, height, [&](int32_t row, int32_t column, const Vector &direction) {
        expected.set(static_cast<size_t>(row * width + column), direction);
    });
    return expected;
}

model::EyeGrid randomGrid(Random &random) {
    const auto vector = [&](float extent) {
        return Vector{random.real(-extent, extent), random.real(-extent, extent), random.real(-extent, extent)};
    };
    return {vector(3.0f),           vector(0.1f),          vector(0.1f),         random.integer(-9, 30),
            random.integer(-9, 30), random.integer(0, 64), random.integer(0, 64)};
}

} // namespace

TEST(CastEye, FollowsTheGridAtEveryWidthAroundAGroupOfEight) {
    Random random(1);
    for (int32_t width = 1; width <= 34; ++width) {
        for (const int32_t height : {1, 2, 3, 7}) {
            const model::EyeGrid grid = randomGrid(random);
            PlaneTriple direction(static_cast<size_t>(width * height));
            ASSERT_EQ(castEye(grid, direction, width, height), zypStsNoErr);
            ASSERT_TRUE(equalValues(direction, expectedEye(grid, width, height))) << width << " x " << height;
        }
    }
}

TEST(CastEye, GivesTheSameRaysAtEveryAlignment) {
    Random random(2);
    for (size_t misalignment = 0; misalignment < 64; misalignment += 4) {
        const model::EyeGrid grid = randomGrid(random);
        PlaneTriple direction(13 * 5, {misalignment, (misalignment * 3) % 64, (misalignment * 7 + 4) % 64});
        ASSERT_EQ(castEye(grid, direction, 13, 5), zypStsNoErr);
        ASSERT_TRUE(equalValues(direction, expectedEye(grid, 13, 5))) << misalignment;
    }
}

TEST(CastEye, TakesSpecialValuesThroughTheSameArithmetic) {
    for (const float special : specialFloats()) {
        for (int place = 0; place < 3; ++place) {
            model::EyeGrid grid{{1.0f, 2.0f, 3.0f}, {0.25f, 0.5f, 1.0f}, {0.1f, 0.2f, 0.3f}, 2, 3, 4, 5};
            (place == 0 ? grid.planeBase : place == 1 ? grid.columnStep : grid.rowStep)[place] = special;
            PlaneTriple direction(11 * 4);
            ASSERT_EQ(castEye(grid, direction, 11, 4), zypStsNoErr);
            ASSERT_TRUE(equalValues(direction, expectedEye(grid, 11, 4))) << special;
        }
    }
}

TEST(CastEye, ABlockHoldsTheSamePixelsAsACallForTheWholeImage) {
    // Steps that add up without rounding give the same bits, any others the same up to the rounding of the row sums.
    const model::EyeGrid exact{{-1.0f, -2.0f, 1.0f}, {0.125f, 0.0f, 0.25f}, {0.0f, 0.5f, -0.0625f}, 0, 0, 8, 4};
    const model::EyeGrid rounded{{-1.0f, -2.0f, 1.0f}, {0.1f, 0.01f, 0.3f}, {0.07f, 0.3f, -0.09f}, 0, 0, 8, 4};
    for (const model::EyeGrid &grid : {exact, rounded}) {
        PlaneTriple image(32 * 16), block(8 * 4);
        ASSERT_EQ(castEye(grid, image, 32, 16), zypStsNoErr);
        for (int32_t by = 0; by < 4; ++by) {
            for (int32_t bx = 0; bx < 4; ++bx) {
                model::EyeGrid part = grid;
                part.blockX = bx;
                part.blockY = by;
                ASSERT_EQ(castEye(part, block, 8, 4), zypStsNoErr);
                for (size_t y = 0; y < 4; ++y) {
                    for (size_t x = 0; x < 8; ++x) {
                        const Vector here = block.at(y * 8 + x);
                        const size_t row = static_cast<size_t>(by) * 4 + y, column = static_cast<size_t>(bx) * 8 + x;
                        const Vector there = image.at(row * 32 + column);
                        for (size_t a = 0; a < 3; ++a) {
                            if (grid.columnStep == exact.columnStep)
                                ASSERT_EQ(bits(here[a]), bits(there[a]));
                            else
                                ASSERT_NEAR(here[a], there[a], 1e-5f);
                        }
                    }
                }
            }
        }
    }
}

TEST(CastEye, AddsTheRowStepRepeatedlyButMultipliesTheColumnStep) {
    const model::EyeGrid grid{{0.3f, 0.3f, 0.3f}, {0.1f, 0.1f, 0.1f}, {0.1f, 0.1f, 0.1f}, 0, 0, 1, 1};
    PlaneTriple rows(200), columns(200);
    ASSERT_EQ(castEye(grid, rows, 1, 200), zypStsNoErr);
    ASSERT_EQ(castEye(grid, columns, 200, 1), zypStsNoErr);
    float sum = 0.3f;
    bool different = false;
    for (size_t i = 0; i < 200; ++i) {
        const float product = std::fma(static_cast<float>(i), 0.1f, 0.3f);
        EXPECT_EQ(rows.x[i], sum);
        EXPECT_EQ(columns.x[i], product);
        different |= sum != product;
        sum = sum + 0.1f;
    }
    EXPECT_TRUE(different);
}

TEST(CastEye, FusesTheBlockOffsetOntoThePlaneBaseRowsFirst) {
    // With rows first: 2^24 + 1 fused onto -2^24 leaves 1, which a rounded product or sum would lose.
    const model::EyeGrid grid{{-16777216.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {4097.0f, 0.0f, 0.0f}, 3, 4097, 1, 1};
    PlaneTriple direction(1);
    ASSERT_EQ(castEye(grid, direction, 1, 1), zypStsNoErr);
    EXPECT_EQ(direction.x[0], 4097.0f * 4097.0 - 16777216.0 + 3.0);
}

TEST(CastEye, FormsThePixelOffsetInThirtyTwoWrappingBits) {
    const Vector base{1.0f, 2.0f, 3.0f}, unit{1.0f, 1.0f, 1.0f}, nothing{0.0f, 0.0f, 0.0f};
    PlaneTriple direction(1);
    ASSERT_EQ(castEye({base, unit, nothing, 65536, 0, 65536, 1}, direction, 1, 1), zypStsNoErr);
    EXPECT_EQ(direction.x[0], 1.0f); // 2^32 is 0
    ASSERT_EQ(castEye({nothing, nothing, unit, 0, 65536, 1, 32768}, direction, 1, 1), zypStsNoErr);
    EXPECT_EQ(direction.x[0], -2147483648.0f);
    ASSERT_EQ(castEye({nothing, unit, nothing, 3, 0, 0x40000000, 1}, direction, 1, 1), zypStsNoErr);
    EXPECT_EQ(direction.x[0], -1073741824.0f);
    ASSERT_EQ(castEye({nothing, unit, nothing, -2, 0, 5, 1}, direction, 1, 1), zypStsNoErr);
    EXPECT_EQ(direction.x[0], -10.0f);
    ASSERT_EQ(castEye({nothing, unit, nothing, 1, 0, 16777217, 1}, direction, 1, 1), zypStsNoErr);
    EXPECT_EQ(direction.x[0], 16777216.0f); // the integer product is rounded to a float
}

TEST(CastEye, OffsetsTheBlockByItsOwnSizeAndNotByTheBundles) {
    const model::EyeGrid grid{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, 2, 3, 10, 100};
    PlaneTriple direction(4 * 2);
    ASSERT_EQ(castEye(grid, direction, 4, 2), zypStsNoErr);
    EXPECT_EQ(direction.at(0), (Vector{20, 300, 0}));
    EXPECT_EQ(direction.at(7), (Vector{23, 301, 0}));
}

TEST(CastEye, DoesNothingWithoutRowsOrColumns) {
    for (const auto &[width, height] : {std::pair{0, 4}, {4, 0}, {-1, 4}, {4, -1}, {-4, -4}, {INT32_MIN, 1}}) {
        PlaneTriple direction(16);
        direction.fill(untouched);
        EXPECT_EQ(zyprCastEye_32f(nullptr, nullptr, nullptr, 0, 0, {8, 8}, direction, {width, height}), zypStsNoErr);
        EXPECT_EQ(direction.at(0), (Vector{untouched, untouched, untouched}));
        EXPECT_EQ(direction.x.values(), std::vector<float>(16, untouched));
    }
}

TEST(CastEye, RefusesANullDirectionWhateverTheSize) {
    const float vector[3] = {};
    EXPECT_EQ(zyprCastEye_32f(vector, vector, vector, 0, 0, {8, 8}, nullptr, {4, 4}), zypStsNullPtrErr);
    EXPECT_EQ(zyprCastEye_32f(nullptr, nullptr, nullptr, 0, 0, {8, 8}, nullptr, {0, -1}), zypStsNullPtrErr);
}

// ---- Reflected rays -----------------------------------------------------------------------------------------------------

namespace {

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

// ---- Shadow rays --------------------------------------------------------------------------------------------------------

namespace {

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
