// Nearest-voxel resize of a volume: rows are gathered, and a plane that takes the same source plane as the one before is copied
// from it.
#pragma once

#include <cstdint>
#include <cstring>

#include "plane/copy.h"
#include "plane/resize_axis.h"
#include "volume/records.h"

namespace zypr {

inline zypStatus copyPlane(const uint8_t *src, uint8_t *dst, int32_t rowStep, ZyprPlaneSize size) {
    return zyprPlaneCopy_8u_C1(src, rowStep, dst, rowStep, size);
}
inline zypStatus copyPlane(const uint16_t *src, uint16_t *dst, int32_t rowStep, ZyprPlaneSize size) {
    return zyprPlaneCopy_16u_C1(src, rowStep, dst, rowStep, size);
}
inline zypStatus copyPlane(const float *src, float *dst, int32_t rowStep, ZyprPlaneSize size) {
    return zyprPlaneCopy_32f_C1(src, rowStep, dst, rowStep, size);
}

// The columns of one tile. Groups of neighbouring columns whose samples lie in one register's window are permuted out of it;
// the last group overlaps the one before.
template <class Sample> class NearestColumns {
    static constexpr int32_t windowBytes = sizeof(Sample) == 4 ? 32 : 16;
    static constexpr int32_t group = windowBytes / static_cast<int32_t>(sizeof(Sample)); // columns, and samples of a window

public:
    static constexpr int32_t mostColumns = 1024;

    void build(const ResizeAxis &axis, int32_t first, int32_t width) {
        width_ = width;
        for (int32_t j = 0; j < width; ++j) index_[j] = axis.nearest(first + j);
        inWindows_ = width >= group && axis.extent >= group;
        for (int32_t g = 0; g * group < width && inWindows_; ++g) {
            const int32_t *index = index_ + columnOf(g);
            const int32_t start = index[0] < axis.extent - group ? index[0] : axis.extent - group;
            inWindows_ = index[group - 1] - start < group;
            starts_[g] = start;
            for (int32_t k = 0; k < group && inWindows_; ++k) setLane(lanes_[g], k, index[k] - start);
        }
    }

    void gather(const Sample *row, Sample *out) const {
        if (!inWindows_) {
            for (int32_t j = 0; j < width_; ++j) out[j] = row[index_[j]];
            return;
        }
        for (int32_t g = 0; g * group < width_; ++g) permute(row + starts_[g], lanes_[g], out + columnOf(g));
    }

private:
    struct alignas(windowBytes) Lanes {
        uint8_t bytes[windowBytes];
    };

    int32_t columnOf(int32_t g) const { return (g + 1) * group <= width_ ? g * group : width_ - group; }

    static void setLane(Lanes &lanes, int32_t k, int32_t offset) {
        if constexpr (sizeof(Sample) == 4) {
            std::memcpy(lanes.bytes + 4 * k, &offset, 4);
        } else {
            for (uint32_t b = 0; b < sizeof(Sample); ++b)
                lanes.bytes[k * sizeof(Sample) + b] = static_cast<uint8_t>(static_cast<uint32_t>(offset) * sizeof(Sample) + b);
        }
    }
    static void permute(const Sample *window, const Lanes &lanes, Sample *out) {
        if constexpr (sizeof(Sample) == 4) {
            const __m256i which = _mm256_load_si256(reinterpret_cast<const __m256i *>(lanes.bytes));
            _mm256_storeu_ps(out, _mm256_permutevar8x32_ps(_mm256_loadu_ps(window), which));
        } else {
            const __m128i which = _mm_load_si128(reinterpret_cast<const __m128i *>(lanes.bytes));
            const __m128i samples = _mm_loadu_si128(reinterpret_cast<const __m128i *>(window));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm_shuffle_epi8(samples, which));
        }
    }

    int32_t width_ = 0;
    bool inWindows_ = false;
    int32_t index_[mostColumns];
    int32_t starts_[mostColumns / group];
    Lanes lanes_[mostColumns / group];
};

// The tables of a tile are small enough for the stack.
template <class Sample>
void resizeNearest(const Volume<const Sample> &src, const ZyprVolumeExtent &extent, const Volume<Sample> &dst,
                   const ZyprResizeJob &job, const TeamShare &planes) {
    constexpr int32_t mostColumns = NearestColumns<Sample>::mostColumns, mostRows = 1024;
    const ResizeAxis xAxis{job.xInvScale, job.xOffset, extent.width};
    const ResizeAxis yAxis{job.yInvScale, job.yOffset, extent.height};
    const ResizeAxis zAxis{job.zInvScale, job.zOffset, extent.depth};
    const int32_t firstPlane = job.dstZ0 + planes.first;
    NearestColumns<Sample> columns;
    ptrdiff_t rowOffsets[mostRows];

    for (int32_t x = job.dstX0, width; x < job.dstX1; x += width) {
        width = job.dstX1 - x < mostColumns ? job.dstX1 - x : mostColumns;
        columns.build(xAxis, x, width);
        for (int32_t y = job.dstY0, height; y < job.dstY1; y += height) {
            height = job.dstY1 - y < mostRows ? job.dstY1 - y : mostRows;
            for (int32_t i = 0; i < height; ++i) rowOffsets[i] = yAxis.nearest(y + i) * src.rowStep;
            const ptrdiff_t corner = y * dst.rowStep + x;
            const auto rowBytes = static_cast<int32_t>(dst.rowStep * static_cast<ptrdiff_t>(sizeof(Sample)));
            int32_t previousIndex = -1;
            for (int32_t k = 0; k < planes.count; ++k) {
                Sample *out = dst.plane(firstPlane + k) + corner;
                const int32_t index = zAxis.nearest(firstPlane + k);
                if (index == previousIndex) {
                    copyPlane(dst.plane(firstPlane + k - 1) + corner, out, rowBytes, {width, height});
                } else {
                    const Sample *plane = src.plane(index);
                    for (int32_t i = 0; i < height; ++i, out += dst.rowStep) columns.gather(plane + rowOffsets[i], out);
                }
                previousIndex = index;
            }
        }
    }
}

} // namespace zypr
