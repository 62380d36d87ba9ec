// The builder's parts one by one: sorts, polygons, requests for memory, distribution and pools.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "frame/memory.h"
#include "scene/builds.h"
#include "scene/kd_emit.h"
#include "scene/meshes.h"
#include "scene/open_build.h"
#include "support/bits.h"
#include "support/core_probe.h"
#include "support/guarded_array.h"

using namespace zypr;
using namespace zypr::test;

namespace {

std::vector<std::array<float, 3>> pointsOf(const ZyprKDPrimRef &ref) {
    std::vector<std::array<float, 3>> points;
    for (uint32_t i = 0; i < ref.vertexCount(); ++i)
        points.push_back({ref.polygon[i][0], ref.polygon[i][1], ref.polygon[i][2]});
    return points;
}
using Points = std::vector<std::array<float, 3>>;

// An open build of one triangle, to be clipped to the unit box.
class OneTriangle : public OpenBuild {
public:
    explicit OneTriangle(std::vector<float> vertices) : OpenBuild(1), vertices_(std::move(vertices)) {
        state->vertexBase = vertices_.data();
        setCounted(3);
    }
    void setCounted(int32_t vertices) { state->vertexEnd = vertices_.data() + 3 * vertices; }
    zypStatus clip() { return kdClipTrianglesToBox(&refs_, &count_, triangle_, 1, {{0, 0, 0}, {1, 1, 1}}, state); }
    Points clipped() const { return count_ == 0 ? Points{} : pointsOf(refs_[0]); }

private:
    std::vector<float> vertices_;
    const int32_t triangle_[4] = {0, 1, 2, 0};
    ZyprKDPrimRef *refs_ = nullptr;
    int32_t count_ = -1;
};

// A build as the front runs it, but with the pools of the options' sizes.
KDBuilt buildFromParts(
    const KDMesh &mesh, const KDOptions &options, int32_t fewestForTeam = kdFewestForTeam,
    const std::function<void(ZyprKDBuildState *)> &beforeTheTree = [](ZyprKDBuildState *) {}) {
    const CoreProbeScope scope;
    ZyprKDBuildState *state = nullptr;
    KDGrowingTree tree;
    const auto build = [&]() -> zypStatus {
        if (const zypStatus status = kdOpenBuild(&state, mesh.vertices.data(), mesh.triangles.data(), mesh.vertexCount(),
                                                 mesh.triangleCount(), options.memoryLimitMiB << 20))
            return status;
        if (options.refPoolBytes) state->refPoolLimit = state->refPoolBase + *options.refPoolBytes;
        if (options.clipVertexPoolBytes) state->clipVertexLimit = state->clipVertexBase + *options.clipVertexPoolBytes;
        ZyprBox box;
        ZyprKDPrimRef *refs;
        if (const zypStatus status = kdInitPrimRefs(&refs, mesh.vertexCount(), mesh.triangleCount(), &box, state))
            return status;
        if (const zypStatus status = kdRequestNodePair(state)) return status;
        tree = KDGrowingTree(state);
        beforeTheTree(state);
        return kdBuildTree(state, &tree, refs, mesh.triangleCount(), options.splitBias, options.maxDepth, box, fewestForTeam);
    };
    KDBuilt built;
    const zypStatus status = build();
    ZyprKDTree *block = nullptr;
    int32_t size = 0;
    built.status = kdCloseBuild(state, status, &tree, &block, &size);
    built.requests = CoreProbe::requests();
    if (built.status != zypStsNoErr) return built;
    built.words.resize(static_cast<size_t>(size) / 4);
    std::memcpy(built.words.data(), block, static_cast<size_t>(size));
    zyprFreeBlock(block);
    return built;
}

std::vector<float> sortedModel(std::vector<float> keys) {
    std::sort(keys.begin(), keys.end(), [](float a, float b) { return a != b ? a < b : std::signbit(a) > std::signbit(b); });
    return keys;
}

} // namespace

TEST(KDSort, BothSortsAscendAtEveryCount) {
    Random random(1);
    for (int32_t count = 0; count < 400; ++count) {
        for (const bool lattice : {false, true}) {
            std::vector<float> keys = random.reals(static_cast<size_t>(count), -1000.0f, 1000.0f);
            if (lattice) {
                for (float &key : keys) key = static_cast<float>(random.integer(-3, 3)) * (random.chance(0.5f) ? 1.0f : -1.0f);
            }
            const std::vector<float> expected = sortedModel(keys);
            GuardedArray<float> quick(keys), radix(keys), buffer(keys.size());
            kdSortFloatsQuick(quick.data(), count);
            kdSortFloatsRadix(radix.data(), buffer.data(), count);
            ASSERT_TRUE(equalBits(quick, expected)) << count;
            ASSERT_TRUE(equalBits(radix, expected)) << count;
            ASSERT_TRUE(quick.surroundingsIntact() && radix.surroundingsIntact() && buffer.surroundingsIntact());
        }
    }
}

TEST(KDSort, SortedReversedEqualAndSpecialKeysAscend) {
    std::vector<std::vector<float>> inputs(4);
    for (int i = 0; i < 5000; ++i) {
        inputs[0].push_back(static_cast<float>(i));
        inputs[1].push_back(static_cast<float>(-i));
        inputs[2].push_back(4.0f);
    }
    for (const float value : specialFloats()) {
        if (!std::isnan(value)) inputs[3].insert(inputs[3].end(), {value, -value, value});
    }
    for (const std::vector<float> &keys : inputs) {
        const auto count = static_cast<int32_t>(keys.size());
        std::vector<float> quick = keys, radix = keys, buffer = keys;
        kdSortFloatsQuick(quick.data(), count);
        kdSortFloatsRadix(radix.data(), buffer.data(), count);
        EXPECT_TRUE(equalBits(quick, sortedModel(keys)));
        EXPECT_TRUE(equalBits(radix, sortedModel(keys)));
    }
}

TEST(KDExtremesWord, HoldsTheLowestIndexAmongEqualCoordinates) {
    OpenBuild build;
    const ZyprKDPrimRef ref = build.ref(0, {{1, 5, 2}, {0, 5, 2}, {0, 4, 2}, {1, 4, 2}});
    EXPECT_EQ(ref.extremes, 0u | 0u << 5 | 0u << 10 | 1u << 15 | 2u << 20 | 0u << 25);
}

TEST(KDSplitPolygon, CutsATriangleIntoTwoWithTwoNewVertices) {
    OpenBuild build;
    const ZyprKDPrimRef ref = build.ref(7, {{0, 0, 0}, {4, 0, 8}, {0, 4, 0}});
    KDVertex *const source = ref.polygon;
    ZyprKDPrimRef left, right;
    ASSERT_EQ(kdSplitPolygon(ref, &left, &right, 1.0f, 0, build.state), zypStsNoErr);
    EXPECT_EQ(build.clipVertices(), 2);
    EXPECT_EQ(left.tag, 7u << 5 | 4u);
    EXPECT_EQ(right.tag, 7u << 5 | 3u);
    EXPECT_EQ(left.triangle(), 7);
    EXPECT_EQ(pointsOf(left), (Points{{0, 0, 0}, {1, 0, 2}, {1, 3, 2}, {0, 4, 0}}));
    EXPECT_EQ(pointsOf(right), (Points{{1, 0, 2}, {4, 0, 8}, {1, 3, 2}}));
    EXPECT_EQ(left.extremes, kdExtremes(left.polygon, 4));
    EXPECT_EQ(right.extremes, kdExtremes(right.polygon, 3));
    EXPECT_EQ(left.polygon[1], right.polygon[0]); // one vertex, shared
    EXPECT_EQ(build.state->polygonFree[3], source);
}

TEST(KDSplitPolygon, ACutThroughAVertexSharesItAndMakesOneVertex) {
    OpenBuild build;
    const ZyprKDPrimRef ref = build.ref(1, {{0, 0, 0}, {1, 5, 5}, {4, 0, 0}});
    const KDVertex middle = ref.polygon[1];
    ZyprKDPrimRef left, right;
    ASSERT_EQ(kdSplitPolygon(ref, &left, &right, 1.0f, 0, build.state), zypStsNoErr);
    EXPECT_EQ(build.clipVertices(), 1);
    EXPECT_EQ(left.vertexCount() + right.vertexCount(), 6u);
    EXPECT_EQ(left.polygon[1], middle);
    EXPECT_EQ(right.polygon[0], middle);
    EXPECT_EQ(pointsOf(left), (Points{{0, 0, 0}, {1, 5, 5}, {1, 0, 0}}));
    EXPECT_EQ(pointsOf(right), (Points{{1, 5, 5}, {4, 0, 0}, {1, 0, 0}}));
}

TEST(KDSplitPolygon, ACutThroughTwoVerticesMakesNone) {
    OpenBuild build;
    const ZyprKDPrimRef ref = build.ref(1, {{0, 0, 0}, {1, 1, 0}, {2, 0, 0}, {1, -1, 0}});
    ZyprKDPrimRef left, right;
    ASSERT_EQ(kdSplitPolygon(ref, &left, &right, 1.0f, 0, build.state), zypStsNoErr);
    EXPECT_EQ(build.clipVertices(), 0);
    EXPECT_EQ(pointsOf(left), (Points{{0, 0, 0}, {1, 1, 0}, {1, -1, 0}}));
    EXPECT_EQ(pointsOf(right), (Points{{1, 1, 0}, {2, 0, 0}, {1, -1, 0}}));
}

TEST(KDSplitPolygon, NewVerticesAreInterpolatedInRingOrderInDoublePrecision) {
    OpenBuild build;
    const std::array<float, 3> a = {0.1f, 0.7f, -3.3f}, b = {1.9f, 0.2f, 8.1f}, c = {0.3f, -0.9f, 0.4f};
    const ZyprKDPrimRef ref = build.ref(1, {a, b, c});
    ZyprKDPrimRef left, right;
    ASSERT_EQ(kdSplitPolygon(ref, &left, &right, 0.77f, 0, build.state), zypStsNoErr);
    const auto crossing = [](const std::array<float, 3> &from, const std::array<float, 3> &to) {
        std::array<float, 3> point = {0.77f, 0, 0};
        const double t = (static_cast<double>(0.77f) - from[0]) / (static_cast<double>(to[0]) - from[0]);
        for (size_t i = 1; i < 3; ++i)
            point[i] = static_cast<float>(std::fma(static_cast<double>(to[i]) - from[i], t, static_cast<double>(from[i])));
        return point;
    };
    EXPECT_EQ(pointsOf(right), (Points{crossing(a, b), b, crossing(b, c)}));
}

TEST(KDSplitPolygon, MoreThanNineVerticesEndTheBuild) {
    OpenBuild build;
    Points ring = {{0, 0, 0}};
    for (int i = 1; i < 9; ++i) ring.push_back({2.0f + static_cast<float>(4 - std::abs(4 - i)), static_cast<float>(i), 0});
    ZyprKDPrimRef ref = build.ref(1, ring), left, right;
    EXPECT_EQ(kdSplitPolygon(ref, &left, &right, 1.0f, 0, build.state), zypStsBuildInconsistentErr);
}

TEST(KDSplitPolygon, AFullVertexPoolEndsTheBuild) {
    OpenBuild build;
    const ZyprKDPrimRef ref = build.ref(7, {{0, 0, 0}, {4, 0, 8}, {0, 4, 0}});
    ZyprKDPrimRef left, right;
    const auto statusWithRoom = [&](int32_t bytes) {
        build.state->clipVertexLimit = build.state->clipVertexCursor + bytes;
        return kdSplitPolygon(ref, &left, &right, 1.0f, 0, build.state);
    };
    EXPECT_EQ(statusWithRoom(12), zypStsMemLimitErr); // the cursor stays strictly below the limit
    EXPECT_EQ(statusWithRoom(13), zypStsMemLimitErr);
    EXPECT_EQ(statusWithRoom(24), zypStsMemLimitErr);
    EXPECT_EQ(statusWithRoom(25), zypStsNoErr);
}

TEST(KDSplitPolygon, APolygonBlockThatTheLimitForbidsEndsTheBuild) {
    OpenBuild build;
    const ZyprKDPrimRef ref = build.ref(7, {{0, 0, 0}, {4, 0, 8}, {0, 4, 0}});
    ZyprKDPrimRef left, right;
    ZyprKDBuildBlock *block = build.state->polygonBlocks.prev;
    build.state->memoryLeft = 0x1000027;
    block->cursor = block->limit - 32; // four pointers end at the limit
    EXPECT_EQ(kdSplitPolygon(ref, &left, &right, 1.0f, 0, build.state), zypStsMemLimitErr);
    build.state->memoryLeft = 0x1000028;
    EXPECT_EQ(kdSplitPolygon(ref, &left, &right, 1.0f, 0, build.state), zypStsNoErr);
    EXPECT_EQ(build.state->memoryLeft, 0u);
}

TEST(KDOpen, PlansPoolsOfWholeBlocksAndOneMore) {
    const float vertex = 0;
    const int32_t triangle = 0;
    for (const bool manyTriangles : {false, true}) {
        for (const bool manyVertices : {false, true}) {
            const CoreProbeScope scope;
            // 36 bytes a triangle and 48 a vertex, around 16 MiB
            const int32_t triangles = manyTriangles ? 466034 : 466033, vertices = manyVertices ? 349526 : 349525;
            const int32_t refPool = manyTriangles ? 0x2000000 : 0x1000000, vertexPool = manyVertices ? 0x2000000 : 0x1000000;
            ZyprKDBuildState *state = nullptr;
            ASSERT_EQ(kdOpenBuild(&state, &vertex, &triangle, vertices, triangles, 256u << 20), zypStsNoErr);
            std::vector<int32_t> expected = {400};
            expected.insert(expected.end(), 12, 4 * triangles);
            expected.insert(expected.end(), {refPool, vertexPool});
            EXPECT_EQ(CoreProbe::requests(), expected);
            EXPECT_EQ(state->refPoolLimit - state->refPoolBase, refPool);
            EXPECT_EQ(state->clipVertexLimit - state->clipVertexBase, vertexPool);
            EXPECT_EQ(state->memoryLeft, (256u << 20) - 400 - 48 * static_cast<uint32_t>(triangles) -
                                             static_cast<uint32_t>(refPool) - static_cast<uint32_t>(vertexPool));
            kdCloseBuild(state, zypStsMemLimitErr, nullptr, nullptr, nullptr);
        }
    }
}

TEST(KDRequests, PoolsStayBelowTheirLimit) {
    OpenBuild build;
    const auto room = static_cast<int64_t>(build.state->refPoolLimit - build.state->refPoolCursor);
    EXPECT_EQ(room, 0x1000000);
    ZyprKDPrimRef *refs;
    EXPECT_EQ(kdRequestRefs(build.state, room / 16, &refs), zypStsMemLimitErr);
    EXPECT_EQ(kdRequestRefs(build.state, int64_t{1} << 31, &refs), zypStsMemLimitErr);
    EXPECT_EQ(kdRequestRefs(build.state, room / 16 - 1, &refs), zypStsNoErr);
    EXPECT_EQ(kdRequestRefs(build.state, 1, &refs), zypStsMemLimitErr);
}

TEST(KDRequests, BlocksAreNeverFilledToTheirLastByte) {
    OpenBuild build;
    KDVertex *polygon;
    ASSERT_EQ(kdRequestPolygon(build.state, 3, &polygon), zypStsNoErr);
    build.state->memoryLeft = 0x1000027;
    ZyprKDBuildBlock *block = build.state->polygonBlocks.prev;
    block->limit = block->cursor + 24;
    EXPECT_EQ(kdRequestPolygon(build.state, 3, &polygon), zypStsMemLimitErr);
    block->limit = block->cursor + 25;
    EXPECT_EQ(kdRequestPolygon(build.state, 3, &polygon), zypStsNoErr);
}

TEST(KDRequests, NodePairsTake48Bytes) {
    OpenBuild build;
    for (int pairs = 1; pairs <= 2; ++pairs) {
        ASSERT_EQ(kdRequestNodePair(build.state), zypStsNoErr);
        EXPECT_EQ(build.state->nodeBlocks.prev->cursor - build.state->nodeBlocks.prev->base, 48 * pairs);
    }
}

TEST(KDRequests, PolygonArraysAreReusedByCountLastInFirstOut) {
    OpenBuild build;
    KDVertex *a, *b, *c, *d;
    ASSERT_EQ(kdRequestPolygon(build.state, 4, &a), zypStsNoErr);
    ASSERT_EQ(kdRequestPolygon(build.state, 4, &b), zypStsNoErr);
    EXPECT_EQ(b - a, 4);
    kdReleasePolygon(build.state, 4, a);
    kdReleasePolygon(build.state, 4, b);
    ASSERT_EQ(kdRequestPolygon(build.state, 5, &c), zypStsNoErr);
    EXPECT_EQ(c - b, 4);
    ASSERT_EQ(kdRequestPolygon(build.state, 4, &c), zypStsNoErr);
    ASSERT_EQ(kdRequestPolygon(build.state, 4, &d), zypStsNoErr);
    EXPECT_EQ(c, b);
    EXPECT_EQ(d, a);
}

TEST(KDRequests, AHugeLeafGetsABlockOfItsOwn) {
    OpenBuild build;
    ASSERT_EQ(kdRequestLeafList(build.state, 4194304), zypStsNoErr);
    EXPECT_EQ(CoreProbe::requests().back(), 0x1000000);
    ASSERT_EQ(kdRequestLeafList(build.state, 4194305), zypStsNoErr);
    EXPECT_EQ(CoreProbe::requests().back(), 0x1000004);
    build.state->memoryLeft = 20000039;
    EXPECT_EQ(kdRequestLeafList(build.state, 5000000), zypStsMemLimitErr);
}

TEST(KDClip, TrianglesInsideCostNoVertices) {
    OpenBuild build(2);
    build.state->triangleEnd = build.state->triangleBase + 8;
    std::vector<float> vertices = {0, 0, 0, 1, 0, 0, 0, 1, 0, 9, 0, 0};
    build.state->vertexBase = vertices.data();
    build.state->vertexEnd = vertices.data() + vertices.size();
    const std::vector<int32_t> triangles = {0, 1, 2, 0, 0, 3, 2, 0};
    const ZyprBox box{{0, 0, 0}, {1, 1, 1}};
    ZyprKDPrimRef *refs;
    int32_t count = -1;
    ASSERT_EQ(kdClipTrianglesToBox(&refs, &count, triangles.data(), 1, box, build.state), zypStsNoErr);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(build.clipVertices(), 0);
    for (size_t k = 0; k < 3; ++k) EXPECT_EQ(refs[0].polygon[k], vertices.data() + 3 * k);

    ASSERT_EQ(kdClipTrianglesToBox(&refs, &count, triangles.data() + 4, 1, box, build.state), zypStsNoErr);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(build.clipVertices(), 2);
    EXPECT_EQ(pointsOf(refs[0]), (Points{{0, 0, 0}, {1, 0, 0}, {1, 0.8888889f, 0}, {0, 1, 0}}));
}

TEST(KDClip, VerticesThatAreNotCountedAreCopied) {
    OneTriangle build({0, 0, 0, 1, 0, 0, 0, 1, 0});
    for (int32_t counted = 3; counted >= 0; --counted) {
        build.setCounted(counted);
        const int32_t before = build.clipVertices();
        ASSERT_EQ(build.clip(), zypStsNoErr);
        EXPECT_EQ(build.clipVertices() - before, 3 - counted);
        EXPECT_EQ(build.clipped(), (Points{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}));
    }
}

TEST(KDClip, APolygonBlockThatTheLimitForbidsEndsTheBuild) {
    OneTriangle build({0, 0, 0, 1, 0, 0, 0, 1, 0});
    build.state->memoryLeft = 0x1000027;
    EXPECT_EQ(build.clip(), zypStsMemLimitErr);
    build.state->memoryLeft = 0x1000028;
    EXPECT_EQ(build.clip(), zypStsNoErr);
}

TEST(KDClip, WhatOnlyTouchesTheBoxIsDroppedOrKeptAsThePassesGive) {
    const auto clipped = [](const std::vector<float> &vertices) {
        OneTriangle build(vertices);
        EXPECT_EQ(build.clip(), zypStsNoErr);
        return build.clipped();
    };
    EXPECT_EQ(clipped({1, 0.5f, 0.5f, 2, 0, 0.5f, 2, 1, 0.5f}), Points{});        // one vertex on a face
    EXPECT_EQ(clipped({1, 0.2f, 0.5f, 1, 0.8f, 0.5f, 2, 0.5f, 0.5f}), Points{});  // an edge on a face
    EXPECT_EQ(clipped({1, 0.2f, 0.5f, 1, 0.8f, 0.5f, 1, 0.5f, 0.9f}).size(), 3u); // all of it on a face
    EXPECT_EQ(clipped({1, 0.2f, 0.5f, 1, 0.8f, 0.5f, 1, 0.5f, 5.0f}).size(), 4u);
    EXPECT_EQ(clipped({3, 0.2f, 0.5f, 4, 0.8f, 0.5f, 5, 0.5f, 0.5f}), Points{});
}

TEST(KDClip, FullPoolsEndTheBuild) {
    OneTriangle build({0, 0, 0, 9, 0, 0, 0, 1, 0});
    unsigned char *const vertexLimit = build.state->clipVertexLimit;
    build.state->clipVertexLimit = build.state->clipVertexCursor + 24;
    EXPECT_EQ(build.clip(), zypStsMemLimitErr);
    build.state->clipVertexCursor = build.state->clipVertexBase;
    build.state->clipVertexLimit = vertexLimit;
    build.state->refPoolLimit = build.state->refPoolCursor + 16;
    EXPECT_EQ(build.clip(), zypStsMemLimitErr);
    build.state->refPoolLimit = build.state->refPoolCursor + 17;
    EXPECT_EQ(build.clip(), zypStsNoErr);
}

TEST(KDPartition, CountsThatDifferFromThePredictionEndTheBuild) {
    OpenBuild build;
    const KDBounds bounds(build.state->scratch);
    for (const auto &[left, right] : {std::pair{1, 2}, std::pair{2, 1}, std::pair{2, 3}, std::pair{3, 2}, std::pair{2, 2}}) {
        ZyprKDPrimRef refs[4], lefts[8];
        for (uint32_t i = 0; i < 4; ++i) {
            const auto x = static_cast<float>(i);
            refs[i] = build.ref(i, {{x, 0, 0}, {x + 1, 0, 0}, {x, 1, 1}});
        }
        kdGatherBounds(bounds, refs, 4);
        const ZyprKDSplitResult split{0.0, 2.0f, 0, left, right, 1};
        EXPECT_EQ(kdPartition(bounds, refs, 4, split, lefts, build.state),
                  left == 2 && right == 2 ? zypStsNoErr : zypStsBuildInconsistentErr);
    }
}

TEST(KDTeam, BuildsTheModelsTree) {
    const KDMesh mesh = room(9);
    const KDOptions options{.maxDepth = 5, .splitBias = 1.0f};
    const KDBuilt expected = model::kdModelBuild(mesh, options);
    for (const int32_t fewestForTeam : {1, 76, INT32_MAX})
        EXPECT_TRUE(sameBuild(buildFromParts(mesh, options, fewestForTeam), expected)) << fewestForTeam;
}

// From nothing to enough, so that every request is the first to fail once.
TEST(KDPools, AreFullAtTheModelsRequestWhateverTheirSize) {
    // Of two copies side by side no triangle is cut at first: the second takes its vertices from where the first one's were.
    KDMesh copies = soup(5, 20, 0.3f);
    for (int32_t v = 0, count = copies.vertexCount(); v < count; ++v) {
        const float *at = copies.vertices.data() + 3 * v;
        const float x = at[0] + 10.0f, y = at[1], z = at[2];
        copies.addVertex(x, y, z);
        if (v % 3 == 2) copies.addTriangle(count + v - 2, count + v - 1, count + v);
    }
    for (const KDMesh &mesh : {soup(5, 40, 0.3f), needles(6, 12), copies}) {
        for (const auto pool : {&KDOptions::refPoolBytes, &KDOptions::clipVertexPoolBytes}) {
            KDOptions options{.splitBias = 1.0f};
            int failures = 0;
            int32_t status = zypStsMemLimitErr;
            for (uint32_t bytes = 1; status != zypStsNoErr; bytes += 4, ++failures) {
                options.*pool = bytes;
                const KDBuilt expected = model::kdModelBuild(mesh, options);
                ASSERT_TRUE(sameBuild(buildFromParts(mesh, options), expected)) << bytes;
                status = expected.status;
            }
            EXPECT_GT(failures, 20);
        }
    }
}

TEST(KDPools, ANodeBlockThatTheLimitForbidsEndsTheBuild) {
    const KDMesh mesh = soup(5, 40, 0.3f);
    const KDOptions options{.splitBias = 1.0f};
    const KDBuilt whole = model::kdModelBuild(mesh, options);
    int32_t pairs = 0;
    for (;; ++pairs) {
        const KDBuilt built = buildFromParts(mesh, options, kdFewestForTeam, [pairs](ZyprKDBuildState *state) {
            state->memoryLeft = 0x1000028; // for the leaves
            state->nodeBlocks.prev->limit = state->nodeBlocks.prev->cursor + 48 * pairs + 1;
        });
        if (built.status == zypStsNoErr) {
            EXPECT_TRUE(equalBits(built.words, whole.words));
            break;
        }
        ASSERT_EQ(built.status, zypStsMemLimitErr) << pairs;
    }
    EXPECT_GT(pairs, 40);
}
