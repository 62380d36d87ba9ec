// The planes across one axis of a node: their cost, the best of them, and the search for it.
#pragma once

#include <cfloat>

#include "scene/kd_build.h"
#include "simd/vector.h"

namespace zypr {

struct KDExtents {
    float of[3];

    explicit KDExtents(const ZyprBox &box) {
        for (int axis = 0; axis < 3; ++axis) of[axis] = box.maximum[axis] - box.minimum[axis];
    }
};

// The cost of planes across one axis. With S the half perimeter and P the area of the box's cross section, the half surface
// area of the part below x is S (P/S + x - m); costs are compared without the factor S, which comes in at the end.
struct KDAxisCost {
    float m, M;
    double halfPerimeter; // S
    double w;             // P / S

    KDAxisCost() = default;
    KDAxisCost(const ZyprBox &box, int axis, const KDExtents &extents);

    double leftOf(float x) const { return w + static_cast<double>(x - m); }
    double rightOf(float x) const { return w + static_cast<double>(M - x); }
    double at(float x, int32_t leftCount, int32_t rightCount) const {
        return fused(static_cast<double>(leftCount), leftOf(x), static_cast<double>(rightCount) * rightOf(x));
    }
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
    void offerEight(unsigned lanes, Float8 x, Int8 left, Int8 right, int32_t planarSide);
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
