// Evaluation of the basis at arrays of points: fronts, and the way from groups of points to one block per point.

#include "harmonics/basis.h"

#include <algorithm>

#include "frame/fronts.h"

namespace zypr::harmonics {
namespace {

// What is fetched while a group's blocks are written: nothing, or nothing that isn't near already.
struct NoLines {
    void fetch(int32_t) const {}
    const float *from(const float *blocks) const { return blocks; }
};

// As many cache lines as the blocks take, from `first` on. The processor's own prefetching doesn't follow the rows in which
// blocks are stored.
struct LinesAhead {
    const float *first;
    [[gnu::always_inline]] void fetch(int32_t offset) const {
        prefetch(first + offset);
        prefetch(first + offset + 16);
    }
    const float *from(const float *) const { return first; }
};

// Writes the blocks of `width` values each, one after the other.
template <class Lines>
void storeBlocks(const BasisGroup &basis, int32_t width, int32_t points, float *destination, Lines lines) {
    const Mask8 lastLanes = firstLanes<8>(width % 8);
    for (int32_t point = 0; point < points; point += 4) {
        const int32_t rows = std::min(points - point, 4);
        float *block = destination + point * width;
        int32_t k = 0;
        for (; k + 8 <= width; k += 8) {
            lines.fetch(point * width + 4 * k);
            const FourRows values = transposed(basis, k, point);
            for (int32_t r = 0; r < rows; ++r) store(block + r * width + k, values.row[r]);
        }
        if (k < width) lines.fetch(point * width + 4 * k);
        if (width - k < 2) continue;
        const FourRows values = transposed(basis, k, point);
        for (int32_t r = 0; r < rows; ++r) store(block + r * width + k, lastLanes, values.row[r]);
    }
    // A single last function, as all even orders have it.
    if (width % 8 == 1) {
        for (int32_t point = 0; point < points; ++point) destination[(point + 1) * width - 1] = basis.values[width - 1][point];
    }
}

struct PointArrays {
    const float *x, *y, *z;
    int64_t count;

    PointArrays from(int64_t i) const { return {x + i, y + i, z + i, count - i}; }
    PointGroup group(int64_t i) const { return firstGroup(x + i, y + i, z + i, static_cast<int32_t>(count - i)); }
};

// Output of more bytes than this leaves the near caches, so that its lines are worth fetching ahead.
constexpr int64_t nearCaches = 512 << 10;
// From a group's blocks to the lines that are fetched meanwhile, in floats for each of its points: the largest blocks are
// fetched just before they are written.
constexpr int64_t fetchDistance = 256;
// The same for the points, which take less memory than their blocks.
constexpr int64_t pointDistance = 128;

// Calls evaluate(i, blocks, lines) for `step` points at a time, those from i on, with their blocks and what is fetched ahead.
// Returns how many are done: fewer than `step` are left.
template <class Evaluate>
int64_t forGroupsOfPoints(const PointArrays &points, float *destination, int32_t width, int32_t step,
                          const Evaluate &evaluate) {
    const int64_t distance = fetchDistance * step;
    int64_t i = 0;
    if (points.count * width > nearCaches / 4) {
        for (; (points.count - i - step) * width > distance; i += step) {
            const int64_t next = std::min(i + pointDistance, points.count - 1);
            for (const float *coordinate : {points.x, points.y, points.z}) prefetch(coordinate + next);
            float *blocks = destination + i * width;
            evaluate(i, blocks, LinesAhead{blocks + distance});
        }
    }
    for (; points.count - i >= step; i += step) evaluate(i, destination + i * width, NoLines{});
    return i;
}

// evaluateGroup(points, basis) fills `width` functions.
template <class EvaluateGroup>
void evaluateAll(const PointArrays &points, float *destination, int32_t width, const EvaluateGroup &evaluateGroup) {
    BasisGroup basis(width);
    const auto evaluate = [&](int64_t i, float *blocks, const auto &lines) {
        const PointGroup group = points.group(i);
        evaluateGroup(group, basis);
        storeBlocks(basis, width, group.count, blocks, lines);
    };
    const int64_t done = forGroupsOfPoints(points, destination, width, groupSize, evaluate);
    if (done < points.count) evaluate(done, destination + done * width, NoLines{});
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
    const PointArrays points{x, y, z, count};
    const int32_t width = functionCount(order);
    int64_t done = 0;
    if (state->type == zyprSHDirect) {
        done = forGroupsOfPoints(points, destination, width, directPoints, [&](int64_t i, float *blocks, const auto &lines) {
            evaluateDirectBlocks(x + i, y + i, z + i, order, blocks, lines.from(blocks));
        });
    }
    evaluateAll(points.from(done), destination + done * width, width,
                [&](const PointGroup &group, BasisGroup &basis) { evaluate(group, order, *state, basis); });
    return zypStsNoErr;
}

zypStatus front_zyprSHBand_32f(const float *x, const float *y, const float *z, int32_t count, float *destination,
                               uint32_t band) {
    if (!x || !y || !z || !destination) return zypStsNullPtrErr;
    if (band > highestOrder) return zypStsSHRangeErr;
    if (count == 0) return zypStsSizeErr;
    evaluateAll({x, y, z, count}, destination, static_cast<int32_t>(2 * band + 1),
                [&](const PointGroup &group, BasisGroup &basis) {
                    evaluateDirectBand(group.x, group.y, group.z, group.count, band, basis);
                });
    return zypStsNoErr;
}
