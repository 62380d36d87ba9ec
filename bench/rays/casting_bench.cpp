// Casting, hit points and normals, each beside its scalar model, and a copy for the machine's bandwidth. Bundles of 4096 rays
// stay in the cache; those of a million do not.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "rays/casting_model.h"
#include "rays/hit_geometry_model.h"
#include "support/random.h"
#include "zypcore.h"
#include "zypr.h"

namespace {

using zypr::test::Random;
namespace model = zypr::test::model;
using model::Vector;

constexpr int32_t triangleCount = 20000, vertexCount = 10000;

// The arrays of a bundle, all aligned, with hits on a mesh whose triangles neighbouring rays share.
class Bundle {
public:
    explicit Bundle(int32_t rays) : count(rays) {
        Random random(1);
        for (float *&plane : planes) {
            plane = array<float>(count);
            for (int32_t i = 0; i < count; ++i) plane[i] = random.real(0.1f, 0.4f);
        }
        for (int32_t i = 0; i < count; ++i) {
            triangle[i] = i % 11 == 0 ? -1 : (i / 3) % triangleCount;
            mask[i] = i % 11 == 0 ? -1 : 0;
        }
        for (int32_t i = 0; i < 3 * vertexCount; ++i) vertices[i] = random.real(-1.0f, 1.0f);
        for (int32_t i = 0; i < 3 * triangleCount; ++i) normals[i] = random.real(-1.0f, 1.0f);
        for (int32_t i = 0; i < triangleCount; ++i)
            for (int32_t k = 0; k < 4; ++k) indices[4 * i + k] = (i / 2 + k * 37) % vertexCount;
    }
    ~Bundle() {
        for (float *plane : planes) std::free(plane);
        for (void *block : {static_cast<void *>(triangle), static_cast<void *>(mask), static_cast<void *>(indices)})
            std::free(block);
        std::free(vertices);
        std::free(normals);
    }
    Bundle(const Bundle &) = delete;

    const int32_t count;
    float *planes[13];
    float *const *const first = planes, *const *const second = planes + 3, *const *const result = planes + 6;
    const float *const *const bary = planes + 9;
    float *const &scalar = planes[11], *const &scalarResult = planes[12];
    int32_t *const triangle = array<int32_t>(count), *const mask = array<int32_t>(count);
    float *const vertices = array<float>(3 * vertexCount), *const normals = array<float>(3 * triangleCount);
    int32_t *const indices = array<int32_t>(4 * triangleCount);

private:
    template <class T> static T *array(int32_t elements) {
        return static_cast<T *>(std::aligned_alloc(64, (static_cast<size_t>(elements) * sizeof(T) + 63) / 64 * 64));
    }
};

Vector at(const float *const triple[3], int32_t i) { return {triple[0][i], triple[1][i], triple[2][i]}; }
void set(float *const triple[3], int32_t i, const Vector &value) {
    for (size_t a = 0; a < 3; ++a) triple[a][i] = value[a];
}

// Runs the library's or the model's pass over a bundle; `bytesPerRay` are those read and written.
template <class Pass> void measure(benchmark::State &state, int64_t bytesPerRay, const Pass &pass) {
    Bundle bundle(static_cast<int32_t>(state.range(0)));
    for (auto _ : state) {
        pass(bundle);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * bundle.count * bytesPerRay);
    state.SetItemsProcessed(state.iterations() * bundle.count);
}
#define SIZES Arg(4096)->Arg(1 << 20)->Unit(benchmark::kMicrosecond)

void Copy(benchmark::State &state) {
    measure(state, 24, [](Bundle &b) {
        for (int a = 0; a < 3; ++a) std::memcpy(b.result[a], b.first[a], static_cast<size_t>(b.count) * sizeof(float));
    });
}
BENCHMARK(Copy)->SIZES;

const float base[3] = {-1, -1, 1}, columnStep[3] = {0.01f, 0, 0.001f}, rowStep[3] = {0, 0.01f, 0.002f}, point[3] = {1, 2, 3};

void CastEye(benchmark::State &state) {
    measure(state, 12, [](Bundle &b) {
        zyprCastEye_32f(base, columnStep, rowStep, 1, 1, {64, b.count / 64}, b.result, {64, b.count / 64});
    });
}
BENCHMARK(CastEye)->SIZES;
void CastEyeModel(benchmark::State &state) {
    measure(state, 12, [](Bundle &b) {
        const model::EyeGrid grid{{base[0], base[1], base[2]},
                                  {columnStep[0], 0, columnStep[2]},
                                  {0, rowStep[1], rowStep[2]},
                                  1,
                                  1,
                                  64,
                                  b.count / 64};
        model::castEye(grid, 64, b.count / 64,
                       [&](int32_t row, int32_t column, const Vector &d) { set(b.result, row * 64 + column, d); });
    });
}
BENCHMARK(CastEyeModel)->SIZES;

void CastReflectionRay(benchmark::State &state) {
    measure(state, 40, [](Bundle &b) { zyprCastReflectionRay_32f(b.first, b.mask, b.second, b.result, b.count); });
}
BENCHMARK(CastReflectionRay)->SIZES;
void CastReflectionRayModel(benchmark::State &state) {
    measure(state, 40, [](Bundle &b) {
        for (int32_t i = 0; i < b.count; ++i)
            set(b.result, i, model::reflected(at(b.first, i), at(b.second, i), b.mask[i], b.count));
    });
}
BENCHMARK(CastReflectionRayModel)->SIZES;

void CastShadowSO(benchmark::State &state) {
    measure(state, 52, [](Bundle &b) {
        zyprCastShadowSO_32f(point, b.scalar, b.second, b.first, b.mask, b.scalarResult, b.result, b.count);
    });
}
BENCHMARK(CastShadowSO)->SIZES;
void CastShadowSOModel(benchmark::State &state) {
    measure(state, 52, [](Bundle &b) {
        for (int32_t i = 0; i < b.count; ++i) {
            const auto s = model::shadow({1, 2, 3}, b.scalar[i], at(b.second, i), at(b.first, i), b.mask[i], true);
            set(b.result, i, s.direction);
            b.scalarResult[i] = s.lightDot;
            b.mask[i] = s.word;
        }
    });
}
BENCHMARK(CastShadowSOModel)->SIZES;

void HitPointM0(benchmark::State &state) {
    measure(state, 44,
            [](Bundle &b) { zyprHitPoint3DEpsM0_32f_M(b.first, b.second, b.scalar, b.mask, b.result, b.count, 0.999f); });
}
BENCHMARK(HitPointM0)->SIZES;
void HitPointS0(benchmark::State &state) {
    measure(state, 32,
            [](Bundle &b) { zyprHitPoint3DEpsS0_32f_M(point, b.second, b.scalar, b.mask, b.result, b.count, 0.999f); });
}
BENCHMARK(HitPointS0)->SIZES;
void HitPointM0Model(benchmark::State &state) {
    measure(state, 44, [](Bundle &b) {
        for (int32_t i = 0; i < b.count; ++i)
            set(b.result, i,
                model::hitPoint(at(b.first, i), at(b.second, i), b.scalar[i], 0.999f, b.mask[i],
                                model::inGroupOfNegatives(b.mask, b.count, i)));
    });
}
BENCHMARK(HitPointM0Model)->SIZES;

void SurfFlatNormal(benchmark::State &state) {
    measure(state, 28, [](Bundle &b) { zyprSurfFlatNormal_32f(b.normals, b.triangle, b.result, b.count); });
}
BENCHMARK(SurfFlatNormal)->SIZES;
void SurfFlatNormalModel(benchmark::State &state) {
    measure(state, 28, [](Bundle &b) {
        for (int32_t i = 0; i < b.count; ++i) {
            const float *n = b.normals + 3 * int64_t{b.triangle[i]};
            set(b.result, i, b.triangle[i] < 0 ? Vector{} : Vector{n[0], n[1], n[2]});
        }
    });
}
BENCHMARK(SurfFlatNormalModel)->SIZES;

void smoothNormals(Bundle &b, int32_t count) {
    zyprSurfSmoothNormal_32f(b.vertices, b.indices, b.triangle, b.bary, b.result, count, 4);
}
void SurfSmoothNormalEstimate(benchmark::State &state) {
    measure(state, 36, [](Bundle &b) { smoothNormals(b, b.count); });
}
BENCHMARK(SurfSmoothNormalEstimate)->SIZES;
void SurfSmoothNormalDivision(benchmark::State &state) {
    measure(state, 36, [](Bundle &b) { smoothNormals(b, b.count - 1); });
}
BENCHMARK(SurfSmoothNormalDivision)->SIZES;
void SurfSmoothNormalModel(benchmark::State &state) {
    measure(state, 36, [](Bundle &b) {
        for (int32_t i = 0; i < b.count; ++i) {
            if (b.triangle[i] < 0) {
                set(b.result, i, {});
                continue;
            }
            const int32_t *corner = b.indices + 4 * b.triangle[i];
            const auto normal = [&](int k) { return b.vertices + 3 * corner[k]; };
            set(b.result, i, model::smoothNormal(normal(0), normal(1), normal(2), b.bary[0][i], b.bary[1][i], false));
        }
    });
}
BENCHMARK(SurfSmoothNormalModel)->SIZES;

// The argument is the number of threads.
void TriangleNormal(benchmark::State &state) {
    Random random(2);
    const int32_t count = 1000000;
    const std::vector<float> vertices = random.reals(3 * (count / 2 + 100), -1.0f, 1.0f);
    std::vector<int32_t> triangles(4 * static_cast<size_t>(count));
    for (int32_t i = 0; i < count; ++i)
        for (int32_t k = 0; k < 4; ++k) triangles[static_cast<size_t>(4 * i + k)] = i / 2 + k * 29;
    std::vector<float> normals(3 * static_cast<size_t>(count));
    const auto threads = static_cast<int32_t>(state.range(0));
    zypSetNumThreads(threads);
    for (auto _ : state) {
        if (threads > 0) {
            zyprTriangleNormal_32f(vertices.data(), triangles.data(), normals.data(), count);
        } else { // the model
            for (int32_t i = 0; i < count; ++i) {
                const auto corner = [&](int k) { return vertices.data() + 3 * triangles[static_cast<size_t>(4 * i + k)]; };
                const Vector n = model::triangleNormal(corner(0), corner(1), corner(2));
                std::memcpy(normals.data() + 3 * i, n.data(), sizeof n);
            }
        }
        benchmark::ClobberMemory();
    }
    zypSetNumThreads(0);
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(TriangleNormal)
    ->ArgName("threads_or_0_for_the_model")
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace
