// The front of the KD-tree builder, and the tree of one leaf.

#include "scene/kd_build.h"

#include "frame/fronts.h"
#include "frame/memory.h"

namespace zypr {
namespace {

// Two 32-bit shifts, both free to wrap: the test asks for 32 MiB by a shift that keeps one bit more than the limit itself.
constexpr uint32_t smallestShiftedLimit = 0x1000000;

bool limitTooSmall(uint32_t mebibytes) { return mebibytes << 19 < smallestShiftedLimit; }
uint32_t limitInBytes(uint32_t mebibytes) { return mebibytes << 20; }

zypStatus kdBuildSimple(int32_t triangleCount, ZyprKDTree **tree, int32_t *sizeBytes) {
    const int64_t size = 4 * static_cast<int64_t>(triangleCount) + 16;
    if (size > INT32_MAX) return zypStsAllocFailErr;
    auto *words = static_cast<uint32_t *>(zyprAllocQwords(static_cast<int32_t>(size >> 3) + 1));
    if (words == nullptr) return zypStsAllocFailErr;
    words[0] = 0xFFFFFFF0u; // the list lies 16 bytes after the node
    words[1] = static_cast<uint32_t>(triangleCount);
    words[2] = words[3] = 0;
    for (int32_t i = 0; i < triangleCount; ++i) words[4 + i] = static_cast<uint32_t>(i);
    *tree = reinterpret_cast<ZyprKDTree *>(words);
    *sizeBytes = static_cast<int32_t>(size);
    return zypStsNoErr;
}

} // namespace
} // namespace zypr

zypStatus front_zyprKDTreeBuildAlloc(ZyprKDTree **tree, const float *vertices, const int32_t *triangles, int32_t vertexCount,
                                     int32_t triangleCount, int32_t *sizeBytes, const ZyprKDTreeBuildContext *context) {
    if (tree == nullptr || vertices == nullptr || triangles == nullptr || sizeBytes == nullptr) return zypStsNullPtrErr;
    if (vertexCount < 0 || triangleCount < 0) return zypStsSizeErr;
    if (context == nullptr) return zypStsNullPtrErr;
    switch (context->algorithm) {
    case zyprKDTreeBuildSimple:
        if (context->maxDepth > zypr::kdDeepestLevel) return zypStsBuildParamErr;
        return zypr::kdBuildSimple(triangleCount, tree, sizeBytes);
    case zyprKDTreeBuildSAH:
        if (context->maxDepth > zypr::kdDeepestLevel) return zypStsBuildParamErr;
        if (context->splitBias < 0.0f) return zypStsBuildParamErr; // NaN passes both
        if (context->splitBias > 1.0f) return zypStsBuildParamErr;
        if (zypr::limitTooSmall(context->memoryLimitMiB)) return zypStsAllocFailErr;
        return zypr::kdBuildSAH(vertices, triangles, vertexCount, triangleCount, tree, sizeBytes, context->splitBias,
                                context->maxDepth, zypr::limitInBytes(context->memoryLimitMiB), context->clipBox);
    default: return zypStsBadAlgorithmErr;
    }
}

void front_zyprKDTreeFree(ZyprKDTree *tree) { zyprFreeBlock(tree); }
