// Affine warp of planes: the front that the volume warp calls for a volume of one plane.
#pragma once

#include <cstdint>

#include "plane/records.h"
#include "zypr.h"

namespace zypr {

// Fills the part of dstRect that the image of srcRect covers. planeMatrix is 2 x 3, row-major, from source to destination.
// Steps are bytes. Bit 31 of the interpolation is accepted and has no effect.
//
// Checked, in this order: null planes (zypStsNullPtrErr), sizes and rectangles (zypStsSizeErr), mode
// (zypStsInterpolationModeErr), a singular matrix (zypStsSingularTransformErr), a rectangle that starts outside
// (zypStsPlaneRoiOutsideWrn) or has fewer than two columns or rows in the plane (zypStsRoiTooSmallErr), a degenerate image
// (zypStsSingularTransformErr), an image that holds no sample of dstRect, or no memory for its rows (zypStsNoQuadOverlapWrn).
//
// There are three: of uint8_t, uint16_t and float.
template <class Sample>
zypStatus planeWarp(const Sample *srcPlane, ZyprPlaneSize srcPlaneSize, int32_t srcRowStep, ZyprPlaneRect srcRect,
                    Sample *dstPlane, int32_t dstRowStep, ZyprPlaneRect dstRect, const double *planeMatrix,
                    uint32_t interpolation);

} // namespace zypr
