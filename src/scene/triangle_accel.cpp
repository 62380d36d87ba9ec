// The precomputed record of each triangle that the ray queries test against. All arithmetic is in double precision; each float
// stored is the rounding of one double.

#include <cmath>

#include "frame/fronts.h"
#include "simd/vector.h"

namespace zypr {
namespace {

struct AxisChoice {
    uint32_t dominant, first, second; // c, p, q
    double sign;                      // of a[p] b[q] - a[q] b[p] against n[c]
};

constexpr AxisChoice axisChoices[3] = {{0, 1, 2, 1.0}, {1, 0, 2, -1.0}, {2, 0, 1, 1.0}};
constexpr double smallestSlope = 2.220446049250313e-16;
constexpr uint32_t perpendicularFlag = 0x80000000u;

int dominantAxis(const double *n) {
    int axis = 0;
    if (std::fabs(n[1]) > std::fabs(n[0])) axis = 1;
    if (std::fabs(n[2]) > std::fabs(n[axis])) axis = 2;
    return axis;
}

ZyprTriangleAccel accelOf(const float *p0, const float *p1, const float *p2) {
    double a[3], b[3];
    for (int i = 0; i < 3; ++i) {
        a[i] = static_cast<double>(p0[i]) - static_cast<double>(p2[i]);
        b[i] = static_cast<double>(p1[i]) - static_cast<double>(p2[i]);
    }
    const double n[3] = {fusedDifference(b[2], a[1], a[2] * b[1]), fusedDifference(b[0], a[2], b[2] * a[0]),
                         fusedDifference(a[0], b[1], a[1] * b[0])};
    const AxisChoice &axes = axisChoices[dominantAxis(n)];
    const uint32_t c = axes.dominant, p = axes.first, q = axes.second;
    ZyprTriangleAccel accel{};
    if (n[c] == 0.0) return accel;

    const double r = 1.0 / n[c];
    const double s = r * axes.sign;
    accel.axes = 16 * c + 4 * p + q;
    if (std::fabs(n[q]) < smallestSlope && std::fabs(n[p]) < smallestSlope) {
        accel.axes |= perpendicularFlag;
    } else {
        accel.planeP = static_cast<float>(r * n[p]);
        accel.planeQ = static_cast<float>(r * n[q]);
    }
    accel.originC = p2[c];
    accel.originP = p2[p];
    accel.originQ = p2[q];
    accel.edgeBP = static_cast<float>(s * b[p]);
    accel.edgeBQ = static_cast<float>(s * b[q]);
    accel.edgeAP = static_cast<float>(s * a[p]);
    accel.edgeAQ = static_cast<float>(s * a[q]);
    return accel;
}

} // namespace
} // namespace zypr

zypStatus front_zyprTriangleAccelGetSize(int32_t *size) {
    if (size == nullptr) return zypStsNullPtrErr;
    *size = sizeof(ZyprTriangleAccel);
    return zypStsNoErr;
}

zypStatus front_zyprTriangleAccelInit(ZyprTriangleAccel *accel, const float *vertices, const int32_t *triangles,
                                      int32_t count) {
    for (int64_t i = 0; i < count; ++i) {
        const int32_t *corners = triangles + 4 * i;
        accel[i] =
            zypr::accelOf(vertices + 3 * static_cast<int64_t>(corners[0]), vertices + 3 * static_cast<int64_t>(corners[1]),
                          vertices + 3 * static_cast<int64_t>(corners[2]));
    }
    return zypStsNoErr;
}
