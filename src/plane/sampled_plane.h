// A source plane of remap and warp, its samples one by one or by eights, and the way from results back to samples.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "plane/records.h"
#include "simd/vector.h"

namespace zypr::planes {

// ---- One sample ---------------------------------------------------------------------------------------------------------

template <class Sample> Sample loadSample(const Sample *row, int32_t x) {
    Sample sample;
    std::memcpy(&sample, row + x, sizeof sample);
    return sample;
}
template <class Sample> void storeSample(Sample *row, int32_t x, Sample sample) {
    std::memcpy(row + x, &sample, sizeof sample);
}

template <class Sample> struct SampledPlane {
    const Sample *base;
    int32_t rowStep;      // bytes
    int32_t lastX, lastY; // the plane's last column and row

    const Sample *row(int32_t y) const { return planeRow(base, rowStep, y); }
    Sample at(int32_t x, int32_t y) const { return loadSample(row(y), x); }
};

inline int32_t clamped(int32_t a, int32_t low, int32_t high) { return a < low ? low : a > high ? high : a; }

// Rounds to nearest, ties to even, and saturates; 32f is stored as computed.
template <class Sample> Sample converted(float value) {
    if constexpr (std::is_same_v<Sample, float>)
        return value;
    else
        return static_cast<Sample>(clamped(roundedToNearest(value), 0, std::numeric_limits<Sample>::max()));
}

// ---- Eight samples ------------------------------------------------------------------------------------------------------

// The same in every lane, or by itself.
template <class Value, class Scalar> Value constant(Scalar a) {
    if constexpr (std::is_same_v<Value, Scalar>)
        return a;
    else
        return broadcast<8>(a);
}

// at(0) to at(7), as floats or as integers.
template <class Value, class At> Value eightSamples(const At &at) {
    if constexpr (std::is_same_v<decltype(at(0)), float>) {
        return {_mm256_setr_ps(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7))};
    } else {
        const __m256i samples = _mm256_setr_epi32(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7));
        const Int8 integers = {reinterpret_cast<int8Register>(samples)};
        if constexpr (std::is_same_v<Value, Int8>)
            return integers;
        else
            return toFloat(integers);
    }
}

template <class Sample> void copyEight(const SampledPlane<Sample> &src, Int8 x, Int8 y, Sample *to) {
    for (int lane = 0; lane < 8; ++lane) storeSample(to, lane, src.at(x.v[lane], y.v[lane]));
}

inline Int8 clamped(Int8 a, int32_t low, int32_t high) {
    const __m256i raised = _mm256_max_epi32(raw(a), _mm256_set1_epi32(low));
    return {reinterpret_cast<int8Register>(_mm256_min_epi32(raised, _mm256_set1_epi32(high)))};
}

// Eight samples in a row, saturated.
template <class Sample> void storeEight(Sample *to, Int8 a) {
    const __m128i lowHalf = raw(low(a)), highHalf = raw(high(a));
    if constexpr (sizeof(Sample) == 2)
        _mm_storeu_si128(reinterpret_cast<__m128i *>(to), _mm_packus_epi32(lowHalf, highHalf));
    else
        _mm_storel_epi64(reinterpret_cast<__m128i *>(to),
                         _mm_packus_epi16(_mm_packs_epi32(lowHalf, highHalf), _mm_setzero_si128()));
}

// As converted() would make them.
template <class Sample> void storeConverted(Sample *to, Float8 values) {
    if constexpr (std::is_same_v<Sample, float>)
        store(to, values);
    else
        storeEight(to, roundedToNearest(values));
}

} // namespace zypr::planes
