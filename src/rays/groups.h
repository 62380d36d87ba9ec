// Arrays with one value per ray, taken eight at a time: whole groups first, then one part group for what remains, whose missing
// lanes read as zero and are neither read from memory nor written.
#pragma once

#include "simd/vector.h"

namespace zypr {

struct WholeGroup {};
struct PartGroup {
    Mask8 lanes;
};

inline Float8 load(const float *p, WholeGroup) { return load<8>(p); }
inline Float8 load(const float *p, PartGroup group) { return load(p, group.lanes); }
inline Int8 load(const int32_t *p, WholeGroup) { return load<8>(p); }
inline Int8 load(const int32_t *p, PartGroup group) { return load(p, group.lanes); }
inline void store(float *p, WholeGroup, Float8 a) { store(p, a); }
inline void store(float *p, PartGroup group, Float8 a) { store(p, group.lanes, a); }
inline void store(int32_t *p, WholeGroup, Int8 a) { store(p, a); }
inline void store(int32_t *p, PartGroup group, Int8 a) { store(p, group.lanes, a); }

// Calls body(first, group) for each group of `count` elements.
template <class Body> void forGroupsOfEight(int32_t count, const Body &body) {
    int64_t first = 0;
    for (; first + 8 <= count; first += 8) body(first, WholeGroup{});
    if (first < count) body(first, PartGroup{firstLanes<8>(static_cast<int32_t>(count - first))});
}

} // namespace zypr
