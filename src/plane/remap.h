// Remap of planes: the front that the volume remap calls for a volume of one plane.
#pragma once

#include <cstdint>

#include "plane/records.h"
#include "zypr.h"

namespace zypr {

// Modes of planes beside zyprInterNearest, zyprInterLinear, zyprInterCubicLagrange and zyprInterCubicCatmullRom.
constexpr uint32_t zyprInterLanczos = 16;
// Joined to a mode: samples up to one beyond the source rectangle fade into the destination's old values.
constexpr uint32_t zyprSmoothEdgeFlag = 0x80000000u;

// dst(x, y) is the source at (xMap(x, y), yMap(x, y)), absolute coordinates, integers at sample centres. A position outside
// srcRect leaves the destination as it was; taps may lie anywhere in the plane. Steps are bytes. srcRect is clipped to the
// plane when the result is zypStsNoErr.
//
// Checked, in this order: null planes and maps (zypStsNullPtrErr), sizes and rectangle (zypStsSizeErr), mode
// (zypStsInterpolationModeErr), row steps (zypStsRowStepErr), a rectangle that starts outside (zypStsPlaneRoiOutsideWrn).
//
// There are three: of uint8_t, uint16_t and float.
template <class Sample>
zypStatus planeRemap(const Sample *srcPlane, ZyprPlaneSize srcPlaneSize, int32_t srcRowStep, ZyprPlaneRect *srcRect,
                     const float *xMap, int32_t xMapRowStep, const float *yMap, int32_t yMapRowStep, Sample *dstPlane,
                     int32_t dstRowStep, ZyprPlaneSize dstPlaneSize, uint32_t interpolation);

} // namespace zypr
