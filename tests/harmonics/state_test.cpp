// zyprSHGetSize_32f and zyprSHInit_32f.

#include "harmonics/fixture.h"
#include "support/core_probe.h"

using namespace zypr::test;
using namespace zypr::test::harmonics;

namespace {

uint32_t formula(uint32_t order) { return (((order + 1) * (order + 2) / 2 * 8 + 30) & ~31u) + 32; }

} // namespace

TEST(SHGetSize, NullSizePointerComesFirst) {
    EXPECT_EQ(zyprSHGetSize_32f(16, zyprSHDirect, nullptr), zypStsNullPtrErr);
    EXPECT_EQ(zyprSHGetSize_32f(3, 2, nullptr), zypStsNullPtrErr);
}

TEST(SHGetSize, DirectOrderAbove15IsASizeErrorAndWritesNothing) {
    uint32_t size = 77;
    EXPECT_EQ(zyprSHGetSize_32f(16, zyprSHDirect, &size), zypStsSizeErr);
    EXPECT_EQ(zyprSHGetSize_32f(UINT32_MAX, zyprSHDirect, &size), zypStsSizeErr);
    EXPECT_EQ(size, 77u);
}

TEST(SHGetSize, UnknownTypeIsARangeErrorWhateverTheOrderAndWritesNothing) {
    uint32_t size = 77;
    for (const uint32_t type : {2u, 3u, 0x80000000u, UINT32_MAX}) {
        for (const uint32_t order : {0u, 15u, 16u}) EXPECT_EQ(zyprSHGetSize_32f(order, type, &size), zypStsSHRangeErr);
    }
    EXPECT_EQ(size, 77u);
}

TEST(SHGetSize, Reports16ForAnyDirectOrder) {
    for (uint32_t order = 0; order <= 15; ++order) EXPECT_EQ(State::size(order, zyprSHDirect), 16u);
}

TEST(SHGetSize, ReportsTheRecurrenceFormula) {
    EXPECT_EQ(State::size(0, zyprSHRecurrence), 64u);
    EXPECT_EQ(State::size(15, zyprSHRecurrence), 1120u);
    for (uint32_t order = 0; order <= 1000; ++order) EXPECT_EQ(State::size(order, zyprSHRecurrence), formula(order));
    EXPECT_EQ(State::size(32766, zyprSHRecurrence), 0xFFFE0020u);
}

TEST(SHInit, NullStateComesFirst) {
    EXPECT_EQ(zyprSHInit_32f(nullptr, 16, zyprSHDirect), zypStsNullPtrErr);
    EXPECT_EQ(zyprSHInit_32f(nullptr, 3, 2), zypStsNullPtrErr);
}

TEST(SHInit, ErrorsWriteNothing) {
    GuardedArray<uint64_t> memory(std::vector<uint64_t>(16, 0x7777777777777777u));
    auto *state = reinterpret_cast<ZyprSHState *>(memory.data());
    EXPECT_EQ(zyprSHInit_32f(state, 16, zyprSHDirect), zypStsSizeErr);
    EXPECT_EQ(zyprSHInit_32f(state, 3, 2), zypStsSHRangeErr);
    EXPECT_EQ(zyprSHInit_32f(state, 16, 2), zypStsSHRangeErr);
    EXPECT_EQ(memory.values(), std::vector<uint64_t>(16, 0x7777777777777777u));
}

TEST(SHInit, RefusesTablesThatNoReportedSizeCouldHold) {
    GuardedArray<uint64_t> memory(std::vector<uint64_t>(16, 0x7777777777777777u));
    auto *state = reinterpret_cast<ZyprSHState *>(memory.data());
    for (const uint32_t order : {32767u, 65535u, UINT32_MAX - 1, UINT32_MAX})
        EXPECT_EQ(zyprSHInit_32f(state, order, zyprSHRecurrence), zypStsSHRangeErr);
    EXPECT_EQ(memory.values(), std::vector<uint64_t>(16, 0x7777777777777777u));
}

TEST(SHInit, DirectStateIsOrderAndTypeAndNoByteBeyond16) {
    for (uint32_t order = 0; order <= 15; ++order) {
        GuardedArray<uint32_t> memory(std::vector<uint32_t>(4, 0x77777777u));
        ASSERT_EQ(zyprSHInit_32f(reinterpret_cast<ZyprSHState *>(memory.data()), order, zyprSHDirect), zypStsNoErr);
        EXPECT_EQ(memory.values(), (std::vector<uint32_t>{order, zyprSHDirect, 0, 0}));
        EXPECT_TRUE(memory.surroundingsIntact());
    }
}

TEST(SHInit, FillsTheWholeRecurrenceBufferAsStated) {
    for (const size_t misalignment : {0, 8, 16, 24}) {
        for (uint32_t order = 0; order <= 20; ++order) {
            const uint32_t size = State::size(order, zyprSHRecurrence);
            GuardedArray<unsigned char> memory(size, misalignment);
            std::fill(memory.begin(), memory.end(), 0x77);
            auto *state = reinterpret_cast<ZyprSHState *>(memory.data());
            ASSERT_EQ(zyprSHInit_32f(state, order, zyprSHRecurrence), zypStsNoErr);

            // The buffer as a whole: four fields, the tables at multiples of 16, zeros everywhere else.
            const auto next16 = [](uintptr_t address) { return (address + 15) / 16 * 16; };
            const auto base = reinterpret_cast<uintptr_t>(memory.data());
            const size_t entries = (order + 1) * (order + 2) / 2;
            const uintptr_t tableA = next16(base + 24), tableB = next16(tableA + 4 * entries);
            const Tables expected = tables(static_cast<int>(order));
            std::vector<unsigned char> image(size, 0);
            const uint64_t pointers[] = {tableA, tableB};
            std::memcpy(&image[0], &order, 4);
            std::memcpy(&image[4], &state->type, 4);
            std::memcpy(&image[8], pointers, 16);
            std::memcpy(&image[tableA - base], expected.a.data(), 4 * std::max<size_t>(entries, 3));
            std::memcpy(&image[tableB - base], expected.b.data(), 4 * entries);
            ASSERT_EQ(memory.values(), image) << "order " << order << ", misalignment " << misalignment;
            EXPECT_EQ(state->type, static_cast<uint32_t>(zyprSHRecurrence));
            EXPECT_TRUE(memory.surroundingsIntact());
        }
    }
}

TEST(SHInit, OrdersZeroAndOneHaveTheThreeFixedEntries) {
    for (const uint32_t order : {0u, 1u}) {
        State state(order, zyprSHRecurrence);
        const float *a = state.get()->tableA;
        EXPECT_EQ(bits(a[0]), 0x3E906EBBu);
        EXPECT_EQ(bits(a[1]), 0x3EFA2A1Du);
        EXPECT_EQ(bits(a[2]), 0xBEFA2A1Du);
        for (uint32_t i = 0; i < (order == 0 ? 1u : 3u); ++i) EXPECT_EQ(bits(state.get()->tableB[i]), 0u);
    }
}

TEST(SHInit, BesideTheDiagonalTheTablesComeToKnownRoots) {
    State state(20, zyprSHRecurrence);
    for (int l = 2; l <= 20; ++l) {
        const int at = l * (l + 1) / 2;
        EXPECT_FLOAT_EQ(state.get()->tableA[at + l - 1], std::sqrt(2.0f * static_cast<float>(l) + 1));
        EXPECT_EQ(state.get()->tableB[at + l - 1], 0.0f);
        EXPECT_EQ(bits(state.get()->tableB[at + l]), 0u);
    }
}

TEST(SHInit, TablesOfHighOrdersAreAccurate) {
    const CoreProbeScope scope;
    constexpr int order = 1200; // more than 2 MiB, where the clear asks for the cache size
    State state(order, zyprSHRecurrence);
    EXPECT_EQ(CoreProbe::cacheQueries, 1);
    for (const int l : {16, 100, 999, order}) {
        const float *a = state.get()->tableA + l * (l + 1) / 2, *b = state.get()->tableB + l * (l + 1) / 2;
        for (int m = 0; m < l; ++m) {
            const double ll = l, range = ll * ll - m * m, previous = (ll - 1) * (ll - 1) - m * m;
            EXPECT_NEAR(a[m] / std::sqrt((4 * ll * ll - 1) / range), 1, 3e-7);
            EXPECT_NEAR(b[m], -std::sqrt((2 * ll + 1) * previous / ((2 * ll - 3) * range)), 2e-7);
        }
        EXPECT_NEAR(a[l], -std::sqrt((2.0 * l + 1) / (2.0 * l)), 1e-7);
        EXPECT_EQ(b[l], 0);
    }
}
