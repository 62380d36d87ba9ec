// The ray queries on the bunny, in rays per second: packets, single rays, and the tests' scalar model of the packets. Coherent
// rays leave one point for a grid over the whole model; incoherent ones start anywhere in its box and go anywhere.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "mesh.h"
#include "rays/ray_model.h"
#include "rays/test_scene.h"

namespace zypr::test {
namespace {

constexpr int side = 256;
constexpr size_t count = side * side;
constexpr int layers = 3;

class Scene {
public:
    Scene() : mesh_(bench::loadMesh(ZYPR_BUNNY)), accel_(static_cast<size_t>(mesh_.triangleCount())) {
        const ZyprKDTreeBuildContext context = {zyprKDTreeBuildSAH, 50, 0.8f, 3000, nullptr};
        int32_t size = 0;
        zyprSetBoundBox_32f(mesh_.vertices.data(), mesh_.vertexCount(), &bound_);
        zyprTriangleAccelInit(accel_.data(), mesh_.vertices.data(), mesh_.triangles.data(), mesh_.triangleCount());
        if (zyprKDTreeBuildAlloc(&tree_, mesh_.vertices.data(), mesh_.triangles.data(), mesh_.vertexCount(),
                                 mesh_.triangleCount(), &size, &context) != zypStsNoErr) {
            std::fprintf(stderr, "no tree over %s\n", ZYPR_BUNNY);
            std::exit(1);
        }
        view_ = {&bound_, accel_.data(), &tree_->root};
    }
    ~Scene() { zyprKDTreeFree(tree_); }
    Scene(const Scene &) = delete;

    const ZyprScene &view() const { return view_; }
    // A point of the box, each coordinate given from 0 to 1.
    Point at(float x, float y, float z) const {
        const auto along = [&](int axis, float part) {
            return bound_.minimum[axis] + part * (bound_.maximum[axis] - bound_.minimum[axis]);
        };
        return {along(0, x), along(1, y), along(2, z)};
    }

private:
    bench::Mesh mesh_;
    ZyprBox bound_;
    std::vector<ZyprTriangleAccel> accel_;
    ZyprKDTree *tree_ = nullptr;
    ZyprScene view_;
};

const Scene &scene() {
    static const Scene made;
    return made;
}

template <class T> struct Aligned {
    explicit Aligned(size_t entries) : data(static_cast<T *>(std::aligned_alloc(64, (entries + 16) * sizeof(T))), &std::free) {}
    T *get(bool aligned) const { return data.get() + (aligned ? 0 : 1); }
    std::unique_ptr<T, decltype(&std::free)> data;
};

struct Bundle {
    model::Planes origin, direction;
    Aligned<float> o[3] = {Aligned<float>(count), Aligned<float>(count), Aligned<float>(count)};
    Aligned<float> d[3] = {Aligned<float>(count), Aligned<float>(count), Aligned<float>(count)};
    Aligned<float> dist{count * layers}, weight0{count * layers}, weight1{count * layers};
    Aligned<int32_t> triangle{count * layers}, mask{count};
    bool aligned;

    Bundle(bool coherent, bool isAligned) : aligned(isAligned) {
        Random random(2);
        for (size_t r = 0; r < count; ++r) {
            const auto anywhere = [&] {
                return scene().at(random.real(0.0f, 1.0f), random.real(0.0f, 1.0f), random.real(0.0f, 1.0f));
            };
            const float x = static_cast<float>(r % side) / side, y = static_cast<float>(r / side) / side;
            const Point from = coherent ? scene().at(0.5f, 0.6f, 3.0f) : anywhere();
            const Point to = coherent ? scene().at(x, y, 0.5f) : anywhere();
            const float os[3] = {from.x, from.y, from.z}, ds[3] = {to.x - from.x, to.y - from.y, to.z - from.z};
            for (int axis = 0; axis < 3; ++axis) {
                origin[axis].push_back(os[axis]);
                direction[axis].push_back(ds[axis]);
                o[axis].get(aligned)[r] = os[axis];
                d[axis].get(aligned)[r] = ds[axis];
            }
        }
    }
    void reset() {
        std::fill_n(dist.get(aligned), count, 1e30f);
        std::fill_n(mask.get(aligned), count, 0);
    }
};

enum class Query { mo, eye, any, multiple };

void call(Query query, Bundle &b) {
    const float *origins[3] = {b.o[0].get(b.aligned), b.o[1].get(b.aligned), b.o[2].get(b.aligned)};
    const float *direction[3] = {b.d[0].get(b.aligned), b.d[1].get(b.aligned), b.d[2].get(b.aligned)};
    const float origin[3] = {b.origin.x[0], b.origin.y[0], b.origin.z[0]};
    float *const bary[2] = {b.weight0.get(b.aligned), b.weight1.get(b.aligned)};
    const ZyprLayerSize layered = {side, side, layers};
    switch (query) {
    case Query::mo:
        zyprIntersectMO_32f(origins, direction, b.dist.get(b.aligned), bary, b.triangle.get(b.aligned), &scene().view(),
                            {side, side});
        break;
    case Query::eye:
        zyprIntersectEyeSO_32f(origin, direction, b.dist.get(b.aligned), bary, b.triangle.get(b.aligned), &scene().view(),
                               {side, side});
        break;
    case Query::any:
        zyprIntersectAnySO_32f(origin, direction, b.triangle.get(b.aligned), b.mask.get(b.aligned), {side, side},
                               &scene().view());
        break;
    case Query::multiple:
        zyprIntersectMultipleSO_32f(origin, direction, b.dist.get(b.aligned), bary, b.triangle.get(b.aligned), &layered,
                                    &scene().view());
        break;
    }
}

void queries(benchmark::State &state, Query query, bool coherent, bool aligned) {
    Bundle bundle(coherent, aligned);
    for (auto _ : state) {
        bundle.reset();
        call(query, bundle);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}

void models(benchmark::State &state, Query query, bool coherent) {
    const Bundle b(coherent, true);
    const float origin[3] = {b.origin.x[0], b.origin.y[0], b.origin.z[0]};
    for (auto _ : state) {
        model::Results results;
        const size_t entries = query == Query::multiple ? count * layers : count;
        results.dist.assign(entries, 1e30f);
        results.weight0.assign(entries, 0.0f);
        results.weight1.assign(entries, 0.0f);
        results.triangle.assign(entries, -1);
        results.weightsDefined.assign(entries, true);
        std::vector<int32_t> mask(count, 0);
        const ZyprScene &view = scene().view();
        switch (query) {
        case Query::mo: model::intersectMO(model::Path::vector, b.origin, b.direction, results, view, side, side); break;
        case Query::eye: model::intersectEye(model::Path::vector, origin, b.direction, results, view, side, side); break;
        case Query::any:
            model::intersectAny(model::Path::vector, origin, b.direction, results.triangle, mask, view, side, side);
            break;
        case Query::multiple:
            model::intersectMultiple(model::Path::vector, origin, b.direction, results, view, side, side, layers);
            break;
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}

#define QUERY(name, query)                                                                                                     \
    BENCHMARK_CAPTURE(queries, name / packets, query, true, true)->Unit(benchmark::kMillisecond);                              \
    BENCHMARK_CAPTURE(queries, name / single rays, query, true, false)->Unit(benchmark::kMillisecond);                         \
    BENCHMARK_CAPTURE(queries, name / packets incoherent, query, false, true)->Unit(benchmark::kMillisecond);                  \
    BENCHMARK_CAPTURE(models, name / model of packets, query, true)->Unit(benchmark::kMillisecond)

QUERY(zyprIntersectMO_32f, Query::mo);
QUERY(zyprIntersectEyeSO_32f, Query::eye);
QUERY(zyprIntersectAnySO_32f, Query::any);
QUERY(zyprIntersectMultipleSO_32f, Query::multiple);

} // namespace
} // namespace zypr::test
