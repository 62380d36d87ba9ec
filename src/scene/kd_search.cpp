// The split search of a node: which axes are looked at, in which form, and whether the best plane pays.

#include <cmath>

#include "frame/team.h"
#include "scene/kd_planes.h"

namespace zypr {
namespace {

constexpr float smallestExtent = 1e-5f;
constexpr double smallestSaving = 1e-5f; // keeps degenerate boxes from splitting for free

// A box that is flat on two axes has no area worth cutting.
bool isEvaluated(const KDExtents &extents, int axis) {
    return extents.of[axis] > smallestExtent &&
           (extents.of[(axis + 1) % 3] > smallestExtent || extents.of[(axis + 2) % 3] > smallestExtent);
}

// A split must save more than one step of traversal costs.
struct Acceptance {
    double leafCost, margin, count;

    Acceptance(const ZyprBox &box, int32_t refCount, float traversalCost)
        : leafCost(kdLeafCost(box, refCount)), margin(maximum(static_cast<double>(traversalCost) * leafCost, smallestSaving)),
          count(refCount) {}
    bool accepts(double cost) const { return count * (leafCost - cost) > margin; }
    // A cost above which nothing is accepted, a little generous against rounding.
    double limit() const { return leafCost - margin / count + leafCost * 1e-12; }
};

// The lowest cost; the later axis among equal ones.
int cheapestAxis(const double *costs) {
    if (costs[1] <= costs[0]) return costs[2] > costs[1] ? 1 : 2;
    return costs[2] <= costs[0] ? 2 : 0;
}

struct NodeSearch {
    const KDBounds &bounds;
    int32_t count;
    KDExtents extents;
    Acceptance acceptance;
    KDAxisCost costs[3];
    KDAxisSearch axes[3];

    NodeSearch(int32_t refCount, const ZyprBox &box, const KDBounds &refBounds, float traversalCost)
        : bounds(refBounds), count(refCount), extents(box), acceptance(box, refCount, traversalCost) {
        for (int axis = 0; axis < 3; ++axis) costs[axis] = KDAxisCost(box, axis, extents);
    }

    void prepare(int axis) {
        if (isEvaluated(extents, axis)) axes[axis].prepare(costs[axis], bounds.low[axis], bounds.high[axis], count);
    }

    // Finishes the axes, the most promising one first, since what it finds spares the others. An axis that can't be searched
    // has the cost of a leaf.
    void finish(ZyprKDSplitResult *result) {
        double axisCosts[3] = {acceptance.leafCost, acceptance.leafCost, acceptance.leafCost};
        int waiting[3], waitingCount = 0;
        for (int axis = 0; axis < 3; ++axis) {
            if (isEvaluated(extents, axis) && axes[axis].searchable()) waiting[waitingCount++] = axis;
        }
        double limit = acceptance.limit();
        while (waitingCount > 0) {
            int next = 0;
            for (int i = 1; i < waitingCount; ++i) {
                if (axes[waiting[i]].bound() < axes[waiting[next]].bound()) next = i;
            }
            const int axis = waiting[next];
            waiting[next] = waiting[--waitingCount];
            axes[axis].finish(limit, bounds.spare);
            axisCosts[axis] = axes[axis].cost();
            limit = minimum(axisCosts[axis], limit);
        }
        const int cheapest = cheapestAxis(axisCosts);
        result->axis = -1;
        if (!acceptance.accepts(axisCosts[cheapest])) return;
        axes[cheapest].result(result);
        result->axis = cheapest;
    }
};

} // namespace

double kdLeafCost(const ZyprBox &box, int32_t count) {
    const KDExtents extents(box);
    const double ex = extents.of[0], ey = extents.of[1], ez = extents.of[2];
    return fused(ex, ey + ez, ey * ez) * static_cast<double>(count);
}

void kdFindBestSplit(ZyprKDSplitResult *result, int32_t count, const ZyprBox &box, const KDBounds &bounds,
                     float traversalCost) {
    NodeSearch search(count, box, bounds, traversalCost);
    for (int axis = 0; axis < 3; ++axis) search.prepare(axis);
    search.finish(result);
}

void localFindBestSplitSortSearch_MT(ZyprKDSplitResult *result, int32_t count, const ZyprBox &box, const KDBounds &bounds,
                                     float traversalCost) {
    NodeSearch search(count, box, bounds, traversalCost);
    runTeam(3, [&](int thread, int teamSize) {
        for (int axis = thread; axis < 3; axis += teamSize) search.prepare(axis);
    });
    search.finish(result);
}

} // namespace zypr
