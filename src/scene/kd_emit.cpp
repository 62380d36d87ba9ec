// The finished tree, flattened into the caller's block: depth first, the subtree below the plane first, each node's two
// children side by side, the lists of the leaves behind all nodes in the order of the leaves.

#include <cstring>

#include "frame/memory.h"
#include "scene/kd_build.h"
#include "simd/vector.h"

namespace zypr {
namespace {

constexpr uint32_t leafFlag = 0x80000000u;
constexpr int32_t compactLimit = 0x20000000;
constexpr int64_t rootBytes = 16; // the root and two zero words

void exchangeIfAbove(int32_t &a, int32_t &b) {
    if (a <= b) return;
    const int32_t held = a;
    a = b;
    b = held;
}

// Whether the leaf's triangle numbers fit the node itself; `node` is written only then.
bool compactLeaf(const ZyprKDBuildNode &leaf, ZyprKDNode *node) {
    if (leaf.count < 1 || leaf.count > 3) return false;
    int32_t t[3];
    for (int32_t i = 0; i < leaf.count; ++i) {
        t[i] = leaf.triangles[i];
        if (t[i] < 0) return false;
    }
    const auto packed = [node](int32_t w, int32_t b, uint32_t count) {
        node->word0 = leafFlag | static_cast<uint32_t>(w);
        node->word1 = leafFlag | static_cast<uint32_t>(b) << 2 | count;
        return true;
    };
    switch (leaf.count) {
    case 1: return packed(t[0], 0, 1);
    case 2:
        if (t[0] < compactLimit) return packed(t[1], t[0], 2);
        return t[1] < compactLimit && packed(t[0], t[1], 2);
    default:
        exchangeIfAbove(t[0], t[1]);
        exchangeIfAbove(t[1], t[2]);
        exchangeIfAbove(t[0], t[1]);
        if (t[1] >= compactLimit || t[1] - t[0] >= 0x8000 || t[2] - t[1] >= 0x10000) return false;
        return packed((t[1] - t[0]) << 16 | (t[2] - t[1]), t[1], 3);
    }
}

struct TreeSize {
    int64_t nodeBytes = rootBytes;
    int64_t listBytes = 0;

    void add(const ZyprKDBuildNode &node) {
        if (node.kind != kdLeaf) {
            nodeBytes += 2 * sizeof(ZyprKDNode);
            add(node.children[1]);
            add(node.children[0]);
            return;
        }
        ZyprKDNode unused;
        if (!compactLeaf(node, &unused)) listBytes += 4 * static_cast<int64_t>(node.count);
    }
};

struct TreeWriter {
    unsigned char *pairCursor;
    unsigned char *listCursor;

    static uint32_t distance(const void *from, const void *to) {
        return static_cast<uint32_t>(static_cast<const unsigned char *>(to) - static_cast<const unsigned char *>(from));
    }

    void write(const ZyprKDBuildNode &source, ZyprKDNode *node) {
        if (source.kind == kdLeaf) return writeLeaf(source, node);
        auto *pair = reinterpret_cast<ZyprKDNode *>(pairCursor);
        pairCursor += 2 * sizeof(ZyprKDNode);
        node->word0 = distance(node, pair) | static_cast<uint32_t>(source.kind);
        std::memcpy(&node->word1, &source.plane, sizeof source.plane);
        prefetch(source.children[1].children);
        write(source.children[0], pair);
        write(source.children[1], pair + 1);
    }

    void writeLeaf(const ZyprKDBuildNode &leaf, ZyprKDNode *node) {
        if (compactLeaf(leaf, node)) return;
        node->word0 = 0 - distance(node, listCursor);
        node->word1 = static_cast<uint32_t>(leaf.count);
        const size_t bytes = 4 * static_cast<size_t>(leaf.count);
        if (bytes != 0) std::memcpy(listCursor, leaf.triangles, bytes);
        listCursor += bytes;
    }
};

} // namespace

zypStatus kdEmitTree(const ZyprKDBuildNode &root, ZyprKDTree **tree, int32_t *sizeBytes) {
    TreeSize size;
    size.add(root);
    const int64_t bytes = size.nodeBytes + size.listBytes;
    if (bytes > INT32_MAX) return zypStsAllocFailErr;
    auto *block = static_cast<unsigned char *>(zyprAllocQwords(static_cast<int32_t>(bytes >> 3) + 1));
    if (block == nullptr) return zypStsAllocFailErr;
    auto *flat = reinterpret_cast<ZyprKDTree *>(block);
    flat->zero[0] = flat->zero[1] = 0;
    TreeWriter{block + rootBytes, block + size.nodeBytes}.write(root, &flat->root);
    *tree = flat;
    *sizeBytes = static_cast<int32_t>(bytes);
    return zypStsNoErr;
}

} // namespace zypr
