// The recurrence evaluator: from band to band with the two tables of the state, in single precision. Unrolled over (l, m), so
// that every row of the group and every entry of the tables has a fixed place.

#include <utility>

#include "harmonics/basis.h"

namespace zypr::harmonics {
namespace {

struct Recurrence {
    Float8 x, y, z;
    const float *tableA, *tableB;
    BasisGroup &basis;

    template <int l, int m> [[gnu::always_inline]] float *row() const { return basis.values[l * l + l + m]; }
    template <int l, int m> [[gnu::always_inline]] Float8 value() const { return load<8>(row<l, m>()); }
    template <int l, int m> [[gnu::always_inline]] Float8 a() const { return broadcast<8>(tableA[l * (l + 1) / 2 + m]); }
    template <int l, int m> [[gnu::always_inline]] Float8 b() const { return broadcast<8>(tableB[l * (l + 1) / 2 + m]); }

    template <int l, int m> [[gnu::always_inline]] void pair() const {
        const Float8 za = z * a<l, m>(), bm = b<l, m>();
        store(row<l, m>(), fused(za, value<l - 1, m>(), bm * value<l - 2, m>()));
        if constexpr (m > 0) store(row<l, -m>(), fused(za, value<l - 1, -m>(), bm * value<l - 2, -m>()));
    }
    template <int l, int... m> [[gnu::always_inline]] void pairs(std::integer_sequence<int, m...>) const {
        (pair<l, m>(), ...);
    }

    // Band l from the two bands before it.
    template <int l> [[gnu::always_inline]] void band() const {
        const Float8 top = value<l - 1, l - 1>(), bottom = value<l - 1, 1 - l>();
        store(row<l, l>(), fusedDifference(x, top, y * bottom) * a<l, l>());
        store(row<l, -l>(), fused(y, top, x * bottom) * a<l, l>());
        const Float8 besideDiagonal = z * a<l, l - 1>();
        store(row<l, l - 1>(), besideDiagonal * top);
        store(row<l, 1 - l>(), besideDiagonal * bottom);
        pairs<l>(std::make_integer_sequence<int, l - 1>{});
    }

    template <int l> [[gnu::always_inline]] void bandsFrom(int order) const {
        band<l>();
        if constexpr (l < static_cast<int>(highestOrder)) {
            if (order > l) bandsFrom<l + 1>(order);
        }
    }
};

} // namespace

void evaluateRecurrence(Float8 x, Float8 y, Float8 z, uint32_t order, const ZyprSHState &state, BasisGroup &basis) {
    const Recurrence step{x, y, z, state.tableA, state.tableB, basis};
    store(basis.values[0], broadcast<8>(step.tableA[0]));
    if (order == 0) return;
    store(basis.values[1], y * broadcast<8>(step.tableA[2]));
    store(basis.values[2], z * broadcast<8>(step.tableA[1]));
    store(basis.values[3], x * broadcast<8>(step.tableA[2]));
    if (order > 1) step.bandsFrom<2>(static_cast<int>(order));
}

} // namespace zypr::harmonics
