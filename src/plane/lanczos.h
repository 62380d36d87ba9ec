// The Lanczos kernel of three lobes, L(d) = sinc(d) sinc(d / 3) below 3, sinc(u) = sin(pi u) / (pi u): from a table in float,
// and evaluated in double.
#pragma once

#include <cstdint>

#include "simd/vector.h"

namespace zypr::planes {

constexpr double pi = 3.14159265358979323846;

// sin(pi u), to the precision of double for small |u|; exactly 0 at integers.
constexpr double sineOfPiTimes(double u) {
    const int32_t whole = static_cast<int32_t>(u < 0 ? u - 0.5 : u + 0.5);
    const double x = pi * (u - whole), x2 = x * x;
    double sum = 1.0;
    for (int k = 22; k >= 2; k -= 2) sum = 1.0 - x2 / (k * (k + 1)) * sum;
    return (whole & 1) != 0 ? -x * sum : x * sum;
}
constexpr double sinc(double u) { return u == 0.0 ? 1.0 : sineOfPiTimes(u) / (pi * u); }

struct LanczosTable {
    static constexpr int32_t last = 300; // the entry of distance 3
    float value[last + 2];               // L(k / 100)
};
constexpr LanczosTable makeLanczosTable() {
    LanczosTable table{};
    for (int32_t k = 0; k <= LanczosTable::last; ++k) table.value[k] = static_cast<float>(sinc(k / 100.0) * sinc(k / 300.0));
    return table;
}
inline constexpr LanczosTable lanczosTable = makeLanczosTable();

// The weights of six taps, from two below the index to three above; each set is divided by its sum.
inline void lanczosWeights(float fraction, float (&w)[6]) {
    float sum = 0.0f;
    for (int k = 0; k < 6; ++k) {
        const float signedDistance = static_cast<float>(k - 2) - fraction;
        const float distance = minimum(signedDistance < 0 ? -signedDistance : signedDistance, 3.0f);
        const float hundredths = 100.0f * distance;
        const int32_t i = truncated(hundredths);
        const float *entry = lanczosTable.value + i;
        w[k] = entry[0] + (hundredths - static_cast<float>(i)) * (entry[1] - entry[0]);
        sum += w[k];
    }
    for (float &weight : w) weight /= sum;
}

inline void lanczosWeights(double fraction, double (&w)[6]) {
    const double third = refined(reciprocalEstimate(3.0f), 3.0f);
    double sum = 0.0;
    for (int k = 0; k < 6; ++k) {
        const double distance = k - 2 - fraction;
        w[k] = distance > -3.0 && distance < 3.0 ? sinc(distance) * sinc(distance * third) : 0.0;
        sum += w[k];
    }
    for (double &weight : w) weight /= sum;
}

} // namespace zypr::planes
