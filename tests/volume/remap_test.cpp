#include <gtest/gtest.h>

#include "support/core_probe.h"
#include "volume/sampling_model.h"

namespace zypr::test {
namespace {

zypStatus remap(const uint8_t *const *s, const ZyprVolumeExtent *se, int32_t ss, ZyprVoxelCuboid *r, const float *const *x,
                const float *const *y, const float *const *z, int32_t ms, uint8_t *const *d, int32_t ds,
                const ZyprVolumeExtent *de, int32_t mode) {
    return zyprRemap_8u_C1PV(s, se, ss, r, x, y, z, ms, d, ds, de, mode);
}
zypStatus remap(const uint16_t *const *s, const ZyprVolumeExtent *se, int32_t ss, ZyprVoxelCuboid *r, const float *const *x,
                const float *const *y, const float *const *z, int32_t ms, uint16_t *const *d, int32_t ds,
                const ZyprVolumeExtent *de, int32_t mode) {
    return zyprRemap_16u_C1PV(s, se, ss, r, x, y, z, ms, d, ds, de, mode);
}
zypStatus remap(const float *const *s, const ZyprVolumeExtent *se, int32_t ss, ZyprVoxelCuboid *r, const float *const *x,
                const float *const *y, const float *const *z, int32_t ms, float *const *d, int32_t ds,
                const ZyprVolumeExtent *de, int32_t mode) {
    return zyprRemap_32f_C1PV(s, se, ss, r, x, y, z, ms, d, ds, de, mode);
}

// A source, three maps and a destination that holds 77.
template <class Sample> struct Remap {
    PlaneArray<Sample> src;
    PlaneArray<float> x, y, z;
    PlaneArray<Sample> dst;
    ZyprVoxelCuboid region;

    Remap(PlaneArray<Sample> source, ZyprVolumeExtent dstExtent, int32_t gap = 0)
        : src(std::move(source)), x(dstExtent, gap), y(dstExtent, gap), z(dstExtent, gap),
          dst(dstExtent, gap), region{0, 0, 0, src.extent().width, src.extent().height, src.extent().depth} {
        dst.fill([](int, int, int) { return 77; });
    }
    zypStatus run(int32_t mode) {
        return remap(src.constPointers(), &src.extent(), src.rowStep(), &region, x.constPointers(), y.constPointers(),
                     z.constPointers(), x.rowStep(), dst.pointers(), dst.rowStep(), &dst.extent(), mode);
    }
    // One voxel read at one place.
    Sample at(int32_t mode, float px, float py, float pz) {
        x.at(0, 0, 0) = px, y.at(0, 0, 0) = py, z.at(0, 0, 0) = pz;
        EXPECT_EQ(run(mode), zypStsNoErr);
        return dst.at(0, 0, 0);
    }
    testing::AssertionResult isAsModelled(int32_t mode, const ZyprVoxelCuboid &asked) const {
        const ZyprVolumeExtent e = dst.extent();
        const ZyprVoxelCuboid clipped = modelTrimmed(asked, src.extent());
        for (int32_t k = 0; k < e.depth; ++k) {
            for (int32_t j = 0; j < e.height; ++j) {
                for (int32_t i = 0; i < e.width; ++i) {
                    const auto expected =
                        modelVoxel(src, clipped, modelMode(mode, src.extent()), x.at(i, j, k), y.at(i, j, k), z.at(i, j, k));
                    if (agrees(dst.at(i, j, k), expected.value_or(Expected{77, 0, Ending::Copied}))) continue;
                    return testing::AssertionFailure()
                           << "mode " << mode << " voxel " << i << " " << j << " " << k << " from " << x.at(i, j, k) << " "
                           << y.at(i, j, k) << " " << z.at(i, j, k) << " is " << +dst.at(i, j, k) << ", expected "
                           << (expected ? expected->value : 77);
                }
            }
        }
        return testing::AssertionSuccess();
    }
};

// A coordinate in, on and around the bounds.
float anyCoordinate(Random &random, int32_t low, int32_t size) {
    const auto first = static_cast<float>(low), last = static_cast<float>(low + size - 1);
    switch (random.integer(0, 9)) {
    case 0: return first;
    case 1: return last;
    case 2: return std::nextafter(first, -9.0f);
    case 3: return std::nextafter(last, 9e9f);
    case 4: return std::nextafter(last, first);
    case 5: return static_cast<float>(random.integer(low, low + size - 1));
    case 6: return static_cast<float>(random.integer(low, low + size - 1)) + 0.5f;
    default: return random.real(first - 0.25f, last + 0.25f);
    }
}

template <class Sample> class RemapOf : public testing::Test {
protected:
    CoreProbeScope probe;
};
using Samples = testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(RemapOf, Samples);

TYPED_TEST(RemapOf, EveryModeAgreesWithTheModelAtAnyPosition) {
    Random random(63);
    for (int round = 0; round < 40; ++round) {
        const ZyprVolumeExtent srcExtent = {random.integer(2, 11), random.integer(2, 9), random.integer(2, 8)};
        const ZyprVolumeExtent dstExtent = {random.integer(1, 27), random.integer(1, 4), random.integer(1, 4)};
        Remap<TypeParam> r(randomVolume<TypeParam>(random, srcExtent, random.integer(0, 3)), dstExtent, random.integer(0, 3));
        r.region.x = random.integer(0, srcExtent.width - 1), r.region.width = random.integer(1, srcExtent.width + 2);
        r.region.y = random.integer(0, srcExtent.height - 1), r.region.height = random.integer(1, srcExtent.height + 2);
        r.region.z = random.integer(0, srcExtent.depth - 1), r.region.depth = random.integer(1, srcExtent.depth + 2);
        const ZyprVoxelCuboid asked = r.region, clipped = modelTrimmed(asked, srcExtent);
        r.x.fill([&](int, int, int) { return anyCoordinate(random, clipped.x, clipped.width); });
        r.y.fill([&](int, int, int) { return anyCoordinate(random, clipped.y, clipped.height); });
        r.z.fill([&](int, int, int) { return anyCoordinate(random, clipped.z, clipped.depth); });
        for (const int32_t mode : allModes) {
            r.region = asked;
            r.dst.fill([](int, int, int) { return 77; });
            EXPECT_EQ(r.run(mode), zypStsNoErr);
            ASSERT_TRUE(r.isAsModelled(mode, asked));
            EXPECT_TRUE(sameCuboid(r.region, clipped)) << "the region is clipped in place";
            EXPECT_TRUE(r.dst.surroundingsIntact());
        }
    }
}

TYPED_TEST(RemapOf, AVoxelsBitsDependOnItsPositionAlone) {
    Random random(7);
    const auto src = randomVolume<TypeParam>(random, {9, 9, 9});
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {9, 9, 9}), {29, 1, 1});
    for (const int32_t mode : allModes) {
        for (int round = 0; round < 8; ++round) {
            const float p[3] = {random.real(0, 8), random.real(0, 8), random.real(round < 4 ? 1 : 0, round < 4 ? 6 : 8)};
            r.x.fill([&](int, int, int) { return p[0]; });
            r.y.fill([&](int, int, int) { return p[1]; });
            r.z.fill([&](int, int, int) { return p[2]; });
            for (int32_t i = 0; i < 29; i += 3) r.x.at(i, 0, 0) = -1; // mixes skipped voxels in
            r.dst.fill([](int, int, int) { return 77; });
            EXPECT_EQ(r.run(mode), zypStsNoErr);
            for (int32_t i = 0; i < 29; ++i)
                EXPECT_TRUE(sameBits(r.dst.at(i, 0, 0), i % 3 == 0 ? TypeParam(77) : r.dst.at(1, 0, 0)));
        }
    }
}

TYPED_TEST(RemapOf, HowPlanesAndRowsLieMakesNoDifference) {
    Random random(64);
    constexpr ZyprVolumeExtent e = {9, 7, 6};
    constexpr int32_t planeSize = e.width * e.height, rowBytes = e.width * static_cast<int32_t>(sizeof(TypeParam));
    Remap<TypeParam> r(randomVolume<TypeParam>(random, e), {600, 2, 1});
    for (const auto &[map, size] : {std::pair(&r.x, e.width), std::pair(&r.y, e.height), std::pair(&r.z, e.depth)})
        map->fill([&, size = size](int i, int, int) {
            return i % 64 < 40 ? random.real(0, static_cast<float>(size - 1)) : anyCoordinate(random, 0, size);
        });
    struct Lie {
        int32_t planeStep;
        bool isUpsideDown, hasOneApart;
    };
    for (const auto &[planeStep, isUpsideDown, hasOneApart] :
         {Lie{planeSize, false, false}, Lie{-planeSize, false, false}, Lie{planeSize + 5, true, false},
          Lie{planeSize + 5, true, true}}) {
        const int32_t first = planeStep < 0 ? -planeStep * (e.depth - 1) : 0, rowStep = isUpsideDown ? -e.width : e.width;
        std::vector<TypeParam> all(static_cast<size_t>((planeSize + 5) * (e.depth + 2)));
        std::vector<const TypeParam *> planes;
        for (int32_t z = 0; z < e.depth; ++z) {
            const int32_t place = hasOneApart && z == 3 ? e.depth : z;
            TypeParam *const plane = all.data() + first + place * planeStep + (isUpsideDown ? planeSize - e.width : 0);
            planes.push_back(plane);
            for (int32_t y = 0; y < e.height; ++y)
                for (int32_t x = 0; x < e.width; ++x) plane[y * rowStep + x] = r.src.at(x, y, z);
        }
        for (const int32_t mode : allModes) {
            r.dst.fill([](int, int, int) { return 77; });
            EXPECT_EQ(r.run(mode), zypStsNoErr);
            ASSERT_TRUE(r.isAsModelled(mode, r.region));
            const std::vector<TypeParam> expected = r.dst.values();
            r.dst.fill([](int, int, int) { return 77; });
            EXPECT_EQ(remap(planes.data(), &e, isUpsideDown ? -rowBytes : rowBytes, &r.region, r.x.constPointers(),
                            r.y.constPointers(), r.z.constPointers(), r.x.rowStep(), r.dst.pointers(), r.dst.rowStep(),
                            &r.dst.extent(), mode),
                      zypStsNoErr);
            EXPECT_TRUE(equalBits(r.dst.values(), expected)) << "mode " << mode << ", planes by " << planeStep;
        }
    }
}

// Positions on the table's entries and beside them, so that some groups of eight go by whole rows of the table and others
// don't.
TYPED_TEST(RemapOf, CubicWeightsAreTheSameForAVoxelAloneAndAmongOthers) {
    Random random(12);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {9, 9, 9}), {307, 1, 1});
    Remap<TypeParam> alone(PlaneArray<TypeParam>({9, 9, 9}), {1, 1, 1});
    alone.src.fill([&](int x, int y, int z) { return r.src.at(x, y, z); });
    const auto nearHundredth = [&](int32_t k) {
        const float on = 3.0f + static_cast<float>(k / 3) / 100.0f;
        return k % 3 == 0 ? std::nextafter(on, 0.0f) : k % 3 == 1 ? on : std::nextafter(on, 9.0f);
    };
    r.x.fill([&](int i, int, int) { return nearHundredth(i % 303); });
    r.y.fill([&](int, int, int) { return nearHundredth(random.integer(0, 302)); });
    r.z.fill([&](int, int, int) { return random.real(2, 6); });
    const ZyprVoxelCuboid asked = r.region;
    for (const int32_t mode : {4, 5, 6, 7}) {
        EXPECT_EQ(r.run(mode), zypStsNoErr);
        EXPECT_TRUE(r.isAsModelled(mode, asked));
        for (int32_t i = 0; i < 307; ++i)
            EXPECT_TRUE(sameBits(r.dst.at(i, 0, 0), alone.at(mode, r.x.at(i, 0, 0), r.y.at(i, 0, 0), r.z.at(i, 0, 0))));
    }
}

TYPED_TEST(RemapOf, ThreadsDoNotChangeResults) {
    Random random(8);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {12, 10, 9}), {17, 16, 18});
    r.x.fill([&](int, int, int) { return anyCoordinate(random, 0, 12); });
    r.y.fill([&](int, int, int) { return anyCoordinate(random, 0, 10); });
    r.z.fill([&](int, int, int) { return anyCoordinate(random, 0, 9); });
    for (const int32_t mode : allModes) {
        CoreProbe::threads = 1;
        r.dst.fill([](int, int, int) { return 77; });
        EXPECT_EQ(r.run(mode), zypStsNoErr);
        const auto serial = r.dst.values();
        for (const int32_t threads : {2, 3, 5, 16, 19}) {
            CoreProbe::threads = threads;
            r.dst.fill([](int, int, int) { return 77; });
            EXPECT_EQ(r.run(mode), zypStsNoErr);
            EXPECT_TRUE(equalBits(r.dst.values(), serial)) << threads << " threads, mode " << mode;
        }
    }
}

TYPED_TEST(RemapOf, ThreadsAreAskedForOnlyFromSixteenInEveryDirection) {
    Random random(9);
    for (const ZyprVolumeExtent e : {ZyprVolumeExtent{15, 16, 16}, {16, 15, 16}, {16, 16, 15}, {16, 16, 16}}) {
        Remap<TypeParam> r(randomVolume<TypeParam>(random, {4, 4, 4}), e);
        CoreProbe::threadQueries = 0;
        EXPECT_EQ(r.run(1), zypStsNoErr);
        EXPECT_EQ(CoreProbe::threadQueries > 0, e.width * e.height * e.depth == 4096);
    }
}

TYPED_TEST(RemapOf, PlanesAtEvenStepsGiveWhatScatteredOnesDoAlsoBelowTheRegion) {
    Random random(19);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {12, 11, 10}), {40, 9, 8});
    r.x.fill([&](int, int, int) { return random.real(0, 12); });
    r.y.fill([&](int, int, int) { return random.real(0, 11); });
    r.z.fill([&](int, int, int) { return random.real(2, 10); });
    const size_t planeSize = 12 * 11 + 5;
    std::vector<TypeParam> even;
    const std::vector<TypeParam *> scattered = r.src.entries();
    const auto placePlanes = [&](bool descending, bool scatteredBelow) {
        even.assign(planeSize * 11, 1);
        for (size_t z = 0; z < 10; ++z) {
            TypeParam *const plane = even.data() + planeSize * (descending ? 10 - z : z);
            const bool isHere = !scatteredBelow || z >= 3;
            if (isHere) std::copy_n(scattered[z], 12 * 11, plane);
            r.src.entries()[z] = isHere ? plane : scattered[z];
        }
    };
    for (const int32_t mode : allModes) {
        const auto run = [&] {
            r.region = {1, 1, 3, 10, 9, 6};
            r.dst.fill([](int, int, int) { return 77; });
            EXPECT_EQ(r.run(mode), zypStsNoErr);
            return r.dst.values();
        };
        r.src.entries() = scattered;
        const auto expected = run();
        for (const bool descending : {false, true}) {
            for (const bool scatteredBelow : {false, true}) {
                placePlanes(descending, scatteredBelow);
                EXPECT_TRUE(equalBits(run(), expected)) << "mode " << mode << ", " << descending << scatteredBelow;
            }
        }
    }
}

TYPED_TEST(RemapOf, NearestRoundsHalvesToEven) {
    Random random(1);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {8, 8, 8}), {1, 1, 1});
    EXPECT_EQ(r.at(1, 0.5f, 1.5f, 2.5f), r.src.at(0, 2, 2));
    EXPECT_EQ(r.at(1, 3.5f, 4.5f, 5.5f), r.src.at(4, 4, 6));
}

TYPED_TEST(RemapOf, ThinVolumesLowerTheMode) {
    Random random(2);
    Remap<TypeParam> three(randomVolume<TypeParam>(random, {3, 10, 10}), {1, 1, 1});
    for (const int32_t mode : {4, 5, 6, 7}) EXPECT_EQ(three.at(mode, 1.3f, 4.2f, 3.7f), three.at(2, 1.3f, 4.2f, 3.7f));
    Remap<TypeParam> one(randomVolume<TypeParam>(random, {1, 10, 10}), {1, 1, 1});
    for (const int32_t mode : {2, 4, 5, 6, 7}) EXPECT_EQ(one.at(mode, 0, 4.2f, 3.7f), one.src.at(0, 4, 4));
}

TYPED_TEST(RemapOf, AMapValueAtTheUpperBoundGivesTheVoxelThere) {
    Random random(3);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {6, 6, 6}), {1, 1, 1});
    EXPECT_EQ(r.at(2, 5, 5, 5), r.src.at(5, 5, 5));
}

// The guard page lies right before column 0 of row 0 as well, and plane -1 does not exist.
TYPED_TEST(RemapOf, ARegionOneVoxelWideAtIndexZeroReadsNothingBeforeIt) {
    Random random(4);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {6, 6, 6}), {9, 1, 1});
    for (int axes = 1; axes < 8; ++axes) {
        r.region = {0, 0, 0, axes & 1 ? 1 : 6, axes & 2 ? 1 : 6, axes & 4 ? 1 : 6};
        const ZyprVoxelCuboid asked = r.region;
        r.x.fill([&](int i, int, int) { return axes & 1 ? 0.0f : static_cast<float>(i) * 0.6f; });
        r.y.fill([&](int i, int, int) { return axes & 2 ? 0.0f : static_cast<float>(i) * 0.5f; });
        r.z.fill([&](int i, int, int) { return axes & 4 ? 0.0f : static_cast<float>(i) * 0.4f; });
        EXPECT_EQ(r.run(2), zypStsNoErr);
        EXPECT_TRUE(r.isAsModelled(2, asked));
    }
}

TYPED_TEST(RemapOf, CubicModesReadOneVoxelBelowARegionsOriginAndNoneAboveItsEnd) {
    PlaneArray<TypeParam> src({9, 9, 9});
    src.fill([](int x, int, int) { return x == 2 || x == 8 ? 0 : 100; });
    Remap<TypeParam> r(std::move(src), {1, 1, 1});
    r.region = {3, 0, 0, 5, 9, 9};
    EXPECT_EQ(r.at(6, 3.5f, 4, 4), static_cast<TypeParam>(106.25));
    EXPECT_EQ(r.at(6, 6.5f, 4, 4), 100);
}

TYPED_TEST(RemapOf, AVoxelBeyondTheRegionsLastPlaneKeepsItsValue) {
    Random random(5);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {6, 6, 6}), {1, 1, 1});
    r.region.depth = 3;
    for (const int32_t mode : allModes) EXPECT_EQ(r.at(mode, 2, 2, 2.01f), 77);
}

TYPED_TEST(RemapOf, WildMapValuesTouchNoForeignMemory) {
    Random random(6);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {9, 9, 9}), {203, 1, 1});
    const auto wild = [&](int, int, int) {
        const auto &special = specialFloats();
        return random.chance(0.5f) ? random.real(0, 8)
                                   : special[static_cast<size_t>(random.integer(0, static_cast<int32_t>(special.size()) - 1))];
    };
    r.x.fill(wild), r.y.fill(wild), r.z.fill(wild);
    for (const int32_t mode : allModes) {
        EXPECT_EQ(r.run(mode), zypStsNoErr);
        EXPECT_TRUE(r.dst.surroundingsIntact());
    }
}

TYPED_TEST(RemapOf, PlanesThatNoVoxelNeedsMayBeNull) {
    Random random(10);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {9, 9, 9}), {11, 1, 1});
    r.x.fill([](int i, int, int) { return static_cast<float>(i) * 0.7f; });
    r.y.fill([](int i, int, int) { return static_cast<float>(i) * 0.6f; });
    r.z.fill([](int, int, int) { return 3.3f; });
    for (const int32_t z : {0, 1, 6, 7, 8}) r.src.entries()[static_cast<size_t>(z)] = nullptr;
    const ZyprVoxelCuboid asked = r.region;
    for (const int32_t mode : allModes) {
        EXPECT_EQ(r.run(mode), zypStsNoErr);
        EXPECT_TRUE(r.isAsModelled(mode, asked));
    }
}

TYPED_TEST(RemapOf, ChecksComeInTheirOrder) {
    Random random(11);
    Remap<TypeParam> good(randomVolume<TypeParam>(random, {5, 5, 5}), {3, 3, 3});
    const ZyprVoxelCuboid whole = good.region, outside = {5, 0, 0, 1, 1, 1};
    const ZyprVolumeExtent e = good.src.extent(), d = good.dst.extent();
    const auto call = [&](bool src, bool dst, int map, ZyprVolumeExtent se, ZyprVoxelCuboid region, ZyprVolumeExtent de,
                          int32_t mode) {
        ZyprVoxelCuboid r = region;
        const zypStatus status = remap(src ? good.src.constPointers() : nullptr, &se, good.src.rowStep(), &r,
                                       map == 0 ? nullptr : good.x.constPointers(), map == 1 ? nullptr : good.y.constPointers(),
                                       map == 2 ? nullptr : good.z.constPointers(), good.x.rowStep(),
                                       dst ? good.dst.pointers() : nullptr, good.dst.rowStep(), &de, mode);
        EXPECT_TRUE(sameCuboid(r, region) || status == zypStsNoErr);
        return status;
    };
    const auto before = good.dst.values();
    const ZyprVoxelCuboid badRegion = {-1, 0, 0, 1, 1, 1};
    const ZyprVolumeExtent none = {0, 5, 5};
    EXPECT_EQ(call(false, true, -1, none, badRegion, none, 3), zypStsNullPtrErr);
    EXPECT_EQ(call(true, false, -1, none, badRegion, none, 3), zypStsNullPtrErr);
    for (int map = 0; map < 3; ++map) EXPECT_EQ(call(true, true, map, none, badRegion, none, 3), zypStsNullPtrErr);
    for (const ZyprVolumeExtent bad : {ZyprVolumeExtent{0, 5, 5}, {5, -1, 5}, {5, 5, 0}}) {
        EXPECT_EQ(call(true, true, -1, bad, whole, d, 3), zypStsSizeErr);
        EXPECT_EQ(call(true, true, -1, e, whole, bad, 3), zypStsSizeErr);
    }
    for (const ZyprVoxelCuboid bad : {ZyprVoxelCuboid{-1, 0, 0, 1, 1, 1},
                                      {0, -1, 0, 1, 1, 1},
                                      {0, 0, -1, 1, 1, 1},
                                      {0, 0, 0, 0, 1, 1},
                                      {0, 0, 0, 1, 0, 1},
                                      {0, 0, 0, 1, 1, 0}})
        EXPECT_EQ(call(true, true, -1, e, bad, d, 3), zypStsSizeErr);
    for (const int32_t mode : {0, 3, 8, 16, -1, INT32_MIN})
        EXPECT_EQ(call(true, true, -1, e, outside, d, mode), zypStsInterpolationModeErr);
    EXPECT_EQ(call(true, true, -1, e, outside, d, 1), zypStsVolumeRoiOutsideWrn);
    EXPECT_EQ(call(true, true, -1, e, {0, 5, 0, 1, 1, 1}, d, 1), zypStsVolumeRoiOutsideWrn);
    EXPECT_EQ(call(true, true, -1, e, {0, 0, 5, 1, 1, 1}, d, 1), zypStsVolumeRoiOutsideWrn);
    EXPECT_TRUE(equalBits(good.dst.values(), before));
}

// ---- A source of one plane ----------------------------------------------------------------------------------------------

TYPED_TEST(RemapOf, OfOnePlaneRefusesTheModesThatPlanesDoNotHave) {
    Random random(12);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {8, 8, 1}), {3, 3, 3});
    EXPECT_EQ(r.run(5), zypStsInterpolationModeErr);
    EXPECT_EQ(r.run(7), zypStsInterpolationModeErr);
    EXPECT_EQ(r.run(6), zypStsNoErr);
}

TYPED_TEST(RemapOf, OfOnePlaneRoundsHalvesUpAndWritesOnlyPlaneZero) {
    Random random(13);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {8, 8, 1}), {1, 1, 2});
    r.region.width = 100, r.region.z = 4, r.region.depth = 9;
    const ZyprVoxelCuboid asked = r.region;
    r.x.fill([](int, int, int) { return 2.5f; });
    r.y.fill([](int, int, int) { return 4.5f; });
    std::vector<const float *> noPlanes = {nullptr};
    EXPECT_EQ(remap(r.src.constPointers(), &r.src.extent(), r.src.rowStep(), &r.region, r.x.constPointers(),
                    r.y.constPointers(), noPlanes.data(), r.x.rowStep(), r.dst.pointers(), r.dst.rowStep(), &r.dst.extent(), 1),
              zypStsNoErr)
        << "the z map is not read";
    EXPECT_EQ(r.dst.at(0, 0, 0), r.src.at(3, 5, 0));
    EXPECT_EQ(r.dst.at(0, 0, 1), 77);
    EXPECT_TRUE(sameCuboid(r.region, asked)) << "the caller's region stays unclipped";
}

TYPED_TEST(RemapOf, OfOnePlaneChecksStepsAndReportsThePlanesOwnWarning) {
    Random random(14);
    Remap<TypeParam> r(randomVolume<TypeParam>(random, {8, 8, 1}), {2, 2, 1});
    const auto withSteps = [&](int32_t srcStep, int32_t mapStep, int32_t dstStep) {
        return remap(r.src.constPointers(), &r.src.extent(), srcStep, &r.region, r.x.constPointers(), r.y.constPointers(),
                     r.z.constPointers(), mapStep, r.dst.pointers(), dstStep, &r.dst.extent(), 1);
    };
    EXPECT_EQ(withSteps(0, 8, 8), zypStsRowStepErr);
    EXPECT_EQ(withSteps(32, 0, 8), zypStsRowStepErr);
    EXPECT_EQ(withSteps(32, 8, -1), zypStsRowStepErr);
    r.region.x = 8;
    EXPECT_EQ(r.run(1), zypStsPlaneRoiOutsideWrn);
}

// ---- Conversions --------------------------------------------------------------------------------------------------------

class Remap8u : public testing::Test {
    CoreProbeScope probe;
};
using Remap32f = Remap8u;

TEST_F(Remap8u, AHalfGoesToEvenInsideAndUpOnTheEdge) {
    PlaneArray<uint8_t> src({8, 8, 8});
    src.fill([](int x, int, int) { return x % 2 == 0 ? 255 : 254; });
    Remap<uint8_t> r(std::move(src), {1, 1, 1});
    EXPECT_EQ(r.at(6, 3.5f, 3, 3), 254);
    EXPECT_EQ(r.at(6, 3.5f, 0, 3), 255);
}

// As a float the last index is one more, and a position there passes. All rows are the same one.
TEST_F(Remap8u, ABoundThatNoFloatHoldsLetsNothingBeReadBeyondIt) {
    constexpr int32_t width = (1 << 24) + 4;
    GuardedArray<uint8_t> row(width);
    row[width - 1] = 9;
    const uint8_t *const planes[4] = {row.data(), row.data(), row.data(), row.data()};
    const ZyprVolumeExtent extent = {width, 4, 4}, one = {1, 1, 1};
    const float x = static_cast<float>(width - 1), yz = 1.0f;
    ASSERT_EQ(static_cast<int32_t>(x), width);
    const float *const xMap[1] = {&x}, *const yzMap[1] = {&yz};
    for (const int32_t mode : {1, 2, 4, 5, 6, 7}) {
        uint8_t result = 77;
        uint8_t *const dst[1] = {&result};
        ZyprVoxelCuboid region = {0, 0, 0, width, 4, 4};
        EXPECT_EQ(remap(planes, &extent, 0, &region, xMap, yzMap, yzMap, 4, dst, 1, &one, mode), zypStsNoErr);
        EXPECT_NE(result, 77) << mode;
        if (mode == 1) {
            EXPECT_EQ(result, 9);
        }
    }
}

TEST_F(Remap8u, EdgeVoxelsAreRoundedInDoubleWithABiasAboveAHalf) {
    Remap<uint8_t> r(PlaneArray<uint8_t>({8, 8, 8}), {1, 1, 1});
    r.src.fill([](int x, int, int) { return x == 1 ? 3 : 0; });
    EXPECT_EQ(r.at(6, 0.198797509f, 3, 3), 1) << "0.49999994 and 0.5000001 are more than 1";
    r.src.fill([](int x, int, int) { return x == 1 ? 8 : 0; });
    EXPECT_EQ(r.at(6, 0.217110962f, 3, 3), 1) << "1.49999988 and 0.5000001 are 2 as floats only";
}

TEST_F(Remap32f, EdgeVoxelsOfCubicModesComeOutAsWholeNumbersAndInteriorOnesDoNot) {
    PlaneArray<float> src({8, 8, 8});
    src.fill([](int, int, int) { return 0.75f; });
    Remap<float> r(std::move(src), {1, 1, 1});
    EXPECT_EQ(r.at(6, 3, 3, 3), 0.75f);
    EXPECT_EQ(r.at(6, 6, 3, 3), 0.0f);
    EXPECT_EQ(r.at(6, 3, 3, 0.5f), 0.0f);
    for (int32_t z = 0; z < 8; ++z)
        for (float &sample : r.src.plane(z)) sample = -2.75f;
    EXPECT_EQ(r.at(6, 7, 3, 3), -2.0f);
    for (int32_t z = 0; z < 8; ++z)
        for (float &sample : r.src.plane(z)) sample = 1e12f;
    EXPECT_EQ(r.at(6, 7, 3, 3), -2147483648.0f);
}

// Where y and z are whole, the other taps' weights are 0 and 1, and a single voxel of 1 shows the weight along x.
TEST_F(Remap32f, CubicWeightsAreThoseOfTheTableOfHundredths) {
    PlaneArray<float> src({16, 9, 9});
    Remap<float> r(std::move(src), {400, 1, 1});
    r.src.fill([](int x, int y, int z) { return x == 7 && y == 4 && z == 4 ? 1 : 0; });
    Random random(13);
    r.x.fill([&](int i, int, int) { return i < 201 ? 5.0f + static_cast<float>(i) / 50.0f : random.real(5, 9); });
    r.y.fill([](int, int, int) { return 4.0f; });
    r.z.fill([](int, int, int) { return 4.0f; });
    for (const int32_t mode : {4, 6}) {
        EXPECT_EQ(r.run(mode), zypStsNoErr);
        for (int32_t i = 0; i < 400; ++i) {
            const float x = r.x.at(i, 0, 0), fraction = x - std::trunc(x);
            const float distance = std::fabs(7.0f - std::trunc(x) - fraction);
            EXPECT_EQ(r.dst.at(i, 0, 0), cubicTableWeight(mode, distance)) << mode << " at " << x;
        }
    }
}

TEST_F(Remap32f, SourceStepsLoseOddBytesAndTheOthersAreUsedAsGiven) {
    Random random(15);
    Remap<float> r(randomVolume<float>(random, {6, 6, 6}), {6, 6, 6});
    r.x.fill([](int x, int, int) { return static_cast<float>(x); });
    r.y.fill([](int, int y, int) { return static_cast<float>(y); });
    r.z.fill([](int, int, int z) { return static_cast<float>(z); });
    EXPECT_EQ(zyprRemap_32f_C1PV(r.src.constPointers(), &r.src.extent(), r.src.rowStep() + 3, &r.region, r.x.constPointers(),
                                 r.y.constPointers(), r.z.constPointers(), r.x.rowStep(), r.dst.pointers(), r.dst.rowStep(),
                                 &r.dst.extent(), 1),
              zypStsNoErr);
    EXPECT_TRUE(equalBits(r.dst.values(), r.src.values()));
    // Rows of the destination at any byte.
    std::vector<char> bytes(6 * 27 + 24);
    float *const planes[1] = {reinterpret_cast<float *>(bytes.data())};
    const ZyprVolumeExtent one = {6, 6, 1};
    EXPECT_EQ(zyprRemap_32f_C1PV(r.src.constPointers(), &r.src.extent(), r.src.rowStep(), &r.region, r.x.constPointers(),
                                 r.y.constPointers(), r.z.constPointers(), r.x.rowStep(), planes, 27, &one, 1),
              zypStsNoErr);
    for (int32_t y = 0; y < 6; ++y) EXPECT_EQ(std::memcmp(&bytes[static_cast<size_t>(27 * y)], &r.src.at(0, y, 0), 24), 0);
    // Rows of the maps at any byte.
    std::vector<char> maps[3];
    const float *mapPlanes[3];
    for (size_t axis = 0; axis < 3; ++axis) {
        auto &map = axis == 0 ? r.x : axis == 1 ? r.y : r.z;
        maps[axis].resize(6 * 29);
        for (int32_t y = 0; y < 6; ++y) {
            for (int32_t x = 0; x < 6; ++x) map.at(x, y, 0) = static_cast<float>(random.integer(0, 5));
            std::memcpy(&maps[axis][static_cast<size_t>(29 * y)], &map.at(0, y, 0), 24);
        }
        mapPlanes[axis] = reinterpret_cast<const float *>(maps[axis].data());
    }
    EXPECT_EQ(zyprRemap_32f_C1PV(r.src.constPointers(), &r.src.extent(), r.src.rowStep(), &r.region, &mapPlanes[0],
                                 &mapPlanes[1], &mapPlanes[2], 29, r.dst.pointers(), r.dst.rowStep(), &one, 1),
              zypStsNoErr);
    const auto index = [](float a) { return static_cast<int32_t>(a); };
    for (int32_t y = 0; y < 6; ++y)
        for (int32_t x = 0; x < 6; ++x)
            EXPECT_EQ(r.dst.at(x, y, 0), r.src.at(index(r.x.at(x, y, 0)), index(r.y.at(x, y, 0)), index(r.z.at(x, y, 0))));
}

} // namespace
} // namespace zypr::test
