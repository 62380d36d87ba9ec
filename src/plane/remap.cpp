// The plane remap: its checks, and the loop over positions read from two maps.

#include "plane/remap.h"

#include "plane/sampling.h"

namespace zypr {
using namespace planes;

namespace {

// The rectangle's inclusive bounds.
struct Bounds {
    int32_t xMin, yMin, xMax, yMax;
};

bool isWithin(float position, int32_t low, int32_t high) {
    return position >= static_cast<float>(low) && position <= static_cast<float>(high);
}

// ---- Modes: the sample at a position within the bounds ------------------------------------------------------------------

struct Nearest {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &, float x, float y) {
        return src.at(clamped(truncated(x + 0.5f), 0, src.lastX), clamped(truncated(y + 0.5f), 0, src.lastY));
    }
};

// The pair of samples ends at `last` at most, where the fraction is 1.
int32_t pairAt(float position, int32_t last) {
    const int32_t i = truncated(position);
    return i >= 0 && i < last ? i : last - 1;
}

struct Linear {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &bounds, float x, float y) {
        const int32_t ix = pairAt(x, bounds.xMax), iy = pairAt(y, bounds.yMax);
        const float fx = x - static_cast<float>(ix), fy = y - static_cast<float>(iy);
        if constexpr (sizeof(Sample) == 1)
            return bilinearFixedPoint(src, ix, iy, fx, fy);
        else
            return converted<Sample>(bilinear(src, ix, iy, fx, fy));
    }
};

struct LagrangeCubic {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &, float x, float y) {
        if constexpr (sizeof(Sample) == 1)
            return lagrangeFixedPoint(src, x, y);
        else
            return converted<Sample>(lagrange(src, x, y));
    }
};

struct CatmullRomCubic {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &, float x, float y) {
        return catmullRom(src, x, y);
    }
};

struct Lanczos {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &, float x, float y) {
        return lanczos(src, x, y);
    }
};

// With smooth edges nothing is in fixed point, and pairs end at the plane's last sample.
struct SmoothLinear {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &, float x, float y) {
        const int32_t ix = pairAt(x, src.lastX), iy = pairAt(y, src.lastY);
        return converted<Sample>(bilinear(src, ix, iy, x - static_cast<float>(ix), y - static_cast<float>(iy)));
    }
};
struct SmoothLagrangeCubic {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &, float x, float y) {
        return converted<Sample>(lagrange(src, x, y));
    }
};

// ---- The band of one sample round the rectangle -------------------------------------------------------------------------

struct BandAxis {
    int32_t index;
    float distance; // 0 in range

    BandAxis(float position, int32_t low, int32_t high) {
        if (position < static_cast<float>(low))
            index = low, distance = static_cast<float>(low) - position;
        else if (position > static_cast<float>(high))
            index = high, distance = position - static_cast<float>(high);
        else
            index = clamped(truncated(position), low, high), distance = 0.0f;
    }
};

// From the source at the border to the old destination value one sample away.
template <class Sample> Sample faded(const SampledPlane<Sample> &src, const Bounds &bounds, float x, float y, Sample old) {
    const BandAxis ax(x, bounds.xMin, bounds.xMax), ay(y, bounds.yMin, bounds.yMax);
    const bool corner = ax.distance > 0.0f && ay.distance > 0.0f;
    const float weight = corner               ? 1.0f - (1.0f - ax.distance) * (1.0f - ay.distance)
                         : ax.distance > 0.0f ? ax.distance
                                              : ay.distance;
    const auto s = static_cast<float>(src.at(ax.index, ay.index)), d = static_cast<float>(old);
    return converted<Sample>(s + (d - s) * weight);
}

// ---- Loops --------------------------------------------------------------------------------------------------------------

template <class Sample> struct Target {
    const float *xMap, *yMap;
    int32_t xMapRowStep, yMapRowStep; // bytes
    Sample *plane;
    int32_t rowStep; // bytes
    ZyprPlaneSize size;
};

// A position that is not a number counts as outside.
template <class Mode, bool smooth, class Sample>
void remapPlane(const SampledPlane<Sample> &src, const Bounds &bounds, const Target<Sample> &dst) {
    for (int32_t row = 0; row < dst.size.height; ++row) {
        const float *xMap = planeRow(dst.xMap, dst.xMapRowStep, row), *yMap = planeRow(dst.yMap, dst.yMapRowStep, row);
        Sample *to = planeRow(dst.plane, dst.rowStep, row);
        for (int32_t column = 0; column < dst.size.width; ++column) {
            const float x = loadSample(xMap, column), y = loadSample(yMap, column);
            if (isWithin(x, bounds.xMin, bounds.xMax) && isWithin(y, bounds.yMin, bounds.yMax)) {
                storeSample(to, column, Mode::at(src, bounds, x, y));
            } else if constexpr (smooth) {
                if (isWithin(x, bounds.xMin - 1, bounds.xMax + 1) && isWithin(y, bounds.yMin - 1, bounds.yMax + 1))
                    storeSample(to, column, faded(src, bounds, x, y, loadSample(to, column)));
            }
        }
    }
}

template <class Sample> using PlaneKernel = void (*)(const SampledPlane<Sample> &, const Bounds &, const Target<Sample> &);

template <class Sample> PlaneKernel<Sample> kernelOf(uint32_t mode, bool smooth) {
    switch (mode) {
    case zyprInterNearest: return smooth ? remapPlane<Nearest, true, Sample> : remapPlane<Nearest, false, Sample>;
    case zyprInterLinear: return smooth ? remapPlane<SmoothLinear, true, Sample> : remapPlane<Linear, false, Sample>;
    case zyprInterCubicLagrange:
        return smooth ? remapPlane<SmoothLagrangeCubic, true, Sample> : remapPlane<LagrangeCubic, false, Sample>;
    case zyprInterCubicCatmullRom:
        return smooth ? remapPlane<CatmullRomCubic, true, Sample> : remapPlane<CatmullRomCubic, false, Sample>;
    default: return smooth ? remapPlane<Lanczos, true, Sample> : remapPlane<Lanczos, false, Sample>;
    }
}

bool isPlaneMode(uint32_t mode) {
    return mode == zyprInterNearest || mode == zyprInterLinear || mode == zyprInterCubicLagrange ||
           mode == zyprInterCubicCatmullRom || mode == zyprInterLanczos;
}

// The mode that a plane of this size is sampled with: the later conditions count only inside the earlier ones.
uint32_t loweredMode(uint32_t mode, ZyprPlaneSize size) {
    const auto isThinnerThan = [&](int32_t n) { return size.width < n || size.height < n; };
    if (isThinnerThan(6) && mode == zyprInterLanczos) mode = zyprInterCubicLagrange;
    if (isThinnerThan(4) && (mode == zyprInterCubicLagrange || mode == zyprInterCubicCatmullRom)) mode = zyprInterLinear;
    if (isThinnerThan(2)) mode = zyprInterNearest;
    return mode;
}

} // namespace

template <class Sample>
zypStatus planeRemap(const Sample *srcPlane, ZyprPlaneSize srcPlaneSize, int32_t srcRowStep, ZyprPlaneRect *srcRect,
                     const float *xMap, int32_t xMapRowStep, const float *yMap, int32_t yMapRowStep, Sample *dstPlane,
                     int32_t dstRowStep, ZyprPlaneSize dstPlaneSize, uint32_t interpolation) {
    const uint32_t mode = interpolation & ~zyprSmoothEdgeFlag;
    if (srcPlane == nullptr || dstPlane == nullptr || xMap == nullptr || yMap == nullptr) return zypStsNullPtrErr;
    if (srcPlaneSize.width <= 0 || srcPlaneSize.height <= 0) return zypStsSizeErr;
    if (srcRect->x < 0 || srcRect->y < 0 || srcRect->width <= 0 || srcRect->height <= 0) return zypStsSizeErr;
    if (dstPlaneSize.width <= 0 || dstPlaneSize.height <= 0) return zypStsSizeErr;
    if (!isPlaneMode(mode)) return zypStsInterpolationModeErr;
    if (srcRowStep <= 0 || dstRowStep <= 0 || xMapRowStep < 1 || yMapRowStep < 1) return zypStsRowStepErr;
    if (srcPlaneSize.width <= srcRect->x || srcPlaneSize.height <= srcRect->y) return zypStsPlaneRoiOutsideWrn;

    if (srcRect->width > srcPlaneSize.width - srcRect->x) srcRect->width = srcPlaneSize.width - srcRect->x;
    if (srcRect->height > srcPlaneSize.height - srcRect->y) srcRect->height = srcPlaneSize.height - srcRect->y;
    const Bounds bounds = {srcRect->x, srcRect->y, srcRect->x + srcRect->width - 1, srcRect->y + srcRect->height - 1};
    const SampledPlane<Sample> src = {srcPlane, srcRowStep, srcPlaneSize.width - 1, srcPlaneSize.height - 1};
    kernelOf<Sample>(loweredMode(mode, srcPlaneSize), mode != interpolation)(
        src, bounds, {xMap, yMap, xMapRowStep, yMapRowStep, dstPlane, dstRowStep, dstPlaneSize});
    return zypStsNoErr;
}

template zypStatus planeRemap(const uint8_t *, ZyprPlaneSize, int32_t, ZyprPlaneRect *, const float *, int32_t, const float *,
                              int32_t, uint8_t *, int32_t, ZyprPlaneSize, uint32_t);
template zypStatus planeRemap(const uint16_t *, ZyprPlaneSize, int32_t, ZyprPlaneRect *, const float *, int32_t, const float *,
                              int32_t, uint16_t *, int32_t, ZyprPlaneSize, uint32_t);
template zypStatus planeRemap(const float *, ZyprPlaneSize, int32_t, ZyprPlaneRect *, const float *, int32_t, const float *,
                              int32_t, float *, int32_t, ZyprPlaneSize, uint32_t);

} // namespace zypr
