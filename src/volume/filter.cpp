// The volume filter's fronts: checks, scratch size, the choice of the arithmetic and the split over threads.

#include "volume/filter.h"

#include <bit>

#include "frame/fronts.h"

namespace zypr {
namespace {

// The coefficients that go in 16-bit pairs.
constexpr int32_t leastPacked = -32767, mostPacked = 32766;
// The largest sum of all coefficients for which the sums are kept in 32 bits. It is no bound on the sums themselves: large
// coefficients of opposite signs pass.
constexpr int64_t mostSum = 3 * 32767;
constexpr int32_t leastVectorWidth = 16;

bool isCube(const ZyprVolumeExtent &kernel, int32_t side) {
    return kernel.width == side && kernel.height == side && kernel.depth == side;
}

bool goesInPairs(const int32_t *taps, const ZyprVolumeExtent &kernel) {
    const int64_t count = int64_t{kernel.width} * kernel.height * kernel.depth;
    int64_t sum = 0;
    bool packs = true;
    for (int64_t i = 0; i < count; ++i) {
        sum += taps[i];
        packs &= taps[i] >= leastPacked && taps[i] <= mostPacked;
    }
    return packs && sum <= mostSum;
}

// In 32-bit arithmetic, which wraps: 32 bytes for each pair of coefficients, 4 for each sample of a row, 64 for alignment.
int32_t filterBufferSize(const ZyprVolumeExtent &dst, const ZyprVolumeExtent &kernel) {
    const auto pairs = static_cast<uint32_t>(static_cast<int32_t>(static_cast<uint32_t>(kernel.width) + 1) / 2);
    const uint32_t kernelBytes = 32 * pairs * static_cast<uint32_t>(kernel.height) * static_cast<uint32_t>(kernel.depth);
    const uint32_t rowBytes = 4 * ((static_cast<uint32_t>(dst.width) + 15) & ~15u);
    return static_cast<int32_t>((kernelBytes + rowBytes + 64) * static_cast<uint32_t>(ownGetNumThreads()));
}

// Whether a thread's part of the scratch holds the packed kernel. It does unless the size has wrapped.
bool holdsPackedKernel(const ScratchSlice &slice, const ZyprVolumeExtent &kernel) {
    const int64_t rows = int64_t{kernel.height} * kernel.depth;
    return ((int64_t{kernel.width} + 1) / 2) * rows * packedPairBytes + packedAlignment <= slice.bytes;
}

} // namespace

FilterScale filterScale(int32_t divisor) {
    const float reciprocal = 1.0f / static_cast<float>(divisor);
    if (divisor == 1) return {ScaleMode::none, 0, 0, reciprocal, divisor};
    if (divisor > 0 && std::has_single_bit(static_cast<uint32_t>(divisor))) {
        const int32_t shift = std::countr_zero(static_cast<uint32_t>(divisor));
        return {ScaleMode::shift, shift, 1 << (shift - 1), reciprocal, divisor};
    }
    return {ScaleMode::division, 0, 0, reciprocal, divisor};
}

FilterPath filterPath(const int32_t *taps, const ZyprVolumeExtent &kernel, int32_t dstWidth) {
    const bool special = isCube(kernel, 3) || isCube(kernel, 5);
    const bool wide = dstWidth >= leastVectorWidth && kernel.width >= 3 && kernel.height >= 3 && kernel.depth >= 3;
    if (wide && goesInPairs(taps, kernel)) return FilterPath::multiplyAdd;
    return special ? FilterPath::floatRows : FilterPath::exact;
}

} // namespace zypr

using namespace zypr;

zypStatus front_zyprFilterGetBufSize(const ZyprVolumeExtent *dstExtent, const ZyprVolumeExtent *kernelExtent, int32_t channels,
                                     int32_t *size) {
    if (size == nullptr) return zypStsNullPtrErr;
    if (!isValid(*dstExtent) || !isValid(*kernelExtent)) return zypStsSizeErr;
    if (channels != 1) return zypStsChannelCountErr;
    *size = filterBufferSize(*dstExtent, *kernelExtent);
    return zypStsNoErr;
}

zypStatus front_zyprFilter_16s_C1PV(const int16_t *const *srcPlanes, int32_t srcRowStep, int16_t *const *dstPlanes,
                                    int32_t dstRowStep, const ZyprVolumeExtent *dstExtent, const int32_t *kernelTaps,
                                    const ZyprVolumeExtent *kernelExtent, const int32_t *tapOrigin, int32_t divisor,
                                    uint8_t *buffer) {
    if (srcPlanes == nullptr || dstPlanes == nullptr || kernelTaps == nullptr) return zypStsNullPtrErr;
    if (buffer == nullptr) return zypStsNullPtrErr;
    if (!isValid(*dstExtent)) return zypStsSizeErr;
    if (!isValid(*kernelExtent)) return zypStsSizeErr;
    if (divisor == 0) return zypStsSizeErr;

    const FilterJob job = {planeArrayVolume<const int16_t>(srcPlanes, srcRowStep),
                           planeArrayVolume<int16_t>(dstPlanes, dstRowStep),
                           dstExtent->width,
                           dstExtent->height,
                           kernelTaps,
                           *kernelExtent,
                           tapOrigin,
                           filterScale(divisor)};
    const FilterPath path = filterPath(kernelTaps, *kernelExtent, dstExtent->width);
    const int32_t bufferBytes = filterBufferSize(*dstExtent, *kernelExtent);
    runSlices(dstExtent->width, dstExtent->height, dstExtent->depth, [&](TeamShare planes, int thread, int teamSize) {
        const ScratchSlice slice = scratchSlice(buffer, bufferBytes, thread, teamSize);
        if (path == FilterPath::multiplyAdd && holdsPackedKernel(slice, job.kernel))
            filterByMultiplyAdd(job, planes, slice.begin);
        else if (path == FilterPath::floatRows)
            filterByFloatRows(job, planes);
        else
            filterExactly(job, planes);
    });
    return zypStsNoErr;
}
