// Tricubic sampling of a volume at eight positions: 4 x 4 x 4 taps with the weights of a table.
#pragma once

#include "volume/cubic_weights.h"
#include "volume/sampling_kernels.h"

namespace zypr::sampling {

// A row of four voxels.
inline Float4 loadRow(const float *row) { return load<4>(row); }
inline Float4 loadRow(const uint16_t *row) { return {_mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_loadu_si64(row)))}; }
inline Float4 loadRow(const uint8_t *row) { return {_mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_loadu_si32(row)))}; }

inline Float4 rowOf(float a, float b, float c, float d) { return {_mm_setr_ps(a, b, c, d)}; }
inline Float4 rowOf(int32_t a, int32_t b, int32_t c, int32_t d) { return {_mm_cvtepi32_ps(_mm_setr_epi32(a, b, c, d))}; }

// Two rows, eight lanes.
inline Float8 loadTwoRows(const float *a, const float *b) { return joined(loadRow(a), loadRow(b)); }
inline Float8 loadTwoRows(const uint16_t *a, const uint16_t *b) {
    const __m128i both =
        _mm_castps_si128(_mm_loadh_pi(_mm_castsi128_ps(_mm_loadu_si64(a)), reinterpret_cast<const __m64 *>(b)));
    return {_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(both))};
}
inline Float8 loadTwoRows(const uint8_t *a, const uint8_t *b) {
    int32_t second;
    std::memcpy(&second, b, sizeof second);
    return {_mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_insert_epi32(_mm_loadu_si32(a), second, 1)))};
}

// The indices of four taps along an axis. At the region's upper end the last index is repeated; at the lower end only the
// volume's index 0 is, so a region that starts inside the volume reads one voxel below its origin.
struct TapIndices {
    TapIndices(int32_t i, int32_t bound) {
        const int32_t last = i < 1 ? 2 : bound;
        index[0] = i < 1 ? 0 : i - 1;
        index[1] = i;
        index[2] = i + 1 < last ? i + 1 : last;
        index[3] = i + 2 < last ? i + 2 : last;
    }
    bool areSideBySide() const { return index[3] - index[0] == 3; }
    int32_t operator[](int tap) const { return index[tap]; }
    int32_t index[4];
};

// The sum over 4 x 4 x 4 voxels, before the four columns are added up: over a plane's rows, then over the planes. rowsOf(k, r)
// are the voxels; Float holds four for each of its positions.
template <class Float, class RowsOf>
[[gnu::always_inline]] inline Float weightedColumns(const Float (&wx)[1], const Float (&wy)[4], const Float (&wz)[4],
                                                    const RowsOf &rowsOf) {
    Float sum;
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        Float inPlane = wy[0] * rowsOf(k, 0);
        for (int row = 1; row < 4; ++row) inPlane = fused(wy[row], rowsOf(k, row), inPlane);
        sum = k == 0 ? wz[k] * inPlane : fused(wz[k], inPlane, sum);
    }
    return sum * wx[0];
}

// Lane i is the sum of the low half of columns[i], and lane i + 4 that of its high half.
inline Float8 sumsOfHalves(const Float8 (&columns)[4]) {
    const auto two = [](Float8 a, Float8 b) { return unpackedLow(a, b) + unpackedHigh(a, b); };
    const Float8 a = two(columns[0], columns[1]), b = two(columns[2], columns[3]);
    return lowPairs(a, b) + highPairs(a, b);
}

template <class Sample> Int8 saturated(Int8 a) {
    const __m256i most = _mm256_set1_epi32(static_cast<Sample>(-1));
    return {reinterpret_cast<int8Register>(_mm256_max_epi32(_mm256_setzero_si256(), _mm256_min_epi32(raw(a), most)))};
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
    static constexpr int32_t planesFetchedAhead = 5;
    const CubicTable &table;

    template <class Positions> EightPlaces places(const Positions &positions) const { return positions.truncated(); }

    struct LaneWeights {
        Float4 x, y, z;
    };
    struct Weights {
        EightCubicWeights x, y, z;
        LaneWeights ofLane(int lane) const { return {x.ofLane(lane), y.ofLane(lane), z.ofLane(lane)}; }
    };
    [[gnu::always_inline]] void moveTo(const EightPlaces &places, Weights &weights) const {
        const CubicEntries x(places.positionX - toFloat(places.x)), y(places.positionY - toFloat(places.y)),
            z(places.positionZ - toFloat(places.z));
        weights.x.moveTo(table, x);
        weights.y.moveTo(table, y);
        weights.z.moveTo(table, z);
    }

    template <class Region>
    [[gnu::always_inline]] Int8 inner(const Region &src, const EightPlaces &places, Weights &weights) const {
        const auto blocks = src.blocks(places); // before the weights, which take as long as the stores
        moveTo(places, weights);
        return inner(src, blocks, weights);
    }
    template <class Region>
    [[gnu::always_inline]] Int8 inner(const Region &src, const typename Region::EightBlocks &blocks,
                                      const Weights &weights) const {
        using Sample = typename Region::Sample;
        Float8 columns[4];
#pragma GCC unroll 4
        for (int i = 0; i < 4; ++i) {
            const auto eachTap = [](Float8 taps, Float8(&each)[4]) {
                each[0].v = _mm256_permute_ps(taps.v, 0x00);
                each[1].v = _mm256_permute_ps(taps.v, 0x55);
                each[2].v = _mm256_permute_ps(taps.v, 0xAA);
                each[3].v = _mm256_permute_ps(taps.v, 0xFF);
            };
            Float8 eachY[4], eachZ[4];
            eachTap(weights.y.ofPair[i], eachY);
            eachTap(weights.z.ofPair[i], eachZ);
            const auto a = src.rowsOf(blocks, i), b = src.rowsOf(blocks, i + 4);
            columns[i] = weightedColumns<Float8>({weights.x.ofPair[i]}, eachY, eachZ,
                                                 [&](int plane, int row) { return loadTwoRows(a(plane, row), b(plane, row)); });
        }
        const Float8 sum = sumsOfHalves(columns);
        if constexpr (std::is_same_v<Sample, float>)
            return bitsOf(sum);
        else
            return saturated<Sample>(roundedToNearest(sum));
    }

    template <class Sample> int32_t onEdge(const SampledRegion<Sample> &src, const Place &p, const LaneWeights &weights) const {
        const TapIndices x(p.x, src.bounds.x.high), y(p.y, src.bounds.y.high), z(p.z, src.bounds.z.high);
        const auto eachTap = [](Float4 taps, Float4(&each)[4]) {
            for (int tap = 0; tap < 4; ++tap) each[tap] = broadcast<4>(taps.v[tap]);
        };
        Float4 eachY[4], eachZ[4];
        eachTap(weights.y, eachY);
        eachTap(weights.z, eachZ);
        const auto columnsOf = [&](const auto &rowAt) {
            return weightedColumns<Float4>({weights.x}, eachY, eachZ, [&](int plane, int row) {
                return rowAt(src.planes[z[plane]] + y[row] * src.rowStep);
            });
        };
        const Float4 columns = x.areSideBySide() ? columnsOf([&](const Sample *row) { return loadRow(row + x[0]); })
                                                 : columnsOf([&](const Sample *row) {
                                                       const auto at = [&](int tap) { return row[x[tap]]; };
                                                       return rowOf(at(0), at(1), at(2), at(3));
                                                   });
        const __m128 pairs = _mm_add_ps(columns.v, _mm_movehl_ps(columns.v, columns.v));
        return edgeResult<Sample, wholeEdges>(_mm_cvtss_f32(_mm_add_ss(pairs, _mm_movehdup_ps(pairs))));
    }
};

} // namespace zypr::sampling
