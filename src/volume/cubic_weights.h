// The weights of the four cubic kernels of remap and warp: read from a table of the kernel at every hundredth of a voxel,
// linear between its entries.
#pragma once

#include "volume/lanes.h"
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

// The entries that the four taps of a position start from.
struct CubicTaps {
    float value[4], toNext[4];
};

struct CubicTable {
    static constexpr int32_t last = 200;     // the entry of distance 2
    float value[last + 2];                   // K(k / 100)
    alignas(32) CubicTaps between[last / 2]; // for positions from k to k + 1 hundredths above a voxel, exclusive
    CubicTaps on[last / 2 + 1];              // for positions k hundredths above it, 100 included
};

constexpr CubicTable makeCubicTable(const CubicKernel &kernel) {
    CubicTable table{};
    for (int64_t k = 0; k < CubicTable::last; ++k) {
        const int64_t *c = k < 100 ? kernel.a : kernel.b;
        // In integers, so that the one rounding is that of the entry.
        const int64_t numerator = ((c[3] * k + c[2] * 100) * k + c[1] * 10000) * k + c[0] * 1000000;
        table.value[k] = static_cast<float>(static_cast<double>(numerator) / static_cast<double>(kernel.denominator * 1000000));
    }
    for (int32_t k = 0; k <= CubicTable::last / 2; ++k) {
        const int32_t entry[4] = {100 + k, k, 100 - k, 200 - k};
        for (int32_t tap = 0; tap < 4; ++tap) {
            const float *const on = table.value + entry[tap];
            table.on[k].value[tap] = on[0], table.on[k].toNext[tap] = on[1] - on[0];
            if (k == CubicTable::last / 2) continue;
            const float *const between = tap < 2 ? on : on - 1;
            table.between[k].value[tap] = between[0], table.between[k].toNext[tap] = between[1] - between[0];
        }
    }
    return table;
}

inline constexpr CubicTable lagrangeTable = makeCubicTable(lagrangeKernel);
inline constexpr CubicTable bSplineTable = makeCubicTable(bSplineKernel);
inline constexpr CubicTable catmullRomTable = makeCubicTable(catmullRomKernel);
inline constexpr CubicTable bcTable = makeCubicTable(bcKernel);

inline float cubicWeight(const CubicTable &table, float distance) {
    const float hundredths = 100.0f * minimum(distance, 2.0f);
    const int32_t k = truncated(hundredths);
    return table.value[k] + (hundredths - static_cast<float>(k)) * (table.value[k + 1] - table.value[k]);
}

// The weights of the taps one below, at, one above and two above a position that lies `fraction` above its voxel.
inline void cubicWeights(const CubicTable &table, float fraction, float (&weight)[4]) {
    const float distance[4] = {fraction + 1.0f, fraction, 1.0f - fraction, 2.0f - fraction};
    for (int tap = 0; tap < 4; ++tap) weight[tap] = cubicWeight(table, floatOf(bitsOf(distance[tap]) & 0x7FFFFFFFu));
}

// Transposes the low and the high four lanes of four registers, each by themselves.
inline void transposeHalves(Float8 (&a)[4]) {
    const __m256 ab0 = _mm256_unpacklo_ps(a[0].v, a[1].v), ab2 = _mm256_unpackhi_ps(a[0].v, a[1].v);
    const __m256 cd0 = _mm256_unpacklo_ps(a[2].v, a[3].v), cd2 = _mm256_unpackhi_ps(a[2].v, a[3].v);
    a[0].v = _mm256_shuffle_ps(ab0, cd0, _MM_SHUFFLE(1, 0, 1, 0));
    a[1].v = _mm256_shuffle_ps(ab0, cd0, _MM_SHUFFLE(3, 2, 3, 2));
    a[2].v = _mm256_shuffle_ps(ab2, cd2, _MM_SHUFFLE(1, 0, 1, 0));
    a[3].v = _mm256_shuffle_ps(ab2, cd2, _MM_SHUFFLE(3, 2, 3, 2));
}

// The weights of eight positions: ofPair[i] has the four of position i and then the four of position i + 4.
struct EightCubicWeights {
    Float8 ofPair[4];

    EightCubicWeights(const CubicTable &table, Float8 fraction) {
        const Float8 one = broadcast<8>(1.0f), hundred = broadcast<8>(100.0f);
        const Float8 hundredths[4] = {hundred * (fraction + one), hundred * fraction, hundred * (one - fraction),
                                      hundred * (one + one - fraction)};
        Int8 entry[4];
        for (int tap = 0; tap < 4; ++tap) {
            entry[tap] = truncated(hundredths[tap]);
            ofPair[tap] = hundredths[tap] - toFloat(entry[tap]);
        }
        // But for rounding, the entries of the four taps follow from one of them.
        const Int8 on = bitsOf(ofPair[1] == broadcast<8>(0.0f)); // -1 or 0
        const Int8 sum = entry[1] + on;
        if (!all((entry[0] - entry[1] == broadcast<8>(100)) & (sum + entry[2] == broadcast<8>(99)) &
                 (sum + entry[3] == broadcast<8>(199)))) {
            tapByTap(table, fraction);
            return;
        }
        constexpr int32_t toOn = offsetof(CubicTable, on) - offsetof(CubicTable, between);
        static_assert(sizeof(CubicTaps) == 1 << 5);
        const Int8 bytes =
            Int8{reinterpret_cast<int8Register>(_mm256_slli_epi32(raw(entry[1]), 5))} + (on & broadcast<8>(toOn));
        const auto *const rows = reinterpret_cast<const char *>(table.between);
        transposeHalves(ofPair);
#pragma GCC unroll 4
        for (int i = 0; i < 4; ++i) {
            const auto pairOf = [&](size_t member) {
                const auto four = [&](int lane) {
                    return load<4>(reinterpret_cast<const float *>(rows + static_cast<uint32_t>(bytes.v[lane]) + member));
                };
                return joined(four(i), four(i + 4));
            };
            ofPair[i] = pairOf(offsetof(CubicTaps, value)) + ofPair[i] * pairOf(offsetof(CubicTaps, toNext));
        }
    }

private:
    [[gnu::noinline]] void tapByTap(const CubicTable &table, Float8 fraction) {
        float weight[8][4];
        for (int lane = 0; lane < 8; ++lane) cubicWeights(table, fraction.v[lane], weight[lane]);
        for (int i = 0; i < 4; ++i) ofPair[i] = joined(load<4>(weight[i]), load<4>(weight[i + 4]));
    }
};

} // namespace zypr::sampling
