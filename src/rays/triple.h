// Three coordinates of several points or vectors at once, and the orders in which dot products are summed.
#pragma once

#include "simd/groups.h"
#include "simd/vector.h"

namespace zypr {

template <class T> struct Triple { T x, y, z; };

template <class T> Triple<T> operator-(Triple<T> a, Triple<T> b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }

// The y product is rounded; x and then z are fused onto it.
template <class T> T dotFromY(Triple<T> a, Triple<T> b) { return fused(a.z, b.z, fused(a.x, b.x, a.y * b.y)); }
// The z product is rounded; y and then x are fused onto it.
template <class T> T dotFromZ(Triple<T> a, Triple<T> b) { return fused(a.x, b.x, fused(a.y, b.y, a.z * b.z)); }

inline Triple<Float8> keep(Mask8 m, Triple<Float8> a) { return {keep(m, a.x), keep(m, a.y), keep(m, a.z)}; }

// ---- Plane triples ------------------------------------------------------------------------------------------------------

template <class Lanes> Triple<Float8> load(const float *const planes[3], ptrdiff_t first, Lanes lanes) {
    return {lanes.load(planes[0] + first), lanes.load(planes[1] + first), lanes.load(planes[2] + first)};
}
template <class Lanes> void store(float *const planes[3], ptrdiff_t first, Lanes lanes, Triple<Float8> a) {
    lanes.store(planes[0] + first, a.x);
    lanes.store(planes[1] + first, a.y);
    lanes.store(planes[2] + first, a.z);
}

// ---- Packed triples -----------------------------------------------------------------------------------------------------

// Columns of the 4 x 4 matrix, or of the two side by side, whose rows begin with x, y, z.
template <int N> Triple<Floats<N>> transposed(Floats<N> row0, Floats<N> row1, Floats<N> row2, Floats<N> row3) {
    Floats<N> rows[4] = {row0, row1, row2, row3};
    transpose(rows);
    return {rows[0], rows[1], rows[2]};
}

// The packed triples at the given addresses, one per lane. Nothing beyond their three floats is read.
inline Triple<Float4> gathered(const float *const (&points)[4]) {
    const Mask4 three = firstLanes<4>(3);
    return transposed(load(points[0], three), load(points[1], three), load(points[2], three), load(points[3], three));
}
inline Triple<Float8> gathered(const float *const (&points)[8]) {
    const Mask4 three = firstLanes<4>(3);
    const auto rows = [&](int lane) { return joined(load(points[lane], three), load(points[lane + 4], three)); };
    return transposed(rows(0), rows(1), rows(2), rows(3));
}

// Writes four packed triples.
inline void storePacked(float *p, Triple<Float4> a) {
    const __m128 xxyy = _mm_shuffle_ps(a.x.v, a.y.v, _MM_SHUFFLE(2, 0, 2, 0)); // x0 x2 y0 y2
    const __m128 yyzz = _mm_shuffle_ps(a.y.v, a.z.v, _MM_SHUFFLE(3, 1, 3, 1)); // y1 y3 z1 z3
    const __m128 zzxx = _mm_shuffle_ps(a.z.v, a.x.v, _MM_SHUFFLE(3, 1, 2, 0)); // z0 z2 x1 x3
    _mm_storeu_ps(p, _mm_shuffle_ps(xxyy, zzxx, _MM_SHUFFLE(2, 0, 2, 0)));
    _mm_storeu_ps(p + 4, _mm_shuffle_ps(yyzz, xxyy, _MM_SHUFFLE(3, 1, 2, 0)));
    _mm_storeu_ps(p + 8, _mm_shuffle_ps(zzxx, yyzz, _MM_SHUFFLE(3, 1, 3, 1)));
}

} // namespace zypr
