// Whether something blocks each segment: zyprIntersectAnySO_32f, the query of shadow rays. Neighbours tend to be blocked by one
// triangle, so the packets remember it and test it before they walk the tree.

#include "frame/fronts.h"
#include "rays/walk_packet.h"
#include "rays/walk_ray.h"

namespace zypr {
namespace {

constexpr float segmentEnd = 1.0f;
constexpr Interval wholeSegment = {0.0f, 1.0001f};

struct Segments {
    const ZyprScene &scene;
    const float *origin;
    const float *const *direction;
    int32_t *triangle;
    int32_t *mask;
    int64_t width;
};

// ---- One segment at a time ----------------------------------------------------------------------------------------------

Ray segment(const Segments &s, int64_t r) {
    Ray ray;
    for (int axis = 0; axis < 3; ++axis) {
        const float d = s.direction[axis][r];
        ray.origin[axis] = s.origin[axis];
        ray.direction[axis] = d;
        ray.inverse[axis] = std::fabs(d) <= infinitesimal ? 83886.08f : 1.0f / d;
        ray.sign[axis] = d < 0.0f;
    }
    return ray;
}

// The first occluder in the order of the walk, not the nearest.
struct FirstOccluder {
    static constexpr float slack = 1e-5f;
    static constexpr float best = segmentEnd;
    const ZyprTriangleAccel *accel;
    const Ray &ray;
    int32_t triangle = noTriangle;

    bool visit(const LeafTriangles &triangles) {
        for (const int32_t k : triangles) {
            if (accel[k].axes == 0) continue;
            const Meeting meeting = meetingFromCommonOrigin(accel[k], ray);
            if (!meeting.isInside()) continue;
            const float t = meeting.distance();
            if (!(t < best && t > 0.0f)) continue;
            triangle = k;
            return true;
        }
        return false;
    }
};

void testSegments(const Segments &s, int64_t count) {
    for (int64_t r = 0; r < count; ++r) {
        s.triangle[r] = noTriangle;
        if (s.mask[r] < 0) continue;
        const Ray ray = segment(s, r);
        FirstOccluder query = {s.scene.accel, ray};
        kdWalkRay(s.scene.root, ray, wholeSegment, query);
        if (query.triangle == noTriangle) continue;
        s.triangle[r] = query.triangle;
        s.mask[r] = -1;
    }
}

// ---- The occluder cache -------------------------------------------------------------------------------------------------

struct NearestOccluder {
    static constexpr float slack = 1e-5f;
    const ZyprTriangleAccel *accel;
    const Ray &ray;
    float best = segmentEnd;
    int32_t triangle = noTriangle;

    bool visit(const LeafTriangles &triangles) {
        for (const int32_t k : triangles) {
            if (accel[k].axes == 0 || k == triangle) continue;
            const Meeting m = meetingFromCommonOrigin(accel[k], ray);
            const bool noneNegative = m.u0 >= 0.0f && m.u1 >= 0.0f && m.w >= 0.0f;
            const bool nonePositive = m.u0 <= 0.0f && m.u1 <= 0.0f && m.w <= 0.0f;
            if (!noneNegative && !nonePositive) continue;
            const float t = m.distance();
            if (!(t < best - 1.1920929e-7f && t > 0.0f)) continue;
            best = t;
            triangle = k;
        }
        return false;
    }
};

// The nearest occluder of one segment, or none.
int32_t kdProbeOccluder(const Segments &s, int64_t r) {
    const Ray ray = segment(s, r);
    NearestOccluder query = {s.scene.accel, ray};
    kdWalkRay(s.scene.root, ray, wholeSegment, query);
    return query.triangle;
}

// What the cache starts with: the occluder of the first live ray among the first four of the bundle's row 3.
int32_t firstOccluder(const Segments &s) {
    for (int64_t r = 3 * s.width; r < 3 * s.width + 4; ++r)
        if (s.mask[r] >= 0) return kdProbeOccluder(s, r);
    return noTriangle;
}

template <int N, int packets> using SegmentGroup = RayGroup<N, packets, CommonOrigins<N>>;

// Packet i starts at row 2 i of the tile. The inverses are left to who needs them.
template <int N, int packets> SegmentGroup<N, packets> segments(const Segments &s, int64_t first) {
    SegmentGroup<N, packets> group;
    for (int axis = 0; axis < 3; ++axis) {
        group.origins.point[axis] = broadcast<N>(s.origin[axis]);
        for (int i = 0; i < packets; ++i)
            group.direction[i][axis] = loadRows<N>(s.direction[axis] + first + 2 * i * s.width, s.width);
    }
    return group;
}

template <int N> Mask<N> withinSegment(Floats<N> t) { return (t < broadcast<N>(segmentEnd)) & (t > broadcast<N>(0.0f)); }

// Tests a tile against the cached triangle. Only `mask` tells what is blocked afterwards: rows 1 to 3 leave other words than
// noTriangle in `triangle` where they aren't hit (the reciprocal, which is 0 outside the triangle), and a row 1 that has no
// live ray inside leaves rows 2 and 3 to the tree.
void kdTestCachedOccluder(const Segments &s, int32_t k, int64_t first) {
    for (int y = 0; y < 4; ++y) {
        const int64_t row = first + y * s.width;
        const Int4 words = load<4>(s.mask + row);
        const Meetings<4> meeting = meetingsOf<4>(segments<4, 1>(s, row), 0, s.scene.accel[k]);
        const Mask4 live = meeting.inside & ~isNegative(words);
        if (none(live)) {
            if (y == 1) return;
            continue;
        }
        const Float4 reciprocal = meeting.reciprocalOfDen();
        const Mask4 hit = live & withinSegment<4>(meeting.num * refined(reciprocal, meeting.den));
        const Int4 otherwise = y == 0 ? load<4>(s.triangle + row) : bitsOf(reciprocal);
        store(s.triangle + row, select(hit, broadcast<4>(k), otherwise));
        store(s.mask + row, words | bitsOf(hit));
    }
}

// ---- Packets ------------------------------------------------------------------------------------------------------------

// The first occluder of each lane. A lane that has one leaves its packet at once.
template <int N, int packets> struct FirstOccluders {
    const SegmentGroup<N, packets> &group;
    const ZyprTriangleAccel *accel;
    Mask<N> live[packets];
    Ints<N> triangle[packets];

    Mask<N> remaining(int packet, Floats<N>) const { return live[packet]; }

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
            if (accel[k].axes == 0) continue;
            Meetings<N> meetings[count];
            for (int i = 0; i < count; ++i) meetings[i] = meetingsOf<N>(group, first + i, accel[k]);
            for (int i = 0; i < count; ++i) {
                Mask<N> &lanes = live[first + i];
                const Mask<N> inside = meetings[i].inside & lanes;
                if (N == 4 && none(inside)) continue; // of eight, some are inside as often as not
                const Floats<N> t = meetings[i].num * refined(meetings[i].reciprocalOfDen(), meetings[i].den);
                const Mask<N> hit = inside & withinSegment<N>(t);
                triangle[first + i] = select(hit, broadcast<N>(k), triangle[first + i]);
                lanes = lanes & ~hit;
            }
        }
    }
};

// Walks the tree with the lanes of `live`, writes what is blocked and returns the lanes of the last packet that aren't.
template <int N, int packets> Mask<N> blockSegments(const Segments &s, unsigned octant, int64_t first, Mask<N> live) {
    SegmentGroup<N, packets> group = segments<N, packets>(s, first);
    group.octant = octant;
    FirstOccluders<N, packets> query = {group, s.scene.accel, {}, {}};
    Progress<N> start[packets];
    for (int i = 0; i < packets; ++i) {
        for (int axis = 0; axis < 3; ++axis) group.inverse[i][axis] = inverseOf<N>(group.direction[i][axis], 8388608.0f);
        query.live[i] = live;
        query.triangle[i] = broadcast<N>(noTriangle);
        start[i] = {broadcast<N>(wholeSegment.t0), broadcast<N>(wholeSegment.t1), live};
    }
    kdWalkRays<N, packets>(s.scene.root, group, start, (1u << packets) - 1, query);
    for (int i = 0; i < packets; ++i) {
        const int64_t row = first + 2 * i * s.width;
        const Mask<N> hit = live & ~query.live[i];
        storeRows(s.triangle + row, s.width, hit, query.triangle[i]);
        storeRows(s.mask + row, s.width, hit, broadcast<N>(-1));
    }
    return query.live[packets - 1];
}

// Two rows of a tile and then the other two. Returns what the cache takes: where all of the last row is blocked, the occluder
// of its third ray.
int32_t kdWalkRays8(const Segments &s, unsigned octant, int64_t first) {
    const Mask8 open = blockSegments<8, 2>(s, octant, first, allLanes<8>());
    return none(high(open)) ? s.triangle[first + 3 * s.width + 2] : noTriangle;
}

void kdWalkRays4(const Segments &s, unsigned octant, int64_t row, Mask4 lanes) { blockSegments<4, 1>(s, octant, row, lanes); }

// The octants of a tile's rays with the top byte of each mask word ORed over them, so that a negative word belongs to none.
TileOctants octantsOfLive(const Segments &s, int64_t first) {
    TileOctants octants(s.direction, first, s.width);
    for (int bit = 0; bit < 8; ++bit)
        octants.overlay(bit, tileBits(first, s.width, [&](int64_t row) { return Int4{load<4>(s.mask + row).v << (7 - bit)}; }));
    return octants;
}

void testTiles(const Segments &s, ZyprBundleSize size) {
    int32_t cached = firstOccluder(s);
    const auto isDone = [&](int64_t first) {
        return tileBits(first, s.width, [&](int64_t row) { return load<4>(s.mask + row); }) == wholeTile;
    };
    forEachTile(size, [&](int64_t first) {
        for (int y = 0; y < 4; ++y) store(s.triangle + first + y * s.width, broadcast<4>(noTriangle));
        if (isDone(first)) return;
        if (cached != noTriangle) {
            kdTestCachedOccluder(s, cached, first);
            if (isDone(first)) return;
        }
        forEachPacket(
            octantsOfLive(s, first), [&](unsigned octant) { cached = kdWalkRays8(s, octant, first); },
            [&](unsigned octant, int y, Mask4 lanes) { kdWalkRays4(s, octant, first + y * s.width, lanes); });
    });
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprIntersectAnySO_32f(const float *origin, const float *const direction[3], int32_t *rayTriangle,
                                       int32_t *rayMask, ZyprBundleSize size, const ZyprScene *scene) {
    if (isEmpty(size)) return zypStsNoErr;
    const Segments segments = {*scene, origin, direction, rayTriangle, rayMask, size.width};
    if (takesPacketPath(size, rayTriangle, rayMask, direction[0], direction[1], direction[2]))
        testTiles(segments, size);
    else
        testSegments(segments, rayCount(size));
    return zypStsNoErr;
}
