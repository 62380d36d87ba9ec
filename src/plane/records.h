// The records that plane fronts take, and the rows of a plane.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace zypr {

struct ZyprPlaneSize {
    int32_t width, height;
};

struct ZyprPlaneRect {
    int32_t x, y, width, height;
};

// Row y. The step is in bytes and need not be a multiple of the sample's size, so rows may lie at any address.
template <class Sample> Sample *planeRow(Sample *plane, int32_t byteStep, int32_t y) {
    using Byte = std::conditional_t<std::is_const_v<Sample>, const char, char>;
    return reinterpret_cast<Sample *>(reinterpret_cast<Byte *>(plane) + static_cast<ptrdiff_t>(y) * byteStep);
}

} // namespace zypr
