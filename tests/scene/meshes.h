// Meshes that bring a tree builder to its corners.
#pragma once

#include <string>
#include <vector>

#include "scene/kd_model.h"
#include "support/random.h"

namespace zypr::test {

using model::KDMesh;

// `count` triangles of the given size at random places of the unit cube.
inline KDMesh soup(uint32_t seed, int32_t count, float size) {
    Random random(seed);
    KDMesh mesh;
    for (int32_t i = 0; i < count; ++i) {
        const float x = random.real(0.0f, 1.0f), y = random.real(0.0f, 1.0f), z = random.real(0.0f, 1.0f);
        const auto corner = [&]() -> std::array<float, 3> {
            return {x + random.real(-size, size), y + random.real(-size, size), z + random.real(-size, size)};
        };
        mesh.addTriangle(corner(), corner(), corner());
    }
    return mesh;
}

// Coordinates are multiples of 1 / steps, so that events coincide, triangles are planar or degenerate, and many lie on the
// faces of the box.
inline KDMesh latticeSoup(uint32_t seed, int32_t count, int32_t steps) {
    Random random(seed);
    KDMesh mesh;
    const auto coordinate = [&] { return static_cast<float>(random.integer(0, steps)) / static_cast<float>(steps); };
    const auto corner = [&]() -> std::array<float, 3> { return {coordinate(), coordinate(), coordinate()}; };
    for (int32_t i = 0; i < count; ++i) mesh.addTriangle(corner(), corner(), corner());
    return mesh;
}

// A square of steps x steps cells in the plane `offset` of an axis, appended to the mesh.
inline void addPlate(KDMesh &mesh, int axis, float offset, int32_t steps, float size) {
    const int32_t base = mesh.vertexCount();
    for (int32_t i = 0; i <= steps; ++i) {
        for (int32_t j = 0; j <= steps; ++j) {
            float at[3];
            at[axis] = offset;
            at[(axis + 1) % 3] = size * static_cast<float>(i) / static_cast<float>(steps);
            at[(axis + 2) % 3] = size * static_cast<float>(j) / static_cast<float>(steps);
            mesh.addVertex(at[0], at[1], at[2]);
        }
    }
    for (int32_t i = 0; i < steps; ++i) {
        for (int32_t j = 0; j < steps; ++j) {
            const int32_t corner = base + i * (steps + 1) + j;
            mesh.addTriangle(corner, corner + 1, corner + steps + 1);
            mesh.addTriangle(corner + 1, corner + steps + 2, corner + steps + 1);
        }
    }
}

// A room: six walls on the faces of the box, a plate half way up and one across.
inline KDMesh room(int32_t steps) {
    KDMesh mesh;
    for (int axis = 0; axis < 3; ++axis) {
        addPlate(mesh, axis, 0.0f, steps, 1.0f);
        addPlate(mesh, axis, 1.0f, steps, 1.0f);
    }
    addPlate(mesh, 2, 0.5f, steps, 1.0f);
    addPlate(mesh, 0, 0.25f, steps, 0.75f);
    return mesh;
}

// A closed surface with shared vertices: a sphere with waves.
inline KDMesh blob(int32_t rings, int32_t sectors) {
    KDMesh mesh;
    for (int32_t i = 0; i <= rings; ++i) {
        for (int32_t j = 0; j < sectors; ++j) {
            const double u = 3.141592653589793 * i / rings, v = 6.283185307179586 * j / sectors;
            const double radius = 1.0 + 0.25 * std::sin(5.0 * u) * std::cos(4.0 * v);
            mesh.addVertex(static_cast<float>(radius * std::sin(u) * std::cos(v)),
                           static_cast<float>(radius * std::sin(u) * std::sin(v)), static_cast<float>(radius * std::cos(u)));
        }
    }
    for (int32_t i = 0; i < rings; ++i) {
        for (int32_t j = 0; j < sectors; ++j) {
            const int32_t a = i * sectors + j, b = i * sectors + (j + 1) % sectors;
            mesh.addTriangle(a, b, a + sectors);
            mesh.addTriangle(b, b + sectors, a + sectors);
        }
    }
    return mesh;
}

// Needles: long thin triangles in all directions, which every plane cuts.
inline KDMesh needles(uint32_t seed, int32_t count) {
    Random random(seed);
    KDMesh mesh;
    for (int32_t i = 0; i < count; ++i) {
        const auto corner = [&]() -> std::array<float, 3> {
            return {random.real(-1.0f, 1.0f), random.real(-1.0f, 1.0f), random.real(-1.0f, 1.0f)};
        };
        const std::array<float, 3> a = corner();
        mesh.addTriangle(a, corner(), {a[0] + 0.01f, a[1], a[2]});
    }
    return mesh;
}

// The same triangle many times over, and points and lines for triangles.
inline KDMesh duplicates(int32_t count) {
    KDMesh mesh;
    for (int32_t i = 0; i < count; ++i) mesh.addTriangle({0.1f, 0.2f, 0.3f}, {0.8f, 0.25f, 0.4f}, {0.3f, 0.9f, 0.7f});
    mesh.addTriangle({0.5f, 0.5f, 0.5f}, {0.5f, 0.5f, 0.5f}, {0.5f, 0.5f, 0.5f});
    mesh.addTriangle({0.0f, 0.0f, 0.0f}, {0.5f, 0.5f, 0.5f}, {1.0f, 1.0f, 1.0f});
    mesh.addTriangle({0.2f, 0.2f, 0.0f}, {0.2f, 0.2f, 1.0f}, {0.2f, 0.2f, 0.5f});
    return mesh;
}

// Half of the coordinates are zeros of either sign, the others lie around them.
inline KDMesh signedZeros(uint32_t seed, int32_t count) {
    Random random(seed);
    KDMesh mesh;
    const auto coordinate = [&] {
        switch (random.integer(0, 3)) {
        case 0: return 0.0f;
        case 1: return -0.0f;
        default: return static_cast<float>(random.integer(-3, 3));
        }
    };
    const auto corner = [&]() -> std::array<float, 3> { return {coordinate(), coordinate(), coordinate()}; };
    for (int32_t i = 0; i < count; ++i) mesh.addTriangle(corner(), corner(), corner());
    return mesh;
}

} // namespace zypr::test
