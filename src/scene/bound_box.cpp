// The box around a point array, widened by a margin in proportion to its largest coordinate.

#include <cfloat>
#include <cmath>

#include "frame/fronts.h"
#include "simd/vector.h"

namespace zypr {
namespace {

struct Bounds {
    float minimum[3] = {FLT_MAX, FLT_MAX, FLT_MAX};
    float maximum[3] = {-FLT_MAX, -FLT_MAX, -FLT_MAX};

    void add(int axis, float value) { add(axis, value, value); }
    void add(int axis, float low, float high) {
        minimum[axis] = zypr::minimum(low, minimum[axis]);
        maximum[axis] = zypr::maximum(high, maximum[axis]);
    }
};

// Eight points are three registers; in register k, lane i holds axis (8k + i) mod 3.
int32_t addBlocksOfEight(const float *points, int32_t count, Bounds &bounds) {
    Float8 lowest[3], highest[3];
    for (int k = 0; k < 3; ++k) {
        lowest[k] = broadcast<8>(FLT_MAX);
        highest[k] = broadcast<8>(-FLT_MAX);
    }
    int32_t done = 0;
    for (; count - done >= 8; done += 8) {
        for (int k = 0; k < 3; ++k) {
            const Float8 values = load<8>(points + 3 * static_cast<int64_t>(done) + 8 * k);
            lowest[k] = minimum(values, lowest[k]);
            highest[k] = maximum(values, highest[k]);
        }
    }
    float low[24], high[24];
    for (int k = 0; k < 3; ++k) {
        store(low + 8 * k, lowest[k]);
        store(high + 8 * k, highest[k]);
    }
    for (int i = 0; i < 24; ++i) bounds.add(i % 3, low[i], high[i]);
    return done;
}

Bounds boundsOf(const float *points, int32_t count) {
    Bounds bounds;
    for (int32_t i = addBlocksOfEight(points, count, bounds); i < count; ++i) {
        for (int axis = 0; axis < 3; ++axis) bounds.add(axis, points[3 * static_cast<int64_t>(i) + axis]);
    }
    return bounds;
}

constexpr float relativeMargin = 9.9999997e-05f;
constexpr float smallestScale = 1.1754944e-38f;

// One margin for all axes, so that it fits the rounding of the scene's largest coordinate.
float marginOf(const Bounds &bounds) {
    float scale = smallestScale;
    for (int axis = 0; axis < 3; ++axis) {
        scale = maximum(std::fabs(bounds.minimum[axis]), scale);
        scale = maximum(std::fabs(bounds.maximum[axis]), scale);
    }
    return relativeMargin * scale;
}

} // namespace
} // namespace zypr

zypStatus front_zyprSetBoundBox_32f(const float *points, int32_t count, ZyprBox *box) {
    if (points == nullptr) return zypStsNullPtrErr;
    const zypr::Bounds bounds = zypr::boundsOf(points, count);
    const float margin = zypr::marginOf(bounds);
    for (int axis = 0; axis < 3; ++axis) {
        box->minimum[axis] = bounds.minimum[axis] - margin;
        box->maximum[axis] = bounds.maximum[axis] + margin;
    }
    return zypStsNoErr;
}
