// Evaluation of the basis at arrays of points: fronts, and the way from groups of points to one block per point.

#include "harmonics/basis.h"

#include <algorithm>

#include "frame/fronts.h"

namespace zypr::harmonics {
namespace {

// What is fetched while a group's blocks are written.
struct NoLines {
    void fetch(int32_t) const {}
};

// As many cache lines as the blocks take, from `first` on. The processor's own prefetching doesn't follow the rows in which
// blocks are stored.
struct LinesAhead {
    const float *first;
    [[gnu::always_inline]] void fetch(int32_t offset) const {
        prefetch(first + offset);
        prefetch(first + offset + 16);
    }
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

    PointGroup group(int64_t i) const { return firstGroup(x + i, y + i, z + i, static_cast<int32_t>(count - i)); }
};

// Output of more bytes than this leaves the near caches, so that its lines are worth fetching ahead.
constexpr int64_t nearCaches = 512 << 10;
// From a group's blocks to the lines that are fetched meanwhile, in floats: time enough for memory to answer.
constexpr int64_t fetchDistance = 2048;
// The same for the points, which take less memory than their blocks.
constexpr int64_t pointDistance = 128;

// evaluateGroup(points, basis) fills `width` functions. evaluateToMemory(points, basis, blocks, ahead) writes the blocks of
// eight points, while as many lines from `ahead` on are fetched.
template <class EvaluateGroup, class EvaluateToMemory>
void evaluateAll(const PointArrays &points, float *destination, int32_t width, const EvaluateGroup &evaluateGroup,
                 const EvaluateToMemory &evaluateToMemory) {
    BasisGroup basis(width);
    int64_t i = 0;
    if (points.count * width > nearCaches / 4) {
        for (; (points.count - i - groupSize) * width > fetchDistance; i += groupSize) {
            const int64_t next = std::min(i + pointDistance, points.count - 1);
            for (const float *coordinate : {points.x, points.y, points.z}) prefetch(coordinate + next);
            float *blocks = destination + i * width;
            evaluateToMemory(points.group(i), basis, blocks, blocks + fetchDistance);
        }
    }
    for (; i < points.count; i += groupSize) {
        const PointGroup group = points.group(i);
        evaluateGroup(group, basis);
        storeBlocks(basis, width, group.count, destination + i * width, NoLines{});
    }
}

template <class EvaluateGroup>
void evaluateAll(const PointArrays &points, float *destination, int32_t width, const EvaluateGroup &evaluateGroup) {
    evaluateAll(points, destination, width, evaluateGroup,
                [&](const PointGroup &group, BasisGroup &basis, float *blocks, const float *ahead) {
                    evaluateGroup(group, basis);
                    storeBlocks(basis, width, groupSize, blocks, LinesAhead{ahead});
                });
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
    const auto evaluateGroup = [&](const PointGroup &group, BasisGroup &basis) { evaluate(group, order, *state, basis); };
    // Blocks of a single function are none of fours.
    if (state->type == zyprSHDirect && order > 0) {
        evaluateAll(points, destination, functionCount(order), evaluateGroup,
                    [&](const PointGroup &group, BasisGroup &, float *blocks, const float *ahead) {
                        evaluateDirectBlocks(group.x, group.y, group.z, order, blocks, ahead);
                    });
    } else {
        evaluateAll(points, destination, functionCount(order), evaluateGroup);
    }
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
