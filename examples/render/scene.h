// The mesh on its ground, with the records that the ray queries read.
#pragma once

#include <memory>

#include "settings.h"
#include "support/arrays.h"
#include "support/mesh.h"
#include "zypr.h"

namespace render {

class Scene {
public:
    // The mesh is moved and scaled to lie around the origin with its box's half diagonal at 1. Throws std::runtime_error.
    Scene(examples::Mesh mesh, const Settings &settings);

    const ZyprScene &records() const { return records_; }
    const float *triangleNormals() const { return triangleNormals_.data(); }
    const float *vertexNormals() const { return mesh_.vertexNormals.data(); }
    const int32_t *triangles() const { return mesh_.triangles.data(); }
    bool isGround(int32_t triangle) const { return triangle >= meshTriangleCount_; }

    int32_t meshTriangleCount() const { return meshTriangleCount_; }
    double buildSeconds() const { return buildSeconds_; }
    int32_t treeBytes() const { return treeBytes_; }

private:
    void place(bool zUp);
    void addGround();
    void build();

    examples::Mesh mesh_;
    int32_t meshTriangleCount_;
    ZyprBox box_{};
    std::vector<ZyprTriangleAccel> accel_;
    std::vector<float> triangleNormals_;
    std::unique_ptr<ZyprKDTree, decltype(&zyprKDTreeFree)> tree_{nullptr, &zyprKDTreeFree};
    ZyprScene records_{};
    double buildSeconds_ = 0;
    int32_t treeBytes_ = 0;
};

} // namespace render
