// Products under the bit mask: three planes times a factor, and the dot product of two vectors of three planes.

#include "frame/fronts.h"
#include "shading/paths.h"
#include "simd/groups.h"

namespace zypr {
namespace {

// Stores results with the bits of their mask words cleared. `operands(i, lanes)` loads what the outputs of a group share and
// gives a function from an output's number to its result. A group of eight negative words becomes +0.0 with nothing loaded; a
// shorter group is never taken for one, because its absent lanes read as words of 0.
template <size_t Outputs, class Operands>
void storeBitMasked(float *const (&outputs)[Outputs], const int32_t *mask, int32_t count, Operands operands) {
    forGroups(0, bitMaskedElements<8>(count), [&](ptrdiff_t i, auto lanes) {
        const Int8 words = lanes.load(mask + i);
        if (all(isNegative(words))) {
            for (float *const output : outputs) lanes.store(output + i, broadcast<8>(0.0f));
        } else {
            const auto result = operands(i, lanes);
            for (size_t c = 0; c < Outputs; ++c) lanes.store(outputs[c] + i, withoutBits(result(c), words));
        }
    });
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprMul_32f_C1P3IM(const float *factor, const int32_t *mask, float *const values[3], int32_t count) {
    if (factor == nullptr || mask == nullptr || values == nullptr) return zypStsNullPtrErr;

    float *const planes[] = {values[0], values[1], values[2]};
    storeBitMasked(planes, mask, count, [&](ptrdiff_t i, auto lanes) {
        return [&planes, i, lanes, common = lanes.load(factor + i)](size_t c) { return common * lanes.load(planes[c] + i); };
    });
    return zypStsNoErr;
}

zypStatus front_zyprDot_32f_P3C1M(const float *const left[3], const float *const right[3], const int32_t *mask, float *result,
                                  int32_t count) {
    if (left == nullptr || right == nullptr || mask == nullptr || result == nullptr) return zypStsNullPtrErr;

    const float *const a[] = {left[0], left[1], left[2]};
    const float *const b[] = {right[0], right[1], right[2]};
    storeBitMasked({result}, mask, count, [&](ptrdiff_t i, auto lanes) {
        return [&a, &b, i, lanes](size_t) {
            const Float8 middle = lanes.load(a[1] + i) * lanes.load(b[1] + i);
            const Float8 first = fused(lanes.load(a[0] + i), lanes.load(b[0] + i), middle);
            return fused(lanes.load(a[2] + i), lanes.load(b[2] + i), first);
        };
    });
    return zypStsNoErr;
}
