// The tree as it grows: nodes are finished from the last to the first, children before their parents, and stand in reverse
// until the caller's block is filled.
#pragma once

#include "scene/kd_build.h"
#include "simd/vector.h"

namespace zypr {

constexpr uint32_t kdLeafFlag = 0x80000000u;

// A node with all that is below it. Its first word tells a distance, and its place is known only when its parent is finished;
// places are counted in bytes from the end of all nodes.
struct KDFinishedNode {
    uint32_t word0; // at place 0, without the flag
    uint32_t step;  // what a byte of the place adds to it, modulo 2^32
    uint32_t flag;
    uint32_t word1;

    ZyprKDNode at(uint32_t place) const { return {((word0 + step * place) & ~kdLeafFlag) | flag, word1}; }
};

// Whether the numbers of one to three triangles fit the node itself; `node` is written only then.
bool kdCompactLeaf(const int32_t *triangles, int32_t count, KDFinishedNode *node);

// Units one after the other in the payloads of a list of blocks. For each of them so many bytes have been requested from the
// list before, and that is all the room they need.
template <class Unit, int32_t requestedBytes> class KDRun {
public:
    explicit KDRun(const ZyprKDBuildBlock *list = nullptr) : list_(list), block_(list) {}

    uint32_t bytes() const { return static_cast<uint32_t>(count) * sizeof(Unit); }
    void add(const Unit &unit) {
        if (next_ == end_) {
            block_ = block_->next;
            next_ = reinterpret_cast<Unit *>(block_->base);
            end_ = next_ + roomIn(block_);
        }
        *next_++ = unit;
        ++count;
    }
    // Calls visit(unit) in the order of adding.
    template <class Visit> void forEach(const Visit &visit) const {
        int64_t left = count;
        for (const ZyprKDBuildBlock *block = list_->next; left > 0; block = block->next) {
            const int64_t here = left < roomIn(block) ? left : roomIn(block);
            const auto *units = reinterpret_cast<const Unit *>(block->base);
            for (int64_t i = 0; i < here; ++i) visit(units[i]);
            left -= here;
        }
    }

    int64_t count = 0;

private:
    static int64_t roomIn(const ZyprKDBuildBlock *block) { return (block->limit - block->base) / requestedBytes; }

    const ZyprKDBuildBlock *list_, *block_;
    Unit *next_ = nullptr, *end_ = nullptr;
};

struct KDNodePair {
    ZyprKDNode left, right;
};

struct KDGrowingTree {
    KDRun<KDNodePair, kdNodePairBytes> pairs;
    KDRun<int32_t, sizeof(int32_t)> numbers; // of the triangles in leaves that need a list
    KDFinishedNode root{};

    KDGrowingTree() = default;
    explicit KDGrowingTree(const ZyprKDBuildState *state) : pairs(&state->nodeBlocks), numbers(&state->leafBlocks) {}

    // The distance to a list counts from the end of all lists, until their total is known.
    KDFinishedNode emptyLeaf() const { return {numbers.bytes(), 0u - 1u, kdLeafFlag, 0}; }
    // The triangles' numbers are triangleOf(0) to triangleOf(count - 1).
    template <class TriangleOf> KDFinishedNode leaf(int32_t count, const TriangleOf &triangleOf) {
        if (count >= 1 && count <= 3) {
            int32_t triangles[3];
            for (int32_t i = 0; i < count; ++i) triangles[i] = triangleOf(i);
            KDFinishedNode node;
            if (kdCompactLeaf(triangles, count, &node)) return node;
        }
        for (int32_t i = count; i-- > 0;) numbers.add(triangleOf(i));
        return {numbers.bytes(), 0u - 1u, kdLeafFlag, static_cast<uint32_t>(count)};
    }
    KDFinishedNode inner(int axis, float plane, const KDFinishedNode &left, const KDFinishedNode &right) {
        const uint32_t place = pairs.bytes() + sizeof(KDNodePair);
        pairs.add({left.at(place), right.at(place - sizeof(ZyprKDNode))});
        return {static_cast<uint32_t>(axis) - place, 1, 0, bitsOf(plane)};
    }
};

// The tree in a block of the caller's.
zypStatus kdEmitTree(const KDGrowingTree &tree, ZyprKDTree **block, int32_t *sizeBytes);

} // namespace zypr
