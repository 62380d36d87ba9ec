// Tricubic sampling of a volume at eight positions: 4 x 4 x 4 taps with the weights of a table.
#pragma once

#include "volume/cubic_weights.h"
#include "volume/sampling_kernels.h"

namespace zypr::sampling {

// Two rows of four voxels, eight lanes.
inline Float8 loadTwoRows(const float *a, const float *b) {
    return {_mm256_blend_ps(_mm256_castps128_ps256(_mm_loadu_ps(a)), _mm256_broadcast_ps(reinterpret_cast<const __m128 *>(b)),
                            0xF0)};
}
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
struct TapIndices {
    TapIndices(int32_t i, int32_t bound) {
        if (i < 1)
            index[0] = index[1] = 0, index[2] = 1, index[3] = 2;
        else
            index[0] = i - 1, index[1] = i, index[2] = i < bound ? i + 1 : i, index[3] = i < bound - 1 ? i + 2 : index[2];
    }
    int32_t operator[](int tap) const { return index[tap]; }
    int32_t index[4];
};

// The sum over 4 x 4 x 4 voxels, before the four columns are added up: rows 0 and 2 of a plane, rows 1 and 3, each over the
// planes; then both. rowsOf(k, r) are the voxels; Float holds four for each of its positions.
template <class Float, class RowsOf>
[[gnu::always_inline]] inline Float weightedColumns(const Float (&wx)[1], const Float (&wy)[4], const Float (&wz)[4],
                                                    const RowsOf &rowsOf) {
    Float even, odd;
    for (int k = 0; k < 4; ++k) {
        const Float evenRows = fused(wy[2], rowsOf(k, 2), wy[0] * rowsOf(k, 0));
        const Float oddRows = fused(wy[3], rowsOf(k, 3), wy[1] * rowsOf(k, 1));
        even = k == 0 ? wz[k] * evenRows : fused(wz[k], evenRows, even);
        odd = k == 0 ? wz[k] * oddRows : fused(wz[k], oddRows, odd);
    }
    return (even + odd) * wx[0];
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
    const CubicTable &table;

    template <class Positions> EightPlaces places(const Positions &positions) const { return positions.truncated(); }

    template <class Sample> Int8 inner(const SampledRegion<Sample> &src, const EightPlaces &places) const {
        LanesInMemory<int64_t> offset;
        LanesInMemory<int32_t> plane;
        offset.store(EightOffsets(places.x, places.y, src.rowStep));
        plane.store(places.z);
        const EightCubicWeights wx(table, places.positionX - toFloat(places.x));
        const EightCubicWeights wy(table, places.positionY - toFloat(places.y));
        const EightCubicWeights wz(table, places.positionZ - toFloat(places.z));
        Float8 columns[4];
#pragma GCC unroll 4
        for (int i = 0; i < 4; ++i) {
            const auto eachTap = [](Float8 weights, Float8(&each)[4]) {
                each[0].v = _mm256_permute_ps(weights.v, 0x00);
                each[1].v = _mm256_permute_ps(weights.v, 0x55);
                each[2].v = _mm256_permute_ps(weights.v, 0xAA);
                each[3].v = _mm256_permute_ps(weights.v, 0xFF);
            };
            Float8 eachY[4], eachZ[4];
            eachTap(wy.ofPair[i], eachY);
            eachTap(wz.ofPair[i], eachZ);
            const Sample *const *const a = src.planes + plane[i] - 1, *const *const b = src.planes + plane[i + 4] - 1;
            const ptrdiff_t fromA = offset[i] - src.rowStep - 1, fromB = offset[i + 4] - src.rowStep - 1;
            columns[i] = weightedColumns<Float8>({wx.ofPair[i]}, eachY, eachZ, [&](int k, int row) {
                return loadTwoRows(a[k] + fromA + row * src.rowStep, b[k] + fromB + row * src.rowStep);
            });
        }
        transposeHalves(columns);
        const Float8 sum = (columns[0] + columns[2]) + (columns[1] + columns[3]);
        if constexpr (std::is_same_v<Sample, float>)
            return bitsOf(sum);
        else
            return saturated<Sample>(roundedToNearest(sum));
    }

    template <class Sample> int32_t onEdge(const SampledRegion<Sample> &src, const Place &place) const {
        const Place p = clampedTo(src.bounds, place);
        const TapIndices x(p.x, src.bounds.x.high), y(p.y, src.bounds.y.high), z(p.z, src.bounds.z.high);
        float wx[4], wy[4], wz[4];
        cubicWeights(table, p.positionX - static_cast<float>(p.x), wx);
        cubicWeights(table, p.positionY - static_cast<float>(p.y), wy);
        cubicWeights(table, p.positionZ - static_cast<float>(p.z), wz);
        const auto all = [](const float(&w)[4], Float4(&each)[4]) {
            for (int tap = 0; tap < 4; ++tap) each[tap] = broadcast<4>(w[tap]);
        };
        Float4 eachY[4], eachZ[4];
        all(wy, eachY);
        all(wz, eachZ);
        const Float4 columns = weightedColumns<Float4>({load<4>(wx)}, eachY, eachZ, [&](int plane, int row) {
            const Sample *const from = src.planes[z[plane]] + y[row] * src.rowStep;
            if (x[3] - x[0] == 3) return low(loadTwoRows(from + x[0], from + x[0]));
            const auto at = [&](int tap) { return static_cast<float>(from[x[tap]]); };
            return Float4{_mm_setr_ps(at(0), at(1), at(2), at(3))};
        });
        const __m128 pairs = _mm_add_ps(columns.v, _mm_movehl_ps(columns.v, columns.v));
        return edgeResult<Sample, wholeEdges>(_mm_cvtss_f32(_mm_add_ss(pairs, _mm_movehdup_ps(pairs))));
    }
};

} // namespace zypr::sampling
