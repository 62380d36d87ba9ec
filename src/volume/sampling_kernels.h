// What the kernels of remap and warp stand on, and nearest and trilinear sampling of a volume at eight positions. A kernel has
// places(), the integers that it goes by; inner(), for eight inner positions; and onEdge(), for any one position that counts.
// What inner() takes are the places themselves or, of a kernel that has it, what prepared() makes of them. Of a kernel that has
// Weights, inner() and onEdge() take those too; moveTo() makes them those of eight places.
//
// While a row is sampled, the source's lines that the row planesFetchedAhead destination planes on reads are fetched: walking
// through a turned source, the processor's own prefetch finds no pattern.
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "volume/lanes.h"
#include "volume/positions.h"
#include "volume/sampled_region.h"

namespace zypr::sampling {

// ---- Eight voxels -------------------------------------------------------------------------------------------------------

struct Place {
    int32_t x, y, z;
    float positionX, positionY, positionZ;
};
inline Place placeOf(const EightPlaces &p, int lane) {
    return {p.x.v[lane], p.y.v[lane], p.z.v[lane], p.positionX.v[lane], p.positionY.v[lane], p.positionZ.v[lane]};
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
    static constexpr int32_t planesFetchedAhead = 4;

    template <class Positions> EightPlaces places(const Positions &positions) const { return positions.nearest(); }

    template <class Region> Int8 inner(const Region &src, const EightPlaces &places) const {
        const auto eight = src.eight(places);
        const auto at = [&](int lane) { return *src.at(eight, lane); };
        if constexpr (std::is_same_v<typename Region::Sample, float>)
            return bitsOf(Float8{_mm256_setr_ps(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7))});
        else
            return {reinterpret_cast<int8Register>(_mm256_setr_epi32(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7)))};
    }

    template <class Sample> int32_t onEdge(const SampledRegion<Sample> &src, const Place &p) const {
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

template <class Value> Value loadedAs(const void *from) {
    Value value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

// The same as they lie in memory; each pair is one load.
template <class Sample> class LoadedPairs;

template <> class LoadedPairs<float> {
public:
    void load(int lane, const float *from) { quarter_[lane / 2][lane % 2] = loadedAs<double>(from); }
    EightPairs split() const {
        const __m256 a = joined(0, 2), b = joined(1, 3);
        return {{_mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))}, {_mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))}};
    }

private:
    __m256 joined(int a, int b) const { return _mm256_castpd_ps(_mm256_set_m128d(quarter_[b], quarter_[a])); }
    __m128d quarter_[4];
};

template <> class LoadedPairs<uint16_t> {
public:
    void load(int lane, const uint16_t *from) { half_[lane / 4][lane % 4] = loadedAs<int32_t>(from); }
    EightPairs split() const {
        const __m256i pairs = raw(joined(Int4{half_[0]}, Int4{half_[1]}));
        return {{_mm256_cvtepi32_ps(_mm256_and_si256(pairs, _mm256_set1_epi32(0xFFFF)))},
                {_mm256_cvtepi32_ps(_mm256_srli_epi32(pairs, 16))}};
    }

private:
    int4Register half_[2];
};

template <> class LoadedPairs<uint8_t> {
public:
    void load(int lane, const uint8_t *from) { all_[lane] = loadedAs<int16_t>(from); }
    EightPairs split() const {
        const __m256i pairs = _mm256_cvtepu16_epi32(reinterpret_cast<__m128i>(all_));
        return {{_mm256_cvtepi32_ps(_mm256_and_si256(pairs, _mm256_set1_epi32(0xFF)))},
                {_mm256_cvtepi32_ps(_mm256_srli_epi32(pairs, 8))}};
    }

private:
    using Word8 [[gnu::vector_size(16)]] = int16_t;
    Word8 all_;
};

struct TrilinearKernel {
    static constexpr int32_t planesFetchedAhead = 4;

    template <class Eight> struct Prepared {
        Eight eight;
        Float8 fx, fy, fz;
    };

    template <class Positions> EightPlaces places(const Positions &positions) const { return positions.truncated(); }

    template <class Region> auto prepared(const Region &src, const EightPlaces &places) const {
        return Prepared<typename Region::Eight>{src.eight(places), places.positionX - toFloat(places.x),
                                                places.positionY - toFloat(places.y), places.positionZ - toFloat(places.z)};
    }

    template <class Region> Int8 inner(const Region &src, const Prepared<typename Region::Eight> &at) const {
        using Sample = typename Region::Sample;
        LoadedPairs<Sample> pairs[2][2]; // [plane][row]
#pragma GCC unroll 8
        for (int lane = 0; lane < 8; ++lane) {
            for (int plane = 0; plane < 2; ++plane)
                for (int row = 0; row < 2; ++row) pairs[plane][row].load(lane, src.at(at.eight, lane, plane, row));
        }
        const Float8 one = broadcast<8>(1.0f);
        const auto along = [&](Float8 a, Float8 b, Float8 fraction) { return blended(a, b, one - fraction, fraction); };
        const auto alongX = [&](const EightPairs &pair) { return along(pair.left, pair.right, at.fx); };
        const auto inPlane = [&](const LoadedPairs<Sample>(&rows)[2]) {
            return along(alongX(rows[0].split()), alongX(rows[1].split()), at.fy);
        };
        return rounded<Sample>(along(inPlane(pairs[0]), inPlane(pairs[1]), at.fz));
    }

    // At the upper bound the pair ends there, and the fraction is 1. Where the region has but the index 0, the pair begins at
    // -1: that voxel doesn't exist, and its product is 0.
    template <class Sample> int32_t onEdge(const SampledRegion<Sample> &src, const Place &p) const {
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
