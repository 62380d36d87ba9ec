// Products under the sign mask: values times a factor, and a weighted term accumulated into three planes.

#include "frame/fronts.h"
#include "shading/paths.h"
#include "shading/selection.h"

namespace zypr {
namespace {

// (value x factor) x 1 where the word isn't negative, x 0 where it is: a multiplication, so that the zero has the product's
// sign and an infinite product becomes NaN.
void multiply(const float *factor, const int32_t *mask, float *values, int32_t count) {
    forGroups(0, count, [=](ptrdiff_t i, auto lanes) {
        const Float8 product = lanes.load(values + i) * lanes.load(factor + i);
        const Float8 kept = keep(selectedAmong(lanes, mask + i), broadcast<8>(1.0f));
        lanes.store(values + i, product * kept);
    });
}

struct Accumulation {
    const float *scale;
    const float *weight;
    const float *factor[3];
    const int32_t *mask;
    float *accumulator[3];

    Float8 scaleOf(int plane) const { return broadcast<8>(scale[plane]); }
};

// scale x factor x weight + accumulator where the word isn't negative; the other elements are neither read nor written.
struct ScaleFused {
    Float8 operator()(Float8 scale, Float8 factor, Float8 weight, Float8 accumulator) const {
        return fused(factor * weight, scale, accumulator);
    }
};
struct WeightFused {
    Float8 operator()(Float8 scale, Float8 factor, Float8 weight, Float8 accumulator) const {
        return fused(scale * factor, weight, accumulator);
    }
};
template <class Sum> void accumulateSelected(Accumulation job, int32_t begin, int32_t end) {
    const Float8 scale[] = {job.scaleOf(0), job.scaleOf(1), job.scaleOf(2)};
    forGroups(begin, end, [&](ptrdiff_t i, auto lanes) {
        withSelected(selectedAmong(lanes, job.mask + i), [&](auto selected) {
            const Float8 weight = selected.load(job.weight + i);
            for (int c = 0; c < 3; ++c) {
                float *const sum = job.accumulator[c] + i;
                selected.store(sum, Sum{}(scale[c], selected.load(job.factor[c] + i), weight, selected.load(sum)));
            }
        });
    });
}

// The same with every operation rounded, and with +0.0 as the term of an element that isn't selected: it is added like any
// other, which turns -0.0 into +0.0.
void accumulateEverywhere(Accumulation job, int32_t begin, int32_t end) {
    const Float8 scale[] = {job.scaleOf(0), job.scaleOf(1), job.scaleOf(2)};
    forGroups(begin, end, [&](ptrdiff_t i, auto lanes) {
        const Mask8 selected = selectedAmong(lanes, job.mask + i);
        const Float8 weight = lanes.load(job.weight + i);
        for (int c = 0; c < 3; ++c) {
            float *const sum = job.accumulator[c] + i;
            lanes.store(sum, keep(selected, scale[c] * lanes.load(job.factor[c] + i) * weight) + lanes.load(sum));
        }
    });
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprMul_32f_C1IM(const float *factor, const int32_t *mask, float *values, int32_t count) {
    multiply(factor, mask, values, count);
    return zypStsNoErr;
}

zypStatus front_zyprAddMulMul_32f_AC1P3IM(const float *scale, const float *weight, const float *const factor[3],
                                          const int32_t *mask, float *const accumulator[3], int32_t count) {
    if (weight == nullptr || factor == nullptr || mask == nullptr || accumulator == nullptr) return zypStsNullPtrErr;
    if (count < 1) return zypStsNoErr;

    const Accumulation job = {
        scale, weight, {factor[0], factor[1], factor[2]}, mask, {accumulator[0], accumulator[1], accumulator[2]}};
    if (takesAlignedPath(count, weight, mask, accumulator[0], accumulator[1], accumulator[2])) {
        accumulateSelected<ScaleFused>(job, 0, count);
    } else {
        const VectorRange vectors = vectorRange(weight, count);
        accumulateSelected<WeightFused>(job, 0, vectors.begin);
        accumulateEverywhere(job, vectors.begin, vectors.end);
        accumulateSelected<WeightFused>(job, vectors.end, count);
    }
    return zypStsNoErr;
}
