// Where rays meet the planes of triangles, in lanes: several rays and one triangle, or one ray and several triangles.
#pragma once

#include "rays/triple.h"
#include "simd/vector.h"
#include "zypr.h"

namespace zypr {

// Accelerator records in lanes, or one in all of them.
template <int N> struct TriangleLanes {
    Ints<N> axes;
    Floats<N> planeP, originC, planeQ, originP, originQ, edgeBP, edgeBQ, edgeAP, edgeAQ;
};

template <int N> TriangleLanes<N> inAllLanes(const ZyprTriangleAccel &a) {
    return {broadcast<N>(static_cast<int32_t>(a.axes)),
            broadcast<N>(a.planeP),
            broadcast<N>(a.originC),
            broadcast<N>(a.planeQ),
            broadcast<N>(a.originP),
            broadcast<N>(a.originQ),
            broadcast<N>(a.edgeBP),
            broadcast<N>(a.edgeBQ),
            broadcast<N>(a.edgeAP),
            broadcast<N>(a.edgeAQ)};
}

// The records of eight triangles.
[[gnu::always_inline]] inline TriangleLanes<8> inLanes(const ZyprTriangleAccel *const (&records)[8]) {
    const auto fourWords = [&](int word, int i) { // of record i, and of i + 4 in the upper half
        const auto row = [&](int record) { return load<4>(reinterpret_cast<const float *>(records[record]) + word); };
        return joined(row(i), row(i + 4));
    };
    Float8 low01[3], high01[3], low23[3], high23[3]; // words 0 to 3, 4 to 7 and 6 to 9, of every other record
    for (int i = 0; i < 3; ++i) {
        const int word = i < 2 ? 4 * i : 6;
        const Float8 row0 = fourWords(word, 0), row1 = fourWords(word, 1);
        const Float8 row2 = fourWords(word, 2), row3 = fourWords(word, 3);
        low01[i] = unpackedLow(row0, row1);
        high01[i] = unpackedHigh(row0, row1);
        low23[i] = unpackedLow(row2, row3);
        high23[i] = unpackedHigh(row2, row3);
    }
    return {bitsOf(lowPairs(low01[0], low23[0])), highPairs(low01[0], low23[0]),   lowPairs(high01[0], high23[0]),
            highPairs(high01[0], high23[0]),      lowPairs(low01[1], low23[1]),    highPairs(low01[1], low23[1]),
            lowPairs(high01[1], high23[1]),       highPairs(high01[1], high23[1]), lowPairs(high01[2], high23[2]),
            highPairs(high01[2], high23[2])};
}

// A vector's components along the axes of a triangle.
template <int N> struct AlongAxes { Floats<N> c, p, q; };

// All scaled by den: the distances and the weights of P0 and P1.
template <int N> struct Meetings {
    Floats<N> den, num, u0, u1;
    Mask<N> inside;

    Meetings() = default;
    // d is the direction; e leads from the origin to P2.
    [[gnu::always_inline]] Meetings(const TriangleLanes<N> &k, AlongAxes<N> d, AlongAxes<N> e) {
        den = fused(k.planeQ, d.q, fused(k.planeP, d.p, d.c));
        num = fused(k.planeP, e.p, fused(k.planeQ, e.q, e.c));
        const Floats<N> gq = fusedDifference(num, d.q, e.q * den);
        const Floats<N> gp = fusedDifference(num, d.p, e.p * den);
        u0 = fusedDifference(k.edgeBQ, gp, gq * k.edgeBP);
        u1 = fusedDifference(k.edgeAP, gq, gp * k.edgeAQ);
        const Floats<N> w = den - u0 - u1;
        const Floats<N> zero = broadcast<N>(0.0f);
        inside = ~((w * u0 < zero) | (w * u1 < zero) | (u0 * u1 < zero)); // a NaN counts as inside
    }

    // Only lanes inside have one; the rest hold 0.
    Floats<N> reciprocalOfDen() const { return keep(inside, reciprocalEstimate(den)); }
};

} // namespace zypr
