// The split search of a node of few references, each in a lane of its own: most nodes of a tree are of this kind.

#include <bit>

#include "scene/kd_planes.h"

namespace zypr {
namespace {

// The references on one axis. Lanes without one repeat the first, so that no minimum, maximum or plane is new.
struct Lanes {
    Float8 low, high;

    Lanes() = default;
    Lanes(const float *lows, const float *highs, Mask8 active)
        : low(select(active, load(lows, active), broadcast<8>(lows[0]))),
          high(select(active, load(highs, active), broadcast<8>(highs[0]))) {}
};

// What `combine` makes of the lanes of each register, in lanes x, y, z.
template <class Combine> Float4 reduced(Float8 x, Float8 y, Float8 z, const Combine &combine) {
    Float4 a = combine(low(x), high(x)), b = combine(low(y), high(y)), c = combine(low(z), high(z)), d = c;
    _MM_TRANSPOSE4_PS(a.v, b.v, c.v, d.v);
    return combine(combine(a, b), combine(c, d));
}

// An end of an axis with more than a tenth of the box empty is cut off: the cheaper one if both are. Costs are without the
// factor S, and DBL_MAX where no end is cut off.
struct EmptyCuts {
    Float4 first, last;
    unsigned found;  // one bit for each axis
    unsigned atLast; // likewise
    Double4 cost;

    EmptyCuts(const KDNodeBox &box, const Lanes *refs, int32_t count) {
        first = reduced(refs[0].low, refs[1].low, refs[2].low, [](Float4 a, Float4 b) { return minimum(a, b); });
        last = reduced(refs[0].high, refs[1].high, refs[2].high, [](Float4 a, Float4 b) { return maximum(a, b); });
        const Float4 t = box.extent * broadcast<4>(kdEmptyShare);
        const Double4 all = broadcastDouble(count), none = broadcastDouble(DBL_MAX);
        const auto where = [&](Mask4 gap, Float4 width) {
            const __m256d wide = _mm256_castsi256_pd(_mm256_cvtepi32_epi64(raw(gap)));
            return Double4{_mm256_blendv_pd(none.v, (all * (box.w + widened(width))).v, wide)};
        };
        const Mask4 atFirst = first - box.m > t, atEnd = box.M - last > t;
        const Double4 firstCost = where(atFirst, box.M - first), lastCost = where(atEnd, last - box.m);
        found = signBits(atFirst | atEnd);
        atLast = static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(lastCost.v, firstCost.v, _CMP_LT_OQ)));
        cost = minimum(lastCost, firstCost);
    }
    // Whether a reference lies beyond the box on one of the axes: the box is that of the vertices that were counted, and
    // triangles may use others.
    bool beyond(const KDNodeBox &box, unsigned axes) const { return (signBits((first < box.m) | (last > box.M)) & axes) != 0; }
    KDBestPlane plane(int axis, int32_t count) const {
        if ((atLast >> axis & 1) != 0) return {cost.v[axis], last.v[axis], count, 0, 1};
        return {cost.v[axis], first.v[axis], 0, count, 1};
    }
};

// No plane between the ends costs less: each reference is on one side at least, and unless all are on the same one, those of
// the two sides together see the whole extent. All on one side see nine tenths of it, since no gap is larger.
Double4 boundsOf(const KDNodeBox &box, int32_t count) {
    const Double4 seen = broadcastDouble(count == 1 ? 0.9 : 1.0) * widened(box.extent);
    return box.halfPerimeter * (broadcastDouble(count) * box.w + seen) * broadcastDouble(1.0 - 1e-6);
}

void offer(KDBestPlane &best, double cost, unsigned lanes, const KDEightPlanes &planes) {
    if (lanes == 0) return;
    float x[8];
    int32_t below[8], above[8];
    store(x, planes.x);
    store(below, planes.below);
    store(above, planes.above);
    for (; lanes != 0; lanes &= lanes - 1) {
        const int lane = std::countr_zero(lanes);
        best.offerSwept(cost, x[lane], below[lane], above[lane], 1);
    }
}

// The best plane between the ends, if its whole cost is at most `limit`.
KDBestPlane swept(const KDAxisCost &cost, const Lanes &refs, const float *lowEvents, const float *highEvents, int32_t count,
                  double limit) {
    KDEightPlanes lows{refs.low, broadcast<8>(0), broadcast<8>(0)}, highs{refs.high, broadcast<8>(0), broadcast<8>(0)};
    for (int32_t k = 0; k < count; ++k) {
        const Float8 low = broadcast<8>(lowEvents[k]), high = broadcast<8>(highEvents[k]);
        lows.count(low, high);
        highs.count(low, high);
    }
    const KDEightCosts lowCosts(cost, lows.x, lows.below, lows.above), highCosts(cost, highs.x, highs.below, highs.above);
    const double lowest = minimum(lowCosts.lowest(), highCosts.lowest());
    KDBestPlane best;
    if (cost.halfPerimeter * lowest > limit) return best;
    offer(best, lowest, lowCosts.atMost(lowest), lows);
    offer(best, lowest, highCosts.atMost(lowest), highs);
    return best;
}

} // namespace

bool kdFindBestSplitOfFew(ZyprKDSplitResult *result, int32_t count, const ZyprBox &box, const KDBounds &bounds,
                          float traversalCost) {
    const KDNodeBox nodeBox(box);
    // Sizes whose products are ordinary numbers.
    if (!all((nodeBox.extent >= broadcast<4>(0.0f)) & (nodeBox.extent < broadcast<4>(1e18f)))) return false;
    const Mask8 active = firstLanes<8>(count);
    Lanes refs[3];
    unsigned proper = 0;
    for (int axis = 0; axis < 3; ++axis) {
        refs[axis] = Lanes(bounds.low[axis], bounds.high[axis], active);
        if (all(refs[axis].low < refs[axis].high)) proper |= 1u << axis;
    }
    if ((nodeBox.evaluated & ~proper) != 0) return false; // planar, or a NaN

    const KDAcceptance acceptance(box, count, traversalCost);
    const EmptyCuts cuts(nodeBox, refs, count);
    if (cuts.beyond(nodeBox, nodeBox.evaluated)) return false; // the bounds below don't hold
    const Double4 cutCosts = nodeBox.halfPerimeter * broadcastDouble(kdEmptyDiscount) * cuts.cost;
    const Double4 leastCosts = boundsOf(nodeBox, count);
    double costs[3], limit = acceptance.limit();
    KDBestPlane planes[3];
    for (int axis = 0; axis < 3; ++axis) {
        costs[axis] = nodeBox.evaluates(axis) ? cutCosts.v[axis] : DBL_MAX;
        limit = minimum(costs[axis], limit);
    }
    for (unsigned left = nodeBox.evaluated & ~cuts.found; left != 0; left &= left - 1) {
        const int axis = std::countr_zero(left);
        if (leastCosts.v[axis] > limit) continue;
        planes[axis] = swept(nodeBox.costOf(axis), refs[axis], bounds.low[axis], bounds.high[axis], count, limit);
        costs[axis] = nodeBox.halfPerimeter.v[axis] * planes[axis].cost;
        limit = minimum(costs[axis], limit);
    }
    const int cheapest = kdCheapestAxis(costs);
    result->axis = -1;
    if (!acceptance.accepts(costs[cheapest])) return true;
    const KDBestPlane best = (cuts.found >> cheapest & 1) != 0 ? cuts.plane(cheapest, count) : planes[cheapest];
    if (best.plane == 0.0f) return false; // its sign is another matter
    *result = {costs[cheapest], best.plane, cheapest, best.leftCount, best.rightCount, best.planarSide};
    return true;
}

} // namespace zypr
