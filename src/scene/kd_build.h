// The private records of a KD-tree build, and what the builder's files ask of each other.
#pragma once

#include <cstdint>

#include "zypr.h"

namespace zypr {

constexpr uint32_t kdDeepestLevel = 50;
constexpr int kdMostVertices = 9; // of a triangle cut by the six planes of a box

// A polygon is an array of pointers to vertices in ring order. A vertex is three floats, in the caller's array or in the
// clip-vertex pool; it is shared between polygons and never changes.
using KDVertex = const float *;

// One triangle, or one piece of a triangle, in the node being subdivided.
struct ZyprKDPrimRef {
    uint32_t tag;      // bits 0-4: the polygon's vertex count; bits 5-31: the triangle's number
    uint32_t extremes; // 5-bit vertex indices: the largest on axis a at bit 5a, the smallest at bit 5a + 15
    KDVertex *polygon;

    uint32_t vertexCount() const { return tag & 31; }
    int32_t triangle() const { return static_cast<int32_t>(tag) >> 5; }
    uint32_t largestIndex(int axis) const { return extremes >> (5 * axis) & 31; }
    uint32_t smallestIndex(int axis) const { return extremes >> (5 * axis + 15) & 31; }
    float largest(int axis) const { return polygon[largestIndex(axis)][axis]; }
    float smallest(int axis) const { return polygon[smallestIndex(axis)][axis]; }
};
static_assert(sizeof(ZyprKDPrimRef) == 16);

// One link of a circular list of blocks. Requests are served from the last block of a list, and what they take is given back
// only with the whole list. The list's head is a block too, with an empty payload.
struct ZyprKDBuildBlock {
    ZyprKDBuildBlock *next, *prev;
    unsigned char *base, *limit, *cursor;
};
static_assert(sizeof(ZyprKDBuildBlock) == 40);

// One build. Its size and its place in the memory accounting are fixed.
struct ZyprKDBuildState {
    uint32_t memoryLimit; // bytes
    uint32_t memoryLeft;  // may wrap below zero when the pools are planned, and is then a budget without end
    const float *vertexBase, *vertexEnd, *vertexEndCursor;
    const int32_t *triangleBase, *triangleEnd, *triangleEndCursor;
    unsigned char *refPoolBase, *refPoolLimit, *refPoolCursor;
    unsigned char *clipVertexBase, *clipVertexLimit, *clipVertexCursor;
    float *scratch[12]; // per axis four: starts, ends, planars, the sort's buffer; one float per triangle each
    ZyprKDBuildBlock nodeBlocks;
    ZyprKDBuildBlock leafBlocks;
    KDVertex *polygonFree[kdMostVertices + 1]; // by vertex count; an array's first slot links to the next free one
    ZyprKDBuildBlock polygonBlocks;
};
static_assert(sizeof(ZyprKDBuildState) == 400);

struct KDGrowingTree; // kd_emit.h

struct ZyprKDSplitResult {
    double cost;
    float plane;
    int32_t axis; // -1: no split
    int32_t leftCount, rightCount;
    int32_t planarSide; // where references in the plane go: 0 left, 1 right
};

// ---- Memory of a build (kd_memory.cpp) ----------------------------------------------------------------------------------

// `*state` stays null when nothing was allocated; otherwise kdCloseBuild must follow, whatever the status.
zypStatus kdOpenBuild(ZyprKDBuildState **state, const float *vertices, const int32_t *triangles, int32_t vertexCount,
                      int32_t triangleCount, uint32_t memoryLimit);

// Ends a build that has come to `status`: writes the tree into a block of the caller's if that is success, and releases
// everything.
zypStatus kdCloseBuild(ZyprKDBuildState *state, zypStatus status, const KDGrowingTree *tree, ZyprKDTree **block,
                       int32_t *sizeBytes);

// Room for a pair of nodes and for a leaf's list, which the growing tree fills in its own way.
constexpr int32_t kdNodePairBytes = 48;
zypStatus kdRequestNodePair(ZyprKDBuildState *state);
zypStatus kdRequestLeafList(ZyprKDBuildState *state, int32_t count);
zypStatus kdRequestPolygon(ZyprKDBuildState *state, uint32_t vertexCount, KDVertex **polygon);
zypStatus kdRequestRefs(ZyprKDBuildState *state, int64_t count, ZyprKDPrimRef **refs);
zypStatus kdRequestClipVertex(ZyprKDBuildState *state, float **vertex);

inline void kdReleasePolygon(ZyprKDBuildState *state, uint32_t vertexCount, KDVertex *polygon) {
    polygon[0] = reinterpret_cast<KDVertex>(state->polygonFree[vertexCount]);
    state->polygonFree[vertexCount] = polygon;
}

// ---- References and polygons (kd_clip.cpp) ------------------------------------------------------------------------------

uint32_t kdExtremes(const KDVertex *polygon, uint32_t vertexCount);

// The root's references, uncut, and the box of all vertices.
zypStatus kdInitPrimRefs(ZyprKDPrimRef **refs, int32_t vertexCount, int32_t triangleCount, ZyprBox *box,
                         ZyprKDBuildState *state);

// The root's references, cut at the faces of the box; triangles outside give none.
zypStatus kdClipTrianglesToBox(ZyprKDPrimRef **refs, int32_t *count, const int32_t *triangles, int32_t triangleCount,
                               const ZyprBox &box, ZyprKDBuildState *state);

// Cuts a polygon that has vertices on both sides of the plane. `left` or `right` may be the reference itself.
zypStatus kdSplitPolygon(const ZyprKDPrimRef &ref, ZyprKDPrimRef *left, ZyprKDPrimRef *right, float plane, int axis,
                         ZyprKDBuildState *state);

// ---- The references in work (kd_partition.cpp) --------------------------------------------------------------------------

// The bounds of the references of the node in work, which stand in the scratch arrays in the order of its list. They are what
// the search and the partition read, so that vertices are visited only when a list is taken up and when a polygon is cut.
struct KDBounds {
    float *low[3], *high[3];
    float *spare[6]; // the scratch arrays that are left, for whoever works at the moment

    explicit KDBounds(float *const *scratch) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = scratch[4 * axis];
            high[axis] = scratch[4 * axis + 1];
            spare[2 * axis] = scratch[4 * axis + 2];
            spare[2 * axis + 1] = scratch[4 * axis + 3];
        }
    }
};

void kdGatherBounds(const KDBounds &bounds, const ZyprKDPrimRef *refs, int32_t count);

// Moves the references to `left` or, in place with their bounds, to the front of `refs`; both lists keep the order. The counts
// must come out as the search predicted them. Behind the left list there is room for one reference more.
zypStatus kdPartition(const KDBounds &bounds, ZyprKDPrimRef *refs, int32_t count, const ZyprKDSplitResult &split,
                      ZyprKDPrimRef *left, ZyprKDBuildState *state);

// ---- Split search (kd_search.cpp, kd_planes.cpp) and its sorts (kd_sort.cpp) --------------------------------------------

// Half the surface area of the box times the count.
double kdLeafCost(const ZyprBox &box, int32_t count);

// Both forms find the same split; `result->axis` is -1 when splitting does not pay.
void kdFindBestSplit(ZyprKDSplitResult *result, int32_t count, const ZyprBox &box, const KDBounds &bounds, float traversalCost);
void localFindBestSplitSortSearch_MT(ZyprKDSplitResult *result, int32_t count, const ZyprBox &box, const KDBounds &bounds,
                                     float traversalCost);

// Ascending; -0.0 comes before +0.0, NaNs stand at the ends by their sign.
void kdSortFloatsRadix(float *keys, float *buffer, int32_t count);
void kdSortFloatsQuick(float *keys, int32_t count);

// ---- Subdivision (kd_tree.cpp) ------------------------------------------------------------------------------------------

// From how many references on a team of threads searches a node. Where other processes want the processors too, and the OpenMP
// runtime's threads spin before they sleep, a team waits for its last thread as long as the search of a million references
// takes; the work that it shares must be worth several such waits.
constexpr int32_t kdFewestForTeam = 1 << 22;
zypStatus kdBuildTree(ZyprKDBuildState *state, KDGrowingTree *tree, ZyprKDPrimRef *refs, int32_t count, float splitBias,
                      uint32_t maxDepth, ZyprBox box, int32_t fewestForTeam);
zypStatus kdBuildSAH(const float *vertices, const int32_t *triangles, int32_t vertexCount, int32_t triangleCount,
                     ZyprKDTree **block, int32_t *sizeBytes, float splitBias, uint32_t maxDepth, uint32_t memoryLimit,
                     const float *clipBox);

} // namespace zypr
