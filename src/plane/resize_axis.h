// Where the destination positions of one axis fall on the source, and the weights of the four cubic kernels.
#pragma once

#include <cstdint>

#include "simd/vector.h"
#include "zypr.h"

namespace zypr {

// A source coordinate, split at its floor. The index is held to -1 .. extent - 1: all coordinates below 0 take the same taps,
// and so do all from extent - 1 on. A coordinate that is not a number counts as one below 0.
struct AxisPosition {
    int32_t index;
    double fraction;
};

// Positions of a run along the axis that are interior: all their taps exist. Those in front form the low band, the rest the
// high.
struct InteriorRun {
    int32_t begin, end;
};

struct ResizeAxis {
    double inverse; // 1 / scale
    double offset;  // (0 - translate) / scale
    int32_t extent; // of the whole volume

    AxisPosition at(int32_t position) const {
        const double coordinate = fused(position + 0.5, inverse, offset - 0.5);
        const double floor = __builtin_floor(coordinate);
        const double fraction = coordinate - floor;
        if (!(coordinate >= 0.0)) return {-1, fraction};
        if (coordinate >= extent - 1.0) return {extent - 1, fraction};
        return {static_cast<int32_t>(floor), fraction};
    }

    // The nearest voxel; a coordinate on the border of two voxels goes to the lower one.
    int32_t nearest(int32_t position) const {
        const double coordinate = fused(position + 0.5, inverse, offset - 1e-10);
        if (!(coordinate >= 0.0)) return 0;
        return coordinate >= extent ? extent - 1 : static_cast<int32_t>(coordinate);
    }

    // The interior of the positions first to last - 1: of two taps from index on, or of four from index - 1 on.
    InteriorRun interior(int taps, int32_t first, int32_t last) const {
        const int32_t margin = taps / 2 - 1;
        InteriorRun run{first, last};
        while (run.begin < last && at(run.begin).index < margin) ++run.begin;
        while (run.end > run.begin && at(run.end - 1).index >= extent - 1 - margin) --run.end;
        return run;
    }
};

// In 1/16384, as the 8-bit linear mode counts.
inline uint16_t fixedFraction(double fraction) { return static_cast<uint16_t>(truncated(fused(16384.0, fraction, 1e-7))); }
constexpr int32_t fixedOne = 16384;

// For the taps at index - 1, index, index + 1, index + 2.
struct CubicWeights {
    float w[4];
};

CubicWeights cubicWeights(ZyprInterpolation mode, float fraction);

// The same taps where the volume ends: the last of an axis stand in for those beyond it.
struct CubicTaps {
    int32_t index[4];
};

inline CubicTaps cubicTaps(int32_t index, int32_t extent) {
    CubicTaps taps;
    if (index < 0)
        taps = {{0, 0, 0, 1}};
    else if (index == 0)
        taps = {{0, 0, 1, 2}};
    else if (index < extent - 2)
        return {{index - 1, index, index + 1, index + 2}};
    else if (index == extent - 2)
        taps = {{extent - 3, extent - 2, extent - 1, extent - 1}};
    else
        taps = {{extent - 2, extent - 1, extent - 1, extent - 1}};
    for (int32_t &tap : taps.index) { // an extent below 3 has fewer samples than taps
        if (tap < 0) tap = 0;
        if (tap > extent - 1) tap = extent - 1;
    }
    return taps;
}

} // namespace zypr
