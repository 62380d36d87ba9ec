// The direct evaluator: every band as polynomials in double precision, four points at a time.

#include "harmonics/basis.h"
#include "harmonics/direct_bands.h"

namespace zypr::harmonics {
namespace {

DirectPoint<Double4> directPoint(Float4 x, Float4 y, Float4 z) {
    return {widened(x), widened(y), widened(z), widened(x * x), widened(y * y), widened(z * z)};
}

// Where one half of a group takes a band's values.
struct HalfRows {
    float *middle; // in the row of function (l, 0)

    [[gnu::always_inline]] void operator()(int m, Double4 value) const { store(middle + m * groupSize, narrowed(value)); }
};

// A group as two halves. Each band's code runs for both before the next band's: it stays decoded that way.
struct Halves {
    DirectBands<Double4> half[2];
    int32_t used;

    Halves(Float8 x, Float8 y, Float8 z, int32_t points)
        : half{DirectBands<Double4>(directPoint(low(x), low(y), low(z))),
               DirectBands<Double4>(directPoint(high(x), high(y), high(z)))},
          used(points > 4 ? 2 : 1) {}
};

struct BandRange {
    int first, last;
};

// Bands l and above, of which those of the range are stored. Its first function goes to row 0. A band alone goes this way too,
// so that the polynomials are compiled once.
template <int l>
[[gnu::always_inline]] inline void storeBandsFrom(Halves &halves, BandRange range, BasisGroup &basis, LinesAhead &ahead) {
    if (l >= range.first) {
        ahead.fetchForBand(l);
        float *middle = basis.values[l * l + l - range.first * range.first];
        for (int32_t h = 0; h < halves.used; ++h) {
            halves.half[h].advance<l>();
            halves.half[h].values<l>(HalfRows{middle + 4 * h});
        }
        if (l == range.last) return;
    } else {
        for (int32_t h = 0; h < halves.used; ++h) halves.half[h].advance<l>();
    }
    if constexpr (l < static_cast<int>(highestOrder)) storeBandsFrom<l + 1>(halves, range, basis, ahead);
}

void storeBands(Float8 x, Float8 y, Float8 z, int32_t count, BandRange range, BasisGroup &basis, LinesAhead ahead) {
    Halves halves(x, y, z, count);
    storeBandsFrom<0>(halves, range, basis, ahead);
}

} // namespace

void evaluateDirect(Float8 x, Float8 y, Float8 z, int32_t count, uint32_t order, BasisGroup &basis, LinesAhead ahead) {
    storeBands(x, y, z, count, {0, static_cast<int>(order)}, basis, ahead);
}

void evaluateDirectBand(Float8 x, Float8 y, Float8 z, int32_t count, uint32_t band, BasisGroup &basis) {
    storeBands(x, y, z, count, {static_cast<int>(band), static_cast<int>(band)}, basis, {});
}

} // namespace zypr::harmonics
