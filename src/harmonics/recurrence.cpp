// The recurrence evaluator: from band to band with the two tables of the state, in single precision.

#include "harmonics/basis.h"

namespace zypr::harmonics {

void evaluateRecurrence(const PointGroup &points, uint32_t order, const ZyprSHState &state, BasisGroup &basis,
                        LinesAhead ahead) {
    const Float8 x = points.x, y = points.y, z = points.z;
    store(basis.values[0], broadcast<8>(state.tableA[0]));
    if (order == 0) return;
    store(basis.values[1], y * broadcast<8>(state.tableA[2]));
    store(basis.values[2], z * broadcast<8>(state.tableA[1]));
    store(basis.values[3], x * broadcast<8>(state.tableA[2]));

    ahead.fetchForBand(1);

    // The bands l, l - 1 and l - 2, each addressed by m from its middle.
    auto *current = basis.values + 2, *previous = current, *beforePrevious = basis.values;
    const int32_t lastBand = static_cast<int32_t>(order);
    for (int32_t l = 2; l <= lastBand; ++l) {
        const float *a = state.tableA + l * (l + 1) / 2, *b = state.tableB + l * (l + 1) / 2;
        current = basis.values + l * l + l;

        const Float8 top = load<8>(previous[l - 1]), bottom = load<8>(previous[1 - l]);
        const Float8 diagonal = broadcast<8>(a[l]);
        store(current[l], fusedDifference(x, top, y * bottom) * diagonal);
        store(current[-l], fused(y, top, x * bottom) * diagonal);

        const Float8 besideDiagonal = z * broadcast<8>(a[l - 1]);
        store(current[l - 1], besideDiagonal * top);
        store(current[1 - l], besideDiagonal * bottom);

        const auto step = [&](Float8 za, Float8 bm, int32_t m) {
            store(current[m], fused(za, load<8>(previous[m]), bm * load<8>(beforePrevious[m])));
        };
        step(z * broadcast<8>(a[0]), broadcast<8>(b[0]), 0);
        for (int32_t m = 1; m <= l - 2; ++m) {
            const Float8 za = z * broadcast<8>(a[m]), bm = broadcast<8>(b[m]);
            step(za, bm, m);
            step(za, bm, -m);
        }
        ahead.fetchForBand(l);
        beforePrevious = previous;
        previous = current;
    }
}

} // namespace zypr::harmonics
