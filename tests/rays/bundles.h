// Bundles of rays in guarded arrays, and the four queries run on them beside the model.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>

#include "rays/ray_model.h"
#include "rays/test_scene.h"
#include "support/bits.h"

namespace zypr::test {

using model::Path;
using model::Planes;

struct Bundle {
    int width, height;
    Planes origin, direction;
    std::vector<float> dist;
    std::vector<int32_t> mask;

    Bundle(int w, int h) : width(w), height(h), dist(count(), 1e30f), mask(count(), 0) {
        for (int axis = 0; axis < 3; ++axis) {
            origin[axis].assign(count(), 0.0f);
            direction[axis].assign(count(), axis == 2 ? 1.0f : 0.0f);
        }
    }
    size_t count() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
    ZyprBundleSize size() const { return {width, height}; }

    void setOrigin(size_t r, Point p) {
        origin.x[r] = p.x;
        origin.y[r] = p.y;
        origin.z[r] = p.z;
    }
    void setDirection(size_t r, Point p) {
        direction.x[r] = p.x;
        direction.y[r] = p.y;
        direction.z[r] = p.z;
    }
    void setAllOrigins(Point p) {
        for (size_t r = 0; r < count(); ++r) setOrigin(r, p);
    }
    void setAllDirections(Point p) {
        for (size_t r = 0; r < count(); ++r) setDirection(r, p);
    }
    // Aims every ray at its own place in a grid over the square of half-width `extent` in the plane z = 0.
    void aimAtGrid(Point from, float extent) {
        setAllOrigins(from);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                setDirection(static_cast<size_t>(y * width + x),
                             {extent * (2 * (static_cast<float>(x) + 0.5f) / static_cast<float>(width) - 1) - from.x,
                              extent * (2 * (static_cast<float>(y) + 0.5f) / static_cast<float>(height) - 1) - from.y,
                              -from.z});
    }
};

// Places in memory: `misaligned` is the number of the array that starts 4 bytes past a multiple of 16, or -1.
class GuardedPlaces {
public:
    explicit GuardedPlaces(int misaligned) : misaligned_(misaligned) {}

    template <class T> T *place(std::deque<GuardedArray<T>> &arrays, const std::vector<T> &values) {
        const bool off = number_++ == misaligned_;
        // An aligned array ends at the inaccessible page where its length lets it.
        if (off || values.size() * sizeof(T) % 16 != 0)
            arrays.emplace_back(std::span<const T>(values), off ? 4u : 0u);
        else
            arrays.emplace_back(values);
        return arrays.back().data();
    }

private:
    int misaligned_;
    int number_ = 0;
};

template <class T> bool allIntact(const std::deque<GuardedArray<T>> &arrays) {
    return std::all_of(arrays.begin(), arrays.end(), [](const GuardedArray<T> &a) { return a.surroundingsIntact(); });
}

constexpr float untouchedFloat = -777.25f;
constexpr int32_t untouchedInt = 424242;

struct RunResults {
    model::Results results;
    std::vector<int32_t> mask;
};

// The arrays of a nearest-hit or multiple-hit query before the call.
inline model::Results blankResults(const Bundle &bundle, size_t layers = 1) {
    model::Results results;
    const size_t entries = bundle.count() * layers;
    results.dist = bundle.dist;
    results.dist.resize(entries, untouchedFloat);
    results.weight0.assign(entries, untouchedFloat);
    results.weight1.assign(entries, untouchedFloat);
    results.triangle.assign(entries, untouchedInt);
    results.weightsDefined.assign(entries, true);
    return results;
}

enum class Query { mo, eye, multiple };

// Array numbers for GuardedPlaces: three of origin (mo only), three of direction, distances, weights, weights, triangles.
inline int arraysOf(Query query) { return query == Query::mo ? 10 : 7; }

inline Point commonOrigin(const Bundle &bundle) { return {bundle.origin.x[0], bundle.origin.y[0], bundle.origin.z[0]}; }

inline model::Results runLibrary(Query query, const Bundle &bundle, const ZyprScene *scene, int layers = 1,
                                 int misaligned = -1) {
    GuardedPlaces places(misaligned);
    std::deque<GuardedArray<float>> floats;
    std::deque<GuardedArray<int32_t>> ints;
    model::Results results = blankResults(bundle, static_cast<size_t>(layers));
    const float *origin[3] = {}, *direction[3];
    if (query == Query::mo)
        for (int axis = 0; axis < 3; ++axis) origin[axis] = places.place(floats, bundle.origin[axis]);
    for (int axis = 0; axis < 3; ++axis) direction[axis] = places.place(floats, bundle.direction[axis]);
    for (GuardedArray<float> &array : floats) array.forbidWrites();
    std::deque<GuardedArray<float>> outputs;
    float *dist = places.place(outputs, results.dist);
    float *const bary[2] = {places.place(outputs, results.weight0), places.place(outputs, results.weight1)};
    int32_t *triangle = places.place(ints, results.triangle);
    const Point p = commonOrigin(bundle);
    GuardedArray<float> point(std::vector<float>{p.x, p.y, p.z});
    point.forbidWrites();

    zypStatus status = -1;
    const ZyprLayerSize layered = {bundle.width, bundle.height, layers};
    switch (query) {
    case Query::mo: status = zyprIntersectMO_32f(origin, direction, dist, bary, triangle, scene, bundle.size()); break;
    case Query::eye:
        status = zyprIntersectEyeSO_32f(point.data(), direction, dist, bary, triangle, scene, bundle.size());
        break;
    case Query::multiple:
        status = zyprIntersectMultipleSO_32f(point.data(), direction, dist, bary, triangle, &layered, scene);
        break;
    }
    EXPECT_EQ(status, zypStsNoErr);
    EXPECT_TRUE(allIntact(outputs));
    EXPECT_TRUE(allIntact(ints));
    results.dist = outputs[0].values();
    results.weight0 = outputs[1].values();
    results.weight1 = outputs[2].values();
    results.triangle = ints[0].values();
    return results;
}

inline model::Results runModel(Query query, Path path, const Bundle &bundle, const ZyprScene &scene, int layers = 1) {
    model::Results results = blankResults(bundle, static_cast<size_t>(layers));
    const Point p = commonOrigin(bundle);
    const float point[3] = {p.x, p.y, p.z};
    switch (query) {
    case Query::mo:
        model::intersectMO(path, bundle.origin, bundle.direction, results, scene, bundle.width, bundle.height);
        break;
    case Query::eye: model::intersectEye(path, point, bundle.direction, results, scene, bundle.width, bundle.height); break;
    case Query::multiple:
        model::intersectMultiple(path, point, bundle.direction, results, scene, bundle.width, bundle.height, layers);
        break;
    }
    return results;
}

// The path that a bundle of this size takes when its arrays are aligned.
inline Path pathOf(const Bundle &bundle) {
    return bundle.width % 4 == 0 && bundle.height % 4 == 0 ? Path::vector : Path::scalar;
}

inline void expectSame(const model::Results &actual, model::Results expected) {
    for (size_t i = 0; i < expected.weightsDefined.size(); ++i) {
        if (expected.weightsDefined[i]) continue;
        expected.weight0[i] = actual.weight0[i];
        expected.weight1[i] = actual.weight1[i];
    }
    EXPECT_TRUE(equalBits(actual.triangle, expected.triangle)) << "triangles";
    EXPECT_TRUE(equalBits(actual.dist, expected.dist)) << "distances";
    EXPECT_TRUE(equalBits(actual.weight0, expected.weight0)) << "weights of P0";
    EXPECT_TRUE(equalBits(actual.weight1, expected.weight1)) << "weights of P1";
}

inline void expectModel(Query query, Path path, const Bundle &bundle, const TestScene &scene, int layers = 1,
                        int misaligned = -1) {
    expectSame(runLibrary(query, bundle, &scene, layers, misaligned), runModel(query, path, bundle, scene.view(), layers));
}

// ---- Any hit ------------------------------------------------------------------------------------------------------------

struct Blocked {
    std::vector<int32_t> triangle, mask;
};

// Array numbers for GuardedPlaces: three of direction, triangles, masks.
inline Blocked runAny(const Bundle &bundle, const ZyprScene *scene, int misaligned = -1) {
    GuardedPlaces places(misaligned);
    std::deque<GuardedArray<float>> floats;
    std::deque<GuardedArray<int32_t>> ints;
    const float *direction[3];
    for (int axis = 0; axis < 3; ++axis) direction[axis] = places.place(floats, bundle.direction[axis]);
    for (GuardedArray<float> &array : floats) array.forbidWrites();
    int32_t *triangle = places.place(ints, std::vector<int32_t>(bundle.count(), untouchedInt));
    int32_t *mask = places.place(ints, bundle.mask);
    const Point p = commonOrigin(bundle);
    GuardedArray<float> point(std::vector<float>{p.x, p.y, p.z});
    point.forbidWrites();
    EXPECT_EQ(zyprIntersectAnySO_32f(point.data(), direction, triangle, mask, bundle.size(), scene), zypStsNoErr);
    EXPECT_TRUE(allIntact(ints));
    return {ints[0].values(), ints[1].values()};
}

inline Blocked runAnyModel(Path path, const Bundle &bundle, const ZyprScene &scene) {
    Blocked blocked = {std::vector<int32_t>(bundle.count(), untouchedInt), bundle.mask};
    const Point p = commonOrigin(bundle);
    const float point[3] = {p.x, p.y, p.z};
    model::intersectAny(path, point, bundle.direction, blocked.triangle, blocked.mask, scene, bundle.width, bundle.height);
    return blocked;
}

inline void expectAnyModel(Path path, const Bundle &bundle, const TestScene &scene, int misaligned = -1) {
    const Blocked actual = runAny(bundle, &scene, misaligned), expected = runAnyModel(path, bundle, scene.view());
    EXPECT_TRUE(equalBits(actual.triangle, expected.triangle)) << "triangles";
    EXPECT_TRUE(equalBits(actual.mask, expected.mask)) << "masks";
}

// ---- Random bundles -----------------------------------------------------------------------------------------------------

enum class Rays { coherent, axisAligned, incoherent, tinyComponents };

inline Bundle randomBundle(Random &random, int width, int height, Rays kind, bool oneOrigin) {
    Bundle bundle(width, height);
    Point from = randomPoint(random, -2.5f, 2.5f);
    if (random.chance(0.3f)) from = randomPoint(random, -0.5f, 0.5f);
    const Point target = randomPoint(random, -0.7f, 0.7f);
    const Point across = randomPoint(random, -0.05f, 0.05f), down = randomPoint(random, -0.05f, 0.05f);
    const auto tiny = [&] {
        switch (random.integer(0, 4)) {
        case 0: return 0.0f;
        case 1: return -0.0f;
        case 2: return 1.1920929e-7f;
        case 3: return -1.1e-7f;
        default: return random.real(-2e-7f, 2e-7f);
        }
    };
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const auto r = static_cast<size_t>(y * width + x);
            Point o = from;
            if (!oneOrigin) {
                const Point shift = randomPoint(random, -0.1f, 0.1f);
                o = {from.x + shift.x, from.y + shift.y, from.z + shift.z};
                if (kind == Rays::incoherent) o = randomPoint(random, -1.0f, 1.0f);
            }
            bundle.setOrigin(r, o);
            const auto i = static_cast<float>(x), j = static_cast<float>(y);
            Point d = {target.x + i * across.x + j * down.x - from.x, target.y + i * across.y + j * down.y - from.y,
                       target.z + i * across.z + j * down.z - from.z};
            if (kind == Rays::incoherent) d = randomPoint(random, -2.0f, 2.0f);
            if (kind == Rays::axisAligned || kind == Rays::tinyComponents) {
                const int keep = random.integer(0, 2);
                if (keep != 0 && random.chance(kind == Rays::axisAligned ? 1.0f : 0.4f)) d.x = tiny();
                if (keep != 1 && random.chance(0.5f)) d.y = tiny();
                if (keep != 2 && random.chance(0.5f)) d.z = tiny();
            }
            bundle.setDirection(r, d);
            bundle.dist[r] = random.chance(0.7f)   ? 3.4028235e38f
                             : random.chance(0.7f) ? random.real(0.0f, 3.0f)
                                                   : random.real(-1.0f, 0.0f);
            bundle.mask[r] = random.chance(0.8f) ? 0 : random.maskWord();
        }
    if (random.chance(0.5f))
        for (int32_t &word : bundle.mask) word &= static_cast<int32_t>(0x80FFFFFFu); // whole tiles of one octant
    if (random.chance(0.4f)) std::fill(bundle.mask.begin(), bundle.mask.end(), 0);
    if (random.chance(0.4f)) std::fill(bundle.dist.begin(), bundle.dist.end(), 3.4028235e38f);
    return bundle;
}

// The triangle nearest along a ray among all, by doubles; -1 for none. `margin` is how much nearer it is than the next, or than
// an edge: results within it are decided by rounding.
struct BruteForceHit {
    int32_t triangle = -1;
    double distance = 1e300;
    bool clear = true; // no rounding can change the outcome
};

inline BruteForceHit bruteForce(const std::vector<Triangle> &triangles, Point o, Point d, double limit, int32_t except = -1) {
    BruteForceHit nearest;
    const double length = std::sqrt(double(d.x) * d.x + double(d.y) * d.y + double(d.z) * d.z);
    std::vector<double> distances;
    for (size_t k = 0; k < triangles.size(); ++k) {
        if (static_cast<int32_t>(k) == except) continue;
        const Triangle &t = triangles[k];
        const double ax = double(t.p0.x) - t.p2.x, ay = double(t.p0.y) - t.p2.y, az = double(t.p0.z) - t.p2.z;
        const double bx = double(t.p1.x) - t.p2.x, by = double(t.p1.y) - t.p2.y, bz = double(t.p1.z) - t.p2.z;
        const double nx = ay * bz - az * by, ny = az * bx - ax * bz, nz = ax * by - ay * bx;
        const double den = nx * d.x + ny * d.y + nz * d.z, area = std::sqrt(nx * nx + ny * ny + nz * nz);
        if (area == 0) continue;
        const double rx = double(t.p2.x) - o.x, ry = double(t.p2.y) - o.y, rz = double(t.p2.z) - o.z;
        const double distance = (nx * rx + ny * ry + nz * rz) / den;
        if (std::fabs(den) < 1e-3 * area * length) nearest.clear = false;
        if (!std::isfinite(distance)) continue;
        const double qx = distance * d.x - rx, qy = distance * d.y - ry, qz = distance * d.z - rz;
        const double u = ((qy * bz - qz * by) * nx + (qz * bx - qx * bz) * ny + (qx * by - qy * bx) * nz) / (area * area);
        const double v = ((ay * qz - az * qy) * nx + (az * qx - ax * qz) * ny + (ax * qy - ay * qx) * nz) / (area * area);
        const double least = std::min({u, v, 1 - u - v});
        if (std::fabs(least) < 1e-3) nearest.clear = false;
        if (least < 0) continue;
        if (std::fabs(distance) < 1e-3 || std::fabs(distance - limit) < 1e-3) nearest.clear = false;
        if (distance <= 0 || distance >= limit) continue;
        distances.push_back(distance);
        if (distance < nearest.distance) {
            nearest.distance = distance;
            nearest.triangle = static_cast<int32_t>(k);
        }
    }
    for (const double distance : distances)
        if (distance != nearest.distance && distance - nearest.distance < 1e-3) nearest.clear = false;
    if (std::count(distances.begin(), distances.end(), nearest.distance) > 1) nearest.clear = false;
    return nearest;
}

} // namespace zypr::test
