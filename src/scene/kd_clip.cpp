// References and their polygons: the root's list, uncut or cut at a box, and the cutting of one polygon at a split plane.

#include "scene/kd_build.h"
#include "simd/vector.h"

namespace zypr {
namespace {

uint32_t tagOf(uint32_t triangle, uint32_t vertexCount) { return triangle << 5 | vertexCount; }

// The point at coordinate `plane` of `axis` on the edge from `from` to `to`. A polygon's edges are always taken in ring order,
// since the direction shows in the rounding.
void intersect(const float *from, const float *to, float plane, int axis, float *vertex) {
    const double start = from[axis];
    const double t = (static_cast<double>(plane) - start) / (static_cast<double>(to[axis]) - start);
    for (int i = 0; i < 3; ++i) {
        const double origin = from[i];
        vertex[i] = static_cast<float>(fused(static_cast<double>(to[i]) - origin, t, origin));
    }
    vertex[axis] = plane;
}

// Fills the reference from a ring of vertices: tag, polygon array and extremes.
zypStatus makeRef(ZyprKDPrimRef *ref, uint32_t triangle, const KDVertex *ring, uint32_t count, ZyprKDBuildState *state) {
    KDVertex *polygon;
    const zypStatus status = kdRequestPolygon(state, count, &polygon);
    if (status != zypStsNoErr) return status;
    for (uint32_t i = 0; i < 3; ++i) polygon[i] = ring[i];
    for (uint32_t i = 3; i < kdMostVertices; ++i) { // a few moves, where a copying routine would be called for any count
        if (i == count) break;
        polygon[i] = ring[i];
    }
    *ref = {tagOf(triangle, count), 0, polygon};
    return zypStsNoErr;
}

// A ring under construction, with the points that cutting at a box adds to it. Rounding can bend a polygon, so that a face may
// be crossed more than twice; each vertex gives at most two.
struct ClippedRing {
    static constexpr int capacity = 24;

    KDVertex vertices[capacity];
    int count = 0;

    void add(KDVertex vertex) { vertices[count++] = vertex; }
};

struct ClipPoints {
    float points[6 + 12 + ClippedRing::capacity][3];
    int count = 0;

    KDVertex intersection(KDVertex from, KDVertex to, float plane, int axis) {
        float *point = points[count++];
        intersect(from, to, plane, axis, point);
        return point;
    }
};

ClippedRing clippedAt(const ClippedRing &ring, float low, float high, int axis, ClipPoints &points) {
    ClippedRing result;
    for (int i = 0; i < ring.count; ++i) {
        const KDVertex from = ring.vertices[i];
        const KDVertex to = ring.vertices[i + 1 == ring.count ? 0 : i + 1];
        const float c = from[axis], d = to[axis];
        if (low <= c && c <= high) result.add(from);
        if (d <= c) {
            if (c > high && d < high) result.add(points.intersection(from, to, high, axis));
            if (c > low && d < low) result.add(points.intersection(from, to, low, axis));
        } else {
            if (c < low && d > low) result.add(points.intersection(from, to, low, axis));
            if (c < high && d > high) result.add(points.intersection(from, to, high, axis));
        }
    }
    return result;
}

bool isCallersVertex(const ZyprKDBuildState *state, KDVertex vertex) {
    return vertex >= state->vertexBase && vertex < state->vertexEnd;
}

zypStatus keepInPool(KDVertex *vertex, ZyprKDBuildState *state) {
    float *kept;
    const zypStatus status = kdRequestClipVertex(state, &kept);
    if (status != zypStsNoErr) return status;
    for (int i = 0; i < 3; ++i) kept[i] = (*vertex)[i];
    *vertex = kept;
    return zypStsNoErr;
}

} // namespace

// The three axes side by side: each lane keeps its extreme and the index that it was found at.
uint32_t kdExtremes(const KDVertex *polygon, uint32_t vertexCount) {
    const Mask4 xyz = firstLanes<4>(3);
    Float4 smallest = load(polygon[0], xyz), largest = smallest;
    Int4 smallestIndex = broadcast<4>(0), largestIndex = smallestIndex;
    for (uint32_t i = 1; i < vertexCount; ++i) {
        const Float4 vertex = load(polygon[i], xyz);
        const Int4 index = broadcast<4>(static_cast<int32_t>(i));
        smallestIndex = select(vertex < smallest, index, smallestIndex);
        largestIndex = select(vertex > largest, index, largestIndex);
        smallest = minimum(vertex, smallest);
        largest = maximum(vertex, largest);
    }
    const __m128i word = _mm_or_si128(_mm_sllv_epi32(raw(smallestIndex), _mm_setr_epi32(15, 20, 25, 32)),
                                      _mm_sllv_epi32(raw(largestIndex), _mm_setr_epi32(0, 5, 10, 32)));
    const __m128i pairs = _mm_or_si128(word, _mm_unpackhi_epi64(word, word));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(pairs) | _mm_extract_epi32(pairs, 1));
}

zypStatus kdInitPrimRefs(ZyprKDPrimRef **refs, int32_t vertexCount, int32_t triangleCount, ZyprBox *box,
                         ZyprKDBuildState *state) {
    *box = {};
    if (triangleCount > 0) { // else nobody needs the box, and there may be no vertex
        const float *vertex = state->vertexBase;
        for (int axis = 0; axis < 3; ++axis) box->minimum[axis] = box->maximum[axis] = vertex[axis];
        for (int32_t i = 1; i < vertexCount; ++i) {
            vertex += 3;
            for (int axis = 0; axis < 3; ++axis) {
                box->minimum[axis] = minimum(vertex[axis], box->minimum[axis]);
                box->maximum[axis] = maximum(vertex[axis], box->maximum[axis]);
            }
        }
    }
    zypStatus status = kdRequestRefs(state, triangleCount, refs);
    for (int64_t i = 0; i < triangleCount && status == zypStsNoErr; ++i) {
        const int32_t *corners = state->triangleBase + 4 * i;
        KDVertex ring[3];
        for (int k = 0; k < 3; ++k) ring[k] = state->vertexBase + 3 * static_cast<int64_t>(corners[k]);
        ZyprKDPrimRef *ref = *refs + i;
        status = makeRef(ref, static_cast<uint32_t>(i), ring, 3, state);
        if (status == zypStsNoErr) ref->extremes = kdExtremes(ref->polygon, 3);
    }
    return status;
}

zypStatus kdClipTrianglesToBox(ZyprKDPrimRef **refs, int32_t *count, const int32_t *triangles, int32_t triangleCount,
                               const ZyprBox &box, ZyprKDBuildState *state) {
    *refs = nullptr;
    *count = 0;
    for (int64_t i = 0; i < triangleCount; ++i) {
        ClippedRing ring;
        for (int k = 0; k < 3; ++k) ring.add(state->vertexBase + 3 * static_cast<int64_t>(triangles[4 * i + k]));
        ClipPoints points;
        for (int axis = 0; axis < 3 && ring.count >= 3; ++axis)
            ring = clippedAt(ring, box.minimum[axis], box.maximum[axis], axis, points);
        if (ring.count < 3) continue;
        if (ring.count > kdMostVertices) return zypStsBuildInconsistentErr;

        KDVertex *polygon;
        const auto vertexCount = static_cast<uint32_t>(ring.count);
        if (const zypStatus status = kdRequestPolygon(state, vertexCount, &polygon)) return status;
        for (uint32_t k = 0; k < vertexCount; ++k) {
            polygon[k] = ring.vertices[k];
            if (isCallersVertex(state, polygon[k])) continue;
            if (const zypStatus status = keepInPool(&polygon[k], state)) return status;
        }
        ZyprKDPrimRef *ref;
        if (const zypStatus status = kdRequestRefs(state, 1, &ref)) return status;
        *ref = {tagOf(static_cast<uint32_t>(i), vertexCount), kdExtremes(polygon, vertexCount), polygon};
        if (*count == 0) *refs = ref;
        ++*count;
    }
    return zypStsNoErr;
}

zypStatus kdSplitPolygon(const ZyprKDPrimRef &source, ZyprKDPrimRef *left, ZyprKDPrimRef *right, float plane, int axis,
                         ZyprKDBuildState *state) {
    const ZyprKDPrimRef ref = source; // `left` or `right` may be where it stands
    const uint32_t n = ref.vertexCount();
    const KDVertex *polygon = ref.polygon;
    const uint32_t smallest = ref.smallestIndex(axis), largest = ref.largestIndex(axis);
    const auto next = [n](uint32_t i) { return i + 1 == n ? 0 : i + 1; };

    // Each of the four walks below takes less than one turn round the ring, even where NaNs leave the extremes meaningless: it
    // stops at an extreme, or at a vertex that isn't strictly on the side that only the vertices of one side are on.
    KDVertex a[2 * kdMostVertices + 2], b[2 * kdMostVertices + 2];
    uint32_t aCount = 0, bCount = 0;

    const auto crossing = [&](uint32_t i, uint32_t &j, KDVertex *vertex) {
        if (polygon[j][axis] == plane) {
            *vertex = polygon[j];
            j = next(j);
            return static_cast<zypStatus>(zypStsNoErr);
        }
        float *made;
        const zypStatus status = kdRequestClipVertex(state, &made);
        if (status != zypStsNoErr) return status;
        intersect(polygon[i], polygon[j], plane, axis, made);
        *vertex = made;
        return status;
    };

    uint32_t i = smallest, j = next(i);
    a[aCount++] = polygon[i];
    for (; polygon[j][axis] < plane; i = j, j = next(j)) a[aCount++] = polygon[j];
    KDVertex x;
    if (const zypStatus status = crossing(i, j, &x)) return status;
    a[aCount++] = x;
    b[bCount++] = x;
    for (; j != largest; j = next(j)) b[bCount++] = polygon[j];
    b[bCount++] = polygon[largest];
    i = largest;
    j = next(i);
    for (; polygon[j][axis] > plane; i = j, j = next(j)) b[bCount++] = polygon[j];
    KDVertex y;
    if (const zypStatus status = crossing(i, j, &y)) return status;
    a[aCount++] = y;
    b[bCount++] = y;
    for (; j != smallest; j = next(j)) a[aCount++] = polygon[j];

    if (aCount > kdMostVertices || bCount > kdMostVertices) return zypStsBuildInconsistentErr;
    const uint32_t triangle = ref.tag >> 5;
    if (const zypStatus status = makeRef(left, triangle, a, aCount, state)) return status;
    if (const zypStatus status = makeRef(right, triangle, b, bCount, state)) return status;
    left->extremes = kdExtremes(left->polygon, aCount);
    right->extremes = kdExtremes(right->polygon, bCount);
    kdReleasePolygon(state, n, ref.polygon);
    return zypStsNoErr;
}

} // namespace zypr
