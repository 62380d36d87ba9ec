// Several hits along each ray, one layer of results per hit: zyprIntersectMultipleSO_32f. After a hit the ray goes on from the
// hit point, and a short list of earlier hits keeps it from meeting the surface that it has just left.

#include "frame/fronts.h"
#include "rays/walk_packet.h"
#include "rays/walk_ray.h"

namespace zypr {
namespace {

struct LayeredResults {
    float *dist;
    float *const *bary;
    int32_t *triangle;
    int32_t layers;
    int64_t layerSize; // entries per layer
};

// ---- One ray at a time --------------------------------------------------------------------------------------------------

// The nearest hit that is neither the one before nor, within a group of eight layers, an earlier one.
struct NextHit : NearestHit {
    static constexpr float slack = 0.00019f;
    static constexpr int remembered = 8;

    const ZyprTriangleAccel *accel;
    const Ray &ray;
    int32_t earlier[remembered];
    int32_t earlierCount = 0;
    int32_t previous = noTriangle;

    NextHit(const ZyprScene &scene, const Ray &theRay) : NearestHit{0.0f}, accel(scene.accel), ray(theRay) {}

    bool visit(const LeafTriangles &triangles) {
        for (const int32_t k : triangles) {
            if (accel[k].axes == 0 || k == previous) continue;
            const Meeting meeting = meetingFromCommonOrigin(accel[k], ray);
            if (!meeting.isInside()) continue;
            const float t = meeting.distance();
            if (t < best && t > 0.0f && !isEarlier(k)) take(meeting, t, k);
        }
        return false;
    }

    void startLayer(float dist) {
        best = dist;
        triangle = noTriangle;
    }

    void endLayer() {
        previous = triangle;
        earlier[earlierCount] = triangle;
        earlierCount = (earlierCount + 1) % remembered;
    }

private:
    bool isEarlier(int32_t k) const {
        for (int32_t i = 0; i < earlierCount; ++i)
            if (earlier[i] == k) return true;
        return false;
    }
};

// The padded exit from the box of a ray that goes on from a hit point.
float exitFrom(const ZyprBox &bound, const Ray &ray) {
    float t1 = farthest;
    for (int axis = 0; axis < 3; ++axis) {
        const float a = ray.inverse[axis] * (bound.minimum[axis] - ray.origin[axis]);
        const float b = ray.inverse[axis] * (bound.maximum[axis] - ray.origin[axis]);
        t1 = minimum(maximum(a, b), t1);
    }
    return t1 + exitPad;
}

void intersectRay(const ZyprScene &scene, const BoxFromOrigin &box, Ray &ray, const LayeredResults &results, int64_t r) {
    Interval t = {0.0f, results.dist[r]};
    if (!box.meets(ray, t)) return;
    t.t1 += exitPad;
    NextHit query(scene, ray);
    query.startLayer(results.dist[r]);
    float travelled = 0.0f;
    for (int32_t layer = 0;; ++layer) {
        kdWalkRay(scene.root, ray, t, query);
        if (query.triangle == noTriangle) return;
        const int64_t entry = layer * results.layerSize + r;
        travelled = layer == 0 ? query.best : query.best + travelled;
        results.dist[entry] = travelled;
        results.bary[0][entry] = query.weight0;
        results.bary[1][entry] = query.weight1;
        results.triangle[entry] = query.triangle;
        if (layer + 1 == results.layers) return;
        for (int axis = 0; axis < 3; ++axis) {
            const float step = query.best * ray.direction[axis];
            ray.origin[axis] += step;
        }
        query.endLayer();
        query.startLayer(farthest);
        results.dist[entry + results.layerSize] = farthest;
        t = {0.0f, exitFrom(*scene.bound, ray)};
    }
}

void intersectRays(const ZyprScene &scene, const float *origin, const float *const *direction, const LayeredResults &results) {
    const BoxFromOrigin box(*scene.bound, origin);
    for (int64_t r = 0; r < results.layerSize; ++r) {
        Ray ray;
        for (int axis = 0; axis < 3; ++axis) {
            ray.origin[axis] = origin[axis];
            ray.direction[axis] = direction[axis][r];
        }
        intersectRay(scene, box, ray, results, r);
    }
}

// ---- Packets ------------------------------------------------------------------------------------------------------------

template <int N> using LayeredRays = RayGroup<N, 1, OwnOrigins<N, 1>>; // the origins move on from hit to hit

// The nearest hits of the lanes, but for those of their last four layers.
template <int N> struct NextHits : NearestHits<N> {
    static constexpr int remembered = 4;

    const ZyprTriangleAccel *accel;
    const LayeredRays<N> &rays;
    Ints<N> earlier[remembered];
    TestedTriangles tested;

    NextHits(const ZyprScene &scene, const LayeredRays<N> &theRays) : NearestHits<N>{}, accel(scene.accel), rays(theRays) {
        for (Ints<N> &hits : earlier) hits = broadcast<N>(noTriangle);
    }

    Mask<N> remaining(int, Floats<N> t1) const { return NearestHits<N>::remaining(t1); }

    void visit(const LeafTriangles &triangles, unsigned) {
        for (const int32_t k : triangles) {
            if (N == 8) {
                if (tested.has(k)) continue;
                tested.add(k);
            }
            if (accel[k].axes == 0) continue;
            const Meetings<N> meeting = meetingsOf<N>(rays, 0, accel[k]);
            if (none(meeting.inside)) continue;
            Mask<N> refused = earlier[0] == broadcast<N>(k);
            for (int i = 1; i < remembered; ++i) refused = refused | (earlier[i] == broadcast<N>(k));
            this->take(meeting, k, meeting.inside & ~refused);
        }
    }

    void startLayer(Floats<N> dist) {
        static_cast<NearestHits<N> &>(*this) = NearestHits<N>{dist};
        tested = TestedTriangles();
    }
};

class PacketIntersection {
public:
    PacketIntersection(const ZyprScene &scene, const float *origin, const float *const *direction,
                       const LayeredResults &results, int64_t width)
        : scene_(scene), origin_(origin), direction_(direction), results_(results), width_(width) {}

    void kdWalkRays4(unsigned octant, int64_t row, Mask4 lanes) const { walk<4>(octant, row, lanes); }
    void kdWalkRays8(unsigned octant, int64_t first) const {
        walk<8>(octant, first, allLanes<8>());
        walk<8>(octant, first + 2 * width_, allLanes<8>());
    }

private:
    template <int N> void walk(unsigned octant, int64_t row, Mask<N> lanes) const {
        LayeredRays<N> rays;
        rays.octant = octant;
        for (int axis = 0; axis < 3; ++axis) {
            const Floats<N> d = loadRows<N>(direction_[axis] + row, width_);
            const Floats<N> divisor = select(magnitude(d) <= broadcast<N>(infinitesimal), broadcast<N>(1.1920929e-5f), d);
            rays.origins.points[0][axis] = broadcast<N>(origin_[axis]);
            rays.direction[0][axis] = d;
            rays.inverse[0][axis] = refined(reciprocalEstimate(divisor), divisor);
        }
        NextHits<N> query(scene_, rays);
        query.startLayer(keep(lanes, loadRows<N>(results_.dist + row, width_)));
        Intervals<N> t = boxIntervals<N>(*scene_.bound, rays, 0, query.best);
        Mask<N> active = t.t0 < t.t1;
        t.t1 = t.t1 + broadcast<N>(exitPad);
        Floats<N> travelled = broadcast<N>(0.0f);
        int64_t entry = row;
        for (int32_t layer = 0;; ++layer) {
            if (none(active)) return;
            const Progress<N> start[1] = {{t.t0, t.t1, active}};
            kdWalkRays<N, 1>(scene_.root, rays, start, 1, query);
            const Mask<N> hit = ~isNegative(query.triangle);
            travelled = select(hit, layer == 0 ? query.best : query.best + travelled, query.best);
            storeRows(results_.dist + entry, width_, lanes, travelled);
            storeRows(results_.bary[0] + entry, width_, lanes, query.weight0);
            storeRows(results_.bary[1] + entry, width_, lanes, query.weight1);
            storeRows(results_.triangle + entry, width_, lanes, query.triangle);
            if (none(hit) || layer + 1 == results_.layers) return;

            for (int axis = 0; axis < 3; ++axis)
                rays.origins.points[0][axis] = select(hit, rays.origins.points[0][axis] + query.best * rays.direction[0][axis],
                                                      rays.origins.points[0][axis]);
            query.earlier[layer % query.remembered] = query.triangle;
            lanes = hit;
            entry += results_.layerSize;
            query.startLayer(keep(lanes, broadcast<N>(farthest)));
            storeRows(results_.dist + entry, width_, lanes, query.best);
            const Floats<N> exit = boxIntervals<N>(*scene_.bound, rays, 0, broadcast<N>(farthest)).t1;
            t = {broadcast<N>(0.0f), keep(lanes, exit + broadcast<N>(exitPad))};
            active = t.t0 < t.t1;
        }
    }

    const ZyprScene &scene_;
    const float *origin_;
    const float *const *direction_;
    LayeredResults results_;
    int64_t width_;
};

void intersectTiles(const ZyprScene &scene, const float *origin, const float *const *direction, const LayeredResults &results,
                    ZyprBundleSize size) {
    const int64_t width = size.width;
    const PacketIntersection packets(scene, origin, direction, results, width);
    forEachTile(size, [&](int64_t first) {
        if (isDeadTile(results.dist, first, width)) return;
        forEachPacket(
            TileOctants(direction, first, width), [&](unsigned octant) { packets.kdWalkRays8(octant, first); },
            [&](unsigned octant, int y, Mask4 lanes) { packets.kdWalkRays4(octant, first + y * width, lanes); });
    });
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprIntersectMultipleSO_32f(const float *origin, const float *const direction[3], float *rayDist,
                                            float *const rayBary[2], int32_t *rayTriangle, const ZyprLayerSize *size,
                                            const ZyprScene *scene) {
    const ZyprBundleSize bundle = {size->width, size->height};
    if (isEmpty(bundle) || size->layers < 1) return zypStsNoErr;
    const LayeredResults results = {rayDist, rayBary, rayTriangle, size->layers, rayCount(bundle)};
    fill(rayTriangle, results.layerSize * results.layers, noTriangle);
    if (takesPacketPath(bundle, direction[0], direction[1], direction[2], rayDist, rayBary[0], rayBary[1], rayTriangle))
        intersectTiles(*scene, origin, direction, results, bundle);
    else
        intersectRays(*scene, origin, direction, results);
    return zypStsNoErr;
}
