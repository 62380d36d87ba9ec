// The search of one axis of one node, exact and without sorting the node's events: bins bound the cost of their planes, and
// only the planes of bins that can win are looked at one by one.

#include "scene/kd_planes.h"

#include <bit>
#include <cmath>

namespace zypr {
namespace {

// Up to so many references every plane is looked at.
constexpr int32_t mostWithoutBins = 64;
// Up to so many events are compared with each other; more are sorted.
constexpr int32_t mostCounted = 192;
constexpr int32_t mostQuickSorted = 320;

int32_t binCountFor(int32_t refCount) {
    if (refCount <= mostWithoutBins) return 0;
    if (refCount <= 128) return 16;
    if (refCount <= 1024) return 64;
    if (refCount <= 8192) return 256;
    return 1024;
}

void sortFloats(float *keys, float *buffer, int32_t count) {
    if (count > mostQuickSorted)
        kdSortFloatsRadix(keys, buffer, count);
    else
        kdSortFloatsQuick(keys, count);
}

Float8 loadFirst(const float *p, Mask8 active, Float8 otherwise) { return select(active, load(p, active), otherwise); }

// Of four lanes, then of two, then of one.
template <class Combine> float reduced(Float8 a, const Combine &combine) {
    const Float4 four = combine(low(a), high(a));
    const Float4 two = combine(four, Float4{_mm_movehl_ps(four.v, four.v)});
    const Float4 one = combine(two, Float4{_mm_movehdup_ps(two.v)});
    return _mm_cvtss_f32(one.v);
}
float least(Float8 a) {
    return reduced(a, [](Float4 l, Float4 r) { return minimum(l, r); });
}
float greatest(Float8 a) {
    return reduced(a, [](Float4 l, Float4 r) { return maximum(l, r); });
}

// Calls visit(low, high, active) for eight references at a time. Lanes that aren't active repeat the first reference.
template <class Visit> void forEachEight(const float *lows, const float *highs, int32_t count, const Visit &visit) {
    const Mask8 all = firstLanes<8>(8);
    int32_t i = 0;
    for (; i + 8 <= count; i += 8) visit(load<8>(lows + i), load<8>(highs + i), all);
    if (i == count) return;
    const Mask8 active = firstLanes<8>(count - i);
    visit(loadFirst(lows + i, active, broadcast<8>(lows[0])), loadFirst(highs + i, active, broadcast<8>(highs[0])), active);
}

} // namespace

void KDAxisSearch::prepare(const KDAxisCost &axisCost, const float *refLows, const float *refHighs, int32_t refCount) {
    cost_ = axisCost;
    lows_ = refLows;
    highs_ = refHighs;
    count_ = refCount;
    best_ = {};
    emptyCut_ = false;
    factor_ = cost_.halfPerimeter;
    bound_ = 0.0;
    binCount_ = 0;

    Float8 low = broadcast<8>(lows_[0]), high = broadcast<8>(highs_[0]);
    Mask8 unordered = low != low;
    planarCount_ = 0;
    forEachEight(lows_, highs_, count_, [&](Float8 l, Float8 h, Mask8 active) {
        unordered = unordered | ~(l <= h);
        low = minimum(l, low);
        high = maximum(h, high);
        planarCount_ += std::popcount(signBits((l == h) & active));
    });
    searchable_ = none(unordered); // no plane can be told from a NaN
    ended_ = !searchable_;
    if (ended_) return;
    first_ = least(low);
    last_ = lastEnd_ = greatest(high);
    if (planarCount_ > 0) {
        Float8 planarLow = broadcast<8>(INFINITY), planarHigh = broadcast<8>(-INFINITY), end = broadcast<8>(-INFINITY);
        forEachEight(lows_, highs_, count_, [&](Float8 l, Float8 h, Mask8) {
            const Mask8 planar = l == h;
            planarLow = minimum(select(planar, l, broadcast<8>(INFINITY)), planarLow);
            planarHigh = maximum(select(planar, l, broadcast<8>(-INFINITY)), planarHigh);
            end = maximum(select(planar, broadcast<8>(-INFINITY), h), end);
        });
        planarFirst_ = least(planarLow);
        planarLast_ = greatest(planarHigh);
        lastEnd_ = greatest(end);
    }
    cutEmptySpace();
    if (ended_) {
        bound_ = best_.cost;
        return;
    }
    if (planarCount_ > 0) splitOffFaces();
    binCount_ = ended_ ? 0 : binCountFor(count_);
    upper_ = best_.cost; // no better one is known
    // A box of other vertices than the triangles' may leave references outside; then areas can fall below zero.
    bounded_ = first_ >= cost_.m && last_ <= cost_.M && cost_.w >= 0.0 && cost_.halfPerimeter > 0.0;
    if (binCount_ == 0) return;
    countEvents();
    boundBins();
}

// An end with more than a tenth of the box empty is cut off: the cheaper one if both are.
void KDAxisSearch::cutEmptySpace() {
    const bool onlyPlanars = planarCount_ == count_;
    const float first = onlyPlanars ? minimum(cost_.m, planarFirst_) : first_;
    const float last = onlyPlanars ? maximum(cost_.M, planarLast_) : last_;
    const float t = (cost_.M - cost_.m) * kdEmptyShare;
    const auto all = static_cast<double>(count_);
    if (first - cost_.m > t) best_.offer(all * cost_.rightOf(first), first, 0, count_, 1);
    if (cost_.M - last > t) best_.offer(all * cost_.leftOf(last), last, count_, 0, planarCount_ > 0 ? 0 : 1);
    if (!best_.found()) return;
    factor_ = cost_.halfPerimeter * kdEmptyDiscount;
    emptyCut_ = ended_ = true;
}

// References that lie on a face of the box can be split off into a flat child. Where all references are planar, only the first
// of their planes is a candidate beside the faces.
void KDAxisSearch::splitOffFaces() {
    const auto planarsAt = [this](float plane) {
        int32_t found = 0;
        forEachEight(lows_, highs_, count_, [&](Float8 l, Float8 h, Mask8 active) {
            const Float8 x = broadcast<8>(plane);
            found += std::popcount(signBits((l == x) & (h == x) & active));
        });
        return found;
    };
    if (planarFirst_ == cost_.m) {
        const int32_t k = planarsAt(cost_.m);
        best_.offer(cost_.at(cost_.m, k, count_ - k) * kdEmptyDiscount, cost_.m, k, count_ - k, 0);
    }
    if (planarLast_ == cost_.M) {
        const int32_t k = planarsAt(cost_.M);
        best_.offer(cost_.at(cost_.M, count_ - k, k) * kdEmptyDiscount, cost_.M, count_ - k, k, 1);
    }
    if (planarCount_ < count_) return;
    const int32_t k = planarsAt(planarFirst_);
    best_.offerSwept(cost_.at(planarFirst_, 0, count_), planarFirst_, 0, count_, 1);
    best_.offerSwept(cost_.at(planarFirst_, k, count_ - k), planarFirst_, k, count_ - k, 0);
    bound_ = best_.cost;
    ended_ = true;
}

Int8 KDAxisSearch::binsOf(Float8 coordinates) const {
    const Float8 place = (coordinates - broadcast<8>(first_)) * broadcast<8>(binScale_);
    return truncated(minimum(place, broadcast<8>(static_cast<float>(binCount_ - 1))));
}

void KDAxisSearch::countEvents() {
    binScale_ = static_cast<float>(binCount_) / (last_ - first_);
    for (int32_t bin = 0; bin < binCount_; ++bin) lowsIn_[bin] = highsIn_[bin] = 0;
    int32_t lowBins[8], highBins[8];
    int32_t i = 0;
    for (; i + 8 <= count_; i += 8) {
        store(lowBins, binsOf(load<8>(lows_ + i)));
        store(highBins, binsOf(load<8>(highs_ + i)));
        for (int k = 0; k < 8; ++k) {
            ++lowsIn_[lowBins[k]];
            ++highsIn_[highBins[k]];
        }
    }
    if (i == count_) return;
    const Mask8 active = firstLanes<8>(count_ - i);
    store(lowBins, binsOf(loadFirst(lows_ + i, active, broadcast<8>(first_))));
    store(highBins, binsOf(loadFirst(highs_ + i, active, broadcast<8>(first_))));
    for (int k = 0; k < count_ - i; ++k) {
        ++lowsIn_[lowBins[k]];
        ++highsIn_[highBins[k]];
    }
}

// Far more than the rounding of single precision in the places of the bins.
constexpr double slack = 1e-6;

void KDAxisSearch::boundBins() {
    const double before = cost_.leftOf(first_), after = cost_.rightOf(last_), range = static_cast<double>(last_ - first_);
    const double width = range / binCount_;
    int32_t below = 0, above = count_, lastBin;
    int32_t bins[8];
    store(bins, binsOf(broadcast<8>(lastEnd_)));
    lastBin = bins[0];
    bound_ = DBL_MAX;
    for (int32_t bin = 0; bin < binCount_; ++bin) {
        const double begin = bin * width * (1.0 - slack), end = (bin + 1) * width * (1.0 + slack);
        above -= highsIn_[bin];
        binBound_[bin] = DBL_MAX;
        if (lowsIn_[bin] + highsIn_[bin] > 0 && bin <= lastBin) {
            const double least = below * (before + begin) + above * (after + maximum(range * (1.0 - slack) - end, 0.0));
            const double most =
                (below + lowsIn_[bin]) * (before + end) + (above + highsIn_[bin]) * (after + range * (1.0 + slack) - begin);
            binBound_[bin] = bounded_ ? least * (1.0 - slack) : -DBL_MAX;
            if (binBound_[bin] < bound_) bound_ = binBound_[bin];
            if (bounded_ && most * (1.0 + slack) < upper_) upper_ = most * (1.0 + slack);
        }
        below += lowsIn_[bin];
    }
}

void KDAxisSearch::finish(double limit, float *const *scratch) {
    if (ended_) return;
    const double unscaled = limit / factor_ * (1.0 + 1e-12);
    if (bounded_ && unscaled < upper_) upper_ = unscaled;
    if (binCount_ == 0) {
        planarCount_ == 0 ? searchAll<false>(scratch) : searchAll<true>(scratch);
    } else if (chooseBins()) {
        collectEvents(scratch);
        planarCount_ == 0 ? searchBins<false>(scratch) : searchBins<true>(scratch);
    }
}

template <bool planar> void KDAxisSearch::searchAll(float *const *scratch) {
    int32_t planars = 0;
    if constexpr (planar) {
        for (int32_t i = 0; i < count_; ++i) {
            if (lows_[i] == highs_[i]) scratch[2][planars++] = lows_[i];
        }
    }
    searchByCounting<planar>({lows_, highs_, scratch[2], count_, count_, planars}, 0, 0);
}

bool KDAxisSearch::chooseBins() {
    int32_t lowPlace = 0, highPlace = 0;
    firstChosen_ = binCount_;
    lastChosen_ = -1;
    for (int32_t bin = 0; bin < binCount_; ++bin) {
        planarsIn_[bin] = 0;
        lowsAt_[bin] = highsAt_[bin] = -1;
        const double bound = binBound_[bin];
        if (bound == DBL_MAX || bound > upper_) continue;
        lowsAt_[bin] = lowPlace;
        highsAt_[bin] = highPlace;
        lowPlace += lowsIn_[bin];
        highPlace += highsIn_[bin];
        if (lastChosen_ < 0) firstChosen_ = bin;
        lastChosen_ = bin;
    }
    return lastChosen_ >= 0;
}

void KDAxisSearch::collectEvents(float *const *scratch) {
    const Int8 belowFirst = broadcast<8>(firstChosen_ - 1), aboveLast = broadcast<8>(lastChosen_ + 1);
    const auto collect = [&](const float *coordinates, int32_t *places, float *collected) {
        for (int32_t i = 0; i < count_; i += 8) {
            const Mask8 active = firstLanes<8>(count_ - i);
            const Int8 bins = binsOf(load(coordinates + i, active));
            unsigned inside = signBits((bins > belowFirst) & (aboveLast > bins) & active);
            if (inside == 0) continue;
            int32_t binOf[8];
            store(binOf, bins);
            for (; inside != 0; inside &= inside - 1) {
                const int lane = std::countr_zero(inside);
                int32_t &place = places[binOf[lane]];
                if (place >= 0) collected[place++] = coordinates[i + lane];
            }
        }
    };
    collect(lows_, lowsAt_, scratch[0]);
    collect(highs_, highsAt_, scratch[1]);
    if (planarCount_ == 0) return;

    // The planars of a bin are among its lows, so there is room for them at the same place.
    for (int32_t bin = firstChosen_; bin <= lastChosen_; ++bin) planarsAt_[bin] = lowsAt_[bin] - lowsIn_[bin];
    for (int32_t i = 0; i < count_; ++i) {
        if (lows_[i] != highs_[i]) continue;
        int32_t bins[8];
        store(bins, binsOf(broadcast<8>(lows_[i])));
        const int32_t bin = bins[0];
        if (lowsAt_[bin] >= 0 && bin >= firstChosen_ && bin <= lastChosen_)
            scratch[2][planarsAt_[bin] + planarsIn_[bin]++] = lows_[i];
    }
}

KDEvents KDAxisSearch::eventsOfBin(int32_t bin, float *const *scratch) const {
    const int32_t lowPlace = lowsAt_[bin] - lowsIn_[bin], highPlace = highsAt_[bin] - highsIn_[bin];
    return {scratch[0] + lowPlace, scratch[1] + highPlace, scratch[2] + lowPlace, lowsIn_[bin], highsIn_[bin], planarsIn_[bin]};
}

template <bool planar> void KDAxisSearch::searchBins(float *const *scratch) {
    int32_t below = 0, above = count_;
    for (int32_t bin = 0; bin <= lastChosen_; ++bin) {
        above -= highsIn_[bin];
        if (lowsAt_[bin] >= 0 && !(binBound_[bin] > best_.cost))
            search<planar>(eventsOfBin(bin, scratch), below, above, scratch);
        below += lowsIn_[bin];
    }
}

template <bool planar>
void KDAxisSearch::search(const KDEvents &events, int32_t lowsBelow, int32_t highsAbove, float *const *scratch) {
    if (events.lowCount + events.highCount <= mostCounted)
        searchByCounting<planar>(events, lowsBelow, highsAbove);
    else
        searchBySweeping<planar>(events, lowsBelow, highsAbove, scratch);
}

namespace {

Int8 countAt(const float *events, int32_t count, Float8 x) {
    Int8 found = broadcast<8>(0);
    for (int32_t i = 0; i < count; ++i) found = found - bitsOf(broadcast<8>(events[i]) == x);
    return found;
}

} // namespace

void KDAxisSearch::offerEight(Mask8 active, Float8 x, Int8 left, Int8 right, int32_t planarSide) {
    const KDEightCosts costs = KDEightCosts(cost_, x, left, right).among(active);
    if (costs.atMost(minimum(best_.cost, upper_)) == 0) return;
    const double lowest = costs.lowest();
    float planes[8];
    int32_t leftCounts[8], rightCounts[8];
    store(planes, x);
    store(leftCounts, left);
    store(rightCounts, right);
    for (unsigned lanes = costs.atMost(lowest); lanes != 0; lanes &= lanes - 1) {
        const int lane = std::countr_zero(lanes);
        best_.offerSwept(lowest, planes[lane], leftCounts[lane], rightCounts[lane], planarSide);
    }
}

// Compares every event with every other. The candidate planes are the lows and the highs, eight of each at a time.
template <bool planar> void KDAxisSearch::searchByCounting(const KDEvents &events, int32_t lowsBelow, int32_t highsAbove) {
    const auto offer = [&](const KDEightPlanes &planes, Mask8 active) {
        if constexpr (planar) {
            const Mask8 lanes = (planes.x <= broadcast<8>(lastEnd_)) & active;
            const Int8 k = countAt(events.planars, events.planarCount, planes.x);
            offerEight(lanes, planes.x, planes.below, planes.above + k, 1);
            offerEight(lanes & (k > broadcast<8>(0)), planes.x, planes.below + k, planes.above, 0);
        } else {
            offerEight(active, planes.x, planes.below, planes.above, 1);
        }
    };
    const auto planesFrom = [&](const float *candidates, int32_t i, Mask8 active) {
        return KDEightPlanes{load(candidates + i, active), broadcast<8>(lowsBelow), broadcast<8>(highsAbove)};
    };
    const int32_t most = events.lowCount > events.highCount ? events.lowCount : events.highCount;
    for (int32_t i = 0; i < most; i += 8) {
        const Mask8 lowLanes = firstLanes<8>(events.lowCount - i), highLanes = firstLanes<8>(events.highCount - i);
        KDEightPlanes lows = planesFrom(events.lows, i, lowLanes), highs = planesFrom(events.highs, i, highLanes);
        const int32_t both = events.lowCount < events.highCount ? events.lowCount : events.highCount;
        for (int32_t k = 0; k < both; ++k) {
            const Float8 low = broadcast<8>(events.lows[k]), high = broadcast<8>(events.highs[k]);
            lows.count(low, high);
            highs.count(low, high);
        }
        for (int32_t k = both; k < events.lowCount; ++k) {
            const Float8 low = broadcast<8>(events.lows[k]);
            lows.below = lows.below - bitsOf(low < lows.x);
            highs.below = highs.below - bitsOf(low < highs.x);
        }
        for (int32_t k = both; k < events.highCount; ++k) {
            const Float8 high = broadcast<8>(events.highs[k]);
            lows.above = lows.above - bitsOf(high > lows.x);
            highs.above = highs.above - bitsOf(high > highs.x);
        }
        offer(lows, lowLanes);
        offer(highs, highLanes);
    }
}

template <bool planar>
void KDAxisSearch::searchBySweeping(const KDEvents &events, int32_t lowsBelow, int32_t highsAbove, float *const *scratch) {
    // The events are in the scratch arrays.
    auto *lows = const_cast<float *>(events.lows), *highs = const_cast<float *>(events.highs);
    auto *planars = const_cast<float *>(events.planars);
    sortFloats(lows, scratch[3], events.lowCount);
    sortFloats(highs, scratch[3], events.highCount);
    if constexpr (planar) sortFloats(planars, scratch[3], events.planarCount);
    int32_t passedLows = 0, passedHighs = 0, passedPlanars = 0;
    while (passedLows < events.lowCount || passedHighs < events.highCount) {
        float x = INFINITY;
        if (passedHighs < events.highCount) x = highs[passedHighs];
        if (passedLows < events.lowCount) x = minimum(lows[passedLows], x);
        if (planar && x > lastEnd_) return;
        const int32_t left = lowsBelow + passedLows;
        while (passedLows < events.lowCount && lows[passedLows] <= x) ++passedLows;
        while (passedHighs < events.highCount && highs[passedHighs] <= x) ++passedHighs;
        const int32_t right = highsAbove + events.highCount - passedHighs;
        int32_t k = 0;
        if constexpr (planar) {
            for (; passedPlanars < events.planarCount && planars[passedPlanars] == x; ++passedPlanars) ++k;
        }
        best_.offerSwept(cost_.at(x, left, right + k), x, left, right + k, 1);
        if (k > 0) best_.offerSwept(cost_.at(x, left + k, right), x, left + k, right, 0);
    }
}

// -0.0 and +0.0 are one plane. The sign that it is given is that of the event at which a walk over the sorted events, with -0.0
// before +0.0, would have come upon it.
float KDAxisSearch::signedZero() const {
    const bool atLast = !best_.swept && best_.rightCount == 0;
    struct Zeros {
        bool negative = false, positive = false;

        void add(float x) {
            if (x != 0.0f) return;
            (std::signbit(x) ? negative : positive) = true;
        }
        bool any() const { return negative || positive; }
        float signedAs(bool last) const { return (last ? !positive : negative) ? -0.0f : 0.0f; }
    };
    Zeros starts, ends, planars;
    float previous = -INFINITY; // the highest event below zero
    for (int32_t i = 0; i < count_; ++i) {
        if (lows_[i] == highs_[i]) {
            planars.add(lows_[i]);
        } else {
            starts.add(lows_[i]);
            ends.add(highs_[i]);
        }
        if (lows_[i] < 0.0f) previous = maximum(lows_[i], previous);
        if (highs_[i] < 0.0f) previous = maximum(highs_[i], previous);
    }
    if (!best_.swept) return (planars.any() ? planars : atLast ? ends : starts).signedAs(atLast);
    // While planar events lie ahead the walk prefers starts, and afterwards ends.
    const bool planarsAhead = planarCount_ > 0 && (previous == -INFINITY || planarLast_ >= previous);
    if (!planarsAhead) return (ends.any() ? ends : starts).signedAs(false);
    return (starts.any() ? starts : planars.any() ? planars : ends).signedAs(false);
}

void KDAxisSearch::result(ZyprKDSplitResult *split) const {
    const bool fromEvents = best_.swept || emptyCut_; // not from a face of the box
    const float plane = best_.plane == 0.0f && fromEvents ? signedZero() : best_.plane;
    *split = {cost(), plane, split->axis, best_.leftCount, best_.rightCount, best_.planarSide};
}

} // namespace zypr
