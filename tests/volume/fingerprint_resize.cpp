// Hashes of the resize functions' results.

#include "support/fingerprint.h"
#include "support/random.h"
#include "volume/resize_case.h"

namespace {

using namespace zypr::test;

template <class T, VolumeForm form> void hashResizes(Fingerprint &print) {
    const ZyprVolumeExtent extent{37, 21, 19};
    constexpr size_t srcRow = 37, srcPlane = 37 * 21, dstRow = 64, dstPlane = 64 * 40;
    Random random(5);
    std::vector<T> src(srcPlane * 19), dst(dstPlane * 36);
    for (T &sample : src) sample = randomSample<T>(random);
    std::vector<const T *> srcPlanes;
    std::vector<T *> dstPlanes;
    for (size_t z = 0; z < 19; ++z) srcPlanes.push_back(src.data() + z * srcPlane);
    for (size_t z = 0; z < 36; ++z) dstPlanes.push_back(dst.data() + z * dstPlane);
    for (const ZyprInterpolation mode : {1, 2, 4, 5, 6, 7}) {
        for (const double scale : {1.5, 0.6}) {
            const ZyprVoxelCuboid from = whole(extent), to{1, 0, 2, 60, 40, 34};
            std::vector<uint8_t> buffer(static_cast<size_t>(reportedBytes(from, to, mode)));
            const ResizeCall call{&extent,
                                  static_cast<int32_t>(srcRow * sizeof(T)),
                                  static_cast<int32_t>(srcPlane * sizeof(T)),
                                  &from,
                                  static_cast<int32_t>(dstRow * sizeof(T)),
                                  static_cast<int32_t>(dstPlane * sizeof(T)),
                                  &to,
                                  {scale, scale, scale},
                                  {0.25, -0.5, 0.75},
                                  mode,
                                  buffer.data()};
            if constexpr (form == VolumeForm::contiguous)
                print.addValue(resize(call, src.data(), dst.data()));
            else
                print.addValue(resize(call, srcPlanes.data(), dstPlanes.data()));
            print.add(dst);
        }
    }
}

} // namespace

FINGERPRINT(zyprGetResizeCuboid) {
    for (const double scale : {0.3, 1.0, 2.7}) {
        const ZyprVoxelCuboid from{3, 1, 4, 15, 9, 26};
        ZyprVoxelCuboid to{};
        print.addValue(zyprGetResizeCuboid(&from, &to, scale, scale + 0.1, scale + 0.2, 0.5, -1.0, 7.0, zyprInterLinear));
        for (const int32_t number : {to.x, to.y, to.z, to.width, to.height, to.depth}) print.addValue(number);
    }
}

FINGERPRINT(zyprResizeGetBufSize) {
    const ZyprVoxelCuboid cuboid{0, 0, 0, 123, 45, 67};
    for (const ZyprInterpolation mode : {1, 2, 4, 5, 6, 7}) print.addValue(reportedBytes(cuboid, cuboid, mode));
}

FINGERPRINT(zyprResize_8u_C1V) { hashResizes<uint8_t, VolumeForm::contiguous>(print); }
FINGERPRINT(zyprResize_16u_C1V) { hashResizes<uint16_t, VolumeForm::contiguous>(print); }
FINGERPRINT(zyprResize_32f_C1V) { hashResizes<float, VolumeForm::contiguous>(print); }
FINGERPRINT(zyprResize_8u_C1PV) { hashResizes<uint8_t, VolumeForm::planeArray>(print); }
FINGERPRINT(zyprResize_16u_C1PV) { hashResizes<uint16_t, VolumeForm::planeArray>(print); }
FINGERPRINT(zyprResize_32f_C1PV) { hashResizes<float, VolumeForm::planeArray>(print); }
