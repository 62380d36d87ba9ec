// Copies of planes that fit the caches and of planes that don't: the cached engine, and each front with the stores that it
// chooses, beside memcpy row by row. Bytes are those copied, read and written once each.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "plane/copy.h"

namespace {

using namespace zypr;

// Rows lie 64 bytes apart, so that they don't join to one.
struct Planes {
    int32_t rowBytes, height, rowStep = rowBytes + 64;
    std::vector<uint8_t> from = std::vector<uint8_t>(bytes(), 1), to = std::vector<uint8_t>(bytes());

    size_t bytes() const { return static_cast<size_t>(rowStep) * static_cast<size_t>(height); }
};

void copyRows(const Planes &planes, uint8_t *to) {
    for (ptrdiff_t y = 0; y < planes.height; ++y)
        std::memcpy(to + y * planes.rowStep, planes.from.data() + y * planes.rowStep, static_cast<size_t>(planes.rowBytes));
}
void copyCached(const Planes &planes, uint8_t *to) {
    planeCopyCached(PlaneBytes(planes.from.data(), planes.rowStep, to, planes.rowStep, planes.rowBytes, planes.height));
}
void copy8u(const Planes &planes, uint8_t *to) {
    zyprPlaneCopy_8u_C1(planes.from.data(), planes.rowStep, to, planes.rowStep, {planes.rowBytes, planes.height});
}
void copy32f(const Planes &planes, uint8_t *to) {
    zyprPlaneCopy_32f_C1(reinterpret_cast<const float *>(planes.from.data()), planes.rowStep, reinterpret_cast<float *>(to),
                         planes.rowStep, {planes.rowBytes / 4, planes.height});
}

void copy(benchmark::State &state, void (*function)(const Planes &, uint8_t *), int32_t rowBytes, int32_t height) {
    Planes planes{rowBytes, height};
    for (auto _ : state) {
        function(planes, planes.to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * rowBytes * height);
}

[[maybe_unused]] const bool registered = [] {
    const struct {
        const char *name;
        int32_t rowBytes, height;
    } sizes[] = {
        {"32KiB", 1024, 32}, {"512KiB", 2048, 256}, {"8MiB", 4096, 2048}, {"32MiB", 8192, 4096}, {"256MiB", 16384, 16384}};
    const std::pair<const char *, void (*)(const Planes &, uint8_t *)> functions[] = {
        {"memcpy", copyRows}, {"cached", copyCached}, {"8u", copy8u}, {"32f", copy32f}};
    for (const auto &size : sizes)
        for (const auto &[name, function] : functions)
            benchmark::RegisterBenchmark((std::string("copy/") + size.name + "/" + name).c_str(), copy, function, size.rowBytes,
                                         size.height);
    return true;
}();

} // namespace
