// The distance of points from one point, never less than 1, under the sign mask.

#include "frame/fronts.h"
#include "shading/paths.h"
#include "shading/selection.h"

namespace zypr {
namespace {

// The root of a squared distance, or 1 where that is below 1. The three ways differ where it is NaN, and in the last bits.
struct RootOrOne { // 1 for NaN
    Float8 operator()(Float8 square) const { return squareRoot(maximum(square, broadcast<8>(1.0f))); }
};
struct RootOrNaN { // NaN for NaN
    Float8 operator()(Float8 square) const { return squareRoot(maximum(broadcast<8>(1.0f), square)); }
};
struct EstimatedRoot { // NaN for NaN and for infinity
    Float8 operator()(Float8 square) const {
        const Float8 one = broadcast<8>(1.0f);
        const Float8 r = reciprocalRootEstimate(square);
        const Float8 a = square * r;
        const Float8 b = a * r;
        return select(square < one, one, (a * (b - broadcast<8>(3.0f))) * broadcast<8>(-0.5f));
    }
};

struct Attenuation {
    const float *point;
    const float *positions[3];
    const int32_t *mask;
    float *result;
};

// Only selected positions are read; the others' results are 1.
template <class Root> void attenuate(Attenuation job, int32_t begin, int32_t end) {
    const Float8 x = broadcast<8>(job.point[0]), y = broadcast<8>(job.point[1]), z = broadcast<8>(job.point[2]);
    forGroups(begin, end, [&](ptrdiff_t i, auto lanes) {
        const Mask8 selected = selectedAmong(lanes, job.mask + i);
        Float8 distance = broadcast<8>(1.0f);
        withSelected(selected, [&](auto chosen) {
            const Float8 dx = chosen.load(job.positions[0] + i) - x;
            const Float8 dy = chosen.load(job.positions[1] + i) - y;
            const Float8 dz = chosen.load(job.positions[2] + i) - z;
            const Float8 square = fused(dz, dz, fused(dx, dx, dy * dy));
            distance = Root{}(keep(selected, square));
        });
        lanes.store(job.result + i, distance);
    });
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprDistAttenuationSO_32f_M(const float *point, const float *const positions[3], const int32_t *mask,
                                            float *result, int32_t count) {
    if (positions == nullptr || mask == nullptr || result == nullptr) return zypStsNullPtrErr;
    if (count < 1) return zypStsNoErr;

    const Attenuation job = {point, {positions[0], positions[1], positions[2]}, mask, result};
    if (takesAlignedPath(count, result, mask, positions[0], positions[1], positions[2])) {
        attenuate<RootOrOne>(job, 0, count);
    } else {
        const VectorRange vectors = vectorRange(result, count);
        attenuate<RootOrNaN>(job, 0, vectors.begin);
        attenuate<EstimatedRoot>(job, vectors.begin, vectors.end);
        attenuate<RootOrNaN>(job, vectors.end, count);
    }
    return zypStsNoErr;
}
