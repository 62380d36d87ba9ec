// Queries of scenes whose trees and boxes have nothing to do with their triangles: leaves list triangles that lie anywhere,
// planes, boxes and rays meet exactly, boxes are flat or turned inside out. What is found tells which way a walk went.

#include "rays/bundles.h"

namespace zypr::test {
namespace {

enum class Coordinates { lattice, anywhere, zerosOfBothSigns, tiny, large };
constexpr Coordinates allCoordinates[] = {Coordinates::lattice, Coordinates::anywhere, Coordinates::zerosOfBothSigns,
                                          Coordinates::tiny, Coordinates::large};

float coordinate(Random &random, Coordinates kind) {
    switch (kind) {
    case Coordinates::lattice: return static_cast<float>(random.integer(-8, 8)) / 8.0f;
    case Coordinates::anywhere: return random.real(-1.0f, 1.0f);
    case Coordinates::zerosOfBothSigns:
        if (random.chance(0.3f)) return random.chance(0.5f) ? 0.0f : -0.0f;
        return static_cast<float>(random.integer(-3, 3)) / 4.0f;
    case Coordinates::tiny: return random.real(-1e-5f, 1e-5f);
    default: return random.real(-1e6f, 1e6f);
    }
}

// Any planes, and any triangles in any leaf.
class StrangeTree {
public:
    StrangeTree(Random &random, Coordinates kind, size_t triangles)
        : random_(random), kind_(kind), lastTriangle_(static_cast<int32_t>(triangles) - 1), depth_(random.integer(0, 7)),
          emptiness_(random.real(0.0f, 0.9f)) {
        build(writer_.root(), 0);
    }
    const std::vector<uint32_t> &words() const { return writer_.words(); }

private:
    void build(size_t at, int depth) {
        if (depth == depth_ || random_.chance(0.1f)) return leaf(at);
        const size_t pair = writer_.split(at, random_.integer(0, 2), coordinate(random_, kind_));
        build(pair, depth + 1);
        build(pair + 2, depth + 1);
    }
    void leaf(size_t at) {
        if (random_.chance(emptiness_)) return writer_.emptyLeaf(at);
        std::vector<int32_t> numbers(static_cast<size_t>(random_.integer(1, random_.chance(0.2f) ? 14 : 3)));
        for (int32_t &k : numbers) k = random_.integer(0, lastTriangle_);
        if (numbers.size() > 3 || random_.chance(0.3f)) return writer_.generalLeaf(at, numbers);
        std::sort(numbers.begin(), numbers.end());
        writer_.compactLeaf(at, numbers);
    }

    Random &random_;
    Coordinates kind_;
    int32_t lastTriangle_;
    int depth_;
    float emptiness_;
    TreeWriter writer_;
};

// A scene with a box of its own.
class BoxedScene {
public:
    BoxedScene(std::vector<Triangle> triangles, const std::vector<uint32_t> &words, const ZyprBox &box)
        : scene_(std::move(triangles), words), box_(box), view_{&box_, scene_.view().accel, scene_.view().root} {}
    BoxedScene(const BoxedScene &) = delete;

    const ZyprScene &view() const { return view_; }

private:
    TestScene scene_;
    ZyprBox box_;
    ZyprScene view_;
};

std::vector<Triangle> strangeTriangles(Random &random, Coordinates kind) {
    std::vector<Triangle> triangles(static_cast<size_t>(random.integer(1, 30)));
    for (Triangle &t : triangles) {
        const float widening = random.chance(0.5f) ? random.real(2.0f, 12.0f) : 1.0f;
        const auto point = [&] {
            Point p = {coordinate(random, kind), coordinate(random, kind), coordinate(random, kind)};
            return Point{widening * p.x, widening * p.y, widening * p.z};
        };
        t = {point(), point(), point()};
        if (random.chance(0.3f)) t.p0.z = t.p1.z = t.p2.z;
    }
    return triangles;
}

ZyprBox strangeBox(Random &random, Coordinates kind) {
    const int form = random.integer(0, 4);
    ZyprBox box;
    for (int axis = 0; axis < 3; ++axis) {
        float low = coordinate(random, kind), high = coordinate(random, kind);
        if (form < 3 && low > high) std::swap(low, high);
        if (form == 3 && random.chance(0.5f)) high = low;
        if (form == 0) low = -4e6f, high = 4e6f;
        box.minimum[axis] = low;
        box.maximum[axis] = high;
    }
    return box;
}

float component(Random &random, int form) {
    if (form == 0) return random.real(-1.0f, 1.0f);
    if (form == 1) return static_cast<float>(random.integer(-2, 2)) / 2.0f;
    if (form == 2) return random.real(0.05f, 1.0f);
    const float odd[] = {0.0f, -0.0f, 1.1920929e-7f, -1.1920929e-7f, 1.3e-7f, -1e-38f, 1e20f, -1e19f};
    return random.chance(0.5f) ? random.real(-1.0f, 1.0f) : odd[random.integer(0, 7)];
}

Bundle strangeBundle(Random &random, Coordinates kind, bool oneOrigin) {
    Bundle bundle(4 * random.integer(1, 2), 4 * random.integer(1, 2));
    const int forms[] = {random.integer(0, 3), random.integer(0, 3), random.integer(0, 3)};
    const float length = kind == Coordinates::tiny ? 1e-5f : kind == Coordinates::large ? 1e6f : 1.0f;
    const auto origin = [&] { return Point{coordinate(random, kind), coordinate(random, kind), coordinate(random, kind)}; };
    const Point common = origin();
    const bool limited = random.chance(0.5f);
    const float limits[] = {0.0f, -0.0f, -1.0f, std::numeric_limits<float>::infinity(), 1e-5f, 0.5f, 1.0f, -1e30f, 2.0f};
    for (size_t r = 0; r < bundle.count(); ++r) {
        bundle.setOrigin(r, oneOrigin ? common : origin());
        const auto along = [&](int axis) { return length * component(random, forms[axis]); };
        bundle.setDirection(r, {along(0), along(1), along(2)});
        bundle.dist[r] = limited ? limits[random.integer(0, 8)] : 3.4028235e38f;
        bundle.mask[r] = random.chance(0.9f) ? 0 : random.maskWord();
    }
    return bundle;
}

} // namespace

TEST(StrangeScenes, AreWalkedAsTheModelsWalkThem) {
    Random random(71);
    for (int round = 0; round < 400; ++round) {
        const Coordinates kind = allCoordinates[round % 5];
        SCOPED_TRACE(testing::Message() << "round " << round);
        std::vector<Triangle> triangles = strangeTriangles(random, kind);
        const StrangeTree tree(random, kind, triangles.size());
        const BoxedScene scene(std::move(triangles), tree.words(), strangeBox(random, kind));
        for (const Path path : {Path::vector, Path::scalar}) {
            const int misaligned = path == Path::vector ? -1 : 0;
            for (const Query query : {Query::mo, Query::eye, Query::multiple}) {
                SCOPED_TRACE(testing::Message() << "query " << static_cast<int>(query) << " path " << static_cast<int>(path));
                const Bundle bundle = strangeBundle(random, kind, query != Query::mo);
                const int layers = query == Query::multiple ? random.integer(1, 6) : 1;
                expectSame(runLibrary(query, bundle, &scene.view(), layers, misaligned),
                           runModel(query, path, bundle, scene.view(), layers));
            }
            const Bundle bundle = strangeBundle(random, kind, true);
            const Blocked actual = runAny(bundle, &scene.view(), misaligned),
                          expected = runAnyModel(path, bundle, scene.view());
            EXPECT_TRUE(equalBits(actual.triangle, expected.triangle));
            EXPECT_TRUE(equalBits(actual.mask, expected.mask));
        }
        if (testing::Test::HasFailure()) return;
    }
}

// ---- Where a walk turns -------------------------------------------------------------------------------------------------

namespace {

// What rays from the plane z = 0 along z find, on the path of single rays.
int32_t foundByRay(Query query, const TestScene &scene) { return runLibrary(query, Bundle(4, 4), &scene, 1, 0).triangle[0]; }

constexpr Query nearestQueries[] = {Query::mo, Query::eye};

} // namespace

TEST(StrangeScenes, AnIntervalNeverEndsBeforeItBegins) {
    // The first plane lies before the rays, but within the slack: the interval's end stays 0, and the second plane is within
    // the slack of that.
    TreeWriter writer;
    const size_t pair = writer.split(0, 2, -9e-6f);
    writer.emptyLeaf(pair + 2);
    const size_t near = writer.split(pair, 2, 5e-6f);
    writer.emptyLeaf(near);
    writer.compactLeaf(near + 2, {0});
    const TestScene scene({facingTriangle(0.25f), facingTriangle(-9.0f), facingTriangle(9.0f)}, writer.words());
    for (const Query query : nearestQueries) EXPECT_EQ(foundByRay(query, scene), 0);
}

TEST(StrangeScenes, AHitExactlyWhereACellEndsEndsTheWalk) {
    // The far leaf claims a nearer triangle.
    const TestScene scene({facingTriangle(0.5f), facingTriangle(0.25f), facingTriangle(-9.0f), facingTriangle(9.0f)},
                          twoLeafTree(0.5f, 0, 1));
    const Bundle oneOctant(4, 4);
    Bundle twoOctants(4, 4); // a lone ray, a packet of three and whole rows
    twoOctants.setDirection(5, {-0.001f, 0.0f, 1.0f});
    for (const Query query : nearestQueries)
        for (const Bundle *bundle : {&oneOctant, &std::as_const(twoOctants)})
            for (const int misaligned : {-1, 0})
                EXPECT_TRUE(equalBits(runLibrary(query, *bundle, &scene, 1, misaligned).triangle, std::vector<int32_t>(16, 0)));
}

TEST(StrangeScenes, BoxesAreMetByQuotientsFromACommonOriginAndByProductsWithInversesFromOwnOrigins) {
    // A ray enters the box by x and leaves it by y, at the distance that one of the two has for x: the other comes too late.
    Random random(72);
    for (int found = 0; found < 20;) {
        const float face = random.real(1.0f, 10.0f), d = random.real(1.0f, 10.0f);
        const float quotient = face / d, product = face * (1.0f / d);
        if (quotient == product) continue;
        ++found;
        const float exit = std::min(quotient, product);
        const ZyprBox box = {{face, -1.0f, -1.0f}, {100.0f, exit, 1.0f}};
        TreeWriter writer;
        writer.compactLeaf(0, {0});
        const BoxedScene scene({{{1, -40, -40}, {1, 120, -40}, {1, -40, 120}}}, writer.words(), box);
        Bundle bundle(4, 4);
        bundle.setAllDirections({d, 1.0f, 0.0f});
        const auto isHit = [&](Query query) { return runLibrary(query, bundle, &scene.view(), 1, 0).triangle[0] == 0; };
        EXPECT_EQ(isHit(Query::eye), quotient == exit);
        EXPECT_EQ(isHit(Query::multiple), quotient == exit);
        EXPECT_EQ(isHit(Query::mo), product == exit);
    }
}

TEST(StrangeScenes, TheExitOfALaterLayerIsPaddedOnce) {
    // From the first hit, at 0.25, it is 0.75 to the box's end. The far leaf claims the second hit.
    Bundle bundle(4, 4);
    const auto finds = [&](float split, int misaligned) {
        const BoxedScene scene({facingTriangle(0.25f), facingTriangle(0.5f)}, twoLeafTree(split, 0, 1),
                               {{-9, -9, -1}, {9, 9, 1}});
        const model::Results results = runLibrary(Query::multiple, bundle, &scene.view(), 2, misaligned);
        EXPECT_EQ(results.triangle[0], 0);
        return results.triangle[16] == 1;
    };
    EXPECT_TRUE(finds(1.00009f, -1));
    EXPECT_FALSE(finds(1.00011f, -1));
    EXPECT_TRUE(finds(1.00028f, 0)); // the slack comes on top
    EXPECT_FALSE(finds(1.0003f, 0));
}

TEST(StrangeScenes, TheSeedOfAnyHitTakesEveryEdgeOfATriangleFromBothSides) {
    // The packets' own walk would report triangle 0; the seed is the nearer one, on whose edge all segments lie.
    for (const float side : {1.0f, -1.0f}) {
        Bundle bundle(4, 4);
        bundle.setAllDirections({0.0f, 0.0f, side});
        const float z = 0.25f * side;
        const Triangle onEdge[] = {facingTriangle(z, 1.0f, 1.0f, 0.0f), facingTriangle(z, 1.0f, 0.0f, 1.0f),
                                   facingTriangle(z, 1.0f, -1.0f, -1.0f)};
        for (const Triangle &t : onEdge) {
            for (const Triangle &turned :
                 {t, Triangle{t.p1, t.p0, t.p2}, Triangle{t.p0, t.p2, t.p1}, Triangle{t.p2, t.p1, t.p0},
                  Triangle{t.p1, t.p2, t.p0}, Triangle{t.p2, t.p0, t.p1}}) {
                const TestScene scene = oneLeafScene({facingTriangle(0.75f * side), turned});
                EXPECT_TRUE(equalBits(runAny(bundle, &scene).triangle, std::vector<int32_t>(16, 1)));
            }
        }
    }
}

} // namespace zypr::test
