// One call of the volume filter with everything that it may touch between inaccessible pages: a source that holds exactly what
// the kernel reaches, plane by plane, a destination, and scratch of exactly the reported size.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "support/bits.h"
#include "support/core_probe.h"
#include "support/guarded_array.h"
#include "support/random.h"
#include "volume/filter_model.h"
#include "zypr.h"

namespace zypr::test {

// Where the inaccessible page lies that bounds a source plane.
enum class Guard { behind, inFront };

// `bytes` bytes of a source plane with an inaccessible page right behind or right in front of them.
class SourcePlane {
public:
    SourcePlane(size_t bytes, Guard guard) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t usable = (bytes + page - 1) / page * page;
        mappedSize_ = usable + 2 * page;
        mapped_ = static_cast<unsigned char *>(mmap(nullptr, mappedSize_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (mapped_ == MAP_FAILED || mprotect(mapped_ + page, usable, PROT_READ | PROT_WRITE) != 0) std::abort();
        data_ = guard == Guard::behind ? mapped_ + page + usable - bytes : mapped_ + page;
    }
    SourcePlane(const SourcePlane &) = delete;
    ~SourcePlane() { munmap(mapped_, mappedSize_); }
    unsigned char *data() { return data_; }

private:
    unsigned char *mapped_;
    size_t mappedSize_;
    unsigned char *data_;
};

struct FilterCall {
    FilterModel model;
    ZyprVolumeExtent dst;
    int32_t srcGap = 0;       // bytes between a source row's last sample within reach and the next row's first
    int32_t dstGap = 0;       // the same in the destination
    size_t scratchOffset = 0; // the scratch's address modulo 64
    size_t dstOffset = 0;     // the destination's
    Guard guard = Guard::behind;
    bool upsideDown = false;              // rows from the last to the first in memory: negative steps
    int32_t least = -32768, most = 32767; // of the source's samples
    uint32_t seed = 1;

    // Runs the filter and compares all destination planes with the model, bit by bit, and everything around them.
    void check() const {
        const ZyprVolumeExtent &kernel = model.extent;
        // What the kernel reaches: rows, columns and planes from here on, as many as this.
        const int64_t firstX = int64_t{model.origin[0]} - (kernel.width - 1);
        const int64_t firstY = int64_t{model.origin[1]} - (kernel.height - 1);
        const int64_t firstZ = int64_t{model.origin[2]} - (kernel.depth - 1);
        const int32_t columns = dst.width + kernel.width - 1, rows = dst.height + kernel.height - 1;
        const int32_t planes = dst.depth + kernel.depth - 1;

        const auto count = static_cast<size_t>(columns) * rows * planes;
        std::vector<int16_t> samples(count);
        Random random(seed);
        for (int16_t &sample : samples) sample = static_cast<int16_t>(random.integer(least, most));
        const auto src = [&](int64_t x, int64_t y, int64_t z) {
            x -= firstX, y -= firstY, z -= firstZ;
            if (x < 0 || x >= columns || y < 0 || y >= rows || z < 0 || z >= planes)
                ADD_FAILURE() << "the model left its reach";
            return samples[static_cast<size_t>((z * rows + y) * columns + x)];
        };

        // The source planes, and pointers to the sample that lines up with destination sample (0, 0) of each.
        const int32_t srcPitch = 2 * columns + srcGap, srcStep = upsideDown ? -srcPitch : srcPitch;
        const size_t planeBytes = static_cast<size_t>(srcPitch) * (rows - 1) + static_cast<size_t>(columns) * 2;
        std::vector<std::unique_ptr<SourcePlane>> memory;
        GuardedArray<const int16_t *> pointers(static_cast<size_t>(planes));
        for (int32_t z = 0; z < planes; ++z) {
            memory.push_back(std::make_unique<SourcePlane>(planeBytes, guard));
            unsigned char *const firstRow =
                memory.back()->data() + (upsideDown ? static_cast<size_t>(srcPitch) * (rows - 1) : 0);
            for (int32_t y = 0; y < rows; ++y)
                std::memcpy(firstRow + static_cast<ptrdiff_t>(y) * srcStep,
                            &samples[(static_cast<size_t>(z) * rows + y) * columns], static_cast<size_t>(columns) * 2);
            const uintptr_t base = reinterpret_cast<uintptr_t>(firstRow) - static_cast<uintptr_t>(firstY * (srcStep >> 1) * 2) -
                                   static_cast<uintptr_t>(firstX * 2);
            pointers[static_cast<size_t>(z)] = reinterpret_cast<const int16_t *>(base);
        }
        const auto plane0 = reinterpret_cast<const int16_t *const *>(reinterpret_cast<uintptr_t>(pointers.data()) -
                                                                     static_cast<uintptr_t>(firstZ * 8));

        const int32_t dstPitch = 2 * dst.width + dstGap, dstStep = upsideDown ? -dstPitch : dstPitch;
        const size_t dstBytes = static_cast<size_t>(dstPitch) * (dst.height - 1) + static_cast<size_t>(dst.width) * 2;
        std::vector<GuardedArray<unsigned char>> results;
        GuardedArray<int16_t *> resultPointers(static_cast<size_t>(dst.depth));
        for (int32_t z = 0; z < dst.depth; ++z) {
            results.emplace_back(dstBytes, dstOffset);
            std::fill(results.back().begin(), results.back().end(), static_cast<unsigned char>(0xA5));
            resultPointers[static_cast<size_t>(z)] = reinterpret_cast<int16_t *>(
                results.back().data() + (upsideDown ? static_cast<size_t>(dstPitch) * (dst.height - 1) : 0));
        }

        int32_t size = 0;
        ASSERT_EQ(zyprFilterGetBufSize(&dst, &kernel, 1, &size), zypStsNoErr);
        GuardedArray<uint8_t> scratch(static_cast<size_t>(size), scratchOffset);
        const GuardedArray<int32_t> taps(model.taps);
        const std::vector<int32_t> tapsBefore = model.taps;

        // An odd step loses its low bit.
        ASSERT_EQ(zyprFilter_16s_C1PV(plane0, srcStep, resultPointers.data(), dstStep, &dst, taps.data(), &kernel, model.origin,
                                      model.divisor, scratch.data()),
                  zypStsNoErr);

        for (int32_t z = 0; z < dst.depth; ++z) {
            std::vector<unsigned char> expected(dstBytes, 0xA5);
            const size_t firstRow = upsideDown ? static_cast<size_t>(dstPitch) * (dst.height - 1) : 0;
            for (int32_t y = 0; y < dst.height; ++y) {
                for (int32_t x = 0; x < dst.width; ++x) {
                    const int16_t value = model.at(x, y, z, dst.width, src);
                    std::memcpy(&expected[firstRow + static_cast<size_t>(static_cast<ptrdiff_t>(y) * dstStep + 2 * x)], &value,
                                2);
                }
            }
            ASSERT_TRUE(equalBits(results[static_cast<size_t>(z)], expected)) << "in plane " << z;
            ASSERT_TRUE(results[static_cast<size_t>(z)].surroundingsIntact());
        }
        ASSERT_TRUE(scratch.surroundingsIntact());
        ASSERT_EQ(taps.values(), tapsBefore);
    }
};

// A kernel of random coefficients, with the tap in its middle.
inline FilterModel randomKernel(ZyprVolumeExtent extent, int32_t least, int32_t most, int32_t divisor, uint32_t seed = 7) {
    Random random(seed);
    std::vector<int32_t> taps(static_cast<size_t>(extent.width) * extent.height * extent.depth);
    for (int32_t &tap : taps) tap = random.integer(least, most);
    return {taps, extent, {extent.width / 2, extent.height / 2, extent.depth / 2}, divisor};
}

} // namespace zypr::test
