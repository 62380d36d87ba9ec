// A volume in a frame of background voxels: so its border blends into the background, and each position that any of its voxels
// reaches has all its taps.
#pragma once

#include "volume/affine.h"
#include "volume/volume.h"
#include "zypr.h"

namespace volume {

class Framed {
public:
    static constexpr int32_t border = 3; // cubic kernels reach two voxels

    Framed(const Extent &extent, const float *voxels, float background);

    const float *const *planes() const { return planes_.data(); }
    int32_t rowBytes() const { return extent_.width * static_cast<int32_t>(sizeof(float)); }
    const ZyprVolumeExtent *extent() const { return &extent_; }
    ZyprVoxelCuboid whole() const { return {0, 0, 0, extent_.width, extent_.height, extent_.depth}; }

    // Fills some planes of a grid with this volume, moved by `toGrid` from its voxels to the grid's. `gridPlanes` holds plane 0
    // first; what the volume doesn't reach stays as it is.
    void warpTo(const Affine &toGrid, float *const *gridPlanes, const Extent &grid, int32_t firstPlane, int32_t planes,
                int32_t interpolation) const;

private:
    ZyprVolumeExtent extent_;
    std::vector<float> voxels_;
    std::vector<const float *> planes_;
};

} // namespace volume
