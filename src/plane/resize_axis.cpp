// The cubic kernels, in the order of their Horner schemes.

#include "plane/resize_axis.h"

namespace zypr {
namespace {

double lagrange(double u) {
    if (u < 1.0) return fused(u, fused(u, fused(0.5, u, -1.0), -0.5), 1.0);
    return fused(u, fused(u, fused(-1.0 / 6.0, u, 1.0), -11.0 / 6.0), 1.0);
}

double bSpline(double u) {
    if (u < 1.0) return fused(u * u, fused(0.5, u, -1.0), 2.0 / 3.0);
    return fusedDifference(u, fused(u, fused(-1.0 / 6.0, u, 1.0), -1.0), u - 4.0 / 3.0);
}

double catmullRom(double u) {
    if (u < 1.0) return fused(u * u, fused(1.5, u, -2.5), 1.0);
    return fused(u, fused(u, fused(-0.5, u, 2.5), -4.0), 2.0);
}

double twoParameter(double u) { // B = 1/2, C = 3/10
    if (u < 1.0) return fused(u * u, fused(0.95, u, -1.7), 5.0 / 6.0);
    return fused(u, fused(u, fused(-23.0 / 60.0, u, 2.0), -3.4), 28.0 / 15.0);
}

} // namespace

CubicWeights cubicWeights(ZyprInterpolation mode, float fraction) {
    const float distances[4] = {-1.0f - fraction, fraction, 1.0f - fraction, 2.0f - fraction};
    CubicWeights weights;
    for (int k = 0; k < 4; ++k) {
        const double u = __builtin_fabsf(distances[k]);
        double value = 0.0;
        if (!(u >= 2.0)) {
            switch (mode) {
            case zyprInterCubicLagrange: value = lagrange(u); break;
            case zyprInterCubicBSpline: value = bSpline(u); break;
            case zyprInterCubicCatmullRom: value = catmullRom(u); break;
            default: value = twoParameter(u); break;
            }
        }
        weights.w[k] = static_cast<float>(value);
    }
    return weights;
}

} // namespace zypr
