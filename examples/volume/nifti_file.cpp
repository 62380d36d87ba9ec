// Volumes in NIfTI files. The NIfTI library reads and converts headers; voxels are read and written through zlib.
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "support/new_file.h"
#include "volume/volume.h"

namespace volume {
namespace {

[[noreturn]] void fail(const std::string &path, const std::string &reason) { throw std::runtime_error(path + ": " + reason); }

// Calls action(a value of the voxel type) for the types that this program knows; whether it is one of them.
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

// Writes through zlib, with or without compression, whose every failure is seen.
class Writer {
public:
    explicit Writer(const std::string &path)
        : file_(path, "volume"), stream_(gzdopen(file_.descriptor(), endsWith(path, ".gz") ? "wb6" : "wbT")) {
        if (stream_ == nullptr) throw std::bad_alloc();
    }
    ~Writer() {
        if (stream_ != nullptr) gzclose(stream_);
    }
    Writer(const Writer &) = delete;

    void write(const void *data, size_t bytes) {
        errno = 0;
        if (bytes > 0 && gzfwrite(data, bytes, 1, stream_) != 1) file_.fail();
    }
    void finish() {
        errno = 0;
        if (gzclose(std::exchange(stream_, nullptr)) != Z_OK) file_.fail();
        file_.takePlace();
    }

private:
    examples::NewFile file_;
    gzFile stream_;
};

void checkVoxelType(const std::string &path, const nifti_image &header) {
    if (!withVoxelType(header.datatype, [](auto) {}))
        fail(path,
             std::string("has voxels of type ") + nifti_datatype_string(header.datatype) + ", which this program doesn't know");
}

// Reads voxels in this machine's byte order. The NIfTI library would fill up with zeros what a file lacks.
class Reader {
public:
    Reader(const std::string &path, const nifti_image &header)
        : path_(path), datatype_(header.datatype), swapped_(header.byteorder != nifti_short_order()),
          stream_(gzopen(header.iname, "rb")) {
        checkVoxelType(path, header);
        if (!stream_ || gzseek(stream_.get(), static_cast<z_off_t>(header.iname_offset), SEEK_SET) < 0) damaged();
    }

    // The next values, and 0 for those that are no finite numbers. They are read bit by bit, so that memory is used for what a
    // file holds and not for what its header promises.
    std::vector<float> next(size_t count) {
        std::vector<float> values;
        values.reserve(count);
        withVoxelType(datatype_, [&](auto type) {
            using Voxel = decltype(type);
            std::vector<Voxel> some(std::min<size_t>(count, 1 << 16));
            while (values.size() < count) {
                some.resize(std::min(some.size(), count - values.size()));
                if (gzfread(some.data(), sizeof(Voxel), some.size(), stream_.get()) != some.size()) damaged();
                if (sizeof(Voxel) > 1 && swapped_) nifti_swap_Nbytes(some.size(), sizeof(Voxel), some.data());
                for (const Voxel voxel : some) {
                    const auto value = static_cast<float>(voxel);
                    values.push_back(std::isfinite(value) ? value : 0.0f);
                }
            }
        });
        return values;
    }

    // Looks at the file's end, and its checksum with it.
    void finish() {
        gzgetc(stream_.get());
        if (gzclose(stream_.release()) != Z_OK) damaged();
    }

private:
    struct Close {
        void operator()(gzFile stream) const { gzclose(stream); }
    };
    [[noreturn]] void damaged() { fail(path_, "ends early or is damaged"); }

    std::string path_;
    int datatype_;
    bool swapped_;
    std::unique_ptr<gzFile_s, Close> stream_;
};

void setExtent(nifti_image &header, const Extent &extent) {
    header.nx = header.dim[1] = extent.width;
    header.ny = header.dim[2] = extent.height;
    header.nz = header.dim[3] = extent.depth;
    if (extent.depth > 1 && header.ndim < 3) header.ndim = header.dim[0] = 3;
    header.nvox = extent.voxels();
}

} // namespace

Header copyOf(const nifti_image &header) {
    Header copy(nifti_copy_nim_info(&header));
    if (!copy) throw std::bad_alloc();
    return copy;
}

Header readHeader(const std::string &path) {
    if (access(path.c_str(), R_OK) != 0) fail(path, std::strerror(errno));
    nifti_set_debug_level(0);
    Header header(nifti_image_read(path.c_str(), 0));
    if (!header) fail(path, "is not a NIfTI file");
    if (header->nx < 1 || header->ny < 1 || header->nz < 1) fail(path, "has no voxels");
    return header;
}

Volume readNifti(const std::string &path) {
    Header header = readHeader(path);
    for (const int extent : {header->nt, header->nu, header->nv, header->nw})
        if (extent > 1) fail(path, "has more than three dimensions; this program takes single volumes");
    Reader reader(path, *header);
    Volume volume{nullptr, extentOf(*header), {}};
    volume.voxels = reader.next(volume.extent.voxels());
    reader.finish();
    volume.header = std::move(header);
    return volume;
}

VectorField readVectorField(const std::string &path) {
    Header header = readHeader(path);
    const bool holdsVectors = header->intent_code == NIFTI_INTENT_VECTOR || header->intent_code == NIFTI_INTENT_DISPVECT;
    if (!holdsVectors || header->nt > 1 || header->nu != 3 || header->nv > 1 || header->nw > 1)
        fail(path, "is no field of vectors: that has five dimensions, 1 and 3 the last two, and the intent VECTOR or DISPVECT");
    Reader reader(path, *header);
    VectorField field{nullptr, extentOf(*header), {}};
    for (std::vector<float> &component : field.components) {
        component = reader.next(field.extent.voxels());
        if (header->scl_slope != 0.0f)
            for (float &value : component) value = header->scl_slope * value + header->scl_inter;
    }
    reader.finish();
    field.header = std::move(header);
    return field;
}

void checkVolumePath(const std::string &path) {
    if (!endsWith(path, ".nii") && !endsWith(path, ".nii.gz")) fail(path, "the name of a volume ends in .nii or .nii.gz");
    examples::NewFile file(path, "volume");
}

void writeNifti(const Volume &volume, const std::string &path) {
    Header header = copyOf(*volume.header);
    header->nifti_type = NIFTI_FTYPE_NIFTI1_1;
    nifti_1_header bytes = nifti_convert_nim2nhdr(header.get());
    constexpr char noExtensions[4] = {};
    bytes.vox_offset = sizeof bytes + sizeof noExtensions;

    Writer file(path);
    file.write(&bytes, sizeof bytes);
    file.write(noExtensions, sizeof noExtensions);
    withVoxelType(header->datatype, [&](auto type) {
        std::vector<decltype(type)> plane(volume.extent.planeVoxels());
        for (int32_t z = 0; z < volume.extent.depth; ++z) {
            for (size_t i = 0; i < plane.size(); ++i) plane[i] = stored<decltype(type)>(volume.plane(z)[i]);
            file.write(plane.data(), plane.size() * sizeof plane[0]);
        }
    });
    file.finish();
}

Extent extentOf(const nifti_image &header) { return {header.nx, header.ny, header.nz}; }

void setGrid(nifti_image &header, const Extent &extent, const double scale[3]) {
    setExtent(header, extent);
    header.dx = header.pixdim[1] = static_cast<float>(header.dx / scale[0]);
    header.dy = header.pixdim[2] = static_cast<float>(header.dy / scale[1]);
    header.dz = header.pixdim[3] = static_cast<float>(header.dz / scale[2]);

    // Column a of a voxel-to-space matrix is a step of one voxel along axis a, the last one the centre of voxel (0, 0, 0).
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

void setGridLike(nifti_image &header, const nifti_image &like) {
    setExtent(header, extentOf(like));
    header.dx = header.pixdim[1] = like.dx;
    header.dy = header.pixdim[2] = like.dy;
    header.dz = header.pixdim[3] = like.dz;
    header.xyz_units = like.xyz_units;
    header.qform_code = like.qform_code;
    header.sform_code = like.sform_code;
    header.quatern_b = like.quatern_b;
    header.quatern_c = like.quatern_c;
    header.quatern_d = like.quatern_d;
    header.qoffset_x = like.qoffset_x;
    header.qoffset_y = like.qoffset_y;
    header.qoffset_z = like.qoffset_z;
    header.qfac = like.qfac;
    header.qto_xyz = like.qto_xyz;
    header.qto_ijk = like.qto_ijk;
    header.sto_xyz = like.sto_xyz;
    header.sto_ijk = like.sto_ijk;
}

} // namespace volume
