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
bool areWithin(Float8 positions, int32_t low, int32_t high) {
    const Float8 least = broadcast<8>(static_cast<float>(low)), most = broadcast<8>(static_cast<float>(high));
    return zypr::all((positions >= least) & (positions <= most));
}

// ---- Modes: the sample at a position within the bounds, and eight of them where takesEights() -----------------------------

struct BySingles {
    static constexpr bool takesEights(const Bounds &) { return false; }
    template <class Sample> static void eightAt(const SampledPlane<Sample> &, const Bounds &, Float8, Float8, Sample *) {}
};

struct Nearest {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &, float x, float y) {
        return src.at(clamped(truncated(x + 0.5f), 0, src.lastX), clamped(truncated(y + 0.5f), 0, src.lastY));
    }
    static bool takesEights(const Bounds &) { return true; }
    template <class Sample>
    static void eightAt(const SampledPlane<Sample> &src, const Bounds &, Float8 x, Float8 y, Sample *to) {
        const Float8 half = broadcast<8>(0.5f);
        copyEight(src, clamped(truncated(x + half), 0, src.lastX), clamped(truncated(y + half), 0, src.lastY), to);
    }
};

// The pair of samples ends at `last` at most, where the fraction is 1.
int32_t pairAt(float position, int32_t last) {
    const int32_t i = truncated(position);
    return i >= 0 && i < last ? i : last - 1;
}
Int8 pairAt(Float8 position, int32_t last) { return clamped(truncated(position), 0, last - 1); }

template <class Sample>
void eightLinear(const SampledPlane<Sample> &src, int32_t lastX, int32_t lastY, Float8 x, Float8 y, Sample *to) {
    const Int8 ix = pairAt(x, lastX), iy = pairAt(y, lastY);
    storeConverted(to, bilinear(quadAt<Float8>(src, ix, iy), x - toFloat(ix), y - toFloat(iy)));
}

struct Linear {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &bounds, float x, float y) {
        const int32_t ix = pairAt(x, bounds.xMax), iy = pairAt(y, bounds.yMax);
        const float fx = x - static_cast<float>(ix), fy = y - static_cast<float>(iy);
        if constexpr (sizeof(Sample) == 1)
            return static_cast<Sample>(bilinearFixedPoint(quadAt<int32_t>(src, ix, iy), fx, fy));
        else
            return converted<Sample>(bilinear(quadAt<float>(src, ix, iy), fx, fy));
    }
    // Else pairs begin at -1.
    static bool takesEights(const Bounds &bounds) { return bounds.xMax > 0 && bounds.yMax > 0; }
    template <class Sample>
    static void eightAt(const SampledPlane<Sample> &src, const Bounds &bounds, Float8 x, Float8 y, Sample *to) {
        if constexpr (sizeof(Sample) == 1) {
            const Int8 ix = pairAt(x, bounds.xMax), iy = pairAt(y, bounds.yMax);
            storeEight(to, bilinearFixedPoint(quadAt<Int8>(src, ix, iy), x - toFloat(ix), y - toFloat(iy)));
        } else {
            eightLinear(src, bounds.xMax, bounds.yMax, x, y, to);
        }
    }
};

struct LagrangeCubic : BySingles {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &, float x, float y) {
        if constexpr (sizeof(Sample) == 1)
            return lagrangeFixedPoint(src, x, y);
        else
            return converted<Sample>(lagrange(src, x, y));
    }
};

struct CatmullRomCubic : BySingles {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &, float x, float y) {
        return catmullRom(src, x, y);
    }
};

struct Lanczos : BySingles {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &, float x, float y) {
        return lanczos(src, x, y);
    }
};

// With smooth edges nothing is in fixed point, and pairs end at the plane's last sample.
struct SmoothLinear {
    template <class Sample> static Sample at(const SampledPlane<Sample> &src, const Bounds &, float x, float y) {
        const int32_t ix = pairAt(x, src.lastX), iy = pairAt(y, src.lastY);
        return converted<Sample>(bilinear(quadAt<float>(src, ix, iy), x - static_cast<float>(ix), y - static_cast<float>(iy)));
    }
    static bool takesEights(const Bounds &) { return true; }
    template <class Sample>
    static void eightAt(const SampledPlane<Sample> &src, const Bounds &, Float8 x, Float8 y, Sample *to) {
        eightLinear(src, src.lastX, src.lastY, x, y, to);
    }
};
struct SmoothLagrangeCubic : BySingles {
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
    const bool takesEights = Mode::takesEights(bounds);
    for (int32_t row = 0; row < dst.size.height; ++row) {
        const float *xMap = planeRow(dst.xMap, dst.xMapRowStep, row), *yMap = planeRow(dst.yMap, dst.yMapRowStep, row);
        Sample *to = planeRow(dst.plane, dst.rowStep, row);
        const auto remapSample = [&](int32_t column) {
            const float x = loadSample(xMap, column), y = loadSample(yMap, column);
            if (isWithin(x, bounds.xMin, bounds.xMax) && isWithin(y, bounds.yMin, bounds.yMax)) {
                storeSample(to, column, Mode::at(src, bounds, x, y));
            } else if constexpr (smooth) {
                if (isWithin(x, bounds.xMin - 1, bounds.xMax + 1) && isWithin(y, bounds.yMin - 1, bounds.yMax + 1))
                    storeSample(to, column, faded(src, bounds, x, y, loadSample(to, column)));
            }
        };
        int32_t column = 0;
        for (; takesEights && dst.size.width - column >= 8; column += 8) {
            const Float8 x = load<8>(xMap + column), y = load<8>(yMap + column);
            if (areWithin(x, bounds.xMin, bounds.xMax) && areWithin(y, bounds.yMin, bounds.yMax))
                Mode::eightAt(src, bounds, x, y, to + column);
            else
                for (int32_t lane = 0; lane < 8; ++lane) remapSample(column + lane);
        }
        for (; column < dst.size.width; ++column) remapSample(column);
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
