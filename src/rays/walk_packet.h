// The walk of packets of four or eight rays of one octant, and the triangle test on their lanes.
//
// Two packets of one octant may walk together: each goes its own way through the tree, by its own decisions, but what both
// visit is fetched and decoded once, and the arithmetic of one hides the latency of the other's.
#pragma once

#include "rays/bundle.h"
#include "rays/kd_tree.h"
#include "rays/meetings.h"

namespace zypr {

// One origin for all rays of a group of packets, or one per ray.
template <int N> struct CommonOrigins {
    Floats<N> point[3];

    const Floats<N> (&of(int) const)[3] { return point; }
    Floats<N> distance(int, unsigned axis, float coordinate) const { return broadcast<N>(coordinate) - point[axis]; }
};
template <int N, int packets> struct OwnOrigins {
    Floats<N> points[packets][3];

    const Floats<N> (&of(int packet) const)[3] { return points[packet]; }

    Floats<N> distance(int packet, unsigned axis, float coordinate) const {
        return broadcast<N>(coordinate) - points[packet][axis];
    }
};

template <int N, int packets, class Origins> struct RayGroup {
    Origins origins;
    Floats<N> direction[packets][3];
    Floats<N> inverse[packets][3];
    unsigned octant;

    // From the origins to a plane of the axis, in units of the directions' length.
    Floats<N> planeDistance(int packet, unsigned axis, float coordinate) const {
        return origins.distance(packet, axis, coordinate) * inverse[packet][axis];
    }
};

template <int N> struct Intervals { Floats<N> t0, t1; };

// The refined reciprocals of a component; where it is too small, `replacement` stands in for the estimate.
template <int N> Floats<N> inverseOf(Floats<N> d, float replacement) {
    const Mask<N> small = magnitude(d) <= broadcast<N>(infinitesimal);
    return refined(select(small, broadcast<N>(replacement), reciprocalEstimate(d)), d);
}

// Where the rays enter and leave the box, from 0 to `best`; the exit is not padded yet.
template <int N, class Group> Intervals<N> boxIntervals(const ZyprBox &bound, const Group &group, int packet, Floats<N> best) {
    Intervals<N> t = {broadcast<N>(0.0f), best};
    for (unsigned axis = 0; axis < 3; ++axis) {
        const Floats<N> a = group.planeDistance(packet, axis, bound.minimum[axis]);
        const Floats<N> b = group.planeDistance(packet, axis, bound.maximum[axis]);
        t.t0 = maximum(minimum(a, b), t.t0);
        t.t1 = minimum(maximum(a, b), t.t1);
    }
    return t;
}

// What a packet's walk starts with, and where it stands.
template <int N> struct Progress {
    Floats<N> t0, t1;
    Mask<N> active; // none while the packet leaves a subtree to the other
};

// Walks the packets whose bits are set in `present`, with one decision per node and packet for all its lanes.
// query.visit(triangles, present) tests a leaf on all lanes of these packets; query.remaining(packet, t1) are the lanes that
// what lies beyond t1 still concerns.
template <int N, int packets, class Group, class Query>
void kdWalkRays(const ZyprKDNode *node, const Group &group, const Progress<N> (&start)[packets], unsigned present,
                Query &query) {
    struct Place {
        const ZyprKDNode *node;
        unsigned returning; // packets that come here when they are through with the near child
        unsigned waiting;   // packets that came here at once, and wait for the other
        Floats<N> t1[packets];
        Mask<N> active[packets]; // of those that wait
    };
    Place stack[stackPlaces];
    Place *top = stack;
    Floats<N> t0[packets], t1[packets];
    Mask<N> active[packets];
    for (int i = 0; i < packets; ++i) {
        t0[i] = start[i].t0;
        t1[i] = start[i].t1;
        active[i] = start[i].active;
    }
    unsigned unfinished = present;
    for (;;) {
        while (!isLeaf(*node)) {
            const unsigned axis = splitAxis(*node);
            const float value = splitValue(*node);
            Floats<N> ts[packets];
            unsigned entering = 0, reaching = 0;
            for (int i = 0; i < packets; ++i) {
                ts[i] = group.planeDistance(i, axis, value);
                entering |= static_cast<unsigned>(!disjoint(active[i], t0[i] <= ts[i])) << i;
                reaching |= static_cast<unsigned>(!disjoint(active[i], ts[i] <= t1[i])) << i;
            }
            const unsigned upperFirst = group.octant >> axis & 1;
            const ZyprKDNode *near = childPair(*node) + upperFirst;
            const ZyprKDNode *far = childPair(*node) + (upperFirst ^ 1);
            if (entering == 0) {
                node = far;
                continue;
            }
            node = near;
            const unsigned crossing = entering & reaching;
            const unsigned passing = present ^ entering;
            if ((crossing | passing) == 0) continue;
            top->node = far;
            top->returning = crossing;
            top->waiting = passing;
            for (int i = 0; i < packets; ++i) {
                top->t1[i] = t1[i];
                if (packets > 1 && !(crossing >> i & 1)) {
                    top->active[i] = active[i];
                    if (passing >> i & 1) active[i] = noLanes<N>();
                    continue;
                }
                const Floats<N> m = minimum(t1[i], ts[i]);
                t1[i] = maximum(m, t0[i]);
                active[i] = active[i] & (t0[i] <= m);
            }
            ++top;
            present = entering;
        }
        if (node->word1 != 0) query.visit(LeafTriangles(*node), present);
        do {
            if (top == stack) return;
            --top;
            present = top->waiting;
            for (int i = 0; i < packets; ++i) {
                if (top->returning & unfinished & 1u << i) {
                    active[i] = query.remaining(i, t1[i]);
                    t0[i] = t1[i];
                    t1[i] = top->t1[i];
                    (any(active[i]) ? present : unfinished) ^= 1u << i;
                } else {
                    active[i] = top->waiting >> i & 1 ? top->active[i] : noLanes<N>();
                }
            }
            if (unfinished == 0) return;
        } while (present == 0);
        node = top->node;
    }
}

// Where the rays of a packet meet a triangle.
template <int N, class Group>
[[gnu::always_inline]] inline Meetings<N> meetingsOf(const Group &group, int packet, const ZyprTriangleAccel &accel) {
    const unsigned c = accel.axes >> 4 & 3, p = accel.axes >> 2 & 3, q = accel.axes & 3;
    const auto &d = group.direction[packet];
    return Meetings<N>(inAllLanes<N>(accel), {d[c], d[p], d[q]},
                       {group.origins.distance(packet, c, accel.originC), group.origins.distance(packet, p, accel.originP),
                        group.origins.distance(packet, q, accel.originQ)});
}

// The nearest hit of each lane so far.
template <int N> struct NearestHits {
    Floats<N> best;
    Floats<N> weight0 = broadcast<N>(0.0f), weight1 = broadcast<N>(0.0f);
    Ints<N> triangle = broadcast<N>(noTriangle);

    Mask<N> remaining(Floats<N> t1) const { return t1 < best; }

    // Takes triangle k in those of the lanes that meet it nearer than what they have.
    [[gnu::always_inline]] void take(const Meetings<N> &meeting, int32_t k, Mask<N> lanes) {
        const Floats<N> r = refined(meeting.reciprocalOfDen(), meeting.den);
        const Floats<N> t = meeting.num * r;
        const Mask<N> hit = lanes & (t < best) & (t > broadcast<N>(0.0f));
        best = select(hit, t, best);
        weight0 = select(hit, meeting.u0 * r, weight0);
        weight1 = select(hit, meeting.u1 * r, weight1);
        triangle = select(hit, broadcast<N>(k), triangle);
    }
};

// The last four triangles that a walk of eight rays tested: one that straddles leaves need not be tested again at once.
class TestedTriangles {
public:
    bool has(int32_t k) const { return any(last_ == broadcast<4>(k)); }
    void add(int32_t k) { last_ = {reinterpret_cast<int4Register>(_mm_alignr_epi8(raw(last_), raw(broadcast<4>(k)), 12))}; }

private:
    Int4 last_ = broadcast<4>(noTriangle);
};

} // namespace zypr
