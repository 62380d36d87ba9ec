// Eye rays: directions through a block of the image.
#include <gtest/gtest.h>

#include "rays/casting_model.h"
#include "rays/plane_triple.h"
#include "zypr.h"

using namespace zypr::test;
using model::Vector;

namespace {

constexpr float untouched = 77.0f;

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
