// Where trees are split, on meshes whose best planes can be told by hand. Every tree is also compared with the model's.

#include <cfenv>

#include "scene/builds.h"
#include "scene/meshes.h"

using namespace zypr::test;

namespace {

// The nodes of a tree from the root on, in a form that a test can read.
struct Leaf {
    std::vector<int32_t> triangles;
};
struct Tree {
    std::vector<uint32_t> words;

    bool isLeaf(size_t node) const { return words[node] >> 31 != 0; }
    int axis(size_t node) const { return static_cast<int>(words[node] & 3); }
    float plane(size_t node) const { return fromBits(words[node + 1]); }
    size_t left(size_t node) const { return node + (words[node] & ~7u) / 4; }
    size_t right(size_t node) const { return left(node) + 2; }
    std::vector<int32_t> triangles(size_t node) const {
        const uint32_t w = words[node] & 0x7FFFFFFFu, b = (words[node + 1] & 0x7FFFFFFFu) >> 2;
        const auto number = [](uint32_t a) { return static_cast<int32_t>(a); };
        if (words[node + 1] >> 31 == 0) {
            const auto distance = 4 * (static_cast<int32_t>(words[node]) >> 2);
            const int32_t *list = reinterpret_cast<const int32_t *>(words.data() + node) - distance / 4;
            return {list, list + words[node + 1]};
        }
        switch (words[node + 1] & 3) {
        case 1: return {number(w)};
        case 2: return {number(w), number(b)};
        default: return {number(b - (w >> 16)), number(b), number(b + (w & 0xFFFF))};
        }
    }
};

Tree treeOf(const KDMesh &mesh, const KDOptions &options) {
    const KDBuilt built = libraryBuild(mesh, options);
    EXPECT_TRUE(sameBuild(built, model::kdModelBuild(mesh, options)));
    EXPECT_EQ(built.status, zypStsNoErr);
    return {built.words};
}

constexpr std::array<float, 6> unitBox = {0, 0, 0, 1, 1, 1};
using List = std::vector<int32_t>;

// A triangle that spans the whole cross section of the unit box, between two coordinates of an axis.
void addSlab(KDMesh &mesh, int axis, float low, float high) {
    const auto corner = [&](float a, float b, float c) {
        std::array<float, 3> at;
        at[static_cast<size_t>(axis)] = a;
        at[static_cast<size_t>((axis + 1) % 3)] = b;
        at[static_cast<size_t>((axis + 2) % 3)] = c;
        return at;
    };
    mesh.addTriangle(corner(low, 0, 0), corner(high, 1, 0), corner(low, 0, 1));
}

// A triangle in the plane `at` of an axis, over half of the unit box's cross section.
void addPlanar(KDMesh &mesh, int axis, float at) { addSlab(mesh, axis, at, at); }

} // namespace

TEST(KDSplit, EmptySpaceIsCutUntilNoGapExceedsATenth) {
    KDMesh mesh;
    mesh.addTriangle({0.41f, 0.42f, 0.43f}, {0.45f, 0.44f, 0.43f}, {0.42f, 0.46f, 0.47f});
    const Tree tree = treeOf(mesh, {.splitBias = 1.0f, .clipBox = unitBox});
    size_t node = 0;
    int cuts = 0;
    std::array<float, 6> box = unitBox;
    while (!tree.isLeaf(node)) {
        const auto axis = static_cast<size_t>(tree.axis(node));
        const size_t left = tree.left(node), right = tree.right(node);
        const bool leftIsEmpty = tree.isLeaf(left) && tree.triangles(left).empty();
        ASSERT_TRUE(leftIsEmpty || (tree.isLeaf(right) && tree.triangles(right).empty()));
        box[leftIsEmpty ? axis : axis + 3] = tree.plane(node);
        node = leftIsEmpty ? right : left;
        ++cuts;
    }
    EXPECT_EQ(tree.triangles(node), List{0});
    EXPECT_EQ(cuts, 6);
    EXPECT_EQ(box, (std::array<float, 6>{0.41f, 0.42f, 0.43f, 0.45f, 0.46f, 0.47f}));
}

TEST(KDSplit, OfTwoGapsTheCheaperIsCutFirst) {
    KDMesh right, left;
    for (int i = 0; i < 2; ++i) {
        addSlab(right, 0, 0.2f, 0.6f);
        addSlab(left, 0, 0.4f, 0.8f);
    }
    const Tree cutRight = treeOf(right, {.maxDepth = 1, .splitBias = 1.0f, .clipBox = unitBox});
    ASSERT_FALSE(cutRight.isLeaf(0));
    EXPECT_EQ(cutRight.axis(0), 0);
    EXPECT_EQ(cutRight.plane(0), 0.6f);
    EXPECT_EQ(cutRight.triangles(cutRight.left(0)), (List{1, 0}));
    EXPECT_EQ(cutRight.triangles(cutRight.right(0)), List{});
    const Tree cutLeft = treeOf(left, {.maxDepth = 1, .splitBias = 1.0f, .clipBox = unitBox});
    ASSERT_FALSE(cutLeft.isLeaf(0));
    EXPECT_EQ(cutLeft.plane(0), 0.4f);
    EXPECT_EQ(cutLeft.triangles(cutLeft.left(0)), List{});
    EXPECT_EQ(cutLeft.triangles(cutLeft.right(0)), (List{1, 0}));
}

TEST(KDSplit, OfEqualGapsTheLeftIsCut) {
    KDMesh mesh;
    for (int i = 0; i < 2; ++i) addSlab(mesh, 0, 0.25f, 0.75f);
    const Tree tree = treeOf(mesh, {.maxDepth = 1, .splitBias = 1.0f, .clipBox = unitBox});
    ASSERT_FALSE(tree.isLeaf(0));
    EXPECT_EQ(tree.plane(0), 0.25f);
}

TEST(KDSplit, AGapOfExactlyATenthIsNotCut) {
    // The box is 10 long in x; the tenth is rounded to 1 exactly. At these biases a plane pays only with the discount of a cut.
    const std::array<float, 6> box = {0, 0, 0, 10, 1, 1};
    for (const auto &[slabs, bias] : {std::pair{4, 1.0f}, std::pair{20, 0.0f}}) {
        const KDOptions options{.maxDepth = 1, .splitBias = bias, .clipBox = box};
        for (const bool beyond : {false, true}) {
            KDMesh left, right;
            for (int i = 0; i < slabs; ++i) {
                addSlab(left, 0, beyond ? 1.0000001f : 1.0f, 10.0f);
                addSlab(right, 0, 0.0f, beyond ? 8.999999f : 9.0f);
            }
            EXPECT_EQ(treeOf(left, options).isLeaf(0), !beyond);
            EXPECT_EQ(treeOf(right, options).isLeaf(0), !beyond);
        }
    }
}

TEST(KDSplit, AnAxisOfTheSmallestExtentIsNotLookedAt) {
    for (const bool above : {false, true}) {
        const float thickness = above ? std::nextafterf(1e-5f, 1.0f) : 1e-5f;
        for (int axis = 0; axis < 3; ++axis) {
            std::array<float, 6> box = unitBox;
            box[static_cast<size_t>(axis + 3)] = thickness;
            KDMesh mesh;
            for (int i = 0; i < 6; ++i) addPlanar(mesh, axis, 0.0f); // with all the box above them empty
            EXPECT_EQ(treeOf(mesh, {.splitBias = 1.0f, .clipBox = box}).isLeaf(0), !above);
        }
    }
}

TEST(KDSplit, AmongPlanarsOffTheFacesOnlyTheFirstPlaneIsTried) {
    // Six plates in the last tenth before the middle one: the best plane would be between the groups, but the first is taken.
    KDMesh mesh;
    for (const float at : {0.05f, 0.06f, 0.07f, 0.93f, 0.94f, 0.95f}) addPlanar(mesh, 0, at);
    const Tree tree = treeOf(mesh, {.maxDepth = 1, .splitBias = 1.0f, .clipBox = unitBox});
    ASSERT_FALSE(tree.isLeaf(0));
    EXPECT_EQ(tree.axis(0), 0);
    EXPECT_EQ(tree.plane(0), 0.05f);
    EXPECT_EQ(tree.triangles(tree.left(0)), List{0});
    EXPECT_EQ(tree.triangles(tree.right(0)), (List{1, 2, 3, 4, 5}));
}

TEST(KDSplit, PlanarsBeyondTheLastEndAreNoCandidates) {
    // The plane of the plates would be cheaper than the end of the slab.
    for (const auto &[plates, end] : {std::pair{20, 0.85f}, std::pair{200, 0.85f}, std::pair{200, 0.945f}}) {
        KDMesh mesh;
        addSlab(mesh, 0, 0.0f, end);
        for (int i = 0; i < plates; ++i) addPlanar(mesh, 0, 0.95f);
        const Tree tree = treeOf(mesh, {.maxDepth = 1, .splitBias = 1.0f, .clipBox = unitBox});
        ASSERT_FALSE(tree.isLeaf(0));
        EXPECT_EQ(tree.axis(0), 0);
        EXPECT_EQ(tree.plane(0), end);
    }
}

TEST(KDSplit, PlatesOnTheLowFaceGoToAFlatLeftChild) {
    KDMesh mesh;
    for (int i = 0; i < 4; ++i) addPlanar(mesh, 1, 0.0f);
    addSlab(mesh, 1, 0.05f, 1.0f);
    const Tree tree = treeOf(mesh, {.maxDepth = 1, .splitBias = 1.0f, .clipBox = unitBox});
    ASSERT_FALSE(tree.isLeaf(0));
    EXPECT_EQ(tree.axis(0), 1);
    EXPECT_EQ(tree.plane(0), 0.0f);
    EXPECT_EQ(tree.triangles(tree.left(0)), (List{0, 1, 2, 3}));
    EXPECT_EQ(tree.triangles(tree.right(0)), List{4});
}

TEST(KDSplit, PlatesOnTheHighFaceGoToAFlatRightChild) {
    KDMesh mesh;
    addSlab(mesh, 1, 0.0f, 0.95f);
    for (int i = 0; i < 4; ++i) addPlanar(mesh, 1, 1.0f);
    const Tree tree = treeOf(mesh, {.maxDepth = 1, .splitBias = 1.0f, .clipBox = unitBox});
    ASSERT_FALSE(tree.isLeaf(0));
    EXPECT_EQ(tree.axis(0), 1);
    EXPECT_EQ(tree.plane(0), 1.0f);
    EXPECT_EQ(tree.triangles(tree.left(0)), List{0});
    EXPECT_EQ(tree.triangles(tree.right(0)), (List{1, 2, 3, 4}));
}

TEST(KDSplit, OfEqualCostsTheLastAxisWins) {
    // Small triangles in opposite corners of a cube; leaving out an axis moves both to the middle of it.
    const auto mesh = [](bool y, bool z) {
        KDMesh result;
        for (const float at : {0.0f, 0.75f}) {
            const float cy = y ? at : 0.0f, cz = z ? at : 0.0f, sy = y ? 0.25f : 1.0f, sz = z ? 0.25f : 1.0f;
            result.addTriangle({at, cy, cz}, {at + 0.25f, cy + sy, cz}, {at, cy, cz + sz});
        }
        return result;
    };
    const KDOptions options{.maxDepth = 1, .splitBias = 1.0f, .clipBox = unitBox};
    EXPECT_EQ(treeOf(mesh(true, true), options).axis(0), 2);
    EXPECT_EQ(treeOf(mesh(true, false), options).axis(0), 1);
    EXPECT_EQ(treeOf(mesh(false, true), options).axis(0), 2);
    EXPECT_EQ(treeOf(mesh(false, false), options).axis(0), 0);
}

TEST(KDSplit, ABoxFlatOnTwoAxesIsALeafWhateverTheCount) {
    for (int axis = 0; axis < 3; ++axis) {
        std::array<float, 6> box = {0, 0, 0, 1e-5f, 1e-5f, 1e-5f};
        box[static_cast<size_t>(axis + 3)] = 1.0f;
        KDMesh mesh;
        for (int i = 0; i < 100; ++i)
            addSlab(mesh, axis, 0.01f * static_cast<float>(i), 0.01f * static_cast<float>(i) + 0.005f);
        const Tree tree = treeOf(mesh, {.splitBias = 1.0f, .clipBox = box});
        EXPECT_TRUE(tree.isLeaf(0));
    }
}

TEST(KDSplit, TrianglesThatEndOrBeginAtThePlaneAreNotCut) {
    KDMesh mesh;
    for (int i = 0; i < 10; ++i) {
        addSlab(mesh, 2, 0.0f, 0.5f);
        addSlab(mesh, 2, 0.5f, 1.0f);
    }
    const Tree tree = treeOf(mesh, {.maxDepth = 1, .splitBias = 1.0f, .clipBox = unitBox});
    ASSERT_FALSE(tree.isLeaf(0));
    EXPECT_EQ(tree.plane(0), 0.5f);
    EXPECT_EQ(tree.triangles(tree.left(0)).size(), 10u);
    EXPECT_EQ(tree.triangles(tree.right(0)).size(), 10u);
}

TEST(KDSplit, DepthZeroIsALeafInListOrder) {
    for (const int32_t count : {1, 2, 3, 4, 9}) {
        const Tree tree = treeOf(soup(3, count, 0.2f), {.maxDepth = 0});
        ASSERT_TRUE(tree.isLeaf(0));
        EXPECT_EQ(tree.words[1] >> 31, count <= 3 ? 1u : 0u);
        List expected;
        for (int32_t i = 0; i < count; ++i) expected.push_back(i);
        // A compact pair is stored second triangle first.
        if (count == 2) expected = {1, 0};
        EXPECT_EQ(tree.triangles(0), expected);
    }
}

TEST(KDSplit, ABoxThatMissesEveryTriangleGivesAnEmptyLeaf) {
    const Tree tree = treeOf(soup(3, 50, 0.2f), {.clipBox = std::array<float, 6>{5, 5, 5, 6, 6, 6}});
    EXPECT_EQ(tree.words, (std::vector<uint32_t>{0xFFFFFFF0u, 0, 0, 0}));
}

TEST(KDSplit, ATriangleBentBeyondNineVerticesEndsTheBuild) {
    // Cutting at a box that is turned inside out on two axes adds vertices at both faces of each.
    KDMesh mesh;
    mesh.addTriangle({-3, 3, 1}, {1, -4, -6}, {5, -8, 8});
    const KDOptions options{.maxDepth = 0, .clipBox = std::array<float, 6>{2, 1, 0, -2, -3, 0}};
    const KDBuilt built = libraryBuild(mesh, options);
    EXPECT_EQ(built.status, zypStsBuildInconsistentErr);
    EXPECT_TRUE(sameBuild(built, model::kdModelBuild(mesh, options)));
}

TEST(KDSplit, AVertexThatNoTriangleUsesWidensTheBox) {
    KDMesh mesh = soup(3, 20, 0.1f);
    mesh.addVertex(50.0f, 0.5f, 0.5f);
    const Tree tree = treeOf(mesh, {.splitBias = 1.0f});
    ASSERT_FALSE(tree.isLeaf(0));
    EXPECT_EQ(tree.axis(0), 0);
    EXPECT_EQ(tree.triangles(tree.right(0)), List{});
    EXPECT_TRUE(tree.isLeaf(tree.right(0)));
}

TEST(KDSplit, AnInnerRootPointsAtItsChildrenBehindTwoZeroWords) {
    const Tree tree = treeOf(soup(3, 50, 0.1f), {.splitBias = 1.0f});
    EXPECT_EQ(tree.words[0] & ~3u, 16u);
    EXPECT_EQ(tree.words[2], 0u);
    EXPECT_EQ(tree.words[3], 0u);
}

TEST(KDSplit, VertexNumbersBeyondTheCountAreReadAsGiven) {
    // The fourth vertex isn't counted: it takes no part in the box, but its triangle is there.
    KDMesh mesh = soup(9, 40, 0.2f);
    KDOptions options{.splitBias = 1.0f};
    const std::vector<float> kept = mesh.vertices;
    const CoreProbeScope scope;
    const ZyprKDTreeBuildContext context = contextOf(options);
    ZyprKDTree *tree = nullptr;
    int32_t size = 0;
    EXPECT_EQ(zyprKDTreeBuildAlloc(&tree, kept.data(), mesh.triangles.data(), 60, mesh.triangleCount(), &size, &context),
              zypStsNoErr);
    zyprKDTreeFree(tree);
}

TEST(KDSplit, NaNsAndInfinitiesEndTheBuildWithoutHarm) {
    for (uint32_t seed = 0; seed < 120; ++seed) {
        Random random(seed);
        KDMesh mesh = seed % 2 ? soup(seed, 10 + static_cast<int32_t>(seed) * 5, 0.1f)
                               : latticeSoup(seed, 10 + static_cast<int32_t>(seed), 5);
        const float odd[] = {NAN, -NAN, INFINITY, -INFINITY, FLT_MAX, -FLT_MAX};
        const size_t places = 1 + seed % 20;
        for (size_t i = 0; i < places; ++i) {
            mesh.vertices[static_cast<size_t>(random.integer(0, static_cast<int32_t>(mesh.vertices.size()) - 1))] =
                odd[seed % 5 == 4 ? random.integer(0, 5) : random.integer(0, 1)];
        }
        KDOptions options{.splitBias = 1.0f};
        for (const bool clipped : {false, true}) {
            if (clipped) options.clipBox = {0.1f, 0.1f, 0.1f, 0.9f, 0.9f, 0.9f};
            const int32_t status = libraryBuild(mesh, options).status;
            EXPECT_TRUE(status == zypStsNoErr || status == zypStsBuildInconsistentErr || status == zypStsMemLimitErr) << status;
        }
    }
}

TEST(KDSplit, OrdinaryMeshesRaiseNoExceptionThatACallerMightTrap) {
    for (const KDMesh &mesh : {blob(20, 24), room(4), duplicates(9), soup(2, 300, 0.2f)}) {
        std::feclearexcept(FE_ALL_EXCEPT);
        libraryBuild(mesh, {.splitBias = 1.0f});
        EXPECT_EQ(std::fetestexcept(FE_INVALID | FE_DIVBYZERO), 0);
    }
}

TEST(KDSplit, LeavesHoldEveryTriangleThatReachesTheirBox) {
    const KDMesh mesh = blob(20, 24);
    const Tree tree = treeOf(mesh, {.splitBias = 1.0f});
    // Walks down to the leaves that a point of a triangle lies in: one of them lists the triangle.
    Random random(5);
    for (int sample = 0; sample < 5000; ++sample) {
        const int32_t triangle = random.integer(0, mesh.triangleCount() - 1);
        const int32_t *corners = mesh.triangles.data() + 4 * triangle;
        const float u = random.real(0.05f, 0.45f), v = random.real(0.05f, 0.45f);
        float point[3];
        for (int a = 0; a < 3; ++a) {
            const auto at = [&](int k) { return mesh.vertices[static_cast<size_t>(3 * corners[k] + a)]; };
            point[a] = u * at(0) + v * at(1) + (1 - u - v) * at(2);
        }
        std::vector<size_t> open = {0};
        bool found = false;
        while (!open.empty() && !found) {
            const size_t node = open.back();
            open.pop_back();
            if (tree.isLeaf(node)) {
                const List list = tree.triangles(node);
                found = std::find(list.begin(), list.end(), triangle) != list.end();
                continue;
            }
            const float distance = point[tree.axis(node)] - tree.plane(node);
            if (distance <= 1e-6f) open.push_back(tree.left(node));
            if (distance >= -1e-6f) open.push_back(tree.right(node));
        }
        EXPECT_TRUE(found) << triangle;
    }
}
