// The grids that warp and remap fill.
#pragma once

#include "volume/affine.h"
#include "volume/volume.h"

namespace volume {

// A volume of background with the source's voxel type, on the grid that the settings ask for.
Volume emptyResult(const Volume &source, const SamplingSettings &settings);

std::vector<float *> planesOf(Volume &volume);

// In space.
Point centreOf(const Volume &volume);
double shortestSide(const Volume &volume);

} // namespace volume
