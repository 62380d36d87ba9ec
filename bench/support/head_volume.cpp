#include "support/head_volume.h"

#include <nifti2_io.h>

#include <cstdio>
#include <cstdlib>

namespace zypr::bench {
namespace {

HeadVolume readHead() {
    const char *const path = "/usr/share/mricron/templates/ch2better.nii.gz";
    nifti_image *const image = nifti_image_read(path, 1);
    if (image == nullptr || image->datatype != DT_UINT8 || image->ndim < 3) {
        std::fprintf(stderr, "%s is not there or not of 8-bit voxels; Debian's package mricron-data has it\n", path);
        std::exit(1);
    }
    const auto *const voxels = static_cast<const uint8_t *>(image->data);
    HeadVolume head{static_cast<int32_t>(image->nx), static_cast<int32_t>(image->ny), static_cast<int32_t>(image->nz),
                    std::vector<uint8_t>(voxels, voxels + image->nx * image->ny * image->nz)};
    nifti_image_free(image);
    return head;
}

} // namespace

HeadVolume HeadVolume::middle(int32_t boxWidth, int32_t boxHeight, int32_t boxDepth) const {
    HeadVolume box{boxWidth, boxHeight, boxDepth, {}};
    const int32_t x = (width - boxWidth) / 2, y0 = (height - boxHeight) / 2, z0 = (depth - boxDepth) / 2;
    for (int32_t z = z0; z < z0 + boxDepth; ++z)
        for (int32_t y = y0; y < y0 + boxHeight; ++y) {
            const auto row = voxels.begin() + (static_cast<ptrdiff_t>(z) * height + y) * width + x;
            box.voxels.insert(box.voxels.end(), row, row + boxWidth);
        }
    return box;
}

const HeadVolume &headVolume() {
    static const HeadVolume head = readHead();
    return head;
}

} // namespace zypr::bench
