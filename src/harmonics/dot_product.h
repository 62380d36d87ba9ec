// The inverse transforms' dot product of a basis block with a coefficient vector, whose order of summation is part of the
// result. Eight points are summed at once, one per lane: what is called a lane below is a register here.
#pragma once

#include <cstdint>

#include "harmonics/basis.h"

namespace zypr::harmonics {

// How the terms are grouped, from where the vector lies and how long it is.
struct DotProductPlan {
    int32_t head;     // terms summed in order before the blocks
    int32_t blocks16; // blocks of 16 terms, over four accumulators of four lanes
    bool block8;      // whether a block of 8 follows, over two; the rest is summed in order
};

inline DotProductPlan dotProductPlan(const void *vector, int32_t length) {
    const auto address = reinterpret_cast<uintptr_t>(vector);
    const auto head = static_cast<int32_t>((32 - address % 32) % 32 / 4); // up to a multiple of 32 bytes
    if (length < 16 || address % 4 != 0 || length < head + 16) return {length, 0, false};
    return {head, (length - head) / 16, (length - head) % 16 >= 8};
}

inline Float8 dotProduct(const BasisGroup &basis, const float *vector, int32_t length, const DotProductPlan &plan) {
    const auto term = [&](int32_t k) { return load<8>(basis.values[k]) * broadcast<8>(vector[k]); };
    const auto sumInOrder = [&](Float8 sum, int32_t from, int32_t to) {
        for (int32_t k = from; k < to; ++k) sum = sum + term(k);
        return sum;
    };
    // Four lanes: the first two plus the last two, then the remaining two.
    const auto reduced = [](const Float8(&lane)[4]) { return (lane[0] + lane[2]) + (lane[1] + lane[3]); };

    int32_t k = plan.head;
    Float8 sum = sumInOrder(Float8{}, 0, k);
    if (plan.blocks16 > 0) {
        const auto accumulator = [&](int32_t j, int32_t lane) {
            Float8 partial = 4 * j + lane == 0 ? sum : Float8{};
            for (int32_t block = 0; block < plan.blocks16; ++block) partial = partial + term(k + 16 * block + 4 * j + lane);
            return partial;
        };
        Float8 lanes[4];
        for (int32_t lane = 0; lane < 4; ++lane)
            lanes[lane] = (accumulator(0, lane) + accumulator(2, lane)) + (accumulator(1, lane) + accumulator(3, lane));
        sum = reduced(lanes);
        k += 16 * plan.blocks16;
    }
    if (plan.block8) {
        Float8 lanes[4];
        for (int32_t lane = 0; lane < 4; ++lane)
            lanes[lane] = ((lane == 0 ? sum : Float8{}) + term(k + lane)) + (Float8{} + term(k + 4 + lane));
        sum = reduced(lanes);
        k += 8;
    }
    return sumInOrder(sum, k, length);
}

} // namespace zypr::harmonics
