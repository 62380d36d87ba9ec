// Volumes turned, scaled and moved, and volumes on another's grid.
#include "volume/framed.h"
#include "volume/grid.h"

namespace volume {
namespace {

// Where the points of space go.
Affine motion(const Volume &source, const WarpSettings &settings) {
    if (!settings.matrixPath.empty()) return readAffine(settings.matrixPath);
    const Point centre = centreOf(source);
    return translation(settings.translate) * translation(centre) * rotation(settings.rotate) * scaling(settings.scale) *
           translation({-centre[0], -centre[1], -centre[2]});
}

} // namespace

Volume warped(const Volume &source, const WarpSettings &settings, bool quiet) {
    Volume result = emptyResult(source, settings.sampling);
    const Affine toGrid = inverse(placeOf(*result.header)) * motion(source, settings) * placeOf(*source.header);
    const Framed framed(source.extent, source.voxels.data(), result.voxels[0]);
    const std::vector<float *> planes = planesOf(result);
    inSlabs(result.extent.depth, "warping", quiet, [&](int32_t first, int32_t count) {
        framed.warpTo(toGrid, planes.data(), result.extent, first, count, settings.sampling.interpolation);
    });
    return result;
}

} // namespace volume
