// Forward and inverse transforms. Points are taken a group at a time; for every coefficient the points' contributions are added
// in the points' order, and every point's sum keeps the order of its terms.

#include <algorithm>
#include <cstring>

#include "frame/fronts.h"
#include "harmonics/basis.h"
#include "harmonics/dot_product.h"

namespace zypr::harmonics {
namespace {

zypStatus checkedRange(int32_t count, uint32_t order, const ZyprSHState &state) {
    if (count == 0) return zypStsSizeErr;
    if (order > state.order) return zypStsSHRangeErr;
    if (order > highestOrder) return zypStsSHRangeErr;
    return zypStsNoErr;
}

template <class T> bool anyNull(T *const pointers[3]) { return !pointers || !pointers[0] || !pointers[1] || !pointers[2]; }

// How the values of one point lie in memory: channel c at channel[c][i * stride].
template <class T, int channels> struct Values {
    T *channel[channels];
    int64_t stride;
};

template <class T> Values<T, 1> single(T *values) { return {{values}, 1}; }
template <class T> Values<T, 3> planes(T *const values[3]) { return {{values[0], values[1], values[2]}, 1}; }
template <class T> Values<T, 3> interleaved(T *values) { return {{values, values + 1, values + 2}, 3}; }

struct Points {
    const float *x, *y, *z;
    int32_t count;
};

bool overlap(const float *a, const float *b, int32_t count) {
    const auto first = reinterpret_cast<uintptr_t>(a), second = reinterpret_cast<uintptr_t>(b);
    const uintptr_t distance = first < second ? second - first : first - second;
    return distance < sizeof(float) * static_cast<uintptr_t>(count);
}

template <int channels> bool shareMemory(float *const (&coefficients)[channels], int32_t functions) {
    for (int a = 0; a < channels; ++a) {
        for (int b = 0; b < a; ++b)
            if (overlap(coefficients[a], coefficients[b], functions)) return true;
    }
    return false;
}

// The values of one channel at a group. A point whose value is zero contributes +0.0 whatever its basis holds.
struct GroupValues {
    float value[groupSize];
    int32_t kept[groupSize]; // all ones, or 0 for a value of zero

    template <class T> void read(const T *values, int64_t stride, int32_t count) {
        for (int32_t p = 0; p < count; ++p) {
            value[p] = values[p * stride];
            kept[p] = value[p] == 0.0f ? 0 : -1;
        }
    }
    Float8 times(Float8 row, int32_t p) const { return keep(maskOf(broadcast<8>(kept[p])), row * broadcast<8>(value[p])); }
};

// Adds value x basis at `count` points, in order, to eight coefficients of each channel.
template <int channels, class Load, class Store>
[[gnu::always_inline]] inline void accumulate(const BasisGroup &basis, const GroupValues (&values)[channels], int32_t k,
                                              int32_t count, const Load &loadFrom, const Store &storeTo) {
    for (int32_t first = 0; first < count; first += 4) {
        const FourRows rows = transposed(basis, k, first);
        const int32_t rowCount = std::min(count - first, 4);
        for (int c = 0; c < channels; ++c) {
            Float8 sum = loadFrom(c);
            for (int32_t r = 0; r < rowCount; ++r) sum = sum + values[c].times(rows.row[r], first + r);
            storeTo(c, sum);
        }
    }
}

template <int channels>
void forward(const Points &points, const Values<const float, channels> &values, float *const (&coefficients)[channels],
             uint32_t order, const ZyprSHState &state) {
    const int32_t functions = functionCount(order);
    if constexpr (channels > 1) {
        // The channels take turns point by point, which shows where they add to the same coefficients.
        if (shareMemory(coefficients, functions)) {
            for (int64_t i = 0; i < points.count; ++i) {
                for (int c = 0; c < channels; ++c)
                    forward<1>({points.x + i, points.y + i, points.z + i, 1}, single(values.channel[c] + i * values.stride),
                               {coefficients[c]}, order, state);
            }
            return;
        }
    }
    const Mask8 lastLanes = firstLanes<8>(functions % 8);
    BasisGroup basis(functions);
    GroupValues groupValues[channels];
    for (int64_t i = 0; i < points.count; i += groupSize) {
        const int32_t count = static_cast<int32_t>(std::min<int64_t>(points.count - i, groupSize));
        evaluate(firstGroup(points.x + i, points.y + i, points.z + i, count), order, state, basis);
        for (int c = 0; c < channels; ++c) groupValues[c].read(values.channel[c] + i * values.stride, values.stride, count);

        int32_t k = 0;
        for (; k + 8 <= functions; k += 8) {
            const auto loadFrom = [&](int c) { return load<8>(coefficients[c] + k); };
            const auto storeTo = [&](int c, Float8 sum) { store(coefficients[c] + k, sum); };
            if (count == groupSize)
                accumulate(basis, groupValues, k, groupSize, loadFrom, storeTo);
            else
                accumulate(basis, groupValues, k, count, loadFrom, storeTo);
        }
        if (k == functions) continue;
        accumulate(
            basis, groupValues, k, count, [&](int c) { return load(coefficients[c] + k, lastLanes); },
            [&](int c, Float8 sum) { store(coefficients[c] + k, lastLanes, sum); });
    }
}

template <int channels>
void inverse(const Points &points, const float *const (&coefficients)[channels], const Values<float, channels> &destination,
             uint32_t order, const ZyprSHState &state) {
    if (points.count < 1) return; // not even the coefficients are read
    const int32_t functions = functionCount(order);
    alignas(32) float vectors[channels][256];
    DotProductPlan plans[channels];
    for (int c = 0; c < channels; ++c) {
        const void *vector = coefficients[c]; // of any alignment
        std::memcpy(vectors[c], vector, sizeof(float) * static_cast<size_t>(functions));
        plans[c] = dotProductPlan(vector, functions);
    }
    BasisGroup basis(functions);
    for (int64_t i = 0; i < points.count; i += groupSize) {
        const int32_t count = static_cast<int32_t>(std::min<int64_t>(points.count - i, groupSize));
        evaluate(firstGroup(points.x + i, points.y + i, points.z + i, count), order, state, basis);
        alignas(32) float sums[channels][groupSize];
        for (int c = 0; c < channels; ++c) store(sums[c], dotProduct(basis, vectors[c], functions, plans[c]));
        for (int32_t p = 0; p < count; ++p) {
            for (int c = 0; c < channels; ++c) destination.channel[c][(i + p) * destination.stride] = sums[c][p];
        }
    }
}

} // namespace
} // namespace zypr::harmonics

using namespace zypr::harmonics;

zypStatus front_zyprSHTFwd_32f_C1I(const float *x, const float *y, const float *z, const float *values, int32_t count,
                                   float *coefficients, uint32_t order, const ZyprSHState *state) {
    if (!x || !y || !z || !values || !coefficients || !state) return zypStsNullPtrErr;
    if (const zypStatus status = checkedRange(count, order, *state); status != zypStsNoErr) return status;
    forward<1>({x, y, z, count}, single(values), {coefficients}, order, *state);
    return zypStsNoErr;
}

zypStatus front_zyprSHTFwd_32f_C3P3I(const float *x, const float *y, const float *z, const float *values, int32_t count,
                                     float *const coefficients[3], uint32_t order, const ZyprSHState *state) {
    if (!x || !y || !z || !values || anyNull(coefficients) || !state) return zypStsNullPtrErr;
    if (const zypStatus status = checkedRange(count, order, *state); status != zypStsNoErr) return status;
    forward<3>({x, y, z, count}, interleaved(values), {coefficients[0], coefficients[1], coefficients[2]}, order, *state);
    return zypStsNoErr;
}

zypStatus front_zyprSHTFwd_32f_P3I(const float *x, const float *y, const float *z, const float *const values[3], int32_t count,
                                   float *const coefficients[3], uint32_t order, const ZyprSHState *state) {
    if (!x || !y || !z || anyNull(values) || anyNull(coefficients) || !state) return zypStsNullPtrErr;
    if (const zypStatus status = checkedRange(count, order, *state); status != zypStsNoErr) return status;
    forward<3>({x, y, z, count}, planes(values), {coefficients[0], coefficients[1], coefficients[2]}, order, *state);
    return zypStsNoErr;
}

zypStatus front_zyprSHTInv_32f_C1(const float *coefficients, uint32_t order, const float *x, const float *y, const float *z,
                                  float *destination, int32_t count, const ZyprSHState *state) {
    if (!x || !y || !z || !destination || !coefficients || !state) return zypStsNullPtrErr;
    if (const zypStatus status = checkedRange(count, order, *state); status != zypStsNoErr) return status;
    inverse<1>({x, y, z, count}, {coefficients}, single(destination), order, *state);
    return zypStsNoErr;
}

zypStatus front_zyprSHTInv_32f_P3(const float *const coefficients[3], uint32_t order, const float *x, const float *y,
                                  const float *z, float *const destination[3], int32_t count, const ZyprSHState *state) {
    if (!x || !y || !z || anyNull(destination) || anyNull(coefficients) || !state) return zypStsNullPtrErr;
    if (const zypStatus status = checkedRange(count, order, *state); status != zypStsNoErr) return status;
    inverse<3>({x, y, z, count}, {coefficients[0], coefficients[1], coefficients[2]}, planes(destination), order, *state);
    return zypStsNoErr;
}

zypStatus front_zyprSHTInv_32f_P3C3(const float *const coefficients[3], uint32_t order, const float *x, const float *y,
                                    const float *z, float *destination, int32_t count, const ZyprSHState *state) {
    if (!x || !y || !z || !destination || anyNull(coefficients) || !state) return zypStsNullPtrErr;
    if (const zypStatus status = checkedRange(count, order, *state); status != zypStsNoErr) return status;
    inverse<3>({x, y, z, count}, {coefficients[0], coefficients[1], coefficients[2]}, interleaved(destination), order, *state);
    return zypStsNoErr;
}
