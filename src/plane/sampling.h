// The kernels that plane remap and plane warp share: what a sample at one position is, mode by mode.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "plane/lanczos.h"
#include "plane/sampled_plane.h"
#include "simd/vector.h"

namespace zypr::planes {

// ---- Linear -------------------------------------------------------------------------------------------------------------

// The four samples round a position, or those round eight.
template <class Value> struct Quad { Value upperLeft, upperRight, lowerLeft, lowerRight; };

// The left column and the upper row may have the index -1: their weight is 0 then, and they don't exist.
template <class Value, class Sample> Quad<Value> quadAt(const SampledPlane<Sample> &src, int32_t x, int32_t y) {
    const auto at = [&](int32_t column, int32_t row) {
        return column < 0 || row < 0 ? Value(0) : static_cast<Value>(src.at(column, row));
    };
    return {at(x, y), at(x + 1, y), at(x, y + 1), at(x + 1, y + 1)};
}
// All samples exist.
template <class Value, class Sample> Quad<Value> quadAt(const SampledPlane<Sample> &src, Int8 x, Int8 y) {
    const Sample *upper[8], *lower[8];
    for (int lane = 0; lane < 8; ++lane) {
        upper[lane] = src.row(y.v[lane]) + x.v[lane];
        lower[lane] = planeRow(upper[lane], src.rowStep, 1);
    }
    const auto column = [](const Sample *const(&from)[8], int32_t k) {
        return eightSamples<Value>([&](int lane) { return loadSample(from[lane], k); });
    };
    return {column(upper, 0), column(upper, 1), column(lower, 0), column(lower, 1)};
}

// One position or eight.
template <class Value> Value bilinear(const Quad<Value> &p, Value fx, Value fy) {
    const Value gx = constant<Value>(1.0f) - fx, gy = constant<Value>(1.0f) - fy;
    const Value upper = p.upperLeft * gx + p.upperRight * fx;
    const Value lower = p.lowerLeft * gx + p.lowerRight * fx;
    return upper * gy + lower * fy;
}

// Weights of 14 bits. The last step adds 33, not one half: results are rounded down but for the error of the weights.
template <class Int, class Value> Int bilinearFixedPoint(const Quad<Int> &p, Value fx, Value fy) {
    const Int wx = roundedToNearest(fx * constant<Value>(16384.0f)), wy = roundedToNearest(fy * constant<Value>(16384.0f));
    const Int gx = constant<Int>(16384) - wx, gy = constant<Int>(16384) - wy;
    const Int upper = shiftedRight(wrappingProduct(p.upperLeft, gx) + wrappingProduct(p.upperRight, wx), 8);
    const Int lower = shiftedRight(wrappingProduct(p.lowerLeft, gx) + wrappingProduct(p.lowerRight, wx), 8);
    return shiftedRight(wrappingProduct(upper, gy) + wrappingProduct(lower, wy) + constant<Int>(33), 20);
}

// ---- Sixteen samples ----------------------------------------------------------------------------------------------------

inline Float4 loadFour(const float *p) { return load<4>(p); }
inline Float4 loadFour(const uint16_t *p) {
    return {_mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p))))};
}
inline Float4 loadFour(const uint8_t *p) {
    int32_t four;
    std::memcpy(&four, p, sizeof four);
    return {_mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(four)))};
}

struct FourWeights {
    float w[4];
};

// The sum over 4 x 4 samples from (x, y) on.
template <class Sample>
float sumOfSixteen(const SampledPlane<Sample> &src, int32_t x, int32_t y, const FourWeights &wx, const FourWeights &wy) {
    Float4 columns = broadcast<4>(wy.w[0]) * loadFour(src.row(y) + x);
    for (int k = 1; k < 4; ++k) columns = fused(broadcast<4>(wy.w[k]), loadFour(src.row(y + k) + x), columns);
    columns = columns * load<4>(wx.w);
    const __m128 pairs = _mm_add_ps(columns.v, _mm_movehl_ps(columns.v, columns.v));
    return _mm_cvtss_f32(_mm_add_ss(pairs, _mm_movehdup_ps(pairs)));
}

// ---- Lagrange -----------------------------------------------------------------------------------------------------------

// The first of four taps. The window slides to stay in the plane; no tap is repeated.
inline int32_t lagrangeBase(float position, int32_t last) {
    const int32_t i = truncated(position), b = i < last - 2 ? i : last - 2;
    return b > 0 ? b - 1 : 0;
}

// t is the position relative to the second tap, -1 to 2.
inline FourWeights lagrangeWeights(float t) {
    return {{-t * (t - 1.0f) * (t - 2.0f) / 6.0f, (t * t - 1.0f) * (t - 2.0f) / 2.0f, -(t + 1.0f) * t * (t - 2.0f) / 2.0f,
             t * (t * t - 1.0f) / 6.0f}};
}

template <class Sample> float lagrange(const SampledPlane<Sample> &src, float x, float y) {
    const int32_t baseX = lagrangeBase(x, src.lastX), baseY = lagrangeBase(y, src.lastY);
    return sumOfSixteen(src, baseX, baseY, lagrangeWeights(x - static_cast<float>(baseX) - 1.0f),
                        lagrangeWeights(y - static_cast<float>(baseY) - 1.0f));
}

// The weights of the four taps in units of 2^-14, for positions u = i / 512 above the first: -(u - 1)(u - 2)(u - 3) / 6 and
// u (u - 2)(u - 3) / 2, and for the other two the mirror image.
struct LagrangeTable {
    static constexpr int32_t last = 1536;
    struct Weights {
        int16_t w[4];
    } at[last + 1];
};
constexpr LagrangeTable makeLagrangeTable() {
    LagrangeTable table{};
    const auto nearestQuotient = [](int64_t a, int64_t b) { return static_cast<int16_t>((a + (a < 0 ? -b / 2 : b / 2)) / b); };
    for (int64_t i = 0; i <= LagrangeTable::last; ++i) {
        int16_t(&here)[4] = table.at[i].w, (&mirror)[4] = table.at[LagrangeTable::last - i].w;
        here[0] = mirror[3] = nearestQuotient(-(i - 512) * (i - 1024) * (i - 1536), 6 << 13);
        here[1] = mirror[2] = nearestQuotient(i * (i - 1024) * (i - 1536), 2 << 13);
    }
    return table;
}
inline constexpr LagrangeTable lagrangeFixedPointTable = makeLagrangeTable();

// Rows are summed along x exactly and kept in 1/64; the last step rounds halves up.
inline uint8_t lagrangeFixedPoint(const SampledPlane<uint8_t> &src, float x, float y) {
    struct Axis {
        int32_t base;
        int64_t weights; // four of 16 bits
        Axis(float position, int32_t lastIndex) : base(lagrangeBase(position, lastIndex)) {
            const int32_t k = roundedToNearest((position - static_cast<float>(base)) * 512.0f);
            std::memcpy(&weights, &lagrangeFixedPointTable.at[clamped(k, 0, LagrangeTable::last)], sizeof weights);
        }
    };
    const Axis ax(x, src.lastX), ay(y, src.lastY);
    const auto row = [&](int32_t k) {
        int32_t four;
        std::memcpy(&four, src.row(ay.base + k) + ax.base, sizeof four);
        return four;
    };
    const __m256i samples = _mm256_cvtepu8_epi16(_mm_setr_epi32(row(0), row(1), row(2), row(3)));
    const __m256i pairs = _mm256_madd_epi16(samples, _mm256_set1_epi64x(ax.weights));
    const __m128i sums = _mm_hadd_epi32(_mm256_castsi256_si128(pairs), _mm256_extracti128_si256(pairs, 1));
    const __m128i rows = _mm_packs_epi32(_mm_srai_epi32(sums, 8), _mm_setzero_si128()); // 16 bits hold them
    const __m128i products = _mm_madd_epi16(rows, _mm_cvtsi64_si128(ay.weights));
    const int32_t sum = _mm_cvtsi128_si32(products) + _mm_extract_epi32(products, 1) + 0x80000;
    return static_cast<uint8_t>(clamped(sum >> 20, 0, 255));
}

// ---- Wide kernels beside the plane's border -----------------------------------------------------------------------------

// Sums in double over taps whose indices are clamped to the plane. They are converted in their own way: halves go up, and
// magnitudes that a float holds only in denormal form become 0.
template <class Sample> Sample convertedAtEdge(double value) {
    if constexpr (std::is_same_v<Sample, float>) {
        return value < 1.1754943508222875e-38 && value > -1.1754943508222875e-38 ? 0.0f : static_cast<float>(value);
    } else {
        constexpr int32_t limit = std::numeric_limits<Sample>::max();
        if (value > limit) return limit;
        if (value < 0) return 0;
        return static_cast<Sample>(truncated(value + 0.5));
    }
}

// The index below a position, which counts as the next one from 1e-7 below it on.
constexpr double wideKernelTolerance = 1e-7;
inline int32_t indexBelow(float position) { return truncated(position + static_cast<float>(wideKernelTolerance)); }
inline int32_t indexBelow(double position) { return truncated(position + wideKernelTolerance); }

template <int taps> struct EdgeTaps {
    int32_t index[taps];
    double weight[taps];

    // Positions far outside have the taps of those just outside.
    template <class Weights> EdgeTaps(double position, int32_t last, const Weights &weightsAt) {
        constexpr int32_t below = taps / 2 - 1;
        const int32_t i = indexBelow(position), first = clamped(i, -below - 1, last + below) - below;
        for (int k = 0; k < taps; ++k) index[k] = clamped(first + k, 0, last);
        weightsAt(position - i, weight);
    }
};

template <int taps, class Sample, class Weights>
Sample edgeSample(const SampledPlane<Sample> &src, double atX, double atY, const Weights &weightsAt) {
    const EdgeTaps<taps> x(atX, src.lastX, weightsAt), y(atY, src.lastY, weightsAt);
    double sum = 0.0;
    for (int row = 0; row < taps; ++row) {
        const Sample *from = src.row(y.index[row]);
        double alongX = 0.0;
        for (int k = 0; k < taps; ++k) alongX += x.weight[k] * static_cast<double>(loadSample(from, x.index[k]));
        sum += y.weight[row] * alongX;
    }
    return convertedAtEdge<Sample>(sum);
}

// ---- Catmull-Rom --------------------------------------------------------------------------------------------------------

template <class Real> void catmullRomWeights(Real t, Real (&w)[4]) {
    const Real t2 = t * t, t3 = t2 * t;
    w[0] = -t * ((t - Real(1)) * (t - Real(1))) / Real(2);
    w[1] = Real(1.5) * t3 - Real(2.5) * t2 + Real(1);
    w[2] = Real(-1.5) * t3 + Real(2) * t2 + Real(0.5) * t;
    w[3] = t2 * (t - Real(1)) / Real(2);
}

// Positions are floats in a remap and doubles in a warp.
template <class Sample, class Position> Sample catmullRom(const SampledPlane<Sample> &src, Position x, Position y) {
    const int32_t ix = indexBelow(x), iy = indexBelow(y);
    if (ix >= 1 && ix < src.lastX - 1 && iy >= 1 && iy < src.lastY - 1) {
        FourWeights wx, wy;
        catmullRomWeights(static_cast<float>(x - static_cast<Position>(ix)), wx.w);
        catmullRomWeights(static_cast<float>(y - static_cast<Position>(iy)), wy.w);
        return converted<Sample>(sumOfSixteen(src, ix - 1, iy - 1, wx, wy));
    }
    return edgeSample<4>(src, x, y, [](double t, double(&w)[4]) { catmullRomWeights(t, w); });
}

// ---- Lanczos ------------------------------------------------------------------------------------------------------------

template <class Sample> Sample lanczos(const SampledPlane<Sample> &src, float x, float y) {
    const int32_t ix = indexBelow(x), iy = indexBelow(y);
    if (ix >= 2 && ix < src.lastX - 2 && iy >= 2 && iy < src.lastY - 2) {
        float wx[6], wy[6];
        lanczosWeights(x - static_cast<float>(ix), wx);
        lanczosWeights(y - static_cast<float>(iy), wy);
        float sum = 0.0f;
        for (int row = 0; row < 6; ++row) {
            const Sample *from = src.row(iy - 2 + row);
            float alongX = 0.0f;
            for (int k = 0; k < 6; ++k) alongX = fused(wx[k], static_cast<float>(loadSample(from, ix - 2 + k)), alongX);
            sum = fused(wy[row], alongX, sum);
        }
        return converted<Sample>(sum);
    }
    return edgeSample<6>(src, x, y, [](double t, double(&w)[6]) { lanczosWeights(t, w); });
}

} // namespace zypr::planes
