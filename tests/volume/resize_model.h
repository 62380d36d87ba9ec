// Volume resize, voxel by voxel: no tables, no rings, no images, every voxel from its definition. One rounding per line.
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <type_traits>
#include <vector>

#include "zypr.h"

namespace zypr::test {

struct ResizeMappingModel {
    double scale[3], shift[3];
};

struct RegionModel {
    int32_t low[3], high[3];
};

inline int32_t integerOf(double v) { // toward zero; the integer indefinite where that has no value
    return v > -2147483649.0 && v < 2147483648.0 ? static_cast<int32_t>(v) : std::numeric_limits<int32_t>::min();
}

// The region that a resize writes; none when it is empty.
inline std::optional<RegionModel> resizeRegion(const ZyprVolumeExtent &extent, const ZyprVoxelCuboid &src,
                                               const ZyprVoxelCuboid &dst, const ResizeMappingModel &mapping) {
    const int64_t extents[3] = {extent.width, extent.height, extent.depth};
    const int64_t origins[3] = {src.x, src.y, src.z}, sizes[3] = {src.width, src.height, src.depth};
    const int64_t firsts[3] = {dst.x, dst.y, dst.z}, counts[3] = {dst.width, dst.height, dst.depth};
    RegionModel region{};
    for (int k = 0; k < 3; ++k) {
        const int64_t size = std::min(sizes[k], extents[k] - origins[k]);
        const double mappedLow = std::fma(mapping.scale[k], static_cast<double>(origins[k]), mapping.shift[k]);
        const double mappedHigh = std::fma(mapping.scale[k], static_cast<double>(origins[k] + size), mapping.shift[k]);
        if (std::isnan(mappedLow) || std::isnan(mappedHigh)) return std::nullopt;
        const double low = std::max(mappedLow, static_cast<double>(firsts[k]));
        const double high = std::min(mappedHigh, static_cast<double>(firsts[k] + counts[k]));
        region.low[k] = integerOf(0.4999999999 + low);
        region.high[k] = integerOf(0.5000000001 + high);
        if (region.low[k] < firsts[k] || region.low[k] >= region.high[k]) return std::nullopt;
    }
    return region;
}

// The weight of a sample at distance u, before its rounding to a float.
inline double resizeKernel(ZyprInterpolation mode, double u) {
    if (u >= 2.0) return 0.0;
    double v;
    switch (mode) {
    case zyprInterCubicLagrange:
        if (u < 1.0) {
            v = std::fma(0.5, u, -1.0);
            v = std::fma(u, v, -0.5);
            return std::fma(u, v, 1.0);
        }
        v = std::fma(-1.0 / 6.0, u, 1.0);
        v = std::fma(u, v, -11.0 / 6.0);
        return std::fma(u, v, 1.0);
    case zyprInterCubicBSpline:
        if (u < 1.0) {
            v = std::fma(0.5, u, -1.0);
            return std::fma(u * u, v, 2.0 / 3.0);
        }
        v = std::fma(-1.0 / 6.0, u, 1.0);
        v = std::fma(u, v, -1.0);
        return std::fma(u, v, -(u - 4.0 / 3.0));
    case zyprInterCubicCatmullRom:
        if (u < 1.0) {
            v = std::fma(1.5, u, -2.5);
            return std::fma(u * u, v, 1.0);
        }
        v = std::fma(-0.5, u, 2.5);
        v = std::fma(u, v, -4.0);
        return std::fma(u, v, 2.0);
    default:
        if (u < 1.0) {
            v = std::fma(0.95, u, -1.7);
            return std::fma(u * u, v, 5.0 / 6.0);
        }
        v = std::fma(-23.0 / 60.0, u, 2.0);
        v = std::fma(u, v, -3.4);
        return std::fma(u, v, 28.0 / 15.0);
    }
}

template <class T> class ResizeModel {
public:
    using Source = std::function<T(int32_t x, int32_t y, int32_t z)>;

    ResizeModel(Source source, const ZyprVolumeExtent &extent, const RegionModel &region, const ResizeMappingModel &mapping,
                ZyprInterpolation mode)
        : source_(std::move(source)), mode_(mode), planesRead_(static_cast<size_t>(extent.depth)) {
        const int32_t extents[3] = {extent.width, extent.height, extent.depth};
        for (int k = 0; k < 3; ++k) {
            extent_[k] = extents[k];
            inverse_[k] = 1.0 / mapping.scale[k];
            offset_[k] = (0.0 - mapping.shift[k]) / mapping.scale[k];
        }
        int32_t x = region.low[0];
        while (x < region.high[0] && !isInterior(0, x)) ++x;
        firstInterior_ = x;
        while (x < region.high[0] && isInterior(0, x)) ++x;
        interiorCount_ = x - firstInterior_;
    }

    T voxel(int32_t x, int32_t y, int32_t z) {
        if (mode_ == zyprInterNearest) return sample(nearest(0, x), nearest(1, y), nearest(2, z));
        const bool interior = isInterior(0, x) && isInterior(1, y);
        const bool tail = interior && x - firstInterior_ >= interiorCount_ / 4 * 4;
        if (mode_ == zyprInterLinear) {
            if constexpr (std::is_same_v<T, uint8_t>)
                return linearFixed(x, y, z, interior);
            else
                return linearFloat(x, y, z, interior, tail);
        }
        return cubic(x, y, z, interior, tail);
    }

    bool readsPlane(int32_t z) const { return planesRead_[static_cast<size_t>(z)]; }

private:
    struct Coordinate {
        double c;
        int32_t index;
        double fraction;
    };

    Coordinate at(int axis, int32_t p) const {
        const double middle = p + 0.5;
        const double shifted = offset_[axis] - 0.5;
        const double c = std::fma(middle, inverse_[axis], shifted);
        const double whole = std::floor(c);
        return {c, static_cast<int32_t>(std::max(-2.0, std::min(whole, extent_[axis] + 1.0))), c - whole};
    }
    int32_t nearest(int axis, int32_t p) const {
        const double middle = p + 0.5;
        const double shifted = offset_[axis] - 1e-10;
        const auto i = static_cast<int32_t>(std::fma(middle, inverse_[axis], shifted));
        return std::max(0, std::min(i, extent_[axis] - 1));
    }
    bool isInterior(int axis, int32_t p) const {
        const double c = at(axis, p).c;
        const double margin = mode_ == zyprInterLinear ? 0.0 : 1.0;
        return c >= margin && c < extent_[axis] - 1 - margin;
    }
    bool isLow(int axis, int32_t p) const { return at(axis, p).c < 0.0; }

    T sample(int32_t x, int32_t y, int32_t z) {
        planesRead_[static_cast<size_t>(z)] = true;
        return source_(x, y, z);
    }
    float floatSample(int32_t x, int32_t y, int32_t z) { return static_cast<float>(sample(x, y, z)); }

    // Conversions of a float result to the element type.
    static T fromFrame(float v) {
        if constexpr (std::is_same_v<T, float>) {
            return v;
        } else {
            const double biased = static_cast<double>(v) + 0.5000001;
            return saturated(integerOf(biased));
        }
    }
    static T fromInterior(float v) {
        if constexpr (std::is_same_v<T, float>)
            return v;
        else
            return saturated(integerOf(v));
    }
    static T saturated(int32_t v) {
        constexpr int32_t most = std::is_same_v<T, uint8_t> ? 255 : 65535;
        return static_cast<T>(std::max(0, std::min(v, most)));
    }

    // ---- Linear in floats

    static float lerp(float a, float b, float t) {
        const float difference = b - a;
        return std::fma(difference, t, a);
    }

    float frameOfPlane(int32_t x, int32_t y, int32_t z) {
        const Coordinate cx = at(0, x), cy = at(1, y);
        const auto tx = static_cast<float>(cx.fraction), ty = static_cast<float>(cy.fraction);
        const int32_t lastX = extent_[0] - 1, lastY = extent_[1] - 1;
        if (!isInterior(1, y)) {
            const int32_t row = isLow(1, y) ? 0 : lastY;
            const int32_t a = cx.index < 0 ? 0 : cx.index > lastX - 1 ? lastX : cx.index;
            const int32_t b = cx.index < 0 ? 0 : cx.index > lastX - 1 ? lastX : cx.index + 1;
            return lerp(floatSample(a, row, z), floatSample(b, row, z), tx);
        }
        const int32_t column = isLow(0, x) ? 0 : lastX;
        return lerp(floatSample(column, cy.index, z), floatSample(column, cy.index + 1, z), ty);
    }

    float xFiltered(int32_t x, int32_t row, int32_t z) {
        const Coordinate cx = at(0, x);
        return lerp(floatSample(cx.index, row, z), floatSample(cx.index + 1, row, z), static_cast<float>(cx.fraction));
    }

    static float blend(float first, float second, float t, bool tail) {
        const float rest = 1.0f - t;
        const float weighted = t * second;
        if (!tail) return std::fma(rest, first, weighted);
        const float other = rest * first;
        return other + weighted;
    }

    float interiorOfPlane(int32_t x, int32_t y, int32_t z, bool tail) {
        const Coordinate cy = at(1, y);
        const float a = xFiltered(x, cy.index, z), b = xFiltered(x, cy.index + 1, z);
        return blend(a, b, static_cast<float>(cy.fraction), tail);
    }

    T linearFloat(int32_t x, int32_t y, int32_t z, bool interior, bool tail) {
        if (!isInterior(2, z)) {
            const int32_t plane = isLow(2, z) ? 0 : extent_[2] - 1;
            if (!interior) return fromFrame(frameOfPlane(x, y, plane));
            if constexpr (std::is_same_v<T, float>) return interiorOfPlane(x, y, plane, tail);
            const Coordinate cy = at(1, y);
            const float a = xFiltered(x, cy.index, plane), b = xFiltered(x, cy.index + 1, plane);
            return fromInterior(lerp(a, b, static_cast<float>(cy.fraction)));
        }
        const Coordinate cz = at(2, z);
        const auto t = static_cast<float>(cz.fraction);
        if (interior) {
            const float first = interiorOfPlane(x, y, cz.index, tail), second = interiorOfPlane(x, y, cz.index + 1, tail);
            return fromInterior(blend(first, second, t, tail));
        }
        const float first = frameOfPlane(x, y, cz.index), second = frameOfPlane(x, y, cz.index + 1);
        const float rest = 1.0f - t;
        const float weighted = rest * first;
        return fromFrame(std::fma(t, second, weighted));
    }

    // ---- Linear in fixed point

    static int32_t fixedOf(double fraction) { return static_cast<uint16_t>(integerOf(std::fma(16384.0, fraction, 1e-7))); }
    static int32_t fixedSum(int32_t a, int32_t b, int32_t t, int shift) {
        return (a * (16384 - t) + b * t + (1 << (shift - 1))) >> shift;
    }

    int32_t fixedFrame(int32_t x, int32_t y, int32_t z) {
        const Coordinate cx = at(0, x), cy = at(1, y);
        const int32_t lastX = extent_[0] - 1, lastY = extent_[1] - 1;
        if (!isInterior(1, y)) {
            const int32_t row = isLow(1, y) ? 0 : lastY;
            const int32_t a = cx.index < 0 ? 0 : cx.index > lastX - 1 ? lastX : cx.index;
            const int32_t b = cx.index < 0 ? 0 : cx.index > lastX - 1 ? lastX : cx.index + 1;
            return fixedSum(sample(a, row, z), sample(b, row, z), fixedOf(cx.fraction), 14);
        }
        const int32_t column = isLow(0, x) ? 0 : lastX;
        return fixedSum(sample(column, cy.index, z), sample(column, cy.index + 1, z), fixedOf(cy.fraction), 14);
    }
    int32_t fixedRow(int32_t x, int32_t row, int32_t z) { // a sample times 64
        const Coordinate cx = at(0, x);
        const int32_t sum = fixedSum(sample(cx.index, row, z), sample(cx.index + 1, row, z), fixedOf(cx.fraction), 8);
        return std::max(-32768, std::min(sum, 32767));
    }
    int32_t fixedInterior(int32_t x, int32_t y, int32_t z, int shift) {
        const Coordinate cy = at(1, y);
        return fixedSum(fixedRow(x, cy.index, z), fixedRow(x, cy.index + 1, z), fixedOf(cy.fraction), shift);
    }

    T linearFixed(int32_t x, int32_t y, int32_t z, bool interior) {
        if (!isInterior(2, z)) {
            const int32_t plane = isLow(2, z) ? 0 : extent_[2] - 1;
            return interior ? saturated(fixedInterior(x, y, plane, 20)) : saturated(fixedFrame(x, y, plane));
        }
        const Coordinate cz = at(2, z);
        const int32_t t = fixedOf(cz.fraction);
        if (interior)
            return saturated(fixedSum(fixedInterior(x, y, cz.index, 14), fixedInterior(x, y, cz.index + 1, 14), t, 20));
        return saturated(fixedSum(fixedFrame(x, y, cz.index), fixedFrame(x, y, cz.index + 1), t, 14));
    }

    // ---- Cubic

    struct Four {
        float w[4];
        int32_t tap[4];
    };

    Four four(int axis, int32_t p) const {
        const Coordinate c = at(axis, p);
        const int32_t i = c.index, n = extent_[axis];
        const auto t = static_cast<float>(c.fraction);
        Four result{};
        const float distances[4] = {-1.0f - t, 0.0f - t, 1.0f - t, 2.0f - t};
        for (int k = 0; k < 4; ++k) result.w[k] = static_cast<float>(resizeKernel(mode_, std::fabs(distances[k])));
        if (i < 0)
            result.tap[0] = 0, result.tap[1] = 0, result.tap[2] = 0, result.tap[3] = 1;
        else if (i == 0)
            result.tap[0] = 0, result.tap[1] = 0, result.tap[2] = 1, result.tap[3] = 2;
        else if (i <= n - 3)
            result.tap[0] = i - 1, result.tap[1] = i, result.tap[2] = i + 1, result.tap[3] = i + 2;
        else if (i == n - 2)
            result.tap[0] = n - 3, result.tap[1] = n - 2, result.tap[2] = n - 1, result.tap[3] = n - 1;
        else
            result.tap[0] = n - 2, result.tap[1] = n - 1, result.tap[2] = n - 1, result.tap[3] = n - 1;
        for (int32_t &tap : result.tap) tap = std::max(0, std::min(tap, n - 1));
        return result;
    }

    float cubicRow(const Four &fx, int32_t row, int32_t z) {
        const float p0 = floatSample(fx.tap[0], row, z) * fx.w[0];
        const float p1 = floatSample(fx.tap[1], row, z) * fx.w[1];
        const float p2 = floatSample(fx.tap[2], row, z) * fx.w[2];
        const float p3 = floatSample(fx.tap[3], row, z) * fx.w[3];
        const float front = p0 + p1;
        const float back = p2 + p3;
        return front + back;
    }

    float cubicPlane(int32_t x, int32_t y, int32_t z) {
        const Four fx = four(0, x), fy = four(1, y);
        const float *w = fy.w;
        const float r0 = cubicRow(fx, fy.tap[0], z), r1 = cubicRow(fx, fy.tap[1], z);
        const float r2 = cubicRow(fx, fy.tap[2], z), r3 = cubicRow(fx, fy.tap[3], z);
        const int32_t i = at(1, y).index, n = extent_[1];
        if (i < 0) { // r0, r0, r0, r1
            const float product = r3 * w[3];
            const float rest = std::fma(r0, w[0], product);
            return std::fma(r0, w[1] + w[2], rest);
        }
        if (i == 0) { // rA, rA, rB, rC
            const float product = r3 * w[3];
            const float rest = std::fma(r2, w[2], product);
            return std::fma(r0, w[0] + w[1], rest);
        }
        if (i == n - 2) { // rA, rB, rC, rC
            const float product = r0 * w[0];
            const float rest = std::fma(r1, w[1], product);
            return std::fma(r2, w[2] + w[3], rest);
        }
        if (i > n - 2) { // rA, rB, rB, rB
            const float product = r0 * w[0];
            const float rest = std::fma(r1, w[3], product);
            return std::fma(r1, w[1] + w[2], rest);
        }
        const float p1 = w[1] * r1;
        const float p3 = w[3] * r3;
        const float front = std::fma(w[0], r0, p1);
        const float back = std::fma(w[2], r2, p3);
        return front + back;
    }

    T cubic(int32_t x, int32_t y, int32_t z, bool interior, bool tail) {
        const Four fz = four(2, z);
        const float *w = fz.w;
        const float a = cubicPlane(x, y, fz.tap[0]), b = cubicPlane(x, y, fz.tap[1]);
        const float c = cubicPlane(x, y, fz.tap[2]), d = cubicPlane(x, y, fz.tap[3]);
        if (!interior) {
            const float p2 = w[2] * c;
            const float p3 = w[3] * d;
            const float inner = std::fma(w[1], b, p2);
            const float outer = std::fma(w[0], a, p3);
            return fromFrame(inner + outer);
        }
        const float p1 = w[1] * b;
        const float p3 = w[3] * d;
        if (tail) {
            const float p0 = w[0] * a;
            const float p2 = w[2] * c;
            const float front = p0 + p1;
            const float back = p2 + p3;
            return fromInterior(front + back);
        }
        const float front = std::fma(w[0], a, p1);
        const float back = std::fma(w[2], c, p3);
        return fromInterior(front + back);
    }

    Source source_;
    ZyprInterpolation mode_;
    int32_t extent_[3];
    double inverse_[3], offset_[3];
    int32_t firstInterior_ = 0, interiorCount_ = 0;
    std::vector<bool> planesRead_;
};

} // namespace zypr::test
