// Walks of four-ray packets, several in flight at once: what bundles of rays in random directions mostly come to. Few of a
// packet's rays take part there, often a single one, so a leaf is tested ray by ray, each on eight triangles at once.
#pragma once

#include "rays/walk_packet.h"

namespace zypr {

inline float lane(const Float4 &a, int i) { return reinterpret_cast<const float *>(&a)[i]; }

// ---- Leaves -------------------------------------------------------------------------------------------------------------

// One ray of a packet, and its nearest hit but for the distance.
class RayAtLeaves {
public:
    float weight0, weight1;
    int32_t triangle;

    template <class Group> void begin(const Group &group, int ray) {
        direction_ = components(group.direction[0], ray);
        origin_ = components(group.origins.of(0), ray);
        weight0 = weight1 = 0.0f;
        triangle = noTriangle;
    }

    [[gnu::always_inline]] void test(const TriangleLanes<8> &k, const int32_t *numbers, float &best) {
        const Int8 c = shiftedRight(k.axes, 4), p = shiftedRight(k.axes, 2), q = k.axes;
        const Float8 d = direction_, o = origin_;
        const Meetings<8> meeting(k, {permuted(d, c), permuted(d, p), permuted(d, q)},
                                  {k.originC - permuted(o, c), k.originP - permuted(o, p), k.originQ - permuted(o, q)});
        const Float8 r = refined(meeting.reciprocalOfDen(), meeting.den), t = meeting.num * r;
        const Mask8 hit = meeting.inside & (t < broadcast<8>(best)) & (t > broadcast<8>(0.0f)) & ~(k.axes == broadcast<8>(0));
        unsigned hits = signBits(hit);
        if (hits == 0) return;
        float ts[8], w0[8], w1[8];
        store(ts, t);
        store(w0, meeting.u0 * r);
        store(w1, meeting.u1 * r);
        for (; hits != 0; hits &= hits - 1) {
            const int i = __builtin_ctz(hits);
            if (!(ts[i] < best)) continue;
            best = ts[i];
            weight0 = w0[i];
            weight1 = w1[i];
            triangle = numbers[i];
        }
    }

private:
    static Float8 components(const Float4 (&v)[3], int ray) {
        const Float4 half = {_mm_setr_ps(lane(v[0], ray), lane(v[1], ray), lane(v[2], ray), 0.0f)};
        return joined(half, half);
    }

    Float8 direction_, origin_; // x, y and z in each half
};

// The nearest hits of a packet's live rays: of the only one, or of up to four. The others accept no hit.
template <int N> struct NearestOfRays {
    const ZyprTriangleAccel *accel;
    unsigned live;
    float best[N];
    RayAtLeaves ray[N];

    // Calls action(the ray's place here, its lane in the packet).
    template <class Action> [[gnu::always_inline]] void forEachRay(Action action) const {
        if constexpr (N == 1) {
            action(0, __builtin_ctz(live));
        } else {
            for (unsigned rays = live; rays != 0; rays &= rays - 1) action(__builtin_ctz(rays), __builtin_ctz(rays));
        }
    }

    template <class Group> void begin(const Group &group, Float4 dist) {
        if constexpr (N == 4) store(best, dist);
        forEachRay([&](int i, int inPacket) {
            best[i] = lane(dist, inPacket);
            ray[i].begin(group, inPacket);
        });
    }

    void visit(const LeafTriangles &triangles) {
        for (const int32_t *k = triangles.begin(); k < triangles.end(); k += 8) {
            const ZyprTriangleAccel *records[8];
            const ptrdiff_t last = triangles.end() - k - 1;
            for (int i = 0; i < 8; ++i) records[i] = accel + k[i < last ? i : last]; // a second test changes nothing
            const TriangleLanes<8> lanes = inLanes(records);
            forEachRay([&](int i, int) { ray[i].test(lanes, k, best[i]); });
        }
    }
};

// ---- Walks --------------------------------------------------------------------------------------------------------------

// What a walk goes by at splits: a packet's rays, or one of them in all lanes.
class RaysAtSplits {
public:
    template <class Group> void begin(const Group &group) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            origin_[axis] = group.origins.of(0)[axis];
            inverse_[axis] = group.inverse[0][axis];
            far_[axis] = ~group.octant >> axis & 1;
        }
    }
    template <class Group> void begin(const Group &group, int ray) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            origin_[axis] = broadcast<4>(lane(group.origins.of(0)[axis], ray));
            inverse_[axis] = broadcast<4>(lane(group.inverse[0][axis], ray));
            far_[axis] = ~group.octant >> axis & 1;
        }
    }

    Float4 planeDistance(unsigned axis, float coordinate) const {
        return (broadcast<4>(coordinate) - origin_[axis]) * inverse_[axis];
    }
    size_t far(unsigned axis) const { return far_[axis]; }

private:
    Float4 origin_[3], inverse_[3];
    size_t far_[3]; // which child of a pair is the far one
};

// Both walks choose near, far or both without a branch, as no branch would be foretold. An empty far leaf is left out at once:
// what lies beyond it has the interval that the leaf would have passed on. Query has `best`, visit(triangles), and finish() to
// write the results.

// The walk of one ray.
template <class Query> class LoneWalk {
public:
    RaysAtSplits rays;
    Query query;

    template <class Group> void begin(const ZyprKDNode *root, const Group &group, const Progress<4> &start, unsigned live) {
        const int ray = __builtin_ctz(live);
        rays.begin(group, ray);
        node_ = root;
        t0_ = broadcast<4>(lane(start.t0, ray));
        t1_ = broadcast<4>(lane(start.t1, ray));
        top_ = stack_;
    }

    bool atLeaf() const { return isLeaf(*node_); }

    // At an inner node.
    void step() {
        const unsigned axis = splitAxis(*node_);
        const Float4 ts = rays.planeDistance(axis, splitValue(*node_));
        const ZyprKDNode *pair = childPair(*node_);
        const size_t far = rays.far(axis);
        const Mask4 enters = t0_ <= ts;
        const Mask4 crosses = enters & (ts <= t1_);
        *top_ = {pair + far, lane0(ts), lane0(t1_)};
        top_ += signBits(crosses) & size_t{!isEmptyLeaf(pair[far])};
        t1_ = select(crosses, ts, t1_);
        node_ = pair + (far ^ (signBits(enters) & 1));
    }

    // At a leaf: goes on to the next place; false when the walk has ended.
    bool passLeaf() {
        if (!isEmptyLeaf(*node_)) query.visit(LeafTriangles(*node_));
        if (top_ == stack_) return false;
        --top_;
        node_ = top_->node;
        t0_ = broadcast<4>(top_->t0);
        t1_ = broadcast<4>(top_->t1);
        return top_->t0 < query.best[0];
    }

private:
    struct Place {
        const ZyprKDNode *node;
        float t0, t1; // with which the walk goes on there
    };

    const ZyprKDNode *node_;
    Place *top_;
    Float4 t0_, t1_;
    Place stack_[stackPlaces];
};

// Whether no ray that may become active has an interval that ends before it begins. A ray with no distance to accept never
// does: it does not enter the box, and whoever leaves a far child behind has an exit of at least its entry, which is at least
// 0.
inline bool isRegular(const Progress<4> &start, Float4 best) {
    return all((start.t0 <= start.t1) | (best <= broadcast<4>(0.0f)));
}

// The walk of a packet, which must be regular.
template <class Query> class PacketWalk {
public:
    RaysAtSplits rays;
    Query query;

    template <class Group> void begin(const ZyprKDNode *root, const Group &group, const Progress<4> &start, unsigned) {
        rays.begin(group);
        node_ = root;
        t0_ = start.t0;
        t1_ = start.t1;
        active_ = signBits(start.active);
        top_ = stack_;
    }

    bool atLeaf() const { return isLeaf(*node_); }

    void step() {
        const unsigned axis = splitAxis(*node_);
        const Float4 ts = rays.planeDistance(axis, splitValue(*node_));
        const ZyprKDNode *pair = childPair(*node_);
        const size_t far = rays.far(axis);
        const unsigned entering = active_ & signBits(t0_ <= ts);
        const unsigned reaching = active_ & signBits(ts <= t1_);
        const size_t crosses = (entering != 0) & (reaching != 0);
        const Float4 t = maximum(minimum(t1_, ts), t0_); // at most t1
        Place *const pushed = top_ + (crosses & !isEmptyLeaf(pair[far]));
        *top_ = {pair + far, t, t1_};
        top_ = pushed;
        t1_ = minimum(floatsOf(bitsOf(t) | unless[crosses]), t1_);
        active_ &= entering | (static_cast<unsigned>(crosses) - 1); // all that enter have t0 at most t1
        node_ = pair + (far ^ (entering != 0));
    }

    bool passLeaf() {
        if (!isEmptyLeaf(*node_)) query.visit(LeafTriangles(*node_));
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
    Place stack_[stackPlaces];
};

// Takes a step of each walk in turn, so that the steps of one hide the latency of another's. The walks must not depend on each
// other's results.
template <class Walk, int places> class WalksInFlight {
public:
    WalksInFlight() {
        for (int i = 0; i < places; ++i) flights_[i].next = &flights_[(i + 1) % places];
    }
    WalksInFlight(const WalksInFlight &) = delete;

    // A walk for the caller to begin; when all are in flight, one of them is finished first.
    Walk &launch() {
        if (flying_ < places) return flights_[flying_++].walk;
        return finishOne().next->walk;
    }
    void finishAll() {
        if (flying_ == 0) return;
        last_ = &flights_[flying_ - 1];
        last_->next = flights_;
        for (; flying_ > 0; --flying_) {
            Flight &before = finishOne();
            before.next = before.next->next;
        }
    }

private:
    struct Flight {
        Flight *next; // in a ring
        Walk walk;
    };

    // Returns the flight before the one that has ended.
    Flight &finishOne() {
        for (Flight *before = last_, *flight = before->next;; before = flight, flight = flight->next) {
            Walk &walk = flight->walk;
            if (!walk.atLeaf()) {
                walk.step();
            } else if (!walk.passLeaf()) {
                walk.query.finish();
                return *(last_ = before);
            }
        }
    }

    Flight flights_[places];
    Flight *last_ = &flights_[places - 1];
    int flying_ = 0;
};

} // namespace zypr
