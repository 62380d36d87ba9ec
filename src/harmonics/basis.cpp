// Evaluation of the basis at arrays of points: fronts, and the way from groups of points to one block per point.

#include "harmonics/basis.h"

#include <algorithm>

#include "frame/fronts.h"

namespace zypr::harmonics {
namespace {

// Writes the blocks of `width` values each, one after the other.
void storeBlocks(const BasisGroup &basis, int32_t width, int32_t points, float *destination) {
    const Mask8 lastLanes = firstLanes<8>(width % 8);
    for (int32_t point = 0; point < points; point += 4) {
        const int32_t rows = std::min(points - point, 4);
        float *block = destination + point * width;
        int32_t k = 0;
        for (; k + 8 <= width; k += 8) {
            const FourRows values = transposed(basis, k, point);
            for (int32_t r = 0; r < rows; ++r) store(block + r * width + k, values.row[r]);
        }
        if (width - k < 2) continue;
        const FourRows values = transposed(basis, k, point);
        for (int32_t r = 0; r < rows; ++r) store(block + r * width + k, lastLanes, values.row[r]);
    }
    // A single last function, as all even orders have it.
    if (width % 8 == 1) {
        for (int32_t point = 0; point < points; ++point) destination[(point + 1) * width - 1] = basis.values[width - 1][point];
    }
}

// Output of more bytes than this leaves the near caches, so that its lines are worth fetching ahead.
constexpr int64_t nearCaches = 512 << 10;
// From a group's blocks to the lines that are fetched meanwhile, in floats: time enough for memory to answer.
constexpr int64_t fetchDistance = 4096;

// evaluateGroup(points, basis, ahead) fills `width` functions.
template <class EvaluateGroup>
void evaluateAll(const float *x, const float *y, const float *z, int32_t count, float *destination, int32_t width,
                 const EvaluateGroup &evaluateGroup) {
    BasisGroup basis(width);
    const int64_t floats = static_cast<int64_t>(count) * width;
    const int64_t fetchEnd = floats > nearCaches / 4 ? floats - fetchDistance - groupSize * width : 0;
    for (int64_t i = 0; i < count; i += groupSize) {
        const PointGroup points = firstGroup(x + i, y + i, z + i, static_cast<int32_t>(count - i));
        float *blocks = destination + i * width;
        evaluateGroup(points, basis, LinesAhead{i * width < fetchEnd ? blocks + fetchDistance : nullptr});
        storeBlocks(basis, width, points.count, blocks);
    }
}

} // namespace
} // namespace zypr::harmonics

using namespace zypr::harmonics;

zypStatus front_zyprSH_32f(const float *x, const float *y, const float *z, int32_t count, float *destination, uint32_t order,
                           const ZyprSHState *state) {
    if (!x || !y || !z || !destination || !state) return zypStsNullPtrErr;
    if (count == 0) return zypStsSizeErr;
    if (order > state->order) return zypStsSHRangeErr;
    if (state->type != zyprSHDirect && state->type != zyprSHRecurrence) return zypStsSHRangeErr;
    if (order > highestOrder) return zypStsSHRangeErr;
    evaluateAll(
        x, y, z, count, destination, functionCount(order),
        [&](const PointGroup &points, BasisGroup &basis, LinesAhead ahead) { evaluate(points, order, *state, basis, ahead); });
    return zypStsNoErr;
}

zypStatus front_zyprSHBand_32f(const float *x, const float *y, const float *z, int32_t count, float *destination,
                               uint32_t band) {
    if (!x || !y || !z || !destination) return zypStsNullPtrErr;
    if (band > highestOrder) return zypStsSHRangeErr;
    if (count == 0) return zypStsSizeErr;
    evaluateAll(x, y, z, count, destination, static_cast<int32_t>(2 * band + 1),
                [&](const PointGroup &points, BasisGroup &basis, LinesAhead) {
                    evaluateDirectBand(points.x, points.y, points.z, points.count, band, basis);
                });
    return zypStsNoErr;
}
