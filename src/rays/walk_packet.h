// The walk of four or eight rays of one octant, and the triangle test on their lanes.
#pragma once

#include "rays/bundle.h"
#include "rays/kd_tree.h"

namespace zypr {

template <int N> struct Rays {
    Floats<N> origin[3];
    Floats<N> direction[3];
    Floats<N> inverse[3];
    unsigned octant;
};

template <int N> struct Intervals { Floats<N> t0, t1; };

// The refined reciprocals of a component; where it is too small, `replacement` stands in for the estimate.
template <int N> Floats<N> inverseOf(Floats<N> d, float replacement) {
    const Mask<N> small = magnitude(d) <= broadcast<N>(infinitesimal);
    return refined(select(small, broadcast<N>(replacement), reciprocalEstimate(d)), d);
}

// Where the rays enter and leave the box, from 0 to `best`; the exit is not padded yet.
template <int N> Intervals<N> boxIntervals(const ZyprBox &bound, const Rays<N> &rays, Floats<N> best) {
    Intervals<N> t = {broadcast<N>(0.0f), best};
    for (int axis = 0; axis < 3; ++axis) {
        const Floats<N> a = (broadcast<N>(bound.minimum[axis]) - rays.origin[axis]) * rays.inverse[axis];
        const Floats<N> b = (broadcast<N>(bound.maximum[axis]) - rays.origin[axis]) * rays.inverse[axis];
        t.t0 = maximum(minimum(a, b), t.t0);
        t.t1 = minimum(maximum(a, b), t.t1);
    }
    return t;
}

// Goes through the leaves that the packet meets, with one decision per node for all lanes. query.visit(triangles) tests a leaf
// on all lanes; query.remaining(t1) are the lanes that what lies beyond t1 still concerns.
template <int N, class Query>
void kdWalkRays(const ZyprKDNode *node, const Rays<N> &rays, Intervals<N> t, Mask<N> active, Query &query) {
    struct Place {
        Floats<N> t1;
        const ZyprKDNode *node;
    };
    Place stack[stackPlaces];
    Place *top = stack;
    for (;;) {
        while (!isLeaf(*node)) {
            const unsigned axis = splitAxis(*node);
            const Floats<N> ts = (broadcast<N>(splitValue(*node)) - rays.origin[axis]) * rays.inverse[axis];
            const unsigned upperFirst = rays.octant >> axis & 1;
            const ZyprKDNode *near = childPair(*node) + upperFirst;
            const ZyprKDNode *far = childPair(*node) + (upperFirst ^ 1);
            if (none(active & (t.t0 <= ts))) {
                node = far;
                continue;
            }
            node = near;
            if (none(active & (ts <= t.t1))) continue;
            *top++ = {t.t1, far};
            const Floats<N> m = minimum(t.t1, ts);
            t.t1 = maximum(m, t.t0);
            active = active & (t.t0 <= m);
        }
        query.visit(LeafTriangles(*node));
        if (top == stack) return;
        active = query.remaining(t.t1);
        if (none(active)) return;
        --top;
        node = top->node;
        t = {t.t1, top->t1};
    }
}

// Where lanes meet a triangle's plane, all scaled by den: the distances and the weights of P0 and P1.
template <int N> struct Meetings {
    Floats<N> den, num, u0, u1;
    Mask<N> inside;

    Meetings(const ZyprTriangleAccel &accel, const Rays<N> &rays) {
        const unsigned c = accel.axes >> 4 & 3, p = accel.axes >> 2 & 3, q = accel.axes & 3;
        const Floats<N> dp = rays.direction[p], dq = rays.direction[q];
        const Floats<N> planeP = broadcast<N>(accel.planeP), planeQ = broadcast<N>(accel.planeQ);
        den = fused(planeQ, dq, fused(planeP, dp, rays.direction[c]));
        const Floats<N> ep = broadcast<N>(accel.originP) - rays.origin[p];
        const Floats<N> eq = broadcast<N>(accel.originQ) - rays.origin[q];
        const Floats<N> ec = broadcast<N>(accel.originC) - rays.origin[c];
        num = fused(planeP, ep, fused(planeQ, eq, ec));
        const Floats<N> gq = fusedDifference(num, dq, eq * den);
        const Floats<N> gp = fusedDifference(num, dp, ep * den);
        u0 = fusedDifference(broadcast<N>(accel.edgeBQ), gp, gq * broadcast<N>(accel.edgeBP));
        u1 = fusedDifference(broadcast<N>(accel.edgeAP), gq, gp * broadcast<N>(accel.edgeAQ));
        const Floats<N> w = den - u0 - u1;
        const Floats<N> zero = broadcast<N>(0.0f);
        inside = ~((w * u0 < zero) | (w * u1 < zero) | (u0 * u1 < zero)); // a NaN counts as inside
    }

    // Only lanes inside have one; the rest hold 0.
    Floats<N> reciprocalOfDen() const { return keep(inside, reciprocalEstimate(den)); }
};

// The nearest hit of each lane so far.
template <int N> struct NearestHits {
    Floats<N> best;
    Floats<N> weight0 = broadcast<N>(0.0f), weight1 = broadcast<N>(0.0f);
    Ints<N> triangle = broadcast<N>(noTriangle);

    Mask<N> remaining(Floats<N> t1) const { return t1 < best; }

    // Takes triangle k in those of the lanes that meet it nearer than what they have.
    void take(const Meetings<N> &meeting, int32_t k, Mask<N> lanes) {
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
