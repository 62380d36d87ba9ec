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

// The entries that the four taps of a position start from, and what leads to the next ones.
struct alignas(32) CubicTaps {
    float value[4], toNext[4];
};

struct CubicTable {
    static constexpr int32_t last = 200; // the entry of distance 2
    float value[last + 2];               // K(k / 100)
    CubicTaps taps[last / 2];            // for positions from k to k + 1 hundredths above a voxel

    // Whether entry k and all that leads to the next one give just that.
    constexpr bool reachesNext(int32_t k) const { return value[k] + (value[k + 1] - value[k]) == value[k + 1]; }
};

constexpr CubicTable makeCubicTable(const CubicKernel &kernel) {
    CubicTable table{};
    for (int64_t k = 0; k < CubicTable::last; ++k) {
        const int64_t *c = k < 100 ? kernel.a : kernel.b;
        // In integers, so that the one rounding is that of the entry.
        const int64_t numerator = ((c[3] * k + c[2] * 100) * k + c[1] * 10000) * k + c[0] * 1000000;
        table.value[k] = static_cast<float>(static_cast<double>(numerator) / static_cast<double>(kernel.denominator * 1000000));
    }
    for (int32_t k = 0; k < CubicTable::last / 2; ++k) {
        const int32_t entry[4] = {100 + k, k, 99 - k, 199 - k};
        for (int32_t tap = 0; tap < 4; ++tap) {
            const float *const value = table.value + entry[tap];
            table.taps[k].value[tap] = value[0];
            table.taps[k].toNext[tap] = value[1] - value[0];
        }
    }
    return table;
}

// Whether the rows of taps lead to the next entries: all but those of positions less than three hundredths from a voxel, and of
// these the first where the position is the voxel.
constexpr bool reachesNext(const CubicTable &table) {
    for (int32_t k = 3; k <= 96; ++k)
        if (!table.reachesNext(100 + k) || !table.reachesNext(99 - k) || !table.reachesNext(199 - k)) return false;
    return table.reachesNext(99) && table.reachesNext(199);
}

inline constexpr CubicTable lagrangeTable = makeCubicTable(lagrangeKernel);
inline constexpr CubicTable bSplineTable = makeCubicTable(bSplineKernel);
inline constexpr CubicTable catmullRomTable = makeCubicTable(catmullRomKernel);
inline constexpr CubicTable bcTable = makeCubicTable(bcKernel);
static_assert(reachesNext(lagrangeTable) && reachesNext(bSplineTable) && reachesNext(catmullRomTable) && reachesNext(bcTable));

// The weights of the taps one below, at, one above and two above a position that lies `fraction` above its voxel.
inline Float4 cubicWeights(const CubicTable &table, float fraction) {
    const Float4 up{_mm_setr_ps(1, 1, -1, -1)}, first{_mm_setr_ps(1, 0, 1, 2)};
    const Float4 distance = magnitude(fused(up, broadcast<4>(fraction), first)); // the products are exact
    const Float4 hundredths = broadcast<4>(100.0f) * minimum(distance, broadcast<4>(2.0f));
    const Int4 k = truncated(hundredths);
    const auto entries = [&](int32_t further) {
        const auto at = [&](int tap) { return table.value[k.v[tap] + further]; };
        return Float4{_mm_setr_ps(at(0), at(1), at(2), at(3))};
    };
    const Float4 value = entries(0);
    return value + (hundredths - toFloat(k)) * (entries(1) - value);
}

// Where eight positions stand in the table. Made for all axes before the weights of any, the entries have been stored when they
// are read.
struct CubicEntries {
    Float8 fraction, hundredths;
    Int8 entry;
    LanesInMemory<int32_t> bytes; // from the first row of taps

    explicit CubicEntries(Float8 f) : fraction(f), hundredths(broadcast<8>(100.0f) * f), entry(truncated(hundredths)) {
        static_assert(sizeof(CubicTaps) == 1 << 5);
        bytes.store(_mm256_slli_epi32(raw(entry), 5));
    }
};

// The weights of eight positions: ofPair[i] has the four of position i and then the four of position i + 4.
struct EightCubicWeights {
    Float8 ofPair[4];

    // Along many rows the fractions stay: where a coordinate doesn't change, or by whole voxels.
    void moveTo(const CubicTable &table, const CubicEntries &entries) {
        const Float8 fraction = entries.fraction;
        if (all(bitsOf(fraction) == bitsOf(fraction_))) return;
        fraction_ = fraction;
        const Float8 one = broadcast<8>(1.0f), hundred = broadcast<8>(100.0f);
        const Float8 hundredths = entries.hundredths;
        const Int8 entry = entries.entry;
        // But for rounding, the entries of the four taps follow from one of them, and each stands less than 1 above its own. It
        // may also stand on the next one, where the same row leads there.
        const Float8 k = toFloat(entry), rest = broadcast<8>(99.0f) - k;
        Float8 above[4] = {hundred * (fraction + one) - (k + hundred), hundredths - k, hundred * (one - fraction) - rest,
                           hundred * (one + one - fraction) - (rest + hundred)};
        const Int8 largest = larger(larger(bitsOf(fraction), bitsOf(above[0])), larger(bitsOf(above[2]), bitsOf(above[3])));
        const auto isUpTo = [&](uint32_t limit) {
            const Int8 limits = broadcast<8>(static_cast<int32_t>(limit));
            return larger(largest, limits) == limits;
        };
        if (!all(isUpTo(bitsOf(1.0f) - 1))) {
            const Mask8 mayReachNext =
                (fraction == broadcast<8>(0.0f)) | ((k >= broadcast<8>(3.0f)) & (k <= broadcast<8>(96.0f)));
            if (!all(isUpTo(bitsOf(1.0f)) & mayReachNext)) {
                tapByTap(table, fraction);
                return;
            }
        }
        const auto *const rows = reinterpret_cast<const char *>(table.taps);
        transpose(above);
#pragma GCC unroll 4
        for (int i = 0; i < 4; ++i) {
            const auto rowOf = [&](int lane) {
                return _mm256_load_ps(reinterpret_cast<const float *>(rows + static_cast<uint32_t>(entries.bytes[lane])));
            };
            const __m256 a = rowOf(i), b = rowOf(i + 4);
            const Float8 value{_mm256_permute2f128_ps(a, b, 0x20)}, toNext{_mm256_permute2f128_ps(a, b, 0x31)};
            ofPair[i] = value + above[i] * toNext;
        }
    }
    Float4 ofLane(int lane) const {
        const Float8 pair = ofPair[lane % 4];
        return lane < 4 ? low(pair) : high(pair);
    }

private:
    // Of the bits as numbers without a sign; a negative float's are larger than any other's.
    static Int8 larger(Int8 a, Int8 b) { return {reinterpret_cast<int8Register>(_mm256_max_epu32(raw(a), raw(b)))}; }
    [[gnu::noinline]] void tapByTap(const CubicTable &table, Float8 fraction) {
        for (int i = 0; i < 4; ++i)
            ofPair[i] = joined(cubicWeights(table, fraction.v[i]), cubicWeights(table, fraction.v[i + 4]));
    }

    Float8 fraction_ = floatsOf(broadcast<8>(-1)); // where they are; not a number before the first
};

} // namespace zypr::sampling
