// The scalar model of remap and warp: what one voxel is, from its definition. Sums whose order is open are formed in double,
// with the distance that a float sum may keep from them.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include "support/bits.h"
#include "support/guarded_array.h"
#include "support/random.h"
#include "zypr.h"

namespace zypr::test {

// A volume whose planes each end at an inaccessible page, right behind the last voxel of the last row.
template <class Sample> class PlaneArray {
public:
    PlaneArray(ZyprVolumeExtent extent, int32_t gap = 0) : extent_(extent), rowStep_(extent.width + gap) {
        for (int32_t z = 0; z < extent.depth; ++z) {
            planes_.emplace_back(static_cast<size_t>(rowStep_ * (extent.height - 1) + extent.width));
            pointers_.push_back(planes_.back().data());
        }
    }
    const ZyprVolumeExtent &extent() const { return extent_; }
    int32_t rowStep() const { return rowStep_ * static_cast<int32_t>(sizeof(Sample)); }
    Sample *const *pointers() const { return pointers_.data(); }
    const Sample *const *constPointers() const { return pointers_.data(); }
    std::vector<Sample *> &entries() { return pointers_; }
    GuardedArray<Sample> &plane(int32_t z) { return planes_[static_cast<size_t>(z)]; }
    Sample &at(int32_t x, int32_t y, int32_t z) {
        return planes_[static_cast<size_t>(z)][static_cast<size_t>(y * rowStep_ + x)];
    }
    Sample at(int32_t x, int32_t y, int32_t z) const {
        return planes_[static_cast<size_t>(z)][static_cast<size_t>(y * rowStep_ + x)];
    }
    template <class Value> void fill(const Value &value) {
        for (int32_t z = 0; z < extent_.depth; ++z)
            for (int32_t y = 0; y < extent_.height; ++y)
                for (int32_t x = 0; x < extent_.width; ++x) at(x, y, z) = static_cast<Sample>(value(x, y, z));
    }
    std::vector<Sample> values() const {
        std::vector<Sample> all;
        for (const auto &plane : planes_) all.insert(all.end(), plane.begin(), plane.end());
        return all;
    }
    bool surroundingsIntact() const {
        return std::all_of(planes_.begin(), planes_.end(), [](const auto &plane) { return plane.surroundingsIntact(); });
    }

private:
    ZyprVolumeExtent extent_;
    int32_t rowStep_; // in samples
    std::vector<GuardedArray<Sample>> planes_;
    std::vector<Sample *> pointers_;
};

template <class Sample> Sample randomSample(Random &random) {
    if constexpr (std::is_same_v<Sample, float>)
        return random.real(-300.0f, 300.0f);
    else
        return static_cast<Sample>(random.chance(0.3f) ? (random.chance(0.5f) ? 0 : -1) : static_cast<int32_t>(random.word()));
}

template <class Sample> PlaneArray<Sample> randomVolume(Random &random, ZyprVolumeExtent extent, int32_t gap = 0) {
    PlaneArray<Sample> volume(extent, gap);
    for (int32_t z = 0; z < extent.depth; ++z)
        for (Sample &sample : volume.plane(z)) sample = randomSample<Sample>(random);
    return volume;
}

// ---- Weights of the cubic kernels ---------------------------------------------------------------------------------------

inline double cubicKernel(ZyprInterpolation mode, double d) {
    const auto sixtieths = [d](double c3, double c2, double c1, double c0) { return (((c3 * d + c2) * d + c1) * d + c0) / 60; };
    const bool inner = d < 1;
    if (d >= 2) return 0;
    switch (mode) {
    case 4: return inner ? sixtieths(30, -60, -30, 60) : sixtieths(-10, 60, -110, 60);
    case 5: return inner ? sixtieths(30, -60, 0, 40) : sixtieths(-10, 60, -120, 80);
    case 6: return inner ? sixtieths(90, -150, 0, 60) : sixtieths(-30, 150, -240, 120);
    default: return inner ? sixtieths(57, -102, 0, 50) : sixtieths(-23, 120, -204, 112);
    }
}

// Read from the table of hundredths, one rounding at a time.
inline float cubicTableWeight(ZyprInterpolation mode, float distance) {
    const float d = distance < 2.0f ? distance : 2.0f;
    const float hundredths = 100.0f * d;
    const int k = static_cast<int>(hundredths);
    const auto entry = [mode](int j) { return static_cast<float>(cubicKernel(mode, j / 100.0)); };
    const float rise = entry(k + 1) - entry(k);
    const float rest = hundredths - static_cast<float>(k);
    const float part = rest * rise;
    return entry(k) + part;
}

// ---- One voxel ----------------------------------------------------------------------------------------------------------

// The result lies between the conversions of value - tolerance and value + tolerance.
enum class Ending { Copied, Nearest, Edge, WholeEdge };
struct Expected {
    double value;
    double tolerance;
    Ending ending;
};

template <class Sample> double ended(double value, Ending ending) {
    if constexpr (std::is_same_v<Sample, float>) {
        return ending == Ending::WholeEdge ? std::trunc(value) : value;
    } else {
        if (ending == Ending::Edge || ending == Ending::WholeEdge)
            value = std::trunc(value + 0.5000001);
        else
            value = std::nearbyint(value);
        return std::clamp<double>(value, 0, std::numeric_limits<Sample>::max());
    }
}

template <class Sample> bool agrees(Sample actual, const Expected &expected) {
    const auto value = static_cast<double>(actual);
    if (expected.ending == Ending::Copied) return value == expected.value;
    return value >= ended<Sample>(expected.value - expected.tolerance, expected.ending) &&
           value <= ended<Sample>(expected.value + expected.tolerance, expected.ending);
}

inline ZyprInterpolation modelMode(ZyprInterpolation mode, const ZyprVolumeExtent &e) {
    if (mode >= 4 && (e.width < 4 || e.height < 4 || e.depth < 4)) mode = 2;
    if (e.width < 2 || e.height < 2 || e.depth < 2) mode = 1;
    return mode;
}

// `region` must be clipped and `mode` lowered. Position is float for a remap, double for a warp. Nothing: the voxel is skipped.
template <class Sample, class Position>
std::optional<Expected> modelVoxel(const PlaneArray<Sample> &src, const ZyprVoxelCuboid &region, ZyprInterpolation mode,
                                   Position x, Position y, Position z) {
    const int32_t low[3] = {region.x, region.y, region.z};
    const int32_t high[3] = {region.x + region.width - 1, region.y + region.height - 1, region.z + region.depth - 1};
    const Position position[3] = {x, y, z};
    for (int axis = 0; axis < 3; ++axis) {
        if (position[axis] < static_cast<Position>(low[axis]) || position[axis] > static_cast<Position>(high[axis])) return {};
    }
    if (mode == 1) {
        const auto index = [&](int axis) { return static_cast<int32_t>(std::nearbyint(position[axis])); };
        return Expected{static_cast<double>(src.at(index(0), index(1), index(2))), 0, Ending::Copied};
    }
    const int taps = mode == 2 ? 2 : 4;
    int32_t index[3][4];
    float weight[3][4];
    bool edge = false;
    for (int axis = 0; axis < 3; ++axis) {
        int32_t i = static_cast<int32_t>(position[axis]);
        const int32_t u = high[axis];
        if (mode == 2) {
            if (i == u) --i;
            const float f = static_cast<float>(position[axis]) - static_cast<float>(i);
            index[axis][0] = i, index[axis][1] = i + 1;
            weight[axis][0] = 1.0f - f, weight[axis][1] = f;
            continue;
        }
        const float f = static_cast<float>(position[axis]) - static_cast<float>(i);
        const int32_t bottom[4] = {0, 0, 1, 2}, last[4] = {i - 1, i, i + 1, i + 1}, inner[4] = {i - 1, i, i + 1, i + 2},
                      top[4] = {i - 1, i, i, i};
        const int32_t *chosen = i < 1 ? bottom : i == u - 1 ? last : i < u ? inner : top;
        edge = edge || chosen != inner;
        std::copy(chosen, chosen + 4, index[axis]);
        const float distance[4] = {std::fabs(f + 1.0f), std::fabs(f), std::fabs(1.0f - f), std::fabs(2.0f - f)};
        for (int k = 0; k < 4; ++k) weight[axis][k] = cubicTableWeight(mode, distance[k]);
    }
    double sum = 0, magnitudes = 0;
    for (int c = 0; c < taps; ++c) {
        for (int b = 0; b < taps; ++b) {
            for (int a = 0; a < taps; ++a) {
                if (index[0][a] < 0 || index[1][b] < 0 || index[2][c] < 0) continue; // weight 0, outside the memory
                const double product = static_cast<double>(weight[0][a]) * weight[1][b] * weight[2][c] *
                                       static_cast<double>(src.at(index[0][a], index[1][b], index[2][c]));
                sum += product;
                magnitudes += std::fabs(product);
            }
        }
    }
    // Entries of the table may differ by one rounding where the kernel is evaluated in another way.
    const double tolerance = magnitudes * 16 * static_cast<double>(std::numeric_limits<float>::epsilon());
    const bool whole = std::is_same_v<Sample, float> && std::is_same_v<Position, float>;
    return Expected{sum, tolerance,
                    !edge                           ? Ending::Nearest
                    : whole                         ? Ending::WholeEdge
                    : std::is_same_v<Sample, float> ? Ending::Nearest
                                                    : Ending::Edge};
}

inline ZyprVoxelCuboid modelTrimmed(ZyprVoxelCuboid c, const ZyprVolumeExtent &e) {
    c.width = std::min(c.width, e.width - c.x);
    c.height = std::min(c.height, e.height - c.y);
    c.depth = std::min(c.depth, e.depth - c.z);
    return c;
}

inline bool sameCuboid(const ZyprVoxelCuboid &a, const ZyprVoxelCuboid &b) {
    return a.x == b.x && a.y == b.y && a.z == b.z && a.width == b.width && a.height == b.height && a.depth == b.depth;
}

constexpr ZyprInterpolation allModes[] = {1, 2, 4, 5, 6, 7};

} // namespace zypr::test
