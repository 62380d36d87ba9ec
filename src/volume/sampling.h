// The kernels that remap and warp share: nearest, trilinear and tricubic sampling of a volume at eight positions, and the row
// loop over them. A voxel's result depends on its position alone, not on its place among the eight.
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "volume/cubic_weights.h"
#include "volume/positions.h"
#include "volume/records.h"

namespace zypr::sampling {

// What is sampled: the planes, and the inclusive bounds within which positions count.
template <class Sample> struct SampledRegion {
    const Sample *const *planes;
    ptrdiff_t rowStep; // in samples
    AxisBounds x, y, z;
};

template <class Sample>
SampledRegion<Sample> sampledRegion(const Sample *const *planes, int32_t byteRowStep, const ZyprVoxelCuboid &region) {
    return {planes,
            samplesOf<Sample>(byteRowStep),
            {region.x, region.x + region.width - 1},
            {region.y, region.y + region.height - 1},
            {region.z, region.z + region.depth - 1}};
}

// The mode that a volume of this extent is sampled with.
inline ZyprInterpolation loweredMode(ZyprInterpolation mode, const ZyprVolumeExtent &extent) {
    const auto isThinnerThan = [&](int32_t n) { return extent.width < n || extent.height < n || extent.depth < n; };
    if (isCubic(mode) && isThinnerThan(4)) mode = zyprInterLinear;
    if (isThinnerThan(2)) mode = zyprInterNearest;
    return mode;
}

// ---- Eight voxels -------------------------------------------------------------------------------------------------------

// Eight positions as integers and as floats.
struct EightPlaces {
    Int8 x, y, z;
    Float8 positionX, positionY, positionZ;

    // Gives the lanes that don't count the place of the first that does, so that all eight may be read.
    void repeatFirst(Mask8 counting) {
        const Int8 first = broadcast<8>(__builtin_ctz(signBits(counting)));
        const __m256i source = raw(select(counting, laneNumbers<8>(), first));
        const auto repeat = [&](Int8 &a) { a = {reinterpret_cast<int8Register>(_mm256_permutevar8x32_epi32(raw(a), source))}; };
        const auto repeatFloats = [&](Float8 &a) { a = {_mm256_permutevar8x32_ps(a.v, source)}; };
        repeat(x), repeat(y), repeat(z);
        repeatFloats(positionX), repeatFloats(positionY), repeatFloats(positionZ);
    }
};

// Only bounds above 2^24, which floats don't hold exactly, let a position pass that leaves them.
inline Int8 clampedTo(AxisBounds bounds, Int8 a) {
    return {reinterpret_cast<int8Register>(
        _mm256_max_epi32(_mm256_set1_epi32(bounds.low), _mm256_min_epi32(raw(a), _mm256_set1_epi32(bounds.high))))};
}

template <class Sample, class Coordinates>
EightPlaces nearestPlaces(const SampledRegion<Sample> &src, const Positions<Coordinates> &p) {
    const Float8 unused = broadcast<8>(0.0f);
    return {clampedTo(src.x, p.x.nearest()),
            clampedTo(src.y, p.y.nearest()),
            clampedTo(src.z, p.z.nearest()),
            unused,
            unused,
            unused};
}
template <class Sample, class Coordinates>
EightPlaces truncatedPlaces(const SampledRegion<Sample> &src, const Positions<Coordinates> &p) {
    return {clampedTo(src.x, p.x.truncated()),
            clampedTo(src.y, p.y.truncated()),
            clampedTo(src.z, p.z.truncated()),
            p.x.asFloat(),
            p.y.asFloat(),
            p.z.asFloat()};
}

// One value per lane, in memory.
struct Lanes {
    explicit Lanes(Int8 a) { store(value, a); }
    int32_t operator[](int lane) const { return value[lane]; }
    alignas(32) int32_t value[8];
};

// Results travel as integers; those of 32f as their bits.
template <class Sample> Int8 rounded(Float8 a) {
    if constexpr (std::is_same_v<Sample, float>)
        return bitsOf(a);
    else
        return roundedToNearest(a);
}

template <class Sample> Int8 saturated(Int8 a) {
    if constexpr (std::is_same_v<Sample, float>)
        return a;
    else
        return clampedTo({0, static_cast<Sample>(-1)}, a);
}

// Stores the lanes of the mask, of each integer the low bits. Rows may lie at any address.
template <class Sample> void storeSamples(Sample *dst, Mask8 lanes, Int8 a) {
    if constexpr (sizeof(Sample) == 4) {
        store(reinterpret_cast<int32_t *>(dst), lanes, a);
    } else if (all(lanes)) {
        const __m256i lowBits = _mm256_and_si256(raw(a), _mm256_set1_epi32(static_cast<Sample>(-1)));
        const __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(lowBits), _mm256_extracti128_si256(lowBits, 1));
        if constexpr (sizeof(Sample) == 2)
            _mm_storeu_si128(reinterpret_cast<__m128i *>(dst), words);
        else
            _mm_storel_epi64(reinterpret_cast<__m128i *>(dst), _mm_packus_epi16(words, words));
    } else {
        const Lanes value(a);
        for (unsigned left = signBits(lanes); left != 0; left &= left - 1) {
            const int lane = __builtin_ctz(left);
            const auto sample = static_cast<Sample>(value[lane]);
            std::memcpy(dst + lane, &sample, sizeof sample);
        }
    }
}

// ---- Nearest ------------------------------------------------------------------------------------------------------------

struct NearestKernel {
    template <class Sample, class Coordinates>
    void operator()(const SampledRegion<Sample> &src, const Positions<Coordinates> &positions, Mask8 counting,
                    Sample *dst) const {
        EightPlaces places = nearestPlaces(src, positions);
        if (!all(counting)) places.repeatFirst(counting);
        const Lanes x(places.x), y(places.y), z(places.z);
        alignas(32) int32_t value[8];
        for (int lane = 0; lane < 8; ++lane) {
            const Sample sample = src.planes[z[lane]][y[lane] * src.rowStep + x[lane]];
            if constexpr (std::is_same_v<Sample, float>)
                value[lane] = static_cast<int32_t>(bitsOf(sample));
            else
                value[lane] = sample;
        }
        storeSamples(dst, counting, load<8>(value));
    }
};

// ---- Linear -------------------------------------------------------------------------------------------------------------

// A voxel and its right neighbour, eight times.
struct EightPairs {
    Float8 left, right;
};

// Each pair is one load.
inline EightPairs loadPairs(const float *const (&from)[8]) {
    const auto two = [&](int a, int b) {
        const __m128 low = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(from[a])));
        return _mm_loadh_pi(low, reinterpret_cast<const __m64 *>(from[b]));
    };
    const __m256 a = _mm256_set_m128(two(4, 5), two(0, 1)), b = _mm256_set_m128(two(6, 7), two(2, 3));
    return {{_mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))}, {_mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))}};
}

inline EightPairs loadPairs(const uint16_t *const (&from)[8]) {
    const auto pair = [&](int lane) {
        int32_t both;
        std::memcpy(&both, from[lane], sizeof both);
        return both;
    };
    const __m256i pairs = _mm256_setr_epi32(pair(0), pair(1), pair(2), pair(3), pair(4), pair(5), pair(6), pair(7));
    return {{_mm256_cvtepi32_ps(_mm256_and_si256(pairs, _mm256_set1_epi32(0xFFFF)))},
            {_mm256_cvtepi32_ps(_mm256_srli_epi32(pairs, 16))}};
}

inline EightPairs loadPairs(const uint8_t *const (&from)[8]) {
    const auto pair = [&](int lane) {
        int16_t both;
        std::memcpy(&both, from[lane], sizeof both);
        return both;
    };
    const __m256i pairs =
        _mm256_cvtepu16_epi32(_mm_setr_epi16(pair(0), pair(1), pair(2), pair(3), pair(4), pair(5), pair(6), pair(7)));
    return {{_mm256_cvtepi32_ps(_mm256_and_si256(pairs, _mm256_set1_epi32(0xFF)))},
            {_mm256_cvtepi32_ps(_mm256_srli_epi32(pairs, 8))}};
}

// The same for pairs of which the left voxel may have an index of -1: it doesn't exist, and its product is 0. So it is where
// the region ends at the volume's first column, row or plane.
template <class Sample>
EightPairs existingPairs(const SampledRegion<Sample> &src, const Lanes &x, const Lanes &y, const Lanes &z, int dy, int dz) {
    alignas(32) float left[8] = {}, right[8] = {};
    for (int lane = 0; lane < 8; ++lane) {
        if (y[lane] + dy < 0 || z[lane] + dz < 0) continue;
        const Sample *row = src.planes[z[lane] + dz] + (y[lane] + dy) * src.rowStep;
        if (x[lane] >= 0) left[lane] = static_cast<float>(row[x[lane]]);
        right[lane] = static_cast<float>(row[x[lane] + 1]);
    }
    return {load<8>(left), load<8>(right)};
}

inline Float8 blended(Float8 a, Float8 weightA, Float8 b, Float8 weightB) { return fused(b, weightB, a * weightA); }

// Every tap exists unless the region ends at index 0 of an axis.
template <bool allTapsExist> struct TrilinearKernel {
    template <class Sample, class Coordinates>
    void operator()(const SampledRegion<Sample> &src, const Positions<Coordinates> &positions, Mask8 counting,
                    Sample *dst) const {
        EightPlaces places = truncatedPlaces(src, positions);
        if (!all(counting)) places.repeatFirst(counting);

        // At the upper bound the pair ends there, and the fraction is 1.
        const auto lowered = [](Int8 i, int32_t bound) { return i + bitsOf(i == broadcast<8>(bound)); };
        const Int8 ix = lowered(places.x, src.x.high), iy = lowered(places.y, src.y.high), iz = lowered(places.z, src.z.high);
        const Float8 one = broadcast<8>(1.0f);
        const Float8 fx = places.positionX - toFloat(ix), gx = one - fx;
        const Float8 fy = places.positionY - toFloat(iy), gy = one - fy;
        const Float8 fz = places.positionZ - toFloat(iz), gz = one - fz;

        const Lanes x(ix), y(iy), z(iz);
        EightPairs pairs[2][2]; // [plane][row]
        if constexpr (allTapsExist) {
            const Sample *from[2][2][8];
            for (int lane = 0; lane < 8; ++lane) {
                const ptrdiff_t offset = y[lane] * src.rowStep + x[lane];
                for (int dz = 0; dz < 2; ++dz) {
                    from[dz][0][lane] = src.planes[z[lane] + dz] + offset;
                    from[dz][1][lane] = from[dz][0][lane] + src.rowStep;
                }
            }
            for (int dz = 0; dz < 2; ++dz)
                for (int dy = 0; dy < 2; ++dy) pairs[dz][dy] = loadPairs(from[dz][dy]);
        } else {
            for (int dz = 0; dz < 2; ++dz)
                for (int dy = 0; dy < 2; ++dy) pairs[dz][dy] = existingPairs(src, x, y, z, dy, dz);
        }

        const auto alongX = [&](const EightPairs &a) { return blended(a.left, gx, a.right, fx); };
        const Float8 near = blended(alongX(pairs[0][0]), gy, alongX(pairs[0][1]), fy);
        const Float8 far = blended(alongX(pairs[1][0]), gy, alongX(pairs[1][1]), fy);
        storeSamples(dst, counting, rounded<Sample>(blended(near, gz, far, fz)));
    }
};

// ---- Cubic --------------------------------------------------------------------------------------------------------------

// Two rows of four voxels, eight lanes.
inline Float8 loadTwoRows(const float *a, const float *b) { return joined(load<4>(a), load<4>(b)); }
inline Float8 loadTwoRows(const uint16_t *a, const uint16_t *b) {
    int64_t rows[2];
    std::memcpy(&rows[0], a, sizeof rows[0]);
    std::memcpy(&rows[1], b, sizeof rows[1]);
    return {_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm_set_epi64x(rows[1], rows[0])))};
}
inline Float8 loadTwoRows(const uint8_t *a, const uint8_t *b) {
    int32_t rows[2];
    std::memcpy(&rows[0], a, sizeof rows[0]);
    std::memcpy(&rows[1], b, sizeof rows[1]);
    return {_mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_insert_epi32(_mm_cvtsi32_si128(rows[0]), rows[1], 1)))};
}

// The indices of four taps along an axis. At the region's upper end the last index is repeated; at the lower end only the
// volume's index 0 is, so a region that starts inside the volume reads one voxel below its origin.
struct CubicTaps {
    CubicTaps(int32_t i, int32_t bound) {
        if (i < 1)
            index[0] = index[1] = 0, index[2] = 1, index[3] = 2;
        else
            index[0] = i - 1, index[1] = i, index[2] = i < bound ? i + 1 : i, index[3] = i < bound - 1 ? i + 2 : index[2];
    }
    int32_t index[4];
};

// The sum over 4 x 4 x 4 voxels: over the rows of a plane by twos, over the planes, then along x.
struct LaneWeights {
    float x[4], y[4], z[4];
};
template <class TwoRows> float cubicSum(const LaneWeights &w, const TwoRows &twoRows) {
    const Float8 wy01 = joined(broadcast<4>(w.y[0]), broadcast<4>(w.y[1]));
    const Float8 wy23 = joined(broadcast<4>(w.y[2]), broadcast<4>(w.y[3]));
    const auto plane = [&](int k) { return fused(wy23, twoRows(k, 2), wy01 * twoRows(k, 0)); };
    Float8 sum = broadcast<8>(w.z[0]) * plane(0);
    for (int k = 1; k < 4; ++k) sum = fused(broadcast<8>(w.z[k]), plane(k), sum);
    const Float4 columns = (low(sum) + high(sum)) * load<4>(w.x);
    const __m128 pairs = _mm_add_ps(columns.v, _mm_movehl_ps(columns.v, columns.v));
    return _mm_cvtss_f32(_mm_add_ss(pairs, _mm_movehdup_ps(pairs)));
}

template <class Sample>
float interiorCubicSum(const SampledRegion<Sample> &src, const LaneWeights &w, int32_t x, int32_t y, int32_t z) {
    const Sample *const *planes = src.planes + z - 1;
    const ptrdiff_t first = (y - 1) * src.rowStep + x - 1;
    return cubicSum(w, [&](int plane, int row) {
        const Sample *from = planes[plane] + first + row * src.rowStep;
        return loadTwoRows(from, from + src.rowStep);
    });
}

template <class Sample>
float edgeCubicSum(const SampledRegion<Sample> &src, const LaneWeights &w, int32_t x, int32_t y, int32_t z) {
    const CubicTaps xTaps(x, src.x.high), yTaps(y, src.y.high), zTaps(z, src.z.high);
    return cubicSum(w, [&](int plane, int row) {
        const auto four = [&](int r) {
            const Sample *from = src.planes[zTaps.index[plane]] + yTaps.index[r] * src.rowStep;
            const auto at = [&](int column) { return static_cast<float>(from[xTaps.index[column]]); };
            return Float4{_mm_setr_ps(at(0), at(1), at(2), at(3))};
        };
        return joined(four(row), four(row + 1));
    });
}

// The result of a voxel with repeated taps. It isn't that of other voxels: halves go up, and a remap of 32f gives whole
// numbers.
template <class Sample, bool wholeEdges> int32_t edgeResult(float sum) {
    if constexpr (!std::is_same_v<Sample, float>) {
        const int32_t value = truncated(static_cast<double>(sum) + 0.5000001);
        constexpr int32_t limit = static_cast<Sample>(-1);
        return value < 0 ? 0 : value > limit ? limit : value;
    } else {
        return static_cast<int32_t>(bitsOf(wholeEdges ? static_cast<float>(truncated(sum)) : sum));
    }
}

template <bool wholeEdges> struct TricubicKernel {
    const CubicTable &table;

    template <class Sample, class Coordinates>
    void operator()(const SampledRegion<Sample> &src, const Positions<Coordinates> &positions, Mask8 counting,
                    Sample *dst) const {
        EightPlaces places = truncatedPlaces(src, positions);
        if (!all(counting)) places.repeatFirst(counting);
        const CubicWeights wx = cubicWeights(table, places.positionX - toFloat(places.x));
        const CubicWeights wy = cubicWeights(table, places.positionY - toFloat(places.y));
        const CubicWeights wz = cubicWeights(table, places.positionZ - toFloat(places.z));
        alignas(32) float weights[12][8];
        for (int tap = 0; tap < 4; ++tap) {
            store(weights[tap], wx.tap[tap]);
            store(weights[4 + tap], wy.tap[tap]);
            store(weights[8 + tap], wz.tap[tap]);
        }
        const auto onEdge = [](Int8 i, int32_t bound) { return (broadcast<8>(1) > i) | (i > broadcast<8>(bound - 2)); };
        const unsigned edges =
            signBits(onEdge(places.x, src.x.high) | onEdge(places.y, src.y.high) | onEdge(places.z, src.z.high));

        const Lanes x(places.x), y(places.y), z(places.z);
        alignas(32) float sums[8] = {};
        alignas(32) int32_t edgeResults[8] = {};
        for (unsigned left = signBits(counting); left != 0; left &= left - 1) {
            const int lane = __builtin_ctz(left);
            LaneWeights w;
            for (int tap = 0; tap < 4; ++tap)
                w.x[tap] = weights[tap][lane], w.y[tap] = weights[4 + tap][lane], w.z[tap] = weights[8 + tap][lane];
            if ((edges >> lane & 1) == 0)
                sums[lane] = interiorCubicSum(src, w, x[lane], y[lane], z[lane]);
            else
                edgeResults[lane] = edgeResult<Sample, wholeEdges>(edgeCubicSum(src, w, x[lane], y[lane], z[lane]));
        }
        const Int8 interior = saturated<Sample>(rounded<Sample>(load<8>(sums)));
        storeSamples(dst, counting, select(maskOfBits<8>(edges), load<8>(edgeResults), interior));
    }
};

// ---- Rows ---------------------------------------------------------------------------------------------------------------

// Voxels whose position is outside the region, or not a number, keep their value.
template <class Sample, class Kernel, class Row>
void sampleRow(const SampledRegion<Sample> &src, const Kernel &kernel, Row row, Sample *dst, int32_t width) {
    for (int32_t left = width; left > 0; left -= 8, dst += 8) {
        const Mask8 lanes = firstLanes<8>(left);
        const auto positions = row.next(lanes);
        const Mask8 counting = lanes & positions.x.within(src.x) & positions.y.within(src.y) & positions.z.within(src.z);
        if (any(counting)) kernel(src, positions, counting, dst);
    }
}

// Calls run(kernel) with the kernel of the mode, which must be lowered already.
template <bool wholeEdges, class Sample, class Run>
void withKernel(ZyprInterpolation mode, const SampledRegion<Sample> &src, const Run &run) {
    switch (mode) {
    case zyprInterNearest: return run(NearestKernel{});
    case zyprInterLinear:
        if (src.x.high == 0 || src.y.high == 0 || src.z.high == 0) return run(TrilinearKernel<false>{});
        return run(TrilinearKernel<true>{});
    case zyprInterCubicLagrange: return run(TricubicKernel<wholeEdges>{lagrangeTable});
    case zyprInterCubicBSpline: return run(TricubicKernel<wholeEdges>{bSplineTable});
    case zyprInterCubicCatmullRom: return run(TricubicKernel<wholeEdges>{catmullRomTable});
    default: return run(TricubicKernel<wholeEdges>{bcTable});
    }
}

} // namespace zypr::sampling
