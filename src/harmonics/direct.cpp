// The direct evaluator: every band as polynomials in double precision, four points at a time.

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

// Takes the bands of one half of a group to rows.
struct ToRows {
    float *rows;
    int first; // the band that goes to row 0

    [[gnu::always_inline]] ToRows ofHalf(int h) const { return {rows + 4 * h, first}; }

    template <int l> [[gnu::always_inline]] void band(const Bands &bands) const {
        functions<l>(bands, rows + (l * l + l - first * first) * groupSize, std::make_integer_sequence<int, l>{});
    }

private:
    template <int l, int... i>
    [[gnu::always_inline]] static void functions(const Bands &bands, float *middle, std::integer_sequence<int, i...>) {
        store(middle, narrowed(bands.function<l, 0>()));
        ((store(middle + (i + 1) * groupSize, narrowed(bands.function<l, i + 1>())),
          store(middle - (i + 1) * groupSize, narrowed(bands.function<l, -i - 1>()))),
         ...);
    }
};

// Takes them to blocks, four functions at a time.
struct ToBlocks {
    float *blocks;
    const float *ahead;
    int64_t width;

    [[gnu::always_inline]] ToBlocks ofHalf(int h) const { return {blocks + 4 * h * width, ahead + 4 * h * width, width}; }

    template <int l> [[gnu::always_inline]] void band(const Bands &bands) const {
        if constexpr (l == 1) { // with band 0
            storeFour<0>(narrowed(bands.function<0, 0>()), narrowed(bands.function<1, -1>()), narrowed(bands.function<1, 0>()),
                         narrowed(bands.function<1, 1>()));
        } else if constexpr (l > 1) {
            sides<l>(bands, std::make_integer_sequence<int, l / 4>{});
            // Fours overlap where their number doesn't divide.
            constexpr int rest = l % 4;
            if constexpr (rest == 0) four<l, 0>(bands);
            if constexpr (rest == 1) four<l, -1>(bands);
            if constexpr (rest >= 2) {
                four<l, -rest>(bands);
                four<l, rest - 3>(bands);
            }
        }
    }

private:
    // From the ends of the band inwards, a four of each sign in turn.
    template <int l, int... i> [[gnu::always_inline]] void sides(const Bands &bands, std::integer_sequence<int, i...>) const {
        if constexpr (l >= 4) ((four<l, l - 4 * i - 3>(bands), four<l, 4 * i - l>(bands)), ...);
    }
    // Functions (l, m) to (l, m + 3).
    template <int l, int m> [[gnu::always_inline]] void four(const Bands &bands) const {
        storeFour<l * l + l + m>(narrowed(bands.function<l, m>()), narrowed(bands.function<l, m + 1>()),
                                 narrowed(bands.function<l, m + 2>()), narrowed(bands.function<l, m + 3>()));
    }
    template <int index> [[gnu::always_inline]] void storeFour(Float4 a, Float4 b, Float4 c, Float4 d) const {
        prefetch(ahead + 4 * index);
        const __m128d abLow = _mm_castps_pd(_mm_unpacklo_ps(a.v, b.v)), abHigh = _mm_castps_pd(_mm_unpackhi_ps(a.v, b.v));
        const __m128d cdLow = _mm_castps_pd(_mm_unpacklo_ps(c.v, d.v)), cdHigh = _mm_castps_pd(_mm_unpackhi_ps(c.v, d.v));
        store(blocks + index, Float4{_mm_castpd_ps(_mm_unpacklo_pd(abLow, cdLow))});
        store(blocks + width + index, Float4{_mm_castpd_ps(_mm_unpackhi_pd(abLow, cdLow))});
        store(blocks + 2 * width + index, Float4{_mm_castpd_ps(_mm_unpacklo_pd(abHigh, cdHigh))});
        store(blocks + 3 * width + index, Float4{_mm_castpd_ps(_mm_unpackhi_pd(abHigh, cdHigh))});
    }
};

// A group as two halves. Each band's code runs for both before the next band's: it stays decoded that way.
struct Halves {
    Bands half[2];
    int used;

    Halves(Float8 x, Float8 y, Float8 z, int32_t points)
        : half{bandsAt(low(x), low(y), low(z)), bandsAt(high(x), high(y), high(z))}, used(points > 4 ? 2 : 1) {}
};

// Bands l and above, of which those of the range are stored. A band alone goes this way too, so that the polynomials are
// compiled once for each kind of output.
template <int l, class Output>
[[gnu::always_inline]] inline void storeBandsFrom(Halves &halves, BandRange range, const Output &output) {
    if (l >= range.first) {
        for (int h = 0; h < halves.used; ++h) {
            halves.half[h].advance<l>();
            output.ofHalf(h).template band<l>(halves.half[h]);
        }
        if (l == range.last) return;
    } else {
        for (int h = 0; h < halves.used; ++h) halves.half[h].advance<l>();
    }
    if constexpr (l < static_cast<int>(highestOrder)) storeBandsFrom<l + 1>(halves, range, output);
}

void storeBands(Float8 x, Float8 y, Float8 z, int32_t count, BandRange range, BasisGroup &basis) {
    Halves halves(x, y, z, count);
    storeBandsFrom<0>(halves, range, ToRows{basis.values[0], range.first});
}

} // namespace

void evaluateDirect(Float8 x, Float8 y, Float8 z, int32_t count, uint32_t order, BasisGroup &basis) {
    storeBands(x, y, z, count, {0, static_cast<int>(order)}, basis);
}

void evaluateDirectBand(Float8 x, Float8 y, Float8 z, int32_t count, uint32_t band, BasisGroup &basis) {
    storeBands(x, y, z, count, {static_cast<int>(band), static_cast<int>(band)}, basis);
}

void evaluateDirectBlocks(Float8 x, Float8 y, Float8 z, uint32_t order, float *blocks, const float *ahead) {
    Halves halves(x, y, z, groupSize);
    storeBandsFrom<0>(halves, {0, static_cast<int>(order)}, ToBlocks{blocks, ahead, functionCount(order)});
}

} // namespace zypr::harmonics
