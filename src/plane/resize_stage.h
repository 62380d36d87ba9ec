// The two-dimensional stages under volume resize: from one source plane the columns and rows of a tile of the destination, as a
// plane image that is then blended along z, or straight into a destination plane.
//
// Stages cover tiles so that their images stay in cache. Rows are filtered along x once each and kept while the rows of the
// destination move past them.
#pragma once

#include <cstdint>

#include "frame/arena.h"
#include "plane/resize_axis.h"
#include "plane/resize_columns.h"
#include "plane/resize_rows.h"

namespace zypr {

// A rectangle of the destination region, in destination coordinates.
struct ResizeTile {
    int32_t x, y;
    Columns columns;
    int32_t height;
};

struct PlaneAxes {
    ResizeAxis x, y;
    ptrdiff_t srcRowStep; // in samples
    ZyprInterpolation mode;
};

// The last Count things of numbers that follow one another: thing n lies in slot n mod Count until another takes its place.
template <int Count> class Ring {
public:
    void forget() {
        for (int32_t &number : held_) number = -1;
    }
    // The slot of thing `number`, which `make` fills when it isn't there.
    template <class Make> int slot(int32_t number, const Make &make) {
        const int slot = number & (Count - 1);
        if (held_[slot] != number) {
            make(slot);
            held_[slot] = number;
        }
        return slot;
    }

private:
    int32_t held_[Count];
};

// ---- Linear -------------------------------------------------------------------------------------------------------------

template <class Sample> struct LinearRowBlends {
    using IntoImages = BlendAlongY;
    using IntoVolumes = BlendAlongYFusedThroughout;
    using AlongZ = BlendAlongZ;
};
template <> struct LinearRowBlends<float> {
    using IntoImages = BlendAlongY;
    using IntoVolumes = BlendAlongY;
    using AlongZ = BlendAlongZ;
};
template <> struct LinearRowBlends<uint8_t> {
    using IntoImages = FixedBlend<14>;
    using IntoVolumes = FixedBlend<20>;
    using AlongZ = FixedBlend<20>;
};

template <class SampleType> class LinearStage {
public:
    using Sample = SampleType;
    using Element = typename LinearColumns<Sample>::Element;
    using Fraction = typename LinearArithmetic<Sample>::Fraction;
    static constexpr int taps = 2;

    LinearStage(Arena &arena, int32_t width, int32_t height)
        : columns_(arena, width), rowStride_(paddedWidth(width)), rows_(arena.take<Element>(taps * rowStride_)),
          index_(arena.take<int32_t>(height)), fraction_(arena.take<Fraction>(height)) {}

    void build(const PlaneAxes &axes, const ResizeTile &tile) {
        axes_ = axes;
        tile_ = tile;
        columns_.build(axes.x, tile.columns, tile.x);
        for (int32_t y = 0; y < tile.height; ++y) {
            const AxisPosition position = axes.y.at(tile.y + y);
            index_[y] = position.index;
            fraction_[y] = LinearArithmetic<Sample>::fraction(position.fraction);
        }
    }

    // Rows of the image are imageStride apart.
    void resizeIntoImage(const Sample *plane, Element *image, ptrdiff_t imageStride) {
        ring_.forget();
        for (int32_t y = 0; y < tile_.height; ++y, image += imageStride) {
            if (isBandRow(y))
                columns_.filterFrame(bandRow(plane, y), image);
            else
                combineRow<IntoImage>(tile_.columns, image, interiorRow<typename Blends::IntoImages>(plane, y));
        }
    }

    void resizeIntoVolume(const Sample *plane, Sample *dst, ptrdiff_t dstRowStep) {
        ring_.forget();
        for (int32_t y = 0; y < tile_.height; ++y, dst += dstRowStep) {
            if (isBandRow(y))
                writeBandRow(bandRow(plane, y), dst);
            else
                combineRow<IntoVolume<Sample>>(tile_.columns, dst, interiorRow<typename Blends::IntoVolumes>(plane, y));
        }
    }

    // One row of the destination from the same row of the images of the planes at z and z + 1.
    void blendRow(int32_t y, const Element *first, const Element *second, Fraction t, Sample *dst) const {
        const Columns columns = isBandRow(y) ? tile_.columns.frameOnly() : tile_.columns;
        combineRow<IntoVolume<Sample>>(columns, dst, typename Blends::AlongZ(first, second, t));
    }

private:
    using Blends = LinearRowBlends<Sample>;

    struct Copied { // a filtered row as it is
        static constexpr int lanes = Blends::AlongZ::lanes;
        const Element *row;
        auto frame(int32_t j) const {
            if constexpr (lanes == 16)
                return loadFixed(row + j);
            else
                return load<8>(row + j);
        }
        auto fused(int32_t j) const { return frame(j); }
        auto tail(int32_t j) const { return frame(j); }
    };

    bool isBandRow(int32_t y) const { return index_[y] < 0 || index_[y] >= axes_.y.extent - 1; }
    const Sample *bandRow(const Sample *plane, int32_t y) const {
        return index_[y] < 0 ? plane : plane + (axes_.y.extent - 1) * axes_.srcRowStep;
    }
    // The bands enclose the interior rows: what the ring holds is not needed below, and nothing is in it above.
    void writeBandRow(const Sample *row, Sample *dst) {
        columns_.filterFrame(row, rows_);
        combineRow<IntoVolume<Sample>>(tile_.columns.frameOnly(), dst, Copied{rows_});
    }

    template <class Blend> Blend interiorRow(const Sample *plane, int32_t y) {
        const Element *first = filteredRow(plane, index_[y]);
        return Blend(first, filteredRow(plane, index_[y] + 1), fraction_[y]);
    }
    const Element *filteredRow(const Sample *plane, int32_t y) {
        const int slot =
            ring_.slot(y, [&](int empty) { columns_.filter(plane + y * axes_.srcRowStep, rows_ + empty * rowStride_); });
        return rows_ + slot * rowStride_;
    }

    PlaneAxes axes_{};
    ResizeTile tile_{};
    LinearColumns<Sample> columns_;
    ptrdiff_t rowStride_;
    Element *rows_;
    int32_t *index_;
    Fraction *fraction_;
    Ring<taps> ring_;
};

// ---- Cubic --------------------------------------------------------------------------------------------------------------

template <class SampleType> class CubicStage {
public:
    using Sample = SampleType;
    using Element = float;
    static constexpr int taps = 4;

    CubicStage(Arena &arena, int32_t width, int32_t height)
        : columns_(arena, width), rowStride_(paddedWidth(width)), rows_(arena.take<float>(taps * rowStride_)),
          index_(arena.take<int32_t>(height)), weights_(arena.take<CubicWeights>(height)) {}

    void build(const PlaneAxes &axes, const ResizeTile &tile) {
        axes_ = axes;
        tile_ = tile;
        columns_.build(axes.x, tile.columns, tile.x, axes.mode);
        for (int32_t y = 0; y < tile.height; ++y) {
            const AxisPosition position = axes.y.at(tile.y + y);
            index_[y] = position.index;
            weights_[y] = cubicWeights(axes.mode, static_cast<float>(position.fraction));
        }
    }

    void resizeIntoImage(const Sample *plane, float *image, ptrdiff_t imageStride) {
        ring_.forget();
        const Columns allAlike = tile_.columns.frameOnly();
        for (int32_t y = 0; y < tile_.height; ++y, image += imageStride) {
            const float *rows[taps];
            const CubicTaps at = cubicTaps(index_[y], axes_.y.extent);
            for (int k = 0; k < taps; ++k) rows[k] = filteredRow(plane, at.index[k]);
            if (isBandRow(y))
                combineRow<IntoImage>(allAlike, image, edgeRow(index_[y], rows, weights_[y].w));
            else
                combineRow<IntoImage>(allAlike, image, CubicBlendAlongY(rows, weights_[y].w));
        }
    }

    void blendRow(int32_t y, const float *const images[taps], const CubicWeights &weights, Sample *dst) const {
        const Columns columns = isBandRow(y) ? tile_.columns.frameOnly() : tile_.columns;
        combineRow<IntoVolume<Sample>>(columns, dst, CubicBlendAlongZ(images, weights.w));
    }

private:
    bool isBandRow(int32_t y) const { return index_[y] < 1 || index_[y] >= axes_.y.extent - 2; }

    // The weights of taps that fall on one row are added.
    CubicEdgeAlongY edgeRow(int32_t index, const float *const rows[taps], const float w[taps]) const {
        const auto sum = [&](int merged, float mergedWeight, int inner, int outer) {
            return CubicEdgeAlongY{rows[merged],           rows[inner],           rows[outer], broadcast<8>(mergedWeight),
                                   broadcast<8>(w[inner]), broadcast<8>(w[outer])};
        };
        if (index < 0) return sum(1, w[1] + w[2], 0, 3);
        if (index == 0) return sum(0, w[0] + w[1], 2, 3);
        if (index == axes_.y.extent - 2) return sum(2, w[2] + w[3], 1, 0);
        return sum(1, w[1] + w[2], 3, 0);
    }

    const float *filteredRow(const Sample *plane, int32_t y) {
        const int slot =
            ring_.slot(y, [&](int empty) { columns_.filter(plane + y * axes_.srcRowStep, rows_ + empty * rowStride_); });
        return rows_ + slot * rowStride_;
    }

    PlaneAxes axes_{};
    ResizeTile tile_{};
    CubicColumns<Sample> columns_;
    ptrdiff_t rowStride_;
    float *rows_;
    int32_t *index_;
    CubicWeights *weights_;
    Ring<taps> ring_;
};

} // namespace zypr
