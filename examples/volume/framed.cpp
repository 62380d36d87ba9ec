#include "volume/framed.h"

#include <algorithm>
#include <stdexcept>

#include "zypr_support.h"

namespace volume {

Framed::Framed(const Extent &extent, const float *voxels, float background)
    : extent_{extent.width + 2 * border, extent.height + 2 * border, extent.depth + 2 * border} {
    const auto rowVoxels = static_cast<size_t>(extent_.width);
    const size_t planeVoxels = rowVoxels * static_cast<size_t>(extent_.height);
    voxels_.assign(planeVoxels * static_cast<size_t>(extent_.depth), background);
    for (int32_t z = 0; z < extent_.depth; ++z) planes_.push_back(voxels_.data() + planeVoxels * static_cast<size_t>(z));
    float *row = voxels_.data() + planeVoxels * border + rowVoxels * border + border;
    for (int32_t z = 0; z < extent.depth; ++z, row += rowVoxels * 2 * border)
        for (int32_t y = 0; y < extent.height; ++y, row += rowVoxels, voxels += extent.width)
            std::copy_n(voxels, extent.width, row);
}

void Framed::warpTo(const Affine &toGrid, float *const *gridPlanes, const Extent &grid, int32_t firstPlane, int32_t planes,
                    int32_t interpolation) const {
    Affine matrix = toGrid * translation({-border, -border, -border});
    // The library takes a diagonal of zeros for a singular map, but so a map may be that exchanges all three axes.
    if (matrix.m[0][0] == 0 && matrix.m[1][1] == 0 && matrix.m[2][2] == 0) matrix.m[0][0] = 1e-90;
    ZyprVoxelCuboid region = whole();
    const ZyprVoxelCuboid box = {0, 0, firstPlane, grid.width, grid.height, planes};
    const zypStatus status =
        zyprWarpAffine_32f_C1PV(planes_.data(), &extent_, rowBytes(), &region, gridPlanes,
                                grid.width * static_cast<int32_t>(sizeof(float)), &box, &matrix.m[0][0], interpolation);
    if (status != zypStsNoErr) throw std::runtime_error(std::string("cannot warp: ") + zyprStatusText(status));
}

} // namespace volume
