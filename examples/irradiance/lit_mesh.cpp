#include "lit_mesh.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <stdexcept>

#include "support/progress.h"
#include "support/threads.h"
#include "zypr_support.h"

namespace irradiance {
namespace {

constexpr float pi = std::numbers::pi_v<float>;

void check(zypStatus status, const char *what) {
    if (status < 0) throw std::runtime_error(std::string(what) + ": " + zyprStatusText(status));
}

// What the ray queries read. The mesh is moved and scaled to the origin, its box's half diagonal 1.
class Scene {
public:
    explicit Scene(examples::Mesh mesh) : mesh_(std::move(mesh)) {
        check(zyprSetBoundBox_32f(mesh_.vertices.data(), mesh_.vertexCount(), &box_), "bounding box");
        float square = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const float half = box_.maximum[axis] / 2 - box_.minimum[axis] / 2;
            square += half * half;
        }
        const float radius = std::sqrt(square);
        if (!(radius > 0) || !std::isfinite(radius)) throw std::runtime_error("the mesh is too small or too large to be drawn");
        for (size_t i = 0; i < mesh_.vertices.size(); ++i)
            mesh_.vertices[i] = (mesh_.vertices[i] - box_.minimum[i % 3] / 2 - box_.maximum[i % 3] / 2) / radius;

        const int32_t triangles = mesh_.triangleCount();
        check(zyprSetBoundBox_32f(mesh_.vertices.data(), mesh_.vertexCount(), &box_), "bounding box");
        accel_.resize(static_cast<size_t>(triangles));
        check(zyprTriangleAccelInit(accel_.data(), mesh_.vertices.data(), mesh_.triangles.data(), triangles),
              "triangle records");
        const ZyprKDTreeBuildContext context = {
            .algorithm = zyprKDTreeBuildSAH, .maxDepth = 50, .splitBias = 0.5f, .memoryLimitMiB = 2047, .clipBox = nullptr};
        ZyprKDTree *tree = nullptr;
        int32_t bytes = 0;
        check(zyprKDTreeBuildAlloc(&tree, mesh_.vertices.data(), mesh_.triangles.data(), mesh_.vertexCount(), triangles, &bytes,
                                   &context),
              "KD-tree");
        tree_.reset(tree);
        records_ = {&box_, accel_.data(), &tree->root};
    }

    const ZyprScene *records() const { return &records_; }
    const float *vertexNormals() const { return mesh_.vertexNormals.data(); }
    const int32_t *triangles() const { return mesh_.triangles.data(); }

private:
    examples::Mesh mesh_;
    ZyprBox box_{};
    std::vector<ZyprTriangleAccel> accel_;
    std::unique_ptr<ZyprKDTree, decltype(&zyprKDTreeFree)> tree_{nullptr, &zyprKDTreeFree};
    ZyprScene records_{};
};

// Looks at the origin from an orbit. Directions run from the upper left corner in steps of pixels.
struct Camera {
    explicit Camera(const View &view) {
        const float a = view.azimuth * pi / 180, e = view.elevation * pi / 180;
        const Vector back = {std::cos(e) * std::sin(a), std::sin(e), std::cos(e) * std::cos(a)};
        const Vector right = {std::cos(a), 0, -std::sin(a)};
        const Vector up = {-std::sin(e) * std::sin(a), std::cos(e), -std::sin(e) * std::cos(a)};
        const float halfHeight = std::tan(view.fieldOfView * pi / 360);
        const float pixel = 2 * halfHeight / static_cast<float>(view.height);
        const float halfWidth = pixel * static_cast<float>(view.width) / 2;
        for (size_t i = 0; i < 3; ++i) {
            eye[i] = view.distance * back[i];
            corner[i] = halfHeight * up[i] - halfWidth * right[i] - back[i];
            columnStep[i] = pixel * right[i];
            rowStep[i] = -pixel * up[i];
        }
    }

    Vector eye, corner, columnStep, rowStep;
};

constexpr int32_t edge = 32; // of a tile, in pixels
constexpr size_t capacity = size_t{edge} * edge;

// The rays of one tile, and what they meet.
struct Tile {
    examples::Planes direction{capacity}, normal{capacity}, color{capacity};
    examples::AlignedArray<float> distance{capacity}, weight0{capacity}, weight1{capacity}, cosine{capacity};
    examples::AlignedArray<int32_t> triangle{capacity}, missed{capacity};
};

void trace(const Scene &scene, const Camera &camera, const Vector &planeBase, int32_t tileX, int32_t tileY, ZyprBundleSize size,
           Tile &tile) {
    const int32_t count = size.width * size.height;
    float *const weights[2] = {tile.weight0.data(), tile.weight1.data()};
    const float *const constWeights[2] = {weights[0], weights[1]};
    zyprCastEye_32f(planeBase.data(), camera.columnStep.data(), camera.rowStep.data(), tileX, tileY, {edge, edge},
                    tile.direction, size);
    std::fill_n(tile.distance.data(), count, std::numeric_limits<float>::max());
    zyprIntersectEyeSO_32f(camera.eye.data(), tile.direction, tile.distance.data(), weights, tile.triangle.data(),
                           scene.records(), size);
    zyprSurfSmoothNormal_32f(scene.vertexNormals(), scene.triangles(), tile.triangle.data(), constWeights, tile.normal, count,
                             4);
    for (size_t i = 0; i < static_cast<size_t>(count); ++i) tile.missed[i] = tile.triangle[i] < 0 ? -1 : 0;
    zyprDotChangeNorm_32f_IM(tile.direction, tile.missed.data(), tile.normal, tile.cosine.data(), count);
}

} // namespace

std::vector<float> litMesh(examples::Mesh mesh, const View &view, const Panorama &background, const Harmonics &irradiance,
                           int32_t threads, bool quiet) {
    const Scene scene(std::move(mesh));
    const Camera camera(view);
    std::vector<Tile> tiles(static_cast<size_t>(threads));
    std::vector<float> image(static_cast<size_t>(view.width) * static_cast<size_t>(view.height) * 3);
    const int32_t tilesX = (view.width + edge - 1) / edge, tilesY = (view.height + edge - 1) / edge;
    examples::Progress progress("lighting", tilesX * tilesY, quiet);
    const auto roundedUpToFours = [](int32_t a) { return (a + 3) / 4 * 4; };
    examples::shareOut(threads, tilesX * tilesY, [&](int32_t thread, int32_t t) {
        Tile &tile = tiles[static_cast<size_t>(thread)];
        const int32_t tileX = t % tilesX, tileY = t / tilesX;
        const int32_t width = std::min(edge, view.width - tileX * edge), height = std::min(edge, view.height - tileY * edge);
        const ZyprBundleSize size = {roundedUpToFours(width), roundedUpToFours(height)};
        for (int32_t sample = 0; sample < view.samples; ++sample) {
            // The additive sequence of the plastic number (Roberts, 2018) spreads the samples over the pixel.
            const auto fraction = [](double a) { return static_cast<float>(a - std::floor(a)); };
            const float x = fraction(0.5 + sample * 0.7548776662466927), y = fraction(0.5 + sample * 0.5698402909980532);
            Vector planeBase;
            for (size_t i = 0; i < 3; ++i) planeBase[i] = camera.corner[i] + x * camera.columnStep[i] + y * camera.rowStep[i];
            trace(scene, camera, planeBase, tileX, tileY, size, tile);
            irradiance.evaluate(tile.normal, size.width * size.height, tile.color);
            for (int32_t row = 0; row < height; ++row) {
                for (int32_t column = 0; column < width; ++column) {
                    const auto ray = static_cast<size_t>(row * size.width + column);
                    Vector color;
                    if (tile.triangle[ray] < 0) {
                        color = background.colorAt({tile.direction[0][ray], tile.direction[1][ray], tile.direction[2][ray]});
                    } else {
                        for (size_t c = 0; c < 3; ++c) color[c] = view.albedo / pi * std::max(tile.color[c][ray], 0.0f);
                    }
                    float *pixel = &image[(static_cast<size_t>(tileY * edge + row) * static_cast<size_t>(view.width) +
                                           static_cast<size_t>(tileX * edge + column)) *
                                          3];
                    // Clamped one by one, or a glimpse of the sun would outshine the edge that it stands beside.
                    for (size_t c = 0; c < 3; ++c) pixel[c] += std::min(color[c], 2.0f) / static_cast<float>(view.samples);
                }
            }
        }
        progress.add();
    });
    return image;
}

} // namespace irradiance
