// Volumes convolved with one of a few kernels.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <stdexcept>

#include "volume/volume.h"
#include "zypr.h"
#include "zypr_support.h"

namespace volume {
namespace {

struct Taps {
    int32_t side;
    std::vector<int32_t> coefficients;
    int32_t divisor;

    int32_t reach() const { return side / 2; }
    // What the kernel makes of a volume of ones.
    double gain() const { return std::accumulate(coefficients.begin(), coefficients.end(), 0.0) / divisor; }
};

// The same weights along each axis, their sum to the third power as divisor.
Taps separable(const std::vector<int32_t> &weights) {
    Taps taps{static_cast<int32_t>(weights.size()), {}, 1};
    for (const int32_t z : weights)
        for (const int32_t y : weights)
            for (const int32_t x : weights) taps.coefficients.push_back(x * y * z);
    const int32_t sum = std::accumulate(weights.begin(), weights.end(), 0);
    taps.divisor = sum * sum * sum;
    return taps;
}

// A coefficient for the centre, and one for its six neighbours.
Taps star(int32_t centre, int32_t neighbour, int32_t divisor) {
    Taps taps{3, std::vector<int32_t>(27), divisor};
    for (const size_t i : {4, 10, 12, 14, 16, 22}) taps.coefficients[i] = neighbour;
    taps.coefficients[13] = centre;
    return taps;
}

Taps tapsOf(Kernel kernel) {
    switch (kernel) {
    case Kernel::gaussian3: return separable({1, 2, 1});
    case Kernel::gaussian5: return separable({1, 4, 6, 4, 1});
    case Kernel::laplacian: return star(-6, 1, 1);
    case Kernel::sharpen: return star(10, -1, 4); // the volume less a quarter of its Laplacian
    }
    throw std::logic_error("unknown kernel");
}

// Voxel value = slope x sample + offset.
struct SampleScale {
    float slope = 1.0f, offset = 0.0f;
};

// Whole numbers of 16 bits stay as they are; all else is spread over 15 bits.
bool holdsSamples(int datatype) { return datatype == DT_UINT8 || datatype == DT_INT8 || datatype == DT_INT16; }

SampleScale sampleScale(const Volume &volume) {
    if (holdsSamples(volume.header->datatype)) return {};
    const auto [least, most] = std::minmax_element(volume.voxels.begin(), volume.voxels.end());
    if (!std::isfinite(*most - *least)) throw std::runtime_error("cannot filter: the values are too far apart");
    return {*most > *least ? (*most - *least) / 32767.0f : 1.0f, *least};
}

// The volume as 16-bit samples, with its outermost voxels repeated as far as
// the kernel reaches beyond its borders.
class PaddedSamples {
public:
    PaddedSamples(const Volume &volume, const SampleScale &scale, int32_t reach)
        : pitch_(volume.extent.width + 2 * reach), reach_(reach),
          samples_(static_cast<size_t>(pitch_) * static_cast<size_t>(volume.extent.height + 2 * reach) *
                   static_cast<size_t>(volume.extent.depth + 2 * reach)) {
        const Extent &extent = volume.extent;
        const auto inside = [](int32_t i, int32_t count) { return std::clamp(i, 0, count - 1); };
        int16_t *sample = samples_.data();
        for (int32_t z = -reach; z < extent.depth + reach; ++z) {
            planes_.push_back(sample + static_cast<ptrdiff_t>(pitch_) * reach + reach);
            for (int32_t y = -reach; y < extent.height + reach; ++y) {
                const float *const row =
                    volume.plane(inside(z, extent.depth)) + static_cast<ptrdiff_t>(inside(y, extent.height)) * extent.width;
                for (int32_t x = -reach; x < extent.width + reach; ++x)
                    *sample++ = static_cast<int16_t>(std::lrint((row[inside(x, extent.width)] - scale.offset) / scale.slope));
            }
        }
    }

    const int16_t *const *plane(int32_t z) const { return planes_.data() + reach_ + z; }
    int32_t rowBytes() const { return pitch_ * static_cast<int32_t>(sizeof(int16_t)); }

private:
    int32_t pitch_, reach_;
    std::vector<int16_t> samples_;
    std::vector<const int16_t *> planes_; // the first `reach_` lie in front of the volume
};

void check(zypStatus status) {
    if (status != zypStsNoErr) throw std::runtime_error(std::string("cannot filter: ") + zyprStatusText(status));
}

} // namespace

Volume filtered(const Volume &source, Kernel kernel, bool quiet) {
    const Taps taps = tapsOf(kernel);
    const SampleScale scale = sampleScale(source);
    const PaddedSamples padded(source, scale, taps.reach());
    const Extent &extent = source.extent;

    // The offset goes through the kernel like any constant; so does the header's
    // intercept.
    const auto gain = static_cast<float>(taps.gain());
    Volume result{copyOf(*source.header), extent, std::vector<float>(extent.voxels())};
    result.header->datatype = holdsSamples(source.header->datatype) ? DT_INT16 : DT_FLOAT32;
    nifti_datatype_sizes(result.header->datatype, &result.header->nbyper, &result.header->swapsize);
    result.header->scl_inter *= gain;
    result.holdsDifferences = taps.gain() == 0.0;
    result.header->cal_min = result.header->cal_max = 0.0f;

    const ZyprVolumeExtent kernelExtent{taps.side, taps.side, taps.side};
    const int32_t origin[] = {taps.reach(), taps.reach(), taps.reach()};
    inSlabs(extent.depth, "filtering", quiet, [&](int32_t first, int32_t planes) {
        const ZyprVolumeExtent slab{extent.width, extent.height, planes};
        std::vector<int16_t> samples(extent.planeVoxels() * static_cast<size_t>(planes));
        std::vector<int16_t *> targets;
        for (int32_t z = 0; z < planes; ++z) targets.push_back(samples.data() + extent.planeVoxels() * static_cast<size_t>(z));
        int32_t bytes = 0;
        check(zyprFilterGetBufSize(&slab, &kernelExtent, 1, &bytes));
        std::vector<uint8_t> scratch(static_cast<size_t>(bytes));
        check(zyprFilter_16s_C1PV(padded.plane(first), padded.rowBytes(), targets.data(), 2 * extent.width, &slab,
                                  taps.coefficients.data(), &kernelExtent, origin, taps.divisor, scratch.data()));
        float *const voxels = result.plane(first);
        for (size_t i = 0; i < samples.size(); ++i)
            voxels[i] = scale.slope * static_cast<float>(samples[i]) + scale.offset * gain;
    });
    return result;
}

} // namespace volume
