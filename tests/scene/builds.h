// Running the library's builder beside its model.
#pragma once

#include <gtest/gtest.h>

#include <cstring>

#include "scene/kd_model.h"
#include "support/bits.h"
#include "support/core_probe.h"
#include "support/guarded_array.h"
#include "zypr.h"

namespace zypr::test {

using model::KDBuilt;
using model::KDOptions;

inline ZyprKDTreeBuildContext contextOf(const KDOptions &options) {
    return {zyprKDTreeBuildSAH, options.maxDepth, options.splitBias, options.memoryLimitMiB,
            options.clipBox ? options.clipBox->data() : nullptr};
}

// The library's build of a mesh in arrays that end at inaccessible pages. The probe's records are those of this build alone.
inline KDBuilt libraryBuild(const model::KDMesh &mesh, const KDOptions &options) {
    const CoreProbeScope scope;
    const GuardedArray<float> vertices(mesh.vertices);
    const GuardedArray<int32_t> triangles(mesh.triangles);
    const ZyprKDTreeBuildContext context = contextOf(options);
    KDBuilt built;
    auto *const untouched = reinterpret_cast<ZyprKDTree *>(uintptr_t{0x1234});
    ZyprKDTree *tree = untouched;
    int32_t size = -5;
    built.status = zyprKDTreeBuildAlloc(&tree, vertices.data(), triangles.data(), mesh.vertexCount(), mesh.triangleCount(),
                                        &size, &context);
    built.requests = CoreProbe::requests();
    if (built.status != zypStsNoErr) {
        EXPECT_EQ(tree, untouched);
        EXPECT_EQ(size, -5);
        return built;
    }
    EXPECT_EQ(size % 4, 0);
    built.words.resize(static_cast<size_t>(size) / 4);
    std::memcpy(built.words.data(), tree, static_cast<size_t>(size));
    EXPECT_EQ(CoreProbe::liveBlocks(), 1);
    zyprKDTreeFree(tree);
    return built;
}

inline testing::AssertionResult sameBuild(const KDBuilt &actual, const KDBuilt &expected) {
    if (actual.status != expected.status)
        return testing::AssertionFailure() << "status " << actual.status << ", expected " << expected.status;
    if (const auto same = equalBits(actual.requests, expected.requests); !same)
        return testing::AssertionFailure() << "requests: " << same.message();
    if (const auto same = equalBits(actual.words, expected.words); !same)
        return testing::AssertionFailure() << "tree: " << same.message();
    return testing::AssertionSuccess();
}

} // namespace zypr::test
