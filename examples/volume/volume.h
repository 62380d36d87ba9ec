// A volume as the program's commands see it: voxels as floats, and where they
// lie in space.
#pragma once

#include <nifti1_io.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

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
    std::vector<float> voxels;     // x fastest, then y, then z; as stored, before the
                                   // header's slope and intercept
    bool holdsDifferences = false; // values around zero, such as a Laplacian's

    float *plane(int32_t z) { return voxels.data() + extent.planeVoxels() * static_cast<size_t>(z); }
    const float *plane(int32_t z) const { return voxels.data() + extent.planeVoxels() * static_cast<size_t>(z); }
};

// Both throw std::runtime_error with a message for the user. Writing makes a
// file beside `path`, which then takes its place, so that there is never half a
// volume. Values are rounded to the header's voxel type and saturated.
Volume readNifti(const std::string &path);
void writeNifti(const Volume &volume, const std::string &path);

// Finds out, before a long computation, whether a volume can be written there.
void checkVolumePath(const std::string &path);

// Makes the header describe a volume of this extent whose voxel p along an axis
// lies where voxel (p + 0.5) / scale - 0.5 lay.
void setGrid(nifti_image &header, const Extent &extent, const double scale[3]);

// Calls work(first plane, planes) for the planes 0 to depth - 1 in order, some
// at a time, and shows how far it has come.
template <class Work> void inSlabs(int32_t depth, const char *doing, bool quiet, const Work &work) {
    constexpr int32_t planes = 32; // enough for a team of threads
    for (int32_t first = 0; first < depth; first += planes) {
        work(first, depth - first < planes ? depth - first : planes);
        if (!quiet) std::fprintf(stderr, "\r%s %3d %%", doing, (first < depth - planes ? first + planes : depth) * 100 / depth);
    }
    if (!quiet) std::fputs("\n", stderr);
}

// ---- The commands
// -------------------------------------------------------------------------------------------------------

struct ResizeSettings {
    double scale[3] = {1.0, 1.0, 1.0};
    std::vector<double> spacing; // of the result, in the header's unit; empty to go by `scale`
    int32_t interpolation = 0;   // a ZyprInterpolation
};
Volume resized(const Volume &source, const ResizeSettings &settings, bool quiet);

enum class Kernel { gaussian3, gaussian5, laplacian, sharpen };
Volume filtered(const Volume &source, Kernel kernel, bool quiet);

// A picture of the three middle slices of both volumes, the first above the
// second, at the same size in space.
void writePreview(const Volume &before, const Volume &after, const std::string &path);

} // namespace volume
