// The precomputed record of each triangle that the ray queries test against, four triangles side by side. All arithmetic is in
// double precision; each float stored is the rounding of one double.

#include <cstring>

#include "frame/fronts.h"
#include "simd/vector.h"

namespace zypr {
namespace {

constexpr int lanes = 4;
constexpr double smallestSlope = 2.220446049250313e-16;

// One point of each of four triangles, by axes.
struct FourPoints {
    Float4 at[3];

    FourPoints(const float *vertices, const int32_t *const *corners, int corner) {
        const Mask4 xyz = firstLanes<4>(3);
        Float4 row[lanes];
        for (int i = 0; i < lanes; ++i) row[i] = load(vertices + 3 * static_cast<int64_t>(corners[i][corner]), xyz);
        transpose(row);
        for (int axis = 0; axis < 3; ++axis) at[axis] = row[axis];
    }
};

struct FourVectors {
    Double4 at[3];

    FourVectors(const FourPoints &to, const FourPoints &from) {
        for (int axis = 0; axis < 3; ++axis) at[axis] = widened(to.at[axis]) - widened(from.at[axis]);
    }
};

Double4 magnitude(Double4 a) { return {_mm256_andnot_pd(_mm256_set1_pd(-0.0), a.v)}; }
__m256d isAbove(Double4 a, Double4 b) { return _mm256_cmp_pd(a.v, b.v, _CMP_GT_OQ); }
__m256d isBelow(Double4 a, Double4 b) { return _mm256_cmp_pd(a.v, b.v, _CMP_LT_OQ); }
Double4 pick(__m256d mask, Double4 yes, Double4 no) { return {_mm256_blendv_pd(no.v, yes.v, mask)}; }

// The upper halves of the lanes' masks.
Mask4 narrowed(__m256d mask) {
    const __m128 evenOdd = _mm_shuffle_ps(_mm256_castps256_ps128(_mm256_castpd_ps(mask)),
                                          _mm256_extractf128_ps(_mm256_castpd_ps(mask), 1), _MM_SHUFFLE(3, 1, 3, 1));
    return maskOf(bitsOf(Float4{evenOdd}));
}

// The dominant axis c of each normal, and with it the choice of what belongs to c and to the other axes p and q. A tie leaves
// the earlier axis.
struct FourAxes {
    __m256d isY, isZ;

    explicit FourAxes(const Double4 *n) {
        isY = isAbove(magnitude(n[1]), magnitude(n[0]));
        isZ = isAbove(magnitude(n[2]), pick(isY, magnitude(n[1]), magnitude(n[0])));
        isY = _mm256_andnot_pd(isZ, isY);
    }
    Double4 c(const Double4 *of) const { return pick(isZ, of[2], pick(isY, of[1], of[0])); }
    Double4 p(const Double4 *of) const { return pick(_mm256_or_pd(isY, isZ), of[0], of[1]); }
    Double4 q(const Double4 *of) const { return pick(isZ, of[1], of[2]); }
};

void storeRecords(ZyprTriangleAccel *accel, const Float4 (&words)[10]) {
    Float4 first[4] = {words[0], words[1], words[2], words[3]}, second[4] = {words[4], words[5], words[6], words[7]};
    transpose(first);
    transpose(second);
    const Float4 lastPairs[2] = {unpackedLow(words[8], words[9]), unpackedHigh(words[8], words[9])};
    for (int i = 0; i < lanes; ++i) {
        auto *record = reinterpret_cast<char *>(accel + i);
        std::memcpy(record, &first[i], 16);
        std::memcpy(record + 16, &second[i], 16);
        std::memcpy(record + 32, reinterpret_cast<const char *>(lastPairs) + 8 * i, 8);
    }
}

void initFour(ZyprTriangleAccel *accel, const float *vertices, const int32_t *const *corners) {
    const FourPoints p0(vertices, corners, 0), p1(vertices, corners, 1), p2(vertices, corners, 2);
    const FourVectors aVectors(p0, p2), bVectors(p1, p2);
    const Double4 *a = aVectors.at, *b = bVectors.at;
    const Double4 n[3] = {fusedDifference(b[2], a[1], a[2] * b[1]), fusedDifference(b[0], a[2], b[2] * a[0]),
                          fusedDifference(a[0], b[1], a[1] * b[0])};
    const FourAxes axes(n);
    const Double4 nc = axes.c(n), np = axes.p(n), nq = axes.q(n);
    const Double4 r = broadcastDouble(1.0) / nc;
    const Double4 s = r * pick(axes.isY, broadcastDouble(-1.0), broadcastDouble(1.0));

    const Double4 slope = broadcastDouble(smallestSlope);
    const Mask4 perpendicular = narrowed(_mm256_and_pd(isBelow(magnitude(nq), slope), isBelow(magnitude(np), slope)));
    const Mask4 isY = narrowed(axes.isY), isZ = narrowed(axes.isZ);
    const Mask4 valid = narrowed(_mm256_cmp_pd(nc.v, _mm256_setzero_pd(), _CMP_NEQ_UQ));
    // 16 c + 4 p + q
    const Int4 choice = select(isZ, broadcast<4>(33), select(isY, broadcast<4>(18), broadcast<4>(6)));
    const Int4 flag = bitsOf(perpendicular) & broadcast<4>(INT32_MIN);

    Float4 words[10] = {floatsOf(choice | flag),
                        keep(~perpendicular, narrowed(r * np)),
                        select(isZ, p2.at[2], select(isY, p2.at[1], p2.at[0])),
                        keep(~perpendicular, narrowed(r * nq)),
                        select(isY | isZ, p2.at[0], p2.at[1]),
                        select(isZ, p2.at[1], p2.at[2]),
                        narrowed(s * axes.p(b)),
                        narrowed(s * axes.q(b)),
                        narrowed(s * axes.p(a)),
                        narrowed(s * axes.q(a))};
    for (Float4 &word : words) word = keep(valid, word);
    storeRecords(accel, words);
}

} // namespace
} // namespace zypr

zypStatus front_zyprTriangleAccelGetSize(int32_t *size) {
    if (size == nullptr) return zypStsNullPtrErr;
    *size = sizeof(ZyprTriangleAccel);
    return zypStsNoErr;
}

zypStatus front_zyprTriangleAccelInit(ZyprTriangleAccel *accel, const float *vertices, const int32_t *triangles,
                                      int32_t count) {
    const auto corners = [&](int64_t triangle) { return triangles + 4 * triangle; };
    int64_t i = 0;
    for (; i + zypr::lanes <= count; i += zypr::lanes) {
        const int32_t *const four[] = {corners(i), corners(i + 1), corners(i + 2), corners(i + 3)};
        zypr::initFour(accel + i, vertices, four);
    }
    if (i >= count) return zypStsNoErr;
    // The last ones, with the last repeated.
    const int64_t last = static_cast<int64_t>(count) - 1;
    const int32_t *four[zypr::lanes];
    for (int64_t k = 0; k < zypr::lanes; ++k) four[k] = corners(i + k < last ? i + k : last);
    ZyprTriangleAccel records[zypr::lanes];
    zypr::initFour(records, vertices, four);
    std::memcpy(accel + i, records, static_cast<size_t>(count - i) * sizeof(ZyprTriangleAccel));
    return zypStsNoErr;
}
