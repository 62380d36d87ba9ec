// The shading arithmetic over bundles that stay in the cache (64 x 64 rays) and bundles that don't (2048 x 2048); with all rays
// alive, with runs of 64 rays of which every second is dead, and with every ray alive or dead by chance.

#include <array>

#include "shading/models.h"
#include "support/beside.h"
#include "support/random.h"
#include "zypr.h"

using namespace zypr::test;
using zypr::bench::runBeside;

namespace {

enum MaskKind { everyRay, runsOf64, byChance };

using Planes = std::array<float *, 3>;

// What the seven functions take. Arrays begin at multiples of 64 bytes, each at another distance from a page; factors are 1 and
// -1, so that values stay moderate however often they are multiplied.
class Bundle {
public:
    explicit Bundle(const benchmark::State &state) : count(static_cast<int32_t>(state.range(0))) {
        const auto real = [this](size_t) { return random_.real(-3.0f, 3.0f); };
        const auto sign = [this](size_t) { return random_.chance(0.5f) ? 1.0f : -1.0f; };
        mask = words(static_cast<MaskKind>(state.range(1)));
        factor = array(sign);
        values = array(real);
        result = array(real);
        for (size_t c = 0; c < 3; ++c) {
            left[c] = array(real);
            right[c] = array(real);
            negated[c] = array([&](size_t i) { return -left[c][i]; });
        }
    }
    size_t bytes(size_t perRay) const { return perRay * static_cast<size_t>(count); }

    int32_t count;
    const int32_t *mask;
    float *factor, *values, *result;
    Planes left, right, negated;
    const float three[3] = {0.25f, -0.5f, 1.0f};

private:
    template <class T, class Make> T *place(std::vector<T> &block, Make make) {
        const auto size = static_cast<size_t>(count);
        block.resize(size + 16 * ++arrays_ * 5 + 16);
        T *data = block.data() + 16 * arrays_ * 5;
        while (reinterpret_cast<uintptr_t>(data) % 64 != 0) ++data;
        for (size_t i = 0; i < size; ++i) data[i] = make(i);
        return data;
    }
    template <class Make> float *array(Make make) { return place(floats_.emplace_back(), make); }
    const int32_t *words(MaskKind kind) {
        return place(mask_, [&](size_t i) {
            if (kind == everyRay) return 0;
            if (kind == runsOf64) return i / 64 % 2 == 0 ? 0 : -1;
            return random_.chance(0.5f) ? 0 : -1;
        });
    }

    Random random_{1};
    size_t arrays_ = 0;
    std::vector<int32_t> mask_;
    std::vector<std::vector<float>> floats_;
};

// The bytes per ray are those that a call reads and writes with all rays alive.

void multiply(benchmark::State &state) {
    Bundle b(state);
    runBeside(
        state, b.bytes(16), [&] { zyprMul_32f_C1IM(b.factor, b.mask, b.values, b.count); },
        [&] { model::multiply(b.factor, b.mask, b.values, b.count); });
}

void multiplyPlanes(benchmark::State &state) {
    Bundle b(state);
    runBeside(
        state, b.bytes(32), [&] { zyprMul_32f_C1P3IM(b.factor, b.mask, b.left.data(), b.count); },
        [&] { model::multiplyPlanes(b.factor, b.mask, b.left.data(), b.count); });
}

void divide(benchmark::State &state) {
    Bundle b(state);
    runBeside(
        state, b.bytes(16), [&] { zyprDiv_32f_C1IM(b.factor, b.mask, b.values, b.count); },
        [&] { model::divide(b.factor, b.mask, b.values, b.count); });
}

void dot(benchmark::State &state) {
    Bundle b(state);
    runBeside(
        state, b.bytes(32), [&] { zyprDot_32f_P3C1M(b.left.data(), b.right.data(), b.mask, b.result, b.count); },
        [&] { model::dot(b.left.data(), b.right.data(), b.mask, b.result, b.count); });
}

// Weights and results that begin behind a multiple of 16 bytes take the general path.
void accumulateFrom(benchmark::State &state, int32_t offset) {
    Bundle b(state);
    const float *const weight = b.factor + offset;
    const int32_t count = b.count - 4 * offset;
    const auto key = reinterpret_cast<uintptr_t>(weight);
    runBeside(
        state, b.bytes(44), [&] { zyprAddMulMul_32f_AC1P3IM(b.three, weight, b.left.data(), b.mask, b.right.data(), count); },
        [&] { model::accumulate(b.three, weight, b.left.data(), b.mask, b.right.data(), count, offset == 0, key); });
}
void accumulateAligned(benchmark::State &state) { accumulateFrom(state, 0); }
void accumulateGeneral(benchmark::State &state) { accumulateFrom(state, 1); }

void attenuateFrom(benchmark::State &state, int32_t offset) {
    Bundle b(state);
    float *const result = b.result + offset;
    const int32_t count = b.count - 4 * offset;
    const auto key = reinterpret_cast<uintptr_t>(result);
    runBeside(
        state, b.bytes(20), [&] { zyprDistAttenuationSO_32f_M(b.three, b.left.data(), b.mask, result, count); },
        [&] { model::attenuate(b.three, b.left.data(), b.mask, result, count, offset == 0, key); });
}
void attenuateAligned(benchmark::State &state) { attenuateFrom(state, 0); }
void attenuateGeneral(benchmark::State &state) { attenuateFrom(state, 1); }

// The references face the normals and their backs by turns, so that every call turns every normal.
void turnNormals(benchmark::State &state) {
    Bundle b(state);
    for (size_t c = 0; c < 3; ++c) std::copy_n(b.left[c], b.count, b.right[c]);
    bool facing = false;
    const auto reference = [&] { return (facing = !facing) ? b.left.data() : b.negated.data(); };
    runBeside(
        state, b.bytes(44), [&] { zyprDotChangeNorm_32f_IM(reference(), b.mask, b.right.data(), b.result, b.count); },
        [&] { model::turn(reference(), b.mask, b.right.data(), b.result, b.count); });
}

void everyBundle(benchmark::internal::Benchmark *bench) {
    bench->ArgNames({"rays", "mask"})->UseManualTime()->MinTime(0.1);
    for (const int rays : {64 * 64, 2048 * 2048}) {
        for (const MaskKind kind : {everyRay, runsOf64, byChance}) bench->Args({rays, kind});
    }
}

BENCHMARK(multiply)->Apply(everyBundle);
BENCHMARK(multiplyPlanes)->Apply(everyBundle);
BENCHMARK(divide)->Apply(everyBundle);
BENCHMARK(dot)->Apply(everyBundle);
BENCHMARK(accumulateAligned)->Apply(everyBundle);
BENCHMARK(accumulateGeneral)->Apply(everyBundle);
BENCHMARK(attenuateAligned)->Apply(everyBundle);
BENCHMARK(attenuateGeneral)->Apply(everyBundle);
BENCHMARK(turnNormals)->Apply(everyBundle);

} // namespace
