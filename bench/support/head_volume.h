// The volume that benchmarks run on: an MRI of a head, from Debian's mricron-data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zypr::bench {

struct HeadVolume {
    int32_t width, height, depth;
    std::vector<uint8_t> voxels; // row by row, plane by plane

    // The box of the given size in the middle of it.
    HeadVolume middle(int32_t boxWidth, int32_t boxHeight, int32_t boxDepth) const;

    // The same voxels as samples of another type, spread over its range.
    template <class Sample> std::vector<Sample> as() const {
        std::vector<Sample> samples(voxels.size());
        for (size_t i = 0; i < voxels.size(); ++i) samples[i] = static_cast<Sample>(voxels[i] * (sizeof(Sample) == 1 ? 1 : 16));
        return samples;
    }
};

// Read once. Ends the program with a message when the file is not there.
const HeadVolume &headVolume();

} // namespace zypr::bench
