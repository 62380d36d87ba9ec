// The nearest hit of each ray: zyprIntersectMO_32f with one origin per ray, zyprIntersectEyeSO_32f with one for all.

#include "frame/fronts.h"
#include "rays/walk_packet.h"
#include "rays/walk_ray.h"

namespace zypr {
namespace {

// ---- What the two queries differ in -------------------------------------------------------------------------------------

class OwnOrigins {
public:
    static constexpr bool skipsDeadTiles = true;

    OwnOrigins(const ZyprScene &scene, const float *const *origin) : bound_(*scene.bound), origin_(origin) {}

    template <int N> Floats<N> lanes(int axis, int64_t row, int64_t width) const {
        return loadRows<N>(origin_[axis] + row, width);
    }

    // Completes the ray and cuts its interval to the box; false on a miss. A ray parallel to a slab must lie strictly inside
    // it.
    bool meetsBox(int64_t r, Ray &ray, Interval &t) const {
        for (int axis = 0; axis < 3; ++axis) {
            const float o = origin_[axis][r], d = ray.direction[axis];
            ray.origin[axis] = o;
            ray.sign[axis] = 0;
            ray.inverse[axis] = 83886.08f;
            if (std::fabs(d) <= infinitesimal) {
                if (!(bound_.maximum[axis] > o && o > bound_.minimum[axis])) return false;
                continue;
            }
            ray.sign[axis] = d < 0.0f;
            ray.inverse[axis] = 1.0f / d;
            const float a = (bound_.minimum[axis] - o) * ray.inverse[axis];
            const float b = (bound_.maximum[axis] - o) * ray.inverse[axis];
            t = {maximum(minimum(a, b), t.t0), minimum(maximum(a, b), t.t1)};
            if (t.t0 > t.t1) return false;
        }
        return true;
    }

    static void test(const ZyprTriangleAccel &accel, int32_t k, const Ray &ray, NearestHit &hit) {
        if (accel.axes == 0 || k == hit.triangle) return;
        const Axes axes = axesOf(accel);
        const float den = denominator(accel, axes, ray.direction);
        if (std::fabs(den) < 1.1920929e-6f) return;
        const Meeting meeting = meetingFromOwnOrigin(accel, axes, den, ray);
        if (!meeting.isInside()) return;
        const float t = meeting.distance();
        if (t < hit.best - 1e-5f && t > 0.0f) hit.take(meeting, t, k);
    }

private:
    const ZyprBox &bound_;
    const float *const *origin_;
};

class CommonOrigin {
public:
    static constexpr bool skipsDeadTiles = false;

    CommonOrigin(const ZyprScene &scene, const float *origin) : origin_(origin), box_(*scene.bound, origin) {}

    template <int N> Floats<N> lanes(int axis, int64_t, int64_t) const { return broadcast<N>(origin_[axis]); }

    bool meetsBox(int64_t, Ray &ray, Interval &t) const {
        for (int axis = 0; axis < 3; ++axis) ray.origin[axis] = origin_[axis];
        return box_.meets(ray, t);
    }

    static void test(const ZyprTriangleAccel &accel, int32_t k, const Ray &ray, NearestHit &hit) {
        if (accel.axes == 0) return;
        const Meeting meeting = meetingFromCommonOrigin(accel, ray);
        if (!meeting.isInside()) return;
        const float t = meeting.distance();
        if (t < hit.best && t > 0.0f) hit.take(meeting, t, k);
    }

private:
    const float *origin_;
    BoxFromOrigin box_;
};

// ---- One ray at a time --------------------------------------------------------------------------------------------------

template <class Origin> struct NearestOfRay : NearestHit {
    static constexpr float slack = 1e-5f;
    const ZyprTriangleAccel *accel;
    const Ray &ray;

    NearestOfRay(const ZyprScene &scene, const Ray &theRay, float dist) : NearestHit{dist}, accel(scene.accel), ray(theRay) {}

    bool visit(const LeafTriangles &triangles) {
        for (const int32_t k : triangles) Origin::test(accel[k], k, ray, *this);
        return false;
    }
};

struct Results {
    float *dist;
    float *const *bary;
    int32_t *triangle;
};

template <class Origin>
void intersectRays(const ZyprScene &scene, const Origin &origin, const float *const *direction, Results results,
                   int64_t count) {
    for (int64_t r = 0; r < count; ++r) {
        results.triangle[r] = noTriangle;
        Ray ray;
        for (int axis = 0; axis < 3; ++axis) ray.direction[axis] = direction[axis][r];
        Interval t = {0.0f, results.dist[r]};
        if (!origin.meetsBox(r, ray, t)) continue;
        NearestOfRay<Origin> query(scene, ray, results.dist[r]);
        kdWalkRay(scene.root, ray, {t.t0, t.t1 + exitPad}, query);
        if (query.triangle == noTriangle) continue;
        results.dist[r] = query.best;
        results.bary[0][r] = query.weight0;
        results.bary[1][r] = query.weight1;
        results.triangle[r] = query.triangle;
    }
}

// ---- Packets ------------------------------------------------------------------------------------------------------------

template <int N> struct NearestOfPacket : NearestHits<N> {
    const ZyprTriangleAccel *accel;
    const Rays<N> &rays;
    TestedTriangles tested;

    NearestOfPacket(const ZyprScene &scene, const Rays<N> &theRays, Floats<N> dist)
        : NearestHits<N>{dist}, accel(scene.accel), rays(theRays) {}

    void visit(const LeafTriangles &triangles) {
        for (const int32_t k : triangles) {
            if (N == 8) {
                if (tested.has(k)) continue;
                tested.add(k);
            }
            if (accel[k].axes == 0) continue;
            const Meetings<N> meeting(accel[k], rays);
            if (any(meeting.inside)) this->take(meeting, k, meeting.inside);
        }
    }
};

template <class Origin> class PacketIntersection {
public:
    PacketIntersection(const ZyprScene &scene, const Origin &origin, const float *const *direction, Results results,
                       int64_t width)
        : scene_(scene), origin_(origin), direction_(direction), results_(results), width_(width) {}

    // One row of a tile; the lanes that the mask leaves out can't accept a hit and keep their results.
    void kdWalkRays4(unsigned octant, int64_t row, Mask4 lanes) const {
        walk<4>(octant, row, keep(lanes, load<4>(results_.dist + row)), lanes);
    }

    // Two rows of a tile.
    void kdWalkRays8(unsigned octant, int64_t row) const {
        walk<8>(octant, row, loadRows<8>(results_.dist + row, width_), AllLanes{});
    }

private:
    template <int N, class Lanes> void walk(unsigned octant, int64_t row, Floats<N> dist, Lanes lanes) const {
        Rays<N> rays;
        rays.octant = octant;
        for (int axis = 0; axis < 3; ++axis) {
            rays.origin[axis] = origin_.template lanes<N>(axis, row, width_);
            rays.direction[axis] = loadRows<N>(direction_[axis] + row, width_);
            rays.inverse[axis] = inverseOf<N>(rays.direction[axis], 838860800.0f);
        }
        const Intervals<N> t = boxIntervals<N>(*scene_.bound, rays, dist);
        const Mask<N> active = t.t0 < t.t1;
        if (none(active)) return;
        NearestOfPacket<N> query(scene_, rays, dist);
        kdWalkRays<N>(scene_.root, rays, {t.t0, t.t1 + broadcast<N>(exitPad)}, active, query);
        storeRows(results_.dist + row, width_, lanes, query.best);
        storeRows(results_.bary[0] + row, width_, lanes, query.weight0);
        storeRows(results_.bary[1] + row, width_, lanes, query.weight1);
        storeRows(results_.triangle + row, width_, lanes, query.triangle);
    }

    const ZyprScene &scene_;
    const Origin &origin_;
    const float *const *direction_;
    Results results_;
    int64_t width_;
};

template <class Origin>
void intersectTiles(const ZyprScene &scene, const Origin &origin, const float *const *direction, Results results,
                    ZyprBundleSize size) {
    fill(results.triangle, rayCount(size), noTriangle);
    const int64_t width = size.width;
    const PacketIntersection<Origin> packets(scene, origin, direction, results, width);
    forEachTile(size, [&](int64_t first) {
        if (Origin::skipsDeadTiles && isDeadTile(results.dist, first, width)) return;
        forEachPacket(
            TileOctants(direction, first, width), first, width,
            [&](unsigned octant, int64_t row) { packets.kdWalkRays8(octant, row); },
            [&](unsigned octant, int64_t row, Mask4 lanes) { packets.kdWalkRays4(octant, row, lanes); });
    });
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprIntersectMO_32f(const float *const origin[3], const float *const direction[3], float *rayDist,
                                    float *const rayBary[2], int32_t *rayTriangle, const ZyprScene *scene,
                                    ZyprBundleSize size) {
    if (isEmpty(size)) return zypStsNoErr;
    const OwnOrigins origins(*scene, origin);
    const Results results = {rayDist, rayBary, rayTriangle};
    if (takesPacketPath(size, origin[0], origin[1], origin[2], direction[0], direction[1], direction[2], rayDist, rayBary[0],
                        rayBary[1], rayTriangle))
        intersectTiles(*scene, origins, direction, results, size);
    else
        intersectRays(*scene, origins, direction, results, rayCount(size));
    return zypStsNoErr;
}

zypStatus front_zyprIntersectEyeSO_32f(const float *origin, const float *const direction[3], float *rayDist,
                                       float *const rayBary[2], int32_t *rayTriangle, const ZyprScene *scene,
                                       ZyprBundleSize size) {
    if (isEmpty(size)) return zypStsNoErr;
    const CommonOrigin eye(*scene, origin);
    const Results results = {rayDist, rayBary, rayTriangle};
    if (takesPacketPath(size, direction[0], direction[1], direction[2], rayDist, rayBary[0], rayBary[1], rayTriangle))
        intersectTiles(*scene, eye, direction, results, size);
    else
        intersectRays(*scene, eye, direction, results, rayCount(size));
    return zypStsNoErr;
}
