// Walks of four-ray packets, several in flight at once: what bundles of rays in random directions mostly come to. Few of a
// packet's rays take part there, so a leaf is tested ray by ray, each on several triangles at once.
#pragma once

#include "rays/walk_packet.h"

namespace zypr {

// The nearest hits of a packet's live rays. The others accept no hit.
template <int W, class Group> struct NearestOfLiveRays { // W: triangles per test
    Group group;
    const ZyprTriangleAccel *accel;
    unsigned live;
    float best[4], weight0[4], weight1[4];
    int32_t triangle[4];

    void visit(const LeafTriangles &triangles) {
        for (const int32_t *k = triangles.begin(); k < triangles.end(); k += W) {
            const ZyprTriangleAccel *records[W];
            const ptrdiff_t last = triangles.end() - k - 1;
            for (int i = 0; i < W; ++i) records[i] = accel + k[i < last ? i : last]; // a second test changes nothing
            const TriangleLanes<W> lanes = inLanes<W>(records);
            for (unsigned rays = live; rays != 0; rays &= rays - 1) test(lanes, k, static_cast<unsigned>(__builtin_ctz(rays)));
        }
    }

private:
    static Floats<W> components(const Floats<4> (&v)[3], unsigned ray) {
        float lanes[3];
        for (int axis = 0; axis < 3; ++axis) lanes[axis] = reinterpret_cast<const float *>(&v[axis])[ray];
        const Float4 four = {_mm_set_ps(0.0f, lanes[2], lanes[1], lanes[0])};
        if constexpr (W == 4)
            return four;
        else
            return joined(four, four);
    }

    void test(const TriangleLanes<W> &k, const int32_t *numbers, unsigned ray) {
        const Ints<W> c = shiftedRight(k.axes, 4), p = shiftedRight(k.axes, 2), q = k.axes;
        const Floats<W> d = components(group.direction[0], ray), o = components(group.origins.of(0), ray);
        const Meetings<W> meeting(k, {permuted(d, c), permuted(d, p), permuted(d, q)},
                                  {k.originC - permuted(o, c), k.originP - permuted(o, p), k.originQ - permuted(o, q)});
        const Floats<W> r = refined(meeting.reciprocalOfDen(), meeting.den), t = meeting.num * r;
        const Mask<W> hit =
            meeting.inside & (t < broadcast<W>(best[ray])) & (t > broadcast<W>(0.0f)) & ~(k.axes == broadcast<W>(0));
        unsigned hits = signBits(hit);
        if (hits == 0) return;
        float ts[W], w0[W], w1[W];
        store(ts, t);
        store(w0, meeting.u0 * r);
        store(w1, meeting.u1 * r);
        for (; hits != 0; hits &= hits - 1) {
            const int i = __builtin_ctz(hits);
            if (!(ts[i] < best[ray])) continue;
            best[ray] = ts[i];
            weight0[ray] = w0[i];
            weight1[ray] = w1[i];
            triangle[ray] = numbers[i];
        }
    }
};

// Whether no ray that may become active has an interval that ends before it begins. A ray with no distance to accept never
// does: it does not enter the box, and whoever leaves a far child behind has an exit of at least its entry, which is at least
// 0.
inline bool isRegular(const Progress<4> &start, Float4 best) {
    return all((start.t0 <= start.t1) | (best <= broadcast<4>(0.0f)));
}

// A packet on its way, which must be regular. Query has `group`, `best` and visit(triangles), and finish() to write the
// results.
template <class Query> class FlyingWalk {
public:
    void begin(const ZyprKDNode *root, const Progress<4> &start) {
        node_ = root;
        t0_ = start.t0;
        t1_ = start.t1;
        active_ = signBits(start.active);
        top_ = stack_;
        for (unsigned axis = 0; axis < 3; ++axis) upperFirst_[axis] = query.group.octant >> axis & 1;
    }

    bool atLeaf() const { return isLeaf(*node_); }

    // At an inner node. Near, far or both is chosen without a branch, as no branch would be foretold. An empty far leaf is left
    // out at once: what lies beyond it has the interval that the leaf would have passed on.
    void step() {
        const unsigned axis = splitAxis(*node_);
        const Float4 ts = query.group.planeDistance(0, axis, splitValue(*node_));
        const ZyprKDNode *pair = childPair(*node_);
        const ZyprKDNode *far = pair + (upperFirst_[axis] ^ 1);
        const unsigned entering = active_ & signBits(t0_ <= ts);
        const unsigned reaching = active_ & signBits(ts <= t1_);
        const size_t crosses = (entering != 0) & (reaching != 0);
        const Float4 t = maximum(minimum(t1_, ts), t0_); // at most t1
        Place *const pushed = top_ + (crosses & !isEmptyLeaf(*far));
        *top_ = {far, t, t1_};
        top_ = pushed;
        t1_ = minimum(floatsOf(bitsOf(t) | unless[crosses]), t1_);
        active_ = crosses ? entering : active_; // all of them have t0 at most t1
        node_ = pair + (upperFirst_[axis] ^ (entering == 0));
    }

    // At a leaf: goes on to the next place; false when the walk has ended.
    bool passLeaf() {
        if (node_->word1 != 0) query.visit(LeafTriangles(*node_));
        if (top_ == stack_) return false;
        --top_;
        node_ = top_->node;
        t0_ = top_->t0;
        t1_ = top_->t1;
        active_ = signBits(t0_ < load<4>(query.best));
        return active_ != 0;
    }

private:
    struct alignas(64) Place { // a cache line
        const ZyprKDNode *node;
        Float4 t0, t1; // with which the walk goes on there
    };
    static constexpr Int4 unless[2] = {{{-1, -1, -1, -1}}, {{0, 0, 0, 0}}}; // all ones make a NaN, which is no minimum

    const ZyprKDNode *node_;
    unsigned active_;
    Float4 t0_, t1_;
    Place *top_;
    size_t upperFirst_[3];

public:
    Query query;

private:
    Place stack_[stackPlaces];
};

// Takes a step of each walk in turn, so that the steps of one hide the latency of another's. The walks must not depend on each
// other's results.
template <class Walk, int places> class WalksInFlight {
public:
    WalksInFlight() {
        for (int i = 0; i < places; ++i) order_[i] = &walks_[i];
    }
    WalksInFlight(const WalksInFlight &) = delete;

    // A walk for the caller to begin and then to launch; when all are in flight, one of them is finished first.
    Walk &vacant() {
        if (flying_ == places) finishOne();
        return *order_[flying_];
    }
    void launch() { ++flying_; }
    void finishAll() {
        while (flying_ > 0) finishOne();
    }

private:
    void finishOne() {
        for (;;)
            for (int i = 0; i < flying_; ++i) {
                Walk &walk = *order_[i];
                if (!walk.atLeaf()) {
                    walk.step();
                } else if (!walk.passLeaf()) {
                    walk.query.finish();
                    order_[i] = order_[--flying_];
                    order_[flying_] = &walk;
                    return;
                }
            }
    }

    Walk walks_[places];
    Walk *order_[places];
    int flying_ = 0;
};

} // namespace zypr
