// How the ray queries read a KD-tree: its nodes and the triangle numbers of its leaves. Trees are trusted input.
#pragma once

#include <cstdint>

#include "simd/vector.h"
#include "zypr.h"

namespace zypr {

// No tree is deeper than the builder's 50 levels, and a walk has at most one far child waiting per level.
constexpr int stackPlaces = 52;

inline bool isLeaf(const ZyprKDNode &node) { return static_cast<int32_t>(node.word0) < 0; }
inline bool isEmptyLeaf(const ZyprKDNode &node) {
    uint64_t words;
    std::memcpy(&words, &node, sizeof words);
    return words >> 31 == 1;
}
inline unsigned splitAxis(const ZyprKDNode &node) { return node.word0 & 3; }
inline float splitValue(const ZyprKDNode &node) { // read as a float, it does not pass through a general register
    float value;
    std::memcpy(&value, &node.word1, sizeof value);
    return value;
}

// The child below the plane; the child above it follows at once.
inline const ZyprKDNode *childPair(const ZyprKDNode &node) {
    const auto bytes = static_cast<int32_t>(node.word0 & ~7u);
    return reinterpret_cast<const ZyprKDNode *>(reinterpret_cast<const char *>(&node) + bytes);
}

// The triangle numbers of a leaf, in the order in which they are tested.
class LeafTriangles {
public:
    explicit LeafTriangles(const ZyprKDNode &leaf) {
        const auto word1 = static_cast<int32_t>(leaf.word1);
        if (word1 >= 0) {
            numbers_ = reinterpret_cast<const int32_t *>(&leaf) - (static_cast<int32_t>(leaf.word0) >> 2);
            count_ = word1;
            return;
        }
        const uint32_t w = leaf.word0 & 0x7FFFFFFF;
        const uint32_t b = leaf.word1 << 1 >> 3;
        count_ = word1 & 3;
        inner_[0] = static_cast<int32_t>(count_ == 3 ? b - (w >> 16) : w);
        inner_[1] = static_cast<int32_t>(b);
        inner_[2] = static_cast<int32_t>(b + (w & 0xFFFF));
        numbers_ = inner_;
    }
    LeafTriangles(const LeafTriangles &) = delete;

    const int32_t *begin() const { return numbers_; }
    const int32_t *end() const { return numbers_ + count_; }

private:
    const int32_t *numbers_;
    int32_t count_;
    int32_t inner_[3];
};

} // namespace zypr
