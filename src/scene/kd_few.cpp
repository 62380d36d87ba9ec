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

// The references on one axis, in registers of four or eight.
template <int most> struct FewBounds {
    static constexpr int width = most == 4 ? 4 : 8;
    static constexpr bool inRegister = most == width;
    using Register = Floats<width>;

    const float *lows, *highs;
    int32_t count;
    Register first, last; // to be reduced
    Mask<width> unordered = noLanes<width>();

    FewBounds(const float *refLows, const float *refHighs, int32_t refCount) : lows(refLows), highs(refHighs), count(refCount) {
        first = lowsAt(0);
        last = highsAt(0);
        unordered = ~(first < last);
        if constexpr (inRegister) return;
        for (int32_t i = width; i < count; i += width) {
            const Register low = lowsAt(i), high = highsAt(i);
            unordered = unordered | ~(low < high);
            first = minimum(low, first);
            last = maximum(high, last);
        }
    }
    // Lanes without a reference repeat the first, so that no minimum, maximum or plane is new.
    Register lowsAt(int32_t i) const { return someOf(lows, i, broadcast<width>(lows[0])); }
    Register highsAt(int32_t i) const { return someOf(highs, i, broadcast<width>(highs[0])); }

    // All events, for those that fit a register. Lanes without a reference are counted on neither side.
    Float8 lowEvents() const { return twice(someOf(lows, 0, broadcast<width>(FLT_MAX))); }
    Float8 highEvents() const { return twice(someOf(highs, 0, broadcast<width>(-FLT_MAX))); }
    // Event k in all lanes.
    static Float8 event(Float8 events, const float *all, int32_t k) {
        if constexpr (most == 4)
            return permuted(events, broadcast<8>(k));
        else if constexpr (most == 8)
            return {_mm256_permutevar8x32_ps(events.v, raw(broadcast<8>(k)))};
        else
            return broadcast<8>(all[k]);
    }

private:
    Register someOf(const float *from, int32_t i, Register otherwise) const {
        const Mask<width> active = firstLanes<width>(count - i);
        return select(active, load(from + i, active), otherwise);
    }
    static Float8 twice(Register a) {
        if constexpr (most == 4)
            return joined(a, a);
        else
            return a;
    }
};

// The planes of one axis, with their costs without the factor S. Up to four references have one block of eight planes, more
// have two for each eight.
template <int most> struct FewPlanes {
    static constexpr int32_t mostBlocks = most / 4;

    KDEightPlanes planes[mostBlocks];
    Float8 costs[mostBlocks];
    int32_t blocks;

    // Gives the lowest cost, to be reduced.
    Float8 look(const FewBounds<most> &refs, Float8 m, Float8 M, Float8 w) {
        Float8 lowest = broadcast<8>(FLT_MAX);
        const auto keep = [&](int32_t block, const KDEightPlanes &eight) {
            planes[block] = eight;
            costs[block] = fused(toFloat(eight.below), eight.x - m + w, toFloat(eight.above) * (M - eight.x + w));
            lowest = minimum(costs[block], lowest);
        };
        const Int8 none = broadcast<8>(0);
        const bool inRegister = FewBounds<most>::inRegister;
        const Float8 lowEvents = refs.lowEvents(), highEvents = refs.highEvents();
        blocks = most == 4 ? 1 : most == 8 ? 2 : (refs.count + 7) / 8 * 2;
        for (int32_t block = 0; block < blocks; block += 2) {
            KDEightPlanes a, b;
            if constexpr (most == 4) {
                a = {joined(refs.lowsAt(0), refs.highsAt(0)), none, none};
            } else {
                a = {refs.lowsAt(4 * block), none, none};
                b = {refs.highsAt(4 * block), none, none};
            }
            for (int32_t k = 0; k < (inRegister ? most : refs.count); ++k) {
                const Float8 low = refs.event(lowEvents, refs.lows, k), high = refs.event(highEvents, refs.highs, k);
                a.count(low, high);
                if constexpr (most > 4) b.count(low, high);
            }
            keep(block, a);
            if constexpr (most > 4) keep(block + 1, b);
        }
        return lowest;
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
};

// What `combine` makes of the lanes of each register, in lanes x, y, z.
template <class Combine> Float4 reduced(Float4 x, Float4 y, Float4 z, const Combine &combine) {
    Float4 rows[4] = {x, y, z, z};
    transpose(rows);
    return combine(combine(rows[0], rows[1]), combine(rows[2], rows[3]));
}
template <class Combine> Float4 reduced(Float8 x, Float8 y, Float8 z, const Combine &combine) {
    return reduced(combine(low(x), high(x)), combine(low(y), high(y)), combine(low(z), high(z)), combine);
}
template <int N> Float4 least(Floats<N> x, Floats<N> y, Floats<N> z) {
    return reduced(x, y, z, [](Float4 a, Float4 b) { return minimum(a, b); });
}
template <int N> Float4 greatest(Floats<N> x, Floats<N> y, Floats<N> z) {
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
    const FewBounds<most> x{bounds.low[0], bounds.high[0], count}, y{bounds.low[1], bounds.high[1], count},
        z{bounds.low[2], bounds.high[2], count};
    if (any(x.unordered | y.unordered | z.unordered)) { // planar, or a NaN
        if (nodeBox.evaluates(0) && any(x.unordered)) return false;
        if (nodeBox.evaluates(1) && any(y.unordered)) return false;
        if (nodeBox.evaluates(2) && any(z.unordered)) return false;
    }
    const Float4 first = least(x.first, y.first, z.first), last = greatest(x.last, y.last, z.last);
    // The box is that of the vertices that were counted, and triangles may use others: lengths can then be negative.
    if ((signBits((first < nodeBox.m) | (last > nodeBox.M)) & 7) != 0) return false;

    // An end of an axis with more than a tenth of the box empty is cut off: the cheaper one if both are.
    const Float4 w = nodeBox.nearW();
    const Float4 t = nodeBox.extent * broadcast<4>(kdEmptyShare), none = broadcast<4>(FLT_MAX);
    const Mask4 emptyFirst = first - nodeBox.m > t, emptyLast = nodeBox.M - last > t;
    const unsigned cut = signBits(emptyFirst | emptyLast);
    const Float4 all = broadcast<4>(static_cast<float>(count) * static_cast<float>(kdEmptyDiscount));
    const Float4 cutCosts =
        minimum(select(emptyFirst, all * (nodeBox.M - first + w), none), select(emptyLast, all * (last - nodeBox.m + w), none));

    FewPlanes<most> axes[3];
    const auto look = [&](int axis, const FewBounds<most> &refs) {
        if (!refs.inRegister && (!nodeBox.evaluates(axis) || (cut >> axis & 1) != 0)) return broadcast<8>(FLT_MAX);
        return axes[axis].look(refs, broadcast<8>(nodeBox.m.v[axis]), broadcast<8>(nodeBox.M.v[axis]), broadcast<8>(w.v[axis]));
    };
    const Float4 lowest = least(look(0, x), look(1, y), look(2, z));
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
        if ((cut >> axis & 1) != 0) {
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
    const auto find = count <= 4 ? findBestSplit<4> : count <= 8 ? findBestSplit<8> : findBestSplit<kdMostOfFew>;
    return find(result, count, box, bounds, traversalCost);
}

} // namespace zypr
