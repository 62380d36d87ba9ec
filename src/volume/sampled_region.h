// What remap and warp sample: a region of a volume whose planes lie anywhere, or at even steps.
#pragma once

#include <optional>

#include "volume/lanes.h"
#include "volume/positions.h"
#include "volume/records.h"

namespace zypr::sampling {

// Planes by the table of their addresses.
template <class SampleType> struct SampledRegion {
    using Sample = SampleType;

    const Sample *const *planes;
    ptrdiff_t rowStep; // in samples
    Bounds bounds;

    // Eight of its voxels.
    struct Eight {
        EightOffsets inPlane;
        Int8 plane;
    };
    Eight eight(const EightPlaces &places) const { return {EightOffsets(places.x, places.y, rowStep), places.z}; }
    // One of them, or its neighbour in the next plane or row.
    const Sample *at(const Eight &eight, int lane, int plane = 0, int row = 0) const {
        return (planes + plane)[static_cast<uint32_t>(eight.plane.v[lane])] + eight.inPlane[lane] + row * rowStep;
    }

    // Eight blocks of voxels, each from the neighbour before the voxel along every axis.
    struct EightBlocks {
        LanesInMemory<int64_t> inPlane;
        LanesInMemory<int32_t> plane;
    };
    EightBlocks blocks(const EightPlaces &places) const {
        const Int8 one = broadcast<8>(1);
        EightBlocks eight;
        eight.inPlane.store(EightOffsets(places.x - one, places.y - one, rowStep));
        eight.plane.store(places.z);
        return eight;
    }
    // The rows of one of them.
    auto rowsOf(const EightBlocks &eight, int lane) const {
        return [first = planes + eight.plane[lane] - 1, inPlane = eight.inPlane[lane], this](int plane, int row) {
            return first[plane] + inPlane + row * rowStep;
        };
    }

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

// Planes at even steps, in either direction, all within 4 GB. A voxel is known by its distance in bytes from the lowest one.
template <class SampleType> struct EvenRegion : SampledRegion<SampleType> {
    using Sample = SampleType;

    Int4 low, high;       // the bounds of x, y and z; and 1
    Int4 bytes;           // the distance that each gives, modulo 2^32, with where they begin for the 1
    uintptr_t from[2][2]; // what distances are added to, for a voxel and its neighbours: [plane][row]

    struct Eight {
        Int8 distance;
    };
    Eight eight(const EightPlaces &places) const {
        const auto all = [&](int axis) { return _mm256_set1_epi32(bytes.v[axis]); };
        const __m256i x = _mm256_slli_epi32(raw(places.x), sizeof(Sample) / 2), y = _mm256_mullo_epi32(raw(places.y), all(1)),
                      z = _mm256_mullo_epi32(raw(places.z), all(2));
        const __m256i distance = _mm256_add_epi32(_mm256_add_epi32(z, y), _mm256_add_epi32(x, all(3)));
        return {{reinterpret_cast<int8Register>(distance)}};
    }
    const Sample *at(const Eight &eight, int lane, int plane = 0, int row = 0) const {
        return reinterpret_cast<const Sample *>(from[plane][row] + static_cast<uint32_t>(eight.distance.v[lane]));
    }

    const void *near(Int4 xyz) const {
        const __m128i inside = _mm_max_epi32(raw(low), _mm_min_epi32(raw(xyz), raw(high)));
        const __m128i parts = _mm_mullo_epi32(inside, raw(bytes));
        const __m128i pairs = _mm_add_epi32(parts, _mm_shuffle_epi32(parts, _MM_SHUFFLE(1, 0, 3, 2)));
        const __m128i all = _mm_add_epi32(pairs, _mm_shuffle_epi32(pairs, _MM_SHUFFLE(2, 3, 0, 1)));
        return reinterpret_cast<const void *>(from[0][0] + static_cast<uint32_t>(_mm_cvtsi128_si32(all)));
    }

    using EightBlocks = LanesInMemory<uint32_t>;
    EightBlocks blocks(const EightPlaces &places) const {
        EightBlocks distance;
        distance.store(eight(places));
        return distance;
    }
    auto rowsOf(const EightBlocks &distance, int lane) const {
        const uintptr_t planeStep = from[1][0] - from[0][0], rowStepInBytes = from[0][1] - from[0][0];
        const uintptr_t first = from[0][0] - planeStep - rowStepInBytes - sizeof(Sample) + distance[lane];
        return [=](int plane, int row) {
            return reinterpret_cast<const Sample *>(first + static_cast<uintptr_t>(plane) * planeStep +
                                                    static_cast<uintptr_t>(row) * rowStepInBytes);
        };
    }
    // Whether the plane below the region, where blocks may begin, lies there too.
    bool goesOnBelow() const {
        const auto address = [&](int32_t z) { return reinterpret_cast<uintptr_t>(this->planes[z]); };
        const int32_t z = this->bounds.z.low;
        return z == 0 || address(z) - address(z - 1) == from[1][0] - from[0][0];
    }
};

// Nothing where the planes lie otherwise.
template <class Sample> std::optional<EvenRegion<Sample>> evenRegion(const SampledRegion<Sample> &region) {
    const auto address = [&](int32_t z) { return reinterpret_cast<uintptr_t>(region.planes[z]); };
    const AxisBounds x = region.bounds.x, y = region.bounds.y, z = region.bounds.z;
    const auto rowStep = static_cast<int64_t>(region.rowStep) * static_cast<int64_t>(sizeof(Sample));
    const auto planeStep = static_cast<int64_t>(z.low < z.high ? address(z.low + 1) - address(z.low) : 0);
    constexpr int64_t limit = int64_t{1} << 32;
    if (planeStep <= -limit || planeStep >= limit) return {};

    // From the lowest voxel to the first, and to the last.
    const auto reach = [](AxisBounds axis, int64_t step) { return (axis.high - int64_t{axis.low}) * step; };
    const int64_t overPlanes = reach(z, planeStep), overRows = reach(y, rowStep);
    const auto positive = [](int64_t a) { return static_cast<uint64_t>(a < 0 ? 0 : a); };
    const uint64_t below = positive(-overPlanes) + positive(-overRows);
    const uint64_t above = positive(overPlanes) + positive(overRows) + positive(reach(x, sizeof(Sample)));
    if (below + above >= uint64_t{limit}) return {};
    for (int32_t plane = z.low; plane <= z.high; ++plane)
        if (address(plane) - address(z.low) != static_cast<uint64_t>((plane - z.low) * planeStep)) return {};

    EvenRegion<Sample> even{region, {{x.low, y.low, z.low, 1}}, {{x.high, y.high, z.high, 1}}, {}, {}};
    const auto modulo = [](int64_t a) { return static_cast<uint32_t>(a); };
    const uint32_t origin = modulo(static_cast<int64_t>(below)) - modulo(z.low) * modulo(planeStep) -
                            modulo(y.low) * modulo(rowStep) - modulo(x.low) * modulo(sizeof(Sample));
    const uint32_t bytes[4] = {sizeof(Sample), modulo(rowStep), modulo(planeStep), origin};
    std::memcpy(&even.bytes, bytes, sizeof bytes);
    for (int plane = 0; plane < 2; ++plane)
        for (int row = 0; row < 2; ++row)
            even.from[plane][row] = address(z.low) + static_cast<uintptr_t>(y.low * rowStep) + x.low * sizeof(Sample) - below +
                                    static_cast<uintptr_t>(plane * planeStep) + static_cast<uintptr_t>(row * rowStep);
    return even;
}

} // namespace zypr::sampling
