// The polynomials of the direct evaluator, derived at compile time. The real spherical harmonic of band l and -l <= m <= l is
//
//     Y(l, m) = (-1)^|m| s K(l, |m|) D(l, |m|)(z) T(m)(x, y)
//
// with K(l, k) = sqrt((2 l + 1) / 4 pi (l - k)! / (l + k)!), s = 1 for m = 0 and sqrt(2) otherwise, D(l, k) the k-th derivative
// of the Legendre polynomial of degree l, and T(m) the real (m >= 0) or imaginary (m < 0) part of (x + i y)^|m|. The sign is
// the Condon-Shortley phase. Everything that depends on l and |m| alone becomes one polynomial in z.
#pragma once

namespace zypr::harmonics {

constexpr long double pi = 3.141592653589793238462643383279502884L;

constexpr long double factorial(int n) {
    long double product = 1;
    for (int i = 2; i <= n; ++i) product *= i;
    return product;
}

constexpr long double constantSquareRoot(long double a) {
    // Newton's steps come down to the root from above, until rounding stops them.
    long double root = a > 1 ? a : 1;
    for (;;) {
        const long double next = (root + a / root) / 2;
        if (next >= root) return root;
        root = next;
    }
}

// K(l, k).
constexpr long double normalization(int l, int k) {
    return constantSquareRoot((2 * l + 1) / (4 * pi) * factorial(l - k) / factorial(l + k));
}

// The coefficient of z^n in D(l, k), for n + l + k even. By Rodrigues' formula the Legendre polynomial is the l-th derivative
// of (z^2 - 1)^l / (2^l l!), so D(l, k) is the (l + k)-th; z^(2 i) of that power stands with (-1)^(l - i) binomial(l, i).
constexpr long double legendreDerivativeCoefficient(int l, int k, int n) {
    const int i = (n + l + k) / 2;
    const long double binomial = factorial(l) / (factorial(i) * factorial(l - i));
    const long double sign = (l - i) % 2 == 0 ? 1 : -1;
    return sign * binomial * factorial(2 * i) / factorial(n) / (factorial(l) * static_cast<long double>(1 << l));
}

// (-1)^k s K(l, k) D(l, k)(z), as a polynomial in z^2 that is multiplied by z where l - k is odd.
struct ZonalPolynomial {
    bool odd;
    int degree; // in z^2
    double coefficient[8];
};

constexpr ZonalPolynomial zonalPolynomial(int l, int k) {
    ZonalPolynomial polynomial{(l - k) % 2 != 0, (l - k) / 2, {}};
    const long double phase = k % 2 == 0 ? 1 : -1;
    const long double scale = phase * (k == 0 ? 1 : constantSquareRoot(2)) * normalization(l, k);
    for (int i = 0; i <= polynomial.degree; ++i) {
        const int n = 2 * i + (polynomial.odd ? 1 : 0);
        polynomial.coefficient[i] = static_cast<double>(scale * legendreDerivativeCoefficient(l, k, n));
    }
    return polynomial;
}

} // namespace zypr::harmonics
