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

// Calls evaluateFour(bands, output) for each half of the group that holds points.
template <class EvaluateFour>
void evaluateHalves(const PointGroup &points, BasisGroup &basis, const EvaluateFour &evaluateFour) {
    for (int32_t first = 0; first < points.count; first += 4) {
        DirectBands<Double4> bands(first == 0 ? directPoint(low(points.x), low(points.y), low(points.z))
                                              : directPoint(high(points.x), high(points.y), high(points.z)));
        evaluateFour(bands, HalfGroup{&basis.values[0][first]});
    }
}

using BandEvaluator = void(const PointGroup &, BasisGroup &);

template <int l> void evaluateBand(const PointGroup &points, BasisGroup &basis) {
    evaluateHalves(points, basis, [](auto &bands, const auto &output) { bands.template band<l>(output); });
}

template <int... l> BandEvaluator *bandEvaluator(uint32_t band, std::integer_sequence<int, l...>) {
    static constexpr BandEvaluator *evaluators[] = {evaluateBand<l>...};
    return evaluators[band];
}

} // namespace

void evaluateDirect(const PointGroup &points, uint32_t order, BasisGroup &basis) {
    evaluateHalves(points, basis, [&](auto &bands, const auto &output) { bands.bands(static_cast<int>(order), output); });
}

void evaluateDirectBand(const PointGroup &points, uint32_t band, BasisGroup &basis) {
    bandEvaluator(band, std::make_integer_sequence<int, highestOrder + 1>{})(points, basis);
}

} // namespace zypr::harmonics
