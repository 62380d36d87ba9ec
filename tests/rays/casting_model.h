// What the casting functions do to one ray, one rounding per line.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>

namespace zypr::test::model {

using Vector = std::array<float, 3>;

struct EyeGrid {
    Vector planeBase, columnStep, rowStep;
    int32_t blockX, blockY, blockWidth, blockHeight;
};

// Calls write(row, column, direction) for every ray of a width x height bundle.
template <class Write> void castEye(const EyeGrid &grid, int32_t width, int32_t height, const Write &write) {
    const uint32_t productX = static_cast<uint32_t>(grid.blockX) * static_cast<uint32_t>(grid.blockWidth);
    const uint32_t productY = static_cast<uint32_t>(grid.blockY) * static_cast<uint32_t>(grid.blockHeight);
    const float x = static_cast<float>(static_cast<int32_t>(productX));
    const float y = static_cast<float>(static_cast<int32_t>(productY));
    Vector rowStart;
    for (int a = 0; a < 3; ++a) {
        const float inRows = std::fma(y, grid.rowStep[a], grid.planeBase[a]);
        rowStart[a] = std::fma(x, grid.columnStep[a], inRows);
    }
    for (int32_t row = 0; row < height; ++row) {
        for (int32_t column = 0; column < width; ++column) {
            Vector direction;
            for (int a = 0; a < 3; ++a) direction[a] = std::fma(static_cast<float>(column), grid.columnStep[a], rowStart[a]);
            write(row, column, direction);
        }
        for (int a = 0; a < 3; ++a) rowStart[a] = rowStart[a] + grid.rowStep[a];
    }
}

inline Vector reflected(const Vector &i, const Vector &n, int32_t word, int32_t count) {
    if (word < 0) return {0.0f, 0.0f, 0.0f};
    float dot;
    if (count % 4 == 0) {
        dot = i[1] * n[1];
        dot = std::fma(i[0], n[0], dot);
        dot = std::fma(i[2], n[2], dot);
    } else {
        dot = i[2] * n[2];
        dot = std::fma(i[1], n[1], dot);
        dot = std::fma(i[0], n[0], dot);
    }
    const float s = dot + dot;
    return {std::fma(-s, n[0], i[0]), std::fma(-s, n[1], i[1]), std::fma(-s, n[2], i[2])};
}

struct Shadow {
    Vector direction;
    float lightDot;
    int32_t word;
};

inline int32_t throughFloat(int32_t word) {
    const float value = static_cast<float>(word);
    return value >= 2147483648.0f ? INT32_MIN : static_cast<int32_t>(value);
}

inline Shadow shadow(const Vector &light, float facing, const Vector &n, const Vector &point, int32_t word,
                     bool inBlockOfEight) {
    const Vector d = {point[0] - light[0], point[1] - light[1], point[2] - light[2]};
    float dot = d[1] * n[1];
    dot = std::fma(d[0], n[0], dot);
    dot = std::fma(d[2], n[2], dot);
    const float side = facing * dot;
    const bool lit = word >= 0 && std::fabs(dot) >= 0.0017453292f && side > 0.0f;
    if (lit) return {d, std::fabs(dot), inBlockOfEight ? throughFloat(word) : word};
    const bool keepsWord = word < 0 && !inBlockOfEight;
    return {{0.0f, 0.0f, 0.0f}, 0.0f, keepsWord ? word : -1};
}

} // namespace zypr::test::model
