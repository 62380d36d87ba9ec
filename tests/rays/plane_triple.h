// Three guarded float arrays that are passed as one plane triple.
#pragma once

#include <array>

#include "support/bits.h"
#include "support/guarded_array.h"
#include "support/random.h"

namespace zypr::test {

class PlaneTriple {
public:
    // Each plane ends at its inaccessible page.
    explicit PlaneTriple(size_t count) : x(count), y(count), z(count) {}
    // Plane p lies misalignment[p] bytes past a multiple of 64.
    PlaneTriple(size_t count, std::array<size_t, 3> misalignment)
        : x(count, misalignment[0]), y(count, misalignment[1]), z(count, misalignment[2]) {}
    PlaneTriple(const PlaneTriple &) = delete;

    size_t size() const { return x.size(); }
    GuardedArray<float> &plane(int axis) { return axis == 0 ? x : axis == 1 ? y : z; }
    const GuardedArray<float> &plane(int axis) const { return axis == 0 ? x : axis == 1 ? y : z; }
    operator float * const *() { return pointers; }

    PlaneTriple &fill(float value) {
        for (int axis = 0; axis < 3; ++axis) std::fill(plane(axis).begin(), plane(axis).end(), value);
        return *this;
    }
    PlaneTriple &fill(Random &random, float low, float high) {
        for (int axis = 0; axis < 3; ++axis)
            for (float &value : plane(axis)) value = random.real(low, high);
        return *this;
    }
    PlaneTriple &fillSpecial(Random &random) {
        const auto &special = specialFloats();
        for (int axis = 0; axis < 3; ++axis)
            for (float &value : plane(axis))
                value = special[static_cast<size_t>(random.integer(0, static_cast<int32_t>(special.size()) - 1))];
        return *this;
    }
    std::array<float, 3> at(size_t i) const { return {x[i], y[i], z[i]}; }
    void set(size_t i, std::array<float, 3> value) {
        x[i] = value[0];
        y[i] = value[1];
        z[i] = value[2];
    }
    bool surroundingsIntact() const { return x.surroundingsIntact() && y.surroundingsIntact() && z.surroundingsIntact(); }

    GuardedArray<float> x, y, z;

private:
    float *pointers[3] = {x.data(), y.data(), z.data()};
};

// What a call should leave in a plane triple.
struct ExpectedTriple {
    explicit ExpectedTriple(size_t count)
        : plane{std::vector<float>(count), std::vector<float>(count), std::vector<float>(count)} {}
    void set(size_t i, const std::array<float, 3> &value) {
        for (size_t axis = 0; axis < 3; ++axis) plane[axis][i] = value[axis];
    }
    std::vector<float> plane[3];
};

inline testing::AssertionResult equalValues(const PlaneTriple &actual, const ExpectedTriple &expected) {
    for (int axis = 0; axis < 3; ++axis) {
        const auto result = equalValues(actual.plane(axis), expected.plane[axis]);
        if (!result) return testing::AssertionFailure() << "component " << axis << ": " << result.message();
    }
    if (!actual.surroundingsIntact()) return testing::AssertionFailure() << "memory around the planes was written";
    return testing::AssertionSuccess();
}

// Whether all the floats are +0.0.
inline bool isPositiveZeros(const std::array<float, 3> &a) { return bits(a[0]) == 0 && bits(a[1]) == 0 && bits(a[2]) == 0; }

} // namespace zypr::test
