// Trees, byte by byte, and the allocator's requests beside the model's, over meshes, biases, depths, limits and boxes.

#include "scene/builds.h"
#include "scene/meshes.h"

using namespace zypr::test;

namespace {

void expectModelsTree(const KDMesh &mesh, const KDOptions &options) {
    EXPECT_TRUE(sameBuild(libraryBuild(mesh, options), model::kdModelBuild(mesh, options)))
        << mesh.triangleCount() << " triangles, depth " << options.maxDepth << ", bias " << options.splitBias;
}

void expectModelsTreesAtAllBiases(const KDMesh &mesh) {
    for (const float bias : {0.0f, 0.3f, 0.75f, 1.0f}) expectModelsTree(mesh, {.splitBias = bias, .memoryLimitMiB = 256});
}

} // namespace

TEST(KDTree, OfFewTrianglesIsTheModels) {
    for (uint32_t seed = 0; seed < 150; ++seed) {
        expectModelsTree(soup(seed, static_cast<int32_t>(seed % 30), 0.02f * static_cast<float>(seed % 20)),
                         {.splitBias = 1.0f});
        expectModelsTree(latticeSoup(seed, static_cast<int32_t>(seed % 30), 1 + static_cast<int32_t>(seed % 7)),
                         {.splitBias = 1.0f});
    }
}

TEST(KDTree, OfSoupIsTheModels) {
    expectModelsTreesAtAllBiases(soup(1, 900, 0.05f));
    expectModelsTreesAtAllBiases(soup(2, 300, 0.4f));
    expectModelsTreesAtAllBiases(soup(3, 4000, 0.01f));
}

TEST(KDTree, OfCoincidingEventsIsTheModels) {
    for (const int32_t steps : {1, 2, 3, 8, 64})
        expectModelsTreesAtAllBiases(latticeSoup(static_cast<uint32_t>(steps), 400, steps));
    expectModelsTreesAtAllBiases(latticeSoup(9, 3000, 16));
}

TEST(KDTree, OfPlatesOnTheFacesOfTheBoxIsTheModels) {
    for (const int32_t steps : {1, 2, 5, 14}) expectModelsTreesAtAllBiases(room(steps));
}

TEST(KDTree, OfASurfaceIsTheModels) {
    expectModelsTreesAtAllBiases(blob(6, 8));
    expectModelsTreesAtAllBiases(blob(40, 50));
}

TEST(KDTree, OfNeedlesIsTheModels) { expectModelsTreesAtAllBiases(needles(4, 250)); }

TEST(KDTree, OfDuplicatesAndDegenerateTrianglesIsTheModels) {
    for (const int32_t count : {0, 1, 5, 80, 400}) expectModelsTreesAtAllBiases(duplicates(count));
}

TEST(KDTree, OfZerosOfBothSignsIsTheModels) {
    for (uint32_t seed = 0; seed < 40; ++seed)
        expectModelsTree(signedZeros(seed, 1 + static_cast<int32_t>(seed) * 3), {.splitBias = 1.0f});
}

TEST(KDTree, AroundTheCountsAtWhichFormsChangeIsTheModels) {
    for (const int32_t count :
         {1,   2,   3,   4,   5,   7,   8,   9,   10,  15,  16,  17,  23,  24,  25,  31,   32,   33,   40,
          41,  47,  48,  49,  63,  64,  65,  74,  75,  76,  77,  95,  96,  97,  127, 128,  129,  160,  191,
          192, 193, 255, 256, 257, 319, 320, 321, 322, 511, 512, 513, 639, 640, 641, 1023, 1024, 1025, 2049}) {
        expectModelsTree(soup(static_cast<uint32_t>(count), count, 0.1f), {.maxDepth = 6, .splitBias = 1.0f});
        expectModelsTree(latticeSoup(static_cast<uint32_t>(count), count, 20), {.maxDepth = 6, .splitBias = 1.0f});
    }
}

TEST(KDTree, AtEveryDepthIsTheModels) {
    const KDMesh mesh = soup(7, 400, 0.1f);
    for (uint32_t depth = 0; depth <= 50; ++depth) expectModelsTree(mesh, {.maxDepth = depth, .splitBias = 1.0f});
}

TEST(KDTree, CutAtABoxIsTheModels) {
    const std::array<float, 6> boxes[] = {
        {0.25f, 0.25f, 0.25f, 0.75f, 0.75f, 0.75f}, // cuts
        {-1.0f, -1.0f, -1.0f, 2.0f, 2.0f, 2.0f},    // holds all, with space around
        {0.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f},       // faces on the lattice
        {0.5f, 0.0f, 0.0f, 0.5f, 1.0f, 1.0f},       // flat
        {0.5f, 0.5f, 0.0f, 0.5f, 0.5f, 1.0f},       // a line
        {0.7f, 0.0f, 0.0f, 0.3f, 1.0f, 1.0f},       // turned inside out
        {5.0f, 5.0f, 5.0f, 6.0f, 6.0f, 6.0f},       // misses
        {0.48f, 0.0f, 0.47f, 0.52f, 1.0f, 0.53f},
    };
    for (const std::array<float, 6> &box : boxes) {
        for (const float bias : {0.0f, 1.0f}) {
            const KDOptions options{.splitBias = bias, .clipBox = box};
            expectModelsTree(soup(11, 600, 0.3f), options);
            expectModelsTree(latticeSoup(12, 600, 4), options);
            expectModelsTree(needles(13, 200), options);
            expectModelsTree(room(6), options);
            expectModelsTree(duplicates(20), options);
        }
    }
}

// The box is that of the counted vertices, so that triangles stick out of it, and planes beyond it turn children inside out.
TEST(KDTree, OfTrianglesBeyondTheCountedVerticesIsTheModels) {
    for (uint32_t seed = 0; seed < 200; ++seed) {
        KDMesh mesh = soup(seed, 1 + static_cast<int32_t>(seed % 40 * (seed % 4 == 0 ? 9 : 1)), 0.8f);
        mesh.uncounted = mesh.vertexCount() - (2 + static_cast<int32_t>(seed % 7)) % (mesh.vertexCount() + 1);
        for (const float bias : {0.6f, 1.0f, NAN}) expectModelsTree(mesh, {.maxDepth = 9, .splitBias = bias});
    }
    for (uint32_t seed = 0; seed < 200; ++seed) { // and plates beyond its faces
        KDMesh mesh = latticeSoup(seed, 4 + static_cast<int32_t>(seed % 20), 2 + static_cast<int32_t>(seed % 3));
        mesh.uncounted = mesh.vertexCount() - 2 - static_cast<int32_t>(seed % 9);
        for (const float bias : {0.6f, 1.0f, NAN}) expectModelsTree(mesh, {.maxDepth = 9, .splitBias = bias});
    }
}

TEST(KDTree, OfBoxesTurnedInsideOutIsTheModels) {
    KDMesh mesh;
    mesh.addVertex(-2.52373171f, 0.37270546f, -0.594248772f);
    mesh.addVertex(4.40051651f, -1.29760623f, 1.15829825f);
    const int32_t a = mesh.addVertex(-3.16081953f, 2.84042072f, -4.07228565f);
    const int32_t b = mesh.addVertex(-4.0276866f, 0.121127367f, 3.05593133f);
    const int32_t c = mesh.addVertex(2.66560507f, 3.7531333f, -0.271044374f);
    mesh.addTriangle(a, a, b);
    mesh.addTriangle(c, 1, a);
    mesh.uncounted = 3;
    expectModelsTree(mesh, {.maxDepth = 6, .splitBias = NAN});
}

TEST(KDTree, AtAnyScaleIsTheModels) {
    for (const float scale : {1e-20f, 1e-6f, 1e-5f, 1e-4f, 1e-3f, 1e3f, 1e8f, 1e15f, 1e19f, 1e25f}) {
        KDMesh mesh = soup(21, 200, 0.1f);
        for (float &coordinate : mesh.vertices) coordinate *= scale;
        expectModelsTree(mesh, {.splitBias = 1.0f});
    }
}

TEST(KDTree, OfFlatMeshesIsTheModels) {
    for (int axis = 0; axis < 3; ++axis) {
        for (const float thickness : {0.0f, 9e-6f, 1e-5f, 1.1e-5f, 1e-3f}) {
            KDMesh mesh = soup(static_cast<uint32_t>(31 + axis), 300, 0.1f);
            for (size_t i = static_cast<size_t>(axis); i < mesh.vertices.size(); i += 3) mesh.vertices[i] *= thickness;
            expectModelsTree(mesh, {.splitBias = 1.0f});
            for (size_t i = static_cast<size_t>((axis + 1) % 3); i < mesh.vertices.size(); i += 3)
                mesh.vertices[i] *= thickness;
            expectModelsTree(mesh, {.splitBias = 1.0f});
        }
    }
}

TEST(KDTree, IsTheSameWithAnyNumberOfThreads) {
    const KDMesh mesh = blob(60, 70);
    const KDOptions options{.splitBias = 0.8f};
    const KDBuilt expected = model::kdModelBuild(mesh, options);
    for (const int threads : {1, 2, 3, 8}) {
        CoreProbe::threads = threads;
        EXPECT_TRUE(sameBuild(libraryBuild(mesh, options), expected)) << threads;
    }
}
