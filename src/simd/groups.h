// Walking arrays in groups of eight elements. A group's arithmetic is written once, over the lanes that take part: all eight,
// or those that a mask names, at the end of an array or where only some elements are selected.
#pragma once

#include <cstddef>

#include "simd/vector.h"

namespace zypr {

struct AllLanes {
    Float8 load(const float *p) const { return zypr::load<8>(p); }
    Int8 load(const int32_t *p) const { return zypr::load<8>(p); }
    void store(float *p, Float8 a) const { zypr::store(p, a); }
    void store(int32_t *p, Int8 a) const { zypr::store(p, a); }
    Mask8 among(Mask8 lanes) const { return lanes; }
};

// Lanes outside the mask read as zero and touch no memory.
struct SomeLanes {
    Mask8 lanes;

    Float8 load(const float *p) const { return zypr::load(p, lanes); }
    Int8 load(const int32_t *p) const { return zypr::load(p, lanes); }
    void store(float *p, Float8 a) const { zypr::store(p, lanes, a); }
    void store(int32_t *p, Int8 a) const { zypr::store(p, lanes, a); }
    Mask8 among(Mask8 others) const { return lanes & others; }
};

// Calls group(i, lanes) for every eight elements of [begin, end), and once more for what is left of them.
template <class Group> [[gnu::always_inline]] inline void forGroups(ptrdiff_t begin, ptrdiff_t end, Group group) {
    if (begin >= end) return;
    const ptrdiff_t rest = (end - begin) % 8, wholeEnd = end - rest;
    for (ptrdiff_t i = begin; i < wholeEnd; i += 8) group(i, AllLanes{});
    if (rest > 0) group(wholeEnd, SomeLanes{firstLanes<8>(static_cast<int32_t>(rest))});
}

} // namespace zypr
