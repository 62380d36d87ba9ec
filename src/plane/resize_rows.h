// Rows of a plane under resize: how the voxels of the frame and of the interior are told apart within a row, how rows are
// combined, and how results become samples.
//
// A row's interior columns round differently from its frame columns (those in a band along x, and whole rows in a band along
// y), and so do the at most three interior columns after the last group of four.
#pragma once

#include <cstdint>
#include <cstring>

#include "simd/vector.h"

namespace zypr {

// The columns of a tile's row, counted from the tile's first.
struct Columns {
    int32_t width;
    int32_t interiorBegin, interiorEnd;
    int32_t tailBegin; // first interior column after the last group of four of the whole interior row

    Columns frameOnly() const { return {width, 0, 0, 0}; }
};

// Rows in scratch are this many elements longer than they need, so that whole groups may be computed.
constexpr int32_t groupSize = 16;
inline int32_t paddedWidth(int32_t width) { return (width + groupSize - 1) / groupSize * groupSize + groupSize; }

// ---- Sixteen 16-bit lanes, as the fixed-point rows have ------------------------------------------------------------------

struct Fixed16 {
    __m256i v;
};
struct FixedMask16 {
    __m256i v;
};

inline Fixed16 loadFixed(const uint16_t *p) { return {_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p))}; }
inline Fixed16 select(FixedMask16 m, Fixed16 yes, Fixed16 no) { return {_mm256_blendv_epi8(no.v, yes.v, m.v)}; }
inline bool none(FixedMask16 m) { return _mm256_testz_si256(m.v, m.v) != 0; }
inline FixedMask16 operator&(FixedMask16 a, FixedMask16 b) { return {_mm256_and_si256(a.v, b.v)}; }
inline FixedMask16 operator~(FixedMask16 a) { return {_mm256_xor_si256(a.v, _mm256_set1_epi16(-1))}; }

template <int Lanes> auto leadingLanes(int32_t count) {
    if constexpr (Lanes == 16) {
        const auto clamped = static_cast<int16_t>(count < 0 ? 0 : count > 16 ? 16 : count);
        const __m256i lanes = _mm256_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
        return FixedMask16{_mm256_cmpgt_epi16(_mm256_set1_epi16(clamped), lanes)};
    } else {
        return firstLanes<Lanes>(count);
    }
}

// Lanes from `begin` up to, not including, `end`.
template <int Lanes> auto lanesWithin(int32_t begin, int32_t end) {
    return leadingLanes<Lanes>(end) & ~leadingLanes<Lanes>(begin);
}

// a x weights.first + b x weights.second, plus half of the last place kept, without the low Shift bits.
template <int Shift> __m256i fixedSum(__m256i pairs, __m256i weights) {
    return _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(pairs, weights), _mm256_set1_epi32(1 << (Shift - 1))), Shift);
}

// ---- From results to samples --------------------------------------------------------------------------------------------

// Of a plane image: floats, or 16-bit fixed point. Whole groups are written, past the end of the row too.
struct IntoImage {
    static constexpr bool padded = true;
    static Float8 interior(Float8 v) { return v; }
    static Float8 frame(Float8 v) { return v; }
    static Fixed16 interior(Fixed16 v) { return v; }
    static Fixed16 frame(Fixed16 v) { return v; }
    static void put(float *p, Float8 v) { store(p, v); }
    static void put(uint16_t *p, Fixed16 v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v.v); }
};

// Of a destination: no sample outside the row is touched. Integer voxels of the frame are rounded, those of the interior
// truncated.
template <class Sample> struct IntoVolume {
    static constexpr bool padded = false;
    static Int8 interior(Float8 v) { return truncated(v); }
    static Int8 frame(Float8 v) {
        const Double4 bias = broadcastDouble(0.5000001);
        const Double4 lowHalf = widened(low(v)) + bias, highHalf = widened(high(v)) + bias;
        return {
            reinterpret_cast<int8Register>(_mm256_set_m128i(_mm256_cvttpd_epi32(highHalf.v), _mm256_cvttpd_epi32(lowHalf.v)))};
    }
    static void put(Sample *p, Int8 v) { // saturates; results from 8-bit samples are far below 32768
        const __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(raw(v)), _mm256_extracti128_si256(raw(v), 1));
        if constexpr (sizeof(Sample) == 2)
            _mm_storeu_si128(reinterpret_cast<__m128i *>(p), words);
        else
            _mm_storel_epi64(reinterpret_cast<__m128i *>(p), _mm_packus_epi16(words, _mm_setzero_si128()));
    }
    static Fixed16 interior(Fixed16 v) { return v; }
    static Fixed16 frame(Fixed16 v) { return v; }
    static void put(Sample *p, Fixed16 v) {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(p),
                         _mm_packus_epi16(_mm256_castsi256_si128(v.v), _mm256_extracti128_si256(v.v, 1)));
    }
};

template <> struct IntoVolume<float> : IntoImage { static constexpr bool padded = false; };

// ---- Combining rows -----------------------------------------------------------------------------------------------------

// Writes one row. `combination` gives the groups that begin at a column: fused(j) for the interior, tail(j) for its last
// columns and frame(j) for the rest.
template <class Target, class Sample, class Combination>
void combineRow(const Columns &columns, Sample *out, const Combination &combination) {
    constexpr int32_t lanes = Combination::lanes;
    const auto mixed = [&](int32_t j) {
        const auto isInterior = lanesWithin<lanes>(columns.interiorBegin - j, columns.interiorEnd - j);
        const auto frame = Target::frame(combination.frame(j));
        if (none(isInterior)) return frame;
        auto interior = combination.fused(j);
        if constexpr (requires { combination.tail(j); }) {
            const auto isTail = lanesWithin<lanes>(columns.tailBegin - j, columns.interiorEnd - j);
            interior = select(isTail, combination.tail(j), interior);
        }
        return select(isInterior, Target::interior(interior), frame);
    };
    const int32_t groups = Target::padded ? (columns.width + lanes - 1) / lanes * lanes : columns.width / lanes * lanes;
    const int32_t plainBegin = (columns.interiorBegin + lanes - 1) / lanes * lanes;
    const int32_t plainEnd = columns.tailBegin / lanes * lanes;

    int32_t j = 0;
    for (; j < groups && j < plainBegin; j += lanes) Target::put(out + j, mixed(j));
    for (; j < plainEnd; j += lanes) Target::put(out + j, Target::interior(combination.fused(j)));
    for (; j < groups; j += lanes) Target::put(out + j, mixed(j));
    if (Target::padded || j == columns.width) return;
    if (columns.width >= lanes) return Target::put(out + columns.width - lanes, mixed(columns.width - lanes));
    Sample group[lanes];
    Target::put(group, mixed(0));
    for (; j < columns.width; ++j) out[j] = group[j];
}

// A row as it is.
template <class Element> struct PlainRow {
    static constexpr int lanes = sizeof(Element) == 2 ? 16 : 8;
    const Element *row;

    auto frame(int32_t j) const {
        if constexpr (lanes == 16)
            return loadFixed(row + j);
        else
            return load<8>(row + j);
    }
    auto fused(int32_t j) const { return frame(j); }
    auto tail(int32_t j) const { return frame(j); }
};

// Two rows, t of the way from the first to the second: along z, where the frame fuses the other product. The rows may
// themselves be combinations.
template <class Row> struct BlendAlongZ {
    static constexpr int lanes = 8;
    Row first, second;
    Float8 rest, t;

    BlendAlongZ(Row firstRow, Row secondRow, float fraction)
        : first(firstRow), second(secondRow), rest(broadcast<8>(1.0f - fraction)), t(broadcast<8>(fraction)) {}

    Float8 fused(int32_t j) const { return zypr::fused(rest, first.fused(j), t * second.fused(j)); }
    Float8 tail(int32_t j) const { return rest * first.tail(j) + t * second.tail(j); }
    Float8 frame(int32_t j) const { return zypr::fused(t, second.frame(j), rest * first.frame(j)); }
};

// Along y into a plane image, or into a volume of floats.
struct BlendAlongY : BlendAlongZ<PlainRow<float>> {
    using BlendAlongZ::BlendAlongZ;
    Float8 frame(int32_t j) const {
        const Float8 a = first.frame(j);
        return zypr::fused(second.frame(j) - a, t, a);
    }
};

// Along y straight into a volume of integers.
struct BlendAlongYFusedThroughout : BlendAlongY {
    using BlendAlongY::BlendAlongY;
    Float8 fused(int32_t j) const { return frame(j); }
    Float8 tail(int32_t j) const { return frame(j); }
};

// The same of fixed-point rows, whose interior holds samples times 64 where the frame holds samples; InteriorShift is 14 to
// keep the factor and 20 to drop it.
template <int InteriorShift, class Row = PlainRow<uint16_t>> struct FixedBlend {
    static constexpr int lanes = 16;
    Row first, second;
    __m256i weights;

    FixedBlend(Row firstRow, Row secondRow, uint16_t fraction)
        : first(firstRow), second(secondRow),
          weights(_mm256_set1_epi32(static_cast<int32_t>(static_cast<uint32_t>(fraction) << 16) | (16384 - fraction))) {}

    Fixed16 fused(int32_t j) const { return sum<InteriorShift>(first.fused(j).v, second.fused(j).v); }
    Fixed16 frame(int32_t j) const { return sum<14>(first.frame(j).v, second.frame(j).v); }

private:
    template <int Shift> Fixed16 sum(__m256i a, __m256i b) const {
        return {_mm256_packus_epi32(fixedSum<Shift>(_mm256_unpacklo_epi16(a, b), weights),
                                    fixedSum<Shift>(_mm256_unpackhi_epi16(a, b), weights))};
    }
};

// Four rows under four weights.
struct CubicBlendAlongZ {
    static constexpr int lanes = 8;
    const float *a, *b, *c, *d;
    Float8 w0, w1, w2, w3;

    CubicBlendAlongZ(const float *const rows[4], const float w[4])
        : a(rows[0]), b(rows[1]), c(rows[2]), d(rows[3]), w0(broadcast<8>(w[0])), w1(broadcast<8>(w[1])),
          w2(broadcast<8>(w[2])), w3(broadcast<8>(w[3])) {}

    Float8 fused(int32_t j) const {
        return zypr::fused(w0, load<8>(a + j), w1 * load<8>(b + j)) + zypr::fused(w2, load<8>(c + j), w3 * load<8>(d + j));
    }
    Float8 tail(int32_t j) const {
        return (w0 * load<8>(a + j) + w1 * load<8>(b + j)) + (w2 * load<8>(c + j) + w3 * load<8>(d + j));
    }
    Float8 frame(int32_t j) const {
        return zypr::fused(w1, load<8>(b + j), w2 * load<8>(c + j)) + zypr::fused(w0, load<8>(a + j), w3 * load<8>(d + j));
    }
};

// Along y, where all columns of an interior row are summed alike.
struct CubicBlendAlongY : CubicBlendAlongZ {
    using CubicBlendAlongZ::CubicBlendAlongZ;
    Float8 frame(int32_t j) const { return fused(j); }
};

// Rows at the edge of a plane, where several taps fall on one row: the weights of such taps are added first.
// merged x mergedWeight + (inner x innerWeight + outer x outerWeight), fused but for the last product.
struct CubicEdgeAlongY {
    static constexpr int lanes = 8;
    const float *merged, *inner, *outer;
    Float8 mergedWeight, innerWeight, outerWeight;

    Float8 frame(int32_t j) const {
        const Float8 rest = zypr::fused(load<8>(inner + j), innerWeight, load<8>(outer + j) * outerWeight);
        return zypr::fused(load<8>(merged + j), mergedWeight, rest);
    }
    Float8 tail(int32_t j) const { return frame(j); }
    Float8 fused(int32_t j) const { return frame(j); }
};

} // namespace zypr
