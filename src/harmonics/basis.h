// What the evaluators, the fronts and the transforms of the spherical harmonics share: the basis at a group of up to eight
// points, one lane per point. The evaluators fill a group function by function; `transposed` turns it into one row per point.
#pragma once

#include <cstdint>

#include "simd/vector.h"
#include "zypr.h"

namespace zypr::harmonics {

constexpr uint32_t highestOrder = 15;
constexpr int32_t groupSize = 8;

// Function (l, m) is number l l + l + m, so bands 0 to `order` hold:
constexpr int32_t functionCount(uint32_t order) { return static_cast<int32_t>((order + 1) * (order + 1)); }

// The coordinates of one to eight points. Lanes behind the last point hold zeros.
struct PointGroup {
    Float8 x, y, z;
    int32_t count;
};

// The group of the first points of the arrays, of which `remaining` are left.
inline PointGroup firstGroup(const float *x, const float *y, const float *z, int32_t remaining) {
    if (remaining >= groupSize) return {load<8>(x), load<8>(y), load<8>(z), groupSize};
    const Mask8 lanes = firstLanes<8>(remaining);
    return {load(x, lanes), load(y, lanes), load(z, lanes), remaining};
}

// The values of `functions` basis functions at a group. They are padded with rows of zeros to a multiple of eight.
struct alignas(32) BasisGroup {
    explicit BasisGroup(int32_t functions) {
        for (int32_t k = functions; k % 8 != 0; ++k) store(values[k], Float8{});
    }
    float values[256][groupSize];
};

// Functions k to k + 7 at the four points from `point` on, one row per point.
struct FourRows {
    Float8 row[4];
};

inline FourRows transposed(const BasisGroup &basis, int32_t k, int32_t point) {
    // Halves that are joined on loading leave only the transpositions of 4 x 4 to the shuffles.
    const auto twoFunctions = [&](int32_t j) {
        return joined(load<4>(&basis.values[k + j][point]), load<4>(&basis.values[k + j + 4][point]));
    };
    FourRows four{twoFunctions(0), twoFunctions(1), twoFunctions(2), twoFunctions(3)};
    transpose(four.row);
    return four;
}

// The evaluators, at the group's first `count` points; what the other lanes hold is open. `order` and `band` are at most
// highestOrder. The coordinates come by value, in registers: it shows at low orders.
void evaluateDirect(Float8 x, Float8 y, Float8 z, int32_t count, uint32_t order, BasisGroup &basis);
void evaluateDirectBand(Float8 x, Float8 y, Float8 z, int32_t count, uint32_t band, BasisGroup &basis); // functions 0 to 2 band
void evaluateRecurrence(Float8 x, Float8 y, Float8 z, uint32_t order, const ZyprSHState &state, BasisGroup &basis);

// At the first points of the arrays, straight to their blocks, while as many lines from `ahead` on are fetched.
constexpr int32_t directPoints = 16;
void evaluateDirectBlocks(const float *x, const float *y, const float *z, uint32_t order, float *blocks, const float *ahead);

// By the state's own evaluator.
inline void evaluate(const PointGroup &points, uint32_t order, const ZyprSHState &state, BasisGroup &basis) {
    if (state.type == zyprSHRecurrence)
        evaluateRecurrence(points.x, points.y, points.z, order, state, basis);
    else
        evaluateDirect(points.x, points.y, points.z, points.count, order, basis);
}

} // namespace zypr::harmonics
