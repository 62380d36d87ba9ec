// The direct evaluator: every band as polynomials in double precision, four points at a time.

#include "harmonics/basis.h"
#include "harmonics/direct_bands.h"

namespace zypr::harmonics {
namespace {

DirectPoint<Double4> directPoint(Float4 x, Float4 y, Float4 z) {
    return {widened(x), widened(y), widened(z), widened(x * x), widened(y * y), widened(z * z)};
}

// Where one half of a group takes its values.
struct HalfGroup {
    float *values; // of function 0

    [[gnu::always_inline]] void operator()(int index, Double4 value) const {
        store(values + index * groupSize, narrowed(value));
    }
};

// The halves of a group. Each band's code runs for both before the next band's: it stays decoded that way.
struct Halves {
    DirectBands<Double4> bands[2];
    HalfGroup output[2];
    int32_t count;

    Halves(const PointGroup &points, BasisGroup &basis)
        : bands{DirectBands<Double4>(directPoint(low(points.x), low(points.y), low(points.z))),
                DirectBands<Double4>(directPoint(high(points.x), high(points.y), high(points.z)))},
          output{{&basis.values[0][0]}, {&basis.values[0][4]}}, count(points.count > 4 ? 2 : 1) {}

    template <int l> [[gnu::always_inline]] void advance() {
        for (int32_t h = 0; h < count; ++h) bands[h].advance<l>();
    }
    template <int l, int middle> [[gnu::always_inline]] void advanceAndEvaluate() {
        for (int32_t h = 0; h < count; ++h) {
            bands[h].advance<l>();
            bands[h].values<l, middle>(output[h]);
        }
    }
};

// Bands l to `order`.
template <int l> [[gnu::always_inline]] inline void evaluateBandsFrom(Halves &halves, int order, LinesAhead ahead) {
    ahead.fetchForBand(l);
    halves.advanceAndEvaluate<l, l * l + l>();
    if constexpr (l < static_cast<int>(highestOrder)) {
        if (order > l) evaluateBandsFrom<l + 1>(halves, order, ahead);
    }
}

template <int... m> [[gnu::always_inline]] inline void advanceThrough(Halves &halves, std::integer_sequence<int, m...>) {
    (halves.advance<m>(), ...);
}

template <int l> void evaluateBand(const PointGroup &points, BasisGroup &basis) {
    Halves halves(points, basis);
    advanceThrough(halves, std::make_integer_sequence<int, l>{});
    halves.advanceAndEvaluate<l, l>();
}

using BandEvaluator = void(const PointGroup &, BasisGroup &);

template <int... l> BandEvaluator *bandEvaluator(uint32_t band, std::integer_sequence<int, l...>) {
    static constexpr BandEvaluator *evaluators[] = {evaluateBand<l>...};
    return evaluators[band];
}

} // namespace

void evaluateDirect(const PointGroup &points, uint32_t order, BasisGroup &basis, LinesAhead ahead) {
    Halves halves(points, basis);
    evaluateBandsFrom<0>(halves, static_cast<int>(order), ahead);
}

void evaluateDirectBand(const PointGroup &points, uint32_t band, BasisGroup &basis) {
    bandEvaluator(band, std::make_integer_sequence<int, highestOrder + 1>{})(points, basis);
}

} // namespace zypr::harmonics
