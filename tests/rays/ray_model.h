// The ray queries in plain scalar arithmetic, lane by lane and rounding by rounding: what the library's results are compared
// with, bit by bit. Written from the definitions, with no code of the library.
#pragma once

#include <cstdint>
#include <vector>

#include "zypr.h"

namespace zypr::test::model {

enum class Path { scalar, vector };

struct Planes {
    std::vector<float> x, y, z;
    const std::vector<float> &operator[](int axis) const { return axis == 0 ? x : axis == 1 ? y : z; }
    std::vector<float> &operator[](int axis) { return axis == 0 ? x : axis == 1 ? y : z; }
};

// The arrays that a query fills. `meaningful` tells which weights a caller may read.
struct Results {
    std::vector<float> dist, weight0, weight1;
    std::vector<int32_t> triangle;
    std::vector<bool> weightsDefined;
};

void intersectMO(Path path, const Planes &origin, const Planes &direction, Results &results, const ZyprScene &scene, int width,
                 int height);
void intersectEye(Path path, const float *origin, const Planes &direction, Results &results, const ZyprScene &scene, int width,
                  int height);
void intersectAny(Path path, const float *origin, const Planes &direction, std::vector<int32_t> &triangle,
                  std::vector<int32_t> &mask, const ZyprScene &scene, int width, int height);
void intersectMultiple(Path path, const float *origin, const Planes &direction, Results &results, const ZyprScene &scene,
                       int width, int height, int layers);

} // namespace zypr::test::model
