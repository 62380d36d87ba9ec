// The spherical harmonics: points and bytes of output per second. The evaluators run beside the same definitions one point at a
// time and beside the mere storing of their output; the transforms beside the same arithmetic as plain loops, which the
// compiler may vectorise as far as the order of additions allows.

#include <benchmark/benchmark.h>

#include <immintrin.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "harmonics/direct_bands.h"
#include "harmonics/model.h"
#include "support/random.h"
#include "zypr.h"

namespace {

namespace model = zypr::test::harmonics;

constexpr int64_t inCache = 16 << 10; // bytes of output
constexpr int64_t inMemory = 256 << 20;

struct State {
    alignas(16) unsigned char memory[2048];
    State(uint32_t order, ZyprSHType type) { zyprSHInit_32f(get(), order, type); }
    ZyprSHState *get() { return reinterpret_cast<ZyprSHState *>(memory); }
};

struct Points {
    std::vector<float> x, y, z;
    explicit Points(int64_t count) {
        zypr::test::Random random(1);
        x = random.reals(static_cast<size_t>(count), -0.6f, 0.6f);
        y = random.reals(static_cast<size_t>(count), -0.6f, 0.6f);
        z = random.reals(static_cast<size_t>(count), -0.6f, 0.6f);
    }
    int32_t count() const { return static_cast<int32_t>(x.size()); }
};

// Memory that no zeroed page stands behind.
struct Output {
    std::unique_ptr<float[]> values;
    explicit Output(int64_t count) : values(new float[static_cast<size_t>(count)]) { std::fill_n(values.get(), count, 1.0f); }
};

void setRates(benchmark::State &state, int64_t points, int64_t floatsPerPoint) {
    state.SetItemsProcessed(state.iterations() * points);
    state.SetBytesProcessed(state.iterations() * points * floatsPerPoint * 4);
}

// ---- The evaluators -----------------------------------------------------------------------------------------------------

// One point at a time, in scalar registers: what the compiler can't be let vectorise within a point.
#if defined(__clang__)
#define SCALAR
#else
#define SCALAR __attribute__((optimize("no-tree-vectorize")))
#endif

SCALAR void scalarRecurrence(const Points &points, int order, const ZyprSHState &state, float *destination) {
    for (int32_t i = 0; i < points.count(); ++i) {
        const auto at = static_cast<size_t>(i);
        model::recurrence(points.x[at], points.y[at], points.z[at], order, state.tableA, state.tableB,
                          destination + static_cast<int64_t>(i) * model::functionCount(order));
    }
}

template <int l, int... i>
[[gnu::always_inline]] inline void storeScalarBand(const zypr::harmonics::DirectBands<double> &bands, float *middle,
                                                   std::integer_sequence<int, i...>) {
    ((middle[i] = static_cast<float>(bands.function<l, i>()), middle[-i] = static_cast<float>(bands.function<l, -i>())), ...);
}

template <int l>
[[gnu::always_inline]] inline void scalarBandsFrom(zypr::harmonics::DirectBands<double> &bands, int order, float *block) {
    bands.advance<l>();
    storeScalarBand<l>(bands, block + l * l + l, std::make_integer_sequence<int, l + 1>{});
    if constexpr (l < 15) {
        if (order > l) scalarBandsFrom<l + 1>(bands, order, block);
    }
}

SCALAR void unrolledDirect(const Points &points, int order, const ZyprSHState &, float *destination) {
    for (int32_t i = 0; i < points.count(); ++i) {
        const auto at = static_cast<size_t>(i);
        const float x = points.x[at], y = points.y[at], z = points.z[at];
        zypr::harmonics::DirectBands<double> bands({x, y, z, x * x, y * y, z * z});
        scalarBandsFrom<0>(bands, order, destination + static_cast<int64_t>(i) * model::functionCount(order));
    }
}

// The rule as loops over l and m with tables of coefficients, in double precision.
struct DirectTables {
    zypr::harmonics::ZonalPolynomial polynomials[16][16];
    DirectTables() {
        for (int l = 0; l < 16; ++l) {
            for (int m = 0; m <= l; ++m) polynomials[l][m] = zypr::harmonics::zonalPolynomial(l, m);
        }
    }
};

SCALAR void loopedDirect(const Points &points, int order, const ZyprSHState &, float *destination) {
    static const DirectTables tables;
    for (int32_t i = 0; i < points.count(); ++i) {
        const auto at = static_cast<size_t>(i);
        const double x = points.x[at], y = points.y[at], z = points.z[at];
        const double zz = points.z[at] * points.z[at];
        float *block = destination + static_cast<int64_t>(i) * model::functionCount(order);
        double cosine[16] = {1}, sine[16] = {0};
        for (int m = 1; m <= order; ++m) {
            cosine[m] = zypr::fusedDifference(x, cosine[m - 1], y * sine[m - 1]);
            sine[m] = zypr::fused(x, sine[m - 1], y * cosine[m - 1]);
        }
        for (int l = 0; l <= order; ++l) {
            for (int m = 0; m <= l; ++m) {
                const zypr::harmonics::ZonalPolynomial &polynomial = tables.polynomials[l][m];
                double value = polynomial.coefficient[polynomial.degree];
                for (int k = polynomial.degree - 1; k >= 0; --k) value = zypr::fused(value, zz, polynomial.coefficient[k]);
                if (polynomial.odd) value *= z;
                block[l * l + l - m] = static_cast<float>(value * sine[m]);
                block[l * l + l + m] = static_cast<float>(value * cosine[m]);
            }
        }
    }
}

void libraryBasis(const Points &points, int order, const ZyprSHState &state, float *destination) {
    zyprSH_32f(points.x.data(), points.y.data(), points.z.data(), points.count(), destination, static_cast<uint32_t>(order),
               &state);
}

// The floor for anything that stores its output as usual: every line is read before it is written.
void storeOnly(const Points &points, int order, const ZyprSHState &, float *destination) {
    const __m256 value = _mm256_set1_ps(1.5f);
    const int64_t floats = static_cast<int64_t>(points.count()) * model::functionCount(order);
    for (int64_t i = 0; i + 8 <= floats; i += 8) _mm256_storeu_ps(destination + i, value);
}

// The floor of the memory itself: whole lines past the caches, none of them read.
void streamOnly(const Points &points, int order, const ZyprSHState &, float *destination) {
    const __m256 value = _mm256_set1_ps(1.5f);
    const int64_t floats = static_cast<int64_t>(points.count()) * model::functionCount(order);
    int64_t i = 0;
    while (reinterpret_cast<uintptr_t>(destination + i) % 64 != 0) destination[i++] = 1.5f;
    for (; i + 8 <= floats; i += 8) _mm256_stream_ps(destination + i, value);
    _mm_sfence();
}

using Evaluator = void (*)(const Points &, int, const ZyprSHState &, float *);

void evaluate(benchmark::State &state, Evaluator evaluator, ZyprSHType type, int64_t bytes) {
    const int order = static_cast<int>(state.range(0));
    const int64_t functions = model::functionCount(order);
    const int64_t count = bytes / 4 / functions;
    const Points points(count);
    const Output output(count * functions);
    State sh(15, type);
    for (auto _ : state) {
        evaluator(points, order, *sh.get(), output.values.get());
        benchmark::ClobberMemory();
    }
    setRates(state, count, functions);
}

void libraryBand(benchmark::State &state) {
    const auto band = static_cast<uint32_t>(state.range(0));
    const int64_t count = inCache / 4 / (2 * band + 1);
    const Points points(count);
    const Output output(count * (2 * band + 1));
    for (auto _ : state) {
        zyprSHBand_32f(points.x.data(), points.y.data(), points.z.data(), points.count(), output.values.get(), band);
        benchmark::ClobberMemory();
    }
    setRates(state, count, 2 * band + 1);
}

// ---- The transforms -----------------------------------------------------------------------------------------------------

constexpr int32_t transformPoints = 1000;

struct TransformData {
    Points points{transformPoints};
    std::vector<float> values[3];
    alignas(32) float coefficients[3][256];
    const float *valuePlanes[3];
    float *destinations[3];
    float *vectors[3];

    TransformData() {
        zypr::test::Random random(2);
        for (int c = 0; c < 3; ++c) {
            values[c] = random.reals(transformPoints, 0.1f, 1);
            for (float &coefficient : coefficients[c]) coefficient = random.real(-1, 1);
            valuePlanes[c] = destinations[c] = values[c].data();
            vectors[c] = coefficients[c];
        }
    }
};

// Transforms as plain loops over the recurrence's scalar blocks, compiled as everything else is.
void plainForward(const TransformData &data, int channels, int order, const ZyprSHState &state) {
    const int functions = model::functionCount(order);
    for (size_t i = 0; i < transformPoints; ++i) {
        float basis[256];
        model::recurrence(data.points.x[i], data.points.y[i], data.points.z[i], order, state.tableA, state.tableB, basis);
        for (int c = 0; c < channels; ++c) {
            const float value = data.values[c][i];
            float *__restrict coefficients = data.vectors[c];
            for (int k = 0; k < functions; ++k) coefficients[k] = coefficients[k] + basis[k] * value;
        }
    }
}

void plainInverse(const TransformData &data, int channels, int order, const ZyprSHState &state) {
    const int functions = model::functionCount(order);
    for (size_t i = 0; i < transformPoints; ++i) {
        float basis[256];
        model::recurrence(data.points.x[i], data.points.y[i], data.points.z[i], order, state.tableA, state.tableB, basis);
        for (int c = 0; c < channels; ++c) data.destinations[c][i] = model::dotProduct(basis, data.vectors[c], functions, 0);
    }
}

void libraryForward(const TransformData &data, int channels, int order, const ZyprSHState &state) {
    const Points &p = data.points;
    const auto o = static_cast<uint32_t>(order);
    if (channels == 1)
        zyprSHTFwd_32f_C1I(p.x.data(), p.y.data(), p.z.data(), data.values[0].data(), transformPoints, data.vectors[0], o,
                           &state);
    else
        zyprSHTFwd_32f_P3I(p.x.data(), p.y.data(), p.z.data(), data.valuePlanes, transformPoints, data.vectors, o, &state);
}

void libraryInverse(const TransformData &data, int channels, int order, const ZyprSHState &state) {
    const Points &p = data.points;
    const auto o = static_cast<uint32_t>(order);
    if (channels == 1)
        zyprSHTInv_32f_C1(data.vectors[0], o, p.x.data(), p.y.data(), p.z.data(), data.destinations[0], transformPoints,
                          &state);
    else
        zyprSHTInv_32f_P3(data.vectors, o, p.x.data(), p.y.data(), p.z.data(), data.destinations, transformPoints, &state);
}

using Transform = void (*)(const TransformData &, int, int, const ZyprSHState &);

void transform(benchmark::State &state, Transform run, int channels) {
    const int order = static_cast<int>(state.range(0));
    TransformData data;
    State sh(15, zyprSHRecurrence);
    for (auto _ : state) {
        run(data, channels, order, *sh.get());
        benchmark::ClobberMemory();
    }
    setRates(state, transformPoints, channels);
}

const std::vector<int64_t> orders = {3, 6, 10, 15};

BENCHMARK_CAPTURE(evaluate, recurrence_scalar, scalarRecurrence, zyprSHRecurrence, inCache)->ArgsProduct({orders});
BENCHMARK_CAPTURE(evaluate, recurrence, libraryBasis, zyprSHRecurrence, inCache)->ArgsProduct({orders});
BENCHMARK_CAPTURE(evaluate, direct_scalar, loopedDirect, zyprSHDirect, inCache)->ArgsProduct({orders});
BENCHMARK_CAPTURE(evaluate, direct_scalar_unrolled, unrolledDirect, zyprSHDirect, inCache)->ArgsProduct({orders});
BENCHMARK_CAPTURE(evaluate, direct, libraryBasis, zyprSHDirect, inCache)->ArgsProduct({orders});
BENCHMARK(libraryBand)->ArgsProduct({orders});
BENCHMARK_CAPTURE(evaluate, store_to_memory, storeOnly, zyprSHRecurrence, inMemory)->ArgsProduct({orders});
BENCHMARK_CAPTURE(evaluate, stream_to_memory, streamOnly, zyprSHRecurrence, inMemory)->ArgsProduct({orders});
BENCHMARK_CAPTURE(evaluate, recurrence_to_memory, libraryBasis, zyprSHRecurrence, inMemory)->ArgsProduct({orders});
BENCHMARK_CAPTURE(evaluate, direct_to_memory, libraryBasis, zyprSHDirect, inMemory)->ArgsProduct({orders});
BENCHMARK_CAPTURE(transform, forward_plain_C1, plainForward, 1)->ArgsProduct({orders});
BENCHMARK_CAPTURE(transform, forward_C1, libraryForward, 1)->ArgsProduct({orders});
BENCHMARK_CAPTURE(transform, forward_plain_P3, plainForward, 3)->ArgsProduct({orders});
BENCHMARK_CAPTURE(transform, forward_P3, libraryForward, 3)->ArgsProduct({orders});
BENCHMARK_CAPTURE(transform, inverse_plain_C1, plainInverse, 1)->ArgsProduct({orders});
BENCHMARK_CAPTURE(transform, inverse_C1, libraryInverse, 1)->ArgsProduct({orders});
BENCHMARK_CAPTURE(transform, inverse_plain_P3, plainInverse, 3)->ArgsProduct({orders});
BENCHMARK_CAPTURE(transform, inverse_P3, libraryInverse, 3)->ArgsProduct({orders});

} // namespace
