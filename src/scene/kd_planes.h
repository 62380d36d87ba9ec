// The planes across one axis of a node: their cost, the best of them, and the search for it.
#pragma once

#include <cfloat>

#include "scene/kd_build.h"
#include "simd/vector.h"

namespace zypr {

constexpr float kdEmptyShare = 0.1f;     // a gap above this share of the extent is cut off, whatever lies between the gaps
constexpr double kdEmptyDiscount = 0.7f; // for cuts that leave one side empty, or flat

// The cost of planes across one axis. With S the half perimeter and P the area of the box's cross section, the half surface
// area of the part below x is S (P/S + x - m); costs are compared without the factor S, which comes in at the end.
struct KDAxisCost {
    float m, M;
    double halfPerimeter; // S
    double w;             // P / S

    double leftOf(float x) const { return w + static_cast<double>(x - m); }
    double rightOf(float x) const { return w + static_cast<double>(M - x); }
    double at(float x, int32_t leftCount, int32_t rightCount) const {
        return fused(static_cast<double>(leftCount), leftOf(x), static_cast<double>(rightCount) * rightOf(x));
    }
};

// The box of a node, with the three axes in lanes of their own; the fourth lane is zero.
struct KDNodeBox {
    Float4 m, M, extent, halfPerimeter, area; // of the cross section the last two
    Mask4 evaluated;                          // axes that are worth a look: a box that is flat on two has no area to cut

    explicit KDNodeBox(const ZyprBox &box) {
        const Mask4 xyz = firstLanes<4>(3);
        const Float4 smallestExtent = broadcast<4>(1e-5f);
        m = load(box.minimum, xyz);
        M = load(box.maximum, xyz);
        extent = M - m;
        const Float4 eb = {_mm_permute_ps(extent.v, _MM_SHUFFLE(3, 0, 2, 1))};
        const Float4 ec = {_mm_permute_ps(extent.v, _MM_SHUFFLE(3, 1, 0, 2))};
        evaluated = (extent > smallestExtent) & ((eb > smallestExtent) | (ec > smallestExtent));
        halfPerimeter = eb + ec;
        area = eb * ec;
    }
    bool evaluates(int axis) const { return (signBits(evaluated) >> axis & 1) != 0; }
    // No 0 / 0, which might trap, even where a compiler divides first and decides afterwards.
    KDAxisCost costOf(int axis) const {
        const double S = halfPerimeter.v[axis], P = area.v[axis];
        return {m.v[axis], M.v[axis], S, P < smallestArea ? 0.0 : P / maximum(S, DBL_MIN)};
    }
    // All w, in single precision.
    Float4 nearW() const {
        const Mask4 largeEnough = area > broadcast<4>(static_cast<float>(smallestArea)); // rounds to less
        return keep(largeEnough, area / maximum(halfPerimeter, broadcast<4>(FLT_MIN)));
    }

private:
    static constexpr double smallestArea = 1e-9;
};

// Eight planes with the references that begin below them and those that end above them.
struct KDEightPlanes {
    Float8 x;
    Int8 below, above;

    void count(Float8 lowEvent, Float8 highEvent) {
        below = below - bitsOf(lowEvent < x);
        above = above - bitsOf(highEvent > x);
    }
};

struct KDEightCosts {
    Double4 first, second;

    KDEightCosts(const KDAxisCost &cost, Float8 x, Int8 left, Int8 right) {
        const Float8 toLeft = x - broadcast<8>(cost.m), toRight = broadcast<8>(cost.M) - x;
        const Double4 w = broadcastDouble(cost.w);
        const auto four = [w](Float4 l, Float4 r, Int4 leftCounts, Int4 rightCounts) {
            return fused(widened(leftCounts), w + widened(l), widened(rightCounts) * (w + widened(r)));
        };
        first = four(low(toLeft), low(toRight), low(left), low(right));
        second = four(high(toLeft), high(toRight), high(left), high(right));
    }
    // One bit for each that is.
    unsigned atMost(double limit) const {
        const __m256d v = _mm256_set1_pd(limit);
        return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(first.v, v, _CMP_LE_OQ))) |
               static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(second.v, v, _CMP_LE_OQ))) << 4;
    }
    double lowest() const {
        const Double4 four = minimum(first, second);
        const __m128d two = _mm_min_pd(_mm256_castpd256_pd128(four.v), _mm256_extractf128_pd(four.v, 1));
        return _mm_cvtsd_f64(_mm_min_sd(two, _mm_unpackhi_pd(two, two)));
    }
    // The others, and what is no number, become DBL_MAX.
    KDEightCosts among(Mask8 lanes) const {
        const __m256d most = _mm256_set1_pd(DBL_MAX);
        const auto kept = [most](Double4 four, Mask4 mask) {
            const __m256d wide = _mm256_castsi256_pd(_mm256_cvtepi32_epi64(raw(mask)));
            return Double4{_mm256_min_pd(_mm256_blendv_pd(most, four.v, wide), most)};
        };
        return {kept(first, low(lanes)), kept(second, high(lanes))};
    }

private:
    KDEightCosts(Double4 firstFour, Double4 secondFour) : first(firstFour), second(secondFour) {}
};

// The best candidate so far on one axis; its cost is without the factor S.
struct KDBestPlane {
    double cost = DBL_MAX;
    float plane = 0.0f;
    int32_t leftCount = 0, rightCount = 0, planarSide = 1;
    bool swept = false; // found among the planes between the ends

    bool found() const { return cost < DBL_MAX; }

    // For the ends of the axis: among equal costs the first candidate stays.
    void offer(double candidate, float x, int32_t left, int32_t right, int32_t side) {
        if (candidate < cost) *this = {candidate, x, left, right, side, false};
    }
    // For the planes in between, in any order: among equal costs the lowest plane stays, and on one plane the first candidate.
    void offerSwept(double candidate, float x, int32_t left, int32_t right, int32_t side) {
        if (candidate < cost || (candidate == cost && swept && x < plane)) *this = {candidate, x, left, right, side, true};
    }
};

// Coordinates of events on an axis: where references begin, where they end, and those of references that lie in one plane,
// which begin and end there too.
struct KDEvents {
    const float *lows, *highs, *planars;
    int32_t lowCount, highCount, planarCount;
};

// What a split must save: more than one step of traversal costs.
struct KDAcceptance {
    static constexpr double smallestSaving = 1e-5f; // keeps degenerate boxes from splitting for free

    double leafCost, margin, count;

    KDAcceptance(const ZyprBox &box, int32_t refCount, float traversalCost)
        : leafCost(kdLeafCost(box, refCount)), margin(maximum(static_cast<double>(traversalCost) * leafCost, smallestSaving)),
          count(refCount) {}
    bool accepts(double cost) const { return count * (leafCost - cost) > margin; }
    // A cost above which nothing is accepted, a little generous against rounding.
    double limit() const { return leafCost - margin / count + leafCost * 1e-12; }
};

// The lowest cost; the later axis among equal ones.
inline int kdCheapestAxis(const double *costs) {
    if (costs[1] <= costs[0]) return costs[2] > costs[1] ? 1 : 2;
    return costs[2] <= costs[0] ? 2 : 0;
}

// The search of a node of few references, whose planes all fit a few registers (kd_few.cpp). False if it is of no avail,
// because a reference lies in a plane, say; the node then needs the search by axes.
constexpr int32_t kdMostOfFew = 64;
bool kdFindBestSplitOfFew(ZyprKDSplitResult *result, int32_t count, const ZyprBox &box, const KDBounds &bounds,
                          float traversalCost);

// The search of one axis of one node.
//
// At a plane x let A be the references that begin below it, B those that end above it and k those that lie in it. A go left and
// B + k right, or A + k left and B right, whichever side takes the ones in the plane. A never falls and B never rises with x,
// and neither do the areas of the two sides; so from the counts of events in the bins of a histogram comes a bound that no
// plane of a bin costs less than. Every operation of the cost rounds monotonically, so this holds for the rounded costs too.
// Bins whose bound is above the cost of some plane need no look at their planes.
class KDAxisSearch {
public:
    // Looks at the ends of the axis, and counts the events in bins.
    void prepare(const KDAxisCost &axisCost, const float *refLows, const float *refHighs, int32_t refCount);
    // Looks at the planes in between, unless they cost more than `limit`. `scratch` has four arrays of one float per reference.
    void finish(double limit, float *const *scratch);

    bool searchable() const { return searchable_; }
    double bound() const { return factor_ * bound_; } // no plane costs less
    double cost() const { return factor_ * best_.cost; }
    // The best plane; to be asked once the search is finished.
    void result(ZyprKDSplitResult *split) const;

private:
    static constexpr int32_t mostBins = 1024;

    void cutEmptySpace();
    void splitOffFaces();
    void countEvents();
    void boundBins();
    bool chooseBins();
    void collectEvents(float *const *scratch);
    KDEvents eventsOfBin(int32_t bin, float *const *scratch) const;
    template <bool planar> void searchAll(float *const *scratch);
    template <bool planar> void searchBins(float *const *scratch);
    template <bool planar> void search(const KDEvents &events, int32_t lowsBelow, int32_t highsAbove, float *const *scratch);
    template <bool planar> void searchByCounting(const KDEvents &events, int32_t lowsBelow, int32_t highsAbove);
    template <bool planar>
    void searchBySweeping(const KDEvents &events, int32_t lowsBelow, int32_t highsAbove, float *const *scratch);
    void offerEight(Mask8 active, Float8 x, Int8 left, Int8 right, int32_t planarSide);
    float signedZero() const;
    Int8 binsOf(Float8 coordinates) const;

    KDAxisCost cost_;
    const float *lows_, *highs_;
    int32_t count_;

    KDBestPlane best_;
    bool searchable_, emptyCut_, ended_;
    double factor_; // of the costs: S, with the discount if the axis ended with a cut of empty space
    double bound_;  // the smallest of the bins
    double upper_;  // planes that cost more are of no interest
    bool bounded_;  // whether costs are known to lie within bounds

    float first_, last_; // the lowest and the highest event
    int32_t planarCount_;
    float planarFirst_, planarLast_, lastEnd_; // without planars, lastEnd_ is last_

    int32_t binCount_; // 0: few references, no bins
    float binScale_;
    int32_t firstChosen_, lastChosen_;
    int32_t lowsIn_[mostBins], highsIn_[mostBins], planarsIn_[mostBins]; // counts
    int32_t lowsAt_[mostBins], highsAt_[mostBins], planarsAt_[mostBins]; // where the next one goes; negative: not chosen
    double binBound_[mostBins];
};

} // namespace zypr
