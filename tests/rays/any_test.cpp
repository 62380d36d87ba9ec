// zyprIntersectAnySO_32f.

#include "rays/bundles.h"

namespace zypr::test {
namespace {

const Rays allKinds[] = {Rays::coherent, Rays::axisAligned, Rays::incoherent, Rays::tinyComponents};

constexpr int32_t none = -1;

// From the origin to (0, 0, 1), all of them.
Bundle forwardSegments(int width = 8, int height = 4) { return Bundle(width, height); }

// A triangle round (x, y) in the plane z.
Triangle patch(float x, float y, float z, float extent) { return facingTriangle(z, extent, x, y); }

// Direction of the segment that passes the plane z = 0.5 at (x, y).
Point through(float x, float y) { return {2 * x, 2 * y, 1.0f}; }

TEST(AnyHit, EqualsTheModelOnPacketsOfEveryKind) {
    Random random(31);
    for (int round = 0; round < 40; ++round) {
        const TestScene scene = randomScene(random.word(), static_cast<size_t>(random.integer(1, 250)), 0.5f);
        for (const Rays kind : allKinds) {
            SCOPED_TRACE(testing::Message() << "round " << round << " kind " << static_cast<int>(kind));
            const Bundle bundle = randomBundle(random, 4 * random.integer(1, 6), 4 * random.integer(1, 3), kind, true);
            expectAnyModel(Path::vector, bundle, scene);
            if (testing::Test::HasFailure()) return;
        }
    }
}

TEST(AnyHit, EqualsTheModelRayByRay) {
    Random random(32);
    for (int round = 0; round < 40; ++round) {
        const TestScene scene = randomScene(random.word(), static_cast<size_t>(random.integer(1, 250)), 0.5f);
        for (const Rays kind : allKinds) {
            const Bundle bundle = randomBundle(random, random.integer(1, 15), 4 * random.integer(0, 3) + 2, kind, true);
            expectAnyModel(Path::scalar, bundle, scene);
            if (testing::Test::HasFailure()) return;
        }
    }
}

TEST(AnyHit, TakesThePathThatSizesAndAlignmentsCallFor) {
    Random random(33);
    const TestScene scene = randomScene(7, 200, 0.4f);
    for (int height = 1; height <= 9; ++height)
        for (int width = 1; width <= 9; ++width) {
            SCOPED_TRACE(testing::Message() << width << " x " << height);
            const Bundle bundle = randomBundle(random, width, height, Rays::coherent, true);
            expectAnyModel(pathOf(bundle), bundle, scene);
        }
}

TEST(AnyHit, AnyMisalignedArrayLeadsToTheScalarPath) {
    // The walk meets triangle 0 first; the cache brings up the nearer one.
    const TestScene scene = oneLeafScene({facingTriangle(0.75f), facingTriangle(0.25f)});
    const Bundle bundle = forwardSegments(8, 8);
    const Blocked vector = runAnyModel(Path::vector, bundle, scene.view());
    EXPECT_FALSE(equalBits(vector.triangle, runAnyModel(Path::scalar, bundle, scene.view()).triangle));
    expectAnyModel(Path::vector, bundle, scene);
    for (int array = 0; array < 5; ++array) {
        SCOPED_TRACE(testing::Message() << "array " << array);
        expectAnyModel(Path::scalar, bundle, scene, array);
    }
}

TEST(AnyHit, WidthOfSixTakesTheScalarPath) {
    Random random(34);
    const TestScene scene = randomScene(35, 200, 0.4f);
    expectAnyModel(Path::scalar, randomBundle(random, 6, 4, Rays::coherent, true), scene);
}

TEST(AnyHit, AgreesWithATestOfAllTriangles) {
    Random random(36);
    int blocked = 0, open = 0;
    for (int round = 0; round < 20; ++round) {
        const TestScene scene = randomScene(random.word(), 60, 0.5f);
        Bundle bundle = randomBundle(random, 16, 16, round % 2 == 0 ? Rays::coherent : Rays::incoherent, true);
        bundle.mask.assign(bundle.count(), 0);
        for (const int misaligned : {-1, 0}) {
            const Blocked results = runAny(bundle, &scene, misaligned);
            for (size_t r = 0; r < bundle.count(); ++r) {
                const BruteForceHit expected =
                    bruteForce(scene.triangles(), {bundle.origin.x[r], bundle.origin.y[r], bundle.origin.z[r]},
                               {bundle.direction.x[r], bundle.direction.y[r], bundle.direction.z[r]}, 1.0);
                if (!expected.clear) continue;
                ++(expected.triangle >= 0 ? blocked : open);
                ASSERT_EQ(results.mask[r], expected.triangle >= 0 ? -1 : 0) << "ray " << r << " of round " << round;
            }
        }
    }
    EXPECT_GT(blocked, 300);
    EXPECT_GT(open, 300);
}

TEST(AnyHit, DoesNotReadTheBox) {
    TestScene scene = oneLeafScene({patch(0, 0, 0.5f, 0.2f)});
    scene.forbidBound();
    Bundle bundle = forwardSegments(8, 8);
    bundle.aimAtGrid({0.0f, 0.0f, -1.0f}, 0.6f);
    runAny(bundle, &scene);
    runAny(bundle, &scene, 0);
}

TEST(AnyHit, SizesBelowOneDoNothing) {
    const TestScene scene = oneLeafScene({facingTriangle(0.5f)});
    const float point[3] = {0, 0, 0};
    const float *planes[3] = {point, point, point};
    int32_t triangle = untouchedInt, mask = 0;
    for (const ZyprBundleSize size : {ZyprBundleSize{0, 4}, {4, 0}, {-4, 4}, {4, -4}, {-4, -4}}) {
        EXPECT_EQ(zyprIntersectAnySO_32f(point, planes, &triangle, &mask, size, &scene), zypStsNoErr);
        EXPECT_EQ(triangle, untouchedInt);
        EXPECT_EQ(mask, 0);
    }
}

TEST(AnyHit, DirectionOfLengthZeroIsNotBlocked) {
    const TestScene scene = oneLeafScene({facingTriangle(0.5f), facingTriangle(0.0f), facingTriangle(-0.5f)});
    Bundle bundle = forwardSegments();
    bundle.setAllDirections({0.0f, 0.0f, 0.0f});
    for (const int misaligned : {-1, 0}) {
        const Blocked results = runAny(bundle, &scene, misaligned);
        EXPECT_TRUE(equalBits(results.mask, std::vector<int32_t>(32, 0)));
        EXPECT_TRUE(equalBits(results.triangle, std::vector<int32_t>(32, none)));
    }
}

TEST(AnyHit, OccluderAtTheTargetOrAtTheOriginDoesNotBlock) {
    // 1 / 1 is exact in the refined estimate of no processor for sure: the vector path gets its target from the model's t = num
    // r'.
    for (const float z : {0.0f, 1.0f}) {
        const TestScene scene = oneLeafScene({facingTriangle(z)});
        const Bundle bundle = forwardSegments();
        EXPECT_TRUE(equalBits(runAny(bundle, &scene, 0).mask, std::vector<int32_t>(32, 0)));
        expectAnyModel(Path::vector, bundle, scene);
    }
    const TestScene origin = oneLeafScene({facingTriangle(0.0f)});
    EXPECT_TRUE(equalBits(runAny(forwardSegments(), &origin).mask, std::vector<int32_t>(32, 0)));
    const TestScene beyond = oneLeafScene({facingTriangle(1.001f)});
    EXPECT_TRUE(equalBits(runAny(forwardSegments(), &beyond).mask, std::vector<int32_t>(32, 0)));
    const TestScene within = oneLeafScene({facingTriangle(0.999f)});
    for (const int misaligned : {-1, 0})
        EXPECT_TRUE(equalBits(runAny(forwardSegments(), &within, misaligned).mask, std::vector<int32_t>(32, -1)));
}

TEST(AnyHit, MaskedRayTakesNoPartButItsTriangleBecomesNone) {
    const TestScene scene = oneLeafScene({facingTriangle(0.5f)});
    Bundle bundle = forwardSegments();
    for (const int32_t word : {-1, INT32_MIN, -2}) {
        // A tile with every ray masked, so that no cached test follows.
        for (size_t r = 0; r < 32; ++r) bundle.mask[r] = r % 8 < 4 ? word : 0;
        for (const int misaligned : {-1, 0}) {
            const Blocked results = runAny(bundle, &scene, misaligned);
            for (size_t r = 0; r < 32; ++r) {
                EXPECT_EQ(results.triangle[r], r % 8 < 4 ? none : 0) << r;
                EXPECT_EQ(results.mask[r], r % 8 < 4 ? word : -1) << r;
            }
        }
    }
}

TEST(AnyHit, BlockedRayGetsAllBitsOfItsMask) {
    const TestScene scene = oneLeafScene({facingTriangle(0.5f)});
    Bundle bundle = forwardSegments();
    bundle.mask.assign(32, 0x00123456);
    for (const int misaligned : {-1, 0})
        EXPECT_TRUE(equalBits(runAny(bundle, &scene, misaligned).mask, std::vector<int32_t>(32, -1)));
}

TEST(AnyHit, ScalarPathReportsTheFirstOccluderInWalkOrderNotTheNearest) {
    const TestScene scene = oneLeafScene({facingTriangle(0.75f), facingTriangle(0.25f)});
    EXPECT_EQ(runAny(forwardSegments(), &scene, 0).triangle[0], 0);
}

TEST(AnyHit, SeedOfTheCacheIsTheNearestOccluderOfTheFirstLiveRayOfRowThree) {
    // The walk alone would report triangle 0; what comes from the cache is the nearest, 1.
    const TestScene scene = oneLeafScene({facingTriangle(0.75f), facingTriangle(0.25f)});
    Bundle bundle = forwardSegments(8, 4);
    EXPECT_TRUE(equalBits(runAny(bundle, &scene).triangle, std::vector<int32_t>(32, 1)));

    // With the first three of row 3 masked the fourth is the seed; the fifth is not asked.
    for (size_t i = 0; i < 3; ++i) bundle.mask[24 + i] = -1;
    EXPECT_EQ(runAny(bundle, &scene).triangle[0], 1);
    bundle.mask[27] = -1;
    EXPECT_EQ(runAny(bundle, &scene).triangle[0], 0);
    expectAnyModel(Path::vector, bundle, scene);
}

TEST(AnyHit, SeedKeepsAnOccluderUnlessTheNextIsNearerByMoreThanAnUlpOfOne) {
    const Bundle bundle = forwardSegments(4, 4);
    const TestScene within = oneLeafScene({facingTriangle(0.75f), facingTriangle(0.75f - 0x1p-24f)});
    EXPECT_EQ(runAny(bundle, &within).triangle[0], 0);
    const TestScene beyond = oneLeafScene({facingTriangle(0.75f), facingTriangle(0.75f - 0x1p-22f)});
    EXPECT_EQ(runAny(bundle, &beyond).triangle[0], 1);
}

TEST(AnyHit, SeedTakesATrianglesTwoSidesAndItsEdgesButNotItsOutside) {
    Random random(37);
    for (int round = 0; round < 100; ++round) {
        const TestScene scene = randomScene(random.word(), 40, 0.7f, 6);
        Bundle bundle = randomBundle(random, 4, 4, Rays::coherent, true);
        bundle.mask.assign(16, 0);
        expectAnyModel(Path::vector, bundle, scene);
    }
}

// Tiles side by side. Which triangle a tile reports tells whether its cached test or its walk was first.
class OccluderCache : public testing::Test {
protected:
    // Both cover all; a walk reports 0, the first of its leaf. Only the cache can bring up 1.
    TestScene scene_ = oneLeafScene({facingTriangle(0.6f), facingTriangle(0.3f)});
    Bundle bundle_ = forwardSegments(12, 4);

    // Sends one ray where nothing is.
    void miss(size_t r) { bundle_.setDirection(r, {0.0f, 0.0f, 0.01f}); }
};

TEST_F(OccluderCache, TileBlockedInItsLastRowLeavesItsTriangleToTheNextTile) {
    // No seed: row 3 of the first four columns is masked, which makes tile 0 one of four-ray packets, which leave the cache
    // alone.
    for (size_t i = 0; i < 4; ++i) bundle_.mask[36 + i] = -1;
    const Blocked results = runAny(bundle_, &scene_);
    expectAnyModel(Path::vector, bundle_, scene_);
    EXPECT_EQ(results.triangle[0], 0);
    EXPECT_EQ(results.triangle[4], 0); // by an eight-ray walk, which fills the cache
    EXPECT_EQ(results.triangle[8], 0); // by the cached test
}

TEST_F(OccluderCache, NextTileFirstTestsTheTriangleThatBlockedTheRowsBefore) {
    // Tile 0 is walked without a seed, tile 1 reports triangle 2 from the cache though its own walk would meet 3 first.
    const TestScene scene =
        oneLeafScene({patch(10.0f, 0, 0.5f, 3.0f), facingTriangle(0.5f, 30.0f), facingTriangle(0.4f, 40.0f)});
    Bundle bundle = forwardSegments(12, 4);
    for (size_t r = 0; r < 48; ++r) bundle.setDirection(r, r % 12 < 8 ? Point{0, 0, 1} : Point{20, 0, 1});
    for (size_t i = 0; i < 4; ++i) bundle.mask[36 + i] = -1;
    const Blocked results = runAny(bundle, &scene);
    EXPECT_EQ(results.triangle[4], 1);
    EXPECT_EQ(results.triangle[8], 1); // the walk would have found 0
    expectAnyModel(Path::vector, bundle, scene);
}

TEST_F(OccluderCache, TileWithAnOpenRayInItsLastRowEmptiesTheCache) {
    const TestScene scene =
        oneLeafScene({patch(10.0f, 0, 0.5f, 3.0f), facingTriangle(0.5f, 30.0f), facingTriangle(0.4f, 40.0f)});
    Bundle bundle = forwardSegments(12, 4);
    for (size_t r = 0; r < 48; ++r) bundle.setDirection(r, r % 12 < 8 ? Point{0, 0, 1} : Point{20, 0, 1});
    for (size_t i = 0; i < 4; ++i) bundle.mask[36 + i] = -1;
    bundle.setDirection(42, {0.0f, 0.0f, 0.01f}); // row 3 of the middle tile is not blocked throughout
    const Blocked results = runAny(bundle, &scene);
    EXPECT_EQ(results.triangle[8], 0);
    expectAnyModel(Path::vector, bundle, scene);
}

TEST_F(OccluderCache, LastRowHasTheLastWordOverTheSecond) {
    // Rows 0 and 1 of the middle tile are blocked, rows 2 and 3 aren't.
    const TestScene scene =
        oneLeafScene({patch(10.0f, 0, 0.5f, 3.0f), facingTriangle(0.5f, 30.0f), facingTriangle(0.4f, 40.0f)});
    Bundle bundle = forwardSegments(12, 4);
    for (size_t r = 0; r < 48; ++r) bundle.setDirection(r, r % 12 < 8 ? Point{0, 0, 1} : Point{20, 0, 1});
    for (size_t i = 0; i < 4; ++i) bundle.mask[36 + i] = -1;
    for (const size_t r : {28, 29, 30, 31, 40, 41, 42, 43}) bundle.setDirection(r, {0.0f, 0.0f, 0.01f});
    EXPECT_EQ(runAny(bundle, &scene).triangle[8], 0);
    expectAnyModel(Path::vector, bundle, scene);
}

TEST_F(OccluderCache, FourRayPacketsLeaveTheCacheAlone) {
    // The seed is triangle 1; tile 0 has two octants and an open ray, so it is walked in rows; tile 1 still gets the seed.
    miss(1);
    bundle_.setDirection(2, {-0.001f, 0.0f, 1.0f});
    const Blocked results = runAny(bundle_, &scene_);
    EXPECT_EQ(results.triangle[4], 1);
    expectAnyModel(Path::vector, bundle_, scene_);
}

// ---- What the cached test leaves behind -----------------------------------------------------------------------------------

class CachedTest : public testing::Test {
protected:
    // The seed is ray 12 of a single tile, blocked by the patch.
    TestScene scene_ = oneLeafScene({patch(0, 0, 0.5f, 0.1f)});
    Bundle bundle_ = forwardSegments(4, 4);

    CachedTest() {
        bundle_.setAllDirections(through(5.0f, 5.0f)); // outside
        block(12);
    }
    void block(size_t r) { bundle_.setDirection(r, through(0.0f, 0.0f)); }
    // Inside the triangle's outline, but it ends in front of it.
    void endEarly(size_t r) { bundle_.setDirection(r, {0.0f, 0.0f, 0.25f}); }
    Blocked run() {
        expectAnyModel(Path::vector, bundle_, scene_);
        return runAny(bundle_, &scene_);
    }
};

TEST_F(CachedTest, NeighboursOfABlockedRayInRowOneShowAnotherWordThanNone) {
    block(5);
    endEarly(6);
    const Blocked results = run();
    EXPECT_EQ(results.triangle[5], 0);
    EXPECT_EQ(results.mask[5], -1);
    EXPECT_EQ(results.triangle[4], 0); // outside the triangle: zero bits
    EXPECT_EQ(results.mask[4], 0);
    EXPECT_NE(results.triangle[6], none); // inside: the reciprocal of den
    EXPECT_NE(results.triangle[6], 0);
    EXPECT_EQ(results.mask[6], 0);
}

TEST_F(CachedTest, NeighboursOfABlockedRayInRowZeroKeepNone) {
    block(1);
    endEarly(2);
    const Blocked results = run();
    EXPECT_EQ(results.triangle[1], 0);
    EXPECT_EQ(results.triangle[0], none);
    EXPECT_EQ(results.triangle[2], none);
}

TEST_F(CachedTest, RowOneWithoutALiveRayInsideLeavesRowsTwoAndThreeToTheTree) {
    block(8);
    endEarly(9);
    Blocked results = run();
    EXPECT_EQ(results.triangle[9], none); // not written: the cached test never came here
    EXPECT_EQ(results.mask[8], -1);       // by the tree
    EXPECT_EQ(results.mask[12], -1);

    block(5); // one in row 1 that takes no part does not count
    bundle_.mask[5] = -1;
    results = run();
    EXPECT_EQ(results.triangle[9], none);
    bundle_.mask[5] = 0;
    results = run();
    EXPECT_NE(results.triangle[9], none);
}

TEST_F(CachedTest, RowTwoWithoutALiveRayInsideDoesNotEndTheTest) {
    block(5);
    endEarly(14);
    const Blocked results = run();
    EXPECT_EQ(results.triangle[8], none);
    EXPECT_NE(results.triangle[14], none);
}

TEST_F(CachedTest, RayThatEndsAtTheTriangleOrStartsOnItIsNotBlocked) {
    Random random(38);
    for (int round = 0; round < 200; ++round) {
        for (size_t r = 0; r < 16; ++r) {
            const float z = random.chance(0.5f) ? 0.5f : random.real(0.499999f, 0.500001f);
            bundle_.setDirection(r, {random.real(-0.05f, 0.05f), random.real(-0.05f, 0.05f), z});
        }
        block(12);
        block(4);
        run();
        if (HasFailure()) return;
    }
}

// ---- The top byte of a mask word ------------------------------------------------------------------------------------------

TEST(AnyHitMasks, TopByteOfAWordIsPartOfTheOctantCode) {
    // No cache: nothing but the four-ray and eight-ray packets.
    Random random(39);
    for (int round = 0; round < 200; ++round) {
        const TestScene scene = randomScene(random.word(), 30, 0.6f, 6);
        Bundle bundle = randomBundle(random, 8, 4, Rays::coherent, true);
        for (int32_t &word : bundle.mask)
            word = random.integer(0, 3) == 0 ? random.integer(0, 9) << 24 | random.integer(0, 99) : 0;
        expectAnyModel(Path::vector, bundle, scene);
        if (testing::Test::HasFailure()) return;
    }
}

TEST(AnyHitMasks, WordsWithACodeAboveSevenBelongToNoOctantThoughTheScalarPathTakesThem) {
    // Triangle 0 is nobody's cached occluder: the seed rays are masked.
    const TestScene scene = oneLeafScene({facingTriangle(0.5f)});
    Bundle bundle = forwardSegments(4, 4);
    for (size_t i = 0; i < 4; ++i) bundle.mask[12 + i] = -1;
    for (const int32_t word : {0x08000000, 0x10000000, 0x7F000000, 0x0F000000}) {
        bundle.mask[5] = word;
        const Blocked vector = runAny(bundle, &scene);
        EXPECT_EQ(vector.mask[5], word);
        EXPECT_EQ(vector.triangle[5], none);
        EXPECT_EQ(vector.mask[4], -1);
        EXPECT_EQ(runAny(bundle, &scene, 0).mask[5], -1);
    }
    bundle.mask[5] = 0x07FFFFFF; // octant 7, walked with the other child order
    EXPECT_EQ(runAny(bundle, &scene).mask[5], -1);
    bundle.mask[5] = 0x00FFFFFF;
    EXPECT_EQ(runAny(bundle, &scene).mask[5], -1);
}

TEST(AnyHitMasks, TileWithOneMaskedRayIsWalkedInRows) {
    // Only an eight-ray walk would fill the cache that tile 1 then shows.
    const TestScene scene = oneLeafScene({patch(10.0f, 0, 0.5f, 3.0f), facingTriangle(0.5f, 30.0f)});
    Bundle bundle = forwardSegments(8, 4);
    for (size_t r = 0; r < 32; ++r) bundle.setDirection(r, r % 8 < 4 ? Point{0, 0, 1} : Point{20, 0, 1});
    bundle.setDirection(24, {0, 0, 0.01f}); // the seed finds nothing
    EXPECT_EQ(runAny(bundle, &scene).triangle[4], 0);
    bundle.mask[0] = -1;
    const Blocked results = runAny(bundle, &scene);
    EXPECT_EQ(results.triangle[0], none);
    EXPECT_EQ(results.triangle[1], 1);
    EXPECT_EQ(results.triangle[4], 0);
    expectAnyModel(Path::vector, bundle, scene);
}

// ---- Odd rays and deep trees ----------------------------------------------------------------------------------------------

TEST(AnyHit, NotANumberIsNeverBlockedAndDisturbsNoOtherRay) {
    Random random(40);
    const TestScene scene = randomScene(41, 200, 0.5f);
    for (const float value : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()})
        for (int axis = 0; axis < 3; ++axis) {
            Bundle bundle = randomBundle(random, 8, 8, Rays::coherent, true);
            bundle.mask.assign(64, 0);
            const Blocked before = runAny(bundle, &scene, 0);
            bundle.direction[axis][9] = value;
            const Blocked vector = runAny(bundle, &scene), scalar = runAny(bundle, &scene, 0);
            if (std::isnan(value)) {
                EXPECT_EQ(vector.mask[9], 0);
                EXPECT_EQ(scalar.mask[9], 0);
            }
            for (size_t r = 0; r < 64; ++r) EXPECT_TRUE(r == 9 || scalar.mask[r] == before.mask[r]);
        }
}

TEST(AnyHit, CellsWithinTheExitPadAreVisitedAndOnTheScalarPathThoseWithinTheSlackBeyondIt) {
    Bundle bundle = forwardSegments(4, 4);                      // walked to 1.0001
    std::fill(bundle.mask.begin() + 12, bundle.mask.end(), -1); // no seed, whose walk has the slack
    const auto visits = [&](float split, int misaligned) {
        const TestScene scene = twoLeafScene(split, true, facingTriangle(0.25f));
        return runAny(bundle, &scene, misaligned).triangle[0] == 0;
    };
    EXPECT_TRUE(visits(1.00009f, -1));
    EXPECT_FALSE(visits(1.000105f, -1));
    EXPECT_TRUE(visits(0.99999f, 0));
    EXPECT_FALSE(visits(1.00009f, 0));
}

TEST(AnyHit, CellsBeforeTheSegmentAreVisitedWithinTheSlackOfTheScalarPathAndOfTheSeed) {
    Bundle bundle = forwardSegments(4, 4); // from the plane z = 0
    const auto visits = [&](float split, int misaligned) {
        const TestScene scene = twoLeafScene(split, false, facingTriangle(0.25f));
        return runAny(bundle, &scene, misaligned).triangle[0] == 0;
    };
    for (const int misaligned : {-1, 0}) { // the packets' seed, and then the scalar path
        EXPECT_TRUE(visits(-9e-6f, misaligned));
        EXPECT_FALSE(visits(-1.1e-5f, misaligned));
    }
    std::fill(bundle.mask.begin() + 12, bundle.mask.end(), -1); // no seed: the packets alone have no slack
    EXPECT_TRUE(visits(1e-6f, -1));
    EXPECT_FALSE(visits(-1e-6f, -1));
}

TEST(AnyHit, TinyComponentIsWalkedByItsStandInOnTheScalarPathAndByTheSeed) {
    // Planes of x at 1e-5 and 2e-5 are met at 0.84 and at 1.68, where the inverse of a tiny component is 83886.08.
    for (const float component : {0.0f, -0.0f, 1.1920929e-7f, -1.1920929e-7f}) {
        Bundle bundle = forwardSegments(4, 4);
        bundle.setAllDirections({component, 0.0f, 1.0f});
        const bool upperIsFar = !(component < 0.0f);
        for (const float split : {1e-5f, 2e-5f})
            for (const int misaligned : {-1, 0}) {
                const TestScene scene = twoLeafScene(split, upperIsFar, facingTriangle(0.25f), 0);
                EXPECT_EQ(runAny(bundle, &scene, misaligned).triangle[0], split < 1.5e-5f ? 0 : -1)
                    << component << " " << split;
            }
    }
}

TEST(AnyHit, DegenerateTriangleNeverBlocks) {
    Triangle line = facingTriangle(0.5f);
    line.p1 = line.p0;
    const TestScene scene = oneLeafScene({line, line});
    for (const int misaligned : {-1, 0})
        EXPECT_TRUE(equalBits(runAny(forwardSegments(), &scene, misaligned).mask, std::vector<int32_t>(32, 0)));
}

TEST(AnyHit, TreeOfFiftyLevelsIsWalkedWithAFarChildWaitingAtEach) {
    TreeWriter writer;
    size_t node = 0;
    for (int level = 0; level < 50; ++level) {
        const size_t pair = writer.split(node, 2, std::ldexp(0.5f, -level));
        if (level == 0)
            writer.compactLeaf(pair + 2, {0});
        else
            writer.emptyLeaf(pair + 2);
        node = pair;
    }
    writer.emptyLeaf(node);
    const TestScene scene({facingTriangle(0.75f)}, writer.words());
    Bundle bundle = forwardSegments();
    bundle.setDirection(17, {-0.1f, 0.0f, 1.0f});
    for (const int misaligned : {-1, 0})
        EXPECT_TRUE(equalBits(runAny(bundle, &scene, misaligned).mask, std::vector<int32_t>(32, -1)));
    expectAnyModel(Path::vector, bundle, scene);
}

} // namespace
} // namespace zypr::test
