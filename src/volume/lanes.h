// Eight lanes taken apart.
#pragma once

#include <cstddef>

#include "simd/vector.h"

namespace zypr::sampling {

using Int64x4 [[gnu::vector_size(32)]] = int64_t;

// The samples from a plane's first to voxel (x, y) in it. By shuffles, where lanes are constants: a narrow load that follows a
// wide store of the same bytes too soon has to wait for it.
struct EightOffsets {
    EightOffsets() = default;
    EightOffsets(Int8 x, Int8 y, ptrdiff_t rowStep) {
        const __m256i step = _mm256_set1_epi64x(rowStep);
        const auto four = [&](__m128i column, __m128i row) {
            return reinterpret_cast<Int64x4>(
                _mm256_add_epi64(_mm256_mul_epi32(_mm256_cvtepi32_epi64(row), step), _mm256_cvtepi32_epi64(column)));
        };
        half[0] = four(raw(low(x)), raw(low(y)));
        half[1] = four(raw(high(x)), raw(high(y)));
    }
    ptrdiff_t operator[](int lane) const { return half[lane / 4][lane % 4]; }
    Int64x4 half[2];
};

// By loads, for lanes that are read long after they were stored.
template <class T> class LanesInMemory {
public:
    template <class Vector> void store(const Vector &vector) {
        static_assert(sizeof vector == sizeof lane_);
        std::memcpy(lane_, &vector, sizeof vector);
        asm("" : "+m"(lane_)); // or the compiler makes shuffles of the loads
    }
    T operator[](int lane) const { return lane_[lane]; }

private:
    alignas(32) T lane_[8];
};

} // namespace zypr::sampling
