// The split search of a node: which axes are looked at, in which form, and whether the best plane pays.

#include "frame/team.h"
#include "scene/kd_planes.h"

namespace zypr {
namespace {

struct NodeSearch {
    const KDBounds &bounds;
    int32_t count;
    KDNodeBox nodeBox;
    KDAcceptance acceptance;
    KDAxisSearch axes[3];

    NodeSearch(int32_t refCount, const ZyprBox &box, const KDBounds &refBounds, float traversalCost)
        : bounds(refBounds), count(refCount), nodeBox(box), acceptance(box, refCount, traversalCost) {}

    void prepare(int axis) {
        if (nodeBox.evaluates(axis)) axes[axis].prepare(nodeBox.costOf(axis), bounds.low[axis], bounds.high[axis], count);
    }

    // Finishes the axes, the most promising one first, since what it finds spares the others. An axis that can't be searched
    // has the cost of a leaf.
    void finish(ZyprKDSplitResult *result) {
        double axisCosts[3] = {acceptance.leafCost, acceptance.leafCost, acceptance.leafCost};
        int waiting[3], waitingCount = 0;
        for (int axis = 0; axis < 3; ++axis) {
            if (nodeBox.evaluates(axis) && axes[axis].searchable()) waiting[waitingCount++] = axis;
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
        const int cheapest = kdCheapestAxis(axisCosts);
        result->axis = -1;
        if (!acceptance.accepts(axisCosts[cheapest])) return;
        axes[cheapest].result(result);
        result->axis = cheapest;
    }
};

} // namespace

double kdLeafCost(const ZyprBox &box, int32_t count) {
    const auto extent = [&box](int axis) { return static_cast<double>(box.maximum[axis] - box.minimum[axis]); };
    const double ex = extent(0), ey = extent(1), ez = extent(2);
    return fused(ex, ey + ez, ey * ez) * static_cast<double>(count);
}

void kdFindBestSplit(ZyprKDSplitResult *result, int32_t count, const ZyprBox &box, const KDBounds &bounds,
                     float traversalCost) {
    if (count <= kdMostOfFew && kdFindBestSplitOfFew(result, count, box, bounds, traversalCost)) return;
    NodeSearch search(count, box, bounds, traversalCost);
    for (int axis = 0; axis < 3; ++axis) {
        if (search.nodeBox.evaluates(axis)) search.prepare(axis);
    }
    search.finish(result);
}

void localFindBestSplitSortSearch_MT(ZyprKDSplitResult *result, int32_t count, const ZyprBox &box, const KDBounds &bounds,
                                     float traversalCost) {
    NodeSearch search(count, box, bounds, traversalCost);
    int axes[3], axisCount = 0;
    for (int axis = 0; axis < 3; ++axis) {
        if (search.nodeBox.evaluates(axis)) axes[axisCount++] = axis;
    }
    runTeam(axisCount, [&](int thread, int teamSize) {
        for (int i = thread; i < axisCount; i += teamSize) search.prepare(axes[i]);
    });
    search.finish(result);
}

} // namespace zypr
