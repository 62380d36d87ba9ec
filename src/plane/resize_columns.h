// The pass along x: from a row of the source to the columns of a tile.
//
// Neighbouring columns take neighbouring samples, so where a group's taps lie in one short window of the row the window is
// loaded once and permuted; only groups that reach further load tap by tap.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/arena.h"
#include "plane/resize_axis.h"
#include "plane/resize_rows.h"

namespace zypr {

// The two taps of eight columns as floats, or of sixteen as pairs of 16-bit numbers.
struct TapPairs {
    Float8 a, b;
};
struct FixedTapPairs {
    __m256i low, high;
};

// How the taps of a `group` of columns are taken from windows of `samples` samples that serve `columns` columns each.
template <class Sample> struct TapWindow;

// A window of eight floats serves four columns: their first taps are permuted to its lower half, the second ones to its upper.
template <> struct TapWindow<float> {
    static constexpr int32_t group = 8, columns = 4, samples = 8, lanesPerColumn = 2;
    using Lane = int32_t;

    static void setLanes(Lane *lanes, int32_t k, int32_t offset) {
        lanes[k] = offset;
        lanes[k + 4] = offset + 1;
    }
    static TapPairs load(const float *row, const int32_t *starts, const Lane *lanes) {
        const __m256 low = permuted(row + starts[0], lanes), high = permuted(row + starts[1], lanes + 8);
        return {{_mm256_permute2f128_ps(low, high, 0x20)}, {_mm256_permute2f128_ps(low, high, 0x31)}};
    }

private:
    static __m256 permuted(const float *window, const Lane *lanes) {
        return _mm256_permutevar8x32_ps(_mm256_loadu_ps(window), raw(zypr::load<8>(lanes)));
    }
};

// A window of 16 bytes serves four columns. Each lane of 32 bits tells the bytes that make up the column's pair.
inline __m256i shuffledWindows(const void *lowWindow, const void *highWindow, const uint32_t *lanes) {
    const __m256i windows = _mm256_set_m128i(_mm_loadu_si128(static_cast<const __m128i *>(highWindow)),
                                             _mm_loadu_si128(static_cast<const __m128i *>(lowWindow)));
    return _mm256_shuffle_epi8(windows, _mm256_loadu_si256(reinterpret_cast<const __m256i *>(lanes)));
}

inline TapPairs floatPairs(__m256i pairs) {
    return {{_mm256_cvtepi32_ps(_mm256_and_si256(pairs, _mm256_set1_epi32(0xFFFF)))},
            {_mm256_cvtepi32_ps(_mm256_srli_epi32(pairs, 16))}};
}

template <> struct TapWindow<uint16_t> {
    static constexpr int32_t group = 8, columns = 4, samples = 8, lanesPerColumn = 1;
    using Lane = uint32_t;

    static void setLanes(Lane *lanes, int32_t k, int32_t offset) {
        lanes[k] = 0x03020100u + 0x01010101u * static_cast<uint32_t>(2 * offset);
    }
    static TapPairs load(const uint16_t *row, const int32_t *starts, const Lane *lanes) {
        return floatPairs(shuffledWindows(row + starts[0], row + starts[1], lanes));
    }
};

template <> struct TapWindow<uint8_t> {
    static constexpr int32_t group = 16, columns = 4, samples = 16, lanesPerColumn = 1;
    using Lane = uint32_t;

    static void setLanes(Lane *lanes, int32_t k, int32_t offset) { // the upper byte of each half is cleared
        lanes[k] = 0x80008000u | static_cast<uint32_t>(offset + 1) << 16 | static_cast<uint32_t>(offset);
    }
    static FixedTapPairs load(const uint8_t *row, const int32_t *starts, const Lane *lanes) {
        return {shuffledWindows(row + starts[0], row + starts[1], lanes),
                shuffledWindows(row + starts[2], row + starts[3], lanes + 8)};
    }
};

// The same taps, loaded one pair after another.
inline TapPairs loadTapPairs(const float *row, const int32_t *index) {
    const auto two = [&](int k) {
        double pairs[2];
        std::memcpy(&pairs[0], row + index[k], 8);
        std::memcpy(&pairs[1], row + index[k + 1], 8);
        return _mm_castpd_ps(_mm_setr_pd(pairs[0], pairs[1]));
    };
    const __m256 even = _mm256_set_m128(two(4), two(0)), odd = _mm256_set_m128(two(6), two(2));
    return {{_mm256_shuffle_ps(even, odd, _MM_SHUFFLE(2, 0, 2, 0))}, {_mm256_shuffle_ps(even, odd, _MM_SHUFFLE(3, 1, 3, 1))}};
}
inline TapPairs loadTapPairs(const uint16_t *row, const int32_t *index) {
    int32_t pairs[8];
    for (int k = 0; k < 8; ++k) std::memcpy(&pairs[k], row + index[k], 4);
    return floatPairs(raw(load<8>(pairs)));
}
inline FixedTapPairs loadTapPairs(const uint8_t *row, const int32_t *index) {
    const auto pair = [&](int k) { return row[index[k]] | row[index[k] + 1] << 16; };
    const auto eight = [&](int k) {
        return _mm256_setr_epi32(pair(k), pair(k + 1), pair(k + 2), pair(k + 3), pair(k + 4), pair(k + 5), pair(k + 6),
                                 pair(k + 7));
    };
    return {eight(0), eight(8)};
}

// ---- Linear -------------------------------------------------------------------------------------------------------------

// What the two-tap pass makes of samples: floats, or for 8-bit samples fixed point.
template <class Sample> struct LinearArithmetic {
    using Element = float;
    using Fraction = float; // t
    using Weight = float;   // the column's t

    static Fraction fraction(double t) { return static_cast<float>(t); }
    static Weight weight(double t) { return static_cast<float>(t); }
    static void interior(float *out, TapPairs taps, const Weight *t) {
        store(out, zypr::fused(taps.b - taps.a, load<8>(t), taps.a));
    }
    static Element frame(Sample sampleA, Sample sampleB, Weight t) {
        const auto a = static_cast<float>(sampleA), b = static_cast<float>(sampleB);
        return zypr::fused(b - a, t, a);
    }
    static void frame(float *out, TapPairs taps, const Weight *t) { interior(out, taps, t); }
};

template <> struct LinearArithmetic<uint8_t> {
    using Element = uint16_t; // in the frame a sample, in the interior a sample times 64
    using Fraction = uint16_t;
    using Weight = uint32_t; // (1 - t, t) in the two halves

    static Fraction fraction(double t) { return fixedFraction(t); }
    static Weight weight(double t) {
        const auto fixed = static_cast<uint32_t>(fixedFraction(t));
        return fixed << 16 | ((fixedOne - fixed) & 0xFFFFu);
    }
    static void interior(uint16_t *out, FixedTapPairs taps, const Weight *weights) { put<8>(out, taps, weights); }
    static void frame(uint16_t *out, FixedTapPairs taps, const Weight *weights) { put<14>(out, taps, weights); }
    static Element frame(uint8_t a, uint8_t b, Weight weights) {
        return static_cast<Element>(
            (a * static_cast<int32_t>(weights & 0xFFFF) + b * static_cast<int32_t>(weights >> 16) + 8192) >> 14);
    }

private:
    static __m256i loadWeights(const Weight *weights) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(weights)); }
    template <int Shift> static void put(uint16_t *out, FixedTapPairs taps, const Weight *weights) {
        const __m256i low = fixedSum<Shift>(taps.low, loadWeights(weights));
        const __m256i high = fixedSum<Shift>(taps.high, loadWeights(weights + 8));
        const __m256i words = _mm256_permute4x64_epi64(_mm256_packs_epi32(low, high), _MM_SHUFFLE(3, 1, 2, 0));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), words);
    }
};

template <class Sample> class LinearColumns {
    using Arithmetic = LinearArithmetic<Sample>;
    using Window = TapWindow<Sample>;

public:
    using Element = typename Arithmetic::Element;

    LinearColumns(Arena &arena, int32_t width)
        : index_(arena.take<int32_t>(paddedWidth(width))), starts_(arena.take<int32_t>(paddedWidth(width) / Window::columns)),
          lanes_(arena.take<typename Window::Lane>(Window::lanesPerColumn * paddedWidth(width))),
          weights_(arena.take<typename Arithmetic::Weight>(paddedWidth(width))) {}

    // The columns from destination position `first` on.
    void build(const ResizeAxis &axis, const Columns &columns, int32_t first) {
        columns_ = columns;
        extent_ = axis.extent;
        for (int32_t j = 0; j < columns.width; ++j) {
            const AxisPosition position = axis.at(first + j);
            index_[j] = position.index;
            weights_[j] = Arithmetic::weight(position.fraction);
        }
        buildWindows();
    }

    // For the rows of the interior: band columns are samples as they are. Meanwhile a row that will be filtered later is
    // fetched.
    [[gnu::noinline]] void filter(const Sample *row, const Sample *later, Element *out) const {
        interior(row, later,
                 [out, weights = weights_](int32_t j, auto taps) { Arithmetic::interior(out + j, taps, weights + j); });
        for (int32_t j = 0; j < columns_.interiorBegin; ++j) out[j] = row[0];
        for (int32_t j = columns_.interiorEnd; j < columns_.width; ++j) out[j] = row[extent_ - 1];
    }

    // For a row of a band: all columns are interpolated, those of the bands between two like samples.
    void filterFrame(const Sample *row, Element *out) const {
        interior(row, row, [&](int32_t j, auto taps) { Arithmetic::frame(out + j, taps, weights_ + j); });
        const Sample first = row[0], last = row[extent_ - 1];
        for (int32_t j = 0; j < columns_.interiorBegin; ++j) out[j] = Arithmetic::frame(first, first, weights_[j]);
        for (int32_t j = columns_.interiorEnd; j < columns_.width; ++j) out[j] = Arithmetic::frame(last, last, weights_[j]);
    }

private:
    // A window starts at the first tap of its columns, but ends within the row. The interior is padded to whole groups of eight
    // with copies of its last column; no other use of the high band's entries is left.
    void buildWindows() {
        const int32_t begin = columns_.interiorBegin, end = columns_.interiorEnd;
        if (begin >= end) return;
        const int32_t paddedEnd = begin + (end - begin + Window::group - 1) / Window::group * Window::group;
        for (int32_t j = end; j < paddedEnd; ++j) index_[j] = index_[end - 1];
        inWindows_ = extent_ >= Window::samples;
        typename Window::Lane *lanes = lanes_;
        for (int32_t j = begin, group = 0; j < paddedEnd && inWindows_; j += Window::columns, ++group) {
            const int32_t start = index_[j] < extent_ - Window::samples ? index_[j] : extent_ - Window::samples;
            inWindows_ = index_[j + Window::columns - 1] + 1 - start < Window::samples;
            starts_[group] = start;
            for (int32_t k = 0; k < Window::columns; ++k) Window::setLanes(lanes, k, index_[j + k] - start);
            lanes += Window::columns * Window::lanesPerColumn;
        }
    }

    template <class Put> void interior(const Sample *row, const Sample *later, const Put &put) const {
        const int32_t begin = columns_.interiorBegin, end = columns_.interiorEnd;
        if (inWindows_) {
            const int32_t *starts = starts_;
            const auto *lanes = lanes_;
            for (int32_t j = begin; j < end; j += Window::group) {
                __builtin_prefetch(later + starts[0]);
                put(j, Window::load(row, starts, lanes));
                starts += Window::group / Window::columns;
                lanes += Window::group * Window::lanesPerColumn;
            }
        } else {
            for (int32_t j = begin; j < end; j += Window::group) {
                for (int32_t k = 0; k < Window::group; k += 4) __builtin_prefetch(later + index_[j + k]);
                put(j, loadTapPairs(row, index_ + j));
            }
        }
    }

    int32_t *index_;
    int32_t *starts_;
    typename Window::Lane *lanes_;
    typename Arithmetic::Weight *weights_;
    Columns columns_{};
    int32_t extent_ = 0;
    bool inWindows_ = false;
};

// ---- Cubic --------------------------------------------------------------------------------------------------------------

// Two columns' four taps each.
inline __m256 loadTwoCubicTaps(const float *first, const float *second) {
    return _mm256_set_m128(_mm_loadu_ps(second), _mm_loadu_ps(first));
}
inline __m256 loadTwoCubicTaps(const uint16_t *first, const uint16_t *second) {
    const __m128i low = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(first));
    const __m128i high = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(second));
    return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm_unpacklo_epi64(low, high)));
}
inline __m256 loadTwoCubicTaps(const uint8_t *first, const uint8_t *second) {
    int32_t low, high;
    std::memcpy(&low, first, 4);
    std::memcpy(&high, second, 4);
    return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_insert_epi32(_mm_cvtsi32_si128(low), high, 1)));
}

// Sums of four products: (first + second) + (third + fourth), each rounded.
template <class Sample> class CubicColumns {
public:
    CubicColumns(Arena &arena, int32_t width)
        : index_(arena.take<int32_t>(paddedWidth(width))), weights_(arena.take<CubicWeights>(paddedWidth(width))) {}

    void build(const ResizeAxis &axis, const Columns &columns, int32_t first, ZyprInterpolation mode) {
        columns_ = columns;
        extent_ = axis.extent;
        for (int32_t j = 0; j < columns.width; ++j) {
            const AxisPosition position = axis.at(first + j);
            index_[j] = position.index;
            weights_[j] = cubicWeights(mode, static_cast<float>(position.fraction));
        }
        // Groups of eight keep them in the order 0 4 1 5 2 6 3 7, in which they are loaded two by two.
        for (int32_t j = columns.interiorBegin; j + 8 <= columns.interiorEnd; j += 8) {
            CubicWeights group[8];
            std::memcpy(group, weights_ + j, sizeof group);
            for (int k = 0; k < 8; ++k) weights_[j + k] = group[k / 2 + k % 2 * 4];
        }
    }

    // Meanwhile a row that will be filtered later is fetched.
    void filter(const Sample *row, const Sample *later, float *out) const {
        const int32_t begin = columns_.interiorBegin, end = columns_.interiorEnd;
        for (int32_t j = 0; j < begin; ++j) out[j] = edge(row, j);
        int32_t j = begin;
        for (; j + 8 <= end; j += 8) {
            __builtin_prefetch(later + index_[j]);
            const __m256 sums01 = _mm256_hadd_ps(products(row, j, 0), products(row, j, 1));
            const __m256 sums23 = _mm256_hadd_ps(products(row, j, 2), products(row, j, 3));
            _mm256_storeu_ps(out + j, _mm256_hadd_ps(sums01, sums23));
        }
        for (; j < columns_.width; ++j) out[j] = edge(row, j);
    }

private:
    // Those of columns k and k + 4 of the group at j.
    __m256 products(const Sample *row, int32_t j, int32_t k) const {
        const int32_t *const index = index_ + j + k;
        const __m256 taps = loadTwoCubicTaps(row + index[0] - 1, row + index[4] - 1);
        return _mm256_mul_ps(taps, _mm256_loadu_ps(weights_[j + 2 * k].w));
    }

    float edge(const Sample *row, int32_t j) const {
        const CubicTaps taps = cubicTaps(index_[j], extent_);
        const float *w = weights_[j].w;
        const auto product = [&](int k) { return static_cast<float>(row[taps.index[k]]) * w[k]; };
        return (product(0) + product(1)) + (product(2) + product(3));
    }

    int32_t *index_;
    CubicWeights *weights_;
    Columns columns_{};
    int32_t extent_ = 0;
};

} // namespace zypr
