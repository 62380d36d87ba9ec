#include <gtest/gtest.h>

#include <array>

#include "support/core_probe.h"
#include "volume/sampling_model.h"

namespace zypr::test {
namespace {

using Matrix = std::array<double, 12>;
constexpr Matrix identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

zypStatus warp(const uint8_t *const *s, const ZyprVolumeExtent *se, int32_t ss, ZyprVoxelCuboid *r, uint8_t *const *d,
               int32_t ds, const ZyprVoxelCuboid *box, const double *m, int32_t mode) {
    return zyprWarpAffine_8u_C1PV(s, se, ss, r, d, ds, box, m, mode);
}
zypStatus warp(const uint16_t *const *s, const ZyprVolumeExtent *se, int32_t ss, ZyprVoxelCuboid *r, uint16_t *const *d,
               int32_t ds, const ZyprVoxelCuboid *box, const double *m, int32_t mode) {
    return zyprWarpAffine_16u_C1PV(s, se, ss, r, d, ds, box, m, mode);
}
zypStatus warp(const float *const *s, const ZyprVolumeExtent *se, int32_t ss, ZyprVoxelCuboid *r, float *const *d, int32_t ds,
               const ZyprVoxelCuboid *box, const double *m, int32_t mode) {
    return zyprWarpAffine_32f_C1PV(s, se, ss, r, d, ds, box, m, mode);
}

// The inverse as the library forms it where roundings matter little: the tests' positions are compared with a tolerance, or the
// matrices are such that every inverse is exact.
Matrix inverseOf(const Matrix &c) {
    const auto fma2 = [](double a, double d, double b, double e) { return std::fma(a, d, -(b * e)); };
    const double x = fma2(c[5], c[10], c[6], c[9]), y = fma2(c[4], c[10], c[6], c[8]), z = fma2(c[4], c[9], c[5], c[8]);
    const double det = std::fma(-c[1], y, std::fma(c[0], x, c[2] * z)), r = 1.0 / det;
    Matrix i{};
    i[0] = x * r, i[4] = -y * r, i[8] = z * r;
    i[1] = fma2(c[2], c[9], c[1], c[10]) * r, i[2] = fma2(c[1], c[6], c[2], c[5]) * r;
    i[5] = fma2(c[0], c[10], c[2], c[8]) * r, i[6] = fma2(c[2], c[4], c[0], c[6]) * r;
    i[9] = fma2(c[1], c[8], c[0], c[9]) * r, i[10] = fma2(c[0], c[5], c[1], c[4]) * r;
    for (size_t k = 0; k < 12; k += 4) i[k + 3] = -(i[k] * c[3] + i[k + 1] * c[7] + i[k + 2] * c[11]);
    return i;
}

template <class Sample> struct Warp {
    PlaneArray<Sample> src, dst;
    ZyprVoxelCuboid region, box;

    Warp(PlaneArray<Sample> source, ZyprVolumeExtent dstExtent, int32_t gap = 0)
        : src(std::move(source)),
          dst(dstExtent, gap), region{0, 0, 0, src.extent().width, src.extent().height, src.extent().depth},
          box{0, 0, 0, dstExtent.width, dstExtent.height, dstExtent.depth} {
        clear();
    }
    void clear() {
        dst.fill([](int, int, int) { return 77; });
    }
    zypStatus run(const Matrix &m, int32_t mode) {
        return warp(src.constPointers(), &src.extent(), src.rowStep(), &region, dst.pointers(), dst.rowStep(), &box, m.data(),
                    mode);
    }

    // Walks the box as threads that divide its planes do, position by position.
    testing::AssertionResult isAsModelled(const Matrix &m, int32_t mode, const ZyprVoxelCuboid &asked,
                                          int32_t threads = 1) const {
        const Matrix i = inverseOf(m);
        const ZyprVoxelCuboid clipped = modelTrimmed(asked, src.extent());
        PlaneArray<Sample> untouched(dst.extent());
        std::vector<bool> visited(static_cast<size_t>(dst.extent().width * dst.extent().height * dst.extent().depth));
        const auto check = [&](int32_t x, int32_t y, int32_t z, const std::optional<Expected> &expected) {
            visited[static_cast<size_t>((z * dst.extent().height + y) * dst.extent().width + x)] = true;
            return agrees(dst.at(x, y, z), expected.value_or(Expected{77, 0, Ending::Copied}));
        };
        const int32_t chunk = box.depth / threads;
        for (int32_t t = 0; t < threads; ++t) {
            const int32_t firstPlane = box.z + t * chunk;
            const int32_t planes = t == threads - 1 ? chunk + box.depth % threads : chunk;
            double plane[3];
            for (size_t k = 0; k < 3; ++k)
                plane[k] = std::fma(i[4 * k + 2], firstPlane, std::fma(i[4 * k + 1], box.y, i[4 * k + 3]));
            for (int32_t z = firstPlane; z < firstPlane + planes; ++z) {
                double row[3] = {plane[0], plane[1], plane[2]};
                for (int32_t y = box.y; y < box.y + box.height; ++y) {
                    double p[3];
                    for (size_t k = 0; k < 3; ++k) {
                        const double offset = box.x * i[4 * k];
                        p[k] = row[k] + offset;
                    }
                    for (int32_t x = box.x; x < box.x + box.width; ++x) {
                        const auto expected = modelVoxel(src, clipped, modelMode(mode, src.extent()), p[0], p[1], p[2]);
                        if (!check(x, y, z, expected))
                            return testing::AssertionFailure()
                                   << "mode " << mode << " voxel " << x << " " << y << " " << z << " from " << p[0] << " "
                                   << p[1] << " " << p[2] << " is " << +dst.at(x, y, z) << ", expected "
                                   << (expected ? expected->value : 77);
                        for (size_t k = 0; k < 3; ++k) p[k] += i[4 * k];
                    }
                    for (size_t k = 0; k < 3; ++k) row[k] += i[4 * k + 1];
                }
                for (size_t k = 0; k < 3; ++k) plane[k] += i[4 * k + 2];
            }
        }
        for (int32_t z = 0; z < dst.extent().depth; ++z)
            for (int32_t y = 0; y < dst.extent().height; ++y)
                for (int32_t x = 0; x < dst.extent().width; ++x)
                    if (!visited[static_cast<size_t>((z * dst.extent().height + y) * dst.extent().width + x)] &&
                        dst.at(x, y, z) != 77)
                        return testing::AssertionFailure() << "wrote outside the box: " << x << " " << y << " " << z;
        return testing::AssertionSuccess();
    }
};

Matrix randomMatrix(Random &random) {
    Matrix m;
    for (size_t k = 0; k < 12; ++k)
        m[k] = k % 5 == 0 ? random.real(0.5f, 2.0f) : k % 4 == 3 ? random.real(-3, 3) : random.real(-0.6f, 0.6f);
    return m;
}

template <class Sample> class WarpOf : public testing::Test {
protected:
    CoreProbeScope probe;
};
using Samples = testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(WarpOf, Samples);

TYPED_TEST(WarpOf, EveryModeAgreesWithTheSteppedModel) {
    Random random(64);
    for (int round = 0; round < 24; ++round) {
        const ZyprVolumeExtent srcExtent = {random.integer(2, 12), random.integer(2, 10), random.integer(2, 9)};
        Warp<TypeParam> w(randomVolume<TypeParam>(random, srcExtent, random.integer(0, 2)),
                          {random.integer(1, 21), random.integer(1, 9), random.integer(1, 7)}, random.integer(0, 3));
        const ZyprVolumeExtent d = w.dst.extent();
        w.box = {random.integer(0, d.width - 1), random.integer(0, d.height - 1), random.integer(0, d.depth - 1), 0, 0, 0};
        w.box.width = random.integer(1, d.width - w.box.x), w.box.height = random.integer(1, d.height - w.box.y);
        w.box.depth = random.integer(1, d.depth - w.box.z);
        if (round % 2 == 0)
            w.region = {random.integer(0, srcExtent.width - 1),
                        random.integer(0, srcExtent.height - 1),
                        random.integer(0, srcExtent.depth - 1),
                        random.integer(1, 9),
                        random.integer(1, 9),
                        random.integer(1, 9)};
        const ZyprVoxelCuboid asked = w.region;
        const Matrix m = randomMatrix(random);
        for (const int32_t mode : allModes) {
            w.region = asked;
            w.clear();
            EXPECT_EQ(w.run(m, mode), zypStsNoErr);
            ASSERT_TRUE(w.isAsModelled(m, mode, asked));
            EXPECT_TRUE(sameCuboid(w.region, modelTrimmed(asked, srcExtent))) << "the region is clipped in place";
            EXPECT_TRUE(w.dst.surroundingsIntact());
        }
    }
}

// A step of 0.1 is not exact, so positions that were formed afresh for each voxel, row, plane or part would round differently.
TYPED_TEST(WarpOf, PositionsAreSteppedByAdditionFromEachThreadsFirstPlane) {
    Random random(65);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {21, 21, 21}), {40, 18, 23});
    const Matrix m = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0};
    const Matrix tenth = {10.0 / 3, 0, 0, 0.1, 0, 10.0 / 7, 0, 0.7, 0, 0, 10.0 / 9, 0.3};
    const ZyprVoxelCuboid asked = w.region;
    for (const int32_t threads : {1, 2, 3, 5, 16}) {
        CoreProbe::threads = threads;
        for (const Matrix &matrix : {m, tenth, randomMatrix(random)}) {
            for (const int32_t mode : {1, 2, 6}) {
                w.clear();
                EXPECT_EQ(w.run(matrix, mode), zypStsNoErr);
                ASSERT_TRUE(w.isAsModelled(matrix, mode, asked, threads)) << threads << " threads";
            }
        }
    }
}

// Where a position comes to lie on a bound its last bit tells whether the voxel is written.
TYPED_TEST(WarpOf, RoundingsOfTheFirstPositionDecideOnTheBounds) {
    Random random(77);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {5, 5, 5}), {30, 8, 8});
    w.box = {0, 3, 3, 30, 5, 5};
    const auto isWritten = [&](int32_t x, int32_t y, int32_t z) { return w.dst.at(x, y, z) != 77; };
    w.src.fill([](int, int, int) { return 1; });
    // 3 x 0.1 - 0.30000000000000004 is below 0 in one step, and 0 in two.
    EXPECT_EQ(w.run({1, 0, 0, 0, 0, 10, 0, 3, 0, 0, 1, 0}, 1), zypStsNoErr);
    EXPECT_FALSE(isWritten(0, 3, 3));
    EXPECT_TRUE(isWritten(0, 4, 3));
    w.clear();
    EXPECT_EQ(w.run({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 10, 3}, 1), zypStsNoErr);
    EXPECT_FALSE(isWritten(0, 3, 3));
    EXPECT_TRUE(isWritten(0, 3, 4));
    // Along a row the product is rounded before it is added.
    w.box = {3, 0, 0, 27, 8, 8};
    w.clear();
    EXPECT_EQ(w.run({10, 0, 0, 3, 0, 1, 0, 0, 0, 0, 1, 0}, 1), zypStsNoErr);
    EXPECT_TRUE(isWritten(3, 0, 0));
    // 11 x (1 / 77) is above 1 / 7: seven steps of it leave the bound at 1.
    w.box.x = 0, w.box.width = 30, w.region = {0, 0, 0, 2, 5, 5};
    w.clear();
    EXPECT_EQ(w.run({7, 0, 0, 0, 0, 11, 0, 0, 0, 0, 1, 0}, 1), zypStsNoErr);
    EXPECT_TRUE(isWritten(6, 0, 0));
    EXPECT_FALSE(isWritten(7, 0, 0));
}

TYPED_TEST(WarpOf, ThreadsAreAskedForOnlyFromSixteenInEveryDirection) {
    Random random(9);
    for (const ZyprVolumeExtent e : {ZyprVolumeExtent{15, 16, 16}, {16, 15, 16}, {16, 16, 15}, {16, 16, 16}}) {
        Warp<TypeParam> w(randomVolume<TypeParam>(random, {4, 4, 4}), e);
        CoreProbe::threadQueries = 0;
        EXPECT_EQ(w.run(identity, 1), zypStsNoErr);
        EXPECT_EQ(CoreProbe::threadQueries > 0, e.width * e.height * e.depth == 4096);
    }
}

TYPED_TEST(WarpOf, TheIdentityAndPermutedAxesReproduceTheSource) {
    Random random(66);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {7, 9, 11}), {7, 9, 11});
    EXPECT_EQ(w.run(identity, 1), zypStsNoErr);
    EXPECT_TRUE(equalBits(w.dst.values(), w.src.values()));
    // x' = y, y' = x, z' = z: one value of the diagonal is enough.
    Warp<TypeParam> swapped(randomVolume<TypeParam>(random, {7, 9, 11}), {9, 7, 11});
    EXPECT_EQ(swapped.run({0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0}, 1), zypStsNoErr);
    for (int32_t z = 0; z < 11; ++z)
        for (int32_t y = 0; y < 7; ++y)
            for (int32_t x = 0; x < 9; ++x) EXPECT_EQ(swapped.dst.at(x, y, z), swapped.src.at(y, x, z));
}

// Just below a voxel the integer is that of the voxel before, while the position as a float is the voxel's.
TYPED_TEST(WarpOf, APositionThatRoundsUpToTheNextVoxelHasTheFractionOne) {
    Random random(76);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {19, 9, 9}), {19, 9, 9});
    const ZyprVoxelCuboid asked = w.region;
    const Matrix m = {1, 0, 0, 1e-12, 0, 1, 0, 1e-12, 0, 0, 1, 1e-12};
    for (const int32_t mode : allModes) {
        w.clear();
        EXPECT_EQ(w.run(m, mode), zypStsNoErr);
        EXPECT_TRUE(w.isAsModelled(m, mode, asked));
    }
}

TYPED_TEST(WarpOf, AZeroDiagonalIsRefusedEvenForAPurePermutationOfAxes) {
    Random random(67);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {5, 5, 5}), {5, 5, 5});
    EXPECT_EQ(w.run({0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0}, 1), zypStsSingularTransformErr);
    EXPECT_EQ(w.run({1e-100, 1, 0, 0, 0, 1e-100, 1, 0, 1, 0, -1e-100, 0}, 1), zypStsSingularTransformErr);
    EXPECT_EQ(w.run({2e-100, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0}, 1), zypStsNoErr);
}

TYPED_TEST(WarpOf, ATranslationLeavesVoxelsBeyondTheSourceUnwritten) {
    Random random(68);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {6, 4, 4}), {12, 4, 4});
    EXPECT_EQ(w.run({1, 0, 0, 2, 0, 1, 0, 0, 0, 0, 1, 0}, 1), zypStsNoErr);
    for (int32_t x = 0; x < 12; ++x) EXPECT_EQ(w.dst.at(x, 1, 2), x < 2 || x > 7 ? TypeParam(77) : w.src.at(x - 2, 1, 2));
}

TYPED_TEST(WarpOf, MinorsOfTheLastTwoRowsDecideTheFirstSingularTest) {
    Random random(69);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {5, 5, 5}), {2, 2, 2});
    // Rows 1 and 2 proportional: all three minors vanish.
    EXPECT_EQ(w.run({1, 0, 0, 0, 0, 1, 2, 0, 0, 2, 4, 0}, 3), zypStsSingularTransformErr) << "before the mode is looked at";
    // The others vanish exactly, so the first decides: p and q cancel, or p is nothing and q almost. Mode 3 shows what passes.
    const auto firstMinor = [&](double c11, double c12, double c21, double c22) {
        return w.run({1, 0, 0, 0, 0, c11, c12, 0, 0, c21, c22, 0}, 3);
    };
    EXPECT_EQ(firstMinor(1, 1, 1 - 5e-11, 1), zypStsSingularTransformErr);
    EXPECT_EQ(firstMinor(1, 1, 1 - 2e-10, 1), zypStsInterpolationModeErr);
    EXPECT_EQ(firstMinor(1e3, 1e3, 1e3 * (1 - 5e-11), 1e3), zypStsSingularTransformErr);
    EXPECT_EQ(firstMinor(1e-6, 0, 0, 1e-6), zypStsInterpolationModeErr);
    EXPECT_EQ(firstMinor(1e-125, 1, 5e-11, 1e-125), zypStsSingularTransformErr);
    EXPECT_EQ(firstMinor(1e-125, 1, 2e-10, 1e-125), zypStsInterpolationModeErr);
    EXPECT_EQ(firstMinor(1e-75, 1, 5e-11, 1e-75), zypStsInterpolationModeErr);
    // p of the first minor is tiny and q is not.
    EXPECT_EQ(w.run({1, 0, 0, 0, 0, 0, 1, 0, 0, 1, 1, 0}, 1), zypStsNoErr);
    // Rows 0 and 1 proportional: only the determinant tells, after the mode and the region.
    EXPECT_EQ(w.run({1, 2, 0, 0, 1, 2, 0, 0, 0, 0, 1, 0}, 3), zypStsInterpolationModeErr);
    w.region.x = 5;
    EXPECT_EQ(w.run({1, 2, 0, 0, 1, 2, 0, 0, 0, 0, 1, 0}, 1), zypStsVolumeRoiOutsideWrn);
    w.region = {0, 0, 0, 9, 9, 9};
    EXPECT_EQ(w.run({1, 2, 0, 0, 1, 2, 0, 0, 0, 0, 1, 0}, 1), zypStsSingularTransformErr);
    EXPECT_EQ(w.region.width, 5) << "a clipped region stays clipped";
}

TYPED_TEST(WarpOf, ASmallDeterminantIsRefused) {
    Random random(70);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {5, 5, 5}), {2, 2, 2});
    EXPECT_EQ(w.run({5e-11, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}, 1), zypStsSingularTransformErr);
    EXPECT_EQ(w.run({-5e-11, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}, 1), zypStsSingularTransformErr);
    for (const double sign : {1.0, -1.0}) {
        EXPECT_EQ(w.run({sign * 0.99e-10, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}, 1), zypStsSingularTransformErr);
        EXPECT_EQ(w.run({sign * 1e-10, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}, 1), zypStsNoErr);
    }
}

TYPED_TEST(WarpOf, WildTransformsTouchNoForeignMemory) {
    Random random(71);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {5, 5, 5}), {13, 3, 3});
    const double wild[] = {NAN, INFINITY, -INFINITY, 1e300, -1e300, 1e30, 4e9, 1e-30};
    for (const int32_t mode : allModes) {
        for (const double value : wild) {
            for (size_t k = 0; k < 12; ++k) {
                Matrix m = identity;
                m[k] = value;
                w.run(m, mode);
                EXPECT_TRUE(w.dst.surroundingsIntact());
            }
        }
    }
}

TYPED_TEST(WarpOf, ARegionOneVoxelWideAtIndexZeroReadsNothingBeforeIt) {
    Random random(72);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {6, 6, 6}), {9, 6, 6});
    for (int axes = 1; axes < 8; ++axes) {
        w.region = {0, 0, 0, axes & 1 ? 1 : 6, axes & 2 ? 1 : 6, axes & 4 ? 1 : 6};
        const ZyprVoxelCuboid asked = w.region;
        w.clear();
        EXPECT_EQ(w.run(identity, 2), zypStsNoErr);
        EXPECT_TRUE(w.isAsModelled(identity, 2, asked));
    }
}

TYPED_TEST(WarpOf, ChecksComeInTheirOrder) {
    Random random(73);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {5, 5, 5}), {3, 3, 3});
    const Matrix singular{};
    const ZyprVoxelCuboid whole = {0, 0, 0, 3, 3, 3};
    const auto call = [&](bool src, bool dst, ZyprVolumeExtent se, ZyprVoxelCuboid region, ZyprVoxelCuboid box, const Matrix &m,
                          int32_t mode) {
        return warp(src ? w.src.constPointers() : nullptr, &se, w.src.rowStep(), &region, dst ? w.dst.pointers() : nullptr,
                    w.dst.rowStep(), &box, m.data(), mode);
    };
    const ZyprVolumeExtent e = w.src.extent();
    const auto before = w.dst.values();
    EXPECT_EQ(call(false, true, {0, 0, 0}, whole, whole, singular, 3), zypStsNullPtrErr);
    EXPECT_EQ(call(true, false, {0, 0, 0}, whole, whole, singular, 3), zypStsNullPtrErr);
    for (const ZyprVolumeExtent bad : {ZyprVolumeExtent{0, 5, 5}, {5, -1, 5}, {5, 5, 0}})
        EXPECT_EQ(call(true, true, bad, whole, whole, singular, 3), zypStsSizeErr);
    for (const ZyprVoxelCuboid bad : {ZyprVoxelCuboid{-1, 0, 0, 1, 1, 1},
                                      {0, -1, 0, 1, 1, 1},
                                      {0, 0, -1, 1, 1, 1},
                                      {0, 0, 0, 0, 1, 1},
                                      {0, 0, 0, 1, 0, 1},
                                      {0, 0, 0, 1, 1, 0}}) {
        EXPECT_EQ(call(true, true, e, bad, whole, singular, 3), zypStsSizeErr);
        EXPECT_EQ(call(true, true, e, whole, bad, singular, 3), zypStsSizeErr);
    }
    EXPECT_EQ(call(true, true, e, {5, 0, 0, 1, 1, 1}, whole, singular, 3), zypStsSingularTransformErr);
    for (const int32_t mode : {0, 3, 8, 16, -1, INT32_MIN})
        EXPECT_EQ(call(true, true, e, {5, 0, 0, 1, 1, 1}, whole, identity, mode), zypStsInterpolationModeErr);
    EXPECT_EQ(call(true, true, e, {5, 0, 0, 1, 1, 1}, whole, identity, 1), zypStsVolumeRoiOutsideWrn);
    EXPECT_TRUE(equalBits(w.dst.values(), before));
}

// ---- A source of one plane ----------------------------------------------------------------------------------------------

TYPED_TEST(WarpOf, OfOnePlaneTakesTheThirdColumnAsTranslationAndIgnoresTheFourth) {
    Random random(74);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {6, 6, 1}), {10, 10, 2});
    w.region = {0, 0, 3, 50, 50, 9};
    w.box.z = 1;
    EXPECT_EQ(w.run({1, 0, 2, 100, 0, 1, 3, -50, 0, 0, 1, 7}, 1), zypStsNoErr);
    for (int32_t y = 0; y < 10; ++y)
        for (int32_t x = 0; x < 10; ++x)
            EXPECT_EQ(w.dst.at(x, y, 0), x >= 2 && x < 8 && y >= 3 && y < 9 ? w.src.at(x - 2, y - 3, 0) : TypeParam(77));
    for (const TypeParam sample : w.dst.plane(1)) EXPECT_EQ(sample, 77) << "only plane 0 is written";
    EXPECT_EQ(w.region.width, 50) << "the caller's region stays unclipped";
}

TYPED_TEST(WarpOf, OfOnePlaneEndsInThePlanesOwnStatuses) {
    Random random(75);
    Warp<TypeParam> w(randomVolume<TypeParam>(random, {6, 6, 1}), {6, 6, 1});
    EXPECT_EQ(w.run(identity, 5), zypStsInterpolationModeErr);
    EXPECT_EQ(w.run(identity, 7), zypStsInterpolationModeErr);
    EXPECT_EQ(w.run(identity, 3), zypStsInterpolationModeErr);
    EXPECT_EQ(w.run({1, 0, 100, 0, 0, 1, 0, 0, 0, 0, 1, 0}, 1), zypStsNoQuadOverlapWrn);
    w.region.x = 6;
    EXPECT_EQ(w.run(identity, 1), zypStsPlaneRoiOutsideWrn);
    w.region = {5, 5, 0, 1, 1, 1};
    EXPECT_EQ(w.run(identity, 1), zypStsRoiTooSmallErr);
}

// ---- Size ---------------------------------------------------------------------------------------------------------------

TEST(WarpAffineGetBufSize, IsAlwaysZeroAndChecksInOrder) {
    const ZyprVoxelCuboid good = {0, 0, 0, 5, 6, 7};
    for (const int32_t mode : allModes) {
        int32_t size = 5;
        EXPECT_EQ(zyprWarpAffineGetBufSize(&good, &good, 1, mode, &size), zypStsNoErr);
        EXPECT_EQ(size, 0);
    }
    int32_t size = 5;
    const ZyprVoxelCuboid bad = {0, 0, 0, 0, 1, 1};
    EXPECT_EQ(zyprWarpAffineGetBufSize(&bad, &bad, 2, 3, nullptr), zypStsNullPtrErr);
    for (const ZyprVoxelCuboid wrong : {ZyprVoxelCuboid{-1, 0, 0, 1, 1, 1},
                                        {0, -1, 0, 1, 1, 1},
                                        {0, 0, -1, 1, 1, 1},
                                        {0, 0, 0, 0, 1, 1},
                                        {0, 0, 0, 1, 0, 1},
                                        {0, 0, 0, 1, 1, 0}}) {
        EXPECT_EQ(zyprWarpAffineGetBufSize(&wrong, &good, 2, 3, &size), zypStsSizeErr);
        EXPECT_EQ(zyprWarpAffineGetBufSize(&good, &wrong, 2, 3, &size), zypStsSizeErr);
    }
    EXPECT_EQ(zyprWarpAffineGetBufSize(&good, &good, 3, 3, &size), zypStsChannelCountErr);
    EXPECT_EQ(zyprWarpAffineGetBufSize(&good, &good, 0, 3, &size), zypStsChannelCountErr);
    EXPECT_EQ(zyprWarpAffineGetBufSize(&good, &good, 1, 3, &size), zypStsInterpolationModeErr);
    EXPECT_EQ(size, 5);
}

// ---- Conversions --------------------------------------------------------------------------------------------------------

TEST(Warp32f, EdgeVoxelsOfCubicModesKeepTheirFractions) {
    CoreProbeScope probe;
    PlaneArray<float> src({8, 8, 8});
    src.fill([](int, int, int) { return 0.75f; });
    Warp<float> w(std::move(src), {8, 8, 8});
    EXPECT_EQ(w.run(identity, 6), zypStsNoErr);
    EXPECT_EQ(w.dst.at(0, 0, 0), 0.75f);
    EXPECT_EQ(w.dst.at(7, 3, 4), 0.75f);
}

} // namespace
} // namespace zypr::test
