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

// The columns of one tile. Groups of neighbouring columns whose samples lie in one register's window are permuted out of it: a
// whole register of them, or half of one where the columns skip samples. The last group overlaps the one before.
template <class Sample> class NearestColumns {
    static constexpr int32_t windowBytes = sizeof(Sample) == 4 ? 32 : 16;
    static constexpr int32_t windowSamples = windowBytes / static_cast<int32_t>(sizeof(Sample));

public:
    static constexpr int32_t mostColumns = 1024;

    void build(const ResizeAxis &axis, int32_t first, int32_t width) {
        width_ = width;
        for (int32_t j = 0; j < width; ++j) index_[j] = axis.nearest(first + j);
        group_ = windowSamples;
        if (fitsWindows(axis.extent)) return;
        group_ = windowSamples / 2;
        if (fitsWindows(axis.extent)) return;
        group_ = 1;
    }

    // Draws the samples that gather will read into the cache, unless most of their lines are not read. Inlined, since compilers
    // may drop a call of a function that does nothing else.
    [[gnu::always_inline]] void prefetch(const Sample *row) const {
        constexpr int32_t line = 64 / static_cast<int32_t>(sizeof(Sample));
        const int32_t first = index_[0], last = index_[width_ - 1];
        if ((last - first) / line > width_) return;
        for (ptrdiff_t x = first; x <= last; x += line) __builtin_prefetch(row + x);
    }

    void gather(const Sample *row, Sample *out) const {
        if (group_ == windowSamples) {
            gatherGroups<windowSamples>(row, out, [](Sample *to, auto samples) { putWhole(to, samples); });
        } else if (group_ > 1) {
            gatherGroups<windowSamples / 2>(row, out, [](Sample *to, auto samples) { putHalf(to, samples); });
        } else {
            for (int32_t j = 0; j < width_; ++j) out[j] = row[index_[j]];
        }
    }

private:
    struct alignas(windowBytes) Lanes {
        uint8_t bytes[windowBytes];
    };

    int32_t columnOf(int32_t g) const { return (g + 1) * group_ <= width_ ? g * group_ : width_ - group_; }

    template <int32_t Group, class Put> void gatherGroups(const Sample *row, Sample *out, const Put &put) const {
        const int32_t whole = width_ / Group;
        for (int32_t g = 0; g < whole; ++g) put(out + g * Group, permuted(row + starts_[g], lanes_[g]));
        if (whole * Group < width_) put(out + width_ - Group, permuted(row + starts_[whole], lanes_[whole]));
    }

    // Fills the tables for groups of the present size; false when some group does not fit its window.
    bool fitsWindows(int32_t extent) {
        if (width_ < group_ || extent < windowSamples) return false;
        for (int32_t g = 0; g * group_ < width_; ++g) {
            const int32_t *index = index_ + columnOf(g);
            const int32_t start = index[0] < extent - windowSamples ? index[0] : extent - windowSamples;
            if (index[group_ - 1] - start >= windowSamples) return false;
            starts_[g] = start;
            for (int32_t k = 0; k < group_; ++k) setLane(lanes_[g], k, index[k] - start);
        }
        return true;
    }

    static void setLane(Lanes &lanes, int32_t k, int32_t offset) {
        if constexpr (sizeof(Sample) == 4) {
            std::memcpy(lanes.bytes + 4 * k, &offset, 4);
        } else {
            for (uint32_t b = 0; b < sizeof(Sample); ++b)
                lanes.bytes[static_cast<uint32_t>(k) * sizeof(Sample) + b] =
                    static_cast<uint8_t>(static_cast<uint32_t>(offset) * sizeof(Sample) + b);
        }
    }

    static auto permuted(const Sample *window, const Lanes &lanes) {
        if constexpr (sizeof(Sample) == 4) {
            const __m256i which = _mm256_load_si256(reinterpret_cast<const __m256i *>(lanes.bytes));
            return _mm256_permutevar8x32_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(window)), which);
        } else {
            const __m128i which = _mm_load_si128(reinterpret_cast<const __m128i *>(lanes.bytes));
            return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(window)), which);
        }
    }
    static void putWhole(Sample *out, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), v); }
    static void putWhole(Sample *out, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(out), v); }
    static void putHalf(Sample *out, __m256i v) { putWhole(out, _mm256_castsi256_si128(v)); }
    static void putHalf(Sample *out, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i *>(out), v); }

    int32_t width_ = 0;
    int32_t group_ = 1; // columns per window; 1: sample by sample
    int32_t index_[mostColumns];
    int32_t starts_[2 * mostColumns / windowSamples];
    Lanes lanes_[2 * mostColumns / windowSamples];
};

// The tables of a tile are small enough for the stack.
template <class Sample>
void resizeNearest(const Volume<const Sample> &src, const ZyprVolumeExtent &extent, const Volume<Sample> &dst,
                   const ZyprResizeJob &job, const TeamShare &planes) {
    constexpr int32_t mostColumns = NearestColumns<Sample>::mostColumns, mostRows = 1024;
    constexpr int32_t rowsAhead = 6; // a reduction skips rows, which the processor's own read-ahead does not foresee
    const ResizeAxis xAxis{job.xInvScale, job.xOffset, extent.width};
    const ResizeAxis yAxis{job.yInvScale, job.yOffset, extent.height};
    const ResizeAxis zAxis{job.zInvScale, job.zOffset, extent.depth};
    const int32_t firstPlane = job.dstZ0 + planes.first;
    const auto repeats = [&](int32_t k) { return k > 0 && zAxis.nearest(firstPlane + k) == zAxis.nearest(firstPlane + k - 1); };
    // A plane is copied as a whole, so that the copy knows how much data there is.
    const auto repeatPlane = [&](int32_t k) {
        const ptrdiff_t corner = job.dstY0 * dst.rowStep + job.dstX0;
        const auto rowBytes = static_cast<int32_t>(dst.rowStep * static_cast<ptrdiff_t>(sizeof(Sample)));
        copyPlane(dst.plane(firstPlane + k - 1) + corner, dst.plane(firstPlane + k) + corner, rowBytes,
                  {job.dstWidth, job.dstHeight});
    };
    const bool oneTile = job.dstWidth <= mostColumns && job.dstHeight <= mostRows; // then while the plane is in the cache
    NearestColumns<Sample> columns;
    ptrdiff_t rowOffsets[mostRows];

    for (int32_t x = job.dstX0, width; x < job.dstX1; x += width) {
        width = job.dstX1 - x < mostColumns ? job.dstX1 - x : mostColumns;
        columns.build(xAxis, x, width);
        for (int32_t y = job.dstY0, height; y < job.dstY1; y += height) {
            height = job.dstY1 - y < mostRows ? job.dstY1 - y : mostRows;
            for (int32_t i = 0; i < height; ++i) rowOffsets[i] = yAxis.nearest(y + i) * src.rowStep;
            for (int32_t k = 0; k < planes.count; ++k) {
                if (repeats(k)) {
                    if (oneTile) repeatPlane(k);
                } else {
                    const Sample *plane = src.plane(zAxis.nearest(firstPlane + k));
                    Sample *out = dst.plane(firstPlane + k) + y * dst.rowStep + x;
                    for (int32_t i = 0; i < height; ++i, out += dst.rowStep) {
                        const int32_t ahead = i + rowsAhead < height ? i + rowsAhead : height - 1;
                        columns.prefetch(plane + rowOffsets[ahead]);
                        columns.gather(plane + rowOffsets[i], out);
                    }
                }
            }
        }
    }
    for (int32_t k = 0; !oneTile && k < planes.count; ++k)
        if (repeats(k)) repeatPlane(k);
}

} // namespace zypr
