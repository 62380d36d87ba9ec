// The volume filter in 16-bit pairs: one instruction multiplies two neighbouring samples by two coefficients and adds the
// products. Sums wrap in 32 bits, so their order is free, and they stay in registers from the first coefficient to the result.

#include "simd/vector.h"
#include "volume/filter.h"

namespace zypr {
namespace {

// One load of 16 samples at x holds the pairs (x, x + 1), (x + 2, x + 3)... that the even destination samples need. The odd
// ones need pairs that start one sample later. For an odd kernel width they come from the same loads with the coefficients
// moved by one, so that nothing past the kernel's reach is loaded:
//     even  (c0 c1) (c2 c3) (c4 0)
//     odd   (0 c0)  (c1 c2) (c3 c4)
// For an even width they come from loads at x + 1 and have the same coefficients.
struct CoefficientPair {
    int32_t even, odd;
};
static_assert(sizeof(CoefficientPair) == packedPairBytes);

int32_t pairOf(int32_t first, int32_t second) {
    return static_cast<int32_t>((static_cast<uint32_t>(first) & 0xFFFF) | static_cast<uint32_t>(second) << 16);
}

// The kernel in the order of the window's rows: its last coefficient first.
void packKernel(const int32_t *taps, const ZyprVolumeExtent &kernel, CoefficientPair *packed) {
    const int64_t rows = int64_t{kernel.height} * kernel.depth;
    const bool oddWidth = kernel.width % 2 != 0;
    for (int64_t row = rows - 1; row >= 0; --row) {
        const int32_t *const last = taps + row * kernel.width + kernel.width - 1;
        const auto c = [&](int32_t i) { return i >= 0 && i < kernel.width ? last[-i] : 0; };
        for (int32_t i = 0; i < kernel.width; i += 2) {
            const int32_t even = pairOf(c(i), c(i + 1));
            *packed++ = {even, oddWidth ? pairOf(c(i - 1), c(i)) : even};
        }
    }
}

// ---- Finishing ----------------------------------------------------------------------------------------------------------

struct SumFinish {
    explicit SumFinish(const FilterScale &scale)
        : mode(scale.mode), bias(broadcast<8>(scale.half - 1)), shift(_mm_cvtsi32_si128(scale.shift)),
          reciprocal(broadcast<8>(scale.reciprocal)) {}

    // Before saturation. A shift rounds halves to even: (sum + half - 1 + lowest bit of the quotient) >> shift.
    Int8 operator()(Int8 sum) const {
        switch (mode) {
        case ScaleMode::none: return sum;
        case ScaleMode::shift: return shifted(sum + bias + (shifted(sum) & broadcast<8>(1)));
        case ScaleMode::division: return roundedToNearest(toFloat(sum) * reciprocal);
        }
        __builtin_unreachable();
    }

private:
    Int8 shifted(Int8 a) const { return {reinterpret_cast<int8Register>(_mm256_sra_epi32(raw(a), shift))}; }

    ScaleMode mode;
    Int8 bias;
    __m128i shift;
    Float8 reciprocal;
};

// Sixteen samples from the sums of the even and of the odd ones.
void storeSaturated(int16_t *dst, Int8 even, Int8 odd) {
    const __m256i low = _mm256_unpacklo_epi32(raw(even), raw(odd)), high = _mm256_unpackhi_epi32(raw(even), raw(odd));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst), _mm256_packs_epi32(low, high));
}

// ---- Sums ---------------------------------------------------------------------------------------------------------------

struct PackedKernel {
    const CoefficientPair *pairs;
    int32_t pairsPerRow;
    int32_t height, depth;
};

// Loads are the limit here, so the samples that two products share stay in a register: compilers would load them for each.
Int8 loadSamples(const int16_t *p) {
    __m256i samples = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    __asm__("" : "+x"(samples));
    return {reinterpret_cast<int8Register>(samples)};
}
Int8 pairProducts(Int8 samples, Int8 coefficients) {
    return {reinterpret_cast<int8Register>(_mm256_madd_epi16(raw(samples), raw(coefficients)))};
}

// Blocks x 16 destination samples from x on. `Pairs` is the number of pairs in a kernel row, 0 when it isn't known here.
template <int Blocks, int Pairs, bool OddWidth>
void filterBlocks(const PackedKernel &kernel, const FilterWindow &window, int32_t x, const SumFinish &finish, int16_t *dst) {
    const int32_t pairs = Pairs != 0 ? Pairs : kernel.pairsPerRow;
    const CoefficientPair *pair = kernel.pairs;
    Int8 even[Blocks], odd[Blocks];
    for (int b = 0; b < Blocks; ++b) even[b] = odd[b] = broadcast<8>(0);
    for (int32_t k = 0; k < kernel.depth; ++k) {
        const int16_t *row = window.row(0, k) + x;
        for (int32_t j = 0; j < kernel.height; ++j, row += window.rowStep) {
            for (int32_t p = 0; p < pairs; ++p, ++pair) {
                const Int8 evenPair = broadcast<8>(pair->even), oddPair = broadcast<8>(pair->odd);
                for (int b = 0; b < Blocks; ++b) {
                    const Int8 samples = loadSamples(row + 2 * p + 16 * b);
                    even[b] = even[b] + pairProducts(samples, evenPair);
                    odd[b] = odd[b] + pairProducts(OddWidth ? samples : loadSamples(row + 2 * p + 16 * b + 1), oddPair);
                }
            }
        }
    }
    for (int b = 0; b < Blocks; ++b) storeSaturated(dst + x + 16 * b, finish(even[b]), finish(odd[b]));
}

// A row of at least 16 samples. Blocks of 48 keep their six sums, and what they multiply, in registers. The last block may
// overlap the one before it.
template <int Pairs, bool OddWidth>
void filterRow(const PackedKernel &kernel, const FilterWindow &window, int32_t width, const SumFinish &finish, int16_t *dst) {
    int32_t x = 0;
    // Of what the next row of the result needs this alone is not in cache: the planes before have been passed once.
    const int16_t *const nextRow = window.row(kernel.height, kernel.depth - 1);
    for (; width - x >= 48; x += 48) {
        __builtin_prefetch(nextRow + x);
        __builtin_prefetch(nextRow + x + 32);
        filterBlocks<3, Pairs, OddWidth>(kernel, window, x, finish, dst);
    }
    for (; width - x >= 32; x += 32) filterBlocks<2, Pairs, OddWidth>(kernel, window, x, finish, dst);
    for (; width - x >= 16; x += 16) filterBlocks<1, Pairs, OddWidth>(kernel, window, x, finish, dst);
    if (x < width) filterBlocks<1, Pairs, OddWidth>(kernel, window, width - 16, finish, dst);
}

using RowKernel = void(const PackedKernel &, const FilterWindow &, int32_t, const SumFinish &, int16_t *);

RowKernel *rowKernel(int32_t kernelWidth) {
    if (kernelWidth == 3) return filterRow<2, true>; // longer rows lose when their loop is unrolled
    return kernelWidth % 2 != 0 ? filterRow<0, true> : filterRow<0, false>;
}

} // namespace

void filterByMultiplyAdd(const FilterJob &job, TeamShare planes, uint8_t *scratch) {
    const auto aligned =
        (reinterpret_cast<uintptr_t>(scratch) + packedAlignment - 1) & -static_cast<uintptr_t>(packedAlignment);
    auto *const pairs = reinterpret_cast<CoefficientPair *>(aligned);
    packKernel(job.taps, job.kernel, pairs);

    const PackedKernel kernel = {pairs, (job.kernel.width + 1) / 2, job.kernel.height, job.kernel.depth};
    const SumFinish finish(job.scale);
    RowKernel *const filter = rowKernel(job.kernel.width);
    forFilterRows(job, planes,
                  [&](const FilterWindow &window, int16_t *dst) { filter(kernel, window, job.width, finish, dst); });
}

} // namespace zypr
