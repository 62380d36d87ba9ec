// The state of the spherical harmonics: its size, and the tables of the recurrence.

#include "frame/fronts.h"
#include "frame/memory.h"
#include "harmonics/basis.h"

namespace zypr::harmonics {
namespace {

constexpr uint32_t directStateSize = 16;
constexpr uint32_t highestRecurrenceOrder = 32766; // the tables of the next would take more than 4 GiB

// Formed in 32 bits.
uint32_t stateSize(uint32_t order, ZyprSHType type) {
    if (type == zyprSHDirect) return directStateSize;
    const uint32_t entries = ((order + 1) * (order + 2)) >> 1;
    return ((entries * 8 + 30) & ~31u) + 32;
}

zypStatus checkedType(uint32_t order, ZyprSHType type) {
    if (type == zyprSHDirect && order > highestOrder) return zypStsSizeErr;
    if (type != zyprSHDirect && type != zyprSHRecurrence) return zypStsSHRangeErr;
    return zypStsNoErr;
}

float *nextMultipleOf16(void *address) {
    return reinterpret_cast<float *>((reinterpret_cast<uintptr_t>(address) + 15) & ~uintptr_t{15});
}

// The entries of band l, from 2 on, that multiply bands l - 1 (a) and l - 2 (b).
void fillBand(int64_t l, float *a, float *b) {
    const double degree = static_cast<double>(l);
    a[0] = static_cast<float>(squareRoot(4 * degree * degree - 1) / degree);
    b[0] = static_cast<float>(-((degree - 1) / degree) * squareRoot((2 * degree + 1) / (2 * degree - 3)));
    for (int64_t m = 1; m < l; ++m) {
        const int64_t range = l * l - m * m, previousRange = (l - 1) * (l - 1) - m * m;
        const float quotientA = static_cast<float>(4 * l * l - 1) / static_cast<float>(range);
        const float quotientB = static_cast<float>((2 * l + 1) * previousRange) / static_cast<float>((2 * l - 3) * range);
        a[m] = squareRoot(quotientA);
        b[m] = -static_cast<float>(squareRoot(static_cast<double>(quotientB)));
    }
    a[l] = static_cast<float>(-squareRoot((2 * degree + 1) / (2 * degree)));
}

void fillTables(ZyprSHState &state) {
    const int64_t order = state.order;
    state.tableA = nextMultipleOf16(&state + 1);
    state.tableB = nextMultipleOf16(state.tableA + (order + 1) * (order + 2) / 2);
    // Band 1's entries stand there for order 0 too, in the space between the tables.
    state.tableA[0] = floatOf(0x3E906EBB); // sqrt(1 / 4 pi)
    state.tableA[1] = floatOf(0x3EFA2A1D); // sqrt(3 / 4 pi), an ulp above the nearest float
    state.tableA[2] = floatOf(0xBEFA2A1D);
    for (int64_t l = 2; l <= order; ++l) fillBand(l, state.tableA + l * (l + 1) / 2, state.tableB + l * (l + 1) / 2);
}

} // namespace
} // namespace zypr::harmonics

using namespace zypr::harmonics;

zypStatus front_zyprSHGetSize_32f(uint32_t order, ZyprSHType type, uint32_t *size) {
    if (!size) return zypStsNullPtrErr;
    if (const zypStatus status = checkedType(order, type); status != zypStsNoErr) return status;
    *size = stateSize(order, type);
    return zypStsNoErr;
}

zypStatus front_zyprSHInit_32f(ZyprSHState *state, uint32_t order, ZyprSHType type) {
    if (!state) return zypStsNullPtrErr;
    if (const zypStatus status = checkedType(order, type); status != zypStsNoErr) return status;
    if (order > highestRecurrenceOrder) return zypStsSHRangeErr;
    zyprClearBlock16(state, static_cast<int32_t>(stateSize(order, type) / 2));
    state->order = order;
    state->type = type;
    if (type == zyprSHRecurrence) fillTables(*state);
    return zypStsNoErr;
}
