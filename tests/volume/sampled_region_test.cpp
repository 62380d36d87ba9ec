// Where voxels lie: the distances in a region of even planes lead to the addresses that the table of planes gives.

#include "volume/sampled_region.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "support/random.h"

namespace {

using namespace zypr;
using namespace zypr::sampling;
using zypr::test::Random;

struct Layout {
    int64_t planeStep; // in bytes
    int32_t rowStep;   // in samples
    AxisBounds x, y, z;
};

// Nothing is read: the planes lie about an address of no meaning.
template <class Sample> struct Planes {
    std::vector<const Sample *> table;
    SampledRegion<Sample> region;

    explicit Planes(const Layout &layout)
        : region{nullptr, layout.rowStep, {layout.x, layout.y, layout.z, layout.x, layout.y, layout.z}} {
        for (int64_t z = 0; z <= layout.z.high; ++z)
            table.push_back(
                reinterpret_cast<const Sample *>(static_cast<uintptr_t>((int64_t{1} << 46) + z * layout.planeStep)));
        region.planes = table.data();
    }
};

template <class Sample> void expectSameAddresses(const Layout &layout) {
    const Planes<Sample> planes(layout);
    const auto even = evenRegion(planes.region);
    ASSERT_TRUE(even.has_value());
    Random random(1);
    for (int round = 0; round < 200; ++round) {
        EightPlaces places{};
        const auto any = [&](AxisBounds axis) {
            return random.chance(0.3f) ? (random.chance(0.5f) ? axis.low : axis.high) : random.integer(axis.low, axis.high);
        };
        for (int lane = 0; lane < 8; ++lane)
            places.x.v[lane] = any(layout.x), places.y.v[lane] = any(layout.y), places.z.v[lane] = any(layout.z);
        Int4 anywhere{};
        for (int axis = 0; axis < 3; ++axis)
            anywhere.v[axis] = random.chance(0.5f) ? static_cast<int32_t>(random.word()) : random.integer(-3, 12);
        ASSERT_EQ(even->near(anywhere), planes.region.near(anywhere));
        const auto byTable = planes.region.eight(places);
        const auto byDistance = even->eight(places);
        for (int lane = 0; lane < 8; ++lane) {
            ASSERT_EQ(even->at(byDistance, lane), planes.region.at(byTable, lane));
            for (int plane = 0; plane < 2; ++plane) {
                if (plane > 0 && places.z.v[lane] == layout.z.high) continue;
                for (int row = 0; row < 2; ++row)
                    ASSERT_EQ(even->at(byDistance, lane, plane, row), planes.region.at(byTable, lane, plane, row));
            }
        }
    }
}

const Layout evenLayouts[] = {
    {4000, 100, {0, 99}, {0, 9}, {0, 7}},
    {-4000, 100, {0, 99}, {0, 9}, {0, 7}},
    {4000, -100, {3, 90}, {2, 8}, {1, 6}},
    {-4000, -100, {3, 90}, {2, 8}, {1, 6}},
    {3, 100, {7, 7}, {5, 9}, {2, 4}},
    {0, 100, {0, 99}, {0, 9}, {0, 7}},
    {int64_t{1} << 40, 100, {0, 99}, {0, 9}, {5, 5}}, // no step between planes matters
    {(int64_t{1} << 31) + 8, 100, {0, 99}, {4, 9}, {1, 2}},
    {-(int64_t{1} << 31) - 8, 100, {0, 99}, {4, 9}, {1, 2}},
    {int64_t{1} << 30, -1000, {0, 99}, {0, 9}, {0, 3}},
};

TEST(EvenRegion, DistancesLeadToTheAddressesOfTheTable) {
    for (const Layout &layout : evenLayouts) {
        SCOPED_TRACE(layout.planeStep);
        expectSameAddresses<uint8_t>(layout);
        expectSameAddresses<float>(layout);
    }
}

template <class Sample> void expectSameBlocks(const Layout &layout) {
    const Planes<Sample> planes(layout);
    const auto even = evenRegion(planes.region);
    ASSERT_TRUE(even.has_value() && even->goesOnBelow());
    Random random(2);
    for (int round = 0; round < 50; ++round) {
        EightPlaces places{};
        for (int lane = 0; lane < 8; ++lane) {
            places.x.v[lane] = random.integer(layout.x.low, layout.x.high);
            places.y.v[lane] = random.integer(layout.y.low, layout.y.high);
            places.z.v[lane] = random.integer(std::max(layout.z.low, 1), layout.z.high - 2);
        }
        const auto byTable = planes.region.blocks(places);
        const auto byDistance = even->blocks(places);
        for (int lane = 0; lane < 8; ++lane)
            for (int plane = 0; plane < 4; ++plane)
                for (int row = 0; row < 4; ++row)
                    ASSERT_EQ(even->rowsOf(byDistance, lane)(plane, row), planes.region.rowsOf(byTable, lane)(plane, row));
    }
}

TEST(EvenRegion, BlocksBeginWhereTheTableSaysInPlanesBelowTheRegionToo) {
    for (const Layout &layout : evenLayouts) {
        if (layout.z.high - layout.z.low < 3) continue;
        SCOPED_TRACE(layout.planeStep);
        expectSameBlocks<uint8_t>(layout);
        expectSameBlocks<float>(layout);
    }
}

TEST(EvenRegion, KnowsWhetherThePlaneBelowLiesAtTheSameStep) {
    Planes<uint16_t> planes({5000, 100, {0, 99}, {0, 9}, {2, 6}});
    planes.table[0] += 3;
    EXPECT_TRUE(evenRegion(planes.region)->goesOnBelow());
    planes.table[1] += 3;
    EXPECT_FALSE(evenRegion(planes.region)->goesOnBelow());
}

TEST(EvenRegion, OnlyPlanesOfTheRegionMustBeEven) {
    Planes<uint16_t> planes({5000, 100, {0, 99}, {0, 9}, {2, 6}});
    planes.table[0] = nullptr;
    planes.table[1] += 3;
    EXPECT_TRUE(evenRegion(planes.region).has_value());
    for (size_t z = 2; z <= 6; ++z) {
        Planes<uint16_t> uneven({5000, 100, {0, 99}, {0, 9}, {2, 6}});
        uneven.table[z] += 1;
        EXPECT_FALSE(evenRegion(uneven.region).has_value()) << z;
    }
}

TEST(EvenRegion, EndsBelowFourGigabytes) {
    constexpr int64_t limit = int64_t{1} << 32;
    const auto isEven = [](const Layout &layout) { return evenRegion(Planes<uint8_t>(layout).region).has_value(); };
    EXPECT_TRUE(isEven({limit - 100, 1, {0, 99}, {0, 0}, {0, 1}}));
    EXPECT_FALSE(isEven({limit - 99, 1, {0, 99}, {0, 0}, {0, 1}}));
    EXPECT_TRUE(isEven({-(limit - 100), 1, {0, 99}, {0, 0}, {0, 1}}));
    EXPECT_FALSE(isEven({-(limit - 99), 1, {0, 99}, {0, 0}, {0, 1}}));
    EXPECT_FALSE(isEven({limit, 1, {0, 0}, {0, 0}, {0, 1}}));
    EXPECT_FALSE(isEven({int64_t{1} << 30, 1, {0, 0}, {0, 0}, {0, 4}}));
    EXPECT_FALSE(isEven({0, std::numeric_limits<int32_t>::max(), {0, 0}, {0, 3}, {0, 0}}));
    EXPECT_FALSE(isEven({0, std::numeric_limits<int32_t>::min(), {0, 0}, {0, 2}, {0, 0}}));
}

} // namespace
