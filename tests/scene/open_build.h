// A build that tests take apart.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <deque>
#include <vector>

#include "scene/kd_build.h"
#include "support/core_probe.h"

namespace zypr::test {

// An open build with room for `triangleCount` references, closed at the end.
class OpenBuild {
public:
    explicit OpenBuild(int32_t triangleCount = 100, uint32_t limitMiB = 256)
        : vertices_(3000, 0.0f), triangles_(4 * static_cast<size_t>(triangleCount), 0) {
        EXPECT_EQ(kdOpenBuild(&state, vertices_.data(), triangles_.data(), 1000, triangleCount, limitMiB << 20), zypStsNoErr);
    }
    ~OpenBuild() { kdCloseBuild(state, zypStsMemLimitErr, nullptr, nullptr, nullptr); }

    int32_t clipVertices() const { return static_cast<int32_t>((state->clipVertexCursor - state->clipVertexBase) / 12); }

    ZyprKDPrimRef ref(uint32_t triangle, const std::vector<std::array<float, 3>> &points) {
        KDVertex *polygon = nullptr;
        const auto count = static_cast<uint32_t>(points.size());
        EXPECT_EQ(kdRequestPolygon(state, count, &polygon), zypStsNoErr);
        for (size_t i = 0; i < points.size(); ++i) {
            kept_.push_back(points[i]);
            polygon[i] = kept_.back().data();
        }
        return {triangle << 5 | count, kdExtremes(polygon, count), polygon};
    }

    ZyprKDBuildState *state = nullptr;

private:
    CoreProbeScope scope_;
    std::vector<float> vertices_;
    std::vector<int32_t> triangles_;
    std::deque<std::array<float, 3>> kept_;
};

} // namespace zypr::test
