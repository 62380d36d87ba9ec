// What the hit geometry functions do to one ray or triangle, one rounding per line.
#pragma once

#include <immintrin.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

namespace zypr::test::model {

using Vector = std::array<float, 3>;

inline Vector plainHitPoint(const Vector &o, const Vector &d, float t, float eps) {
    Vector point;
    for (int a = 0; a < 3; ++a) {
        const float step = t * d[a];
        point[a] = std::fma(eps, step, o[a]);
    }
    return point;
}

inline Vector hitPoint(const Vector &o, const Vector &d, float t, float eps, int32_t word, bool inGroupOfNegatives) {
    Vector point = plainHitPoint(o, d, t, eps);
    if (inGroupOfNegatives) return point;
    for (float &value : point) value = std::bit_cast<float>(std::bit_cast<uint32_t>(value) & ~static_cast<uint32_t>(word));
    return point;
}

// Whether element i lies in a whole group of eight words that are all negative.
inline bool inGroupOfNegatives(const int32_t *words, int32_t count, int32_t i) {
    const int32_t first = i / 8 * 8;
    if (first + 8 > count) return false;
    for (int32_t k = first; k < first + 8; ++k)
        if (words[k] >= 0) return false;
    return true;
}

inline Vector triangleNormal(const float *p0, const float *p1, const float *p2) {
    double a[3], b[3];
    for (int k = 0; k < 3; ++k) {
        a[k] = static_cast<double>(p0[k]) - static_cast<double>(p2[k]);
        b[k] = static_cast<double>(p1[k]) - static_cast<double>(p2[k]);
    }
    const double rounded0 = a[2] * b[1], rounded1 = b[2] * a[0], rounded2 = a[1] * b[0];
    const double n[3] = {std::fma(b[2], a[1], -rounded0), std::fma(a[2], b[0], -rounded1), std::fma(b[1], a[0], -rounded2)};
    double l = n[1] * n[1];
    l = std::fma(n[0], n[0], l);
    l = std::fma(n[2], n[2], l);
    if (l < 2.220446049250313e-16) return {0.0f, 0.0f, 0.0f};
    const double length = std::sqrt(l);
    return {static_cast<float>(n[0] / length), static_cast<float>(n[1] / length), static_cast<float>(n[2] / length)};
}

inline Vector smoothNormal(const float *n0, const float *n1, const float *n2, float u, float v, bool byEstimate) {
    float w = 1.0f - u;
    w = w - v;
    Vector m;
    for (int a = 0; a < 3; ++a) {
        m[a] = u * n0[a];
        m[a] = std::fma(v, n1[a], m[a]);
        m[a] = std::fma(w, n2[a], m[a]);
    }
    float l = m[1] * m[1];
    l = std::fma(m[0], m[0], l);
    l = std::fma(m[2], m[2], l);
    if (!byEstimate) {
        if (l < 1.1920929e-7f) return {0.0f, 0.0f, 0.0f};
        const float length = std::sqrt(l);
        return {m[0] / length, m[1] / length, m[2] / length};
    }
    const float estimate = _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(l)));
    const float r = l > 1.1920929e-7f ? estimate : 0.0f;
    const float halved = -0.5f * r;
    float inner = r * r;
    inner = l * inner;
    inner = inner - 3.0f;
    const float factor = halved * inner;
    return {m[0] * factor, m[1] * factor, m[2] * factor};
}

} // namespace zypr::test::model
