#include <vector>

#include "support/fingerprint.h"
#include "support/random.h"
#include "zypr.h"

using zypr::test::Random;

FINGERPRINT(zyprFilterGetBufSize) {
    const ZyprVolumeExtent dst{100, 20, 20}, kernel{5, 4, 3};
    int32_t size = 0;
    print.addValue(zyprFilterGetBufSize(&dst, &kernel, 1, &size));
    print.addValue(size);
}

FINGERPRINT(zyprFilter_16s_C1PV) {
    Random random(11);
    constexpr int32_t pitch = 100, rows = 20, depth = 12;
    std::vector<int16_t> source(static_cast<size_t>(pitch) * rows * depth);
    for (int16_t &sample : source) sample = static_cast<int16_t>(random.word());
    std::vector<const int16_t *> planes;
    for (int32_t z = 0; z < depth; ++z) planes.push_back(source.data() + (z * rows + 5) * pitch + 5);
    for (const ZyprVolumeExtent kernel : {ZyprVolumeExtent{3, 3, 3}, {5, 5, 5}, {7, 6, 4}, {4, 4, 4}, {5, 1, 1}, {2, 2, 2}}) {
        for (const int32_t most : {200, 30000, 1000000}) {
            for (const int32_t divisor : {1, 64, 1000, -37}) {
                for (const int32_t width : {7, 15, 16, 77}) {
                    std::vector<int32_t> taps(static_cast<size_t>(kernel.width) * kernel.height * kernel.depth);
                    for (int32_t &tap : taps) tap = random.integer(-most, most);
                    const ZyprVolumeExtent dst{width, 3, 2};
                    const int32_t origin[] = {2, 2, 2};
                    int32_t size = 0;
                    zyprFilterGetBufSize(&dst, &kernel, 1, &size);
                    std::vector<uint8_t> scratch(static_cast<size_t>(size));
                    std::vector<int16_t> result(static_cast<size_t>(width) * 6);
                    int16_t *const results[] = {result.data(), result.data() + 3 * width};
                    print.addValue(zyprFilter_16s_C1PV(planes.data() + 5, 2 * pitch, results, 2 * width, &dst, taps.data(),
                                                       &kernel, origin, divisor, scratch.data()));
                    print.add(result);
                }
            }
        }
    }
}
