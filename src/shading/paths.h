// The rules by which calls, and the elements of a call, are sent to one arithmetic or another. They are part of the results:
// the ways round differently.
#pragma once

#include "simd/vector.h"

namespace zypr {

// Whether a call takes the aligned path: whole steps of four, and every array that the function names 16-byte aligned.
template <class... Arrays> bool takesAlignedPath(int32_t count, const Arrays *...arrays) {
    return count % 4 == 0 && allAligned<16>(arrays...);
}

// The elements [begin, end) of a call on the general path go by vector steps, the others by the single-element arithmetic.
struct VectorRange {
    int32_t begin;
    int32_t end;
};

// Vector steps start where `key`, the array that the function names, reaches a multiple of 32 bytes, and cover whole groups of
// eight. There are none unless a first step of sixteen fits, nor when the key's elements lie across the multiples.
inline VectorRange vectorRange(const float *key, int32_t count) {
    const auto past = static_cast<int32_t>(reinterpret_cast<uintptr_t>(key) % 32);
    const int32_t peel = past == 0 ? 0 : (32 - past) / 4;
    if (past % 4 != 0 || count < peel + 16) return {0, 0};
    return {peel, peel + (count - peel) / 8 * 8};
}

// How many elements a function under the bit mask handles whose longest step is `Step`: whole steps are counted by an
// arithmetic shift and the rest by its low bits, so a negative count has no whole step and a rest that lies at the start of the
// arrays.
template <int32_t Step> int32_t bitMaskedElements(int32_t count) { return count < 0 ? count & (Step - 1) : count; }

} // namespace zypr
