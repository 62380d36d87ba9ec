#include "support/fingerprint.h"
#include "volume/sampling_model.h"

using namespace zypr::test;

namespace {

constexpr ZyprVolumeExtent sourceExtents[] = {{13, 11, 9}, {6, 7, 1}};
constexpr ZyprVolumeExtent dstExtent = {19, 7, 5};

template <class Sample, class Call> void remapPrint(Fingerprint &print, const Call &call) {
    Random random(63);
    for (const ZyprVolumeExtent &extent : sourceExtents) {
        const auto src = randomVolume<Sample>(random, extent);
        PlaneArray<float> maps[3] = {PlaneArray<float>(dstExtent), PlaneArray<float>(dstExtent), PlaneArray<float>(dstExtent)};
        const int32_t sizes[3] = {extent.width, extent.height, extent.depth};
        for (int axis = 0; axis < 3; ++axis)
            maps[axis].fill([&](int, int, int) { return random.real(-0.5f, static_cast<float>(sizes[axis]) - 0.5f); });
        for (const ZyprInterpolation mode : allModes) {
            PlaneArray<Sample> dst(dstExtent);
            dst.fill([](int, int, int) { return 7; });
            ZyprVoxelCuboid region = {0, 0, 0, extent.width, extent.height, extent.depth};
            print.addValue(call(src.constPointers(), &extent, src.rowStep(), &region, maps[0].constPointers(),
                                maps[1].constPointers(), maps[2].constPointers(), maps[0].rowStep(), dst.pointers(),
                                dst.rowStep(), &dstExtent, mode));
            print.add(dst.values());
        }
    }
}

template <class Sample, class Call> void warpPrint(Fingerprint &print, const Call &call) {
    Random random(64);
    const double matrix[12] = {1.1, 0.2, -0.3, 1.7, -0.15, 1.3, 0.25, 2.1, 0.05, -0.35, 0.8, 1.2};
    for (const ZyprVolumeExtent &extent : sourceExtents) {
        const auto src = randomVolume<Sample>(random, extent);
        for (const ZyprInterpolation mode : allModes) {
            PlaneArray<Sample> dst(dstExtent);
            dst.fill([](int, int, int) { return 7; });
            ZyprVoxelCuboid region = {0, 0, 0, extent.width, extent.height, extent.depth};
            const ZyprVoxelCuboid box = {0, 0, 0, dstExtent.width, dstExtent.height, dstExtent.depth};
            print.addValue(
                call(src.constPointers(), &extent, src.rowStep(), &region, dst.pointers(), dst.rowStep(), &box, matrix, mode));
            print.add(dst.values());
        }
    }
}

} // namespace

FINGERPRINT(zyprRemap_8u_C1PV) { remapPrint<uint8_t>(print, zyprRemap_8u_C1PV); }
FINGERPRINT(zyprRemap_16u_C1PV) { remapPrint<uint16_t>(print, zyprRemap_16u_C1PV); }
FINGERPRINT(zyprRemap_32f_C1PV) { remapPrint<float>(print, zyprRemap_32f_C1PV); }
FINGERPRINT(zyprWarpAffine_8u_C1PV) { warpPrint<uint8_t>(print, zyprWarpAffine_8u_C1PV); }
FINGERPRINT(zyprWarpAffine_16u_C1PV) { warpPrint<uint16_t>(print, zyprWarpAffine_16u_C1PV); }
FINGERPRINT(zyprWarpAffine_32f_C1PV) { warpPrint<float>(print, zyprWarpAffine_32f_C1PV); }
FINGERPRINT(zyprWarpAffineGetBufSize) {
    const ZyprVoxelCuboid box = {0, 0, 0, 3, 4, 5};
    int32_t size = 7;
    print.addValue(zyprWarpAffineGetBufSize(&box, &box, 1, zyprInterLinear, &size));
    print.addValue(size);
}
