// Scalar models of the scene's records: the box of a point array and the record of a triangle.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "support/bits.h"

namespace zypr::test::model {

inline std::array<float, 6> boxOf(const std::vector<float> &points) {
    float lo[3] = {3.4028235e38f, 3.4028235e38f, 3.4028235e38f}, hi[3] = {-3.4028235e38f, -3.4028235e38f, -3.4028235e38f};
    for (size_t i = 0; i < points.size(); ++i) {
        lo[i % 3] = points[i] < lo[i % 3] ? points[i] : lo[i % 3];
        hi[i % 3] = points[i] > hi[i % 3] ? points[i] : hi[i % 3];
    }
    float scale = 1.1754944e-38f;
    for (int a = 0; a < 3; ++a) scale = std::max({scale, std::fabs(lo[a]), std::fabs(hi[a])});
    const float m = 9.9999997e-05f * scale;
    return {lo[0] - m, lo[1] - m, lo[2] - m, hi[0] + m, hi[1] + m, hi[2] + m};
}

using Words = std::array<uint32_t, 10>;

// The ten words of ZyprTriangleAccel.
inline Words accelOf(const float *p0, const float *p1, const float *p2) {
    double a[3], b[3], n[3];
    for (int i = 0; i < 3; ++i) {
        a[i] = static_cast<double>(p0[i]) - static_cast<double>(p2[i]);
        b[i] = static_cast<double>(p1[i]) - static_cast<double>(p2[i]);
    }
    const double r0 = a[2] * b[1], r1 = b[2] * a[0], r2 = a[1] * b[0];
    n[0] = std::fma(b[2], a[1], -r0);
    n[1] = std::fma(b[0], a[2], -r1);
    n[2] = std::fma(a[0], b[1], -r2);
    int c = 0;
    double larger = std::fabs(n[0]);
    if (std::fabs(n[1]) > larger) {
        c = 1;
        larger = std::fabs(n[1]);
    }
    if (std::fabs(n[2]) > larger) c = 2;
    const int p = c == 0 ? 1 : 0, q = c == 2 ? 1 : 2;
    Words words{};
    if (n[c] == 0.0) return words;
    const double r = 1.0 / n[c];
    const double s = r * (c == 1 ? -1.0 : 1.0);
    words[0] = static_cast<uint32_t>(16 * c + 4 * p + q);
    const double epsilon = 2.220446049250313e-16;
    if (std::fabs(n[q]) < epsilon && std::fabs(n[p]) < epsilon) {
        words[0] |= 0x80000000u;
    } else {
        words[1] = bits(static_cast<float>(r * n[p]));
        words[3] = bits(static_cast<float>(r * n[q]));
    }
    words[2] = bits(p2[c]);
    words[4] = bits(p2[p]);
    words[5] = bits(p2[q]);
    words[6] = bits(static_cast<float>(s * b[p]));
    words[7] = bits(static_cast<float>(s * b[q]));
    words[8] = bits(static_cast<float>(s * a[p]));
    words[9] = bits(static_cast<float>(s * a[q]));
    return words;
}

} // namespace zypr::test::model
