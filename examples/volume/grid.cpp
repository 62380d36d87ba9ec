#include "volume/grid.h"

#include <cmath>

namespace volume {

Volume emptyResult(const Volume &source, const SamplingSettings &settings) {
    Header header = copyOf(*source.header);
    if (!settings.likePath.empty()) {
        const Header like = readHeader(settings.likePath);
        placeOf(*like); // which throws when there is none
        setGridLike(*header, *like);
    }
    const double slope = header->scl_slope != 0.0f ? double{header->scl_slope} : 1.0;
    const double intercept = header->scl_slope != 0.0f ? double{header->scl_inter} : 0.0;
    const Extent extent = extentOf(*header);
    const auto background = static_cast<float>((settings.background - intercept) / slope);
    return {std::move(header), extent, std::vector<float>(extent.voxels(), background)};
}

std::vector<float *> planesOf(Volume &volume) {
    std::vector<float *> planes;
    for (int32_t z = 0; z < volume.extent.depth; ++z) planes.push_back(volume.plane(z));
    return planes;
}

Point centreOf(const Volume &volume) {
    const Extent &e = volume.extent;
    return placeOf(*volume.header) * Point{(e.width - 1) / 2.0, (e.height - 1) / 2.0, (e.depth - 1) / 2.0};
}

double shortestSide(const Volume &volume) {
    const Affine place = placeOf(*volume.header);
    const auto side = [&](int axis, int32_t voxels) {
        return voxels * std::hypot(place.m[0][axis], place.m[1][axis], place.m[2][axis]);
    };
    return std::min({side(0, volume.extent.width), side(1, volume.extent.height), side(2, volume.extent.depth)});
}

} // namespace volume
