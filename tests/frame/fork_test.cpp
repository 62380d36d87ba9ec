// A program that forks after a parallel call: the child has none of its parent's threads and must not wait for them.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <vector>

#include "support/core_probe.h"
#include "support/random.h"
#include "zypr.h"

using zypr::test::CoreProbe;
using zypr::test::CoreProbeScope;
using zypr::test::Random;

namespace {

// Whether `call` ends well in this process and then in a forked child.
testing::AssertionResult endsInAForkedChild(const std::function<bool()> &call) {
    if (!call()) return testing::AssertionFailure() << "the call failed in the parent";
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        _exit(call() ? 0 : 1);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child) return testing::AssertionFailure() << "no child";
    if (WIFSIGNALED(status)) return testing::AssertionFailure() << "the child ended by signal " << WTERMSIG(status);
    if (WEXITSTATUS(status) != 0) return testing::AssertionFailure() << "the call failed in the child";
    return testing::AssertionSuccess();
}

struct Mesh {
    std::vector<float> vertices;
    std::vector<int32_t> triangles;

    explicit Mesh(int32_t count) {
        Random random(7);
        vertices = random.reals(static_cast<size_t>(count) * 9, -1.0f, 1.0f);
        for (int32_t i = 0; i < count; ++i) triangles.insert(triangles.end(), {3 * i, 3 * i + 1, 3 * i + 2, 0});
    }
    int32_t triangleCount() const { return static_cast<int32_t>(triangles.size() / 4); }
    int32_t vertexCount() const { return static_cast<int32_t>(vertices.size() / 3); }
};

} // namespace

TEST(ForkedChild, ComputesTriangleNormals) {
    const CoreProbeScope scope;
    CoreProbe::threads = 2;
    const Mesh mesh(1000);
    EXPECT_TRUE(endsInAForkedChild([&] {
        std::vector<float> normals(mesh.triangles.size() / 4 * 3);
        return zyprTriangleNormal_32f(mesh.vertices.data(), mesh.triangles.data(), normals.data(), mesh.triangleCount()) ==
               zypStsNoErr;
    }));
}

TEST(ForkedChild, BuildsTrees) {
    const CoreProbeScope scope;
    CoreProbe::threads = 2;
    const Mesh mesh(3000);
    EXPECT_TRUE(endsInAForkedChild([&] {
        ZyprKDTree *tree = nullptr;
        int32_t size = 0;
        const ZyprKDTreeBuildContext context = {zyprKDTreeBuildSAH, 8, 0.5f, 512, nullptr};
        const zypStatus status = zyprKDTreeBuildAlloc(&tree, mesh.vertices.data(), mesh.triangles.data(), mesh.vertexCount(),
                                                      mesh.triangleCount(), &size, &context);
        if (status == zypStsNoErr) zyprKDTreeFree(tree);
        return status == zypStsNoErr;
    }));
}
