// zyprIntersectMultipleSO_32f.

#include "rays/bundles.h"

namespace zypr::test {
namespace {

const Rays allKinds[] = {Rays::coherent, Rays::axisAligned, Rays::incoherent, Rays::tinyComponents};

model::Results run(const Bundle &bundle, const TestScene &scene, int layers, int misaligned = -1) {
    return runLibrary(Query::multiple, bundle, &scene, layers, misaligned);
}

// On the vector path, and on the scalar one by way of a misaligned array.
void expectOnBothPaths(const Bundle &bundle, const TestScene &scene, int layers,
                       const std::function<void(const model::Results &)> &expectation) {
    {
        SCOPED_TRACE("vector path");
        expectation(run(bundle, scene, layers));
    }
    SCOPED_TRACE("scalar path");
    expectation(run(bundle, scene, layers, 0));
}

std::vector<Triangle> stack(int count, float first = 1.0f, float step = 1.0f) {
    std::vector<Triangle> triangles;
    for (int i = 0; i < count; ++i) triangles.push_back(facingTriangle(first + step * static_cast<float>(i), 4.0f));
    return triangles;
}

TEST(MultipleHits, EqualTheModelOnPacketsOfEveryKind) {
    Random random(51);
    for (int round = 0; round < 25; ++round) {
        const TestScene scene = randomScene(random.word(), static_cast<size_t>(random.integer(1, 200)), 0.7f);
        for (const Rays kind : allKinds) {
            SCOPED_TRACE(testing::Message() << "round " << round << " kind " << static_cast<int>(kind));
            const Bundle bundle = randomBundle(random, 4 * random.integer(1, 4), 4 * random.integer(1, 3), kind, true);
            expectModel(Query::multiple, Path::vector, bundle, scene, random.integer(1, 12));
            if (testing::Test::HasFailure()) return;
        }
    }
}

TEST(MultipleHits, EqualTheModelRayByRay) {
    Random random(52);
    for (int round = 0; round < 25; ++round) {
        const TestScene scene = randomScene(random.word(), static_cast<size_t>(random.integer(1, 200)), 0.7f);
        for (const Rays kind : allKinds) {
            SCOPED_TRACE(testing::Message() << "round " << round << " kind " << static_cast<int>(kind));
            const Bundle bundle = randomBundle(random, random.integer(1, 11), 4 * random.integer(0, 2) + 2, kind, true);
            expectModel(Query::multiple, Path::scalar, bundle, scene, random.integer(1, 20));
            if (testing::Test::HasFailure()) return;
        }
    }
}

TEST(MultipleHits, TakeThePathThatSizesAndAlignmentsCallFor) {
    Random random(53);
    const TestScene scene = randomScene(7, 100, 0.7f);
    for (int height = 1; height <= 9; ++height)
        for (int width = 1; width <= 9; ++width) {
            SCOPED_TRACE(testing::Message() << width << " x " << height);
            const Bundle bundle = randomBundle(random, width, height, Rays::coherent, true);
            expectModel(Query::multiple, pathOf(bundle), bundle, scene, 3);
        }
}

TEST(MultipleHits, AnyMisalignedArrayLeadsToTheScalarPath) {
    Random random(54);
    const TestScene scene = randomScene(8, 200, 0.6f);
    Bundle bundle = randomBundle(random, 8, 8, Rays::coherent, true);
    bundle.dist.assign(64, 1e30f);
    const model::Results vector = runModel(Query::multiple, Path::vector, bundle, scene.view(), 3);
    EXPECT_FALSE(equalBits(vector.dist, runModel(Query::multiple, Path::scalar, bundle, scene.view(), 3).dist));
    for (int array = 0; array < arraysOf(Query::multiple); ++array) {
        SCOPED_TRACE(testing::Message() << "array " << array);
        expectModel(Query::multiple, Path::scalar, bundle, scene, 3, array);
    }
}

TEST(MultipleHits, WidthOfSixTakesTheScalarPath) {
    Random random(55);
    const TestScene scene = randomScene(9, 100, 0.6f);
    expectModel(Query::multiple, Path::scalar, randomBundle(random, 6, 4, Rays::coherent, true), scene, 4);
}

TEST(MultipleHits, SizesAndLayersBelowOneDoNothing) {
    const TestScene scene = oneLeafScene(stack(2));
    const float point[3] = {0, 0, 0};
    const float *planes[3] = {point, point, point};
    float value = 5.0f;
    float *const bary[2] = {&value, &value};
    int32_t triangle = untouchedInt;
    for (const ZyprLayerSize size : {ZyprLayerSize{0, 4, 2}, {4, 0, 2}, {-4, 4, 2}, {-4, -4, 2}, {1, 1, 0}, {4, 4, -1}}) {
        EXPECT_EQ(zyprIntersectMultipleSO_32f(point, planes, &value, bary, &triangle, &size, &scene), zypStsNoErr);
        EXPECT_EQ(triangle, untouchedInt);
        EXPECT_EQ(value, 5.0f);
    }
}

TEST(MultipleHits, RayThroughThreeTrianglesGetsThreeHitsMeasuredFromTheFirstOrigin) {
    const TestScene scene = oneLeafScene(stack(3));
    expectOnBothPaths(Bundle(4, 4), scene, 5, [](const model::Results &results) {
        for (size_t layer = 0; layer < 5; ++layer)
            for (size_t r = 0; r < 16; ++r) {
                const size_t entry = 16 * layer + r;
                ASSERT_EQ(results.triangle[entry], layer < 3 ? static_cast<int32_t>(layer) : -1);
                if (layer < 3) {
                    ASSERT_NEAR(results.dist[entry], 1.0f + static_cast<float>(layer), 1e-5f);
                }
            }
        // A layer in which the ray looked for more and found nothing; the one after it was never begun.
        EXPECT_EQ(results.dist[3 * 16], 3.4028235e38f);
        EXPECT_EQ(results.dist[4 * 16], untouchedFloat);
    });
}

TEST(MultipleHits, LastLayerIsTheLastWord) {
    const TestScene scene = oneLeafScene(stack(5));
    expectOnBothPaths(Bundle(4, 4), scene, 2, [](const model::Results &results) {
        EXPECT_EQ(results.triangle[0], 0);
        EXPECT_EQ(results.triangle[16], 1);
    });
}

TEST(MultipleHits, SurfaceThatTheRayLeavesIsNotMetAgainThoughRoundingPutsItAhead) {
    // Slanted triangles and odd directions: o + t d falls on either side of the plane.
    Random random(56);
    int ahead = 0;
    for (int round = 0; round < 25; ++round) {
        const Triangle t = {randomPoint(random, -3.0f, 3.0f), randomPoint(random, -3.0f, 3.0f),
                            randomPoint(random, -3.0f, 3.0f)};
        const TestScene scene = oneLeafScene({t});
        Bundle bundle = randomBundle(random, 8, 4, Rays::incoherent, true);
        bundle.dist.assign(32, 1e30f);
        for (const int misaligned : {-1, 0}) {
            const model::Results results = run(bundle, scene, 4, misaligned);
            for (size_t r = 0; r < 32; ++r) {
                EXPECT_EQ(results.triangle[32 + r], -1);
                if (results.triangle[r] != 0) continue;
                Bundle next(1, 1); // what a fresh query from the hit point finds
                Point o = {0, 0, 0}, d = {bundle.direction.x[r], bundle.direction.y[r], bundle.direction.z[r]};
                const float s = results.dist[r];
                const float x = s * d.x, y = s * d.y, z = s * d.z;
                o = {bundle.origin.x[r] + x, bundle.origin.y[r] + y, bundle.origin.z[r] + z};
                next.setOrigin(0, o);
                next.setDirection(0, d);
                if (runLibrary(Query::eye, next, &scene).triangle[0] == 0) ++ahead;
            }
        }
    }
    EXPECT_GT(ahead, 50); // the list of earlier hits had something to do
}

TEST(MultipleHits, ScalarPathForgetsEarlierHitsAtTheNinthLayerThePacketsAfterFour) {
    // The ray runs within rounding of many planes: which hits repeat tells the lists' lengths.
    Random random(57);
    int repeats = 0;
    for (int round = 0; round < 60; ++round) {
        std::vector<Triangle> triangles;
        for (int i = 0; i < 12; ++i) {
            Triangle t = facingTriangle(1000.0f, 4000.0f);
            t.p0.z += random.real(-2e-4f, 2e-4f);
            t.p1.z += random.real(-2e-4f, 2e-4f);
            t.p2.z += random.real(-2e-4f, 2e-4f);
            triangles.push_back(t);
        }
        const TestScene scene = oneLeafScene(triangles);
        Bundle bundle(8, 4);
        for (size_t r = 0; r < 32; ++r) bundle.setDirection(r, {random.real(0.1f, 0.3f), random.real(0.1f, 0.3f), 1.0f});
        for (const int misaligned : {-1, 0}) {
            expectModel(Query::multiple, misaligned < 0 ? Path::vector : Path::scalar, bundle, scene, 20, misaligned);
            const model::Results results = run(bundle, scene, 20, misaligned);
            for (size_t layer = 1; layer < 20; ++layer)
                for (size_t before = 0; before < layer; ++before)
                    for (size_t r = 0; r < 32; ++r)
                        if (results.triangle[32 * layer + r] >= 0)
                            repeats += results.triangle[32 * layer + r] == results.triangle[32 * before + r];
        }
        if (testing::Test::HasFailure()) return;
    }
    EXPECT_GT(repeats, 0);
}

TEST(MultipleHits, RaysOfOnePacketDropOutOneByOne) {
    // Ray r passes r + 1 triangles: the others of its packet go on.
    std::vector<Triangle> triangles;
    for (int i = 0; i < 16; ++i)
        triangles.push_back({{static_cast<float>(i) - 0.5f, -1.0f, 1.0f + static_cast<float>(i)},
                             {100.0f, -1.0f, 1.0f + static_cast<float>(i)},
                             {static_cast<float>(i) - 0.5f, 200.0f, 1.0f + static_cast<float>(i)}});
    const TestScene scene = oneLeafScene(triangles);
    Bundle bundle(4, 4);
    bundle.setAllOrigins({0.0f, 0.0f, 0.0f});
    for (const bool mixed : {false, true}) {
        for (size_t r = 0; r < 16; ++r) bundle.setDirection(r, {static_cast<float>(r) / 100.0f, 0.0f, 1.0f});
        if (mixed) bundle.setDirection(0, {-0.01f, 0.0f, 1.0f});
        expectModel(Query::multiple, Path::vector, bundle, scene, 16);
        expectModel(Query::multiple, Path::scalar, bundle, scene, 16, 1);
    }
}

TEST(MultipleHits, RaysThatDroppedOutLeaveTheirLaterLayersAlone) {
    const TestScene scene = oneLeafScene({facingTriangle(1.0f), facingTriangle(2.0f, 0.1f)});
    Bundle bundle(4, 4);
    for (size_t r = 0; r < 16; ++r) bundle.setDirection(r, r == 0 ? Point{0, 0, 1} : Point{0.4f, 0.4f, 1});
    expectOnBothPaths(bundle, scene, 4, [](const model::Results &results) {
        EXPECT_EQ(results.triangle[16], 1);
        EXPECT_EQ(results.triangle[17], -1);
        for (size_t entry = 32; entry < 64; ++entry) {
            EXPECT_EQ(results.triangle[entry], -1) << entry;
            EXPECT_EQ(results.dist[entry], entry == 32 ? 3.4028235e38f : untouchedFloat) << entry;
            EXPECT_TRUE(entry == 32 || results.weight0[entry] == untouchedFloat) << entry;
        }
    });
}

TEST(MultipleHits, EntryDistanceLimitsTheFirstLayerOnly) {
    const TestScene scene = oneLeafScene(stack(3));
    Bundle bundle(4, 4);
    bundle.dist.assign(16, 1.5f);
    expectOnBothPaths(bundle, scene, 4, [](const model::Results &results) {
        EXPECT_EQ(results.triangle[0], 0);
        EXPECT_EQ(results.triangle[16], 1);
        EXPECT_EQ(results.triangle[32], 2);
        EXPECT_EQ(results.triangle[48], -1);
    });
    bundle.dist.assign(16, 0.5f);
    expectOnBothPaths(bundle, scene, 4, [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(64, -1)));
    });
}

TEST(MultipleHits, DistancesOfZeroOrBelowGiveMissesInEveryLayer) {
    const TestScene scene = oneLeafScene(stack(3));
    Bundle bundle(4, 4);
    bundle.dist.assign(16, -1.0f);
    for (const bool live : {false, true}) {
        if (live) bundle.dist[3] = 9.0f;
        expectOnBothPaths(bundle, scene, 3, [&](const model::Results &results) {
            for (size_t r = 0; r < 16; ++r) EXPECT_EQ(results.triangle[r], live && r == 3 ? 0 : -1);
            EXPECT_EQ(results.dist[0], -1.0f);
        });
        expectModel(Query::multiple, Path::vector, bundle, scene, 3);
    }
}

TEST(MultipleHits, CellsWithinTheExitPadAreVisitedAndOnTheScalarPathThoseWithinTheSlackBeyondIt) {
    const ZyprBox box = {{-9.0f, -9.0f, -9.0f}, {9.0f, 9.0f, 0.5f}}; // so the interval ends at 0.5001
    const auto visits = [&](float split, int misaligned) {
        const TestScene scene = twoLeafScene(split, true, facingTriangle(0.25f));
        const ZyprScene view = {&box, scene.view().accel, scene.view().root};
        return runLibrary(Query::multiple, Bundle(4, 4), &view, 1, misaligned).triangle[0] == 0;
    };
    EXPECT_TRUE(visits(0.50009f, -1));
    EXPECT_FALSE(visits(0.500105f, -1));
    EXPECT_TRUE(visits(0.500105f, 0));
    EXPECT_TRUE(visits(0.50028f, 0));
    EXPECT_FALSE(visits(0.5003f, 0));
}

TEST(MultipleHits, TinyComponentIsDividedAsIfItWereAHundredTimesTheLimit) {
    // A face of the box at 1e-6: left at about 0.084, where the inverse of a tiny component is 83886.08.
    const ZyprBox box = {{-9.0f, -9.0f, -9.0f}, {1e-6f, 9.0f, 9.0f}};
    for (const float component : {0.0f, -0.0f, 1e-7f, -1e-7f})
        for (const float split : {0.08f, 0.09f}) {
            const TestScene scene = twoLeafScene(split, true, facingTriangle(0.05f));
            const ZyprScene view = {&box, scene.view().accel, scene.view().root};
            Bundle bundle(4, 4);
            bundle.setAllDirections({component, 0.0f, 1.0f});
            const int32_t expected = split < 0.084f ? 0 : -1;
            EXPECT_EQ(runLibrary(Query::multiple, bundle, &view).triangle[0], expected) << component << " " << split;
            EXPECT_EQ(runLibrary(Query::eye, bundle, &view).triangle[0], 0) << component << " " << split;
        }
}

TEST(MultipleHits, DegenerateTriangleIsNeverHit) {
    std::vector<Triangle> triangles = stack(3);
    triangles[1].p1 = triangles[1].p0;
    const TestScene scene = oneLeafScene(triangles);
    expectOnBothPaths(Bundle(4, 4), scene, 3, [](const model::Results &results) {
        EXPECT_EQ(results.triangle[0], 0);
        EXPECT_EQ(results.triangle[16], 2);
        EXPECT_EQ(results.triangle[32], -1);
    });
}

TEST(MultipleHits, TreeOfOneEmptyLeafGivesMisses) {
    TreeWriter writer;
    writer.emptyLeaf(0);
    const TestScene scene(stack(2), writer.words());
    expectOnBothPaths(Bundle(4, 4), scene, 2, [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(32, -1)));
    });
}

TEST(MultipleHits, NotANumberIsNeverAHitAndDisturbsNoOtherRay) {
    Random random(58);
    const TestScene scene = randomScene(59, 200, 0.5f);
    for (int which = 0; which < 4; ++which) {
        Bundle bundle = randomBundle(random, 8, 8, Rays::coherent, true);
        bundle.dist.assign(64, 1e30f);
        const model::Results before = run(bundle, scene, 3, 0);
        (which == 3 ? bundle.dist : bundle.direction[which])[9] = std::numeric_limits<float>::quiet_NaN();
        EXPECT_EQ(run(bundle, scene, 3).triangle[9], -1);
        const model::Results scalar = run(bundle, scene, 3, 0);
        EXPECT_EQ(scalar.triangle[9], -1);
        for (size_t entry = 0; entry < 192; ++entry)
            EXPECT_TRUE(entry % 64 == 9 || scalar.triangle[entry] == before.triangle[entry]);
    }
}

TEST(MultipleHits, TreeOfFiftyLevelsIsWalkedInEveryLayer) {
    TreeWriter writer;
    size_t node = 0;
    for (int level = 0; level < 50; ++level) {
        const size_t pair = writer.split(node, 2, std::ldexp(1.0f, -level));
        if (level == 0)
            writer.compactLeaf(pair + 2, {0, 1});
        else
            writer.emptyLeaf(pair + 2);
        node = pair;
    }
    writer.emptyLeaf(node);
    const TestScene scene({facingTriangle(1.5f), facingTriangle(1.75f), facingTriangle(-1.0f)}, writer.words());
    Bundle bundle(8, 4);
    bundle.setDirection(17, {-0.1f, 0.0f, 1.0f});
    expectOnBothPaths(bundle, scene, 3, [](const model::Results &results) {
        for (size_t r = 0; r < 32; ++r) {
            EXPECT_EQ(results.triangle[r], 0);
            EXPECT_EQ(results.triangle[32 + r], 1);
            EXPECT_EQ(results.triangle[64 + r], -1);
        }
    });
    expectModel(Query::multiple, Path::vector, bundle, scene, 3);
}

} // namespace
} // namespace zypr::test
