// The sign mask of the masked functions: which elements of a group are selected, and work on those alone.
#pragma once

#include "simd/groups.h"

namespace zypr {

// An element is selected when its word isn't negative.
template <class Lanes> Mask8 selectedAmong(Lanes lanes, const int32_t *words) {
    return lanes.among(lanes.load(words) > broadcast<8>(-1));
}

// Calls body(lanes) with the selected lanes, and not at all where there is none.
template <class Body> [[gnu::always_inline]] inline void withSelected(Mask8 selected, Body body) {
    if (all(selected))
        body(AllLanes{});
    else if (any(selected))
        body(SomeLanes{selected});
}

} // namespace zypr
