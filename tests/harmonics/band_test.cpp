// zyprSHBand_32f.

#include "harmonics/fixture.h"

using namespace zypr::test;
using namespace zypr::test::harmonics;

TEST(SHBand, ChecksRunInTheStatedOrder) {
    const float p = 1;
    std::vector<float> destination(64, 7.0f);
    float *d = destination.data();
    for (const int32_t count : {1, 0, -1}) {
        for (const uint32_t band : {0u, 16u}) {
            EXPECT_EQ(zyprSHBand_32f(nullptr, &p, &p, count, d, band), zypStsNullPtrErr);
            EXPECT_EQ(zyprSHBand_32f(&p, nullptr, &p, count, d, band), zypStsNullPtrErr);
            EXPECT_EQ(zyprSHBand_32f(&p, &p, nullptr, count, d, band), zypStsNullPtrErr);
            EXPECT_EQ(zyprSHBand_32f(&p, &p, &p, count, nullptr, band), zypStsNullPtrErr);
        }
        EXPECT_EQ(zyprSHBand_32f(&p, &p, &p, count, d, 16), zypStsSHRangeErr);
        EXPECT_EQ(zyprSHBand_32f(&p, &p, &p, count, d, UINT32_MAX), zypStsSHRangeErr);
    }
    EXPECT_EQ(zyprSHBand_32f(&p, &p, &p, 0, d, 15), zypStsSizeErr);
    EXPECT_EQ(destination, std::vector<float>(64, 7.0f));
}

TEST(SHBand, NegativeCountsDoNothing) {
    const float p = 1;
    float destination = 7;
    for (const int32_t count : {-1, INT32_MIN}) {
        for (uint32_t band = 0; band <= 15; ++band)
            EXPECT_EQ(zyprSHBand_32f(&p, &p, &p, count, &destination, band), zypStsNoErr);
    }
    EXPECT_EQ(destination, 7);
}

TEST(SHBand, BandZeroIsTheConstantWhateverThePoint) {
    const PointArrays points = specialPoints();
    GuardedArray<float> destination(points.size());
    ASSERT_EQ(zyprSHBand_32f(points.x.data(), points.y.data(), points.z.data(), static_cast<int32_t>(points.size()),
                             destination.data(), 0),
              zypStsNoErr);
    for (const float value : destination) EXPECT_EQ(bits(value), 0x3E906EBBu);
}

TEST(SHBand, IsTheBandOfADirectBlockAtEveryCount) {
    State state(15, zyprSHDirect);
    const PointArrays points = pointsOffSphere(19, 9);
    for (uint32_t band = 0; band <= 15; ++band) {
        const size_t width = 2 * band + 1;
        std::vector<float> expected;
        for (size_t i = 0; i < points.size(); ++i) {
            const std::vector<float> block = blockAt(points.x[i], points.y[i], points.z[i], band, state.get());
            expected.insert(expected.end(), block.end() - static_cast<long>(width), block.end());
        }
        for (size_t count = 1; count <= points.size(); ++count) {
            const GuardedArray<float> x(std::vector<float>(points.x.begin(), points.x.begin() + static_cast<long>(count)));
            const GuardedArray<float> y(std::vector<float>(points.y.begin(), points.y.begin() + static_cast<long>(count)));
            const GuardedArray<float> z(std::span(points.z).first(count), 4 * count % 64);
            GuardedArray<float> destination(count * width, 4 * (count % 16));
            ASSERT_EQ(zyprSHBand_32f(x.data(), y.data(), z.data(), static_cast<int32_t>(count), destination.data(), band),
                      zypStsNoErr);
            ASSERT_TRUE(equalBits(destination, std::span(expected).first(count * width))) << "band " << band;
            ASSERT_TRUE(destination.surroundingsIntact());
        }
    }
}

TEST(SHBand, OutputsThatOutgrowTheNearCachesAreNoDifferent) {
    for (const uint32_t band : {0u, 1u, 6u, 15u}) {
        const size_t width = 2 * band + 1;
        const PointArrays points = pointsOnSphere(150000 / width + 3, band);
        GuardedArray<float> destination(points.size() * width, 4 * band);
        ASSERT_EQ(zyprSHBand_32f(points.x.data(), points.y.data(), points.z.data(), static_cast<int32_t>(points.size()),
                                 destination.data(), band),
                  zypStsNoErr);
        std::vector<float> expected(width);
        for (size_t i = 0; i < points.size(); ++i) {
            zyprSHBand_32f(&points.x[i], &points.y[i], &points.z[i], 1, expected.data(), band);
            ASSERT_TRUE(equalBits(std::span(destination.data() + i * width, width), expected)) << i;
        }
        ASSERT_TRUE(destination.surroundingsIntact());
    }
}
