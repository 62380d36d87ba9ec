// Linear and cubic resize of a volume: the way along z.
//
// A tile of the region is carried through all its planes before the next tile begins, so that the plane images between which it
// blends stay in cache. Each source plane is resampled once per tile, however many destination planes lie near it; only linear
// reductions, in which hardly any two of them share a source plane, do without images.
#pragma once

#include <cstdint>

#include "frame/arena.h"
#include "plane/resize_stage.h"
#include "volume/records.h"

namespace zypr {

struct TileSize {
    int32_t width, height;
};

// The bytes that a tile takes, at an address that is a multiple of Arena::alignment.
template <class Stage> int64_t tileBytes(TileSize size) {
    Arena arena(nullptr);
    Stage(arena, size.width, size.height);
    arena.take<typename Stage::Element>(int64_t{Stage::taps} * size.height * paddedWidth(size.width));
    return arena.used();
}

// The tiles for a region of width x height when `bytes` are there: as high as the cache allows, since the rows at a tile's
// upper and lower edge are filtered for both neighbours. Width and height 0 when not even the least tile has room.
template <class Stage> TileSize chooseTileSize(int32_t width, int32_t height, int64_t bytes) {
    constexpr int64_t cacheBytes = 512 << 10;
    constexpr int32_t mostColumns = 1024, leastRows = 16;
    const int64_t room = bytes < cacheBytes ? bytes : cacheBytes;
    for (int32_t columns = width < mostColumns ? width : mostColumns;; columns = (columns + 1) / 2) {
        const int64_t oneRow = tileBytes<Stage>({columns, 1});
        // Each further row takes its image row and table entries; aligning the pieces again may take an alignment more for
        // each.
        const int64_t perRow = (tileBytes<Stage>({columns, 1025}) - oneRow) / 1024 + 1;
        const int64_t fitting = room < oneRow ? 0 : 1 + (room - oneRow) / perRow;
        int32_t rows = fitting < height ? static_cast<int32_t>(fitting) : height;
        while (rows > 0 && tileBytes<Stage>({columns, rows}) > room) --rows;
        if (rows == height || rows >= leastRows || (columns <= 64 && rows > 0)) {
            const int32_t count = (height - 1) / rows + 1; // tiles of about one height
            return {columns, (height - 1) / count + 1};
        }
        if (columns == 1) return {0, 0};
    }
}

template <class Stage> class VolumeResize {
    using Sample = typename Stage::Sample;
    using Element = typename Stage::Element;

public:
    VolumeResize(const Volume<const Sample> &src, const ZyprVolumeExtent &extent, const Volume<Sample> &dst,
                 const ZyprResizeJob &job, ZyprInterpolation mode)
        : src_(src), dst_(dst), job_(job), axes_{{job.xInvScale, job.xOffset, extent.width},
                                                 {job.yInvScale, job.yOffset, extent.height},
                                                 src.rowStep,
                                                 mode},
          z_{job.zInvScale, job.zOffset, extent.depth} {}

    // The region's planes of one share.
    void run(const TeamShare &planes, const ScratchSlice &scratch) const {
        const auto address = reinterpret_cast<uintptr_t>(scratch.begin);
        const auto skipped = static_cast<int64_t>(-address & (Arena::alignment - 1));
        const TileSize size = chooseTileSize<Stage>(job_.dstWidth, job_.dstHeight, scratch.bytes - skipped);
        if (size.height > 0)
            runTiles(planes, size, scratch.begin + skipped);
        else
            runInReserve(planes);
    }

private:
    // A buffer whose size was formed from a cuboid so large that it wrapped in 32 bits may hold next to nothing.
    [[gnu::noinline]] void runInReserve(const TeamShare &planes) const {
        constexpr int64_t bytes = 16 << 10;
        alignas(Arena::alignment) uint8_t reserve[bytes];
        runTiles(planes, chooseTileSize<Stage>(job_.dstWidth, job_.dstHeight, bytes), reserve);
    }

    void runTiles(const TeamShare &planes, TileSize size, uint8_t *scratch) const {
        Arena arena(scratch);
        Stage stage(arena, size.width, size.height);
        Images images{&stage, size, arena};
        const InteriorRun interior = axes_.x.interior(Stage::taps, job_.dstX0, job_.dstX1);
        for (int32_t x = job_.dstX0, width; x < job_.dstX1; x += width) {
            width = job_.dstX1 - x < size.width ? job_.dstX1 - x : size.width;
            for (int32_t y = job_.dstY0, height; y < job_.dstY1; y += height) {
                height = job_.dstY1 - y < size.height ? job_.dstY1 - y : size.height;
                const ResizeTile tile{x, y, columnsOf(interior, x, width), height};
                stage.build(axes_, tile);
                images.forget();
                for (int32_t plane = 0; plane < planes.count; ++plane)
                    writePlane(stage, images, tile, job_.dstZ0 + planes.first + plane);
            }
        }
    }

    static Columns columnsOf(const InteriorRun &interior, int32_t x, int32_t width) {
        const auto inTile = [&](int32_t position) { return position < x ? 0 : position - x > width ? width : position - x; };
        const int32_t tail = interior.end - (interior.end - interior.begin) % 4;
        return {width, inTile(interior.begin), inTile(interior.end), inTile(tail)};
    }

    // The images of the source planes last used.
    class Images {
    public:
        Images(Stage *stage, TileSize size, Arena &arena)
            : stage_(stage), rowStride_(paddedWidth(size.width)), imageStride_(rowStride_ * size.height),
              images_(arena.take<Element>(Stage::taps * imageStride_)) {}

        void forget() { ring_.forget(); }
        ptrdiff_t rowStride() const { return rowStride_; }
        const Element *of(const Volume<const Sample> &src, int32_t z) {
            const int slot = ring_.slot(
                z, [&](int empty) { stage_->resizeIntoImage(src.plane(z), images_ + empty * imageStride_, rowStride_); });
            return images_ + slot * imageStride_;
        }

    private:
        Stage *stage_;
        ptrdiff_t rowStride_, imageStride_;
        Element *images_;
        Ring<Stage::taps> ring_;
    };

    void writePlane(Stage &stage, Images &images, const ResizeTile &tile, int32_t z) const {
        const AxisPosition position = z_.at(z);
        Sample *dst = dst_.plane(z) + tile.y * dst_.rowStep + tile.x;
        if constexpr (Stage::taps == 2) {
            if (position.index < 0) return stage.resizeIntoVolume(src_.plane(0), dst, dst_.rowStep);
            if (position.index == z_.extent - 1) return stage.resizeIntoVolume(src_.plane(position.index), dst, dst_.rowStep);
            constexpr double leastWithoutImages = 1.75; // source planes per destination plane
            const auto t = LinearArithmetic<Sample>::fraction(position.fraction);
            if (z_.inverse >= leastWithoutImages)
                return stage.blendIntoVolume(src_.plane(position.index), src_.plane(position.index + 1), t, dst, dst_.rowStep);
            const Element *first = images.of(src_, position.index), *second = images.of(src_, position.index + 1);
            for (int32_t y = 0; y < tile.height; ++y, dst += dst_.rowStep) {
                stage.blendRow(y, first, second, t, dst);
                first += images.rowStride();
                second += images.rowStride();
            }
        } else {
            const CubicTaps taps = cubicTaps(position.index, z_.extent);
            const CubicWeights weights = cubicWeights(axes_.mode, static_cast<float>(position.fraction));
            const float *rows[4];
            for (int k = 0; k < 4; ++k) rows[k] = images.of(src_, taps.index[k]);
            for (int32_t y = 0; y < tile.height; ++y, dst += dst_.rowStep) {
                stage.blendRow(y, rows, weights, dst);
                for (const float *&row : rows) row += images.rowStride();
            }
        }
    }

    Volume<const Sample> src_;
    Volume<Sample> dst_;
    ZyprResizeJob job_;
    PlaneAxes axes_;
    ResizeAxis z_;
};

} // namespace zypr
