// The forward and inverse transforms.

#include <functional>
#include <limits>

#include "harmonics/fixture.h"

using namespace zypr::test;
using namespace zypr::test::harmonics;

namespace {

constexpr ZyprSHType bothTypes[] = {zyprSHDirect, zyprSHRecurrence};
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

// A coefficient vector `misalignment` bytes past a multiple of 64. Misalignments that no float has are among them, so the
// floats are copied in and out.
class Coefficients {
public:
    Coefficients(const std::vector<float> &values, size_t misalignment) : memory_(4 * values.size(), misalignment) {
        std::memcpy(memory_.data(), values.data(), 4 * values.size());
    }
    explicit Coefficients(const std::vector<float> &values) : memory_(4 * values.size()) {
        std::memcpy(memory_.data(), values.data(), 4 * values.size());
    }
    float *data() { return reinterpret_cast<float *>(memory_.data()); }
    std::vector<float> values() const {
        std::vector<float> result(memory_.size() / 4);
        std::memcpy(result.data(), memory_.data(), memory_.size());
        return result;
    }
    bool surroundingsIntact() const { return memory_.surroundingsIntact(); }

private:
    GuardedArray<unsigned char> memory_;
};

size_t functions(uint32_t order) { return static_cast<size_t>(functionCount(static_cast<int>(order))); }

// What a forward transform of one channel must leave.
std::vector<float> forwardModel(const PointArrays &points, const std::vector<float> &values, size_t count, uint32_t order,
                                const ZyprSHState *state, std::vector<float> coefficients) {
    for (size_t i = 0; i < count; ++i) {
        const std::vector<float> basis = blockAt(points.x[i], points.y[i], points.z[i], order, state);
        addScaled(basis.data(), values[i], static_cast<int>(basis.size()), coefficients.data());
    }
    return coefficients;
}

std::vector<float> inverseModel(const PointArrays &points, size_t count, uint32_t order, const ZyprSHState *state,
                                const std::vector<float> &coefficients, size_t misalignment) {
    std::vector<float> values;
    for (size_t i = 0; i < count; ++i) {
        const std::vector<float> basis = blockAt(points.x[i], points.y[i], points.z[i], order, state);
        values.push_back(dotProduct(basis.data(), coefficients.data(), static_cast<int>(basis.size()),
                                    static_cast<unsigned>(misalignment % 32)));
    }
    return values;
}

std::vector<float> interleave(const std::vector<float> (&channels)[3]) {
    std::vector<float> result;
    for (size_t i = 0; i < channels[0].size(); ++i) {
        for (const auto &channel : channels) result.push_back(channel[i]);
    }
    return result;
}

// Values among which zeros of both signs and ones stand.
std::vector<float> sampleValues(size_t count, uint32_t seed) {
    Random random(seed);
    std::vector<float> values;
    for (size_t i = 0; i < count; ++i) {
        switch (random.integer(0, 7)) {
        case 0: values.push_back(0.0f); break;
        case 1: values.push_back(-0.0f); break;
        case 2: values.push_back(1.0f); break;
        default: values.push_back(random.real(-2, 2));
        }
    }
    return values;
}

} // namespace

// ---- Checks -------------------------------------------------------------------------------------------------------------

namespace {

// One call of each export with the given arguments, null pointers by number: 0 x, 1 y, 2 z, 3 values or destination,
// 4 coefficients, 5 state; 6 to 8 inner pointers of the values, 9 to 11 of the coefficients.
struct Call {
    const char *name;
    bool innerValues, innerCoefficients;
    std::function<zypStatus(int null, int32_t count, uint32_t order, ZyprSHState *state)> run;
};

struct CallArguments {
    float point[1] = {0.5f};
    std::vector<float> values = std::vector<float>(8, 7.0f);
    std::vector<float> coefficients = std::vector<float>(3 * 441, 7.0f);

    const float *coordinate(int null, int number) { return null == number ? nullptr : point; }
    std::array<float *, 3> valuePlanes(int null) {
        std::array<float *, 3> planes{};
        for (int c = 0; c < 3; ++c) planes[static_cast<size_t>(c)] = null == 6 + c ? nullptr : values.data() + c;
        return planes;
    }
    std::array<float *, 3> coefficientPlanes(int null) {
        std::array<float *, 3> planes{};
        for (int c = 0; c < 3; ++c) planes[static_cast<size_t>(c)] = null == 9 + c ? nullptr : coefficients.data() + 441 * c;
        return planes;
    }
    bool untouched() const {
        return values == std::vector<float>(8, 7.0f) && coefficients == std::vector<float>(3 * 441, 7.0f);
    }
};

std::vector<Call> calls(CallArguments &a) {
    const auto unless = [](int null, int number, auto *pointer) { return null == number ? nullptr : pointer; };
    return {
        {"Fwd_C1I", false, false,
         [&, unless](int null, int32_t n, uint32_t order, ZyprSHState *state) {
             return zyprSHTFwd_32f_C1I(a.coordinate(null, 0), a.coordinate(null, 1), a.coordinate(null, 2),
                                       unless(null, 3, a.values.data()), n, unless(null, 4, a.coefficients.data()), order,
                                       unless(null, 5, state));
         }},
        {"Fwd_C3P3I", false, true,
         [&, unless](int null, int32_t n, uint32_t order, ZyprSHState *state) {
             const auto vectors = a.coefficientPlanes(null);
             return zyprSHTFwd_32f_C3P3I(a.coordinate(null, 0), a.coordinate(null, 1), a.coordinate(null, 2),
                                         unless(null, 3, a.values.data()), n, unless(null, 4, vectors.data()), order,
                                         unless(null, 5, state));
         }},
        {"Fwd_P3I", true, true,
         [&, unless](int null, int32_t n, uint32_t order, ZyprSHState *state) {
             const auto planes = a.valuePlanes(null), vectors = a.coefficientPlanes(null);
             return zyprSHTFwd_32f_P3I(a.coordinate(null, 0), a.coordinate(null, 1), a.coordinate(null, 2),
                                       unless(null, 3, planes.data()), n, unless(null, 4, vectors.data()), order,
                                       unless(null, 5, state));
         }},
        {"Inv_C1", false, false,
         [&, unless](int null, int32_t n, uint32_t order, ZyprSHState *state) {
             return zyprSHTInv_32f_C1(unless(null, 4, a.coefficients.data()), order, a.coordinate(null, 0),
                                      a.coordinate(null, 1), a.coordinate(null, 2), unless(null, 3, a.values.data()), n,
                                      unless(null, 5, state));
         }},
        {"Inv_P3", true, true,
         [&, unless](int null, int32_t n, uint32_t order, ZyprSHState *state) {
             const auto planes = a.valuePlanes(null), vectors = a.coefficientPlanes(null);
             return zyprSHTInv_32f_P3(unless(null, 4, vectors.data()), order, a.coordinate(null, 0), a.coordinate(null, 1),
                                      a.coordinate(null, 2), unless(null, 3, planes.data()), n, unless(null, 5, state));
         }},
        {"Inv_P3C3", false, true,
         [&, unless](int null, int32_t n, uint32_t order, ZyprSHState *state) {
             const auto vectors = a.coefficientPlanes(null);
             return zyprSHTInv_32f_P3C3(unless(null, 4, vectors.data()), order, a.coordinate(null, 0), a.coordinate(null, 1),
                                        a.coordinate(null, 2), unless(null, 3, a.values.data()), n, unless(null, 5, state));
         }},
    };
}

} // namespace

TEST(SHTransforms, NullPointersComeFirstInnerOnesIncluded) {
    CallArguments arguments;
    State state(3, zyprSHDirect);
    for (const Call &call : calls(arguments)) {
        for (int null = 0; null < 12; ++null) {
            if (null >= 6 && null < 9 && !call.innerValues) continue;
            if (null >= 9 && !call.innerCoefficients) continue;
            for (const int32_t count : {1, 0, -1}) {
                for (const uint32_t order : {3u, 4u, 16u})
                    EXPECT_EQ(call.run(null, count, order, state.get()), zypStsNullPtrErr) << call.name << ' ' << null;
            }
        }
    }
    EXPECT_TRUE(arguments.untouched());
}

TEST(SHTransforms, ACountOfZeroComesBeforeTheOrder) {
    CallArguments arguments;
    State state(3, zyprSHDirect);
    for (const Call &call : calls(arguments)) {
        EXPECT_EQ(call.run(-1, 0, 3, state.get()), zypStsSizeErr) << call.name;
        EXPECT_EQ(call.run(-1, 0, 4, state.get()), zypStsSizeErr) << call.name;
    }
    EXPECT_TRUE(arguments.untouched());
}

TEST(SHTransforms, AnOrderAboveTheStatesIsARangeErrorForNegativeCountsToo) {
    CallArguments arguments;
    State state(3, zyprSHRecurrence);
    for (const Call &call : calls(arguments)) {
        for (const int32_t count : {1, -1}) {
            EXPECT_EQ(call.run(-1, count, 4, state.get()), zypStsSHRangeErr) << call.name;
            EXPECT_EQ(call.run(-1, count, UINT32_MAX, state.get()), zypStsSHRangeErr) << call.name;
        }
    }
    EXPECT_TRUE(arguments.untouched());
}

TEST(SHTransforms, OrdersAbove15AreRangeErrorsEvenWhereTheStateServesThem) {
    CallArguments arguments;
    State state(20, zyprSHRecurrence);
    for (const Call &call : calls(arguments)) {
        for (uint32_t order = 16; order <= 20; ++order) {
            for (const int32_t count : {1, -1}) EXPECT_EQ(call.run(-1, count, order, state.get()), zypStsSHRangeErr);
        }
    }
    EXPECT_TRUE(arguments.untouched());
}

TEST(SHTransforms, NegativeCountsTouchNothing) {
    CallArguments arguments;
    State state(15, zyprSHRecurrence);
    for (const Call &call : calls(arguments)) {
        for (const int32_t count : {-1, INT32_MIN}) EXPECT_EQ(call.run(-1, count, 15, state.get()), zypStsNoErr);
    }
    EXPECT_TRUE(arguments.untouched());
}

TEST(SHTransforms, NegativeCountsReadNeitherPointsNorValuesNorCoefficients) {
    GuardedArray<float> memory(256);
    memory.forbidAccess();
    float *const p = memory.data();
    float *const planes[3] = {p, p, p};
    State state(15, zyprSHDirect);
    for (const int32_t count : {-1, INT32_MIN}) {
        EXPECT_EQ(zyprSHTFwd_32f_C1I(p, p, p, p, count, p, 15, state.get()), zypStsNoErr);
        EXPECT_EQ(zyprSHTFwd_32f_C3P3I(p, p, p, p, count, planes, 15, state.get()), zypStsNoErr);
        EXPECT_EQ(zyprSHTFwd_32f_P3I(p, p, p, planes, count, planes, 15, state.get()), zypStsNoErr);
        EXPECT_EQ(zyprSHTInv_32f_C1(p, 15, p, p, p, p, count, state.get()), zypStsNoErr);
        EXPECT_EQ(zyprSHTInv_32f_P3(planes, 15, p, p, p, planes, count, state.get()), zypStsNoErr);
        EXPECT_EQ(zyprSHTInv_32f_P3C3(planes, 15, p, p, p, p, count, state.get()), zypStsNoErr);
    }
}

// ---- Forward ------------------------------------------------------------------------------------------------------------

TEST(SHForward, SumsTheScaledBasisInThePointsOrderAtEveryOrderAndCount) {
    const PointArrays points = pointsOnSphere(19, 10);
    Random random(11);
    for (const ZyprSHType type : bothTypes) {
        for (uint32_t order = 0; order <= 15; ++order) {
            State state(type == zyprSHDirect ? 15 : 20, type);
            for (size_t count = 1; count <= points.size(); ++count) {
                const std::vector<float> values = sampleValues(count, static_cast<uint32_t>(count));
                const std::vector<float> start = random.reals(functions(order), -1, 1);
                Coefficients coefficients(start, 4 * (count % 16));
                const GuardedArray<float> x(std::vector<float>(points.x.begin(), points.x.begin() + static_cast<long>(count)));
                const GuardedArray<float> y(std::vector<float>(points.y.begin(), points.y.begin() + static_cast<long>(count)));
                const GuardedArray<float> z(std::vector<float>(points.z.begin(), points.z.begin() + static_cast<long>(count)));
                const GuardedArray<float> guardedValues(values);
                ASSERT_EQ(zyprSHTFwd_32f_C1I(x.data(), y.data(), z.data(), guardedValues.data(), static_cast<int32_t>(count),
                                             coefficients.data(), order, state.get()),
                          zypStsNoErr);
                ASSERT_TRUE(equalBits(coefficients.values(), forwardModel(points, values, count, order, state.get(), start)))
                    << name(type) << " order " << order << " count " << count;
                ASSERT_TRUE(coefficients.surroundingsIntact());
            }
        }
    }
}

TEST(SHForward, TheCoefficientsAlignmentIsOfNoImportance) {
    const PointArrays points = pointsOnSphere(9, 12);
    const std::vector<float> values = sampleValues(9, 13);
    State state(15, zyprSHRecurrence);
    for (const uint32_t order : {1u, 2u, 5u, 15u}) {
        const std::vector<float> start = Random(14).reals(functions(order), -1, 1);
        const std::vector<float> expected = forwardModel(points, values, 9, order, state.get(), start);
        for (size_t misalignment = 0; misalignment < 64; ++misalignment) {
            Coefficients coefficients(start, misalignment);
            ASSERT_EQ(zyprSHTFwd_32f_C1I(points.x.data(), points.y.data(), points.z.data(), values.data(), 9,
                                         coefficients.data(), order, state.get()),
                      zypStsNoErr);
            ASSERT_TRUE(equalBits(coefficients.values(), expected)) << misalignment;
            ASSERT_TRUE(coefficients.surroundingsIntact());
        }
    }
}

TEST(SHForward, ThreeChannelFormsDoTheSameForEachChannel) {
    const PointArrays points = pointsOnSphere(21, 15);
    for (const ZyprSHType type : bothTypes) {
        State state(15, type);
        for (uint32_t order = 0; order <= 15; ++order) {
            for (const size_t count : {1u, 3u, 4u, 7u, 8u, 9u, 16u, 21u}) {
                const std::vector<float> channels[3] = {sampleValues(count, 16), sampleValues(count, 17),
                                                        sampleValues(count, 18)};
                const std::vector<float> start = Random(19).reals(functions(order), -1, 1);
                const GuardedArray<float> planes[3] = {GuardedArray<float>(channels[0]), GuardedArray<float>(channels[1]),
                                                       GuardedArray<float>(channels[2])};
                const GuardedArray<float> triples(interleave(channels));
                Coefficients fromPlanes[3] = {Coefficients(start), Coefficients(start, 12), Coefficients(start, 36)};
                Coefficients fromTriples[3] = {Coefficients(start, 4), Coefficients(start), Coefficients(start, 32)};
                const float *const planePointers[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
                float *const toPlanes[3] = {fromPlanes[0].data(), fromPlanes[1].data(), fromPlanes[2].data()};
                float *const toTriples[3] = {fromTriples[0].data(), fromTriples[1].data(), fromTriples[2].data()};
                ASSERT_EQ(zyprSHTFwd_32f_P3I(points.x.data(), points.y.data(), points.z.data(), planePointers,
                                             static_cast<int32_t>(count), toPlanes, order, state.get()),
                          zypStsNoErr);
                ASSERT_EQ(zyprSHTFwd_32f_C3P3I(points.x.data(), points.y.data(), points.z.data(), triples.data(),
                                               static_cast<int32_t>(count), toTriples, order, state.get()),
                          zypStsNoErr);
                for (size_t c = 0; c < 3; ++c) {
                    const std::vector<float> expected = forwardModel(points, channels[c], count, order, state.get(), start);
                    ASSERT_TRUE(equalBits(fromPlanes[c].values(), expected)) << order << ' ' << count;
                    ASSERT_TRUE(equalBits(fromTriples[c].values(), expected)) << order << ' ' << count;
                    ASSERT_TRUE(fromPlanes[c].surroundingsIntact() && fromTriples[c].surroundingsIntact());
                }
            }
        }
    }
}

TEST(SHForward, AValueOfZeroAddsPositiveZerosWhateverTheBasisHolds) {
    for (const ZyprSHType type : bothTypes) {
        State state(15, type);
        for (const float zero : {0.0f, -0.0f}) {
            for (const float strange : {notANumber, infinity, -1.0f}) {
                std::vector<float> coefficients(256, 1.5f);
                coefficients[3] = -0.0f;
                coefficients[255] = -0.0f;
                const float x[2] = {strange, strange}, y[2] = {0.5f, 0.5f}, z[2] = {strange, 0.25f}, v[2] = {zero, zero};
                ASSERT_EQ(zyprSHTFwd_32f_C1I(x, y, z, v, 2, coefficients.data(), 15, state.get()), zypStsNoErr);
                std::vector<float> expected(256, 1.5f);
                expected[3] = expected[255] = 0.0f; // -0.0 + 0.0
                EXPECT_TRUE(equalBits(coefficients, expected));
            }
        }
    }
}

TEST(SHForward, AValueOfOneAddsTheBasisUnchanged) {
    for (const ZyprSHType type : bothTypes) {
        State state(15, type);
        const float x = 0.6f, y = 0.64f, z = 0.48f, one = 1;
        std::vector<float> coefficients(256, 0.0f);
        ASSERT_EQ(zyprSHTFwd_32f_C1I(&x, &y, &z, &one, 1, coefficients.data(), 15, state.get()), zypStsNoErr);
        EXPECT_TRUE(equalBits(coefficients, blockAt(x, y, z, 15, state.get())));
        const float infinite = infinity;
        std::vector<float> special(4, 0.0f);
        ASSERT_EQ(zyprSHTFwd_32f_C1I(&infinite, &y, &z, &one, 1, special.data(), 1, state.get()), zypStsNoErr);
        EXPECT_TRUE(equalValues(special, blockAt(infinite, y, z, 1, state.get())));
    }
}

TEST(SHForward, OneStrangePointAmongEightStaysWithItself) {
    // A group's other points must not see the NaN of a point whose value is zero.
    State state(15, zyprSHRecurrence);
    PointArrays points = pointsOnSphere(8, 20);
    std::vector<float> values(8, 0.5f);
    points.x[5] = notANumber;
    values[5] = 0;
    std::vector<float> coefficients(256, 0.25f);
    ASSERT_EQ(zyprSHTFwd_32f_C1I(points.x.data(), points.y.data(), points.z.data(), values.data(), 8, coefficients.data(), 15,
                                 state.get()),
              zypStsNoErr);
    EXPECT_TRUE(equalBits(coefficients, forwardModel(points, values, 8, 15, state.get(), std::vector<float>(256, 0.25f))));
    for (const float coefficient : coefficients) EXPECT_FALSE(std::isnan(coefficient));
}

TEST(SHForward, TwoCallsGiveTheSumOfBoth) {
    State state(6, zyprSHRecurrence);
    const PointArrays points = pointsOnSphere(20, 21);
    const std::vector<float> values = sampleValues(20, 22);
    std::vector<float> once(49, 0.0f), twice(49, 0.0f);
    const float *x = points.x.data(), *y = points.y.data(), *z = points.z.data();
    ASSERT_EQ(zyprSHTFwd_32f_C1I(x, y, z, values.data(), 20, once.data(), 6, state.get()), zypStsNoErr);
    ASSERT_EQ(zyprSHTFwd_32f_C1I(x, y, z, values.data(), 13, twice.data(), 6, state.get()), zypStsNoErr);
    ASSERT_EQ(zyprSHTFwd_32f_C1I(x + 13, y + 13, z + 13, values.data() + 13, 7, twice.data(), 6, state.get()), zypStsNoErr);
    EXPECT_TRUE(equalBits(once, twice));
}

TEST(SHForward, ALowerOrderTouchesOnlyItsCoefficients) {
    for (const ZyprSHType type : bothTypes) {
        State state(15, type);
        const float x = 0.6f, y = 0.64f, z = 0.48f, value = 2;
        for (uint32_t order = 0; order < 15; ++order) {
            std::vector<float> coefficients(256, 3.0f);
            ASSERT_EQ(zyprSHTFwd_32f_C1I(&x, &y, &z, &value, 1, coefficients.data(), order, state.get()), zypStsNoErr);
            for (size_t k = functions(order); k < 256; ++k) ASSERT_EQ(coefficients[k], 3.0f);
            ASSERT_NE(coefficients[0], 3.0f);
        }
    }
}

TEST(SHForward, ChannelsThatShareAVectorTakeTurnsPointByPoint) {
    State state(4, zyprSHRecurrence);
    const PointArrays points = pointsOnSphere(13, 23);
    const std::vector<float> channels[3] = {sampleValues(13, 24), sampleValues(13, 25), sampleValues(13, 26)};
    const float *const planes[3] = {channels[0].data(), channels[1].data(), channels[2].data()};
    for (const int distance : {0, 1, 24, 25}) { // vectors of 25, one `distance` floats behind the other
        const std::vector<float> start = Random(27).reals(25 + 2 * 25, -1, 1);
        std::vector<float> shared = start, expected = start;
        float *const vectors[3] = {shared.data(), shared.data() + distance, shared.data() + 2 * distance};
        ASSERT_EQ(zyprSHTFwd_32f_P3I(points.x.data(), points.y.data(), points.z.data(), planes, 13, vectors, 4, state.get()),
                  zypStsNoErr);
        for (size_t i = 0; i < 13; ++i) {
            const std::vector<float> basis = blockAt(points.x[i], points.y[i], points.z[i], 4, state.get());
            for (int c = 0; c < 3; ++c) addScaled(basis.data(), channels[c][i], 25, expected.data() + c * distance);
        }
        EXPECT_TRUE(equalBits(shared, expected)) << distance;
    }
}

// ---- Inverse ------------------------------------------------------------------------------------------------------------

TEST(SHInverse, SumsInTheStatedOrderAtEveryOrderAndAlignment) {
    const PointArrays points = pointsOnSphere(9, 28);
    for (const ZyprSHType type : bothTypes) {
        State state(15, type);
        for (uint32_t order = 0; order <= 15; ++order) {
            const std::vector<float> values = Random(29 + order).reals(functions(order), -1, 1);
            for (size_t misalignment = 0; misalignment < 32; ++misalignment) {
                Coefficients coefficients(values, misalignment);
                const size_t count = misalignment % 9 + 1;
                GuardedArray<float> destination(count);
                ASSERT_EQ(zyprSHTInv_32f_C1(coefficients.data(), order, points.x.data(), points.y.data(), points.z.data(),
                                            destination.data(), static_cast<int32_t>(count), state.get()),
                          zypStsNoErr);
                ASSERT_TRUE(equalBits(destination, inverseModel(points, count, order, state.get(), values, misalignment)))
                    << name(type) << " order " << order << " misalignment " << misalignment;
                ASSERT_TRUE(destination.surroundingsIntact());
            }
        }
    }
}

TEST(SHInverse, TheOrderOfSummationShowsInTheResult) {
    // With terms of very different sizes, each of the orders in which a sum could be taken gives another result.
    State state(15, zyprSHRecurrence);
    const PointArrays points = pointsOnSphere(40, 30);
    Random random(31);
    std::vector<float> values(256);
    for (float &value : values) value = random.real(-1, 1) * std::pow(10.0f, random.real(-3, 3));
    std::vector<std::vector<float>> results;
    for (const size_t misalignment : {0u, 1u, 4u, 12u, 28u}) {
        Coefficients coefficients(values, misalignment);
        std::vector<float> destination(40);
        ASSERT_EQ(zyprSHTInv_32f_C1(coefficients.data(), 15, points.x.data(), points.y.data(), points.z.data(),
                                    destination.data(), 40, state.get()),
                  zypStsNoErr);
        EXPECT_TRUE(equalBits(destination, inverseModel(points, 40, 15, state.get(), values, misalignment)));
        for (const auto &other : results) EXPECT_NE(destination, other);
        results.push_back(destination);
    }
}

TEST(SHInverse, SpecialValuesGoThroughTheSameSums) {
    State state(15, zyprSHRecurrence);
    const PointArrays points = specialPoints();
    for (const uint32_t order : {0u, 1u, 3u, 4u, 15u}) {
        std::vector<float> values = Random(32).reals(functions(order), -1, 1);
        values[0] = -0.0f;
        for (const size_t misalignment : {0u, 8u, 30u}) {
            Coefficients coefficients(values, misalignment);
            std::vector<float> destination(points.size());
            ASSERT_EQ(zyprSHTInv_32f_C1(coefficients.data(), order, points.x.data(), points.y.data(), points.z.data(),
                                        destination.data(), static_cast<int32_t>(points.size()), state.get()),
                      zypStsNoErr);
            EXPECT_TRUE(
                equalValues(destination, inverseModel(points, points.size(), order, state.get(), values, misalignment)));
        }
    }
}

TEST(SHInverse, ThreeChannelFormsDoTheSameForEachChannel) {
    const PointArrays points = pointsOnSphere(21, 33);
    for (const ZyprSHType type : bothTypes) {
        State state(15, type);
        for (uint32_t order = 0; order <= 15; ++order) {
            const std::vector<float> values[3] = {Random(34).reals(functions(order), -1, 1),
                                                  Random(35).reals(functions(order), -1, 1),
                                                  Random(36).reals(functions(order), -1, 1)};
            constexpr size_t misalignments[3] = {0, 12, 20};
            Coefficients vectors[3] = {Coefficients(values[0], misalignments[0]), Coefficients(values[1], misalignments[1]),
                                       Coefficients(values[2], misalignments[2])};
            const float *const pointers[3] = {vectors[0].data(), vectors[1].data(), vectors[2].data()};
            for (const size_t count : {1u, 7u, 8u, 9u, 21u}) {
                GuardedArray<float> planes[3] = {GuardedArray<float>(count), GuardedArray<float>(count),
                                                 GuardedArray<float>(count)};
                float *const planePointers[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
                GuardedArray<float> triples(3 * count);
                const auto n = static_cast<int32_t>(count);
                ASSERT_EQ(zyprSHTInv_32f_P3(pointers, order, points.x.data(), points.y.data(), points.z.data(), planePointers,
                                            n, state.get()),
                          zypStsNoErr);
                ASSERT_EQ(zyprSHTInv_32f_P3C3(pointers, order, points.x.data(), points.y.data(), points.z.data(),
                                              triples.data(), n, state.get()),
                          zypStsNoErr);
                for (size_t c = 0; c < 3; ++c) {
                    const std::vector<float> expected =
                        inverseModel(points, count, order, state.get(), values[c], misalignments[c]);
                    ASSERT_TRUE(equalBits(planes[c], expected)) << order;
                    for (size_t i = 0; i < count; ++i) ASSERT_EQ(bits(triples[3 * i + c]), bits(expected[i])) << order;
                    ASSERT_TRUE(planes[c].surroundingsIntact() && triples.surroundingsIntact());
                }
            }
        }
    }
}

TEST(SHInverse, OfAnImpulseIsTheBasissSelfDotProduct) {
    for (const ZyprSHType type : bothTypes) {
        State state(8, type);
        const float x = 0.36f, y = 0.48f, z = 0.8f, one = 1;
        GuardedArray<float> coefficients(std::vector<float>(81, 0.0f), 0);
        ASSERT_EQ(zyprSHTFwd_32f_C1I(&x, &y, &z, &one, 1, coefficients.data(), 8, state.get()), zypStsNoErr);
        float value = 0;
        ASSERT_EQ(zyprSHTInv_32f_C1(coefficients.data(), 8, &x, &y, &z, &value, 1, state.get()), zypStsNoErr);
        const std::vector<float> basis = blockAt(x, y, z, 8, state.get());
        EXPECT_EQ(bits(value), bits(dotProduct(basis.data(), basis.data(), 81, 0)));
        EXPECT_NEAR(value, 81 / (4 * std::numbers::pi), 1e-4); // the addition theorem; far from the input value of 1
    }
}

TEST(SHInverse, RebuildsABandLimitedFunction) {
    // Projected with the solid angle in the values, a function of order 4 comes back.
    State state(4, zyprSHRecurrence);
    const std::vector<float> chosen = Random(37).reals(25, -1, 1);
    PointArrays points;
    std::vector<float> weights;
    constexpr int rows = 128, columns = 64;
    for (int i = 0; i < rows; ++i) {
        const double z = -1 + (i + 0.5) * 2 / rows, radius = std::sqrt(1 - z * z);
        for (int j = 0; j < columns; ++j) {
            const double phi = 2 * std::numbers::pi * j / columns;
            points.add(static_cast<float>(radius * std::cos(phi)), static_cast<float>(radius * std::sin(phi)),
                       static_cast<float>(z));
            weights.push_back(static_cast<float>(4 * std::numbers::pi / (rows * columns)));
        }
    }
    const auto count = static_cast<int32_t>(points.size());
    std::vector<float> values(points.size()), projected(25, 0.0f);
    const float *x = points.x.data(), *y = points.y.data(), *z = points.z.data();
    ASSERT_EQ(zyprSHTInv_32f_C1(chosen.data(), 4, x, y, z, values.data(), count, state.get()), zypStsNoErr);
    for (size_t i = 0; i < values.size(); ++i) values[i] *= weights[i];
    ASSERT_EQ(zyprSHTFwd_32f_C1I(x, y, z, values.data(), count, projected.data(), 4, state.get()), zypStsNoErr);
    for (size_t k = 0; k < 25; ++k) EXPECT_NEAR(projected[k], chosen[k], 2e-3);
}
