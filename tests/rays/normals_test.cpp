// Triangle normals, and flat and smooth normals at hits.
#include <gtest/gtest.h>

#include <optional>

#include "rays/hit_geometry_model.h"
#include "rays/plane_triple.h"
#include "support/core_probe.h"
#include "zypr.h"

using namespace zypr::test;
using model::Vector;

namespace {

constexpr float untouched = 77.0f;

// An address so far in front of an array that element `offset` from there is the array's first.
template <class T> const T *before(const GuardedArray<T> &array, int64_t offset) {
    return reinterpret_cast<const T *>(reinterpret_cast<intptr_t>(array.data()) - offset * static_cast<int64_t>(sizeof(T)));
}

// ---- Triangle normals ---------------------------------------------------------------------------------------------------

struct Mesh {
    // The last vertex, and the last triangle's three numbers, end at inaccessible pages.
    Mesh(size_t vertexCount, size_t triangleCount)
        : count(static_cast<int32_t>(triangleCount)), vertices(3 * vertexCount), triangles(4 * triangleCount - 1),
          normals(3 * triangleCount) {}

    void fill(Random &random) {
        for (float &value : vertices) value = random.real(-5.0f, 5.0f);
        const auto last = static_cast<int32_t>(vertices.size() / 3) - 1;
        for (size_t i = 0; i < triangles.size(); ++i) triangles[i] = i % 4 == 3 ? INT32_MIN : random.integer(0, last);
        triangles[triangles.size() - 1] = last;
    }
    zypStatus run() { return zyprTriangleNormal_32f(vertices.data(), triangles.data(), normals.data(), count); }
    std::vector<float> expected() const {
        std::vector<float> result;
        for (size_t t = 0; t < static_cast<size_t>(count); ++t) {
            const auto corner = [&](size_t k) { return vertices.data() + 3 * triangles[4 * t + k]; };
            const Vector normal = model::triangleNormal(corner(0), corner(1), corner(2));
            result.insert(result.end(), normal.begin(), normal.end());
        }
        return result;
    }

    int32_t count;
    GuardedArray<float> vertices;
    GuardedArray<int32_t> triangles;
    GuardedArray<float> normals;
};

Vector normalOf(const Vector &p0, const Vector &p1, const Vector &p2) {
    Mesh mesh(3, 1);
    for (size_t a = 0; a < 3; ++a) {
        mesh.vertices[a] = p0[a];
        mesh.vertices[3 + a] = p1[a];
        mesh.vertices[6 + a] = p2[a];
        mesh.triangles[a] = static_cast<int32_t>(a);
    }
    EXPECT_EQ(mesh.run(), zypStsNoErr);
    return {mesh.normals[0], mesh.normals[1], mesh.normals[2]};
}

} // namespace

TEST(TriangleNormal, FollowsTheModelAtEveryCount) {
    const CoreProbeScope probe;
    Random random(21);
    for (size_t count = 1; count <= 40; ++count) {
        Mesh mesh(17, count);
        mesh.fill(random);
        ASSERT_EQ(mesh.run(), zypStsNoErr);
        ASSERT_TRUE(equalValues(mesh.normals, mesh.expected())) << count;
        ASSERT_TRUE(mesh.normals.surroundingsIntact()) << count;
    }
}

TEST(TriangleNormal, TakesSpecialValuesThroughTheSameArithmetic) {
    const CoreProbeScope probe;
    Random random(22);
    Mesh mesh(60, 4001);
    mesh.fill(random);
    for (size_t i = 0; i < mesh.vertices.size(); i += static_cast<size_t>(random.integer(1, 3)))
        mesh.vertices[i] = specialFloats()[i % specialFloats().size()];
    ASSERT_EQ(mesh.run(), zypStsNoErr);
    ASSERT_TRUE(equalValues(mesh.normals, mesh.expected()));
}

TEST(TriangleNormal, RoundsToFloatOnlyAtTheStore) {
    // Far from the origin, where the edges are a few units of the last place: single precision would lose most of the
    // direction.
    const CoreProbeScope probe;
    Random random(23);
    Mesh mesh(30, 501);
    mesh.fill(random);
    for (float &value : mesh.vertices) value = 1e6f + value;
    ASSERT_EQ(mesh.run(), zypStsNoErr);
    ASSERT_TRUE(equalValues(mesh.normals, mesh.expected()));
}

TEST(TriangleNormal, SumsTheSquareOfItsLengthFromYWithFusedSteps) {
    // Rare triangles at which any other order, or unfused sums, would round a component the other way. Found by search.
    const auto bitsOf = [](const Vector &v) { return std::array{bits(v[0]), bits(v[1]), bits(v[2])}; };
    EXPECT_EQ(bitsOf(normalOf({4.21484375f, -3.14868164f, -4.62744141f}, {7.55908203f, -3.3190918f, 5.97045898f}, {0, 0, 0})),
              (std::array{0xBEFA5841u, 0xBF5C65CAu, 0x3E0FD1FDu}));
    EXPECT_EQ(bitsOf(normalOf({6.16333008f, -3.609375f, -5.12231445f}, {-5.7019043f, -5.75439453f, -6.35546875f}, {0, 0, 0})),
              (std::array{0xBD970072u, 0x3F45735Fu, 0xBF21D7A8u}));
}

TEST(TriangleNormal, IsTheSameWithAnyNumberOfThreads) {
    const CoreProbeScope probe;
    Random random(24);
    Mesh mesh(5000, 16 * 16384 + 3); // enough that each of sixteen threads gets a share
    mesh.fill(random);
    const std::vector<float> expected = mesh.expected();
    for (const int threads : {1, 2, 3, 5, 16, 0, -4}) {
        CoreProbe::threads = threads;
        CoreProbe::threadQueries = 0;
        std::fill(mesh.normals.begin(), mesh.normals.end(), untouched);
        ASSERT_EQ(mesh.run(), zypStsNoErr);
        EXPECT_TRUE(equalValues(mesh.normals, expected)) << threads;
        EXPECT_EQ(CoreProbe::threadQueries, 1);
        EXPECT_TRUE(mesh.normals.surroundingsIntact());
    }
}

TEST(TriangleNormal, LeavesNoRemainderOutAtAnyShareOfThreads) {
    const CoreProbeScope probe;
    Random random(25);
    for (const size_t count : {2 * 16384 - 1, 2 * 16384, 2 * 16384 + 1, 3 * 16384 + 2}) {
        Mesh mesh(500, count);
        mesh.fill(random);
        CoreProbe::threads = 3;
        ASSERT_EQ(mesh.run(), zypStsNoErr);
        EXPECT_TRUE(equalValues(mesh.normals, mesh.expected())) << count;
    }
}

TEST(TriangleNormal, OfTheUnitTrianglePointsAlongZ) {
    EXPECT_EQ(normalOf({1, 0, 0}, {0, 1, 0}, {0, 0, 0}), (Vector{0, 0, 1}));
    EXPECT_EQ(normalOf({0, 1, 0}, {1, 0, 0}, {0, 0, 0}), (Vector{0, 0, -1})); // the vertex order turns it
    EXPECT_EQ(normalOf({0, 2, 0}, {0, 0, 3}, {0, 0, 0}), (Vector{1, 0, 0}));
    EXPECT_EQ(normalOf({0, 0, 2}, {3, 0, 0}, {0, 0, 0}), (Vector{0, 1, 0}));
}

TEST(TriangleNormal, OfADegenerateTriangleIsZero) {
    EXPECT_TRUE(isPositiveZeros(normalOf({1, 2, 3}, {1, 2, 3}, {4, 5, 6})));
    EXPECT_TRUE(isPositiveZeros(normalOf({4, 5, 6}, {1, 2, 3}, {4, 5, 6})));
    EXPECT_TRUE(isPositiveZeros(normalOf({-1, -1, -1}, {2, 2, 2}, {0, 0, 0})));
}

TEST(TriangleNormal, TurnsToZeroStrictlyBelowItsThreshold) {
    // With two edges of 2^-13 the square of the product's length is 2^-52, the threshold itself.
    const float edge = 0x1p-13f;
    EXPECT_EQ(normalOf({edge, 0, 0}, {0, edge, 0}, {0, 0, 0}), (Vector{0, 0, 1}));
    EXPECT_TRUE(isPositiveZeros(normalOf({std::nextafter(edge, 0.0f), 0, 0}, {0, edge, 0}, {0, 0, 0})));
    EXPECT_TRUE(isPositiveZeros(normalOf({0, edge, 0}, {std::nextafter(edge, 0.0f), 0, 0}, {0, 0, 0})));
}

TEST(TriangleNormal, ReachesVerticesBeyondTwoToTheThirtyTwoBytes) {
    const CoreProbeScope probe;
    Mesh mesh(3, 1);
    Random random(26);
    mesh.fill(random);
    const int32_t far = 1500000000; // 3 x far does not fit 32 bits
    for (int32_t k = 0; k < 3; ++k) mesh.triangles[static_cast<size_t>(k)] = k;
    const std::vector<float> expected = mesh.expected();
    for (int32_t k = 0; k < 3; ++k) mesh.triangles[static_cast<size_t>(k)] = far + k;
    ASSERT_EQ(zyprTriangleNormal_32f(before(mesh.vertices, int64_t{3} * far), mesh.triangles.data(), mesh.normals.data(), 1),
              0);
    EXPECT_TRUE(equalValues(mesh.normals, expected));
}

TEST(TriangleNormal, DoesNothingForACountBelowOneAndRefusesNullPointers) {
    const CoreProbeScope probe;
    const float vertices[9] = {};
    const int32_t triangles[4] = {};
    float normals[3] = {untouched, untouched, untouched};
    for (const int32_t count : {0, -1, INT32_MIN})
        EXPECT_EQ(zyprTriangleNormal_32f(vertices, triangles, normals, count), zypStsNoErr);
    for (const int32_t count : {1, 0, -1}) {
        EXPECT_EQ(zyprTriangleNormal_32f(nullptr, triangles, normals, count), zypStsNullPtrErr);
        EXPECT_EQ(zyprTriangleNormal_32f(vertices, nullptr, normals, count), zypStsNullPtrErr);
        EXPECT_EQ(zyprTriangleNormal_32f(vertices, triangles, nullptr, count), zypStsNullPtrErr);
    }
    EXPECT_EQ(normals[0], untouched);
}

// ---- Flat normals -------------------------------------------------------------------------------------------------------

namespace {

void fillTriangles(GuardedArray<int32_t> &rayTriangle, Random &random, int32_t last) {
    // Whole groups of misses, and mixed ones.
    for (size_t i = 0; i < rayTriangle.size(); ++i) {
        const bool miss = (i / 4) % 3 == 0 || random.chance(0.4f);
        rayTriangle[i] = miss ? (random.chance(0.8f) ? -1 : INT32_MIN) : random.integer(0, last);
    }
    if (rayTriangle.size() > 4) rayTriangle[rayTriangle.size() - 1] = last;
}

ExpectedTriple expectedFlat(const GuardedArray<float> &normals, const GuardedArray<int32_t> &rayTriangle) {
    ExpectedTriple expected(rayTriangle.size());
    for (size_t i = 0; i < rayTriangle.size(); ++i) {
        if (rayTriangle[i] < 0) continue;
        const float *normal = normals.data() + 3 * rayTriangle[i];
        expected.set(i, {normal[0], normal[1], normal[2]});
    }
    return expected;
}

} // namespace

TEST(SurfFlatNormal, CopiesTheTrianglesNormalAtEveryCount) {
    Random random(31);
    for (size_t count = 1; count <= 70; ++count) {
        GuardedArray<float> normals(3 * 20);
        for (float &value : normals) value = random.real(-1.0f, 1.0f);
        GuardedArray<int32_t> rayTriangle(count);
        fillTriangles(rayTriangle, random, 19);
        PlaneTriple surface(count);
        surface.fill(untouched);
        ASSERT_EQ(zyprSurfFlatNormal_32f(normals.data(), rayTriangle.data(), surface, static_cast<int32_t>(count)), 0);
        ASSERT_TRUE(equalValues(surface, expectedFlat(normals, rayTriangle))) << count;
    }
}

TEST(SurfFlatNormal, IsTheSameAtEveryAlignment) {
    Random random(32);
    for (const size_t count : {16u, 19u}) {
        for (size_t array = 0; array <= 5; ++array) { // 5: all aligned
            const auto at = [&](size_t number) { return array == number ? size_t{4} : size_t{16}; };
            GuardedArray<float> normals(3 * 20, at(0));
            for (float &value : normals) value = random.real(-1.0f, 1.0f);
            GuardedArray<int32_t> rayTriangle(count, at(1));
            fillTriangles(rayTriangle, random, 19);
            PlaneTriple surface(count, {at(2), at(3), at(4)});
            ASSERT_EQ(zyprSurfFlatNormal_32f(normals.data(), rayTriangle.data(), surface, static_cast<int32_t>(count)), 0);
            ASSERT_TRUE(equalValues(surface, expectedFlat(normals, rayTriangle))) << count << ' ' << array;
        }
    }
}

TEST(SurfFlatNormal, CopiesBitsAsTheyAre) {
    GuardedArray<float> normals(3);
    normals[0] = fromBits(0x7FA12345); // a signalling NaN
    normals[1] = fromBits(0x80000001);
    normals[2] = fromBits(0xFFC00001);
    for (const size_t count : {1u, 8u}) {
        GuardedArray<int32_t> rayTriangle(count);
        std::fill(rayTriangle.begin(), rayTriangle.end(), 0);
        PlaneTriple surface(count);
        ASSERT_EQ(zyprSurfFlatNormal_32f(normals.data(), rayTriangle.data(), surface, static_cast<int32_t>(count)), 0);
        EXPECT_EQ(bits(surface.x[0]), 0x7FA12345u);
        EXPECT_EQ(bits(surface.y[0]), 0x80000001u);
        EXPECT_EQ(bits(surface.z[0]), 0xFFC00001u);
    }
}

TEST(SurfFlatNormal, OfAMissIsThreeZerosAndReadsNoNormal) {
    for (const size_t count : {4u, 8u, 9u, 13u}) {
        GuardedArray<float> normals(3);
        normals.forbidAccess();
        GuardedArray<int32_t> rayTriangle(count);
        for (size_t i = 0; i < count; ++i) rayTriangle[i] = i % 2 ? -1 : -1000;
        PlaneTriple surface(count);
        surface.fill(untouched);
        ASSERT_EQ(zyprSurfFlatNormal_32f(normals.data(), rayTriangle.data(), surface, static_cast<int32_t>(count)), 0);
        for (size_t i = 0; i < count; ++i) EXPECT_TRUE(isPositiveZeros(surface.at(i)));
    }
}

TEST(SurfFlatNormal, ReadsOnlyTheHitTrianglesHoweverFarTheyLie) {
    const int32_t far = 1500000000;
    GuardedArray<float> normals(3);
    normals[0] = 1.0f;
    normals[1] = 2.0f;
    normals[2] = 3.0f;
    for (const size_t count : {8u, 5u}) {
        GuardedArray<int32_t> rayTriangle(count);
        for (size_t i = 0; i < count; ++i) rayTriangle[i] = i == 3 ? far : -1;
        PlaneTriple surface(count);
        const float *start = before(normals, int64_t{3} * far);
        ASSERT_EQ(zyprSurfFlatNormal_32f(start, rayTriangle.data(), surface, static_cast<int32_t>(count)), zypStsNoErr);
        EXPECT_EQ(surface.at(3), (Vector{1.0f, 2.0f, 3.0f}));
        EXPECT_TRUE(isPositiveZeros(surface.at(2)));
    }
}

TEST(SurfFlatNormal, ChecksItsFirstTwoPointersThenDoesNothingForACountBelowOne) {
    const float normals[3] = {};
    const int32_t rayTriangle[1] = {};
    PlaneTriple surface(1);
    surface.fill(untouched);
    for (const int32_t count : {1, 0, -1}) {
        EXPECT_EQ(zyprSurfFlatNormal_32f(nullptr, rayTriangle, surface, count), zypStsNullPtrErr);
        EXPECT_EQ(zyprSurfFlatNormal_32f(normals, nullptr, surface, count), zypStsNullPtrErr);
    }
    for (const int32_t count : {0, -1, -4, INT32_MIN}) {
        EXPECT_EQ(zyprSurfFlatNormal_32f(normals, rayTriangle, surface, count), zypStsNoErr);
        EXPECT_EQ(zyprSurfFlatNormal_32f(normals, rayTriangle, nullptr, count), zypStsNoErr);
    }
    EXPECT_EQ(surface.at(0), (Vector{untouched, untouched, untouched}));
}

// ---- Smooth normals -----------------------------------------------------------------------------------------------------

namespace {

constexpr size_t smoothArrays = 8;

struct SmoothCall {
    static constexpr int32_t vertexCount = 15, triangleCount = 20;

    explicit SmoothCall(size_t count, int32_t stride = 3)
        : indexStride(stride), vertexNormals(3 * vertexCount), indices(indexCount(stride)), rayTriangle(count), u(count),
          v(count), surface(count) {}
    // Array k of the eight lies misalignment[k] bytes past a multiple of 64.
    SmoothCall(size_t count, int32_t stride, const std::array<size_t, smoothArrays> &m)
        : indexStride(stride), vertexNormals(3 * vertexCount, m[0]), indices(indexCount(stride), m[1]),
          rayTriangle(count, m[2]), u(count, m[3]), v(count, m[4]), surface(count, {m[5], m[6], m[7]}) {}
    static size_t indexCount(int32_t stride) { return static_cast<size_t>(stride * (triangleCount - 1) + 3); }

    void fill(Random &random) {
        for (float &value : vertexNormals) value = random.real(-1.0f, 1.0f);
        for (int32_t &index : indices) index = random.integer(0, vertexCount - 1);
        indices[indices.size() - 1] = vertexCount - 1;
        fillTriangles(rayTriangle, random, triangleCount - 1);
        for (size_t i = 0; i < u.size(); ++i) {
            u[i] = random.real(0.0f, 1.0f);
            v[i] = random.real(0.0f, 1.0f - u[i]);
        }
    }
    // All rays hit triangle 0, of vertices 0, 1, 2, at P0, P1 or P2.
    void aimAtCorner(int corner, const Vector &normal) {
        std::fill(vertexNormals.begin(), vertexNormals.end(), 0.5f);
        for (size_t k = 0; k < 3; ++k) {
            indices[k] = static_cast<int32_t>(k);
            vertexNormals[static_cast<size_t>(corner) * 3 + k] = normal[k];
        }
        std::fill(rayTriangle.begin(), rayTriangle.end(), 0);
        std::fill(u.begin(), u.end(), corner == 0 ? 1.0f : 0.0f);
        std::fill(v.begin(), v.end(), corner == 1 ? 1.0f : 0.0f);
    }
    bool byEstimate() {
        const auto aligned = [](const void *p) { return reinterpret_cast<uintptr_t>(p) % 16 == 0; };
        return rayTriangle.size() % 4 == 0 && aligned(vertexNormals.data()) && aligned(indices.data()) &&
               aligned(rayTriangle.data()) && aligned(u.data()) && aligned(v.data()) && aligned(surface.x.data()) &&
               aligned(surface.y.data()) && aligned(surface.z.data());
    }
    zypStatus run() {
        const float *bary[2] = {u.data(), v.data()};
        return zyprSurfSmoothNormal_32f(vertexNormals.data(), indices.data(), rayTriangle.data(), bary, surface,
                                        static_cast<int32_t>(rayTriangle.size()), indexStride);
    }
    void expectModel() {
        ExpectedTriple expected(rayTriangle.size());
        for (size_t i = 0; i < rayTriangle.size(); ++i) {
            if (rayTriangle[i] < 0) continue;
            const auto normal = [&](int64_t k) {
                return vertexNormals.data() + 3 * indices[static_cast<size_t>(int64_t{rayTriangle[i]} * indexStride + k)];
            };
            expected.set(i, model::smoothNormal(normal(0), normal(1), normal(2), u[i], v[i], byEstimate()));
        }
        surface.fill(untouched);
        ASSERT_EQ(run(), zypStsNoErr);
        ASSERT_TRUE(equalValues(surface, expected)) << "count " << rayTriangle.size() << ", by estimate " << byEstimate();
    }

    int32_t indexStride;
    GuardedArray<float> vertexNormals;
    GuardedArray<int32_t> indices, rayTriangle;
    GuardedArray<float> u, v;
    PlaneTriple surface;
};

std::array<size_t, smoothArrays> alignedExcept(size_t array) {
    std::array<size_t, smoothArrays> misalignment;
    misalignment.fill(16);
    if (array < smoothArrays) misalignment[array] = 4;
    return misalignment;
}
constexpr size_t noArray = smoothArrays;

} // namespace

TEST(SurfSmoothNormal, FollowsTheModelAtEveryCountAndStride) {
    Random random(41);
    for (size_t count = 1; count <= 70; ++count) {
        SmoothCall call(count, random.integer(1, 6));
        call.fill(random);
        call.expectModel();
        SmoothCall aligned(count, random.integer(1, 6), alignedExcept(noArray));
        aligned.fill(random);
        aligned.expectModel();
    }
}

TEST(SurfSmoothNormal, DividesTrulyWhicheverArrayIsMisaligned) {
    Random random(42);
    for (size_t array = 0; array <= smoothArrays; ++array) {
        for (const size_t by : {4u, 8u, 12u, 20u}) {
            auto misalignment = alignedExcept(array);
            if (array < smoothArrays) misalignment[array] = by;
            SmoothCall call(40, 4, misalignment);
            ASSERT_EQ(call.byEstimate(), array == noArray);
            call.fill(random);
            call.expectModel();
        }
    }
}

TEST(SurfSmoothNormal, TheTwoFormsDifferInTheLastBitsOnly) {
    Random random(43);
    SmoothCall aligned(400, 4, alignedExcept(noArray)), misaligned(400, 4, alignedExcept(2));
    Random same(43);
    aligned.fill(random);
    misaligned.fill(same);
    ASSERT_EQ(aligned.run(), zypStsNoErr);
    ASSERT_EQ(misaligned.run(), zypStsNoErr);
    bool different = false;
    for (size_t i = 0; i < 400; ++i) {
        for (size_t a = 0; a < 3; ++a) {
            EXPECT_NEAR(aligned.surface.at(i)[a], misaligned.surface.at(i)[a], 2e-6f);
            different |= aligned.surface.at(i)[a] != misaligned.surface.at(i)[a];
        }
    }
    EXPECT_TRUE(different);
}

TEST(SurfSmoothNormal, TakesSpecialValuesThroughTheSameArithmetic) {
    Random random(44);
    for (const size_t count : {400u, 403u}) {
        for (const size_t array : {noArray, size_t{0}}) {
            SmoothCall call(count, 3, alignedExcept(array));
            call.fill(random);
            for (size_t i = 0; i < call.vertexNormals.size(); i += 2)
                call.vertexNormals[i] = specialFloats()[(i / 2) % specialFloats().size()];
            for (size_t i = 0; i < count; ++i) {
                if (i % 3 == 0) call.u[i] = specialFloats()[(i / 3) % specialFloats().size()];
                if (i % 5 == 0) call.v[i] = specialFloats()[(i / 5) % specialFloats().size()];
            }
            call.expectModel();
        }
    }
}

TEST(SurfSmoothNormal, AtACornerIsTheUnitVectorAlongItsNormal) {
    for (const size_t array : {noArray, size_t{0}}) {
        for (int corner = 0; corner < 3; ++corner) {
            SmoothCall call(8, 3, alignedExcept(array));
            call.aimAtCorner(corner, {0.0f, -3.0f, 4.0f});
            ASSERT_EQ(call.run(), zypStsNoErr);
            EXPECT_EQ(call.surface.x[0], 0.0f);
            EXPECT_NEAR(call.surface.y[0], -0.6f, 1e-6f);
            EXPECT_NEAR(call.surface.z[0], 0.8f, 1e-6f);
            if (array != noArray) {
                EXPECT_EQ(call.surface.at(0), (Vector{0.0f, -3.0f / 5.0f, 4.0f / 5.0f}));
            }
        }
    }
}

TEST(SurfSmoothNormal, WhereVertexNormalsCancelIsZero) {
    for (const size_t array : {noArray, size_t{0}}) {
        SmoothCall call(8, 3, alignedExcept(array));
        call.aimAtCorner(0, {1.0f, 2.0f, -3.0f});
        for (size_t k = 0; k < 3; ++k) call.vertexNormals[3 + k] = -call.vertexNormals[k];
        std::fill(call.u.begin(), call.u.end(), 0.5f);
        std::fill(call.v.begin(), call.v.end(), 0.5f);
        ASSERT_EQ(call.run(), zypStsNoErr);
        for (size_t i = 0; i < 8; ++i) EXPECT_EQ(call.surface.at(i), (Vector{0.0f, 0.0f, 0.0f}));
    }
}

TEST(SurfSmoothNormal, BelowTheThresholdTheEstimatingFormKeepsTheSignsOfZeros) {
    const Vector tiny = {0x1p-14f, -0x1p-14f, 0x1p-20f};
    SmoothCall byEstimate(8, 3, alignedExcept(noArray)), byDivision(8, 3, alignedExcept(0));
    byEstimate.aimAtCorner(0, tiny);
    byDivision.aimAtCorner(0, tiny);
    ASSERT_EQ(byEstimate.run(), zypStsNoErr);
    ASSERT_EQ(byDivision.run(), zypStsNoErr);
    EXPECT_EQ(bits(byEstimate.surface.x[0]), 0u);
    EXPECT_EQ(bits(byEstimate.surface.y[0]), 0x80000000u);
    EXPECT_EQ(bits(byEstimate.surface.z[0]), 0u);
    EXPECT_TRUE(isPositiveZeros(byDivision.surface.at(0)));
}

TEST(SurfSmoothNormal, AtTheThresholdItselfOnlyTheTrueFormGivesANormal) {
    const Vector atThreshold = {0x1p-12f, 0x1p-12f, 0.0f}; // its square is 2^-23
    SmoothCall byEstimate(8, 3, alignedExcept(noArray)), byDivision(8, 3, alignedExcept(0));
    byEstimate.aimAtCorner(0, atThreshold);
    byDivision.aimAtCorner(0, atThreshold);
    ASSERT_EQ(byEstimate.run(), zypStsNoErr);
    ASSERT_EQ(byDivision.run(), zypStsNoErr);
    EXPECT_TRUE(isPositiveZeros(byEstimate.surface.at(0)));
    EXPECT_NEAR(byDivision.surface.x[0], 0.70710678f, 1e-6f);
}

TEST(SurfSmoothNormal, OfMissesIsZeroAndReadsNeitherIndicesNorNormals) {
    for (const size_t count : {4u, 8u, 12u, 13u}) {
        for (const size_t array : {noArray, size_t{0}}) {
            SmoothCall call(count, 3, alignedExcept(array));
            Random random(45);
            call.fill(random);
            std::fill(call.rayTriangle.begin(), call.rayTriangle.end(), -1);
            std::fill(call.u.begin(), call.u.end(), std::numeric_limits<float>::quiet_NaN());
            call.vertexNormals.forbidAccess();
            call.indices.forbidAccess();
            ASSERT_EQ(call.run(), zypStsNoErr);
            for (size_t i = 0; i < count; ++i) EXPECT_TRUE(isPositiveZeros(call.surface.at(i)));
        }
    }
}

TEST(SurfSmoothNormal, OfAMissAmongHitsIsZeroWhateverItsWeights) {
    for (const size_t array : {noArray, size_t{0}}) {
        SmoothCall call(8, 3, alignedExcept(array));
        call.aimAtCorner(0, {1.0f, 1.0f, 1.0f});
        for (const size_t miss : {1u, 4u, 7u}) {
            call.rayTriangle[miss] = -1;
            call.u[miss] = std::numeric_limits<float>::quiet_NaN();
            call.v[miss] = -std::numeric_limits<float>::infinity();
        }
        ASSERT_EQ(call.run(), zypStsNoErr);
        for (size_t i = 0; i < 8; ++i) EXPECT_EQ(isPositiveZeros(call.surface.at(i)), call.rayTriangle[i] < 0) << i;
    }
}

TEST(SurfSmoothNormal, ReadsOnlyTheHitTrianglesHoweverFarTheyLie) {
    const int32_t farTriangle = 2000000, stride = 3000, farVertex = 1500000000;
    GuardedArray<float> normals(9);
    GuardedArray<int32_t> indices(3);
    for (size_t k = 0; k < 9; ++k) normals[k] = static_cast<float>(k);
    for (int32_t k = 0; k < 3; ++k) indices[static_cast<size_t>(k)] = farVertex + k;
    for (const size_t count : {8u, 5u}) {
        GuardedArray<int32_t> rayTriangle(count);
        for (size_t i = 0; i < count; ++i) rayTriangle[i] = i == 3 ? farTriangle : -1;
        GuardedArray<float> weight(count);
        std::fill(weight.begin(), weight.end(), 0.0f);
        PlaneTriple surface(count);
        const float *bary[2] = {weight.data(), weight.data()};
        ASSERT_EQ(zyprSurfSmoothNormal_32f(before(normals, int64_t{3} * farVertex),
                                           before(indices, int64_t{farTriangle} * stride), rayTriangle.data(), bary, surface,
                                           static_cast<int32_t>(count), stride),
                  zypStsNoErr);
        const float length = std::sqrt(6.0f * 6.0f + 7.0f * 7.0f + 8.0f * 8.0f);
        for (size_t a = 0; a < 3; ++a) EXPECT_NEAR(surface.at(3)[a], static_cast<float>(6 + a) / length, 1e-6f);
        EXPECT_TRUE(isPositiveZeros(surface.at(2)));
    }
}

TEST(SurfSmoothNormal, WalksTheIndicesBackwardsWithANegativeStride) {
    Random random(46);
    SmoothCall forwards(12), backwards(12);
    forwards.fill(random);
    Random same(46);
    backwards.fill(same);
    ASSERT_EQ(forwards.run(), zypStsNoErr);
    constexpr int32_t last = SmoothCall::triangleCount - 1;
    for (int32_t &triangle : backwards.rayTriangle)
        if (triangle >= 0) triangle = last - triangle;
    const float *bary[2] = {backwards.u.data(), backwards.v.data()};
    ASSERT_EQ(zyprSurfSmoothNormal_32f(backwards.vertexNormals.data(), backwards.indices.data() + 3 * last,
                                       backwards.rayTriangle.data(), bary, backwards.surface, 12, -3),
              zypStsNoErr);
    for (size_t i = 0; i < 12; ++i)
        for (size_t a = 0; a < 3; ++a) EXPECT_NEAR(backwards.surface.at(i)[a], forwards.surface.at(i)[a], 2e-6f);
}

TEST(SurfSmoothNormal, RefusesEachNullPointerThenDoesNothingForACountBelowOne) {
    SmoothCall call(4);
    Random random(47);
    call.fill(random);
    call.surface.fill(untouched);
    const float *bary[2] = {call.u.data(), call.v.data()};
    const float *normals = call.vertexNormals.data();
    const int32_t *indices = call.indices.data(), *triangles = call.rayTriangle.data();
    for (const int32_t count : {4, 0, -1}) {
        EXPECT_EQ(zyprSurfSmoothNormal_32f(nullptr, indices, triangles, bary, call.surface, count, 3), zypStsNullPtrErr);
        EXPECT_EQ(zyprSurfSmoothNormal_32f(normals, nullptr, triangles, bary, call.surface, count, 3), zypStsNullPtrErr);
        EXPECT_EQ(zyprSurfSmoothNormal_32f(normals, indices, nullptr, bary, call.surface, count, 3), zypStsNullPtrErr);
        EXPECT_EQ(zyprSurfSmoothNormal_32f(normals, indices, triangles, nullptr, call.surface, count, 3), zypStsNullPtrErr);
        EXPECT_EQ(zyprSurfSmoothNormal_32f(normals, indices, triangles, bary, nullptr, count, 3), zypStsNullPtrErr);
    }
    for (const int32_t count : {0, -1, -4, INT32_MIN})
        EXPECT_EQ(zyprSurfSmoothNormal_32f(normals, indices, triangles, bary, call.surface, count, 3), zypStsNoErr);
    EXPECT_EQ(call.surface.x.values(), std::vector<float>(4, untouched));
}
