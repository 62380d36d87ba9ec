// The direct evaluator's arithmetic, in double precision and unrolled over (l, m), for one point (Real = double) or one point
// per lane (Real = Double4).
//
// Where x^2, y^2 or z^2 stands in a polynomial it is the square rounded to single precision; x, y, z and x y are exact.
#pragma once

#include <utility>

#include "harmonics/direct_rule.h"
#include "simd/vector.h"

namespace zypr::harmonics {

template <class Real> Real constant(double a) {
    if constexpr (sizeof(Real) == sizeof(double))
        return a;
    else
        return broadcastDouble(a);
}

template <class Real> struct DirectPoint {
    Real x, y, z;
    Real xx, yy, zz; // the squares in single precision
};

template <class Real> class DirectBands {
public:
    explicit DirectBands(const DirectPoint<Real> &point) : p(point), xy(point.x * point.y) {}

    // Bands must be advanced to one after the other, from 0 on.
    template <int l> [[gnu::always_inline]] void advance() {
        if constexpr (l == 0) return;
        if constexpr (l > 1) {
            cosineTimesZ[l - 1] = cosine[l - 1] * p.z;
            sineTimesZ[l - 1] = sine[l - 1] * p.z;
        }
        if constexpr (l == 1) {
            cosine[1] = p.x;
            sine[1] = p.y;
        } else if constexpr (l == 2) {
            re = p.xx - p.yy;
            im = constant<Real>(2);
            cosine[2] = re;
            sine[2] = xy * im;
        } else if constexpr (l % 2 == 0) {
            const Real sum = re + im;
            re = fusedDifference(p.xx, re, p.yy * im);
            im = sum;
            cosine[l] = re;
            sine[l] = xy * im;
        } else {
            const Real difference = fusedSubtract(p.yy, im, re);
            im = fused(p.xx, im, re);
            re = difference;
            cosine[l] = p.x * re;
            sine[l] = p.y * im;
        }
    }

    // Y(l, m), of the band reached. Functions of equal |m| have a factor in common, which compilers form once where they are
    // near to each other.
    template <int l, int m> [[gnu::always_inline]] Real function() const {
        constexpr bool odd = (l + m) % 2 != 0;
        if constexpr (m == 0)
            return odd ? zonal<l, 0>() * p.z : zonal<l, 0>();
        else if constexpr (m > 0)
            return zonal<l, m>() * (odd ? cosineTimesZ : cosine)[m];
        else
            return zonal<l, -m>() * (odd ? sineTimesZ : sine)[-m];
    }

private:
    // The polynomial in z^2.
    template <int l, int k> [[gnu::always_inline]] Real zonal() const {
        static constexpr ZonalPolynomial polynomial = zonalPolynomial(l, k);
        Real value = constant<Real>(polynomial.coefficient[polynomial.degree]);
        for (int i = polynomial.degree - 1; i >= 0; --i) value = fused(value, p.zz, constant<Real>(polynomial.coefficient[i]));
        return value;
    }

    DirectPoint<Real> p;
    Real xy;
    // T(m) and T(-m). With the squares kept apart, the powers of x + i y have the parts re and x y im for even m, x re and y im
    // for odd m.
    Real re, im;
    Real cosine[16], sine[16];
    Real cosineTimesZ[16], sineTimesZ[16]; // of the bands before
};

} // namespace zypr::harmonics
