// The split search of a node of few references, each in a lane of its own: most nodes of a tree are of this kind. Every plane
// is looked at, but in single precision; what comes near the lowest cost is then computed as costs are defined. Up to there all
// nodes take the same steps, so that no branch of theirs is guessed wrong.

#include <bit>

#include "scene/kd_planes.h"

namespace zypr {
namespace {

// Costs in single precision are sums of positive products of positive sums, and go through six operations. Below the smallest
// one they might have lost bits.
constexpr float nearBy = 1.0f + 2e-6f;
constexpr float smallestCost = 1e-30f;
constexpr float largestExtent = 1e17f;

// The planes of one axis, with their costs without the factor S. Up to four references have one block of eight planes, more
// have two for each eight.
template <int most> struct FewPlanes {
    static constexpr int32_t mostBlocks = most / 4;
    static constexpr bool padded = most <= 8;

    KDEightPlanes planes[mostBlocks];
    Float8 costs[mostBlocks];
    Float8 first, last, lowest; // to be reduced
    bool ordered;
    int32_t count, blocks;
    const float *lowEvents, *highEvents;
    float paddedLows[8], paddedHighs[8]; // with what isn't counted on either side

    FewPlanes(const float *lows, const float *highs, int32_t refCount) : count(refCount), lowEvents(lows), highEvents(highs) {
        blocks = padded ? mostBlocks : (count + 7) / 8 * 2;
        const Float8 firstLow = broadcast<8>(lows[0]), firstHigh = broadcast<8>(highs[0]);
        first = firstLow;
        last = firstHigh;
        Mask8 unordered = noLanes<8>();
        for (int32_t i = 0; i < (padded ? 1 : count); i += 8) {
            const Mask8 active = firstLanes<8>(count - i);
            // Lanes without a reference repeat the first, so that no minimum, maximum or plane is new.
            const Float8 eightLows = load(lows + i, active), eightHighs = load(highs + i, active);
            const Float8 low = select(active, eightLows, firstLow), high = select(active, eightHighs, firstHigh);
            unordered = unordered | ~(low < high);
            first = minimum(low, first);
            last = maximum(high, last);
            if constexpr (most == 4) {
                setPlanes(0, joined(zypr::low(low), zypr::low(high)));
            } else {
                setPlanes(i / 4, low);
                setPlanes(i / 4 + 1, high);
            }
            if constexpr (padded) {
                store(paddedLows, select(active, eightLows, broadcast<8>(FLT_MAX)));
                store(paddedHighs, select(active, eightHighs, broadcast<8>(-FLT_MAX)));
                lowEvents = paddedLows;
                highEvents = paddedHighs;
            }
        }
        ordered = none(unordered);
    }

    void look(Float8 m, Float8 M, Float8 w) {
        const int32_t events = padded ? most : count;
        constexpr int32_t step = most == 4 ? 1 : 2;
        for (int32_t block = 0; block < blocks; block += step) {
            KDEightPlanes a = planes[block], b = planes[block + step - 1];
            for (int32_t k = 0; k < events; ++k) {
                const Float8 low = broadcast<8>(lowEvents[k]), high = broadcast<8>(highEvents[k]);
                a.count(low, high);
                if constexpr (step == 2) b.count(low, high);
            }
            const auto keep = [&](const KDEightPlanes &eight, int32_t at) {
                planes[at] = eight;
                costs[at] = fused(toFloat(eight.below), eight.x - m + w, toFloat(eight.above) * (M - eight.x + w));
                lowest = at == 0 ? costs[at] : minimum(costs[at], lowest);
            };
            keep(a, block);
            if constexpr (step == 2) keep(b, block + 1);
        }
    }

    // The best, given the lowest cost in single precision.
    KDBestPlane best(const KDAxisCost &cost, float lowestCost) const {
        const Float8 limit = broadcast<8>(lowestCost * nearBy);
        KDBestPlane found;
        for (int32_t block = 0; block < blocks; ++block) {
            const KDEightPlanes &eight = planes[block];
            for (unsigned lanes = signBits(costs[block] <= limit); lanes != 0;) {
                const int lane = std::countr_zero(lanes);
                const float x = eight.x.v[lane];
                const int32_t below = eight.below.v[lane], above = eight.above.v[lane];
                found.offerSwept(cost.at(x, below, above), x, below, above, 1);
                lanes &= ~signBits(eight.x == broadcast<8>(x)); // the others on this plane
            }
        }
        return found;
    }

private:
    void setPlanes(int32_t block, Float8 x) { planes[block] = {x, broadcast<8>(0), broadcast<8>(0)}; }
};

// What `combine` makes of the lanes of each register, in lanes x, y, z.
template <class Combine> Float4 reduced(Float8 x, Float8 y, Float8 z, const Combine &combine) {
    Float4 a = combine(low(x), high(x)), b = combine(low(y), high(y)), c = combine(low(z), high(z)), d = c;
    _MM_TRANSPOSE4_PS(a.v, b.v, c.v, d.v);
    return combine(combine(a, b), combine(c, d));
}
Float4 least(Float8 x, Float8 y, Float8 z) {
    return reduced(x, y, z, [](Float4 a, Float4 b) { return minimum(a, b); });
}
Float4 greatest(Float8 x, Float8 y, Float8 z) {
    return reduced(x, y, z, [](Float4 a, Float4 b) { return maximum(a, b); });
}
float leastLane(Float4 a) {
    const Float4 two = minimum(a, Float4{_mm_movehl_ps(a.v, a.v)});
    return lane0(minimum(two, Float4{_mm_movehdup_ps(two.v)}));
}

template <int most>
bool findBestSplit(ZyprKDSplitResult *result, int32_t count, const ZyprBox &box, const KDBounds &bounds, float traversalCost) {
    const KDNodeBox nodeBox(box);
    // Sizes whose products are ordinary numbers.
    if (!all((nodeBox.extent >= broadcast<4>(0.0f)) & (nodeBox.extent < broadcast<4>(largestExtent)))) return false;
    FewPlanes<most> axes[3] = {
        {bounds.low[0], bounds.high[0], count}, {bounds.low[1], bounds.high[1], count}, {bounds.low[2], bounds.high[2], count}};
    for (int axis = 0; axis < 3; ++axis) {
        if (nodeBox.evaluates(axis) && !axes[axis].ordered) return false; // planar, or a NaN
    }
    const Float4 first = least(axes[0].first, axes[1].first, axes[2].first);
    const Float4 last = greatest(axes[0].last, axes[1].last, axes[2].last);
    // The box is that of the vertices that were counted, and triangles may use others: lengths can then be negative.
    if ((signBits((first < nodeBox.m) | (last > nodeBox.M)) & 7) != 0) return false;

    const Float4 w = nodeBox.nearW();
    for (int axis = 0; axis < 3; ++axis)
        axes[axis].look(broadcast<8>(nodeBox.m.v[axis]), broadcast<8>(nodeBox.M.v[axis]), broadcast<8>(w.v[axis]));
    const Float4 lowest = least(axes[0].lowest, axes[1].lowest, axes[2].lowest);

    // An end of an axis with more than a tenth of the box empty is cut off: the cheaper one if both are.
    const Float4 t = nodeBox.extent * broadcast<4>(kdEmptyShare), none = broadcast<4>(FLT_MAX);
    const Mask4 emptyFirst = first - nodeBox.m > t, emptyLast = nodeBox.M - last > t;
    const Float4 all = broadcast<4>(static_cast<float>(count) * static_cast<float>(kdEmptyDiscount));
    const Float4 cutCosts =
        minimum(select(emptyFirst, all * (nodeBox.M - first + w), none), select(emptyLast, all * (last - nodeBox.m + w), none));
    const Float4 costs =
        select(nodeBox.evaluated, nodeBox.halfPerimeter * select(emptyFirst | emptyLast, cutCosts, lowest), none);
    const float lowestCost = leastLane(costs);
    if (!(lowestCost >= smallestCost)) return false;

    const KDAcceptance acceptance(box, count, traversalCost);
    result->axis = -1;
    if (static_cast<double>(lowestCost) > acceptance.limit() * static_cast<double>(nearBy)) return true;
    ZyprKDSplitResult best{DBL_MAX, 0.0f, -1, 0, 0, 1};
    for (unsigned contenders = signBits(costs <= broadcast<4>(lowestCost * nearBy)); contenders != 0;
         contenders &= contenders - 1) {
        const int axis = std::countr_zero(contenders);
        const KDAxisCost cost = nodeBox.costOf(axis);
        KDBestPlane plane;
        double factor = cost.halfPerimeter;
        if ((signBits(emptyFirst | emptyLast) >> axis & 1) != 0) {
            factor *= kdEmptyDiscount;
            const float begin = first.v[axis], end = last.v[axis];
            if ((signBits(emptyFirst) >> axis & 1) != 0) plane.offer(count * cost.rightOf(begin), begin, 0, count, 1);
            if ((signBits(emptyLast) >> axis & 1) != 0) plane.offer(count * cost.leftOf(end), end, count, 0, 1);
        } else {
            plane = axes[axis].best(cost, lowest.v[axis]);
        }
        const double axisCost = factor * plane.cost;
        if (axisCost <= best.cost) best = {axisCost, plane.plane, axis, plane.leftCount, plane.rightCount, 1};
    }
    if (!acceptance.accepts(best.cost)) return true;
    if (best.plane == 0.0f) return false; // its sign is another matter
    *result = best;
    return true;
}

} // namespace

bool kdFindBestSplitOfFew(ZyprKDSplitResult *result, int32_t count, const ZyprBox &box, const KDBounds &bounds,
                          float traversalCost) {
    const auto find = count <= 4 ? findBestSplit<4> : count <= 8 ? findBestSplit<8> : findBestSplit<kdMostInLanes>;
    return find(result, count, box, bounds, traversalCost);
}

} // namespace zypr
