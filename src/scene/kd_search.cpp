// The split search: every start, end and planar coordinate of a node's references is a candidate plane, on every axis.

#include <cfloat>
#include <cmath>

#include "frame/team.h"
#include "scene/kd_build.h"
#include "simd/vector.h"

namespace zypr {
namespace {

constexpr float smallestExtent = 1e-5f;
constexpr float emptyShare = 0.1f;       // a gap above this share of the extent is cut off without a sweep
constexpr double discount = 0.7f;        // for cuts that leave one side empty or flat
constexpr double smallestSaving = 1e-5f; // keeps degenerate boxes from splitting for free
constexpr int32_t largestQuickSort = 320;
constexpr double smallestCrossSection = 1e-9;

// The cost of planes across one axis. With S the half perimeter and P the area of the box's cross section, the half surface
// area of the part below x is S (P/S + x - m); costs are compared without the factor S, which comes in at the end.
struct AxisCost {
    float m, M;
    double halfPerimeter; // S
    double w;             // P / S

    AxisCost(const ZyprBox &box, int axis, const float *extents) : m(box.minimum[axis]), M(box.maximum[axis]) {
        const float eb = extents[(axis + 1) % 3], ec = extents[(axis + 2) % 3];
        halfPerimeter = eb + ec;
        const double area = eb * ec;
        w = area < smallestCrossSection ? 0.0 : area / halfPerimeter;
    }

    double leftOf(float x) const { return w + static_cast<double>(x - m); }
    double rightOf(float x) const { return w + static_cast<double>(M - x); }
    double at(float x, int32_t leftCount, int32_t rightCount) const {
        return fused(static_cast<double>(leftCount), leftOf(x), static_cast<double>(rightCount) * rightOf(x));
    }
};

// The best candidate so far on one axis; costs without the factor S.
struct Best {
    double cost = DBL_MAX;
    float plane = 0.0f;
    int32_t leftCount = 0, rightCount = 0, planarSide = 1;

    // Among equal costs the first one stays.
    void offer(double candidate, float x, int32_t left, int32_t right, int32_t side) {
        if (!(candidate < cost)) return;
        *this = {candidate, x, left, right, side};
    }
    bool found() const { return cost < DBL_MAX; }
};

// Cuts off the empty space at either end of the axis, where it is more than a tenth of the box.
void cutEmptySpace(const AxisCost &axis, float first, float last, int32_t count, int32_t rightPlanarSide, Best &best) {
    const float t = (axis.M - axis.m) * emptyShare;
    if (first - axis.m > t) best.offer(static_cast<double>(count) * axis.rightOf(first), first, 0, count, 1);
    if (axis.M - last > t) best.offer(static_cast<double>(count) * axis.leftOf(last), last, count, 0, rightPlanarSide);
}

// Where a sweep stands: per list one cursor at the first entry beyond the plane, one at the first that isn't counted yet.
struct SweepList {
    const float *entries;
    int32_t count;
    int32_t search = 0, counted = 0;

    bool exhausted() const { return search == count; }
    void searchPast(float x) {
        while (search < count && entries[search] <= x) ++search;
    }
    int32_t countBefore(float x) {
        const int32_t from = counted;
        while (counted < count && x - entries[counted] > 0.0f) ++counted;
        return counted - from;
    }
    int32_t countUpTo(float x) {
        const int32_t from = counted;
        while (counted < count && entries[counted] - x <= 0.0f) ++counted;
        return counted - from;
    }
    int32_t countAt(float x) const {
        int32_t i = counted;
        while (i < count && entries[i] == x) ++i;
        return i - counted;
    }
};

// Visits the planes from x on until the last end has been passed.
void sweepToLastEnd(const AxisCost &axis, SweepList &starts, SweepList &ends, float x, int32_t left, int32_t right,
                    Best &best) {
    do {
        best.offer(axis.at(x, left, right), x, left, right, best.planarSide);
        starts.searchPast(x);
        ends.searchPast(x);
        if (ends.exhausted()) break;
        x = ends.entries[ends.search];
        if (!starts.exhausted()) x = minimum(starts.entries[starts.search], x);
        left += starts.countBefore(x);
        right -= ends.countUpTo(x);
    } while (true);
}

void kdSearchSplitAxisNoPlanar(const AxisCost &axis, const float *starts, const float *ends, int32_t n,
                               ZyprKDSplitResult *result) {
    Best best;
    cutEmptySpace(axis, starts[0], ends[n - 1], n, 1, best);
    const bool emptyCut = best.found();
    if (!emptyCut) {
        SweepList startList{starts, n}, endList{ends, n};
        sweepToLastEnd(axis, startList, endList, starts[0], 0, n, best);
    }
    const double scale = emptyCut ? axis.halfPerimeter * discount : axis.halfPerimeter;
    *result = {scale * best.cost, best.plane, result->axis, best.leftCount, best.rightCount, best.planarSide};
}

void kdSearchSplitAxisPlanar(const AxisCost &axis, const float *starts, const float *ends, int32_t n, const float *planars,
                             int32_t p, ZyprKDSplitResult *result) {
    const int32_t count = n + p;
    Best best;
    const float first = minimum(planars[0], n > 0 ? starts[0] : axis.m);
    const float last = maximum(planars[p - 1], n > 0 ? ends[n - 1] : axis.M);
    cutEmptySpace(axis, first, last, count, 0, best);
    const bool emptyCut = best.found();
    if (!emptyCut) {
        if (planars[0] == axis.m) {
            int32_t k = 1;
            while (k < p && planars[k] == axis.m) ++k;
            best.offer(axis.at(axis.m, k, count - k) * discount, axis.m, k, count - k, 0);
        }
        if (planars[p - 1] == axis.M) {
            int32_t k = 1;
            while (k < p && planars[p - 1 - k] == axis.M) ++k;
            best.offer(axis.at(axis.M, count - k, k) * discount, axis.M, count - k, k, 1);
        }
        SweepList startList{starts, n}, endList{ends, n}, planarList{planars, p};
        float x = n > 0 && starts[0] <= planars[0] ? starts[0] : planars[0];
        int32_t left = 0, right = count;
        for (;;) {
            best.offer(axis.at(x, left, right), x, left, right, 1);
            if (const int32_t k = planarList.countAt(x)) best.offer(axis.at(x, left + k, right - k), x, left + k, right - k, 0);
            startList.searchPast(x);
            planarList.searchPast(x);
            endList.searchPast(x);
            float next = INFINITY;
            if (!endList.exhausted()) next = minimum(endList.entries[endList.search], next);
            if (!planarList.exhausted()) next = minimum(planarList.entries[planarList.search], next);
            if (!startList.exhausted()) next = minimum(startList.entries[startList.search], next);
            if (!(startList.exhausted() && planarList.exhausted() && endList.exhausted())) x = next;
            const int32_t planarsPassed = planarList.countBefore(x);
            left += planarsPassed + startList.countBefore(x);
            right -= planarsPassed + endList.countUpTo(x);
            if (planarList.exhausted() || endList.exhausted()) break;
        }
        if (!endList.exhausted()) sweepToLastEnd(axis, startList, endList, x, left, right, best);
    }
    const double scale = emptyCut ? axis.halfPerimeter * discount : axis.halfPerimeter;
    *result = {scale * best.cost, best.plane, result->axis, best.leftCount, best.rightCount, best.planarSide};
}

void sortFloats(float *keys, float *buffer, int32_t count) {
    if (count > largestQuickSort)
        kdSortFloatsRadix(keys, buffer, count);
    else
        kdSortFloatsQuick(keys, count);
}

bool holdsNaN(const float *sorted, int32_t count) {
    return count > 0 && (std::isnan(sorted[0]) || std::isnan(sorted[count - 1]));
}

void searchAxis(ZyprKDSplitResult *result, int axisNumber, const ZyprKDBuildNode &node, const ZyprBox &box,
                const float *extents, float *const *scratch) {
    float *starts = scratch[0], *ends = scratch[1], *planars = scratch[2], *buffer = scratch[3];
    int32_t n = 0, p = 0;
    for (int32_t i = 0; i < node.count; ++i) {
        const float low = node.refs[i].smallest(axisNumber), high = node.refs[i].largest(axisNumber);
        if (low == high) {
            planars[p++] = low;
        } else {
            starts[n] = low;
            ends[n++] = high;
        }
    }
    sortFloats(starts, buffer, n);
    sortFloats(ends, buffer, n);
    // No plane can be told from a NaN: the axis keeps the cost of a leaf.
    if (holdsNaN(starts, n) || holdsNaN(ends, n)) return;
    const AxisCost axis(box, axisNumber, extents);
    if (p == 0) {
        kdSearchSplitAxisNoPlanar(axis, starts, ends, n, result);
    } else {
        kdSortFloatsQuick(planars, p);
        kdSearchSplitAxisPlanar(axis, starts, ends, n, planars, p, result);
    }
}

struct Extents {
    float of[3];

    explicit Extents(const ZyprBox &box) {
        for (int axis = 0; axis < 3; ++axis) of[axis] = box.maximum[axis] - box.minimum[axis];
    }
    // A box that is flat on two axes has no area worth cutting.
    bool evaluated(int axis) const {
        return of[axis] > smallestExtent && (of[(axis + 1) % 3] > smallestExtent || of[(axis + 2) % 3] > smallestExtent);
    }
};

// The lowest cost; the later axis among equal ones.
int cheapestAxis(const ZyprKDSplitResult *axes) {
    if (axes[1].cost <= axes[0].cost) return axes[2].cost > axes[1].cost ? 1 : 2;
    return axes[2].cost <= axes[0].cost ? 2 : 0;
}

// A split must save more than one step of traversal costs.
void accept(ZyprKDSplitResult *result, const ZyprKDSplitResult *axes, int32_t count, float traversalCost) {
    const double leafCost = result->cost;
    const double margin = maximum(static_cast<double>(traversalCost) * leafCost, smallestSaving);
    const int axis = cheapestAxis(axes);
    result->axis = -1;
    if (!(static_cast<double>(count) * (leafCost - axes[axis].cost) > margin)) return;
    *result = axes[axis];
    result->axis = axis;
}

} // namespace

double kdLeafCost(const ZyprBox &box, int32_t count) {
    const Extents extents(box);
    const double ex = extents.of[0], ey = extents.of[1], ez = extents.of[2];
    return fused(ex, ey + ez, ey * ez) * static_cast<double>(count);
}

void kdFindBestSplit(ZyprKDSplitResult *result, const ZyprKDBuildNode &node, const ZyprBox &box, float *const *scratch,
                     float traversalCost) {
    const Extents extents(box);
    ZyprKDSplitResult axes[3] = {*result, *result, *result};
    for (int axis = 0; axis < 3; ++axis) {
        if (extents.evaluated(axis)) searchAxis(&axes[axis], axis, node, box, extents.of, scratch);
    }
    accept(result, axes, node.count, traversalCost);
}

void localFindBestSplitSortSearch_MT(ZyprKDSplitResult *result, const ZyprKDBuildNode &node, const ZyprBox &box,
                                     float *const *scratch, float traversalCost) {
    kdFindBestSplit(result, node, box, scratch, traversalCost);
}

} // namespace zypr
