// Volumes in NIfTI files. The NIfTI library reads, and converts headers; files
// are written through zlib, whose every failure is seen.
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "volume/volume.h"

namespace volume {
namespace {

[[noreturn]] void fail(const std::string &path, const std::string &reason) { throw std::runtime_error(path + ": " + reason); }

// Calls action(a value of the voxel type) for the types that this program
// knows; whether it is one of them.
template <class Action> bool withVoxelType(int datatype, const Action &action) {
    switch (datatype) {
    case DT_UINT8: action(uint8_t{}); return true;
    case DT_INT8: action(int8_t{}); return true;
    case DT_INT16: action(int16_t{}); return true;
    case DT_UINT16: action(uint16_t{}); return true;
    case DT_INT32: action(int32_t{}); return true;
    case DT_UINT32: action(uint32_t{}); return true;
    case DT_FLOAT32: action(float{}); return true;
    case DT_FLOAT64: action(double{}); return true;
    default: return false;
    }
}

template <class Voxel> Voxel stored(float value) {
    if constexpr (std::is_floating_point_v<Voxel>) {
        return value;
    } else {
        const double rounded = std::nearbyint(static_cast<double>(value));
        if (!(rounded > std::numeric_limits<Voxel>::min())) return std::numeric_limits<Voxel>::min();
        if (rounded > std::numeric_limits<Voxel>::max()) return std::numeric_limits<Voxel>::max();
        return static_cast<Voxel>(rounded);
    }
}

bool endsWith(const std::string &text, const char *end) {
    const size_t length = std::strlen(end);
    return text.size() > length && text.compare(text.size() - length, length, end) == 0;
}

// A new file in the directory of `path`, which disappears with this object
// unless it has taken the place of `path`.
class NewFile {
public:
    explicit NewFile(const std::string &path) : path_(path), name_(path + ".XXXXXX") {
        struct stat status {};
        if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) fail(path, "cannot write the volume: is a directory");
        const int descriptor = mkstemp(name_.data());
        if (descriptor < 0) fail(path, std::string("cannot write the volume: ") + std::strerror(errno));
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(descriptor, 0666 & ~mask);
        file_ = gzdopen(descriptor, endsWith(path, ".gz") ? "wb6" : "wbT");
        if (file_ == nullptr) {
            close(descriptor);
            unlink(name_.c_str());
            fail(path, "cannot write the volume: out of memory");
        }
    }
    ~NewFile() {
        if (file_ != nullptr) gzclose(file_);
        if (!placed_) unlink(name_.c_str());
    }
    NewFile(const NewFile &) = delete;

    void write(const void *data, size_t bytes) {
        if (bytes > 0 && gzfwrite(data, bytes, 1, file_) != 1) failed();
    }
    void takePlace() {
        const int closed = gzclose(file_);
        file_ = nullptr;
        if (closed != Z_OK || std::rename(name_.c_str(), path_.c_str()) != 0) failed();
        placed_ = true;
    }

private:
    [[noreturn]] void failed() {
        fail(path_, std::string("cannot write the volume: ") + (errno != 0 ? std::strerror(errno) : "the disk may be full"));
    }

    std::string path_, name_;
    gzFile file_ = nullptr;
    bool placed_ = false;
};

void checkDimensions(const std::string &path, const nifti_image &header) {
    for (const int extent : {header.nt, header.nu, header.nv, header.nw})
        if (extent > 1) fail(path, "has more than three dimensions; this program takes single volumes");
    if (header.nx < 1 || header.ny < 1 || header.nz < 1) fail(path, "has no voxels");
    if (!withVoxelType(header.datatype, [](auto) {}))
        fail(path,
             std::string("has voxels of type ") + nifti_datatype_string(header.datatype) + ", which this program doesn't know");
}

// The voxels in this machine's byte order. The NIfTI library would fill up with zeros what a file lacks.
template <class Voxel> std::vector<Voxel> readVoxels(const std::string &path, const nifti_image &header) {
    std::vector<Voxel> voxels(header.nvox);
    const gzFile file = gzopen(header.iname, "rb");
    bool complete = file != nullptr && gzseek(file, static_cast<z_off_t>(header.iname_offset), SEEK_SET) >= 0 &&
                    gzfread(voxels.data(), sizeof(Voxel), voxels.size(), file) == voxels.size();
    if (file != nullptr) {
        gzgetc(file); // so that the end is seen, and the checksum with it
        complete &= gzclose(file) == Z_OK;
    }
    if (!complete) fail(path, "ends early or is damaged");
    if (sizeof(Voxel) > 1 && header.byteorder != nifti_short_order())
        nifti_swap_Nbytes(voxels.size(), sizeof(Voxel), voxels.data());
    return voxels;
}

float finite(float value) { return std::isfinite(value) ? value : 0.0f; }

} // namespace

Header copyOf(const nifti_image &header) {
    Header copy(nifti_copy_nim_info(&header));
    if (!copy) throw std::bad_alloc();
    return copy;
}

Volume readNifti(const std::string &path) {
    if (access(path.c_str(), R_OK) != 0) fail(path, std::strerror(errno));
    nifti_set_debug_level(0);
    Header header(nifti_image_read(path.c_str(), 0));
    if (!header) fail(path, "is not a NIfTI file");
    checkDimensions(path, *header);

    Volume volume{nullptr, {header->nx, header->ny, header->nz}, {}};
    volume.voxels.resize(volume.extent.voxels());
    withVoxelType(header->datatype, [&](auto type) {
        const auto data = readVoxels<decltype(type)>(path, *header);
        for (size_t i = 0; i < data.size(); ++i) volume.voxels[i] = finite(static_cast<float>(data[i]));
    });
    volume.header = std::move(header);
    return volume;
}

void checkVolumePath(const std::string &path) {
    if (!endsWith(path, ".nii") && !endsWith(path, ".nii.gz")) fail(path, "the name of a volume ends in .nii or .nii.gz");
    NewFile file(path);
}

void writeNifti(const Volume &volume, const std::string &path) {
    Header header = copyOf(*volume.header);
    header->nifti_type = NIFTI_FTYPE_NIFTI1_1;
    nifti_1_header bytes = nifti_convert_nim2nhdr(header.get());
    constexpr char noExtensions[4] = {};
    bytes.vox_offset = sizeof bytes + sizeof noExtensions;

    errno = 0;
    NewFile file(path);
    file.write(&bytes, sizeof bytes);
    file.write(noExtensions, sizeof noExtensions);
    withVoxelType(header->datatype, [&](auto type) {
        std::vector<decltype(type)> plane(volume.extent.planeVoxels());
        for (int32_t z = 0; z < volume.extent.depth; ++z) {
            for (size_t i = 0; i < plane.size(); ++i) plane[i] = stored<decltype(type)>(volume.plane(z)[i]);
            file.write(plane.data(), plane.size() * sizeof plane[0]);
        }
    });
    file.takePlace();
}

void setGrid(nifti_image &header, const Extent &extent, const double scale[3]) {
    header.nx = header.dim[1] = extent.width;
    header.ny = header.dim[2] = extent.height;
    header.nz = header.dim[3] = extent.depth;
    if (extent.depth > 1 && header.ndim < 3) header.ndim = header.dim[0] = 3;
    header.nvox = extent.voxels();
    header.dx = header.pixdim[1] = static_cast<float>(header.dx / scale[0]);
    header.dy = header.pixdim[2] = static_cast<float>(header.dy / scale[1]);
    header.dz = header.pixdim[3] = static_cast<float>(header.dz / scale[2]);

    // Column a of a voxel-to-space matrix is a step of one voxel along axis a,
    // the last one the centre of voxel (0, 0, 0).
    for (mat44 *const matrix : {&header.qto_xyz, &header.sto_xyz}) {
        for (auto &row : matrix->m) {
            double centre = row[3];
            for (int axis = 0; axis < 3; ++axis) {
                centre += row[axis] * (0.5 / scale[axis] - 0.5);
                row[axis] = static_cast<float>(row[axis] / scale[axis]);
            }
            row[3] = static_cast<float>(centre);
        }
    }
    header.qto_ijk = nifti_mat44_inverse(header.qto_xyz);
    header.sto_ijk = nifti_mat44_inverse(header.sto_xyz);
    header.qoffset_x = header.qto_xyz.m[0][3];
    header.qoffset_y = header.qto_xyz.m[1][3];
    header.qoffset_z = header.qto_xyz.m[2][3];
}

} // namespace volume
