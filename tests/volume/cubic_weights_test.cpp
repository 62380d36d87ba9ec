// The weights of eight positions at once, at all places where rounding decides between entries of the table.

#include "volume/cubic_weights.h"

#include <gtest/gtest.h>

#include "volume/sampling_model.h"

namespace {

using namespace zypr;
using namespace zypr::sampling;
using zypr::test::cubicTableWeight;
using zypr::test::Random;

const CubicTable *const tables[] = {&lagrangeTable, &bSplineTable, &catmullRomTable, &bcTable};

// What is wrong with the weights once they have moved to these fractions, if anything is.
std::string asModelled(int32_t mode, const float (&fraction)[8], EightCubicWeights weights = {}) {
    weights.moveTo(*tables[mode - 4], CubicEntries(load<8>(fraction)));
    for (int lane = 0; lane < 8; ++lane) {
        const float f = fraction[lane], distance[4] = {f + 1.0f, f, 1.0f - f, 2.0f - f};
        for (int tap = 0; tap < 4; ++tap) {
            const float expected = cubicTableWeight(mode, std::fabs(distance[tap]));
            const float actual = weights.ofPair[lane % 4].v[lane / 4 * 4 + tap];
            if (actual != expected)
                return "mode " + std::to_string(mode) + ", tap " + std::to_string(tap) + " of " + std::to_string(f);
        }
    }
    return {};
}

// Fractions of positions of all sizes lie on grids of their own; those about the hundredths are all that come near one.
std::vector<float> fractionsByTheHundredths() {
    std::vector<float> all;
    for (int32_t k = 0; k <= 100; ++k) {
        const float hundredth = static_cast<float>(k) / 100.0f;
        float below = hundredth, above = hundredth;
        all.push_back(hundredth);
        for (int step = 0; step < 12; ++step) {
            all.push_back(below = std::nextafter(below, 0.0f));
            all.push_back(above = std::nextafter(above, 2.0f));
        }
        for (const float position : {1.0f, 5.0f, 60.0f, 300.0f, 5000.0f, 70000.0f})
            for (const float to : {0.0f, 1e9f}) all.push_back(std::nextafter(position + hundredth, to) - position);
        for (const float position : {1.0f, 5.0f, 60.0f, 300.0f, 5000.0f, 70000.0f})
            all.push_back(position + hundredth - position);
    }
    return all;
}

TEST(CubicTapWeights, AreThoseOfTheTableForEightEqualPositions) {
    for (int32_t mode = 4; mode <= 7; ++mode)
        for (const float f : fractionsByTheHundredths()) EXPECT_EQ(asModelled(mode, {f, f, f, f, f, f, f, f}), "");
}

TEST(CubicTapWeights, AreThoseOfTheTableForEightPositionsWhateverTheOthersAre) {
    Random random(17);
    const std::vector<float> fractions = fractionsByTheHundredths();
    for (int32_t mode = 4; mode <= 7; ++mode) {
        for (const float f : fractions) {
            float eight[8];
            for (float &one : eight) one = random.real(0, 1);
            eight[random.integer(0, 7)] = f;
            EXPECT_EQ(asModelled(mode, eight), "");
        }
    }
}

TEST(CubicTapWeights, FollowWhereOneOfEightPositionsMovesOrNone) {
    Random random(18);
    for (int32_t mode = 4; mode <= 7; ++mode) {
        EightCubicWeights weights;
        float eight[8] = {0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f};
        for (int step = 0; step < 200; ++step) {
            if (step % 3 != 0) eight[random.integer(0, 7)] = random.real(0, 1);
            EXPECT_EQ(asModelled(mode, eight, weights), "");
            weights.moveTo(*tables[mode - 4], CubicEntries(load<8>(eight)));
        }
    }
}

// Floats above 2^24 don't hold all integers, so the rest of a position may be as large as 2 there.
TEST(CubicTapWeights, AreThoseOfTheTableWhereThePositionsRoundTo) {
    for (int32_t mode = 4; mode <= 7; ++mode)
        for (const float f : {-2.0f, -1.0f, -0.5f, 1.0f, 1.5f, 2.0f, 4.0f})
            EXPECT_EQ(asModelled(mode, {f, 0.25f, 0.25f, 0.75f, 0.125f, 0.0f, 0.5f, f}), "");
}

} // namespace
