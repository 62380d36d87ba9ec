// The records that plane fronts take.
#pragma once

#include <cstdint>

namespace zypr {

struct ZyprPlaneSize {
    int32_t width, height;
};

struct ZyprPlaneRect {
    int32_t x, y, width, height;
};

} // namespace zypr
