// The split search of one node, against the model's.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "scene/kd_build.h"
#include "scene/kd_search_model.h"
#include "support/bits.h"
#include "support/guarded_array.h"
#include "support/random.h"

using namespace zypr;
using namespace zypr::test;

namespace {

// A node: the intervals of its references on each axis, and its box.
struct Node {
    model::KDBox box{};
    std::array<std::vector<std::pair<float, float>>, 3> intervals;

    int32_t count() const { return static_cast<int32_t>(intervals[0].size()); }
};

// Whether the forms of the search find the model's split; the one for teams takes its time to open them.
testing::AssertionResult findTheModelsSplit(const Node &node, float kappa, bool inTeams = false) {
    const model::KDSearchResult expected = model::kdModelSearch(node.box, node.intervals, kappa);
    ZyprBox box;
    std::copy_n(node.box.lo, 3, box.minimum);
    std::copy_n(node.box.hi, 3, box.maximum);
    for (const auto search : {kdFindBestSplit, localFindBestSplitSortSearch_MT}) {
        if (search == localFindBestSplitSortSearch_MT && !inTeams) continue;
        std::vector<GuardedArray<float>> arrays;
        float *scratch[12];
        for (int i = 0; i < 12; ++i) {
            arrays.emplace_back(static_cast<size_t>(node.count()));
            scratch[i] = arrays.back().data();
        }
        const KDBounds bounds(scratch);
        for (size_t a = 0; a < 3; ++a) {
            for (size_t i = 0; i < node.intervals[a].size(); ++i)
                std::tie(bounds.low[a][i], bounds.high[a][i]) = node.intervals[a][i];
        }
        ZyprKDSplitResult found{};
        search(&found, node.count(), box, bounds, kappa);
        if (found.axis != expected.axis)
            return testing::AssertionFailure() << "axis " << found.axis << ", expected " << expected.axis;
        if (expected.axis < 0) continue;
        if (bits(found.plane) != bits(expected.plane))
            return testing::AssertionFailure() << "plane " << found.plane << ", expected " << expected.plane;
        if (bits(found.cost) != bits(expected.cost))
            return testing::AssertionFailure() << "cost " << found.cost << ", expected " << expected.cost;
        if (found.leftCount != expected.left || found.rightCount != expected.right)
            return testing::AssertionFailure() << "counts " << found.leftCount << " and " << found.rightCount << ", expected "
                                               << expected.left << " and " << expected.right;
        // The side matters where a reference lies in the plane.
        const std::pair inPlane{expected.plane, expected.plane};
        const auto &onAxis = node.intervals[static_cast<size_t>(expected.axis)];
        if (found.planarSide != expected.side && std::find(onAxis.begin(), onAxis.end(), inPlane) != onAxis.end())
            return testing::AssertionFailure() << "side " << found.planarSide << ", expected " << expected.side;
    }
    return testing::AssertionSuccess();
}

} // namespace

TEST(KDSearch, BothFormsFindTheModelsSplit) {
    Random random(77);
    for (int trial = 0; trial < 1500; ++trial) {
        const int32_t count = trial % 3 == 0   ? random.integer(1, 12)
                              : trial % 3 == 1 ? random.integer(13, 400)
                                               : random.integer(40, 60);
        const bool lattice = random.chance(0.5f);
        const int32_t steps = random.integer(1, 40);
        const float spread = random.chance(0.5f) ? 1.0f : random.real(0.0f, 0.2f);
        const auto coordinate = [&] {
            const float x =
                lattice ? static_cast<float>(random.integer(0, steps)) / static_cast<float>(steps) : random.real(0.0f, 1.0f);
            return random.chance(0.02f) ? -0.0f : x;
        };
        Node node;
        for (int a = 0; a < 3; ++a) {
            node.box.lo[a] = random.chance(0.5f) ? 0.0f : -random.real(0.0f, 0.3f);
            node.box.hi[a] = random.chance(0.5f) ? 1.0f : 1.0f + random.real(0.0f, 0.3f);
        }
        if (random.chance(0.1f)) node.box.hi[1] = node.box.lo[1];
        for (auto &onAxis : node.intervals) {
            for (int32_t i = 0; i < count; ++i) {
                float lo = coordinate(), hi = random.chance(0.1f) ? lo : lo + spread * (coordinate() - lo);
                if (hi < lo) std::swap(lo, hi);
                onAxis.emplace_back(lo, hi);
            }
        }
        ASSERT_TRUE(findTheModelsSplit(node, model::kdModelKappa(random.real(0.0f, 1.0f)), trial % 10 == 0)) << trial;
    }
}

// Cuts of empty space whose costs are a few of the smallest denormal numbers: rounded to those they would compare the other
// way.
TEST(KDSearch, TheSmallestCostsAreComparedInFullPrecision) {
    const float tiny = std::numeric_limits<float>::denorm_min();
    const Node node{{{-1.0f, -1.6f, 0.0f}, {0.0f, 0.0f, 0.0f}}, {{{{-tiny, 0.0f}}, {{-2.0f * tiny, 0.0f}}, {{0.0f, 0.0f}}}}};
    const float kappa = model::kdModelKappa(1.0f);
    EXPECT_EQ(model::kdModelSearch(node.box, node.intervals, kappa).axis, 0);
    EXPECT_TRUE(findTheModelsSplit(node, kappa));
}

namespace {

// References that begin and end at multiples of 1 / 16 on x and span y and z.
Node randomRow(Random &random, int32_t count, float y, float z) {
    Node node{{{0.0f, 0.0f, 0.0f}, {1.0f, y, z}}, {}};
    for (int32_t i = 0; i < count; ++i) {
        const int32_t begin = random.integer(0, 15), end = random.integer(begin + 1, 16);
        node.intervals[0].emplace_back(static_cast<float>(begin) / 16.0f, static_cast<float>(end) / 16.0f);
        node.intervals[1].emplace_back(0.0f, y);
        node.intervals[2].emplace_back(0.0f, z);
    }
    return node;
}

} // namespace

TEST(KDSearch, TheCrossSectionsAreaCountsFromItsThresholdOn) {
    // Just below 1e-9 the area counts as none, and planes that cut more references come out as cheap as others.
    const float below = 1e-9f, above = std::nextafterf(1e-9f, 1.0f);
    ASSERT_LT(static_cast<double>(below), 1e-9);
    Random random(78);
    int different = 0;
    for (int trial = 0; trial < 1000; ++trial) {
        const int32_t count = trial % 2 == 0 ? random.integer(2, 12) : random.integer(65, 80);
        const Node thin = randomRow(random, count, 1.0f, below);
        Node thicker = thin;
        thicker.box.hi[2] = above;
        const float kappa = 0.01f;
        ASSERT_TRUE(findTheModelsSplit(thin, kappa)) << trial;
        ASSERT_TRUE(findTheModelsSplit(thicker, kappa)) << trial;
        different += model::kdModelSearch(thin.box, thin.intervals, kappa).plane !=
                     model::kdModelSearch(thicker.box, thicker.intervals, kappa).plane;
    }
    EXPECT_GT(different, 0);
}

TEST(KDSearch, ASplitIsAcceptedUpToTheLastStepThatItPays) {
    Random random(79);
    int accepted = 0;
    for (int trial = 0; trial < 600; ++trial) {
        const int32_t count = trial % 2 == 0 ? random.integer(2, 64) : random.integer(65, 200);
        const Node node = randomRow(random, count, random.real(0.5f, 2.0f), random.real(0.5f, 2.0f));
        const model::KDSearchResult best = model::kdModelSearch(node.box, node.intervals, 0.0f);
        if (best.axis < 0) continue;
        // N (C - B) = kappa C where the saving is used up.
        const double leafCost = model::kdModelLeafCost(node.box, count);
        auto kappa = static_cast<float>(count * (leafCost - best.cost) / leafCost);
        for (int i = 0; i < 3; ++i) kappa = std::nextafterf(kappa, 0.0f);
        for (int i = 0; i < 6; ++i, kappa = std::nextafterf(kappa, 1e9f)) {
            ASSERT_TRUE(findTheModelsSplit(node, kappa)) << trial;
            accepted += model::kdModelSearch(node.box, node.intervals, kappa).axis >= 0;
        }
    }
    EXPECT_GT(accepted, 1000);
}
