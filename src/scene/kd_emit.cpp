// The finished tree in the caller's block: depth first, the subtree below the plane first, each node's two children side by
// side, the lists of the leaves behind all nodes in the order of the leaves.

#include "scene/kd_emit.h"

#include "frame/memory.h"

namespace zypr {
namespace {

constexpr int32_t compactLimit = 0x20000000;
constexpr int64_t rootBytes = 16; // the root and two zero words

void exchangeIfAbove(int32_t &a, int32_t &b) {
    if (a <= b) return;
    const int32_t held = a;
    a = b;
    b = held;
}

// A leaf with a list, unlike a compact one, has the flag in its first word only.
ZyprKDNode withListsOf(ZyprKDNode node, uint32_t listBytes) {
    const bool hasList = (node.word0 & ~node.word1 & kdLeafFlag) != 0;
    return {hasList ? (node.word0 - listBytes) | kdLeafFlag : node.word0, node.word1};
}

} // namespace

bool kdCompactLeaf(const int32_t *triangles, int32_t count, KDFinishedNode *node) {
    int32_t t[3];
    for (int32_t i = 0; i < count; ++i) {
        t[i] = triangles[i];
        if (t[i] < 0) return false;
    }
    const auto packed = [&](int32_t w, int32_t b) {
        *node = {static_cast<uint32_t>(w), 0, kdLeafFlag,
                 kdLeafFlag | static_cast<uint32_t>(b) << 2 | static_cast<uint32_t>(count)};
        return true;
    };
    switch (count) {
    case 1: return packed(t[0], 0);
    case 2:
        if (t[0] < compactLimit) return packed(t[1], t[0]);
        return t[1] < compactLimit && packed(t[0], t[1]);
    default:
        exchangeIfAbove(t[0], t[1]);
        exchangeIfAbove(t[1], t[2]);
        exchangeIfAbove(t[0], t[1]);
        if (t[1] >= compactLimit || t[1] - t[0] >= 0x8000 || t[2] - t[1] >= 0x10000) return false;
        return packed((t[1] - t[0]) << 16 | (t[2] - t[1]), t[1]);
    }
}

zypStatus kdEmitTree(const KDGrowingTree &tree, ZyprKDTree **block, int32_t *sizeBytes) {
    const int64_t nodeBytes = rootBytes + tree.pairs.count * static_cast<int64_t>(sizeof(KDNodePair));
    const int64_t bytes = nodeBytes + tree.numbers.count * static_cast<int64_t>(sizeof(int32_t));
    if (bytes > INT32_MAX) return zypStsAllocFailErr;
    auto *base = static_cast<unsigned char *>(zyprAllocQwords(static_cast<int32_t>(bytes >> 3) + 1));
    if (base == nullptr) return zypStsAllocFailErr;
    auto *flat = reinterpret_cast<ZyprKDTree *>(base);
    const uint32_t listBytes = tree.numbers.bytes();
    flat->root = withListsOf(tree.root.at(static_cast<uint32_t>(nodeBytes)), listBytes);
    flat->zero[0] = flat->zero[1] = 0;
    auto *pair = reinterpret_cast<KDNodePair *>(base + nodeBytes);
    tree.pairs.forEach([&](const KDNodePair &grown) {
        *--pair = {withListsOf(grown.left, listBytes), withListsOf(grown.right, listBytes)};
    });
    auto *number = reinterpret_cast<int32_t *>(base + bytes);
    tree.numbers.forEach([&](int32_t triangle) { *--number = triangle; });
    *block = flat;
    *sizeBytes = static_cast<int32_t>(bytes);
    return zypStsNoErr;
}

} // namespace zypr
