// The plane warp: its checks, and the kernels over the spans of the destination's rows.

#include "plane/warp.h"

#include "frame/memory.h"
#include "plane/remap.h"
#include "plane/sampling.h"
#include "plane/warp_spans.h"

namespace zypr {
using namespace planes;

namespace {

// ---- Modes: one span from positions that grow by repeated addition ------------------------------------------------------

// Stepping may carry a position a little past the plane, so indices are confined to it.
struct Stepped {
    double x, y, xStep, yStep;
    void advance() { x += xStep, y += yStep; }
};

// Eight positions along one axis.
struct EightSteps {
    Double4 low, high;
    Int8 truncated() const { return joined(zypr::truncated(low), zypr::truncated(high)); }
    Float8 narrowed() const { return joined(zypr::narrowed(low), zypr::narrowed(high)); }
    Float8 narrowedAbove(Int8 i) const {
        return joined(zypr::narrowed(low - widened(zypr::low(i))), zypr::narrowed(high - widened(zypr::high(i))));
    }
};

struct EightStepped {
    EightSteps x, y;

    // The next eight from p on, which then stands behind them.
    explicit EightStepped(Stepped &p) {
        const __m128d step = _mm_setr_pd(p.xStep, p.yStep);
        __m128d at[8];
        at[0] = _mm_setr_pd(p.x, p.y);
        for (int k = 1; k < 8; ++k) at[k] = _mm_add_pd(at[k - 1], step);
        const __m128d behind = _mm_add_pd(at[7], step);
        p.x = _mm_cvtsd_f64(behind), p.y = _mm_cvtsd_f64(_mm_unpackhi_pd(behind, behind));
        const auto four = [&](int k, EightSteps &xs, EightSteps &ys, Double4 EightSteps::*half) {
            (xs.*half).v = _mm256_set_m128d(_mm_unpacklo_pd(at[k + 2], at[k + 3]), _mm_unpacklo_pd(at[k], at[k + 1]));
            (ys.*half).v = _mm256_set_m128d(_mm_unpackhi_pd(at[k + 2], at[k + 3]), _mm_unpackhi_pd(at[k], at[k + 1]));
        };
        four(0, x, y, &EightSteps::low);
        four(4, x, y, &EightSteps::high);
    }
};

struct WarpNearest {
    template <class Sample> static void span(const SampledPlane<Sample> &src, Stepped p, Sample *dst, int32_t count, float *) {
        p.x += 0.5, p.y += 0.5;
        int32_t k = 0;
        for (; count - k >= 8; k += 8) {
            const EightStepped at(p);
            copyEight(src, clamped(at.x.truncated(), 0, src.lastX), clamped(at.y.truncated(), 0, src.lastY), dst + k);
        }
        for (; k < count; ++k, p.advance())
            storeSample(dst, k, src.at(clamped(truncated(p.x), 0, src.lastX), clamped(truncated(p.y), 0, src.lastY)));
    }
};

// 8u works in float from the position on and rounds halves up; the others truncate the double and narrow its fraction.
struct WarpLinear {
    template <class Sample> static void span(const SampledPlane<Sample> &src, Stepped p, Sample *dst, int32_t count, float *) {
        int32_t k = 0;
        for (; count - k >= 8; k += 8) {
            const EightStepped at(p);
            if constexpr (sizeof(Sample) == 1) {
                const Float8 x = at.x.narrowed(), y = at.y.narrowed();
                const Int8 ix = clamped(truncated(x), 0, src.lastX - 1), iy = clamped(truncated(y), 0, src.lastY - 1);
                const Float8 value = bilinear(quadAt<Float8>(src, ix, iy), x - toFloat(ix), y - toFloat(iy));
                storeEight(dst + k, truncated(value + broadcast<8>(0.5f)));
            } else {
                const Int8 ix = clamped(at.x.truncated(), 0, src.lastX - 1), iy = clamped(at.y.truncated(), 0, src.lastY - 1);
                storeConverted(dst + k, bilinear(quadAt<Float8>(src, ix, iy), at.x.narrowedAbove(ix), at.y.narrowedAbove(iy)));
            }
        }
        for (; k < count; ++k, p.advance()) storeSample(dst, k, one(src, p.x, p.y));
    }

private:
    template <class Sample> static Sample one(const SampledPlane<Sample> &src, double atX, double atY) {
        using Position = std::conditional_t<sizeof(Sample) == 1, float, double>;
        const auto x = static_cast<Position>(atX), y = static_cast<Position>(atY);
        const int32_t ix = clamped(truncated(x), 0, src.lastX - 1), iy = clamped(truncated(y), 0, src.lastY - 1);
        const float value = bilinear(quadAt<float>(src, ix, iy), static_cast<float>(x - ix), static_cast<float>(y - iy));
        if constexpr (sizeof(Sample) == 1)
            return static_cast<Sample>(clamped(truncated(value + 0.5f), 0, 255));
        else
            return converted<Sample>(value);
    }
};

struct WarpLagrange {
    // The positions of the span, narrowed, and then the samples as in a remap.
    template <class Sample>
    static void span(const SampledPlane<Sample> &src, Stepped p, Sample *dst, int32_t count, float *scratch) {
        float *xs = scratch, *ys = scratch + count;
        for (int32_t k = 0; k < count; ++k, p.advance()) {
            xs[k] = static_cast<float>(p.x);
            ys[k] = static_cast<float>(p.y);
        }
        for (int32_t k = 0; k < count; ++k) {
            if constexpr (sizeof(Sample) == 1)
                storeSample(dst, k, lagrangeFixedPoint(src, xs[k], ys[k]));
            else
                storeSample(dst, k, converted<Sample>(lagrange(src, xs[k], ys[k])));
        }
    }
};

struct WarpCatmullRom {
    template <class Sample> static void span(const SampledPlane<Sample> &src, Stepped p, Sample *dst, int32_t count, float *) {
        for (int32_t k = 0; k < count; ++k, p.advance()) storeSample(dst, k, catmullRom(src, p.x, p.y));
    }
};

// ---- Rows ---------------------------------------------------------------------------------------------------------------

template <class Sample> struct Target {
    Sample *plane;
    int32_t rowStep; // bytes
    CoveredRows rows;
    const RowSpan *spans;
};

template <class Mode, class Sample>
void warpPlane(const SampledPlane<Sample> &src, const PlaneAffine &inverse, const Target<Sample> &dst, float *scratch) {
    const auto &i = inverse.a;
    double xTerm = i[0][1] * dst.rows.first + i[0][2], yTerm = i[1][1] * dst.rows.first + i[1][2];
    for (int32_t row = dst.rows.first; row <= dst.rows.last; ++row, xTerm += i[0][1], yTerm += i[1][1]) {
        const RowSpan span = dst.spans[row - dst.rows.first];
        if (span.last < span.first) continue;
        const Stepped start = {i[0][0] * span.first + xTerm, i[1][0] * span.first + yTerm, i[0][0], i[1][0]};
        Mode::span(src, start, planeRow(dst.plane, dst.rowStep, row) + span.first, span.last - span.first + 1, scratch);
    }
}

template <class Sample>
using PlaneKernel = void (*)(const SampledPlane<Sample> &, const PlaneAffine &, const Target<Sample> &, float *);

template <class Sample> PlaneKernel<Sample> kernelOf(uint32_t mode) {
    switch (mode) {
    case zyprInterNearest: return warpPlane<WarpNearest, Sample>;
    case zyprInterLinear: return warpPlane<WarpLinear, Sample>;
    case zyprInterCubicLagrange: return warpPlane<WarpLagrange, Sample>;
    default: return warpPlane<WarpCatmullRom, Sample>;
    }
}

// ---- Front --------------------------------------------------------------------------------------------------------------

bool isWarpMode(uint32_t mode) {
    return mode == zyprInterNearest || mode == zyprInterLinear || mode == zyprInterCubicLagrange ||
           mode == zyprInterCubicCatmullRom;
}

// Planes have two columns and rows here at least. Catmull-Rom stays: its taps are clamped, so any plane is large enough.
uint32_t loweredMode(uint32_t mode, ZyprPlaneSize size) {
    if (mode == zyprInterCubicLagrange && (size.width < 4 || size.height < 4)) return zyprInterLinear;
    return mode;
}

bool isDegenerate(const double *matrix) {
    const auto absolute = [](double a) { return a < 0 ? -a : a; };
    const double p = matrix[0] * matrix[4], q = matrix[1] * matrix[3];
    return absolute(p) <= 1e-200 ? absolute(q) <= 1e-10 : absolute((p - q) / p) <= 1e-10;
}

bool isValid(const ZyprPlaneRect &rect) { return rect.x >= 0 && rect.y >= 0 && rect.width >= 1 && rect.height >= 1; }

// Two 32-bit values for each of `count` rows or columns; null also where the bytes don't fit 32 bits.
void *allocPairs(int32_t count) { return count < INT32_MAX / 8 ? zyprAllocBytes(8 * count) : nullptr; }

} // namespace

template <class Sample>
zypStatus planeWarp(const Sample *srcPlane, ZyprPlaneSize srcPlaneSize, int32_t srcRowStep, ZyprPlaneRect srcRect,
                    Sample *dstPlane, int32_t dstRowStep, ZyprPlaneRect dstRect, const double *planeMatrix,
                    uint32_t interpolation) {
    uint32_t mode = interpolation & ~zyprSmoothEdgeFlag;
    if (srcPlane == nullptr || dstPlane == nullptr) return zypStsNullPtrErr;
    if (srcPlaneSize.width < 1 || srcPlaneSize.height < 1) return zypStsSizeErr;
    if (!isValid(srcRect) || !isValid(dstRect)) return zypStsSizeErr;
    if (!isWarpMode(mode)) return zypStsInterpolationModeErr;
    if (isDegenerate(planeMatrix)) return zypStsSingularTransformErr;
    if (srcRect.x >= srcPlaneSize.width || srcRect.y >= srcPlaneSize.height) return zypStsPlaneRoiOutsideWrn;
    if (srcRect.width > srcPlaneSize.width - srcRect.x) srcRect.width = srcPlaneSize.width - srcRect.x;
    if (srcRect.height > srcPlaneSize.height - srcRect.y) srcRect.height = srcPlaneSize.height - srcRect.y;
    if (srcRect.width < 2 || srcRect.height < 2) return zypStsRoiTooSmallErr;
    mode = loweredMode(mode, srcPlaneSize);

    PlaneAffine affine;
    std::memcpy(affine.a, planeMatrix, sizeof affine.a);
    const PlanePolygon quadrangle = quadrangleOf(srcRect, affine);
    if (!isConvex(quadrangle)) return zypStsSingularTransformErr;
    const PlanePolygon clipped = clippedTo(dstRect, quadrangle);
    const CoveredRows rows = coveredRows(clipped);
    if (rows.isEmpty()) return zypStsNoQuadOverlapWrn;

    auto *spans = static_cast<RowSpan *>(allocPairs(rows.last - rows.first + 1));
    if (spans == nullptr) return zypStsNoQuadOverlapWrn;
    fillSpans(clipped, rows, dstRect, spans);
    float *scratch = nullptr;
    if (mode == zyprInterCubicLagrange) {
        scratch = static_cast<float *>(allocPairs(dstRect.width));
        if (scratch == nullptr) {
            zyprFreeBlock(spans);
            return zypStsAllocFailErr;
        }
    }
    const SampledPlane<Sample> src = {srcPlane, srcRowStep, srcPlaneSize.width - 1, srcPlaneSize.height - 1};
    kernelOf<Sample>(mode)(src, inverseOf(quadrangle, srcRect), {dstPlane, dstRowStep, rows, spans}, scratch);
    if (scratch != nullptr) zyprFreeBlock(scratch);
    zyprFreeBlock(spans);
    return zypStsNoErr;
}

template zypStatus planeWarp(const uint8_t *, ZyprPlaneSize, int32_t, ZyprPlaneRect, uint8_t *, int32_t, ZyprPlaneRect,
                             const double *, uint32_t);
template zypStatus planeWarp(const uint16_t *, ZyprPlaneSize, int32_t, ZyprPlaneRect, uint16_t *, int32_t, ZyprPlaneRect,
                             const double *, uint32_t);
template zypStatus planeWarp(const float *, ZyprPlaneSize, int32_t, ZyprPlaneRect, float *, int32_t, ZyprPlaneRect,
                             const double *, uint32_t);

} // namespace zypr
