// Scenes for the tests of ray queries: triangles, their records, and trees from a plain median splitter that writes every form
// of leaf. Nothing here calls the library.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "support/guarded_array.h"
#include "support/random.h"
#include "zypr.h"

namespace zypr::test {

struct Point {
    float x, y, z;
};

struct Triangle {
    Point p0, p1, p2;
};

inline float component(const Point &p, int axis) { return axis == 0 ? p.x : axis == 1 ? p.y : p.z; }

inline ZyprTriangleAccel accelOf(const Triangle &t) {
    double a[3], b[3];
    for (int i = 0; i < 3; ++i) {
        a[i] = double(component(t.p0, i)) - component(t.p2, i);
        b[i] = double(component(t.p1, i)) - component(t.p2, i);
    }
    const double n[3] = {std::fma(b[2], a[1], -(a[2] * b[1])), std::fma(b[0], a[2], -(b[2] * a[0])),
                         std::fma(a[0], b[1], -(a[1] * b[0]))};
    int c = 0;
    if (std::fabs(n[1]) > std::fabs(n[0])) c = 1;
    if (std::fabs(n[2]) > std::fabs(n[c])) c = 2;
    const int p = c == 0 ? 1 : 0, q = c == 2 ? 1 : 2;
    ZyprTriangleAccel accel = {};
    if (n[c] == 0.0) return accel;
    const double r = 1.0 / n[c], s = c == 1 ? -r : r;
    accel.axes = static_cast<uint32_t>(16 * c + 4 * p + q);
    if (std::fabs(n[p]) < 2.220446049250313e-16 && std::fabs(n[q]) < 2.220446049250313e-16) {
        accel.axes |= 0x80000000u;
    } else {
        accel.planeP = static_cast<float>(r * n[p]);
        accel.planeQ = static_cast<float>(r * n[q]);
    }
    accel.originC = component(t.p2, c);
    accel.originP = component(t.p2, p);
    accel.originQ = component(t.p2, q);
    accel.edgeBP = static_cast<float>(s * b[p]);
    accel.edgeBQ = static_cast<float>(s * b[q]);
    accel.edgeAP = static_cast<float>(s * a[p]);
    accel.edgeAQ = static_cast<float>(s * a[q]);
    return accel;
}

// A tree's block, word by word.
class TreeWriter {
public:
    TreeWriter() : words_(4, 0) {}

    size_t root() const { return 0; }
    const std::vector<uint32_t> &words() const { return words_; }

    // Makes the node at word `at` an inner node and returns the word of its lower child; the upper one is two words on.
    size_t split(size_t at, int axis, float value) {
        if (words_.size() % 2 != 0) words_.push_back(0);
        const size_t pair = words_.size();
        words_.resize(pair + 4);
        words_[at] = static_cast<uint32_t>((pair - at) * 4) | static_cast<uint32_t>(axis);
        std::memcpy(&words_[at + 1], &value, 4);
        return pair;
    }

    void emptyLeaf(size_t at) {
        words_[at] = 0x80000000u | 0x1234u; // no further meaning
        words_[at + 1] = 0;
    }

    void generalLeaf(size_t at, const std::vector<int32_t> &numbers) {
        const auto distance = static_cast<int32_t>((words_.size() - at) * 4);
        words_[at] = static_cast<uint32_t>(-distance);
        words_[at + 1] = static_cast<uint32_t>(numbers.size());
        for (const int32_t k : numbers) words_.push_back(static_cast<uint32_t>(k));
    }

    // One to three numbers; three must be sorted, and near each other.
    void compactLeaf(size_t at, const std::vector<int32_t> &numbers) {
        uint32_t w = static_cast<uint32_t>(numbers[0]), b = 0;
        if (numbers.size() == 2) b = static_cast<uint32_t>(numbers[1]);
        if (numbers.size() == 3) {
            b = static_cast<uint32_t>(numbers[1]);
            w = static_cast<uint32_t>(numbers[1] - numbers[0]) << 16 | static_cast<uint32_t>(numbers[2] - numbers[1]);
        }
        words_[at] = 0x80000000u | w;
        words_[at + 1] = 0x80000000u | b << 2 | static_cast<uint32_t>(numbers.size());
    }

private:
    std::vector<uint32_t> words_;
};

// Everything that a query reads, at the end of memory that may be touched.
class TestScene {
public:
    TestScene(std::vector<Triangle> triangles, const std::vector<uint32_t> &treeWords)
        : triangles_(std::move(triangles)), accel_(triangles_.size()), tree_(treeWords), bound_(1), scene_(1) {
        ZyprBox box = {{3e38f, 3e38f, 3e38f}, {-3e38f, -3e38f, -3e38f}};
        for (size_t k = 0; k < triangles_.size(); ++k) {
            accel_[k] = accelOf(triangles_[k]);
            for (const Point &p : {triangles_[k].p0, triangles_[k].p1, triangles_[k].p2})
                for (int axis = 0; axis < 3; ++axis) {
                    box.minimum[axis] = std::min(box.minimum[axis], component(p, axis));
                    box.maximum[axis] = std::max(box.maximum[axis], component(p, axis));
                }
        }
        for (int axis = 0; axis < 3; ++axis) {
            box.minimum[axis] -= 1e-3f;
            box.maximum[axis] += 1e-3f;
        }
        bound_[0] = box;
        scene_[0] = {&bound_[0], accel_.data(), reinterpret_cast<const ZyprKDNode *>(tree_.data())};
        forbidWrites();
    }

    const ZyprScene *operator&() const { return &scene_[0]; }
    const ZyprScene &view() const { return scene_[0]; }
    const std::vector<Triangle> &triangles() const { return triangles_; }

    // The any-hit query must not read the box.
    void forbidBound() { bound_.forbidAccess(); }

private:
    void forbidWrites() {
        accel_.forbidWrites();
        tree_.forbidWrites();
        bound_.forbidWrites();
        scene_.forbidWrites();
    }

    std::vector<Triangle> triangles_;
    GuardedArray<ZyprTriangleAccel> accel_;
    GuardedArray<uint32_t> tree_;
    GuardedArray<ZyprBox> bound_;
    GuardedArray<ZyprScene> scene_;
};

// Splits at the median of the triangles' centres; a triangle goes to every side that its box meets.
class MedianTree {
public:
    MedianTree(const std::vector<Triangle> &triangles, Random &random, int maxDepth, size_t leafSize)
        : triangles_(triangles), random_(random), maxDepth_(maxDepth), leafSize_(leafSize) {
        std::vector<int32_t> all(triangles.size());
        for (size_t k = 0; k < all.size(); ++k) all[k] = static_cast<int32_t>(k);
        build(writer_.root(), all, 0);
    }
    const std::vector<uint32_t> &words() const { return writer_.words(); }

private:
    float lower(int32_t k, int axis) const {
        const Triangle &t = triangles_[static_cast<size_t>(k)];
        return std::min({component(t.p0, axis), component(t.p1, axis), component(t.p2, axis)});
    }
    float upper(int32_t k, int axis) const {
        const Triangle &t = triangles_[static_cast<size_t>(k)];
        return std::max({component(t.p0, axis), component(t.p1, axis), component(t.p2, axis)});
    }

    void build(size_t at, const std::vector<int32_t> &numbers, int depth) {
        if (numbers.size() <= leafSize_ || depth == maxDepth_) return leaf(at, numbers);
        const int axis = random_.integer(0, 2);
        std::vector<float> centres;
        for (const int32_t k : numbers) centres.push_back(0.5f * (lower(k, axis) + upper(k, axis)));
        std::nth_element(centres.begin(), centres.begin() + static_cast<ptrdiff_t>(centres.size() / 2), centres.end());
        const float value = centres[centres.size() / 2];
        std::vector<int32_t> below, above;
        for (const int32_t k : numbers) {
            if (lower(k, axis) <= value) below.push_back(k);
            if (upper(k, axis) >= value) above.push_back(k);
        }
        const size_t pair = writer_.split(at, axis, value);
        build(pair, below, depth + 1);
        build(pair + 2, above, depth + 1);
    }

    void leaf(size_t at, std::vector<int32_t> numbers) {
        if (numbers.empty()) return writer_.emptyLeaf(at);
        if (numbers.size() > 3 || random_.chance(0.2f)) return writer_.generalLeaf(at, numbers);
        std::sort(numbers.begin(), numbers.end());
        writer_.compactLeaf(at, numbers);
    }

    const std::vector<Triangle> &triangles_;
    Random &random_;
    int maxDepth_;
    size_t leafSize_;
    TreeWriter writer_;
};

inline Point randomPoint(Random &random, float low, float high) {
    return {random.real(low, high), random.real(low, high), random.real(low, high)};
}

// Small triangles in a cube of half-width 1, some of them in axis-parallel planes, some degenerate, some twice.
inline std::vector<Triangle> randomTriangles(Random &random, size_t count, float size) {
    std::vector<Triangle> triangles;
    while (triangles.size() < count) {
        const Point c = randomPoint(random, -1.0f, 1.0f);
        const auto near = [&] {
            const Point o = randomPoint(random, -size, size);
            return Point{c.x + o.x, c.y + o.y, c.z + o.z};
        };
        Triangle t = {near(), near(), near()};
        switch (random.integer(0, 11)) {
        case 0: t.p0.z = t.p1.z = t.p2.z; break;
        case 1: t.p0.x = t.p1.x = t.p2.x; break;
        case 2: t.p1 = t.p0; break; // no area
        case 3:
            if (!triangles.empty()) t = triangles.back(); // at the same distance as its twin
            break;
        default: break;
        }
        triangles.push_back(t);
    }
    return triangles;
}

inline TestScene randomScene(uint32_t seed, size_t count, float size, int maxDepth = 14, size_t leafSize = 3) {
    Random random(seed);
    std::vector<Triangle> triangles = randomTriangles(random, count, size);
    const MedianTree tree(triangles, random, maxDepth, leafSize);
    return TestScene(std::move(triangles), tree.words());
}

// Two leaves of one triangle each, on both sides of a plane across z.
inline std::vector<uint32_t> twoLeafTree(float z, int32_t below, int32_t above) {
    TreeWriter writer;
    const size_t pair = writer.split(0, 2, z);
    writer.compactLeaf(pair, {below});
    writer.compactLeaf(pair + 2, {above});
    return writer.words();
}

// All triangles in one leaf, in order.
inline TestScene oneLeafScene(std::vector<Triangle> triangles) {
    TreeWriter writer;
    std::vector<int32_t> numbers;
    for (size_t k = 0; k < triangles.size(); ++k) numbers.push_back(static_cast<int32_t>(k));
    if (numbers.empty())
        writer.emptyLeaf(0);
    else
        writer.generalLeaf(0, numbers);
    return TestScene(std::move(triangles), writer.words());
}

// A triangle in the plane z that covers the square of half-width `extent` round (x, y).
inline Triangle facingTriangle(float z, float extent = 4.0f, float x = 0.0f, float y = 0.0f) {
    return {{x - extent, y - extent, z}, {x + 3 * extent, y - extent, z}, {x - extent, y + 3 * extent, z}};
}

// Two leaves, parted at `value` of an axis, z by default. One of them claims a triangle wherever that lies, the other is empty:
// a hit tells that the walk came there.
inline TestScene twoLeafScene(float value, bool upperHasIt, const Triangle &claimed, int axis = 2) {
    TreeWriter writer;
    const size_t pair = writer.split(0, axis, value);
    writer.compactLeaf(upperHasIt ? pair + 2 : pair, {0});
    writer.emptyLeaf(upperHasIt ? pair : pair + 2);
    return TestScene({claimed, facingTriangle(-9.0f), facingTriangle(9.0f)}, writer.words());
}

} // namespace zypr::test
