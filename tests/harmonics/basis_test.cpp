// zyprSH_32f: its contract with both evaluators, and the recurrence to the bit.

#include "harmonics/fixture.h"

using namespace zypr::test;
using namespace zypr::test::harmonics;

namespace {

constexpr ZyprSHType bothTypes[] = {zyprSHDirect, zyprSHRecurrence};

std::vector<float> recurrenceBlocks(const PointArrays &points, int order) {
    const Tables model = tables(order);
    std::vector<float> blocks;
    for (size_t i = 0; i < points.size(); ++i) {
        const std::vector<float> block = recurrence(points.x[i], points.y[i], points.z[i], order, model);
        blocks.insert(blocks.end(), block.begin(), block.end());
    }
    return blocks;
}

} // namespace

TEST(SH, ChecksRunInTheStatedOrder) {
    State state(3, zyprSHRecurrence), high(20, zyprSHRecurrence);
    const float x = 0, y = 0, z = 1;
    std::vector<float> destination(256, 7.0f);
    float *d = destination.data();
    for (const int32_t count : {1, 0, -1}) {
        for (const uint32_t order : {0u, 4u, 16u}) {
            EXPECT_EQ(zyprSH_32f(nullptr, &y, &z, count, d, order, state.get()), zypStsNullPtrErr);
            EXPECT_EQ(zyprSH_32f(&x, nullptr, &z, count, d, order, state.get()), zypStsNullPtrErr);
            EXPECT_EQ(zyprSH_32f(&x, &y, nullptr, count, d, order, state.get()), zypStsNullPtrErr);
            EXPECT_EQ(zyprSH_32f(&x, &y, &z, count, nullptr, order, state.get()), zypStsNullPtrErr);
            EXPECT_EQ(zyprSH_32f(&x, &y, &z, count, d, order, nullptr), zypStsNullPtrErr);
        }
    }
    EXPECT_EQ(zyprSH_32f(&x, &y, &z, 0, d, 4, state.get()), zypStsSizeErr);
    EXPECT_EQ(zyprSH_32f(&x, &y, &z, 1, d, 4, state.get()), zypStsSHRangeErr);
    EXPECT_EQ(zyprSH_32f(&x, &y, &z, -1, d, 4, state.get()), zypStsSHRangeErr);
    EXPECT_EQ(zyprSH_32f(&x, &y, &z, 1, d, 16, high.get()), zypStsSHRangeErr);
    EXPECT_EQ(zyprSH_32f(&x, &y, &z, -1, d, 16, high.get()), zypStsSHRangeErr);
    high.get()->type = 2;
    EXPECT_EQ(zyprSH_32f(&x, &y, &z, 0, d, 1, high.get()), zypStsSizeErr);
    EXPECT_EQ(zyprSH_32f(&x, &y, &z, 1, d, 1, high.get()), zypStsSHRangeErr);
    EXPECT_EQ(zyprSH_32f(&x, &y, &z, -1, d, 1, high.get()), zypStsSHRangeErr);
    EXPECT_EQ(destination, std::vector<float>(256, 7.0f));
}

TEST(SH, NegativeCountsDoNothing) {
    for (const ZyprSHType type : bothTypes) {
        State state(15, type);
        const float point = 1;
        float destination = 7;
        for (const int32_t count : {-1, -8, INT32_MIN})
            EXPECT_EQ(zyprSH_32f(&point, &point, &point, count, &destination, 15, state.get()), zypStsNoErr);
        EXPECT_EQ(destination, 7);
    }
}

TEST(SH, OrderZeroWritesOneConstantPerPointWhateverThePoint) {
    const PointArrays points = specialPoints();
    for (const ZyprSHType type : bothTypes) {
        State state(0, type);
        GuardedArray<float> destination(points.size());
        ASSERT_EQ(zyprSH_32f(points.x.data(), points.y.data(), points.z.data(), static_cast<int32_t>(points.size()),
                             destination.data(), 0, state.get()),
                  zypStsNoErr);
        for (const float value : destination) EXPECT_EQ(bits(value), 0x3E906EBBu);
    }
}

TEST(SH, RecurrenceFollowsItsDefinitionBitByBitAtEveryOrderCountAndAlignment) {
    const PointArrays points = pointsOffSphere(35, 1);
    for (uint32_t order = 0; order <= 15; ++order) {
        State state(order, zyprSHRecurrence);
        const std::vector<float> expected = recurrenceBlocks(points, static_cast<int>(order));
        const size_t width = static_cast<size_t>(functionCount(static_cast<int>(order)));
        for (size_t count = 1; count <= points.size(); ++count) {
            const size_t misalignment = 4 * (count % 16);
            const GuardedArray<float> x(std::span(points.x).first(count), misalignment);
            const GuardedArray<float> y(std::vector<float>(points.y.begin(), points.y.begin() + static_cast<long>(count)));
            const GuardedArray<float> z(std::span(points.z).first(count), 60 - misalignment);
            GuardedArray<float> destination(count * width, misalignment);
            ASSERT_EQ(
                zyprSH_32f(x.data(), y.data(), z.data(), static_cast<int32_t>(count), destination.data(), order, state.get()),
                zypStsNoErr);
            ASSERT_TRUE(equalBits(destination, std::span(expected).first(count * width))) << "order " << order;
            ASSERT_TRUE(destination.surroundingsIntact());
        }
    }
}

TEST(SH, RecurrenceFollowsItsDefinitionForSpecialValues) {
    const PointArrays points = specialPoints();
    for (const uint32_t order : {1u, 2u, 3u, 15u}) {
        State state(order, zyprSHRecurrence);
        GuardedArray<float> destination(points.size() * static_cast<size_t>(functionCount(static_cast<int>(order))));
        ASSERT_EQ(zyprSH_32f(points.x.data(), points.y.data(), points.z.data(), static_cast<int32_t>(points.size()),
                             destination.data(), order, state.get()),
                  zypStsNoErr);
        EXPECT_TRUE(equalValues(destination, recurrenceBlocks(points, static_cast<int>(order))));
    }
}

TEST(SH, OneStateServesEveryLowerOrderAndIsNeverWritten) {
    const PointArrays points = pointsOnSphere(11, 2);
    for (uint32_t stateOrder = 0; stateOrder <= 20; ++stateOrder) {
        State state(stateOrder, zyprSHRecurrence);
        state.memory().forbidWrites();
        for (uint32_t order = 0; order <= std::min(stateOrder, 15u); ++order) {
            GuardedArray<float> destination(points.size() * static_cast<size_t>(functionCount(static_cast<int>(order))));
            ASSERT_EQ(zyprSH_32f(points.x.data(), points.y.data(), points.z.data(), 11, destination.data(), order, state.get()),
                      zypStsNoErr);
            ASSERT_TRUE(equalBits(destination, recurrenceBlocks(points, static_cast<int>(order))));
        }
        state.memory().allowAccess();
    }
}

TEST(SH, DirectResultsDependOnThePointAloneAndStayInTheDestination) {
    const PointArrays points = pointsOffSphere(37, 3);
    for (uint32_t order = 0; order <= 15; ++order) {
        State state(15, zyprSHDirect);
        const size_t width = static_cast<size_t>(functionCount(static_cast<int>(order)));
        std::vector<float> expected;
        for (size_t i = 0; i < points.size(); ++i) {
            const std::vector<float> block = blockAt(points.x[i], points.y[i], points.z[i], order, state.get());
            expected.insert(expected.end(), block.begin(), block.end());
        }
        for (size_t count = 1; count <= points.size(); ++count) {
            const GuardedArray<float> x(std::vector<float>(points.x.begin(), points.x.begin() + static_cast<long>(count)));
            const GuardedArray<float> y(std::span(points.y).first(count), 4 * (count % 16));
            const GuardedArray<float> z(std::vector<float>(points.z.begin(), points.z.begin() + static_cast<long>(count)));
            GuardedArray<float> destination(count * width, 4 * (count % 16));
            ASSERT_EQ(
                zyprSH_32f(x.data(), y.data(), z.data(), static_cast<int32_t>(count), destination.data(), order, state.get()),
                zypStsNoErr);
            ASSERT_TRUE(equalBits(destination, std::span(expected).first(count * width))) << "order " << order;
            ASSERT_TRUE(destination.surroundingsIntact());
        }
    }
}

TEST(SH, OutputsThatOutgrowTheNearCachesAreNoDifferent) {
    for (const ZyprSHType type : bothTypes) {
        State state(15, type);
        for (uint32_t order = 0; order <= 15; ++order) {
            const size_t width = static_cast<size_t>(functionCount(static_cast<int>(order)));
            const PointArrays points = pointsOnSphere(150000 / width + order % 8, order);
            GuardedArray<float> destination(points.size() * width, 4 * order);
            ASSERT_EQ(zyprSH_32f(points.x.data(), points.y.data(), points.z.data(), static_cast<int32_t>(points.size()),
                                 destination.data(), order, state.get()),
                      zypStsNoErr);
            for (size_t i = 0; i < points.size(); ++i) {
                ASSERT_TRUE(equalBits(std::span(destination.data() + i * width, width),
                                      blockAt(points.x[i], points.y[i], points.z[i], order, state.get())));
            }
            ASSERT_TRUE(destination.surroundingsIntact());
        }
    }
}

TEST(SH, LowerOrdersAreTheFirstFunctionsOfHigherOnes) {
    for (const ZyprSHType type : bothTypes) {
        State state(15, type);
        const std::vector<float> all = blockAt(0.3f, -0.6f, 0.7f, 15, state.get());
        for (uint32_t order = 0; order < 15; ++order) {
            const std::vector<float> block = blockAt(0.3f, -0.6f, 0.7f, order, state.get());
            EXPECT_TRUE(equalBits(block, std::span(all).first(block.size())));
        }
    }
}

TEST(SH, EverythingButTheZonalFunctionsVanishesAtThePole) {
    for (const ZyprSHType type : bothTypes) {
        State state(15, type);
        for (const float z : {1.0f, -1.0f, 0.5f}) {
            const std::vector<float> block = blockAt(0, 0, z, 15, state.get());
            for (int l = 0; l <= 15; ++l) {
                for (int m = 1; m <= l; ++m) {
                    EXPECT_EQ(block[static_cast<size_t>(l * l + l + m)], 0.0f) << name(type) << l << ' ' << m;
                    EXPECT_EQ(block[static_cast<size_t>(l * l + l - m)], 0.0f) << name(type) << l << ' ' << -m;
                }
            }
        }
        const std::vector<float> pole = blockAt(0, 0, 1, 15, state.get());
        for (int l = 0; l <= 15; ++l)
            EXPECT_NEAR(pole[static_cast<size_t>(l * l + l)], std::sqrt((2 * l + 1) / (4 * std::numbers::pi)), 2e-6);
    }
}

TEST(SH, TheTwoEvaluatorsAgreeOnTheSphere) {
    // Measured over 200000 points: at most 5.3e-6, in band 15, where values go up to 1.6.
    const PointArrays points = pointsOnSphere(2000, 4);
    State direct(15, zyprSHDirect), recurrent(15, zyprSHRecurrence);
    float worst = 0;
    for (size_t i = 0; i < points.size(); ++i) {
        const std::vector<float> a = blockAt(points.x[i], points.y[i], points.z[i], 15, direct.get());
        const std::vector<float> b = blockAt(points.x[i], points.y[i], points.z[i], 15, recurrent.get());
        for (size_t k = 0; k < a.size(); ++k) worst = std::max(worst, std::abs(a[k] - b[k]));
    }
    RecordProperty("worst", std::to_string(worst));
    EXPECT_LT(worst, 6e-6f);
}

TEST(SH, TheTwoEvaluatorsAgreeOffTheSphere) {
    // Beside (1 + |p|)^l, as a polynomial of band l may grow. Measured: at most 3e-7.
    const PointArrays points = pointsOffSphere(2000, 5);
    State direct(15, zyprSHDirect), recurrent(15, zyprSHRecurrence);
    double worst = 0;
    for (size_t i = 0; i < points.size(); ++i) {
        const double length = std::hypot(points.x[i], points.y[i], points.z[i]);
        const std::vector<float> a = blockAt(points.x[i], points.y[i], points.z[i], 15, direct.get());
        const std::vector<float> b = blockAt(points.x[i], points.y[i], points.z[i], 15, recurrent.get());
        for (int l = 0; l <= 15; ++l) {
            const double scale = std::pow(1 + length, l);
            for (int k = l * l; k < (l + 1) * (l + 1); ++k)
                worst = std::max(worst,
                                 std::abs(static_cast<double>(a[static_cast<size_t>(k)]) - b[static_cast<size_t>(k)]) / scale);
        }
    }
    RecordProperty("worst", std::to_string(worst));
    EXPECT_LT(worst, 5e-7);
}

TEST(SH, BasisIsOrthonormalOnTheSphere) {
    // Gauss and Legendre's nodes in z, exact to degree 31, by equal steps in longitude: exact for products of bands 0 to 15.
    constexpr int nodes = 16, steps = 32, functions = 256;
    const auto legendre = [](double z, double &derivative) {
        double previous = 1, current = z;
        for (int n = 2; n <= nodes; ++n) {
            const double next = ((2 * n - 1) * z * current - (n - 1) * previous) / n;
            previous = current;
            current = next;
        }
        derivative = nodes * (z * current - previous) / (z * z - 1);
        return current;
    };
    PointArrays points;
    std::vector<double> weights;
    for (int i = 0; i < nodes; ++i) {
        double z = std::cos(std::numbers::pi * (i + 0.75) / (nodes + 0.5)), derivative = 0;
        for (int k = 0; k < 20; ++k) {
            const double value = legendre(z, derivative);
            z -= value / derivative;
        }
        const double weight = 2 / ((1 - z * z) * derivative * derivative) * 2 * std::numbers::pi / steps;
        const double radius = std::sqrt(1 - z * z);
        for (int k = 0; k < steps; ++k) {
            const double phi = 2 * std::numbers::pi * (k + 0.5) / steps;
            points.add(static_cast<float>(radius * std::cos(phi)), static_cast<float>(radius * std::sin(phi)),
                       static_cast<float>(z));
            weights.push_back(weight);
        }
    }
    for (const ZyprSHType type : bothTypes) {
        State state(15, type);
        std::vector<float> blocks(points.size() * functions);
        ASSERT_EQ(zyprSH_32f(points.x.data(), points.y.data(), points.z.data(), static_cast<int32_t>(points.size()),
                             blocks.data(), 15, state.get()),
                  zypStsNoErr);
        double worst = 0;
        for (int a = 0; a < functions; ++a) {
            for (int b = a; b < functions; ++b) {
                double sum = 0;
                for (size_t i = 0; i < points.size(); ++i) {
                    const float *block = &blocks[i * functions];
                    sum += weights[i] * block[a] * block[b];
                }
                worst = std::max(worst, std::abs(sum - (a == b ? 1 : 0)));
            }
        }
        EXPECT_LT(worst, 2e-6) << name(type);
    }
}
