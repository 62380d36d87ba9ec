// The volume filter for kernels and rows that don't go in 16-bit pairs: sums by rows in floats, and exact sums in 64 bits.

#include <cstring>

#include "simd/vector.h"
#include "volume/filter.h"

namespace zypr {
namespace {

// Samples may lie at odd addresses.
int16_t sampleAt(const int16_t *p) {
    int16_t sample;
    std::memcpy(&sample, p, sizeof sample);
    return sample;
}
void storeSample(int16_t *p, int16_t sample) { std::memcpy(p, &sample, sizeof sample); }

int16_t saturated(int64_t value) { return static_cast<int16_t>(value < -32768 ? -32768 : value > 32767 ? 32767 : value); }

// The coefficient that meets sample (0, 0, 0) of the window; the others follow backwards.
const int32_t *lastTap(const FilterJob &job) {
    return job.taps + int64_t{job.kernel.width} * job.kernel.height * job.kernel.depth - 1;
}

// ---- Float rows ---------------------------------------------------------------------------------------------------------

// One sample or eight.
struct OneSample {
    using Int = int32_t;
    using Float = float;
    static Int load(const int16_t *p) { return sampleAt(p); }
    static Int sum(Int a, Int b) { return static_cast<Int>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }
    static Int all(int32_t a) { return a; }
    static Float all(float a) { return a; }
    static Float converted(Int a) { return static_cast<float>(a); }
    static void store(int16_t *p, Float a) { storeSample(p, static_cast<int16_t>(roundedToNearest(a))); }
};
struct EightSamples {
    using Int = Int8;
    using Float = Float8;
    static constexpr int32_t count = 8;
    static Int load(const int16_t *p) {
        const __m128i samples = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        return {reinterpret_cast<int8Register>(_mm256_cvtepi16_epi32(samples))};
    }
    static Int sum(Int a, Int b) { return a + b; }
    static Int all(int32_t a) { return broadcast<8>(a); }
    static Float all(float a) { return broadcast<8>(a); }
    static Float converted(Int a) { return toFloat(a); }
    static void store(int16_t *p, Float a) {
        const Int8 rounded = roundedToNearest(a);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(p), _mm_packs_epi32(raw(low(rounded)), raw(high(rounded))));
    }
};

// A kernel row's products are summed in 32 bits that wrap, the rows' sums in floats, from the kernel's last row to its first.
template <class Samples> void filterFloat(const FilterJob &job, const FilterWindow &window, int32_t x, int16_t *dst) {
    const int32_t *tap = lastTap(job);
    typename Samples::Float total = Samples::all(0.0f);
    for (int32_t k = 0; k < job.kernel.depth; ++k) {
        for (int32_t j = 0; j < job.kernel.height; ++j) {
            const int16_t *const row = window.row(j, k) + x;
            typename Samples::Int sum = Samples::all(0);
            for (int32_t i = 0; i < job.kernel.width; ++i)
                sum = Samples::sum(sum, wrappingProduct(Samples::load(row + i), Samples::all(*tap--)));
            total = total + Samples::converted(sum);
        }
    }
    const auto scaled = total * Samples::all(job.scale.reciprocal);
    Samples::store(dst + x, maximum(minimum(scaled, Samples::all(32767.0f)), Samples::all(-32768.0f)));
}

// ---- Exact sums ---------------------------------------------------------------------------------------------------------

int16_t finishedExactly(int64_t sum, const FilterScale &scale) {
    switch (scale.mode) {
    case ScaleMode::none: return saturated(sum);
    case ScaleMode::shift: {
        const int64_t quotient = sum >> scale.shift, rest = sum & ((int64_t{1} << scale.shift) - 1);
        const bool up = rest > scale.half || (rest == scale.half && quotient % 2 != 0);
        return saturated(quotient + up);
    }
    case ScaleMode::division: break;
    }
    const double value = static_cast<double>(sum) / scale.divisor;
    if (value >= 32767.0) return 32767;
    if (value <= -32768.0) return -32768;
    // To the nearest integer, halves to even.
    if (value > 0.5) {
        const int32_t up = truncated(value + 0.5);
        return static_cast<int16_t>(up - value == 0.5 ? up & ~1 : up);
    }
    if (value < -0.5) {
        const int32_t down = truncated(value - 0.5);
        return static_cast<int16_t>(down - value == -0.5 && down % 2 != 0 ? down + 1 : down);
    }
    return 0;
}

// Blocks x 4 samples from x on.
template <int Blocks> void filterExactBlocks(const FilterJob &job, const FilterWindow &window, int32_t x, int16_t *dst) {
    const int32_t *tap = lastTap(job);
    __m256i sum[Blocks];
    for (int b = 0; b < Blocks; ++b) sum[b] = _mm256_setzero_si256();
    for (int32_t k = 0; k < job.kernel.depth; ++k) {
        for (int32_t j = 0; j < job.kernel.height; ++j) {
            const int16_t *const row = window.row(j, k) + x;
            for (int32_t i = 0; i < job.kernel.width; ++i) {
                const __m256i coefficient = _mm256_set1_epi64x(*tap--);
                for (int b = 0; b < Blocks; ++b) {
                    const __m128i samples = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(row + i + 4 * b));
                    sum[b] = _mm256_add_epi64(sum[b], _mm256_mul_epi32(_mm256_cvtepi16_epi64(samples), coefficient));
                }
            }
        }
    }
    int64_t sums[4 * Blocks];
    for (int b = 0; b < Blocks; ++b) _mm256_storeu_si256(reinterpret_cast<__m256i *>(sums + 4 * b), sum[b]);
    for (int i = 0; i < 4 * Blocks; ++i) storeSample(dst + x + i, finishedExactly(sums[i], job.scale));
}

void filterExactSample(const FilterJob &job, const FilterWindow &window, int32_t x, int16_t *dst) {
    const int32_t *tap = lastTap(job);
    int64_t sum = 0;
    for (int32_t k = 0; k < job.kernel.depth; ++k) {
        for (int32_t j = 0; j < job.kernel.height; ++j) {
            const int16_t *const row = window.row(j, k) + x;
            for (int32_t i = 0; i < job.kernel.width; ++i) sum += int64_t{sampleAt(row + i)} * *tap--;
        }
    }
    storeSample(dst + x, finishedExactly(sum, job.scale));
}

} // namespace

void filterByFloatRows(const FilterJob &job, TeamShare planes) {
    forFilterRows(job, planes, [&](const FilterWindow &window, int16_t *dst) {
        constexpr int32_t step = EightSamples::count;
        int32_t x = 0;
        for (; job.width - x >= step; x += step) filterFloat<EightSamples>(job, window, x, dst);
        if (x == job.width) return;
        if (job.width >= step) return filterFloat<EightSamples>(job, window, job.width - step, dst);
        for (; x < job.width; ++x) filterFloat<OneSample>(job, window, x, dst);
    });
}

void filterExactly(const FilterJob &job, TeamShare planes) {
    forFilterRows(job, planes, [&](const FilterWindow &window, int16_t *dst) {
        int32_t x = 0;
        for (; job.width - x >= 16; x += 16) filterExactBlocks<4>(job, window, x, dst);
        for (; job.width - x >= 4; x += 4) filterExactBlocks<1>(job, window, x, dst);
        for (; x < job.width; ++x) filterExactSample(job, window, x, dst);
    });
}

} // namespace zypr
