// Volumes bent by displacements: every voxel of the result shows what lay elsewhere.
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <numbers>
#include <stdexcept>

#include "support/threads.h"
#include "volume/framed.h"
#include "volume/grid.h"
#include "zypcore.h"
#include "zypr_support.h"

namespace volume {
namespace {

// Three numbers per voxel of some planes of the result: displacements in space, then positions in the source.
class Maps {
public:
    Maps(const Extent &grid, int32_t planes) : voxels(grid.planeVoxels() * static_cast<size_t>(planes)) {
        for (auto &map : along) map.resize(voxels);
        for (size_t axis = 0; axis < 3; ++axis)
            for (int32_t z = 0; z < planes; ++z)
                planePointers_[axis].push_back(along[axis].data() + grid.planeVoxels() * static_cast<size_t>(z));
    }

    float *const *planes(size_t axis) { return planePointers_[axis].data(); }

    size_t voxels;
    std::vector<float> along[3];

private:
    std::vector<float *> planePointers_[3];
};

// Fills `maps` with the displacements of a grid's planes from `first` on; they are zero before.
using Displace = std::function<void(int32_t first, int32_t planes, Maps &maps)>;

// Calls action(index, number of the voxel) for the voxels of some planes of a grid, on the library's number of threads.
template <class Action> void forVoxels(const Extent &grid, int32_t first, int32_t planes, const Action &action) {
    examples::shareOut(zypGetNumThreads(), planes, [&](int32_t, int32_t plane) {
        size_t index = grid.planeVoxels() * static_cast<size_t>(plane);
        const double z = first + plane;
        for (int32_t y = 0; y < grid.height; ++y)
            for (int32_t x = 0; x < grid.width; ++x) action(index++, Point{static_cast<double>(x), static_cast<double>(y), z});
    });
}

// The vectors of a file, linear between its voxels and none beyond them.
Displace fromField(const std::string &path, const Volume &result) {
    const auto field = std::make_shared<VectorField>(readVectorField(path));
    const auto framed = std::make_shared<std::vector<Framed>>();
    for (std::vector<float> &component : field->components) {
        framed->emplace_back(field->extent, component.data(), 0.0f);
        component = {};
    }
    const Affine toGrid = inverse(placeOf(*result.header)) * placeOf(*field->header);
    return [framed, toGrid, grid = result.extent](int32_t first, int32_t planes, Maps &maps) {
        Affine toSlab = translation({0, 0, -static_cast<double>(first)}) * toGrid;
        for (size_t axis = 0; axis < 3; ++axis)
            (*framed)[axis].warpTo(toSlab, maps.planes(axis), grid, 0, planes, zyprInterLinear);
    };
}

// A turn about the z axis through the volume's centre: by the whole angle there, and smoothly less up to the radius.
Displace swirl(const Volume &source, const Volume &result, const RemapSettings &settings) {
    const Point centre = centreOf(source);
    const Affine place = placeOf(*result.header);
    const double radius = settings.swirlRadius > 0 ? settings.swirlRadius : shortestSide(source) / 2;
    const double angle = settings.swirl * (std::numbers::pi / 180);
    return [=, grid = result.extent](int32_t first, int32_t planes, Maps &maps) {
        forVoxels(grid, first, planes, [&](size_t i, const Point &voxel) {
            const Point p = place * voxel;
            const double x = p[0] - centre[0], y = p[1] - centre[1], z = p[2] - centre[2];
            const double part = 1 - (x * x + y * y + z * z) / (radius * radius);
            if (part <= 0) return;
            const double turn = -angle * part * part; // the voxel shows what is turned to it
            maps.along[0][i] = static_cast<float>(std::cos(turn) * x - std::sin(turn) * y - x);
            maps.along[1][i] = static_cast<float>(std::sin(turn) * x + std::cos(turn) * y - y);
        });
    };
}

} // namespace

Volume remapped(const Volume &source, const RemapSettings &settings, bool quiet) {
    Volume result = emptyResult(source, settings.sampling);
    const Extent grid = result.extent;
    const Framed framed(source.extent, source.voxels.data(), result.voxels[0]);
    const std::vector<float *> planes = planesOf(result);
    const Displace displace =
        settings.fieldPath.empty() ? swirl(source, result, settings) : fromField(settings.fieldPath, result);

    constexpr double border = Framed::border;
    const Affine toSource = translation({border, border, border}) * inverse(placeOf(*source.header));
    const Affine direct = toSource * placeOf(*result.header); // exact where the grids are the same
    const float end[3] = {static_cast<float>(framed.extent()->width - 2), static_cast<float>(framed.extent()->height - 2),
                          static_cast<float>(framed.extent()->depth - 2)};

    inSlabs(grid.depth, "remapping", quiet, [&](int32_t first, int32_t count) {
        Maps maps(grid, count);
        displace(first, count, maps);
        forVoxels(grid, first, count, [&](size_t i, const Point &voxel) {
            const Point from = direct * voxel;
            const float by[3] = {maps.along[0][i], maps.along[1][i], maps.along[2][i]};
            for (size_t axis = 0; axis < 3; ++axis) {
                const auto &m = toSource.m[axis];
                const auto position = static_cast<float>(from[axis] + m[0] * by[0] + m[1] * by[1] + m[2] * by[2]);
                const bool hasAllTaps = position >= 1.0f && position < end[axis];
                maps.along[axis][i] = hasAllTaps ? position : std::numeric_limits<float>::quiet_NaN();
            }
        });
        const ZyprVolumeExtent slab = {grid.width, grid.height, count};
        ZyprVoxelCuboid region = framed.whole();
        const zypStatus status =
            zyprRemap_32f_C1PV(framed.planes(), framed.extent(), framed.rowBytes(), &region, maps.planes(0), maps.planes(1),
                               maps.planes(2), grid.width * static_cast<int32_t>(sizeof(float)), planes.data() + first,
                               grid.width * static_cast<int32_t>(sizeof(float)), &slab, settings.sampling.interpolation);
        if (status != zypStsNoErr) throw std::runtime_error(std::string("cannot remap: ") + zyprStatusText(status));
    });
    return result;
}

} // namespace volume
