// Where remap and warp read: source coordinates for eight destination voxels at a time, loaded from maps (floats) or stepped
// along a row (doubles).
#pragma once

#include "simd/groups.h"
#include "simd/vector.h"

namespace zypr::sampling {

// The inclusive bounds of the source region along one axis.
struct AxisBounds {
    int32_t low, high;
};

// Only bounds above 2^24, which floats don't hold exactly, let a position pass that leaves them.
inline Int8 clampedTo(AxisBounds bounds, Int8 a) {
    return {reinterpret_cast<int8Register>(
        _mm256_max_epi32(_mm256_set1_epi32(bounds.low), _mm256_min_epi32(raw(a), _mm256_set1_epi32(bounds.high))))};
}

// What counts: positions from low to high, both included. And the part of it where all taps lie side by side: from the inner
// low up, below the inner high.
struct Bounds {
    AxisBounds x, y, z;
    AxisBounds innerX, innerY, innerZ;
};

// Eight positions as integers and as floats.
struct EightPlaces {
    Int8 x, y, z;
    Float8 positionX, positionY, positionZ;

    void clampTo(const Bounds &bounds) {
        x = clampedTo(bounds.x, x);
        y = clampedTo(bounds.y, y);
        z = clampedTo(bounds.z, z);
    }

    // Gives the other lanes the place of the first of these, so that all eight may be read.
    void repeatFirst(Mask8 lanes) {
        const Int8 first = broadcast<8>(__builtin_ctz(signBits(lanes)));
        const __m256i source = raw(select(lanes, laneNumbers<8>(), first));
        const auto repeat = [&](Int8 &a) { a = {reinterpret_cast<int8Register>(_mm256_permutevar8x32_epi32(raw(a), source))}; };
        const auto repeatFloats = [&](Float8 &a) { a = {_mm256_permutevar8x32_ps(a.v, source)}; };
        repeat(x), repeat(y), repeat(z);
        repeatFloats(positionX), repeatFloats(positionY), repeatFloats(positionZ);
    }
};

// Which of eight positions count, and which of them are inner ones. NaN is neither.
struct Gate {
    Mask8 counting, inner;
};

// ---- From maps ----------------------------------------------------------------------------------------------------------

struct MappedPositions {
    Float8 x, y, z;

    bool allInner(const Bounds &bounds) const { return all(inner(bounds)); }
    bool allOutside(const Bounds &bounds) const { return none(counting(bounds)); }
    Gate gate(const Bounds &bounds) const { return {counting(bounds), inner(bounds)}; }
    EightPlaces nearest() const { return {roundedToNearest(x), roundedToNearest(y), roundedToNearest(z), x, y, z}; }
    EightPlaces truncated() const { return {zypr::truncated(x), zypr::truncated(y), zypr::truncated(z), x, y, z}; }

private:
    static Float8 floatOf(int32_t a) { return broadcast<8>(static_cast<float>(a)); }
    Mask8 counting(const Bounds &bounds) const {
        const auto counts = [](Float8 a, AxisBounds b) { return (a >= floatOf(b.low)) & (a <= floatOf(b.high)); };
        return counts(x, bounds.x) & counts(y, bounds.y) & counts(z, bounds.z);
    }
    Mask8 inner(const Bounds &bounds) const {
        const auto lies = [](Float8 a, AxisBounds b) { return (a >= floatOf(b.low)) & (a < floatOf(b.high)); };
        return lies(x, bounds.innerX) & lies(y, bounds.innerY) & lies(z, bounds.innerZ);
    }
};

// One row of the three maps. Rows may lie at any address.
struct MapRows {
    const float *x, *y, *z;
};

// The positions of one destination row, from three maps; and about where a row is read that comes later.
class MappedRow {
public:
    MappedRow(MapRows here, MapRows ahead) : here_(here), ahead_(ahead) {}

    template <class Lanes> MappedPositions next(ptrdiff_t i, Lanes lanes) const {
        constexpr ptrdiff_t line = 16, soon = 8 * line;
        if (i % line == 0) { // ahead() is not to wait for its maps
            prefetch(ahead_.x + i + soon);
            prefetch(ahead_.y + i + soon);
            prefetch(ahead_.z + i + soon);
        }
        return {lanes.load(here_.x + i), lanes.load(here_.y + i), lanes.load(here_.z + i)};
    }
    Int4 ahead(ptrdiff_t i) const {
        const auto at = [i](const float *row) {
            float value;
            std::memcpy(&value, row + i, sizeof value);
            return value;
        };
        return truncated(Float4{_mm_setr_ps(at(ahead_.x), at(ahead_.y), at(ahead_.z), 0.0f)});
    }

private:
    MapRows here_, ahead_;
};

// ---- By steps -----------------------------------------------------------------------------------------------------------

// Lanes x, y, z; the last has no meaning. Each is the one before plus a step, so the first and the last tell of all.
struct SteppedPositions {
    Double4 at[8];

    bool allInner(const Bounds &b) const {
        const __m256d low = _mm256_setr_pd(b.innerX.low, b.innerY.low, b.innerZ.low, -1.0);
        const __m256d high = _mm256_setr_pd(b.innerX.high, b.innerY.high, b.innerZ.high, 1.0);
        const auto lies = [&](Double4 a) {
            return _mm256_and_pd(_mm256_cmp_pd(a.v, low, _CMP_GE_OQ), _mm256_cmp_pd(a.v, high, _CMP_LT_OQ));
        };
        return _mm256_movemask_pd(_mm256_and_pd(lies(at[0]), lies(at[7]))) == 15;
    }
    bool allOutside(const Bounds &b) const {
        const __m256d low = _mm256_setr_pd(b.x.low, b.y.low, b.z.low, 0.0);
        const __m256d high = _mm256_setr_pd(b.x.high, b.y.high, b.z.high, 0.0);
        const auto areBoth = [&](__m256d first, __m256d second) {
            return _mm256_movemask_pd(_mm256_and_pd(first, second)) != 0;
        };
        return areBoth(_mm256_cmp_pd(at[0].v, low, _CMP_LT_OQ), _mm256_cmp_pd(at[7].v, low, _CMP_LT_OQ)) ||
               areBoth(_mm256_cmp_pd(at[0].v, high, _CMP_GT_OQ), _mm256_cmp_pd(at[7].v, high, _CMP_GT_OQ));
    }
    Gate gate(const Bounds &b) const {
        const Axes a = axes();
        return {counting(a.x, b.x) & counting(a.y, b.y) & counting(a.z, b.z),
                inner(a.x, b.innerX) & inner(a.y, b.innerY) & inner(a.z, b.innerZ)};
    }
    EightPlaces nearest() const {
        const auto integers = [](const Axis &a) {
            return joinedInts(_mm256_cvtpd_epi32(a.low.v), _mm256_cvtpd_epi32(a.high.v));
        };
        const Axes a = axes();
        const Float8 unused = broadcast<8>(0.0f);
        return {integers(a.x), integers(a.y), integers(a.z), unused, unused, unused};
    }
    EightPlaces truncated() const {
        const auto integers = [](const Axis &a) {
            return joinedInts(_mm256_cvttpd_epi32(a.low.v), _mm256_cvttpd_epi32(a.high.v));
        };
        const auto floats = [](const Axis &a) { return joined(narrowed(a.low), narrowed(a.high)); };
        const Axes a = axes();
        return {integers(a.x), integers(a.y), integers(a.z), floats(a.x), floats(a.y), floats(a.z)};
    }

private:
    struct Axis {
        Double4 low, high;
    };
    struct Axes {
        Axis x, y, z;
    };
    Axes axes() const {
        Axes all;
        const auto four = [&](int first, Double4 &x, Double4 &y, Double4 &z) {
            const __m256d a = at[first].v, b = at[first + 1].v, c = at[first + 2].v, d = at[first + 3].v;
            const __m256d xz01 = _mm256_unpacklo_pd(a, b), y01 = _mm256_unpackhi_pd(a, b); // x0 x1 z0 z1; y0 y1 . .
            const __m256d xz23 = _mm256_unpacklo_pd(c, d), y23 = _mm256_unpackhi_pd(c, d);
            x.v = _mm256_permute2f128_pd(xz01, xz23, 0x20);
            z.v = _mm256_permute2f128_pd(xz01, xz23, 0x31);
            y.v = _mm256_permute2f128_pd(y01, y23, 0x20);
        };
        four(0, all.x.low, all.y.low, all.z.low);
        four(4, all.x.high, all.y.high, all.z.high);
        return all;
    }
    static Int8 joinedInts(__m128i lowHalf, __m128i highHalf) {
        return {reinterpret_cast<int8Register>(_mm256_set_m128i(highHalf, lowHalf))};
    }
    // The even words of both, put in order, are the lanes' masks.
    static Mask8 joinedMasks(__m256d lowHalf, __m256d highHalf) {
        const __m256 words = _mm256_shuffle_ps(_mm256_castpd_ps(lowHalf), _mm256_castpd_ps(highHalf), _MM_SHUFFLE(2, 0, 2, 0));
        const __m256d ordered = _mm256_permute4x64_pd(_mm256_castps_pd(words), _MM_SHUFFLE(3, 1, 2, 0));
        return maskOf(bitsOf(Float8{_mm256_castpd_ps(ordered)}));
    }
    static Mask8 counting(const Axis &axis, AxisBounds bounds) {
        const __m256d least = _mm256_set1_pd(bounds.low), most = _mm256_set1_pd(bounds.high);
        const auto test = [&](Double4 a) {
            return _mm256_and_pd(_mm256_cmp_pd(a.v, least, _CMP_GE_OQ), _mm256_cmp_pd(a.v, most, _CMP_LE_OQ));
        };
        return joinedMasks(test(axis.low), test(axis.high));
    }
    static Mask8 inner(const Axis &axis, AxisBounds bounds) {
        const __m256d least = _mm256_set1_pd(bounds.low), most = _mm256_set1_pd(bounds.high);
        const auto test = [&](Double4 a) {
            return _mm256_and_pd(_mm256_cmp_pd(a.v, least, _CMP_GE_OQ), _mm256_cmp_pd(a.v, most, _CMP_LT_OQ));
        };
        return joinedMasks(test(axis.low), test(axis.high));
    }
};

// The same under an affine transform: each position is the one before plus the step, rounded.
class SteppedRow {
public:
    SteppedRow(Double4 start, Double4 step, Double4 toRowAhead) : position_(start), step_(step), toRowAhead_(toRowAhead) {}

    template <class Lanes> SteppedPositions next(ptrdiff_t, Lanes) {
        SteppedPositions positions;
        for (Double4 &at : positions.at) {
            at = position_;
            position_ = position_ + step_;
        }
        return positions;
    }
    Int4 ahead(ptrdiff_t) const { return {reinterpret_cast<int4Register>(_mm256_cvttpd_epi32((position_ + toRowAhead_).v))}; }

private:
    Double4 position_, step_, toRowAhead_;
};

} // namespace zypr::sampling
