#include "scene.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include "zypr_support.h"

namespace render {
namespace {

void check(zypStatus status, const char *what) {
    if (status < 0) throw std::runtime_error(std::string(what) + ": " + zyprStatusText(status));
}

constexpr float groundExtent = 40.0f;

} // namespace

Scene::Scene(examples::Mesh mesh, const Settings &settings)
    : mesh_(std::move(mesh)), meshTriangleCount_(mesh_.triangleCount()) {
    place(settings.zUp);
    if (settings.ground) addGround();
    build();
}

void Scene::place(bool zUp) {
    if (zUp) {
        for (std::vector<float> *triples : {&mesh_.vertices, &mesh_.vertexNormals}) {
            for (size_t i = 0; i < triples->size(); i += 3) {
                const float y = (*triples)[i + 1];
                (*triples)[i + 1] = (*triples)[i + 2];
                (*triples)[i + 2] = -y;
            }
        }
    }
    ZyprBox box;
    check(zyprSetBoundBox_32f(mesh_.vertices.data(), mesh_.vertexCount(), &box), "bounding box");
    Vector minimum, maximum;
    std::copy_n(box.minimum, 3, minimum.begin());
    std::copy_n(box.maximum, 3, maximum.begin());
    const Vector centre = 0.5f * minimum + 0.5f * maximum, half = 0.5f * maximum - 0.5f * minimum;
    const float radius = std::sqrt(dot(half, half));
    if (!(radius > 0.0f) || !std::isfinite(radius)) throw std::runtime_error("the mesh is too small or too large to be placed");
    for (size_t i = 0; i < mesh_.vertices.size(); ++i) mesh_.vertices[i] = (mesh_.vertices[i] - centre[i % 3]) / radius;
}

// Two triangles under the lowest vertex.
void Scene::addGround() {
    float lowest = mesh_.vertices[1];
    for (size_t i = 1; i < mesh_.vertices.size(); i += 3) lowest = std::min(lowest, mesh_.vertices[i]);
    const int32_t first = mesh_.vertexCount();
    for (const auto &[x, z] : {std::pair{-1.0f, -1.0f}, {-1.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, -1.0f}}) {
        mesh_.vertices.insert(mesh_.vertices.end(), {x * groundExtent, lowest, z * groundExtent});
        mesh_.vertexNormals.insert(mesh_.vertexNormals.end(), {0.0f, 1.0f, 0.0f});
    }
    mesh_.triangles.insert(mesh_.triangles.end(), {first, first + 1, first + 2, 0, first, first + 2, first + 3, 0});
}

void Scene::build() {
    const int32_t count = mesh_.triangleCount();
    const auto start = std::chrono::steady_clock::now();
    check(zyprSetBoundBox_32f(mesh_.vertices.data(), mesh_.vertexCount(), &box_), "bounding box");

    int32_t recordSize = 0;
    check(zyprTriangleAccelGetSize(&recordSize), "triangle records");
    if (recordSize != sizeof(ZyprTriangleAccel)) throw std::runtime_error("the library's triangle records have another size");
    accel_.resize(static_cast<size_t>(count));
    check(zyprTriangleAccelInit(accel_.data(), mesh_.vertices.data(), mesh_.triangles.data(), count), "triangle records");

    const ZyprKDTreeBuildContext context = {
        .algorithm = zyprKDTreeBuildSAH, .maxDepth = 50, .splitBias = 0.5f, .memoryLimitMiB = 2047, .clipBox = nullptr};
    ZyprKDTree *tree = nullptr;
    check(zyprKDTreeBuildAlloc(&tree, mesh_.vertices.data(), mesh_.triangles.data(), mesh_.vertexCount(), count, &treeBytes_,
                               &context),
          "KD-tree");
    tree_.reset(tree);
    records_ = {&box_, accel_.data(), &tree->root};
    buildSeconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    triangleNormals_.resize(static_cast<size_t>(count) * 3);
    check(zyprTriangleNormal_32f(mesh_.vertices.data(), mesh_.triangles.data(), triangleNormals_.data(), count), "normals");
}

} // namespace render
