// The nearest hit of each ray: zyprIntersectMO_32f with one origin per ray, zyprIntersectEyeSO_32f with one for all.

#include "frame/fronts.h"
#include "rays/walk_flight.h"
#include "rays/walk_ray.h"

namespace zypr {
namespace {

// ---- What the two queries differ in -------------------------------------------------------------------------------------

class OwnOrigin {
public:
    static constexpr bool skipsDeadTiles = true;

    OwnOrigin(const ZyprScene &scene, const float *const *origin) : bound_(*scene.bound), origin_(origin) {}

    template <int N, int packets> using Lanes = OwnOrigins<N, packets>;
    template <int N, int packets> void load(OwnOrigins<N, packets> &lanes, int packet, int64_t row, int64_t width) const {
        for (int axis = 0; axis < 3; ++axis) lanes.points[packet][axis] = loadRows<N>(origin_[axis] + row, width);
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

    template <int N, int> using Lanes = CommonOrigins<N>;
    template <int N> void load(CommonOrigins<N> &lanes, int, int64_t, int64_t) const {
        for (int axis = 0; axis < 3; ++axis) lanes.point[axis] = broadcast<N>(origin_[axis]);
    }

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

template <int N, int packets, class Group> struct NearestOfPackets {
    Group group;
    const ZyprTriangleAccel *accel;
    NearestHits<N> hits[packets];
    TestedTriangles tested; // by all packets

    Mask<N> remaining(int packet, Floats<N> t1) const { return hits[packet].remaining(t1); }

    void visit(const LeafTriangles &triangles, unsigned present) {
        if (present == (1u << packets) - 1)
            visitWith<packets>(triangles, 0);
        else
            visitWith<1>(triangles, __builtin_ctz(present));
    }

private:
    // `count` packets from the first one on.
    template <int count> [[gnu::always_inline]] void visitWith(const LeafTriangles &triangles, int first) {
        for (const int32_t k : triangles) {
            if (N == 8) {
                if (tested.has(k)) continue;
                if (count == packets) tested.add(k);
            }
            if (accel[k].axes == 0) continue;
            Meetings<N> meetings[count];
            for (int i = 0; i < count; ++i) meetings[i] = meetingsOf<N>(group, first + i, accel[k]);
            for (int i = 0; i < count; ++i) {
                // Of eight lanes some are inside as often as not: a branch would cost more than it saves.
                if (N == 8 || any(meetings[i].inside)) hits[first + i].take(meetings[i], k, meetings[i].inside);
            }
        }
    }
};

template <int N> void storeHits(const Results &results, int64_t row, int64_t width, Mask<N> lanes, const NearestHits<N> &hits) {
    storeRows(results.dist + row, width, lanes, hits.best);
    storeRows(results.bary[0] + row, width, lanes, hits.weight0);
    storeRows(results.bary[1] + row, width, lanes, hits.weight1);
    storeRows(results.triangle + row, width, lanes, hits.triangle);
}

constexpr int walksInFlight = 8; // of each kind

template <class Origin> class PacketIntersection {
public:
    PacketIntersection(const ZyprScene &scene, const Origin &origin, const float *const *direction, Results results,
                       int64_t width)
        : scene_(scene), origin_(origin), direction_(direction), results_(results), width_(width) {}

    // What the rows of a tile need in every octant.
    void prepareRows(int64_t first) {
        for (int y = 0; y < 4; ++y) {
            Row &r = rows_[y];
            prepare<4, 1>(r.group, r.start, r.dist, first + y * width_);
        }
    }

    // Row y of the tile; the lanes that the mask leaves out can't accept a hit and keep their results.
    void kdWalkRays4(unsigned octant, int64_t first, int y, Mask4 lanes) {
        const int64_t row = first + y * width_;
        Row &r = rows_[y];
        r.group.octant = octant;
        const Progress<4> start = {r.start[0].t0, r.start[0].t1, r.start[0].active & lanes};
        if (none(start.active)) return;
        const Float4 dist = keep(lanes, r.dist[0]), zero = broadcast<4>(0.0f);
        if (!isRegular(start, dist)) return walkAlone(r.group, start, dist, row, lanes);
        const unsigned live = signBits(dist > zero);
        if (signBits(lanes) != live) {
            store(results_.bary[0] + row, lanes, zero);
            store(results_.bary[1] + row, lanes, zero);
        }
        if ((live & (live - 1)) == 0)
            launch(lone_, r.group, start, dist, live, row);
        else
            launch(flying_, r.group, start, dist, live, row);
    }

    // Two rows of a tile and then the other two.
    void kdWalkRays8(unsigned octant, int64_t first) {
        Query<8, 2> query;
        Progress<8> start[2];
        Float8 dist[2];
        const unsigned present = prepare<8, 2>(query.group, start, dist, first);
        if (present == 0) return;
        query.group.octant = octant;
        query.accel = scene_.accel;
        for (int i = 0; i < 2; ++i) query.hits[i].best = dist[i];
        kdWalkRays<8, 2>(scene_.root, query.group, start, present, query);
        for (int i = 0; i < 2; ++i)
            if (present >> i & 1) storeHits<8>(results_, first + 2 * i * width_, width_, allLanes<8>(), query.hits[i]);
    }

    void finishWalks() {
        lone_.finishAll();
        flying_.finishAll();
    }

private:
    template <int N, int packets> using Group = RayGroup<N, packets, typename Origin::template Lanes<N, packets>>;
    template <int N, int packets> using Query = NearestOfPackets<N, packets, Group<N, packets>>;

    struct Row {
        Group<4, 1> group;
        Progress<4> start[1];
        Float4 dist[1];
    };

    // Returns which packets have a lane that enters the box. The octant is left to the caller.
    template <int N, int packets>
    unsigned prepare(Group<N, packets> &group, Progress<N> (&start)[packets], Floats<N> (&dist)[packets], int64_t first) const {
        unsigned present = 0;
        for (int i = 0; i < packets; ++i) {
            const int64_t row = first + 2 * i * width_;
            origin_.load(group.origins, i, row, width_);
            for (int axis = 0; axis < 3; ++axis) {
                group.direction[i][axis] = loadRows<N>(direction_[axis] + row, width_);
                group.inverse[i][axis] = inverseOf<N>(group.direction[i][axis], 838860800.0f);
            }
            dist[i] = loadRows<N>(results_.dist + row, width_);
            const Intervals<N> t = boxIntervals<N>(*scene_.bound, group, i, dist[i]);
            start[i] = {t.t0, t.t1 + broadcast<N>(exitPad), t.t0 < t.t1};
            present |= static_cast<unsigned>(any(start[i].active)) << i;
        }
        return present;
    }

    template <int N> struct FlyingQuery : NearestOfRays<N> {
        Results results;
        int64_t row;

        void finish() const {
            this->forEachRay([this](int i, int inPacket) {
                const int64_t r = row + inPacket;
                results.dist[r] = this->best[i];
                results.bary[0][r] = this->ray[i].weight0;
                results.bary[1][r] = this->ray[i].weight1;
                results.triangle[r] = this->ray[i].triangle;
            });
        }
    };

    template <class Walks>
    void launch(Walks &walks, const Group<4, 1> &group, const Progress<4> &start, Float4 dist, unsigned live, int64_t row) {
        auto &walk = walks.launch();
        walk.query.accel = scene_.accel;
        walk.query.live = live;
        walk.query.begin(group, dist);
        walk.query.results = results_;
        walk.query.row = row;
        walk.begin(scene_.root, group, start, live);
    }

    void walkAlone(const Group<4, 1> &group, const Progress<4> &start, Float4 dist, int64_t row, Mask4 lanes) const {
        Query<4, 1> query;
        query.group = group;
        query.accel = scene_.accel;
        query.hits[0].best = dist;
        const Progress<4> starts[1] = {start};
        kdWalkRays<4, 1>(scene_.root, query.group, starts, 1, query);
        storeHits<4>(results_, row, width_, lanes, query.hits[0]);
    }

    const ZyprScene &scene_;
    const Origin &origin_;
    const float *const *direction_;
    Results results_;
    int64_t width_;
    Row rows_[4]; // of the tile
    WalksInFlight<LoneWalk<FlyingQuery<1>>, walksInFlight> lone_;
    WalksInFlight<PacketWalk<FlyingQuery<4>>, walksInFlight> flying_;
};

template <class Origin>
void intersectTiles(const ZyprScene &scene, const Origin &origin, const float *const *direction, Results results,
                    ZyprBundleSize size) {
    fill(results.triangle, rayCount(size), noTriangle);
    const int64_t width = size.width;
    PacketIntersection<Origin> packets(scene, origin, direction, results, width);
    forEachTile(size, [&](int64_t first) {
        if (Origin::skipsDeadTiles && isDeadTile(results.dist, first, width)) return;
        const TileOctants octants(direction, first, width);
        if (octants.common() < 0) packets.prepareRows(first);
        forEachPacket(
            octants, [&](unsigned octant) { packets.kdWalkRays8(octant, first); },
            [&](unsigned octant, int y, Mask4 lanes) { packets.kdWalkRays4(octant, first, y, lanes); });
    });
    packets.finishWalks();
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprIntersectMO_32f(const float *const origin[3], const float *const direction[3], float *rayDist,
                                    float *const rayBary[2], int32_t *rayTriangle, const ZyprScene *scene,
                                    ZyprBundleSize size) {
    if (isEmpty(size)) return zypStsNoErr;
    const OwnOrigin origins(*scene, origin);
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
