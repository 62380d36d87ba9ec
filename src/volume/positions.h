// Where remap and warp read: source coordinates for eight destination voxels at a time, loaded from maps (floats) or stepped
// along a row (doubles). The kernels are written over either.
#pragma once

#include "simd/vector.h"

namespace zypr::sampling {

// The inclusive bounds of the source region along one axis.
struct AxisBounds {
    int32_t low, high;
};

// Eight coordinates along one axis. `within` is false for NaN; the conversions to integers are meant for lanes that are within.
struct FloatCoordinates {
    Float8 v;
    Mask8 within(AxisBounds bounds) const {
        return (v >= broadcast<8>(static_cast<float>(bounds.low))) & (v <= broadcast<8>(static_cast<float>(bounds.high)));
    }
    Int8 truncated() const { return zypr::truncated(v); }
    Int8 nearest() const { return roundedToNearest(v); }
    Float8 asFloat() const { return v; }
};

struct DoubleCoordinates {
    Double4 low, high;
    Mask8 within(AxisBounds bounds) const {
        const __m256d least = _mm256_set1_pd(bounds.low), most = _mm256_set1_pd(bounds.high);
        const auto inside = [&](Double4 a) {
            return _mm256_and_pd(_mm256_cmp_pd(a.v, least, _CMP_GE_OQ), _mm256_cmp_pd(a.v, most, _CMP_LE_OQ));
        };
        // The even words of both, put in order, are the lanes' masks.
        const __m256 words =
            _mm256_shuffle_ps(_mm256_castpd_ps(inside(low)), _mm256_castpd_ps(inside(high)), _MM_SHUFFLE(2, 0, 2, 0));
        const __m256d ordered = _mm256_permute4x64_pd(_mm256_castps_pd(words), _MM_SHUFFLE(3, 1, 2, 0));
        return maskOf(bitsOf(Float8{_mm256_castpd_ps(ordered)}));
    }
    Int8 truncated() const { return joinedInts(_mm256_cvttpd_epi32(low.v), _mm256_cvttpd_epi32(high.v)); }
    Int8 nearest() const { return joinedInts(_mm256_cvtpd_epi32(low.v), _mm256_cvtpd_epi32(high.v)); }
    Float8 asFloat() const { return joined(narrowed(low), narrowed(high)); }

private:
    static Int8 joinedInts(__m128i lowHalf, __m128i highHalf) {
        return {reinterpret_cast<int8Register>(_mm256_set_m128i(highHalf, lowHalf))};
    }
};

template <class Coordinates> struct Positions { Coordinates x, y, z; };

// The positions of one destination row, from three maps. Rows may lie at any address.
class MappedRow {
public:
    MappedRow(const float *x, const float *y, const float *z) : x_(x), y_(y), z_(z) {}

    // The next eight; lanes outside the mask are not read.
    Positions<FloatCoordinates> next(Mask8 lanes) {
        const Positions<FloatCoordinates> positions = {{load(x_, lanes)}, {load(y_, lanes)}, {load(z_, lanes)}};
        x_ += 8, y_ += 8, z_ += 8;
        return positions;
    }

private:
    const float *x_, *y_, *z_;
};

// The positions of one destination row under an affine transform: each is the one before plus the step, rounded.
class SteppedRow {
public:
    // Lanes x, y, z; the last is not used.
    SteppedRow(Double4 start, Double4 step) : position_(start), step_(step) {}

    Positions<DoubleCoordinates> next(Mask8) {
        Positions<DoubleCoordinates> positions;
        nextFour(positions.x.low, positions.y.low, positions.z.low);
        nextFour(positions.x.high, positions.y.high, positions.z.high);
        return positions;
    }

private:
    void nextFour(Double4 &x, Double4 &y, Double4 &z) {
        const Double4 p0 = position_, p1 = p0 + step_, p2 = p1 + step_, p3 = p2 + step_;
        position_ = p3 + step_;
        const __m256d xz01 = _mm256_unpacklo_pd(p0.v, p1.v), y01 = _mm256_unpackhi_pd(p0.v, p1.v); // x0 x1 z0 z1; y0 y1 . .
        const __m256d xz23 = _mm256_unpacklo_pd(p2.v, p3.v), y23 = _mm256_unpackhi_pd(p2.v, p3.v);
        x.v = _mm256_permute2f128_pd(xz01, xz23, 0x20);
        z.v = _mm256_permute2f128_pd(xz01, xz23, 0x31);
        y.v = _mm256_permute2f128_pd(y01, y23, 0x20);
    }

    Double4 position_, step_;
};

} // namespace zypr::sampling
