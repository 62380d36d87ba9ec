// What the tests of the harmonics share: states in guarded memory, points, and the blocks of single points.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "harmonics/model.h"
#include "support/guarded_array.h"
#include "support/random.h"
#include "zypr.h"

namespace zypr::test::harmonics {

// A state that fills its memory to the last byte.
class State {
public:
    State(uint32_t order, ZyprSHType type) : memory_(size(order, type)) {
        EXPECT_EQ(zyprSHInit_32f(get(), order, type), zypStsNoErr);
    }
    ZyprSHState *get() { return reinterpret_cast<ZyprSHState *>(memory_.data()); }
    const GuardedArray<unsigned char> &memory() const { return memory_; }
    GuardedArray<unsigned char> &memory() { return memory_; }

    static uint32_t size(uint32_t order, ZyprSHType type) {
        uint32_t bytes = 0;
        EXPECT_EQ(zyprSHGetSize_32f(order, type, &bytes), zypStsNoErr);
        return bytes;
    }

private:
    GuardedArray<unsigned char> memory_;
};

struct PointArrays {
    std::vector<float> x, y, z;

    size_t size() const { return x.size(); }
    void add(float px, float py, float pz) {
        x.push_back(px);
        y.push_back(py);
        z.push_back(pz);
    }
};

inline PointArrays pointsOnSphere(size_t count, uint32_t seed) {
    Random random(seed);
    PointArrays points;
    while (points.size() < count) {
        const float x = random.real(-1, 1), y = random.real(-1, 1), z = random.real(-1, 1);
        const float square = x * x + y * y + z * z;
        if (square > 1 || square < 0.01f) continue;
        const float length = std::sqrt(square);
        points.add(x / length, y / length, z / length);
    }
    return points;
}

inline PointArrays pointsOffSphere(size_t count, uint32_t seed) {
    Random random(seed);
    PointArrays points;
    for (size_t i = 0; i < count; ++i) points.add(random.real(-1.5f, 1.5f), random.real(-1.5f, 1.5f), random.real(-1.5f, 1.5f));
    return points;
}

// Every special value in every coordinate, among ordinary ones.
inline PointArrays specialPoints() {
    PointArrays points;
    for (const float special : specialFloats()) {
        points.add(special, 0.5f, -0.25f);
        points.add(0.75f, special, 0.5f);
        points.add(-0.5f, 0.25f, special);
        points.add(special, special, special);
    }
    return points;
}

// The block of one point alone, by the export.
inline std::vector<float> blockAt(float x, float y, float z, uint32_t order, const ZyprSHState *state) {
    std::vector<float> block(static_cast<size_t>(functionCount(static_cast<int>(order))));
    EXPECT_EQ(zyprSH_32f(&x, &y, &z, 1, block.data(), order, state), zypStsNoErr);
    return block;
}

inline const char *name(ZyprSHType type) { return type == zyprSHDirect ? "direct" : "recurrence"; }

} // namespace zypr::test::harmonics
