#include "support/fingerprint.h"

#include "shading/arrays.h"
#include "zypr.h"

using namespace zypr::test;

namespace {

// Calls `body` with inputs of several counts, both with ordinary values under any words and with special values under plain
// ones, at places that between them take every path. `placed` puts an array there.
template <class Body> void forInputs(Body body) {
    Random random(20);
    for (const int32_t count : {5, 16, 24, 31, 64, 100, 1003}) {
        for (const size_t place : {0, 4, 16, 24}) {
            for (const bool ordinary : {true, false}) {
                const auto make = ordinary ? finiteValues : specialValues;
                const auto words = ordinary ? anyWords : plainWords;
                body(random, count, place, make, PlacedArray(words(random, count), 0));
            }
        }
    }
}

void add(Fingerprint &print, PlacedPlanes &planes) {
    for (size_t c = 0; c < 3; ++c) print.add(planes[c].values());
}

} // namespace

FINGERPRINT(zyprMul_32f_C1IM) {
    forInputs([&](Random &random, int32_t count, size_t place, auto make, PlacedArray<int32_t> mask) {
        PlacedArray factor(make(random, count), 0), values(make(random, count), place);
        print.addValue(zyprMul_32f_C1IM(factor.data(), mask.data(), values.data(), count));
        print.add(values.values());
    });
}

FINGERPRINT(zyprMul_32f_C1P3IM) {
    forInputs([&](Random &random, int32_t count, size_t place, auto make, PlacedArray<int32_t> mask) {
        PlacedArray factor(make(random, count), 0);
        PlacedPlanes values(planesOf(make, random, count), place);
        print.addValue(zyprMul_32f_C1P3IM(factor.data(), mask.data(), values.pointers(), count));
        add(print, values);
    });
}

FINGERPRINT(zyprDiv_32f_C1IM) {
    forInputs([&](Random &random, int32_t count, size_t place, auto make, PlacedArray<int32_t> mask) {
        PlacedArray factor(make(random, count), 0), values(make(random, count), place);
        print.addValue(zyprDiv_32f_C1IM(factor.data(), mask.data(), values.data(), count));
        print.add(values.values());
    });
}

FINGERPRINT(zyprDot_32f_P3C1M) {
    forInputs([&](Random &random, int32_t count, size_t place, auto make, PlacedArray<int32_t> mask) {
        PlacedPlanes left(planesOf(make, random, count), 0), right(planesOf(make, random, count), place);
        PlacedArray result(finiteValues(random, count), place);
        print.addValue(zyprDot_32f_P3C1M(left.pointers(), right.pointers(), mask.data(), result.data(), count));
        print.add(result.values());
    });
}

FINGERPRINT(zyprAddMulMul_32f_AC1P3IM) {
    const float scale[3] = {0.7f, -1.3f, 0.1f};
    forInputs([&](Random &random, int32_t count, size_t place, auto make, PlacedArray<int32_t> mask) {
        PlacedArray weight(make(random, count), place);
        PlacedPlanes factor(planesOf(make, random, count), 0), sums(planesOf(make, random, count), 0);
        print.addValue(zyprAddMulMul_32f_AC1P3IM(scale, weight.data(), factor.pointers(), mask.data(), sums.pointers(), count));
        add(print, sums);
    });
}

FINGERPRINT(zyprDistAttenuationSO_32f_M) {
    const float point[3] = {0.25f, -0.5f, 1.0f};
    forInputs([&](Random &random, int32_t count, size_t place, auto make, PlacedArray<int32_t> mask) {
        PlacedPlanes positions(planesOf(make, random, count), 0);
        PlacedArray result(finiteValues(random, count), place);
        print.addValue(zyprDistAttenuationSO_32f_M(point, positions.pointers(), mask.data(), result.data(), count));
        print.add(result.values());
    });
}

FINGERPRINT(zyprDotChangeNorm_32f_IM) {
    forInputs([&](Random &random, int32_t count, size_t place, auto make, PlacedArray<int32_t> mask) {
        PlacedPlanes reference(planesOf(make, random, count), 0), normals(planesOf(make, random, count), place);
        PlacedArray result(finiteValues(random, count), 0);
        print.addValue(zyprDotChangeNorm_32f_IM(reference.pointers(), mask.data(), normals.pointers(), result.data(), count));
        add(print, normals);
        print.add(result.values());
    });
}
