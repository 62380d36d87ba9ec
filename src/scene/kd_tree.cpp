// The subdivision: node after node with a stack of deferred left children, each right child at once.

#include <cstring>

#include "scene/kd_build.h"

namespace zypr {
namespace {

struct ZyprKDStackEntry {
    ZyprKDBuildNode *node;
    ZyprBox box;
    int32_t depth;
    unsigned char *refMark, *vertexMark; // where the pools' cursors go back to when the entry is taken up
};

constexpr double traversalCostUnit = 0x1.02f2940000000p-1; // 0.5057569742202759

// The cost of one step of a ray through an inner node, in units of one intersection test.
float traversalCostAt(float splitBias) {
    return static_cast<float>((10.0 - 9.0 * static_cast<double>(splitBias)) * traversalCostUnit);
}

zypStatus makeLeaf(ZyprKDBuildNode *node, ZyprKDBuildState *state) {
    int32_t *list;
    if (const zypStatus status = kdRequestLeafList(state, node->count, &list)) return status;
    for (int32_t i = 0; i < node->count; ++i) {
        const ZyprKDPrimRef &ref = node->refs[i];
        list[i] = ref.triangle();
        kdReleasePolygon(state, ref.vertexCount(), ref.polygon);
    }
    node->triangles = list;
    return zypStsNoErr;
}

// Everything above a mark is given back, which is how the memory of finished subtrees returns.
void rewind(unsigned char *&cursor, unsigned char *mark, const unsigned char *base, const unsigned char *limit) {
    if (mark >= base && mark < limit) cursor = mark;
}

} // namespace

zypStatus kdBuildTree(ZyprKDBuildState *state, ZyprKDBuildNode *root, float splitBias, uint32_t maxDepth, ZyprBox box,
                      int32_t fewestForTeam) {
    const float traversalCost = traversalCostAt(splitBias);
    ZyprKDStackEntry stack[kdDeepestLevel];
    int32_t stacked = 0;
    ZyprKDBuildNode *node = root;
    ZyprKDPrimRef *active = root->refs; // the list in work always stands where the root's list stands
    int32_t depth = 0;
    const KDBounds bounds(state->scratch);
    kdGatherBounds(bounds, active, root->count);
    unsigned char *refMark = state->refPoolCursor;
    unsigned char *vertexMark = state->clipVertexCursor;
    for (;;) {
        rewind(state->clipVertexCursor, vertexMark, state->clipVertexBase, state->clipVertexLimit);
        rewind(state->refPoolCursor, refMark, state->refPoolBase, state->refPoolLimit);

        ZyprKDSplitResult split{};
        split.axis = -1;
        if (static_cast<uint32_t>(depth) != maxDepth) {
            const auto search = node->count >= fewestForTeam ? localFindBestSplitSortSearch_MT : kdFindBestSplit;
            search(&split, node->count, box, bounds, traversalCost);
        }
        if (split.axis >= 0) {
            ZyprKDBuildNode *pair;
            if (const zypStatus status = kdRequestNodePair(state, &pair)) return status;
            pair[0] = pair[1] = *node;
            node->kind = split.axis;
            node->plane = split.plane;
            node->children = pair;
            ++depth;
            if (split.leftCount == 0) {
                pair[0].count = 0;
                pair[0].refs = nullptr;
                node = &pair[1];
                box.minimum[split.axis] = split.plane;
            } else if (split.rightCount == 0) {
                pair[1].count = 0;
                pair[1].refs = nullptr;
                node = &pair[0];
                box.maximum[split.axis] = split.plane;
            } else {
                ZyprKDStackEntry &deferred = stack[stacked++];
                deferred = {&pair[0], box, depth, state->refPoolCursor, nullptr};
                deferred.box.maximum[split.axis] = split.plane;
                box.minimum[split.axis] = split.plane;
                node = &pair[1];
                // The right list's room is asked for but not used: that list takes the place of its parent's.
                ZyprKDPrimRef *left, *right;
                if (const zypStatus status = kdRequestRefs(state, split.leftCount, &left)) return status;
                refMark = state->refPoolCursor;
                if (const zypStatus status = kdRequestRefs(state, split.rightCount, &right)) return status;
                if (const zypStatus status = kdPartition(bounds, active, pair[0].count, split, left, state)) return status;
                deferred.vertexMark = vertexMark = state->clipVertexCursor;
                pair[0].count = split.leftCount;
                pair[0].refs = left;
                pair[1].count = split.rightCount;
                pair[1].refs = active;
            }
            continue;
        }
        if (const zypStatus status = makeLeaf(node, state)) return status;
        if (stacked == 0) return zypStsNoErr;
        const ZyprKDStackEntry &next = stack[--stacked];
        node = next.node;
        box = next.box;
        depth = next.depth;
        refMark = next.refMark;
        vertexMark = next.vertexMark;
        std::memmove(active, node->refs, sizeof(ZyprKDPrimRef) * static_cast<size_t>(node->count));
        node->refs = active;
        kdGatherBounds(bounds, active, node->count);
    }
}

zypStatus kdBuildSAH(const float *vertices, const int32_t *triangles, int32_t vertexCount, int32_t triangleCount,
                     ZyprKDTree **tree, int32_t *sizeBytes, float splitBias, uint32_t maxDepth, uint32_t memoryLimit,
                     const float *clipBox) {
    ZyprKDBuildState *state = nullptr;
    ZyprKDBuildNode *root = nullptr;
    const auto build = [&]() -> zypStatus {
        if (const zypStatus status = kdOpenBuild(&state, vertices, triangles, vertexCount, triangleCount, memoryLimit))
            return status;
        ZyprBox box;
        ZyprKDPrimRef *refs;
        int32_t count = triangleCount;
        if (clipBox == nullptr) {
            if (const zypStatus status = kdInitPrimRefs(&refs, vertexCount, triangleCount, &box, state)) return status;
        } else {
            std::memcpy(&box, clipBox, sizeof box);
            if (const zypStatus status = kdClipTrianglesToBox(&refs, &count, triangles, triangleCount, box, state))
                return status;
        }
        // The scratch arrays' size wraps in 32 bits.
        if (static_cast<uint32_t>(count) > (static_cast<uint32_t>(triangleCount) & 0x3FFFFFFFu))
            return zypStsBuildInconsistentErr;
        if (const zypStatus status = kdRequestNodePair(state, &root)) return status;
        root->kind = kdLeaf;
        root->count = count;
        root->refs = count == 0 ? nullptr : refs;
        return count == 0 ? zypStsNoErr : kdBuildTree(state, root, splitBias, maxDepth, box, kdFewestForTeam);
    };
    const zypStatus status = build();
    return kdCloseBuild(state, status, root, tree, sizeBytes);
}

} // namespace zypr
