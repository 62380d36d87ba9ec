// The subdivision: node after node with a stack of deferred left children, each right child at once.

#include <cstring>

#include "scene/kd_emit.h"

namespace zypr {
namespace {

// An inner node on the way from the root to the node in work. Its right child is done first.
struct Level {
    enum class Left { waiting, inWork, empty };

    int axis;
    float plane;
    Left left;
    KDFinishedNode right;
    // The left child while it waits.
    ZyprKDPrimRef *refs;
    int32_t count;
    ZyprBox box;
    unsigned char *refMark, *vertexMark; // where the pools' cursors go back to when it is taken up
};

constexpr double traversalCostUnit = 0x1.02f2940000000p-1; // 0.5057569742202759

// The cost of one step of a ray through an inner node, in units of one intersection test.
float traversalCostAt(float splitBias) {
    return static_cast<float>((10.0 - 9.0 * static_cast<double>(splitBias)) * traversalCostUnit);
}

zypStatus makeLeaf(KDFinishedNode *node, KDGrowingTree *tree, const ZyprKDPrimRef *refs, int32_t count,
                   ZyprKDBuildState *state) {
    if (const zypStatus status = kdRequestLeafList(state, count)) return status;
    *node = tree->leaf(count, [refs](int32_t i) { return refs[i].triangle(); });
    for (int32_t i = 0; i < count; ++i) kdReleasePolygon(state, refs[i].vertexCount(), refs[i].polygon);
    return zypStsNoErr;
}

// Everything above a mark is given back, which is how the memory of finished subtrees returns.
void rewind(unsigned char *&cursor, unsigned char *mark, const unsigned char *base, const unsigned char *limit) {
    if (mark >= base && mark < limit) cursor = mark;
}

} // namespace

zypStatus kdBuildTree(ZyprKDBuildState *state, KDGrowingTree *tree, ZyprKDPrimRef *refs, int32_t count, float splitBias,
                      uint32_t maxDepth, ZyprBox box, int32_t fewestForTeam) {
    const float traversalCost = traversalCostAt(splitBias);
    Level path[kdDeepestLevel];
    uint32_t depth = 0;
    const KDBounds bounds(state->scratch);
    kdGatherBounds(bounds, refs, count);
    unsigned char *refMark = state->refPoolCursor;
    unsigned char *vertexMark = state->clipVertexCursor;
    for (;;) { // The list in work always stands where the root's list stands.
        rewind(state->clipVertexCursor, vertexMark, state->clipVertexBase, state->clipVertexLimit);
        rewind(state->refPoolCursor, refMark, state->refPoolBase, state->refPoolLimit);

        ZyprKDSplitResult split{};
        split.axis = -1;
        if (depth != maxDepth) {
            const auto search = count >= fewestForTeam ? localFindBestSplitSortSearch_MT : kdFindBestSplit;
            search(&split, count, box, bounds, traversalCost);
        }
        if (split.axis >= 0) {
            if (const zypStatus status = kdRequestNodePair(state)) return status;
            Level &level = path[depth++];
            level.axis = split.axis;
            level.plane = split.plane;
            if (split.leftCount == 0) {
                level.left = Level::Left::empty;
                box.minimum[split.axis] = split.plane;
            } else if (split.rightCount == 0) {
                level.left = Level::Left::inWork;
                level.right = tree->emptyLeaf();
                box.maximum[split.axis] = split.plane;
            } else {
                level.left = Level::Left::waiting;
                level.count = split.leftCount;
                level.box = box;
                level.box.maximum[split.axis] = split.plane;
                box.minimum[split.axis] = split.plane;
                // The right list's room is asked for but not used: that list takes the place of its parent's.
                ZyprKDPrimRef *right;
                level.refMark = state->refPoolCursor;
                if (const zypStatus status = kdRequestRefs(state, split.leftCount, &level.refs)) return status;
                refMark = state->refPoolCursor;
                if (const zypStatus status = kdRequestRefs(state, split.rightCount, &right)) return status;
                if (const zypStatus status = kdPartition(bounds, refs, count, split, level.refs, state)) return status;
                level.vertexMark = vertexMark = state->clipVertexCursor;
                count = split.rightCount;
            }
            continue;
        }

        KDFinishedNode node;
        if (const zypStatus status = makeLeaf(&node, tree, refs, count, state)) return status;
        for (; depth > 0 && path[depth - 1].left != Level::Left::waiting; --depth) {
            const Level &level = path[depth - 1];
            node = level.left == Level::Left::empty ? tree->inner(level.axis, level.plane, tree->emptyLeaf(), node)
                                                    : tree->inner(level.axis, level.plane, node, level.right);
        }
        if (depth == 0) {
            tree->root = node;
            return zypStsNoErr;
        }
        Level &level = path[depth - 1];
        level.right = node;
        level.left = Level::Left::inWork;
        count = level.count;
        box = level.box;
        refMark = level.refMark;
        vertexMark = level.vertexMark;
        std::memmove(refs, level.refs, sizeof(ZyprKDPrimRef) * static_cast<size_t>(count));
        kdGatherBounds(bounds, refs, count);
    }
}

zypStatus kdBuildSAH(const float *vertices, const int32_t *triangles, int32_t vertexCount, int32_t triangleCount,
                     ZyprKDTree **block, int32_t *sizeBytes, float splitBias, uint32_t maxDepth, uint32_t memoryLimit,
                     const float *clipBox) {
    ZyprKDBuildState *state = nullptr;
    KDGrowingTree tree;
    const auto build = [&]() -> zypStatus {
        if (const zypStatus status = kdOpenBuild(&state, vertices, triangles, vertexCount, triangleCount, memoryLimit))
            return status;
        tree = KDGrowingTree(state);
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
        if (const zypStatus status = kdRequestNodePair(state)) return status; // the root
        tree.root = tree.emptyLeaf();
        return count == 0 ? zypStsNoErr : kdBuildTree(state, &tree, refs, count, splitBias, maxDepth, box, kdFewestForTeam);
    };
    const zypStatus status = build();
    return kdCloseBuild(state, status, &tree, block, sizeBytes);
}

} // namespace zypr
