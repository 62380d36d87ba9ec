// A volume as the program's commands see it: voxels as floats, and where they lie in space.
#pragma once

#include <nifti1_io.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/progress.h"

namespace volume {

struct Extent {
    int32_t width, height, depth;
    size_t planeVoxels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
    size_t voxels() const { return planeVoxels() * static_cast<size_t>(depth); }
};

struct FreeHeader {
    void operator()(nifti_image *header) const { nifti_image_free(header); }
};
using Header = std::unique_ptr<nifti_image, FreeHeader>;

Header copyOf(const nifti_image &header);

struct Volume {
    Header header; // voxel type, geometry and description; the voxels aren't in it
    Extent extent;
    std::vector<float> voxels;     // x fastest, then y, then z; as stored, before the header's slope and intercept
    bool holdsDifferences = false; // values around zero, such as a Laplacian's

    float *plane(int32_t z) { return voxels.data() + extent.planeVoxels() * static_cast<size_t>(z); }
    const float *plane(int32_t z) const { return voxels.data() + extent.planeVoxels() * static_cast<size_t>(z); }
};

// A vector per voxel: the x, y and z components, as arrays of their own.
struct VectorField {
    Header header;
    Extent extent;
    std::vector<float> components[3];
};

// All of these throw std::runtime_error with a message for the user. Writing makes a file beside `path`, which then takes its
// place, so that there is never half a volume. Values are rounded to the header's voxel type and saturated.
Header readHeader(const std::string &path);
Volume readNifti(const std::string &path);
VectorField readVectorField(const std::string &path);
void writeNifti(const Volume &volume, const std::string &path);

// Finds out, before a long computation, whether a volume can be written there.
void checkVolumePath(const std::string &path);

Extent extentOf(const nifti_image &header);

// Makes the header describe a volume of this extent whose voxel p along an axis lies where voxel (p + 0.5) / scale - 0.5 lay.
void setGrid(nifti_image &header, const Extent &extent, const double scale[3]);

// Gives the header the extent of another volume, and its place in space.
void setGridLike(nifti_image &header, const nifti_image &like);

// Calls work(first plane, planes) for the planes 0 to depth - 1 in order, some at a time, and shows how far it has come.
template <class Work> void inSlabs(int32_t depth, const char *doing, bool quiet, const Work &work) {
    constexpr int32_t most = 32; // enough for a team of threads
    examples::Progress progress(doing, depth, quiet);
    for (int32_t first = 0; first < depth; first += most) {
        const int32_t planes = std::min(most, depth - first);
        work(first, planes);
        progress.add(planes);
    }
}

// ---- The commands ------------------------------------------------------------------------------------------------------

struct ResizeSettings {
    std::array<double, 3> scale = {1, 1, 1};
    std::array<double, 3> spacing = {0, 0, 0}; // of the result, in the header's unit; 0 to go by `scale`
    int32_t interpolation = 0;                 // a ZyprInterpolation
};
Volume resized(const Volume &source, const ResizeSettings &settings, bool quiet);

enum class Kernel { gaussian3, gaussian5, laplacian, sharpen };
Volume filtered(const Volume &source, Kernel kernel, bool quiet);

// What warp and remap have in common.
struct SamplingSettings {
    std::string likePath;      // a volume whose grid and place the result takes; empty for the source's
    int32_t interpolation = 0; // a ZyprInterpolation
    double background = 0.0;   // a value after the header's slope and intercept, for what the source doesn't reach
};

// Lengths are in the header's unit. Scaled, then turned, both about the volume's centre, then moved; or all by a file's matrix.
struct WarpSettings {
    SamplingSettings sampling;
    std::array<double, 3> rotate = {0, 0, 0}, scale = {1, 1, 1}, translate = {0, 0, 0};
    std::string matrixPath; // from where points are to where they go, in space; empty for the three above
};
Volume warped(const Volume &source, const WarpSettings &settings, bool quiet);

// The voxel of the result at a place shows the source at that place and its displacement.
struct RemapSettings {
    SamplingSettings sampling;
    std::string fieldPath;    // displacements in space; empty for a swirl
    double swirl = 0.0;       // the angle at the centre, in degrees
    double swirlRadius = 0.0; // 0 for half the shortest side
};
Volume remapped(const Volume &source, const RemapSettings &settings, bool quiet);

// A picture of the three middle slices of both volumes, the first above the second, at the same scale.
void writePreview(const Volume &before, const Volume &after, const std::string &path);

} // namespace volume
