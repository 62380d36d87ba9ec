// The weights of the four cubic kernels of remap and warp: read from a table of the kernel at every hundredth of a voxel,
// linear between its entries.
#pragma once

#include "simd/vector.h"
#include "zypr.h"

namespace zypr::sampling {

// A kernel K of the distance d: a[3] d^3 + a[2] d^2 + a[1] d + a[0] below 1, the same with b below 2, and 0 from there on. The
// coefficients are fractions with the one denominator.
struct CubicKernel {
    int64_t denominator;
    int64_t a[4], b[4]; // from the constant up
};
inline constexpr CubicKernel lagrangeKernel = {6, {6, -3, -6, 3}, {6, -11, 6, -1}};
inline constexpr CubicKernel bSplineKernel = {6, {4, 0, -6, 3}, {8, -12, 6, -1}};
inline constexpr CubicKernel catmullRomKernel = {2, {2, 0, -5, 3}, {4, -8, 5, -1}};
inline constexpr CubicKernel bcKernel = {60, {50, 0, -102, 57}, {112, -204, 120, -23}}; // B = 1/2, C = 3/10

struct CubicTable {
    static constexpr int32_t last = 200; // the entry of distance 2
    alignas(32) float value[last + 1];   // K(k / 100)
    float toNext[last + 1];              // value[k + 1] - value[k]
};

constexpr CubicTable makeCubicTable(const CubicKernel &kernel) {
    CubicTable table{};
    for (int64_t k = 0; k < CubicTable::last; ++k) {
        const int64_t *c = k < 100 ? kernel.a : kernel.b;
        // In integers, so that the one rounding is that of the entry.
        const int64_t numerator = ((c[3] * k + c[2] * 100) * k + c[1] * 10000) * k + c[0] * 1000000;
        table.value[k] = static_cast<float>(static_cast<double>(numerator) / static_cast<double>(kernel.denominator * 1000000));
    }
    for (int32_t k = 0; k < CubicTable::last; ++k) table.toNext[k] = table.value[k + 1] - table.value[k];
    return table;
}

inline constexpr CubicTable lagrangeTable = makeCubicTable(lagrangeKernel);
inline constexpr CubicTable bSplineTable = makeCubicTable(bSplineKernel);
inline constexpr CubicTable catmullRomTable = makeCubicTable(catmullRomKernel);
inline constexpr CubicTable bcTable = makeCubicTable(bcKernel);

inline Float8 cubicWeight(const CubicTable &table, Float8 distance) {
    const Float8 hundredths = broadcast<8>(100.0f) * minimum(distance, broadcast<8>(2.0f));
    const Int8 k = truncated(hundredths);
    const Float8 value = {_mm256_i32gather_ps(table.value, raw(k), 4)};
    const Float8 toNext = {_mm256_i32gather_ps(table.toNext, raw(k), 4)};
    return value + (hundredths - toFloat(k)) * toNext;
}

// The weights of the taps one below, at, one above and two above, for eight positions that lie `fraction` above a voxel.
struct CubicWeights {
    Float8 tap[4];
};
inline CubicWeights cubicWeights(const CubicTable &table, Float8 fraction) {
    const Float8 one = broadcast<8>(1.0f), two = broadcast<8>(2.0f);
    return {cubicWeight(table, magnitude(fraction + one)), cubicWeight(table, magnitude(fraction)),
            cubicWeight(table, magnitude(one - fraction)), cubicWeight(table, magnitude(two - fraction))};
}

} // namespace zypr::sampling
