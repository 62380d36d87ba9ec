// zyprIntersectMO_32f and zyprIntersectEyeSO_32f.

#include "rays/bundles.h"

namespace zypr::test {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

const Rays allKinds[] = {Rays::coherent, Rays::axisAligned, Rays::incoherent, Rays::tinyComponents};

class NearestHit : public testing::TestWithParam<Query> {
protected:
    bool ownOrigins() const { return GetParam() == Query::mo; }
    model::Results run(const Bundle &bundle, const TestScene &scene, int misaligned = -1) {
        return runLibrary(GetParam(), bundle, &scene, 1, misaligned);
    }
    static void expectDistances(const model::Results &results, float expected) {
        for (const float dist : results.dist) EXPECT_NEAR(dist, expected, 1e-5f);
    }
    // On the vector path, and on the scalar one by way of a misaligned array.
    void expectOnBothPaths(const Bundle &bundle, const TestScene &scene,
                           const std::function<void(const model::Results &)> &expectation) {
        {
            SCOPED_TRACE("vector path");
            expectation(run(bundle, scene));
        }
        SCOPED_TRACE("scalar path");
        expectation(run(bundle, scene, 0));
    }
};

INSTANTIATE_TEST_SUITE_P(Queries, NearestHit, testing::Values(Query::mo, Query::eye),
                         [](const auto &param) { return param.param == Query::mo ? "OwnOrigins" : "CommonOrigin"; });

// ---- Against the model --------------------------------------------------------------------------------------------------

TEST_P(NearestHit, EqualsTheModelOnPacketsOfEveryKind) {
    Random random(11);
    for (int round = 0; round < 25; ++round) {
        const TestScene scene = randomScene(random.word(), static_cast<size_t>(random.integer(1, 300)), 0.4f);
        for (const Rays kind : allKinds) {
            SCOPED_TRACE(testing::Message() << "round " << round << " kind " << static_cast<int>(kind));
            const Bundle bundle = randomBundle(random, 4 * random.integer(1, 5), 4 * random.integer(1, 3), kind, !ownOrigins());
            expectModel(GetParam(), Path::vector, bundle, scene);
            if (HasFailure()) return;
        }
    }
}

TEST_P(NearestHit, EqualsTheModelRayByRay) {
    Random random(12);
    for (int round = 0; round < 25; ++round) {
        const TestScene scene = randomScene(random.word(), static_cast<size_t>(random.integer(1, 300)), 0.4f);
        for (const Rays kind : allKinds) {
            SCOPED_TRACE(testing::Message() << "round " << round << " kind " << static_cast<int>(kind));
            const Bundle bundle =
                randomBundle(random, random.integer(1, 15), 4 * random.integer(0, 3) + 2, kind, !ownOrigins());
            expectModel(GetParam(), Path::scalar, bundle, scene);
            if (HasFailure()) return;
        }
    }
}

TEST_P(NearestHit, TakesThePathThatSizesAndAlignmentsCallFor) {
    Random random(13);
    const TestScene scene = randomScene(7, 200, 0.4f);
    for (int height = 1; height <= 9; ++height)
        for (int width = 1; width <= 9; ++width) {
            SCOPED_TRACE(testing::Message() << width << " x " << height);
            const Bundle bundle = randomBundle(random, width, height, Rays::coherent, !ownOrigins());
            expectModel(GetParam(), pathOf(bundle), bundle, scene);
        }
}

TEST_P(NearestHit, AnyMisalignedArrayLeadsToTheScalarPath) {
    Random random(14);
    const TestScene scene = randomScene(8, 200, 0.4f);
    Bundle bundle = randomBundle(random, 8, 8, Rays::coherent, !ownOrigins());
    bundle.dist.assign(bundle.count(), 1e30f);
    // The two paths really differ on this bundle.
    const model::Results vector = runModel(GetParam(), Path::vector, bundle, scene.view());
    EXPECT_FALSE(equalBits(vector.dist, runModel(GetParam(), Path::scalar, bundle, scene.view()).dist));
    for (int array = 0; array < arraysOf(GetParam()); ++array) {
        SCOPED_TRACE(testing::Message() << "array " << array);
        expectModel(GetParam(), Path::scalar, bundle, scene, 1, array);
    }
}

TEST_P(NearestHit, WidthOrHeightOffAMultipleOfFourLeadsToTheScalarPath) {
    Random random(15);
    const TestScene scene = randomScene(9, 200, 0.4f);
    for (const auto &[width, height] : {std::pair{4, 6}, {6, 4}, {8, 5}, {7, 8}}) {
        Bundle bundle = randomBundle(random, width, height, Rays::coherent, !ownOrigins());
        expectModel(GetParam(), Path::scalar, bundle, scene);
    }
}

// ---- Against all triangles ----------------------------------------------------------------------------------------------

TEST_P(NearestHit, AgreesWithATestOfAllTriangles) {
    Random random(16);
    int hits = 0, misses = 0;
    for (int round = 0; round < 20; ++round) {
        const TestScene scene = randomScene(random.word(), 150, 0.5f);
        Bundle bundle = randomBundle(random, 16, 16, round % 2 == 0 ? Rays::coherent : Rays::incoherent, !ownOrigins());
        for (const int misaligned : {-1, 0}) {
            const model::Results results = run(bundle, scene, misaligned);
            for (size_t r = 0; r < bundle.count(); ++r) {
                const BruteForceHit expected =
                    bruteForce(scene.triangles(), {bundle.origin.x[r], bundle.origin.y[r], bundle.origin.z[r]},
                               {bundle.direction.x[r], bundle.direction.y[r], bundle.direction.z[r]}, bundle.dist[r]);
                if (!expected.clear) continue;
                ++(expected.triangle >= 0 ? hits : misses);
                ASSERT_EQ(results.triangle[r], expected.triangle) << "ray " << r << " of round " << round;
                if (expected.triangle >= 0) {
                    ASSERT_NEAR(results.dist[r], expected.distance, 1e-3 * expected.distance);
                }
            }
        }
    }
    EXPECT_GT(hits, 500);
    EXPECT_GT(misses, 500);
}

// ---- Sizes --------------------------------------------------------------------------------------------------------------

TEST_P(NearestHit, SizesBelowOneDoNothing) {
    const TestScene scene = oneLeafScene({facingTriangle(2.0f)});
    float value = 5.0f;
    int32_t triangle = untouchedInt;
    const float *planes[3] = {&value, &value, &value};
    float *const bary[2] = {&value, &value};
    for (const ZyprBundleSize size :
         {ZyprBundleSize{0, 4}, {4, 0}, {0, 0}, {-4, 4}, {4, -4}, {-4, -4}, {INT32_MIN, INT32_MIN}}) {
        if (ownOrigins())
            EXPECT_EQ(zyprIntersectMO_32f(planes, planes, &value, bary, &triangle, &scene, size), zypStsNoErr);
        else
            EXPECT_EQ(zyprIntersectEyeSO_32f(&value, planes, &value, bary, &triangle, &scene, size), zypStsNoErr);
        EXPECT_EQ(value, 5.0f);
        EXPECT_EQ(triangle, untouchedInt);
    }
}

// ---- Rays ---------------------------------------------------------------------------------------------------------------

TEST_P(NearestHit, DistanceOfZeroOrBelowIsAMissAndKeepsItsValue) {
    const TestScene scene = oneLeafScene({facingTriangle(2.0f)});
    for (const float dist : {0.0f, -0.0f, -1.0f, -infinity}) {
        Bundle bundle(4, 4);
        bundle.dist.assign(16, dist);
        bundle.dist[5] = 10.0f; // a live neighbour
        expectOnBothPaths(bundle, scene, [&](const model::Results &results) {
            for (size_t r = 0; r < 16; ++r) {
                EXPECT_EQ(results.triangle[r], r == 5 ? 0 : -1);
                if (r == 5)
                    EXPECT_NEAR(results.dist[r], 2.0f, 1e-5f);
                else
                    EXPECT_EQ(bits(results.dist[r]), bits(dist)) << r;
            }
        });
        bundle.dist[5] = dist; // and without one
        expectOnBothPaths(bundle, scene, [&](const model::Results &results) {
            EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, -1)));
            EXPECT_TRUE(equalBits(results.dist, bundle.dist));
        });
    }
}

TEST_P(NearestHit, OriginInsideTheBoxFindsTheTriangleAheadAndNotTheOneBehind) {
    const TestScene scene = oneLeafScene({facingTriangle(-1.0f), facingTriangle(2.0f), facingTriangle(3.0f)});
    expectOnBothPaths(Bundle(4, 4), scene, [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, 1)));
        expectDistances(results, 2.0f);
    });
}

TEST_P(NearestHit, RayThatStartsOnATriangleDoesNotHitIt) {
    const TestScene scene = oneLeafScene({facingTriangle(0.0f), facingTriangle(-5.0f)});
    expectOnBothPaths(Bundle(4, 4), scene, [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, -1)));
    });
}

TEST_P(NearestHit, DirectionOfZeroHitsNothing) {
    const TestScene scene = oneLeafScene({facingTriangle(2.0f), facingTriangle(-2.0f), facingTriangle(0.0f)});
    Bundle bundle(4, 4);
    bundle.setAllDirections({0.0f, 0.0f, 0.0f});
    for (const Point origin : {Point{0, 0, 0}, {0, 0, 1}, {0, 0, 50}}) { // inside the box, and outside
        bundle.setAllOrigins(origin);
        expectOnBothPaths(bundle, scene, [&](const model::Results &results) {
            EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, -1)));
            EXPECT_TRUE(equalBits(results.dist, bundle.dist));
        });
    }
}

TEST_P(NearestHit, HitExactlyAtTheEntryDistanceIsNotReported) {
    const TestScene scene = oneLeafScene({facingTriangle(2.0f)});
    for (const int misaligned : {-1, 0}) {
        Bundle bundle(4, 4);
        bundle.dist = run(bundle, scene, misaligned).dist; // to the last bit what the path makes of it
        const model::Results results = run(bundle, scene, misaligned);
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, -1)));
        EXPECT_TRUE(equalBits(results.dist, bundle.dist));
    }
}

TEST_P(NearestHit, HitJustBelowTheEntryDistanceNeedsRoomOnTheScalarPathOfOwnOriginsAlone) {
    const TestScene scene = oneLeafScene({facingTriangle(2.0f)});
    Bundle bundle(4, 4);
    bundle.dist.assign(16, 2.0f + 5e-6f);
    EXPECT_EQ(run(bundle, scene).triangle[0], 0);
    EXPECT_EQ(run(bundle, scene, 0).triangle[0], ownOrigins() ? -1 : 0);
    bundle.dist.assign(16, 2.0f + 2e-5f);
    EXPECT_EQ(run(bundle, scene, 0).triangle[0], 0);
}

TEST_P(NearestHit, FirstTestedOfTwoTrianglesAtEqualDistanceStays) {
    const Triangle wide = facingTriangle(2.0f, 4.0f), wider = facingTriangle(2.0f, 5.0f);
    expectOnBothPaths(Bundle(4, 4), oneLeafScene({wide, wider}), [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, 0)));
    });
    TreeWriter writer;
    writer.generalLeaf(0, {1, 0});
    expectOnBothPaths(Bundle(4, 4), TestScene({wide, wider}, writer.words()), [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, 1)));
    });
}

TEST_P(NearestHit, HitBeyondTheLeafsCellGivesWayToAHitInANearerCell) {
    // The lower leaf holds a triangle that lies in the upper cell.
    const std::vector<Triangle> triangles = {facingTriangle(3.0f), facingTriangle(2.0f), facingTriangle(-1.0f)};
    expectOnBothPaths(Bundle(4, 4), TestScene(triangles, twoLeafTree(1.0f, 0, 1)), [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, 1)));
        expectDistances(results, 2.0f);
    });
    TreeWriter nothingWaits;
    const size_t pair = nothingWaits.split(0, 2, 1.0f);
    nothingWaits.compactLeaf(pair, {0});
    nothingWaits.emptyLeaf(pair + 2);
    expectOnBothPaths(Bundle(4, 4), TestScene(triangles, nothingWaits.words()), [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, 0)));
        expectDistances(results, 3.0f);
    });
}

TEST_P(NearestHit, WalkEndsOnceWhatRemainsLiesBeyondTheHit) {
    // The upper leaf claims a triangle that is nearer than its cell: a walk that went on would take it.
    const TestScene scene({facingTriangle(1.0f), facingTriangle(2.0f), facingTriangle(-1.0f), facingTriangle(9.0f)},
                          twoLeafTree(2.5f, 1, 0));
    expectOnBothPaths(Bundle(4, 4), scene, [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, 1)));
    });
}

TEST_P(NearestHit, DegenerateTriangleIsNeverHit) {
    Triangle line = facingTriangle(2.0f);
    line.p1 = line.p0;
    const TestScene scene = oneLeafScene({line, facingTriangle(3.0f)});
    expectOnBothPaths(Bundle(4, 4), scene, [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, 1)));
    });
    const TestScene alone = oneLeafScene({line, line, line});
    expectOnBothPaths(Bundle(4, 4), alone, [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, -1)));
    });
}

TEST_P(NearestHit, TreeOfOneEmptyLeafGivesMisses) {
    TreeWriter writer;
    writer.emptyLeaf(0);
    const TestScene scene({facingTriangle(2.0f)}, writer.words());
    const Bundle bundle(8, 4);
    expectOnBothPaths(bundle, scene, [&](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(32, -1)));
        EXPECT_TRUE(equalBits(results.dist, bundle.dist));
    });
}

TEST_P(NearestHit, SplitAtZeroBeyondAnEmptyCellIsNoEmptyLeaf) {
    TreeWriter writer;
    const size_t near = writer.split(writer.root(), 2, 2.0f), far = near + 2;
    writer.emptyLeaf(near);
    const size_t halves = writer.split(far, 0, 0.0f);
    writer.compactLeaf(halves, {0});
    writer.compactLeaf(halves + 2, {0});
    const TestScene scene({facingTriangle(2.0f)}, writer.words());
    Bundle bundle(4, 4);
    bundle.setDirection(15, {-0.01f, 0.0f, 1.0f}); // of another octant, which leaves packets of four
    EXPECT_TRUE(equalBits(run(bundle, scene).triangle, std::vector<int32_t>(16, 0)));
}

TEST_P(NearestHit, TrianglesHaveNoFrontOrBack) {
    Triangle turned = facingTriangle(2.0f);
    std::swap(turned.p0, turned.p1);
    expectOnBothPaths(Bundle(4, 4), oneLeafScene({turned}), [](const model::Results &results) {
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, 0)));
    });
}

TEST_P(NearestHit, PointOnASharedEdgeIsInside) {
    const Triangle left = {{-1, -1, 2}, {0, 1, 2}, {0, -1, 2}}, right = {{0, 1, 2}, {1, -1, 2}, {0, -1, 2}};
    for (const Triangle &side : {left, right})
        expectOnBothPaths(Bundle(4, 4), oneLeafScene({side}), [](const model::Results &results) {
            EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, 0)));
        });
}

TEST_P(NearestHit, WeightsReproduceTheHitPoint) {
    const Triangle t = {{1, 0, 2}, {0, 1, 3}, {-1, -1, 2.5f}};
    const TestScene scene = oneLeafScene({t});
    Bundle bundle(4, 4);
    bundle.aimAtGrid({0.0f, 0.0f, -10.0f}, 0.2f);
    expectOnBothPaths(bundle, scene, [&](const model::Results &results) {
        for (size_t r = 0; r < 16; ++r) {
            ASSERT_EQ(results.triangle[r], 0);
            const float u = results.weight0[r], v = results.weight1[r], w = 1 - u - v;
            for (int axis = 0; axis < 3; ++axis) {
                const float onRay = bundle.origin[axis][r] + results.dist[r] * bundle.direction[axis][r];
                const float onTriangle = u * component(t.p0, axis) + v * component(t.p1, axis) + w * component(t.p2, axis);
                EXPECT_NEAR(onRay, onTriangle, 1e-4f);
            }
        }
    });
}

TEST_P(NearestHit, NearlyParallelTriangleIsSkippedOnTheScalarPathOfOwnOriginsAlone) {
    // den is the z component of the direction here: below 1.1920929e-6, though its reciprocal is an ordinary one.
    const TestScene scene = oneLeafScene({facingTriangle(0.0f, 40.0f)});
    Bundle bundle(4, 4);
    bundle.setAllOrigins({0.0f, 0.0f, -0.0005f});
    bundle.setAllDirections({0.001f, 0.001f, 1e-6f});
    EXPECT_EQ(run(bundle, scene).triangle[0], 0);
    EXPECT_EQ(run(bundle, scene, 0).triangle[0], ownOrigins() ? -1 : 0);
    bundle.setAllDirections({0.001f, 0.001f, 1.1920929e-6f}); // not strictly below
    EXPECT_EQ(run(bundle, scene, 0).triangle[0], 0);
}

TEST_P(NearestHit, RayParallelToASlabMissesOnTheScalarPathOfOwnOriginsUnlessStrictlyInside) {
    const TestScene scene = oneLeafScene({facingTriangle(2.0f, 1.0f)}); // x from -1 to 3
    const float edge = scene.view().bound->maximum[0];
    Bundle bundle(4, 4);
    for (const float component : {0.0f, -0.0f, 1.1920929e-7f, -1.1920929e-7f}) {
        bundle.setAllDirections({component, 0.0f, 1.0f});
        bundle.setAllOrigins({edge, -1.0005f, 0.0f}); // on the face of the slab, so no miss by the triangle test can be told
        expectModel(GetParam(), Path::scalar, bundle, scene, 1, 0);
        bundle.setAllOrigins({0.0f, 0.0f, 0.0f});
        EXPECT_EQ(run(bundle, scene, 0).triangle[0], 0);
        EXPECT_EQ(run(bundle, scene).triangle[0], 0);
    }
    // A box that leaves the triangle's point outside tells the test of the slab from the triangle's.
    TreeWriter writer;
    writer.generalLeaf(0, {0});
    const ZyprBox narrow = {{0.5f, -5.0f, -5.0f}, {2.0f, 5.0f, 5.0f}};
    const ZyprScene view = {&narrow, scene.view().accel, scene.view().root};
    for (const float x : {0.25f, 0.5f, 0.75f, 2.0f}) {
        bundle.setAllDirections({0.0f, 0.0f, 1.0f});
        bundle.setAllOrigins({x, -0.5f, 0.0f});
        const bool strictlyInside = x > 0.5f && x < 2.0f;
        EXPECT_EQ(runLibrary(GetParam(), bundle, &view, 1, 0).triangle[0], strictlyInside || !ownOrigins() ? 0 : -1) << x;
    }
}

TEST_P(NearestHit, TinyComponentOutsideTheSlabIsAMissOfTheVectorPathByDistanceAlone) {
    Random random(17);
    for (int round = 0; round < 30; ++round) {
        const TestScene scene = randomScene(random.word(), 60, 0.6f);
        const Bundle bundle = randomBundle(random, 8, 4, Rays::tinyComponents, !ownOrigins());
        expectModel(GetParam(), Path::vector, bundle, scene);
    }
}

TEST_P(NearestHit, NegativeZeroDirectionBelongsToThePositiveOctant) {
    // Mixed zeros of both signs make one octant: a tile of eight-ray walks, whose weights stay open where nothing is hit.
    const TestScene scene = oneLeafScene({facingTriangle(2.0f)});
    Bundle bundle(4, 4);
    for (size_t r = 0; r < 16; r += 3) bundle.setDirection(r, {-0.0f, -0.0f, 1.0f});
    expectModel(GetParam(), Path::vector, bundle, scene);
    EXPECT_TRUE(equalBits(run(bundle, scene).triangle, std::vector<int32_t>(16, 0)));
}

TEST_P(NearestHit, RaysThatMissTheBoxKeepTheirWeights) {
    const TestScene scene = oneLeafScene({facingTriangle(2.0f)});
    Bundle bundle(8, 4);
    bundle.setAllOrigins({0.0f, 0.0f, 50.0f});
    for (const bool mixed : {false, true}) {
        if (mixed) bundle.setDirection(3, {-0.1f, 0.0f, 1.0f});
        expectOnBothPaths(bundle, scene, [&](const model::Results &results) {
            EXPECT_TRUE(equalBits(results.weight0, std::vector<float>(32, untouchedFloat)));
            EXPECT_TRUE(equalBits(results.weight1, std::vector<float>(32, untouchedFloat)));
            EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(32, -1)));
        });
    }
}

TEST_P(NearestHit, FourRayPacketWritesZeroWeightsForItsMisses) {
    const TestScene scene = oneLeafScene({facingTriangle(2.0f, 0.1f)});
    Bundle bundle(4, 4);
    bundle.setAllOrigins({0.05f, 0.05f, 0.0f}); // ray 0 hits; its neighbours enter the box far from the triangle
    for (size_t r = 0; r < 16; ++r) bundle.setDirection(r, r == 0 ? Point{0, 0, 1} : Point{0.12f, 0.12f, 1});
    bundle.setDirection(15, {-0.0001f, 0.0f, 1.0f}); // another octant
    const model::Results results = run(bundle, scene);
    EXPECT_EQ(results.triangle[0], 0);
    EXPECT_EQ(results.triangle[1], -1);
    EXPECT_EQ(bits(results.weight0[1]), bits(0.0f));
    EXPECT_EQ(bits(results.weight1[1]), bits(0.0f));
    expectModel(GetParam(), Path::vector, bundle, scene);
}

TEST_P(NearestHit, NotANumberIsNeverAHitAndDisturbsNoOtherRay) {
    Random random(18);
    const TestScene scene = randomScene(21, 200, 0.5f);
    for (const float value : {notANumber, infinity, -infinity}) {
        for (int which = 0; which < (ownOrigins() ? 7 : 4); ++which) {
            SCOPED_TRACE(testing::Message() << value << " in " << which);
            Bundle bundle = randomBundle(random, 8, 8, Rays::coherent, !ownOrigins());
            bundle.dist.assign(64, 1e30f);
            const model::Results before = run(bundle, scene, 0);
            if (which < 3) bundle.direction[which][9] = value;
            if (which == 3) bundle.dist[9] = value;
            if (which > 3) bundle.origin[which - 4][9] = value;
            const model::Results vector = run(bundle, scene), scalar = run(bundle, scene, 0);
            if (std::isnan(value)) {
                EXPECT_EQ(vector.triangle[9], -1);
                EXPECT_EQ(scalar.triangle[9], -1);
            }
            for (size_t r = 0; r < 64; ++r)
                if (r != 9) {
                    EXPECT_EQ(scalar.triangle[r], before.triangle[r]);
                    EXPECT_EQ(bits(scalar.dist[r]), bits(before.dist[r]));
                }
        }
    }
}

// ---- Trees --------------------------------------------------------------------------------------------------------------

TEST_P(NearestHit, EveryFormOfLeafYieldsItsTrianglesInOrder) {
    // The same distance for all: the first in the leaf's order is the hit.
    std::vector<Triangle> triangles(40, facingTriangle(2.0f));
    const auto firstOf = [&](const std::function<void(TreeWriter &)> &write) {
        TreeWriter writer;
        write(writer);
        const TestScene scene(triangles, writer.words());
        const int32_t vector = run(Bundle(4, 4), scene).triangle[0], scalar = run(Bundle(4, 4), scene, 0).triangle[0];
        EXPECT_EQ(vector, scalar);
        return vector;
    };
    EXPECT_EQ(firstOf([](TreeWriter &w) { w.compactLeaf(0, {0}); }), 0);
    EXPECT_EQ(firstOf([](TreeWriter &w) { w.compactLeaf(0, {39}); }), 39);
    EXPECT_EQ(firstOf([](TreeWriter &w) { w.compactLeaf(0, {7, 5}); }), 7);
    EXPECT_EQ(firstOf([](TreeWriter &w) { w.compactLeaf(0, {5, 7}); }), 5);
    EXPECT_EQ(firstOf([](TreeWriter &w) { w.compactLeaf(0, {3, 8, 30}); }), 3);
    EXPECT_EQ(firstOf([](TreeWriter &w) { w.generalLeaf(0, {12, 3, 4, 5}); }), 12);
    triangles[3].p1 = triangles[3].p0; // the first of three is degenerate: the second is the hit, and so on
    EXPECT_EQ(firstOf([](TreeWriter &w) { w.compactLeaf(0, {3, 8, 30}); }), 8);
    triangles[8].p1 = triangles[8].p0;
    EXPECT_EQ(firstOf([](TreeWriter &w) { w.compactLeaf(0, {3, 8, 30}); }), 30);
    EXPECT_EQ(firstOf([](TreeWriter &w) { w.compactLeaf(0, {8, 5}); }), 5);
}

TEST_P(NearestHit, CompactLeavesReachTheirWidestNumbers) {
    std::vector<Triangle> triangles(100000, Triangle{{0, 0, 9}, {0, 0, 9}, {0, 0, 9}});
    for (const std::vector<int32_t> &numbers :
         {std::vector<int32_t>{1, 32768, 98303}, {0, 1, 65536}, {99999}, {99998, 0}, {0, 99999}})
        for (const int32_t solid : numbers) {
            std::vector<Triangle> scenes = triangles;
            scenes[static_cast<size_t>(solid)] = facingTriangle(2.0f);
            TreeWriter writer;
            writer.compactLeaf(0, numbers);
            const TestScene scene(std::move(scenes), writer.words());
            expectOnBothPaths(Bundle(4, 4), scene, [&](const model::Results &results) {
                EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, solid)));
            });
        }
}

TEST_P(NearestHit, TreeOfFiftyLevelsIsWalkedWithAFarChildWaitingAtEach) {
    // Each split halves the lower cell. A ray from the lowest corner leaves fifty upper cells behind it; the triangle is in the
    // topmost, so every one of them is visited.
    for (const bool upwards : {true, false}) {
        TreeWriter writer;
        size_t node = 0;
        for (int level = 0; level < 50; ++level) {
            const size_t pair = writer.split(node, 2, upwards ? std::ldexp(1.0f, -level) : -std::ldexp(1.0f, -level));
            const size_t outer = upwards ? pair + 2 : pair, inner = upwards ? pair : pair + 2;
            if (level == 0)
                writer.compactLeaf(outer, {0});
            else
                writer.emptyLeaf(outer);
            node = inner;
        }
        writer.emptyLeaf(node);
        const TestScene scene({facingTriangle(upwards ? 1.5f : -1.5f), facingTriangle(upwards ? -1.0f : 1.0f)}, writer.words());
        Bundle bundle(8, 4);
        bundle.setAllDirections({0.0f, 0.0f, upwards ? 1.0f : -1.0f});
        bundle.setDirection(17, {-0.1f, 0.0f, upwards ? 1.0f : -1.0f}); // four-ray packets in one tile
        expectOnBothPaths(bundle, scene, [&](const model::Results &results) {
            EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(32, 0)));
        });
        expectModel(GetParam(), Path::vector, bundle, scene);
        expectModel(GetParam(), Path::scalar, bundle, scene, 1, 0);
    }
}

TEST_P(NearestHit, RandomDeepTreesEqualTheModel) {
    Random random(19);
    for (int round = 0; round < 6; ++round) {
        const TestScene scene = randomScene(random.word(), 12, 0.8f, 12, 0); // split until the depth says no
        for (const Rays kind : allKinds) {
            const Bundle bundle = randomBundle(random, 8, 8, kind, !ownOrigins());
            expectModel(GetParam(), Path::vector, bundle, scene);
            expectModel(GetParam(), Path::scalar, bundle, scene, 1, 3);
        }
    }
}

TEST_P(NearestHit, CellsWithinTheExitPadAreVisitedAndOnTheScalarPathThoseWithinTheSlackBeyondIt) {
    const ZyprBox box = {{-9.0f, -9.0f, -9.0f}, {9.0f, 9.0f, 0.5f}}; // so the interval ends at 0.5001
    const auto visits = [&](float split, int misaligned) {
        const TestScene scene = twoLeafScene(split, true, facingTriangle(0.25f));
        const ZyprScene view = {&box, scene.view().accel, scene.view().root};
        return runLibrary(GetParam(), Bundle(4, 4), &view, 1, misaligned).triangle[0] == 0;
    };
    EXPECT_TRUE(visits(0.50009f, -1));
    EXPECT_FALSE(visits(0.500105f, -1));
    EXPECT_TRUE(visits(0.500105f, 0));
    EXPECT_TRUE(visits(0.500108f, 0));
    EXPECT_FALSE(visits(0.500112f, 0));
}

TEST_P(NearestHit, CellsBeforeTheIntervalAreVisitedWithinTheSlackOfTheScalarPathAlone) {
    const Bundle bundle(4, 4); // from the plane z = 0
    const auto visits = [&](float split, int misaligned) {
        return run(bundle, twoLeafScene(split, false, facingTriangle(0.25f)), misaligned).triangle[0] == 0;
    };
    EXPECT_TRUE(visits(1e-6f, -1));
    EXPECT_FALSE(visits(-1e-6f, -1));
    EXPECT_TRUE(visits(-1e-6f, 0));
    EXPECT_TRUE(visits(-9e-6f, 0));
    EXPECT_FALSE(visits(-1.1e-5f, 0));
}

TEST_P(NearestHit, TinyComponentIsWalkedByItsStandInOnTheScalarPath) {
    // The box is left at z = 9. A plane of x is met before that where it is near enough for the inverse of a tiny component.
    const float inverse = GetParam() == Query::mo ? 83886.08f : 838860800.0f;
    for (const float component : {0.0f, -0.0f, 1.1920929e-7f, -1.1920929e-7f}) {
        Bundle bundle(4, 4);
        bundle.setAllDirections({component, 0.0f, 1.0f});
        for (const float ts : {8.9f, 9.1f}) {
            const TestScene scene = twoLeafScene(ts / inverse, true, facingTriangle(0.25f), 0); // the lower child is near
            EXPECT_EQ(run(bundle, scene, 0).triangle[0], ts < 9.0f ? 0 : -1) << component << " " << ts;
        }
    }
}

TEST(NearestHitOfEye, TinyDirectionComponentNeverCausesAMissByItself) {
    // The origin lies outside the slab of x by far; the component alone must not stop the scalar path.
    const Triangle t = facingTriangle(2.0f);
    TreeWriter writer;
    writer.compactLeaf(0, {0});
    const TestScene scene({t}, writer.words());
    const ZyprBox narrow = {{5.0f, 5.0f, 1.0f}, {6.0f, 6.0f, 3.0f}};
    const ZyprScene view = {&narrow, scene.view().accel, scene.view().root};
    Bundle bundle(6, 4);
    for (const float component : {0.0f, -0.0f, 1.1920929e-7f, -1.1920929e-7f}) {
        bundle.setAllDirections({component, component, 1.0f});
        const model::Results results = runLibrary(Query::eye, bundle, &view);
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(24, 0)));
    }
}

TEST(NearestHitOfOwnOrigins, TileWithoutAPositiveDistanceIsSkipped) {
    // Its rays have four-ray packets that would write zero weights.
    const TestScene scene = oneLeafScene({facingTriangle(2.0f)});
    Bundle bundle(4, 4);
    bundle.setDirection(3, {-0.1f, 0.0f, 1.0f});
    bundle.dist.assign(16, -1.0f);
    bundle.dist[7] = notANumber;
    const model::Results results = runLibrary(Query::mo, bundle, &scene);
    EXPECT_TRUE(equalBits(results.weight0, std::vector<float>(16, untouchedFloat)));
    EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(16, -1)));
}

} // namespace
} // namespace zypr::test
