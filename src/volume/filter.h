// The volume filter's parts: what a call asks for, the choice of the arithmetic, and the three ways of doing it. The
// destination's rows are independent of one another; each way fills whole rows.
#pragma once

#include <cstddef>
#include <cstdint>

#include "volume/records.h"
#include "zypr.h"

namespace zypr {

// ---- Scale --------------------------------------------------------------------------------------------------------------

enum class ScaleMode { none, shift, division };

// How a sum becomes a sample: divided by `divisor`, rounded and saturated. Each arithmetic rounds in its own way.
struct FilterScale {
    ScaleMode mode; // none for a divisor of 1, shift for a positive power of two
    int32_t shift;  // log2 of the divisor in shift mode, else 0
    int32_t half;   // 1 << (shift - 1) in shift mode
    float reciprocal;
    int32_t divisor;
};

FilterScale filterScale(int32_t divisor); // the divisor must not be 0

// ---- Path rule ----------------------------------------------------------------------------------------------------------

enum class FilterPath {
    multiplyAdd, // 16-bit coefficients in pairs, 32-bit sums that wrap
    floatRows,   // 32-bit sums of each kernel row, added up in floats; 3 x 3 x 3 and 5 x 5 x 5 alone
    exact        // 64-bit sums
};

// Part of the result: the three round and overflow differently.
FilterPath filterPath(const int32_t *taps, const ZyprVolumeExtent &kernel, int32_t dstWidth);

// ---- Rows ---------------------------------------------------------------------------------------------------------------

// The source samples under one destination row. Row j of plane k meets the kernel's row (height - 1 - j, depth - 1 - k), and
// sample x + i of it the coefficient width - 1 - i of that row, for destination sample x: the coefficients in reverse order.
// Planes may lie at odd addresses.
struct FilterWindow {
    const int16_t *const *planes;
    ptrdiff_t offset;
    ptrdiff_t rowStep;

    const int16_t *row(int32_t j, int32_t k) const { return planes[k] + offset + j * rowStep; }
};

struct FilterJob {
    Volume<const int16_t> src;
    Volume<int16_t> dst;
    int32_t width, height; // of the destination
    const int32_t *taps;
    ZyprVolumeExtent kernel;
    const int32_t *origin; // the tap over the destination sample: x, y, z
    FilterScale scale;

    FilterWindow window(int32_t y, int32_t z) const {
        const auto before = [this](int axis, int32_t extent) { return ptrdiff_t{extent} - 1 - origin[axis]; };
        return {src.planes + (z - before(2, kernel.depth)),
                (y - before(1, kernel.height)) * src.rowStep - before(0, kernel.width), src.rowStep};
    }
};

// Calls row(window, dst) for every destination row of the planes.
template <class Row> void forFilterRows(const FilterJob &job, TeamShare planes, const Row &row) {
    for (int32_t z = planes.first; z < planes.first + planes.count; ++z)
        for (int32_t y = 0; y < job.height; ++y) row(job.window(y, z), job.dst.plane(z) + y * job.dst.rowStep);
}

// ---- The three ways -----------------------------------------------------------------------------------------------------

// Bytes per pair of coefficients and per call that the packed kernel takes; the scratch has four times as much per pair.
constexpr int64_t packedPairBytes = 8;
constexpr int64_t packedAlignment = 16;

void filterByMultiplyAdd(const FilterJob &job, TeamShare planes, uint8_t *scratch);
void filterByFloatRows(const FilterJob &job, TeamShare planes);
void filterExactly(const FilterJob &job, TeamShare planes);

} // namespace zypr
