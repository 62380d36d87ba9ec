// The scene's records and trees: boxes and triangle records beside scalar models and a plain copy, tree builds beside the model
// that the tests compare them with. Where the head's mesh is in build/data, its tree is built too.

#include <chrono>
#include <fstream>
#include <sstream>

#include "scene/meshes.h"
#include "scene/record_models.h"
#include "support/beside.h"
#include "zypr.h"

using namespace zypr::test;
using zypr::bench::runBeside;
using zypr::bench::Timings;

namespace {

void boundBox(benchmark::State &state) {
    const auto count = static_cast<int32_t>(state.range(0));
    const std::vector<float> points = Random(1).reals(3 * static_cast<size_t>(count), -1.0f, 1.0f);
    ZyprBox box;
    runBeside(
        state, 12 * static_cast<size_t>(count),
        [&] {
            zyprSetBoundBox_32f(points.data(), count, &box);
            benchmark::DoNotOptimize(box);
        },
        [&] { benchmark::DoNotOptimize(model::boxOf(points)); });
    state.SetItemsProcessed(state.items_processed() * count);
}

void accelGetSize(benchmark::State &state) {
    int32_t size = 0;
    for (auto _ : state) benchmark::DoNotOptimize(zyprTriangleAccelGetSize(&size));
}

void accelInit(benchmark::State &state) {
    const auto rings = static_cast<int32_t>(state.range(0));
    const KDMesh mesh = blob(rings, rings);
    const auto count = static_cast<size_t>(mesh.triangleCount());
    std::vector<ZyprTriangleAccel> accels(count);
    runBeside(
        state, 4 * mesh.vertices.size() + (16 + 40) * count,
        [&] { zyprTriangleAccelInit(accels.data(), mesh.vertices.data(), mesh.triangles.data(), mesh.triangleCount()); },
        [&] {
            for (size_t i = 0; i < count; ++i) {
                const auto corner = [&](size_t k) { return mesh.vertices.data() + 3 * mesh.triangles[4 * i + k]; };
                benchmark::DoNotOptimize(model::accelOf(corner(0), corner(1), corner(2)));
            }
        });
    state.SetItemsProcessed(state.items_processed() * static_cast<int64_t>(count));
}

// A closed surface, and triangles without any order.
KDMesh meshOf(int64_t kind, int32_t triangles) {
    if (kind == 1) return soup(1, triangles, 0.5f / std::cbrt(static_cast<float>(triangles)));
    const auto rings = static_cast<int32_t>(std::sqrt(static_cast<double>(triangles) / 2));
    return blob(rings, rings);
}

struct Tree {
    explicit Tree(const KDMesh &mesh, uint32_t algorithm, float splitBias = 0.0f) {
        const ZyprKDTreeBuildContext context{algorithm, 50, splitBias, 3000, nullptr};
        status = zyprKDTreeBuildAlloc(&tree, mesh.vertices.data(), mesh.triangles.data(), mesh.vertexCount(),
                                      mesh.triangleCount(), &size, &context);
    }
    ~Tree() {
        if (tree != nullptr) zyprKDTreeFree(tree);
    }
    ZyprKDTree *tree = nullptr;
    int32_t size = 0;
    zypStatus status;
};

void buildMesh(benchmark::State &state, const KDMesh &mesh, float bias, bool besideModel) {
    Timings timings, modelTimings;
    int32_t size = 0;
    for (auto _ : state) {
        auto build = [&] {
            const Tree tree(mesh, zyprKDTreeBuildSAH, bias);
            if (tree.status != zypStsNoErr) state.SkipWithError("the build failed");
            size = tree.size;
        };
        state.SetIterationTime(timings.measure(1, build));
    }
    if (besideModel) {
        auto build = [&] { model::kdModelBuild(mesh, {.splitBias = bias, .memoryLimitMiB = 3000}); };
        modelTimings.measure(1, build);
        state.counters["model"] = modelTimings.median() / timings.median();
    }
    state.counters["Mtriangles/s"] = mesh.triangleCount() / timings.median() * 1e-6;
    state.counters["bytes/triangle"] = static_cast<double>(size) / mesh.triangleCount();
}

void buildSAH(benchmark::State &state) {
    const KDMesh mesh = meshOf(state.range(0), static_cast<int32_t>(state.range(1)));
    buildMesh(state, mesh, static_cast<float>(state.range(2)) / 100.0f, mesh.triangleCount() < 100000);
}

// Binary little-endian PLY as make_head_mesh.py writes it.
KDMesh readHead() {
    KDMesh mesh;
    std::ifstream file(ZYPR_HEAD, std::ios::binary);
    std::string line, word;
    size_t vertexCount = 0, faceCount = 0;
    while (std::getline(file, line) && line != "end_header") {
        std::istringstream words(line);
        words >> word;
        if (word != "element") continue;
        words >> word;
        words >> (word == "vertex" ? vertexCount : faceCount);
    }
    mesh.vertices.resize(3 * vertexCount);
    file.read(reinterpret_cast<char *>(mesh.vertices.data()), static_cast<std::streamsize>(12 * vertexCount));
    for (size_t i = 0; i < faceCount; ++i) {
        char corners;
        int32_t face[3];
        file.read(&corners, 1);
        file.read(reinterpret_cast<char *>(face), sizeof face);
        mesh.addTriangle(face[0], face[1], face[2]);
    }
    if (!file) return {};
    return mesh;
}

void buildHead(benchmark::State &state) {
    static const KDMesh head = readHead();
    if (head.triangleCount() == 0) return state.SkipWithError("run bench/data/make_head_mesh.py first");
    buildMesh(state, head, static_cast<float>(state.range(0)) / 100.0f, false);
}

void buildSimple(benchmark::State &state) {
    KDMesh mesh;
    mesh.vertices.resize(3);
    mesh.triangles.resize(4 * static_cast<size_t>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(Tree(mesh, zyprKDTreeBuildSimple).size);
    state.SetBytesProcessed(state.iterations() * state.range(0) * 4);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void freeTree(benchmark::State &state) {
    KDMesh mesh;
    mesh.vertices.resize(3);
    mesh.triangles.resize(4000);
    Timings timings;
    for (auto _ : state) {
        Tree tree(mesh, zyprKDTreeBuildSimple);
        auto release = [&] { zyprKDTreeFree(tree.tree); };
        state.SetIterationTime(timings.measure(1, release));
        tree.tree = nullptr;
    }
}

} // namespace

BENCHMARK(boundBox)->Name("zyprSetBoundBox_32f")->ArgName("points")->Arg(4096)->Arg(1 << 22)->UseManualTime()->MinTime(0.1);
BENCHMARK(accelGetSize)->Name("zyprTriangleAccelGetSize")->MinTime(0.05);
BENCHMARK(accelInit)->Name("zyprTriangleAccelInit")->ArgName("rings")->Arg(32)->Arg(700)->UseManualTime()->MinTime(0.1);
BENCHMARK(buildSAH)
    ->Name("zyprKDTreeBuildAlloc/SAH")
    ->ArgNames({"soup", "triangles", "bias"})
    ->ArgsProduct({{0, 1}, {1000, 50000}, {50, 80, 100}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->MinTime(0.3);
BENCHMARK(buildHead)
    ->Name("zyprKDTreeBuildAlloc/SAH/head")
    ->ArgName("bias")
    ->Arg(50)
    ->Arg(80)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(buildSimple)->Name("zyprKDTreeBuildAlloc/simple")->ArgName("triangles")->Arg(1000)->Arg(1 << 20)->MinTime(0.1);
BENCHMARK(freeTree)->Name("zyprKDTreeFree")->UseManualTime()->MinTime(0.05);
