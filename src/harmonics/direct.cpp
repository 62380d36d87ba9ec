// The direct evaluator: every band as polynomials in double precision, four points at a time.

#include <type_traits>
#include <utility>

#include "harmonics/basis.h"
#include "harmonics/direct_bands.h"

namespace zypr::harmonics {
namespace {

using Bands = DirectBands<Double4>;

Bands bandsAt(Float4 x, Float4 y, Float4 z) {
    return Bands({widened(x), widened(y), widened(z), widened(x * x), widened(y * y), widened(z * z)});
}

struct BandRange {
    int first, last;
};
constexpr int allBands = highestOrder;
constexpr int lowBands = 4; // the state of four points up to here fits the registers

// Takes the bands of four points to rows.
struct ToRows {
    float *rows;
    int first; // the band that goes to row 0

    [[gnu::always_inline]] ToRows ofFour(int f) const { return {rows + 4 * f, first}; }

    template <int l> [[gnu::always_inline]] void band(const Bands &bands) const {
        functions<l>(bands, rows + (l * l + l - first * first) * groupSize, std::make_integer_sequence<int, l>{});
    }
    template <int l> [[gnu::always_inline]] void end(const Bands &) const {}

private:
    template <int l, int... i>
    [[gnu::always_inline]] static void functions(const Bands &bands, float *middle, std::integer_sequence<int, i...>) {
        store(middle, narrowed(bands.function<l, 0>()));
        ((store(middle + (i + 1) * groupSize, narrowed(bands.function<l, i + 1>())),
          store(middle - (i + 1) * groupSize, narrowed(bands.function<l, -i - 1>()))),
         ...);
    }
};

// Takes them to blocks, eight functions at a time. Up to an odd band their number is a multiple of four; up to an even one it
// is one more, and that function goes with the next band.
struct ToBlocks {
    float *blocks;
    const float *ahead;
    int64_t width;

    [[gnu::always_inline]] ToBlocks ofFour(int f) const { return {blocks + 4 * f * width, ahead + 4 * f * width, width}; }

    template <int l> [[gnu::always_inline]] void band(const Bands &bands) const {
        constexpr int fours = (l + 1) / 2;
        eights<l>(bands, std::make_integer_sequence<int, fours / 2>{});
        if constexpr (fours % 2 == 1) storeColumns<Float4, l, begin(l) + 4 * (fours - 1)>(bands);
    }
    template <int l> [[gnu::always_inline]] void end(const Bands &bands) const {
        if constexpr (l % 2 == 0) {
            prefetch(ahead + 4 * (l * l + 2 * l));
            const Float4 values = narrowed(bands.function<l, l>());
            for (int point = 0; point < 4; ++point) blocks[point * width + l * l + 2 * l] = values.v[point];
        }
    }

private:
    // The m of the first function that goes with band l.
    static constexpr int begin(int l) { return l % 2 == 0 ? -l : -l - 1; }

    // From both ends inwards: functions of equal |m| have a factor in common.
    template <int l, int... i> [[gnu::always_inline]] void eights(const Bands &bands, std::integer_sequence<int, i...>) const {
        constexpr int last = static_cast<int>(sizeof...(i)) - 1;
        (storeColumns<Float8, l, begin(l) + 8 * (i % 2 == 0 ? last - i / 2 : i / 2)>(bands), ...);
    }
    // As many functions as a register holds, from (l, m) on.
    template <class Float, int l, int m> [[gnu::always_inline]] void storeColumns(const Bands &bands) const {
        constexpr int index = l * l + l + m, lines = sizeof(Float) / sizeof(Float4);
        for (int line = 0; line < lines; ++line) prefetch(ahead + 4 * index + 16 * line);
        Float rows[4] = {column<Float, l, m>(bands), column<Float, l, m + 1>(bands), column<Float, l, m + 2>(bands),
                         column<Float, l, m + 3>(bands)};
        transpose(rows);
        for (int point = 0; point < 4; ++point) store(blocks + point * width + index, rows[point]);
    }
    template <class Float, int l, int m> [[gnu::always_inline]] static Float column(const Bands &bands) {
        if constexpr (std::is_same_v<Float, Float8>)
            return joined(column<Float4, l, m>(bands), column<Float4, l, m + 4>(bands));
        else if constexpr (m < -l)
            return narrowed(bands.function<l - 1, l - 1>());
        else
            return narrowed(bands.function<l, m>());
    }
};

// Bands l to `highest` of `fours` times four points; those of the range are stored. Each band's code runs for all points before
// the next band's: it stays decoded that way. A band alone goes this way too, so that the polynomials are compiled once for
// each kind of output.
template <int l, int highest, class Output>
[[gnu::always_inline]] inline void storeBandsFrom(Bands *bands, int fours, BandRange range, const Output &output) {
    for (int f = 0; f < fours; ++f) {
        bands[f].advance<l>();
        if (l < range.first) continue;
        output.ofFour(f).template band<l>(bands[f]);
        if (l == range.last) output.ofFour(f).template end<l>(bands[f]);
    }
    if (l == range.last) return;
    if constexpr (l < highest) storeBandsFrom<l + 1, highest>(bands, fours, range, output);
}

void storeBands(Float8 x, Float8 y, Float8 z, int32_t count, BandRange range, BasisGroup &basis) {
    Bands bands[2] = {bandsAt(low(x), low(y), low(z)), bandsAt(high(x), high(y), high(z))};
    storeBandsFrom<0, allBands>(bands, count > 4 ? 2 : 1, range, ToRows{basis.values[0], range.first});
}

} // namespace

void evaluateDirect(Float8 x, Float8 y, Float8 z, int32_t count, uint32_t order, BasisGroup &basis) {
    storeBands(x, y, z, count, {0, static_cast<int>(order)}, basis);
}

void evaluateDirectBand(Float8 x, Float8 y, Float8 z, int32_t count, uint32_t band, BasisGroup &basis) {
    storeBands(x, y, z, count, {static_cast<int>(band), static_cast<int>(band)}, basis);
}

void evaluateDirectBlocks(const float *x, const float *y, const float *z, uint32_t order, float *blocks, const float *ahead) {
    const auto fourFrom = [&](int i) { return bandsAt(load<4>(x + i), load<4>(y + i), load<4>(z + i)); };
    const int last = static_cast<int>(order);
    const ToBlocks output{blocks, ahead, functionCount(order)};
    if (last <= lowBands) {
        for (int f = 0; f < directPoints / 4; ++f) {
            Bands bands[1] = {fourFrom(4 * f)};
            storeBandsFrom<0, lowBands>(bands, 1, {0, last}, output.ofFour(f));
        }
    } else {
        static_assert(directPoints == 16);
        Bands bands[4] = {fourFrom(0), fourFrom(4), fourFrom(8), fourFrom(12)};
        storeBandsFrom<0, allBands>(bands, 4, {0, last}, output);
    }
}

} // namespace zypr::harmonics
