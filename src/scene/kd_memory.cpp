// The memory of a build: the plan made at its start, pools that never grow, lists of 16-MiB blocks, and the release of it all.
// Everything is accounted in 32-bit unsigned arithmetic against the caller's limit.

#include "frame/memory.h"

#include "scene/kd_emit.h"

namespace zypr {
namespace {

constexpr uint32_t blockPayload = 0x1000000;
constexpr uint32_t wholeBlocks = 0xFF000000;

uint32_t leastMemory(uint32_t vertexCount, uint32_t triangleCount) {
    return 12 * vertexCount + 84 * triangleCount + 2 * blockPayload + 480;
}

// A pool of so many bytes, in whole blocks, and one block more.
uint32_t poolSize(uint32_t bytes) { return (bytes & wholeBlocks) + blockPayload; }

bool openPool(unsigned char **base, unsigned char **limit, unsigned char **cursor, uint32_t size, uint32_t *memoryLeft) {
    *base = *cursor = static_cast<unsigned char *>(zyprAllocBytes(static_cast<int32_t>(size)));
    if (*base == nullptr) return false;
    *limit = *base + size;
    *memoryLeft -= size;
    return true;
}

bool openScratch(ZyprKDBuildState *state, int32_t triangleCount) {
    for (float *&array : state->scratch) {
        array = static_cast<float *>(zyprAllocDwords(triangleCount));
        if (array == nullptr && triangleCount > 0) return false;
        state->memoryLeft -= 4 * static_cast<uint32_t>(triangleCount);
    }
    return true;
}

void makeEmpty(ZyprKDBuildBlock *list) {
    *list = {};
    list->next = list->prev = list;
}

template <class T> void release(T *&block) {
    if (block != nullptr) zyprFreeBlock(block);
    block = nullptr;
}

void releaseBlocks(ZyprKDBuildBlock *list) {
    for (ZyprKDBuildBlock *block = list->next; block != list;) {
        ZyprKDBuildBlock *next = block->next;
        zyprFreeBlock(block->base);
        zyprFreeBlock(block);
        block = next;
    }
    makeEmpty(list);
}

// What only the subdivision needs.
void releaseWorkingMemory(ZyprKDBuildState *state) {
    release(state->refPoolBase);
    release(state->clipVertexBase);
    for (float *&array : state->scratch) release(array);
}

zypStatus appendBlock(ZyprKDBuildState *state, ZyprKDBuildBlock *list, uint32_t payload) {
    const uint32_t bytes = payload + sizeof(ZyprKDBuildBlock);
    if (state->memoryLeft < bytes) return zypStsMemLimitErr;
    auto *block = static_cast<ZyprKDBuildBlock *>(zyprAllocBytes(sizeof(ZyprKDBuildBlock)));
    if (block == nullptr) return zypStsAllocFailErr;
    block->base = static_cast<unsigned char *>(zyprAllocBytes(static_cast<int32_t>(payload)));
    if (block->base == nullptr) {
        zyprFreeBlock(block);
        return zypStsAllocFailErr;
    }
    state->memoryLeft -= bytes;
    block->cursor = block->base;
    block->limit = block->base + payload;
    block->next = list;
    block->prev = list->prev;
    list->prev->next = block;
    list->prev = block;
    return zypStsNoErr;
}

// A block is never filled to its last byte, but a request that no block could serve gets one of its own size.
template <class T> zypStatus requestFromBlocks(ZyprKDBuildState *state, ZyprKDBuildBlock *list, uint32_t bytes, T **memory) {
    if (static_cast<int64_t>(bytes) >= list->prev->limit - list->prev->cursor) {
        const zypStatus status = appendBlock(state, list, bytes > blockPayload ? bytes : blockPayload);
        if (status != zypStsNoErr) return status;
    }
    ZyprKDBuildBlock *last = list->prev;
    *memory = reinterpret_cast<T *>(last->cursor);
    last->cursor += bytes;
    return zypStsNoErr;
}

template <class T> zypStatus requestFromPool(unsigned char *&cursor, unsigned char *limit, int64_t bytes, T **memory) {
    if (bytes >= limit - cursor) return zypStsMemLimitErr;
    *memory = reinterpret_cast<T *>(cursor);
    cursor += bytes;
    return zypStsNoErr;
}

} // namespace

zypStatus kdOpenBuild(ZyprKDBuildState **stateOut, const float *vertices, const int32_t *triangles, int32_t vertexCount,
                      int32_t triangleCount, uint32_t memoryLimit) {
    const auto vertexCount32 = static_cast<uint32_t>(vertexCount);
    const auto triangleCount32 = static_cast<uint32_t>(triangleCount);
    if (memoryLimit < leastMemory(vertexCount32, triangleCount32)) return zypStsAllocFailErr;
    auto *state = static_cast<ZyprKDBuildState *>(zyprAllocBytes(sizeof(ZyprKDBuildState)));
    if (state == nullptr) return zypStsAllocFailErr;
    *stateOut = state;
    *state = {};
    makeEmpty(&state->nodeBlocks);
    makeEmpty(&state->leafBlocks);
    makeEmpty(&state->polygonBlocks);
    state->memoryLimit = memoryLimit;
    state->memoryLeft = memoryLimit - static_cast<uint32_t>(sizeof(ZyprKDBuildState));
    state->vertexBase = vertices;
    state->vertexEnd = state->vertexEndCursor = vertices + 3 * static_cast<int64_t>(vertexCount);
    state->triangleBase = triangles;
    state->triangleEnd = state->triangleEndCursor = triangles + 4 * static_cast<int64_t>(triangleCount);
    const bool opened = openScratch(state, triangleCount) &&
                        openPool(&state->refPoolBase, &state->refPoolLimit, &state->refPoolCursor,
                                 poolSize(36 * triangleCount32), &state->memoryLeft) &&
                        openPool(&state->clipVertexBase, &state->clipVertexLimit, &state->clipVertexCursor,
                                 poolSize(48 * vertexCount32), &state->memoryLeft);
    return opened ? zypStsNoErr : zypStsAllocFailErr;
}

zypStatus kdCloseBuild(ZyprKDBuildState *state, zypStatus status, const KDGrowingTree *tree, ZyprKDTree **block,
                       int32_t *sizeBytes) {
    if (state == nullptr) return status;
    if (status == zypStsNoErr) {
        // The caller's block need not stand beside the working memory.
        releaseBlocks(&state->polygonBlocks);
        releaseWorkingMemory(state);
        status = kdEmitTree(*tree, block, sizeBytes);
    }
    releaseBlocks(&state->polygonBlocks);
    releaseBlocks(&state->leafBlocks);
    releaseBlocks(&state->nodeBlocks);
    releaseWorkingMemory(state);
    zyprFreeBlock(state);
    return status;
}

zypStatus kdRequestNodePair(ZyprKDBuildState *state) {
    unsigned char *pair;
    return requestFromBlocks(state, &state->nodeBlocks, kdNodePairBytes, &pair);
}

zypStatus kdRequestLeafList(ZyprKDBuildState *state, int32_t count) {
    unsigned char *list;
    return requestFromBlocks(state, &state->leafBlocks, 4 * static_cast<uint32_t>(count), &list);
}

zypStatus kdRequestPolygon(ZyprKDBuildState *state, uint32_t vertexCount, KDVertex **polygon) {
    KDVertex *&head = state->polygonFree[vertexCount];
    if (head == nullptr) return requestFromBlocks(state, &state->polygonBlocks, 8 * vertexCount, polygon);
    *polygon = head;
    head = reinterpret_cast<KDVertex *>(const_cast<float *>(head[0]));
    return zypStsNoErr;
}

zypStatus kdRequestRefs(ZyprKDBuildState *state, int64_t count, ZyprKDPrimRef **refs) {
    return requestFromPool(state->refPoolCursor, state->refPoolLimit, static_cast<int64_t>(sizeof(ZyprKDPrimRef)) * count,
                           refs);
}

zypStatus kdRequestClipVertex(ZyprKDBuildState *state, float **vertex) {
    return requestFromPool(state->clipVertexCursor, state->clipVertexLimit, 12, vertex);
}

} // namespace zypr
