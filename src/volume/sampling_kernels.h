// What the kernels of remap and warp stand on, and nearest and trilinear sampling of a volume at eight positions. A kernel has
// places(), the integers that it goes by; inner(), for eight inner positions; and onEdge(), for any one position that counts.
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "volume/lanes.h"
#include "volume/positions.h"
#include "volume/records.h"

namespace zypr::sampling {

// What is sampled.
template <class Sample> struct SampledRegion {
    const Sample *const *planes;
    ptrdiff_t rowStep; // in samples
    Bounds bounds;

    // The address of the region's voxel that is nearest to this one; the volume may end before it, or have no such plane.
    const void *near(Int4 xyz) const {
        const __m128i low = _mm_setr_epi32(bounds.x.low, bounds.y.low, bounds.z.low, 0);
        const __m128i high = _mm_setr_epi32(bounds.x.high, bounds.y.high, bounds.z.high, 0);
        alignas(16) int32_t at[4];
        _mm_store_si128(reinterpret_cast<__m128i *>(at), _mm_max_epi32(low, _mm_min_epi32(raw(xyz), high)));
        const ptrdiff_t samples = at[1] * rowStep + at[0];
        return reinterpret_cast<const void *>(reinterpret_cast<uintptr_t>(planes[at[2]]) +
                                              static_cast<uintptr_t>(samples) * sizeof(Sample));
    }
};

// ---- Eight voxels -------------------------------------------------------------------------------------------------------

struct Place {
    int32_t x, y, z;
    float positionX, positionY, positionZ;
};
inline Place placeOf(const EightPlaces &p, int lane) {
    return {p.x.v[lane], p.y.v[lane], p.z.v[lane], p.positionX.v[lane], p.positionY.v[lane], p.positionZ.v[lane]};
}

inline Place clampedTo(const Bounds &bounds, Place p) {
    p.x = clampedTo(bounds.x, p.x);
    p.y = clampedTo(bounds.y, p.y);
    p.z = clampedTo(bounds.z, p.z);
    return p;
}

// Results travel as integers; those of 32f as their bits.
template <class Sample> Int8 rounded(Float8 a) {
    if constexpr (std::is_same_v<Sample, float>)
        return bitsOf(a);
    else
        return roundedToNearest(a);
}
template <class Sample> int32_t rounded(float a) {
    if constexpr (std::is_same_v<Sample, float>)
        return static_cast<int32_t>(bitsOf(a));
    else
        return roundedToNearest(a);
}

// Stores the low bits of each integer. Rows may lie at any address.
template <class Sample> void storeSamples(Sample *dst, Int8 a) {
    if constexpr (sizeof(Sample) == 4) {
        store(reinterpret_cast<int32_t *>(dst), a);
    } else {
        const __m256i lowBits = _mm256_and_si256(raw(a), _mm256_set1_epi32(static_cast<Sample>(-1)));
        const __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(lowBits), _mm256_extracti128_si256(lowBits, 1));
        if constexpr (sizeof(Sample) == 2)
            _mm_storeu_si128(reinterpret_cast<__m128i *>(dst), words);
        else
            _mm_storel_epi64(reinterpret_cast<__m128i *>(dst), _mm_packus_epi16(words, words));
    }
}

// The same for the lanes of the mask.
template <class Sample> void storeSamples(Sample *dst, Mask8 lanes, Int8 a) {
    if constexpr (sizeof(Sample) == 4) return store(reinterpret_cast<int32_t *>(dst), lanes, a);
    for (unsigned left = signBits(lanes); left != 0; left &= left - 1) {
        const int lane = __builtin_ctz(left);
        const auto sample = static_cast<Sample>(a.v[lane]);
        std::memcpy(dst + lane, &sample, sizeof sample);
    }
}

// ---- Nearest ------------------------------------------------------------------------------------------------------------

struct NearestKernel {
    template <class Positions> EightPlaces places(const Positions &positions) const { return positions.nearest(); }

    template <class Sample> Int8 inner(const SampledRegion<Sample> &src, const EightPlaces &places) const {
        const EightOffsets offset(places.x, places.y, src.rowStep);
        const auto at = [&](int lane) { return src.planes[static_cast<uint32_t>(places.z.v[lane])][offset[lane]]; };
        if constexpr (std::is_same_v<Sample, float>)
            return bitsOf(Float8{_mm256_setr_ps(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7))});
        else
            return {reinterpret_cast<int8Register>(_mm256_setr_epi32(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7)))};
    }

    template <class Sample> int32_t onEdge(const SampledRegion<Sample> &src, const Place &place) const {
        const Place p = clampedTo(src.bounds, place);
        const Sample sample = src.planes[p.z][p.y * src.rowStep + p.x];
        if constexpr (std::is_same_v<Sample, float>)
            return static_cast<int32_t>(bitsOf(sample));
        else
            return sample;
    }
};

// ---- Linear -------------------------------------------------------------------------------------------------------------

// A voxel and its right neighbour, eight times.
struct EightPairs {
    Float8 left, right;
};

// Each pair is one load.
inline EightPairs loadPairs(const float *const (&from)[8]) {
    const auto two = [&](int a, int b) {
        const __m128 low = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(from[a])));
        return _mm_loadh_pi(low, reinterpret_cast<const __m64 *>(from[b]));
    };
    const __m256 a = _mm256_set_m128(two(4, 5), two(0, 1)), b = _mm256_set_m128(two(6, 7), two(2, 3));
    return {{_mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))}, {_mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))}};
}

inline EightPairs loadPairs(const uint16_t *const (&from)[8]) {
    const auto pair = [&](int lane) {
        int32_t both;
        std::memcpy(&both, from[lane], sizeof both);
        return both;
    };
    const __m256i pairs = _mm256_setr_epi32(pair(0), pair(1), pair(2), pair(3), pair(4), pair(5), pair(6), pair(7));
    return {{_mm256_cvtepi32_ps(_mm256_and_si256(pairs, _mm256_set1_epi32(0xFFFF)))},
            {_mm256_cvtepi32_ps(_mm256_srli_epi32(pairs, 16))}};
}

inline EightPairs loadPairs(const uint8_t *const (&from)[8]) {
    const auto pair = [&](int lane) {
        int16_t both;
        std::memcpy(&both, from[lane], sizeof both);
        return both;
    };
    const __m256i pairs =
        _mm256_cvtepu16_epi32(_mm_setr_epi16(pair(0), pair(1), pair(2), pair(3), pair(4), pair(5), pair(6), pair(7)));
    return {{_mm256_cvtepi32_ps(_mm256_and_si256(pairs, _mm256_set1_epi32(0xFF)))},
            {_mm256_cvtepi32_ps(_mm256_srli_epi32(pairs, 8))}};
}

struct TrilinearKernel {
    template <class Positions> EightPlaces places(const Positions &positions) const { return positions.truncated(); }

    template <class Sample> Int8 inner(const SampledRegion<Sample> &src, const EightPlaces &places) const {
        const EightOffsets offset(places.x, places.y, src.rowStep);
        const Sample *from[2][2][8]; // [plane][row]
#pragma GCC unroll 8
        for (int lane = 0; lane < 8; ++lane) {
            for (int plane = 0; plane < 2; ++plane) {
                from[plane][0][lane] = (src.planes + plane)[static_cast<uint32_t>(places.z.v[lane])] + offset[lane];
                from[plane][1][lane] = from[plane][0][lane] + src.rowStep;
            }
        }
        const Float8 fx = places.positionX - toFloat(places.x), fy = places.positionY - toFloat(places.y),
                     fz = places.positionZ - toFloat(places.z), one = broadcast<8>(1.0f);
        const auto along = [&](Float8 a, Float8 b, Float8 fraction) { return blended(a, b, one - fraction, fraction); };
        const auto inPlane = [&](const Sample *const(&rows)[2][8]) {
            const EightPairs upper = loadPairs(rows[0]), lower = loadPairs(rows[1]);
            return along(along(upper.left, upper.right, fx), along(lower.left, lower.right, fx), fy);
        };
        return rounded<Sample>(along(inPlane(from[0]), inPlane(from[1]), fz));
    }

    // At the upper bound the pair ends there, and the fraction is 1. Where the region has but the index 0, the pair begins at
    // -1: that voxel doesn't exist, and its product is 0.
    template <class Sample> int32_t onEdge(const SampledRegion<Sample> &src, const Place &place) const {
        const Place p = clampedTo(src.bounds, place);
        const int32_t x = p.x < src.bounds.x.high ? p.x : p.x - 1, y = p.y < src.bounds.y.high ? p.y : p.y - 1,
                      z = p.z < src.bounds.z.high ? p.z : p.z - 1;
        const float fx = p.positionX - static_cast<float>(x), fy = p.positionY - static_cast<float>(y),
                    fz = p.positionZ - static_cast<float>(z);
        const auto voxel = [&](int32_t column, int32_t row, int32_t plane) {
            return column < 0 || row < 0 || plane < 0 ? 0.0f
                                                      : static_cast<float>(src.planes[plane][row * src.rowStep + column]);
        };
        const auto along = [](float a, float b, float fraction) { return blended(a, b, 1.0f - fraction, fraction); };
        const auto alongX = [&](int32_t row, int32_t plane) {
            return along(voxel(x, row, plane), voxel(x + 1, row, plane), fx);
        };
        const auto inPlane = [&](int32_t plane) { return along(alongX(y, plane), alongX(y + 1, plane), fy); };
        return rounded<Sample>(along(inPlane(z), inPlane(z + 1), fz));
    }

private:
    template <class Value> static Value blended(Value a, Value b, Value weightA, Value weightB) {
        return fused(b, weightB, a * weightA);
    }
};

} // namespace zypr::sampling
