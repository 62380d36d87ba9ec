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

// The rows of one plane, filtered along x, that were used last.
template <class Sample, class Element, int Taps> class FilteredRows {
public:
    FilteredRows(Arena &arena, int32_t width) : stride_(paddedWidth(width)), elements_(arena.take<Element>(Taps * stride_)) {}

    void begin(const Sample *plane) {
        plane_ = plane;
        ring_.forget();
    }
    // Row `index` of the plane. While it is filtered, the row that lies `ahead` below it is fetched.
    template <class Filter> PlainRow<Element> row(const Filter &columns, const PlaneAxes &axes, int32_t index, int32_t ahead) {
        const int slot = ring_.slot(index, [&](int empty) {
            const int32_t later = ahead < axes.y.extent - index ? index + ahead : axes.y.extent - 1;
            columns.filter(plane_ + index * axes.srcRowStep, plane_ + later * axes.srcRowStep, elements_ + empty * stride_);
        });
        return {elements_ + slot * stride_};
    }
    // The same of a row in a band of linear mode. The bands enclose the interior rows: what is kept here is not needed below,
    // and there is nothing above.
    template <class Filter> PlainRow<Element> bandRow(const Filter &columns, const PlaneAxes &axes, int32_t index) const {
        columns.filterFrame(plane_ + index * axes.srcRowStep, elements_);
        return {elements_};
    }

private:
    ptrdiff_t stride_;
    Element *elements_;
    const Sample *plane_ = nullptr;
    Ring<Taps> ring_{};
};

// How far below the rows for row y of a tile lie those to fetch meanwhile. Where rows are skipped, the processor's own
// read-ahead does not foresee which will be taken.
inline int32_t rowsAhead(const ResizeAxis &axis, int taps, const int32_t *index, int32_t y, int32_t height) {
    return axis.inverse <= taps ? 4 : index[y + 2 < height ? y + 2 : height - 1] - index[y];
}

// ---- Linear -------------------------------------------------------------------------------------------------------------

template <class Sample> struct LinearRowBlends {
    using IntoImages = BlendAlongY;
    using IntoVolumes = BlendAlongYFusedThroughout;
    template <class Row> using AlongZ = BlendAlongZ<Row>;
};
template <> struct LinearRowBlends<float> {
    using IntoImages = BlendAlongY;
    using IntoVolumes = BlendAlongY;
    template <class Row> using AlongZ = BlendAlongZ<Row>;
};
template <> struct LinearRowBlends<uint8_t> {
    using IntoImages = FixedBlend<14>;
    using IntoVolumes = FixedBlend<20>;
    template <class Row> using AlongZ = FixedBlend<20, Row>;
};

template <class SampleType> class LinearStage {
public:
    using Sample = SampleType;
    using Element = typename LinearColumns<Sample>::Element;
    using Fraction = typename LinearArithmetic<Sample>::Fraction;
    static constexpr int taps = 2;

    LinearStage(Arena &arena, int32_t width, int32_t height)
        : columns_(arena, width), rows_{{arena, width}, {arena, width}}, index_(arena.take<int32_t>(height)),
          ahead_(arena.take<int32_t>(height)), fraction_(arena.take<Fraction>(height)) {}

    void build(const PlaneAxes &axes, const ResizeTile &tile) {
        axes_ = axes;
        tile_ = tile;
        columns_.build(axes.x, tile.columns, tile.x);
        for (int32_t y = 0; y < tile.height; ++y) {
            const AxisPosition position = axes.y.at(tile.y + y);
            index_[y] = position.index;
            fraction_[y] = LinearArithmetic<Sample>::fraction(position.fraction);
        }
        for (int32_t y = 0; y < tile.height; ++y) ahead_[y] = rowsAhead(axes.y, taps, index_, y, tile.height);
    }

    // Rows of the image are imageStride apart.
    void resizeIntoImage(const Sample *plane, Element *image, ptrdiff_t imageStride) {
        rows_[0].begin(plane);
        for (int32_t y = 0; y < tile_.height; ++y, image += imageStride) {
            if (isBandRow(y))
                combineRow<IntoImage>(tile_.columns.frameOnly(), image, bandRow(rows_[0], y));
            else
                combineRow<IntoImage>(tile_.columns, image, interiorRow<typename Blends::IntoImages>(rows_[0], y));
        }
    }

    void resizeIntoVolume(const Sample *plane, Sample *dst, ptrdiff_t dstRowStep) {
        rows_[0].begin(plane);
        for (int32_t y = 0; y < tile_.height; ++y, dst += dstRowStep) {
            if (isBandRow(y))
                combineRow<IntoVolume<Sample>>(tile_.columns.frameOnly(), dst, bandRow(rows_[0], y));
            else
                combineRow<IntoVolume<Sample>>(tile_.columns, dst, interiorRow<typename Blends::IntoVolumes>(rows_[0], y));
        }
    }

    // The same from two planes that are blended along z, without an image of either.
    void blendIntoVolume(const Sample *first, const Sample *second, Fraction t, Sample *dst, ptrdiff_t dstRowStep) {
        rows_[0].begin(first);
        rows_[1].begin(second);
        for (int32_t y = 0; y < tile_.height; ++y, dst += dstRowStep) {
            if (isBandRow(y)) {
                const auto a = bandRow(rows_[0], y), b = bandRow(rows_[1], y);
                combineRow<IntoVolume<Sample>>(tile_.columns.frameOnly(), dst, AlongZ<PlainRow<Element>>(a, b, t));
            } else {
                using Row = typename Blends::IntoImages;
                const auto a = interiorRow<Row>(rows_[0], y), b = interiorRow<Row>(rows_[1], y);
                combineRow<IntoVolume<Sample>>(tile_.columns, dst, AlongZ<Row>(a, b, t));
            }
        }
    }

    // One row of the destination from the same row of the images of the planes at z and z + 1.
    void blendRow(int32_t y, const Element *first, const Element *second, Fraction t, Sample *dst) const {
        const Columns columns = isBandRow(y) ? tile_.columns.frameOnly() : tile_.columns;
        combineRow<IntoVolume<Sample>>(columns, dst, AlongZ<PlainRow<Element>>({first}, {second}, t));
    }

private:
    using Blends = LinearRowBlends<Sample>;
    template <class Row> using AlongZ = typename Blends::template AlongZ<Row>;

    using Rows = FilteredRows<Sample, Element, taps>;

    bool isBandRow(int32_t y) const { return index_[y] < 0 || index_[y] >= axes_.y.extent - 1; }
    PlainRow<Element> bandRow(const Rows &rows, int32_t y) const {
        return rows.bandRow(columns_, axes_, index_[y] < 0 ? 0 : axes_.y.extent - 1);
    }
    template <class Blend> Blend interiorRow(Rows &rows, int32_t y) const {
        const auto first = rows.row(columns_, axes_, index_[y], ahead_[y]);
        return Blend(first, rows.row(columns_, axes_, index_[y] + 1, ahead_[y]), fraction_[y]);
    }

    PlaneAxes axes_{};
    ResizeTile tile_{};
    LinearColumns<Sample> columns_;
    Rows rows_[2]; // of two planes at a time
    int32_t *index_, *ahead_;
    Fraction *fraction_;
};

// ---- Cubic --------------------------------------------------------------------------------------------------------------

template <class SampleType> class CubicStage {
public:
    using Sample = SampleType;
    using Element = float;
    static constexpr int taps = 4;

    CubicStage(Arena &arena, int32_t width, int32_t height)
        : columns_(arena, width), rows_(arena, width), index_(arena.take<int32_t>(height)), ahead_(arena.take<int32_t>(height)),
          weights_(arena.take<CubicWeights>(height)) {}

    void build(const PlaneAxes &axes, const ResizeTile &tile) {
        axes_ = axes;
        tile_ = tile;
        columns_.build(axes.x, tile.columns, tile.x, axes.mode);
        for (int32_t y = 0; y < tile.height; ++y) {
            const AxisPosition position = axes.y.at(tile.y + y);
            index_[y] = position.index;
            weights_[y] = cubicWeights(axes.mode, static_cast<float>(position.fraction));
        }
        for (int32_t y = 0; y < tile.height; ++y) ahead_[y] = rowsAhead(axes.y, taps, index_, y, tile.height);
    }

    void resizeIntoImage(const Sample *plane, float *image, ptrdiff_t imageStride) {
        rows_.begin(plane);
        const Columns allAlike = tile_.columns.frameOnly();
        for (int32_t y = 0; y < tile_.height; ++y, image += imageStride) {
            const float *rows[taps];
            const CubicTaps at = cubicTaps(index_[y], axes_.y.extent);
            for (int k = 0; k < taps; ++k) rows[k] = rows_.row(columns_, axes_, at.index[k], ahead_[y]).row;
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

    PlaneAxes axes_{};
    ResizeTile tile_{};
    CubicColumns<Sample> columns_;
    FilteredRows<Sample, float, taps> rows_;
    int32_t *index_, *ahead_;
    CubicWeights *weights_;
};

} // namespace zypr
