// One resize, run through an export over guarded memory and compared with the model, voxel by voxel and bit by bit.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <vector>

#include "support/bits.h"
#include "support/guarded_array.h"
#include "support/random.h"
#include "volume/resize_model.h"
#include "zypr.h"

namespace zypr::test {

enum class VolumeForm { contiguous, planeArray };

struct ResizeCase {
    ZyprVolumeExtent extent;
    ZyprVoxelCuboid src, dst;
    ResizeMappingModel mapping;
    ZyprInterpolation mode;
    int32_t srcPadding = 0, dstPadding = 0; // samples between rows
    bool srcUpsideDown = false;             // the source's rows run towards lower addresses
    int32_t oddBytes = 0;                   // added to both row steps
    size_t bufferMisalignment = 0;
};

inline std::ostream &operator<<(std::ostream &out, const ResizeCase &c) {
    const auto cuboid = [&](const ZyprVoxelCuboid &b) {
        out << "(" << b.x << " " << b.y << " " << b.z << ")+(" << b.width << " " << b.height << " " << b.depth << ")";
    };
    out << "extent " << c.extent.width << " " << c.extent.height << " " << c.extent.depth << " src ";
    cuboid(c.src);
    out << " dst ";
    cuboid(c.dst);
    for (int k = 0; k < 3; ++k) out << " *" << c.mapping.scale[k] << "+" << c.mapping.shift[k];
    return out << " mode " << c.mode << " padding " << c.srcPadding << " " << c.dstPadding << " upside down " << c.srcUpsideDown
               << " odd " << c.oddBytes << " buffer at " << c.bufferMisalignment;
}

inline ZyprVoxelCuboid whole(const ZyprVolumeExtent &extent) { return {0, 0, 0, extent.width, extent.height, extent.depth}; }

// The six exports under one name.
struct ResizeCall {
    const ZyprVolumeExtent *extent;
    int32_t srcRowStep, srcPlaneStep;
    const ZyprVoxelCuboid *src;
    int32_t dstRowStep, dstPlaneStep;
    const ZyprVoxelCuboid *dst;
    double scale[3], shift[3];
    ZyprInterpolation mode;
    uint8_t *buffer;
};

#define ZYPR_TEST_RESIZE(suffix, T)                                                                                            \
    inline zypStatus resize(const ResizeCall &c, const T *src, T *dst) {                                                       \
        return zyprResize_##suffix##_C1V(src, c.extent, c.srcRowStep, c.srcPlaneStep, c.src, dst, c.dstRowStep,                \
                                         c.dstPlaneStep, c.dst, c.scale[0], c.scale[1], c.scale[2], c.shift[0], c.shift[1],    \
                                         c.shift[2], c.mode, c.buffer);                                                        \
    }                                                                                                                          \
    inline zypStatus resize(const ResizeCall &c, const T *const *src, T *const *dst) {                                         \
        return zyprResize_##suffix##_C1PV(src, c.extent, c.srcRowStep, c.src, dst, c.dstRowStep, c.dst, c.scale[0],            \
                                          c.scale[1], c.scale[2], c.shift[0], c.shift[1], c.shift[2], c.mode, c.buffer);       \
    }
ZYPR_TEST_RESIZE(8u, uint8_t)
ZYPR_TEST_RESIZE(16u, uint16_t)
ZYPR_TEST_RESIZE(32f, float)
#undef ZYPR_TEST_RESIZE

template <class T> T randomSample(Random &random) {
    if constexpr (std::is_same_v<T, float>) {
        if (random.chance(0.02f)) return -0.0f;
        if (random.chance(0.002f)) return std::numeric_limits<float>::infinity();
        return random.real(-100.0f, 1000.0f);
    } else { // many at the ends of the range, where saturation shows
        constexpr int32_t most = std::is_same_v<T, uint8_t> ? 255 : 65535;
        const int32_t kind = random.integer(0, 3);
        return static_cast<T>(kind == 0 ? 0 : kind == 1 ? most : random.integer(0, most));
    }
}

inline int32_t reportedBytes(const ZyprVoxelCuboid &src, const ZyprVoxelCuboid &dst, ZyprInterpolation mode) {
    int32_t size = -1;
    EXPECT_EQ(zyprResizeGetBufSize(&src, &dst, 1, mode, &size), zypStsNoErr);
    return size;
}

template <class T> constexpr T untouchedSample() {
    if constexpr (std::is_same_v<T, float>)
        return -12345.0f;
    else
        return static_cast<T>(0xA7A7);
}

// Runs the case on random samples and checks the status, every destination sample, the bytes around the buffer, and that planes
// which no voxel takes are not even addressed. Memory ends right behind the last sample of every plane.
template <class T> testing::AssertionResult resizesAsDefined(const ResizeCase &c, VolumeForm form, uint32_t seed) {
    Random random(seed);
    const size_t rowLength = static_cast<size_t>(c.extent.width + c.srcPadding);
    const size_t planeLength = rowLength * static_cast<size_t>(c.extent.height - 1) + static_cast<size_t>(c.extent.width);
    const size_t planeStep = planeLength + static_cast<size_t>(c.srcPadding);
    const auto depth = static_cast<size_t>(c.extent.depth);
    std::vector<T> samples(planeStep * (depth - 1) + planeLength);
    for (T &sample : samples) sample = randomSample<T>(random);
    const auto rowOf = [&](int32_t y) {
        return static_cast<size_t>(c.srcUpsideDown ? c.extent.height - 1 - y : y) * rowLength;
    };

    const auto region = resizeRegion(c.extent, c.src, c.dst, c.mapping);
    std::optional<ResizeModel<T>> model;
    if (region)
        model.emplace(
            [&](int32_t x, int32_t y, int32_t z) {
                return samples[static_cast<size_t>(z) * planeStep + rowOf(y) + static_cast<size_t>(x)];
            },
            c.extent, *region, c.mapping, c.mode);

    const auto dstWidth = static_cast<size_t>(c.dst.x + c.dst.width), dstHeight = static_cast<size_t>(c.dst.y + c.dst.height);
    const auto dstDepth = static_cast<size_t>(c.dst.z + c.dst.depth);
    const size_t dstRow = dstWidth + static_cast<size_t>(c.dstPadding), dstPlane = dstRow * dstHeight;
    std::vector<T> expected(dstPlane * dstDepth, untouchedSample<T>());
    if (region)
        for (int32_t z = region->low[2]; z < region->high[2]; ++z)
            for (int32_t y = region->low[1]; y < region->high[1]; ++y)
                for (int32_t x = region->low[0]; x < region->high[0]; ++x)
                    expected[static_cast<size_t>(z) * dstPlane + static_cast<size_t>(y) * dstRow + static_cast<size_t>(x)] =
                        model->voxel(x, y, z);

    GuardedArray<uint8_t> buffer(static_cast<size_t>(reportedBytes(c.src, c.dst, c.mode)), c.bufferMisalignment);
    const auto bytes = [](size_t count) { return static_cast<int32_t>(count * sizeof(T)); };
    const int32_t srcRowStep = (c.srcUpsideDown ? -bytes(rowLength) : bytes(rowLength)) + c.oddBytes;
    ResizeCall call{&c.extent,
                    srcRowStep,
                    bytes(planeStep) + c.oddBytes,
                    &c.src,
                    bytes(dstRow) + c.oddBytes,
                    bytes(dstPlane) + c.oddBytes,
                    &c.dst,
                    {c.mapping.scale[0], c.mapping.scale[1], c.mapping.scale[2]},
                    {c.mapping.shift[0], c.mapping.shift[1], c.mapping.shift[2]},
                    c.mode,
                    buffer.data()};
    zypStatus status = 0;
    std::vector<T> actual;
    if (form == VolumeForm::contiguous) {
        const GuardedArray<T> src(samples);
        GuardedArray<T> dst(std::vector<T>(expected.size(), untouchedSample<T>()));
        status = resize(call, src.data() + (c.srcUpsideDown ? rowOf(0) : 0), dst.data());
        actual = dst.values();
        if (!dst.surroundingsIntact()) return testing::AssertionFailure() << c << ": written around the destination";
    } else {
        std::vector<std::unique_ptr<GuardedArray<T>>> planes;
        std::vector<const T *> srcPlanes(depth, nullptr);
        for (size_t z = 0; z < depth; ++z) {
            if (!model || !model->readsPlane(static_cast<int32_t>(z))) continue;
            const auto first = samples.begin() + static_cast<ptrdiff_t>(z * planeStep);
            planes.push_back(
                std::make_unique<GuardedArray<T>>(std::vector<T>(first, first + static_cast<ptrdiff_t>(planeLength))));
            srcPlanes[z] = planes.back()->data() + (c.srcUpsideDown ? rowOf(0) : 0);
        }
        GuardedArray<T> dst(std::vector<T>(expected.size(), untouchedSample<T>()));
        std::vector<T *> dstPlanes(dstDepth, nullptr);
        if (region)
            for (int32_t z = region->low[2]; z < region->high[2]; ++z)
                dstPlanes[static_cast<size_t>(z)] = dst.data() + static_cast<size_t>(z) * dstPlane;
        status = resize(call, srcPlanes.data(), dstPlanes.data());
        actual = dst.values();
        if (!dst.surroundingsIntact()) return testing::AssertionFailure() << c << ": written around the destination";
    }
    if (status != (region ? zypStsNoErr : zypStsEmptyCuboidWrn))
        return testing::AssertionFailure() << c << ": status " << status;
    if (!buffer.surroundingsIntact()) return testing::AssertionFailure() << c << ": written around the buffer";
    testing::AssertionResult result = equalValues(actual, expected);
    if (!result) result << "\n" << c << (form == VolumeForm::contiguous ? ", contiguous" : ", plane array");
    return result;
}

// All three element types and both forms.
inline testing::AssertionResult resizesAsDefined(const ResizeCase &c, uint32_t seed) {
    for (const VolumeForm form : {VolumeForm::contiguous, VolumeForm::planeArray}) {
        if (auto result = resizesAsDefined<float>(c, form, seed); !result) return result << " 32f";
        if (auto result = resizesAsDefined<uint16_t>(c, form, seed); !result) return result << " 16u";
        if (auto result = resizesAsDefined<uint8_t>(c, form, seed); !result) return result << " 8u";
    }
    return testing::AssertionSuccess();
}

} // namespace zypr::test
