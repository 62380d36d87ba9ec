// Scalar models of the shading arithmetic: one element at a time, one rounding a line. Nothing here is shared with the kernels.
#pragma once

#include <immintrin.h>

#include <bit>
#include <cmath>
#include <cstdint>

namespace zypr::test::model {

inline uint32_t word(float a) { return std::bit_cast<uint32_t>(a); }
inline float number(uint32_t a) { return std::bit_cast<float>(a); }
inline float bitMasked(float a, int32_t maskWord) { return number(word(a) & ~static_cast<uint32_t>(maskWord)); }

// ---- How an element of a call is handled --------------------------------------------------------------------------------

enum class Way { aligned, vector, single };

// On the general path, for the element i of `count`, from the address that the function keys on.
inline Way generalWay(int32_t i, int32_t count, uintptr_t key) {
    if (count < 16) return Way::single;
    const auto a = static_cast<int32_t>(key % 32);
    if (a % 4 != 0) return Way::single;
    const int32_t peel = a == 0 ? 0 : (32 - a) / 4;
    if (count < peel + 16) return Way::single;
    if (i < peel) return Way::single;
    const int32_t bodyEnd = count - ((count - peel) & 15);
    if (i < bodyEnd) return Way::vector;
    const int32_t remaining = count - bodyEnd;
    if (remaining >= 8 && i < bodyEnd + 8) return Way::vector;
    return Way::single;
}

// The whole group of eight that the element i is in has negative words only.
inline bool inDeadGroup(int32_t i, const int32_t *mask, int32_t count) {
    const int32_t first = i / 8 * 8;
    if (first + 8 > count) return false;
    for (int32_t k = first; k < first + 8; ++k) {
        if (mask[k] >= 0) return false;
    }
    return true;
}

// ---- Sign mask ----------------------------------------------------------------------------------------------------------

inline void multiply(const float *factor, const int32_t *mask, float *values, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const float product = values[i] * factor[i];
        values[i] = product * (mask[i] < 0 ? 0.0f : 1.0f);
    }
}

// `aligned` says that the aligned path's conditions hold; `key` is the address of the weights.
inline void accumulate(const float *scale, const float *weight, const float *const factor[3], const int32_t *mask,
                       float *const accumulator[3], int32_t count, bool aligned, uintptr_t key) {
    for (int c = 0; c < 3; ++c) {
        for (int32_t i = 0; i < count; ++i) {
            const bool selected = mask[i] >= 0;
            float &sum = accumulator[c][i];
            const Way way = aligned ? Way::aligned : generalWay(i, count, key);
            if (way == Way::vector) {
                float term = scale[c] * factor[c][i];
                term = term * weight[i];
                if (!selected) term = 0.0f;
                sum = term + sum;
            } else if (selected && way == Way::aligned) {
                const float term = factor[c][i] * weight[i];
                sum = std::fma(term, scale[c], sum);
            } else if (selected) {
                const float term = scale[c] * factor[c][i];
                sum = std::fma(term, weight[i], sum);
            }
        }
    }
}

// `key` is the address of the results.
inline void attenuate(const float *point, const float *const positions[3], const int32_t *mask, float *result, int32_t count,
                      bool aligned, uintptr_t key) {
    for (int32_t i = 0; i < count; ++i) {
        if (mask[i] < 0) {
            result[i] = 1.0f;
            continue;
        }
        const float dx = positions[0][i] - point[0];
        const float dy = positions[1][i] - point[1];
        const float dz = positions[2][i] - point[2];
        float s = dy * dy;
        s = std::fma(dx, dx, s);
        s = std::fma(dz, dz, s);
        const Way way = aligned ? Way::aligned : generalWay(i, count, key);
        if (s < 1.0f || (way == Way::aligned && std::isnan(s))) {
            result[i] = 1.0f;
        } else if (way == Way::vector) {
            float r = _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(s)));
            if (std::fabs(s) < 0x1p-126f) r = 0.0f;
            const float a = s * r;
            const float b = a * r;
            const float lessThree = b - 3.0f;
            const float product = a * lessThree;
            result[i] = product * -0.5f;
        } else {
            result[i] = std::sqrt(s);
        }
    }
}

inline void turn(const float *const reference[3], const int32_t *mask, float *const normals[3], float *result, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        if (mask[i] < 0) {
            result[i] = 0.0f;
            continue;
        }
        float d = normals[1][i] * reference[1][i];
        d = std::fma(normals[0][i], reference[0][i], d);
        d = std::fma(normals[2][i], reference[2][i], d);
        if (d > 0.0f) {
            for (int c = 0; c < 3; ++c) normals[c][i] = -normals[c][i];
            result[i] = -d;
        } else {
            result[i] = d;
        }
    }
}

// ---- Bit mask; counts that aren't negative ------------------------------------------------------------------------------

inline void multiplyPlanes(const float *factor, const int32_t *mask, float *const values[3], int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const bool dead = inDeadGroup(i, mask, count);
        for (int c = 0; c < 3; ++c) {
            const float product = factor[i] * values[c][i];
            values[c][i] = dead ? 0.0f : bitMasked(product, mask[i]);
        }
    }
}

inline void dot(const float *const left[3], const float *const right[3], const int32_t *mask, float *result, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        float s = left[1][i] * right[1][i];
        s = std::fma(left[0][i], right[0][i], s);
        s = std::fma(left[2][i], right[2][i], s);
        result[i] = inDeadGroup(i, mask, count) ? 0.0f : bitMasked(s, mask[i]);
    }
}

// Returns the status.
inline int32_t divide(const float *divisors, const int32_t *mask, float *values, int32_t count) {
    bool warned = false;
    const int32_t sixteens = count / 16 * 16;
    const int32_t eightEnd = (count & 8) != 0 ? sixteens + 8 : sixteens;
    const auto allNegativeFrom = [mask](int32_t first) {
        for (int32_t k = first; k < first + 8; ++k) {
            if (mask[k] >= 0) return false;
        }
        return true;
    };
    const bool deadEight = eightEnd > sixteens && allNegativeFrom(sixteens);
    for (int32_t i = 0; i < count; ++i) {
        if (deadEight && i >= sixteens && i < eightEnd) {
            values[i] = 0.0f;
            continue;
        }
        const float n = values[i];
        const float d = divisors[i];
        const bool zero = d == 0.0f;
        const float safe = zero ? 1.0f : d;
        const float r = _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(safe)));
        const float q0 = r * n;
        const float e = std::fma(-safe, r, 1.0f);
        const float q1 = std::fma(q0, e, q0);
        const float q = std::fma(q1, e, q0);
        uint32_t quotient = word(q);
        if (zero && word(d) == 0) {
            warned = true;
            quotient = std::isnan(n) || n == 0.0f ? 0x7FBFFFFFu : (word(n) & 0x80000000u) | 0x7F800000u;
        } else if (zero) {
            quotient = i < sixteens ? 0x00000000u : 0x80000000u;
        }
        values[i] = number(quotient & ~static_cast<uint32_t>(mask[i]));
    }
    return warned ? 1 : 0;
}

} // namespace zypr::test::model
