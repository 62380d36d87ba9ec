// The row loop of remap and warp: positions by eights, those that count, and the kernel that reads them. A voxel's result
// depends on its position alone, not on its place among the eight.
#pragma once

#include "volume/sampling_kernels.h"
#include "volume/tricubic.h"

namespace zypr::sampling {

// The mode that a volume of this extent is sampled with.
inline ZyprInterpolation loweredMode(ZyprInterpolation mode, const ZyprVolumeExtent &extent) {
    const auto isThinnerThan = [&](int32_t n) { return extent.width < n || extent.height < n || extent.depth < n; };
    if (isCubic(mode) && isThinnerThan(4)) mode = zyprInterLinear;
    if (isThinnerThan(2)) mode = zyprInterNearest;
    return mode;
}

template <class Sample>
SampledRegion<Sample> sampledRegion(const Sample *const *planes, int32_t byteRowStep, const ZyprVoxelCuboid &region,
                                    ZyprInterpolation mode) {
    const auto bounds = [](int32_t first, int32_t count) { return AxisBounds{first, first + count - 1}; };
    const auto inner = [&](AxisBounds all) {
        return isCubic(mode) ? AxisBounds{all.low > 1 ? all.low : 1, all.high - 1} : all;
    };
    const AxisBounds x = bounds(region.x, region.width), y = bounds(region.y, region.height),
                     z = bounds(region.z, region.depth);
    return {planes, samplesOf<Sample>(byteRowStep), {x, y, z, inner(x), inner(y), inner(z)}};
}

// Whether inner() takes what prepared() gives.
template <class Region, class Kernel>
constexpr bool prepares = requires(const Region &src, const Kernel &kernel, EightPlaces places) {
    kernel.prepared(src, places);
};

// Whether inner() and onEdge() share weights.
template <class Kernel> constexpr bool weighs = requires { typename Kernel::Weights; };

template <class Region, class Kernel, class... Weights>
Int8 sampled(const Region &src, const Kernel &kernel, const EightPlaces &places, const Weights &...weights) {
    if constexpr (prepares<Region, Kernel>)
        return kernel.inner(src, kernel.prepared(src, places));
    else if constexpr (weighs<Kernel>)
        return kernel.inner(src, src.blocks(places), weights...);
    else
        return kernel.inner(src, places);
}

// Eight voxels of which some are outside, on an edge, or past the row's end. `start` stands before them.
template <class Region, class Kernel, class Row, class Lanes>
[[gnu::noinline]] void sampleSome(const Region &src, const Kernel &kernel, const Row &start, ptrdiff_t i, Lanes lanes,
                                  typename Region::Sample *dst) {
    Row row = start;
    const auto positions = row.next(i, lanes);
    const Gate gate = positions.gate(src.bounds);
    const Mask8 counting = lanes.among(gate.counting), inner = counting & gate.inner;
    if (none(counting)) return;
    EightPlaces places = kernel.places(positions);
    places.repeatFirst(counting); // wild positions would take a slower way to their weights
    places.clampTo(src.bounds);

    const auto sampleAll = [&](const auto &...weights) {
        alignas(32) int32_t edge[8] = {};
        for (unsigned left = signBits(counting & ~inner); left != 0; left &= left - 1) {
            const int lane = __builtin_ctz(left);
            edge[lane] = kernel.onEdge(src, placeOf(places, lane), weights.ofLane(lane)...);
        }
        Int8 results = load<8>(edge);
        if (any(inner)) {
            places.repeatFirst(inner);
            results = select(inner, sampled(src, kernel, places, weights...), results);
        }
        storeSamples(dst + i, counting, results);
    };
    if constexpr (weighs<Kernel>) {
        typename Kernel::Weights weights;
        kernel.moveTo(places, weights);
        sampleAll(weights);
    } else {
        sampleAll();
    }
}

// Voxels whose position is outside the region, or not a number, keep their value.
template <class Region, class Kernel, class Row>
void sampleRow(const Region &source, const Kernel &kernel, const Row &start, typename Region::Sample *dst, int32_t width) {
    const Region src = source; // no store to dst can change this one
    Row row = start;
    const auto eachGroup = [&](ptrdiff_t begin, ptrdiff_t end, const auto &sampleInner) {
        forGroups(begin, end, [&](ptrdiff_t i, auto lanes) {
            constexpr ptrdiff_t halfLine = 32 / sizeof(typename Region::Sample);
            if (i % halfLine == 0) prefetch(src.near(row.ahead(i)));
            const Row before = row;
            const auto positions = row.next(i, lanes);
            constexpr bool isWhole = std::is_same_v<decltype(lanes), AllLanes>; // else voxels past the row's end would be read
            if (isWhole && positions.allInner(src.bounds))
                sampleInner(i, kernel.places(positions));
            else if (!positions.allOutside(src.bounds))
                sampleSome(source, kernel, Row(before), i, lanes, dst); // a copy, so that the others stay in registers
        });
    };
    if constexpr (prepares<Region, Kernel>) {
        // What is prepared lies in memory when its turn comes, and the processor runs ahead into the loads of the next.
        constexpr ptrdiff_t most = 256;
        decltype(kernel.prepared(src, EightPlaces{})) group[most / 8];
        ptrdiff_t at[most / 8];
        for (ptrdiff_t begin = 0; begin < width; begin += most) {
            const ptrdiff_t end = width - begin < most ? width : begin + most;
            int count = 0;
            eachGroup(begin, end, [&](ptrdiff_t i, const EightPlaces &places) {
                group[count] = kernel.prepared(src, places);
                at[count++] = i;
            });
            for (int k = 0; k < count; ++k) storeSamples(dst + at[k], kernel.inner(src, group[k]));
        }
    } else if constexpr (weighs<Kernel>) {
        typename Kernel::Weights weights;
        eachGroup(0, width,
                  [&](ptrdiff_t i, const EightPlaces &places) { storeSamples(dst + i, kernel.inner(src, places, weights)); });
    } else {
        eachGroup(0, width, [&](ptrdiff_t i, const EightPlaces &places) { storeSamples(dst + i, kernel.inner(src, places)); });
    }
}

// Calls run(kernel, region) with the kernel of the mode, which must be lowered already, and the region in a form that it reads.
template <bool wholeEdges, class Sample, class Run>
void withKernel(ZyprInterpolation mode, const SampledRegion<Sample> &region, const Run &run) {
    const auto even = evenRegion(region);
    const auto runEven = [&](const auto &kernel) { even ? run(kernel, *even) : run(kernel, region); };
    const auto runCubic = [&](const CubicTable &table) {
        const TricubicKernel<wholeEdges> kernel{table};
        even && even->goesOnBelow() ? run(kernel, *even) : run(kernel, region);
    };
    switch (mode) {
    case zyprInterNearest: return runEven(NearestKernel{});
    case zyprInterLinear: return runEven(TrilinearKernel{});
    case zyprInterCubicLagrange: return runCubic(lagrangeTable);
    case zyprInterCubicBSpline: return runCubic(bSplineTable);
    case zyprInterCubicCatmullRom: return runCubic(catmullRomTable);
    default: return runCubic(bcTable);
    }
}

} // namespace zypr::sampling
