// Scalar models of the spherical harmonics: tables, recurrence, the rule that both evaluators compute, and the transforms.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

#include "support/bits.h"

namespace zypr::test::harmonics {

inline int functionCount(int order) { return (order + 1) * (order + 1); }

struct Tables {
    std::vector<float> a, b;
};

inline Tables tables(int order) {
    const int entries = (order + 1) * (order + 2) / 2;
    Tables result{std::vector<float>(static_cast<size_t>(entries) + 2), std::vector<float>(static_cast<size_t>(entries) + 2)};
    result.a[0] = fromBits(0x3E906EBB);
    result.a[1] = fromBits(0x3EFA2A1D);
    result.a[2] = fromBits(0xBEFA2A1D);
    for (int l = 2; l <= order; ++l) {
        float *a = &result.a[static_cast<size_t>(l * (l + 1) / 2)];
        float *b = &result.b[static_cast<size_t>(l * (l + 1) / 2)];
        a[0] = static_cast<float>(std::sqrt(static_cast<double>(4 * l * l - 1)) / l);
        const double ratio = static_cast<double>(l - 1) / l;
        b[0] = static_cast<float>(-ratio * std::sqrt(static_cast<double>(2 * l + 1) / (2 * l - 3)));
        for (int m = 1; m <= l - 1; ++m) {
            const float quotientA = static_cast<float>(4 * l * l - 1) / static_cast<float>(l * l - m * m);
            a[m] = std::sqrt(quotientA);
            const float numerator = static_cast<float>((2 * l + 1) * ((l - 1) * (l - 1) - m * m));
            const float denominator = static_cast<float>((2 * l - 3) * (l * l - m * m));
            const float quotientB = numerator / denominator;
            b[m] = static_cast<float>(-std::sqrt(static_cast<double>(quotientB)));
        }
        a[l] = static_cast<float>(-std::sqrt(static_cast<double>(2 * l + 1) / (2 * l)));
    }
    return result;
}

// One point's block by the recurrence.
inline void recurrence(float x, float y, float z, int order, const float *tableA, const float *tableB, float *block) {
    block[0] = tableA[0];
    if (order == 0) return;
    block[1] = y * tableA[2];
    block[2] = z * tableA[1];
    block[3] = x * tableA[2];
    for (int l = 2; l <= order; ++l) {
        const float *a = tableA + l * (l + 1) / 2;
        const float *b = tableB + l * (l + 1) / 2;
        float *c = block + l * l;
        const float *p = block + (l - 1) * (l - 1);
        const float *q = block + (l - 2) * (l - 2);
        const float yBottom = y * p[0];
        const float difference = std::fma(x, p[2 * l - 2], -yBottom);
        c[2 * l] = difference * a[l];
        const float xBottom = x * p[0];
        const float sum = std::fma(y, p[2 * l - 2], xBottom);
        c[0] = sum * a[l];
        const float beside = z * a[l - 1];
        c[2 * l - 1] = beside * p[2 * l - 2];
        c[1] = beside * p[0];
        const float za = z * a[0];
        const float bq = b[0] * q[l - 2];
        c[l] = std::fma(za, p[l - 1], bq);
        for (int m = 1; m <= l - 2; ++m) {
            const float zam = z * a[m];
            const float right = b[m] * q[l - 2 + m];
            c[l + m] = std::fma(zam, p[l - 1 + m], right);
            const float left = b[m] * q[l - 2 - m];
            c[l - m] = std::fma(zam, p[l - 1 - m], left);
        }
    }
}

inline std::vector<float> recurrence(float x, float y, float z, int order, const Tables &tables) {
    std::vector<float> block(static_cast<size_t>(functionCount(order)));
    recurrence(x, y, z, order, tables.a.data(), tables.b.data(), block.data());
    return block;
}

// ---- The rule, in extended precision ------------------------------------------------------------------------------------

// A point with its squares apart, so that the rule can be asked for exact squares and for squares rounded to single precision.
struct RulePoint {
    long double x, y, z, xx, yy, zz;
};

inline RulePoint withExactSquares(float x, float y, float z) {
    const long double lx = x, ly = y, lz = z;
    return {lx, ly, lz, lx * lx, ly * ly, lz * lz};
}
inline RulePoint withRoundedSquares(float x, float y, float z) { return {x, y, z, x * x, y * y, z * z}; }

inline long double squareFreePower(long double base, long double square, int exponent) {
    long double power = exponent % 2 == 0 ? 1 : base;
    for (int i = 0; i < exponent / 2; ++i) power *= square;
    return power;
}

// The k-th derivative of the Legendre polynomial of degree l, by the recurrence over the degree that it shares with the
// associated functions: (l - k) D(l) = (2 l - 1) z D(l - 1) - (l + k - 1) D(l - 2). z stands out of the odd ones.
inline long double legendreDerivative(int l, int k, const RulePoint &p) {
    long double previous = 0, current = 1;
    for (int i = 1; i <= k; ++i) current *= 2 * i - 1;
    for (int i = k + 1; i <= l; ++i) {
        const long double square = (i - k) % 2 == 0 ? p.zz : 1;
        const long double next = ((2 * i - 1) * square * current - (i + k - 1) * previous) / (i - k);
        previous = current;
        current = next;
    }
    return (l - k) % 2 == 0 ? current : current * p.z;
}

// The real (m >= 0) or imaginary part of (x + i y)^|m|, by the binomial theorem.
inline long double azimuth(int m, const RulePoint &p) {
    const int k = std::abs(m);
    long double sum = 0, binomial = 1;
    for (int j = 0; j <= k; ++j) {
        if ((j % 2 == 1) == (m < 0)) {
            const long double sign = j / 2 % 2 == 0 ? 1 : -1;
            sum += sign * binomial * squareFreePower(p.x, p.xx, k - j) * squareFreePower(p.y, p.yy, j);
        }
        binomial = binomial * (k - j) / (j + 1);
    }
    return sum;
}

inline long double rule(int l, int m, const RulePoint &p) {
    const int k = std::abs(m);
    long double factorials = 1; // (l - k)! / (l + k)!
    for (int i = l - k + 1; i <= l + k; ++i) factorials /= i;
    const long double normalization = std::sqrt((2 * l + 1) / (4 * std::numbers::pi_v<long double>)*factorials);
    const long double s = m == 0 ? 1 : std::numbers::sqrt2_v<long double>;
    const long double phase = k % 2 == 0 ? 1 : -1;
    return phase * s * normalization * legendreDerivative(l, k, p) * azimuth(m, p);
}

// ---- Transforms ---------------------------------------------------------------------------------------------------------

// One point's contribution to one coefficient vector.
inline void addScaled(const float *basis, float value, int functions, float *coefficients) {
    for (int k = 0; k < functions; ++k) {
        float scaled = basis[k] * value;
        if (value == 1.0f) scaled = basis[k];
        if (value == 0.0f) scaled = 0.0f;
        coefficients[k] = coefficients[k] + scaled;
    }
}

// The sum of L products in the order that depends on `misalignment`, the vector's address modulo 32.
inline float dotProduct(const float *basis, const float *vector, int functions, unsigned misalignment) {
    const auto product = [&](int k) { return basis[k] * vector[k]; };
    float sum = 0;
    int k = 0;
    const int peeled = misalignment == 0 ? 0 : static_cast<int>(32 - misalignment) / 4;
    if (functions >= 16 && misalignment % 4 == 0 && functions >= peeled + 16) {
        for (; k < peeled; ++k) sum = sum + product(k);
        float accumulator[4][4] = {};
        accumulator[0][0] = sum;
        for (; functions - k >= 16; k += 16) {
            for (int j = 0; j < 4; ++j) {
                for (int lane = 0; lane < 4; ++lane) accumulator[j][lane] = accumulator[j][lane] + product(k + 4 * j + lane);
            }
        }
        float lanes[4];
        for (int lane = 0; lane < 4; ++lane) {
            const float even = accumulator[0][lane] + accumulator[2][lane];
            const float odd = accumulator[1][lane] + accumulator[3][lane];
            lanes[lane] = even + odd;
        }
        float first = lanes[0] + lanes[2], second = lanes[1] + lanes[3];
        sum = first + second;
        if (functions - k >= 8) {
            float low[4] = {sum, 0, 0, 0}, high[4] = {0, 0, 0, 0};
            for (int lane = 0; lane < 4; ++lane) {
                low[lane] = low[lane] + product(k + lane);
                high[lane] = high[lane] + product(k + 4 + lane);
                lanes[lane] = low[lane] + high[lane];
            }
            first = lanes[0] + lanes[2];
            second = lanes[1] + lanes[3];
            sum = first + second;
            k += 8;
        }
    }
    for (; k < functions; ++k) sum = sum + product(k);
    return sum;
}

} // namespace zypr::test::harmonics
