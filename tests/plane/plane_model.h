// The scalar model of the plane remap and warp: what one sample is, from its definition. Sums whose order is open are formed in
// double, with the distance that a float sum may keep from them; everything else is one rounding after another.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include "plane/records.h"
#include "support/bits.h"
#include "support/guarded_array.h"
#include "support/random.h"

namespace zypr::test {

template <class Sample> struct TestPlane {
    int32_t width, height;
    GuardedArray<Sample> samples;
    TestPlane(int32_t w, int32_t h) : width(w), height(h), samples(static_cast<size_t>(w * h)) {}
    static TestPlane random(Random &random, int32_t w, int32_t h) {
        TestPlane plane(w, h);
        for (Sample &s : plane.samples) {
            if constexpr (std::is_same_v<Sample, float>)
                s = random.real(-300, 300);
            else
                s = static_cast<Sample>(random.chance(0.3f) ? (random.chance(0.5f) ? 0 : -1)
                                                            : static_cast<int32_t>(random.word()));
        }
        return plane;
    }
    void fill(Sample value) { std::fill(samples.begin(), samples.end(), value); }
    Sample *data() { return samples.data(); }
    int32_t step() const { return width * static_cast<int32_t>(sizeof(Sample)); }
    Sample &at(int32_t x, int32_t y) { return samples[static_cast<size_t>(y * width + x)]; }
    double at(int32_t x, int32_t y) const { return static_cast<double>(samples[static_cast<size_t>(y * width + x)]); }
};

// Any value from low to high is right.
struct Allowed {
    double low, high;
    bool allows(double value) const { return value >= low && value <= high; }
};
inline Allowed exactly(double value) { return {value, value}; }

template <class Sample> double limitOf() { return static_cast<double>(std::numeric_limits<Sample>::max()); }

// Ties to even, saturated.
template <class Sample> double rounded(double value) {
    if constexpr (std::is_same_v<Sample, float>)
        return value;
    else
        return std::clamp(std::nearbyint(value), 0.0, limitOf<Sample>());
}
template <class Sample> Allowed roundedAround(double value, double tolerance) {
    return {rounded<Sample>(value - tolerance), rounded<Sample>(value + tolerance)};
}

inline ZyprPlaneRect clippedRect(ZyprPlaneRect r, int32_t width, int32_t height) {
    r.width = std::min(r.width, width - r.x);
    r.height = std::min(r.height, height - r.y);
    return r;
}

inline uint32_t loweredPlaneMode(uint32_t mode, int32_t width, int32_t height) {
    const int32_t least = std::min(width, height);
    if (least < 6) {
        if (mode == 16) mode = 4;
        if (least < 4) {
            if (mode == 4 || mode == 6) mode = 2;
            if (least == 1) mode = 1;
        }
    }
    return mode;
}

// ---- Linear -------------------------------------------------------------------------------------------------------------

// The tap of weight 0 that lies before the row or the plane counts as 0.
template <class Sample> double tapOrZero(const TestPlane<Sample> &src, int32_t x, int32_t y) {
    return x < 0 || y < 0 ? 0 : src.at(x, y);
}

template <class Sample> float modelBilinear(const TestPlane<Sample> &src, int32_t ix, int32_t iy, float fx, float fy) {
    const auto tap = [&](int32_t x, int32_t y) { return static_cast<float>(tapOrZero(src, x, y)); };
    const float gx = 1.0f - fx, gy = 1.0f - fy;
    const float a = tap(ix, iy) * gx, b = tap(ix + 1, iy) * fx, upper = a + b;
    const float c = tap(ix, iy + 1) * gx, d = tap(ix + 1, iy + 1) * fx, lower = c + d;
    const float e = upper * gy, f = lower * fy;
    return e + f;
}

template <class Sample> int modelBilinearFixed(const TestPlane<Sample> &src, int32_t ix, int32_t iy, float fx, float fy) {
    const auto tap = [&](int32_t x, int32_t y) { return static_cast<int>(tapOrZero(src, x, y)); };
    const int wx = static_cast<int>(std::nearbyint(fx * 16384.0f)), wy = static_cast<int>(std::nearbyint(fy * 16384.0f));
    const int r0 = (tap(ix, iy) * (16384 - wx) + tap(ix + 1, iy) * wx) >> 8;
    const int r1 = (tap(ix, iy + 1) * (16384 - wx) + tap(ix + 1, iy + 1) * wx) >> 8;
    return (r0 * (16384 - wy) + r1 * wy + 33) >> 20;
}

// ---- Sums over taps -----------------------------------------------------------------------------------------------------

struct ModelTaps {
    int count;
    int32_t index[6];
    double weight[6];
};
struct ModelSum {
    double value, magnitudes;
};
template <class Sample> ModelSum modelSum(const TestPlane<Sample> &src, const ModelTaps &x, const ModelTaps &y) {
    ModelSum sum{};
    for (int j = 0; j < y.count; ++j) {
        for (int i = 0; i < x.count; ++i) {
            const double product = x.weight[i] * y.weight[j] * src.at(x.index[i], y.index[j]);
            sum.value += product;
            sum.magnitudes += std::fabs(product);
        }
    }
    return sum;
}

template <class Sample> Allowed fastEnding(const ModelSum &sum) {
    return roundedAround<Sample>(sum.value, sum.magnitudes * 4e-6);
}

template <class Sample> Allowed edgeEnding(const ModelSum &sum) {
    if constexpr (std::is_same_v<Sample, float>) {
        if (std::fabs(sum.value) < 1.1754943508222875e-38) return exactly(0);
        return {sum.value - sum.magnitudes * 2e-7, sum.value + sum.magnitudes * 2e-7};
    } else {
        const auto end = [](double v) { return v > limitOf<Sample>() ? limitOf<Sample>() : v < 0 ? 0 : std::trunc(v + 0.5); };
        return {end(sum.value - sum.magnitudes * 1e-7), end(sum.value + sum.magnitudes * 1e-7)};
    }
}

// ---- Lagrange -----------------------------------------------------------------------------------------------------------

inline int32_t modelLagrangeBase(float position, int32_t last) {
    const int32_t b = std::min(static_cast<int32_t>(position), last - 2);
    return b > 0 ? b - 1 : 0;
}

inline ModelTaps modelLagrange(float position, int32_t last) {
    const int32_t base = modelLagrangeBase(position, last);
    const double t = static_cast<double>(position) - base - 1;
    return {4,
            {base, base + 1, base + 2, base + 3, 0, 0},
            {-t * (t - 1) * (t - 2) / 6, (t * t - 1) * (t - 2) / 2, -(t + 1) * t * (t - 2) / 2, t * (t * t - 1) / 6, 0, 0}};
}

template <class Sample> int modelLagrangeFixed(const TestPlane<Sample> &src, float x, float y) {
    struct Axis {
        int32_t base;
        int w[4];
        Axis(float position, int32_t last) : base(modelLagrangeBase(position, last)) {
            const float u = position - static_cast<float>(base);
            const int k = static_cast<int>(std::nearbyint(u * 512.0f));
            const auto first = [](int i) {
                const double v = i / 512.0;
                return static_cast<int>(std::lround(16384 * (v - 1) * (v - 2) * (v - 3) / -6));
            };
            const auto second = [](int i) {
                const double v = i / 512.0;
                return static_cast<int>(std::lround(16384 * v * (v - 2) * (v - 3) / 2));
            };
            w[0] = first(k), w[1] = second(k), w[2] = second(1536 - k), w[3] = first(1536 - k);
        }
    };
    const Axis ax(x, src.width - 1), ay(y, src.height - 1);
    int total = 0x80000;
    for (int j = 0; j < 4; ++j) {
        int row = 0;
        for (int i = 0; i < 4; ++i) row += static_cast<int>(src.at(ax.base + i, ay.base + j)) * ax.w[i];
        total += static_cast<int16_t>(row >> 8) * ay.w[j];
    }
    return std::clamp(total >> 20, 0, 255);
}

// ---- Catmull-Rom and Lanczos --------------------------------------------------------------------------------------------

inline void modelCatmullRomWeights(double t, double *w) {
    w[0] = -t * (t - 1) * (t - 1) / 2;
    w[1] = 1.5 * t * t * t - 2.5 * t * t + 1;
    w[2] = -1.5 * t * t * t + 2 * t * t + 0.5 * t;
    w[3] = t * t * (t - 1) / 2;
}

inline double modelLanczos(double d) {
    const auto sinc = [](double u) { return u == 0 ? 1.0 : std::sin(M_PI * u) / (M_PI * u); };
    return std::fabs(d) < 3 ? sinc(d) * sinc(d / 3) : 0;
}

// reach: taps below the index. The table of hundredths is used where `fast`.
template <class Position> int32_t modelIndex(Position position) {
    return static_cast<int32_t>(position + static_cast<Position>(1e-7));
}
inline ModelTaps modelWide(double position, int32_t i, int32_t last, uint32_t mode, bool fast) {
    ModelTaps taps{};
    taps.count = mode == 6 ? 4 : 6;
    const int32_t first = mode == 6 ? i - 1 : i - 2;
    for (int k = 0; k < taps.count; ++k) taps.index[k] = std::clamp(first + k, 0, last);
    const double f = position - i;
    if (mode == 6) {
        modelCatmullRomWeights(f, taps.weight);
        return taps;
    }
    double sum = 0;
    for (int k = 0; k < 6; ++k) {
        const double d = std::fabs(k - 2 - f);
        if (fast) {
            const double h = 100 * std::min(d, 3.0);
            const int index = static_cast<int>(h);
            const double a = static_cast<float>(modelLanczos(index / 100.0)),
                         b = static_cast<float>(modelLanczos((index + 1) / 100.0));
            taps.weight[k] = a + (h - index) * (b - a);
        } else {
            taps.weight[k] = modelLanczos(d);
        }
        sum += taps.weight[k];
    }
    for (int k = 0; k < 6; ++k) taps.weight[k] /= sum;
    return taps;
}

template <class Sample, class Position>
Allowed modelWideSample(const TestPlane<Sample> &src, uint32_t mode, Position x, Position y) {
    const int32_t lastX = src.width - 1, lastY = src.height - 1, reach = mode == 6 ? 1 : 2;
    const int32_t ix = modelIndex(x), iy = modelIndex(y);
    const bool fast = ix >= reach && ix < lastX - reach && iy >= reach && iy < lastY - reach;
    if (fast)
        return fastEnding<Sample>(modelSum(src, modelWide(x, ix, lastX, mode, true), modelWide(y, iy, lastY, mode, true)));
    const int32_t ex = modelIndex(static_cast<double>(x)), ey = modelIndex(static_cast<double>(y));
    return edgeEnding<Sample>(modelSum(src, modelWide(x, ex, lastX, mode, false), modelWide(y, ey, lastY, mode, false)));
}

// ---- Remap --------------------------------------------------------------------------------------------------------------

template <class Sample>
Allowed modelRemap(const TestPlane<Sample> &src, const ZyprPlaneRect &rect, uint32_t mode, bool smooth, float x, float y,
                   Sample old) {
    const float xMin = static_cast<float>(rect.x), yMin = static_cast<float>(rect.y);
    const float xMax = static_cast<float>(rect.x + rect.width - 1), yMax = static_cast<float>(rect.y + rect.height - 1);
    const bool inside = !(x < xMin || y < yMin || x > xMax || y > yMax);
    if (!inside) {
        if (!smooth || x < xMin - 1 || y < yMin - 1 || x > xMax + 1 || y > yMax + 1) return exactly(static_cast<double>(old));
        const float dx = x < xMin ? xMin - x : x > xMax ? x - xMax : 0, dy = y < yMin ? yMin - y : y > yMax ? y - yMax : 0;
        const float cx = 1.0f - dx, cy = 1.0f - dy, product = cx * cy;
        const float w = dx > 0 && dy > 0 ? 1.0f - product : dx > 0 ? dx : dy;
        const auto s = static_cast<float>(
            src.at(static_cast<int32_t>(std::clamp(x, xMin, xMax)), static_cast<int32_t>(std::clamp(y, yMin, yMax))));
        const float difference = static_cast<float>(old) - s, part = difference * w;
        return exactly(rounded<Sample>(s + part));
    }
    const bool fixedPoint = sizeof(Sample) == 1 && !smooth;
    if (mode == 1) return exactly(src.at(static_cast<int32_t>(x + 0.5f), static_cast<int32_t>(y + 0.5f)));
    if (mode == 2) {
        int32_t ix = static_cast<int32_t>(x), iy = static_cast<int32_t>(y);
        if (ix == (smooth ? src.width - 1 : rect.x + rect.width - 1)) --ix;
        if (iy == (smooth ? src.height - 1 : rect.y + rect.height - 1)) --iy;
        const float fx = x - static_cast<float>(ix), fy = y - static_cast<float>(iy);
        if (fixedPoint) return exactly(modelBilinearFixed(src, ix, iy, fx, fy));
        return exactly(rounded<Sample>(modelBilinear(src, ix, iy, fx, fy)));
    }
    if (mode == 4) {
        if (fixedPoint) return exactly(modelLagrangeFixed(src, x, y));
        return fastEnding<Sample>(modelSum(src, modelLagrange(x, src.width - 1), modelLagrange(y, src.height - 1)));
    }
    return modelWideSample(src, mode, x, y);
}

} // namespace zypr::test
