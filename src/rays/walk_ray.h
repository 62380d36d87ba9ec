// The walk of one ray, and the triangle tests in scalar arithmetic.
#pragma once

#include <cmath>

#include "rays/bundle.h"
#include "rays/kd_tree.h"

namespace zypr {

struct Ray {
    float origin[3];
    float direction[3];
    float inverse[3];
    unsigned sign[3]; // 1: the ray meets the upper child first
};

struct Interval {
    float t0, t1;
};

// Goes through the leaves that the ray meets within the interval, from near to far. At each, query.visit(triangles) returns
// whether the ray is finished; query.best bounds what remains, and Query::slack loosens both comparisons at a split.
template <class Query> void kdWalkRay(const ZyprKDNode *node, const Ray &ray, Interval t, Query &query) {
    struct Place {
        const ZyprKDNode *node;
        float t1;
    };
    Place stack[stackPlaces];
    Place *top = stack;
    for (;;) {
        while (!isLeaf(*node)) {
            const unsigned axis = splitAxis(*node);
            const float ts = (splitValue(*node) - ray.origin[axis]) * ray.inverse[axis];
            const ZyprKDNode *pair = childPair(*node);
            const ZyprKDNode *far = pair + (1 - ray.sign[axis]);
            if (t.t0 - ts > Query::slack) {
                node = far;
                continue;
            }
            node = pair + ray.sign[axis];
            if (!(ts - t.t1 > Query::slack)) {
                *top++ = {far, t.t1};
                t.t1 = maximum(minimum(ts, t.t1), t.t0);
            }
        }
        if (query.visit(LeafTriangles(*node)) || top == stack || !(t.t1 < query.best)) return;
        --top;
        node = top->node;
        t = {t.t1, top->t1};
    }
}

// Where a line meets a triangle's plane, all scaled by den: the distance and the weights of P0, P1 and P2.
struct Meeting {
    float den, num, u0, u1, w;

    float distance() const { return num / den; }
    bool isInside() const { return w * u0 >= 0.0f && u0 * u1 >= 0.0f && w * u1 >= 0.0f; }
};

inline Meeting withWeights(const ZyprTriangleAccel &accel, float den, float num, float gp, float gq) {
    const float u0 = fusedDifference(gp, accel.edgeBQ, accel.edgeBP * gq);
    const float u1 = fusedDifference(accel.edgeAP, gq, gp * accel.edgeAQ);
    return {den, num, u0, u1, den - u0 - u1};
}

struct Axes {
    unsigned c, p, q;
};
inline Axes axesOf(const ZyprTriangleAccel &accel) { return {accel.axes >> 4 & 3, accel.axes >> 2 & 3, accel.axes & 3}; }

inline float denominator(const ZyprTriangleAccel &accel, Axes a, const float *d) {
    return fused(d[a.q], accel.planeQ, fused(d[a.p], accel.planeP, d[a.c]));
}

// The arithmetic of the query with one origin per ray.
inline Meeting meetingFromOwnOrigin(const ZyprTriangleAccel &accel, Axes a, float den, const Ray &ray) {
    const float *o = ray.origin, *d = ray.direction;
    const float ep = accel.originP - o[a.p], eq = accel.originQ - o[a.q];
    const float num = fused(ep, accel.planeP, accel.originC) + fused(eq, accel.planeQ, -o[a.c]);
    const float gp = fusedDifference(num, d[a.p], den * ep);
    const float gq = fusedSubtract(eq, den, d[a.q] * num);
    return withWeights(accel, den, num, gp, gq);
}

// The arithmetic of the queries with one origin for all rays: the other pairing of num's terms, the other rounding of gq.
inline Meeting meetingFromCommonOrigin(const ZyprTriangleAccel &accel, const Ray &ray) {
    const Axes a = axesOf(accel);
    const float *o = ray.origin, *d = ray.direction;
    const float den = denominator(accel, a, d);
    const float ep = accel.originP - o[a.p], eq = accel.originQ - o[a.q];
    const float num = fused(eq, accel.planeQ, accel.originC) + fused(ep, accel.planeP, -o[a.c]);
    const float gp = fusedDifference(num, d[a.p], den * ep);
    const float gq = fusedDifference(num, d[a.q], den * eq);
    return withWeights(accel, den, num, gp, gq);
}

// The nearest hit so far.
struct NearestHit {
    float best;
    int32_t triangle = noTriangle;
    float weight0 = 0.0f, weight1 = 0.0f;

    void take(const Meeting &meeting, float t, int32_t k) {
        best = t;
        weight1 = meeting.u1 / meeting.den;
        weight0 = meeting.u0 / meeting.den;
        triangle = k;
    }
};

// The scene's box as seen from one origin.
class BoxFromOrigin {
public:
    BoxFromOrigin(const ZyprBox &bound, const float *origin) {
        for (int axis = 0; axis < 3; ++axis) {
            lower_[axis] = bound.minimum[axis] - origin[axis];
            upper_[axis] = bound.maximum[axis] - origin[axis];
        }
    }

    // Completes the ray and cuts its interval to the box; false on a miss. A component too small to divide by cuts nothing.
    bool meets(Ray &ray, Interval &t) const {
        for (int axis = 0; axis < 3; ++axis) {
            const float d = ray.direction[axis];
            ray.sign[axis] = 0;
            ray.inverse[axis] = 838860800.0f;
            if (std::fabs(d) <= infinitesimal) continue;
            ray.sign[axis] = d < 0.0f;
            ray.inverse[axis] = 1.0f / d;
            const float a = lower_[axis] / d, b = upper_[axis] / d;
            t = {maximum(minimum(a, b), t.t0), minimum(maximum(a, b), t.t1)};
            if (t.t0 > t.t1) return false;
        }
        return true;
    }

private:
    float lower_[3], upper_[3];
};

} // namespace zypr
