// The references of the node in work: their bounds, and their distribution to the two sides of a split plane.

#include <bit>
#include <cstring>

#include "scene/kd_build.h"
#include "simd/vector.h"

namespace zypr {
namespace {

// ---- Bounds -------------------------------------------------------------------------------------------------------------

struct PolygonBounds {
    Float4 low, high; // x, y, z and a lane of zeros
};

// Among equal coordinates that of the earliest vertex stays, which shows in the sign of a zero.
PolygonBounds boundsOf(const ZyprKDPrimRef &ref) {
    const Mask4 xyz = firstLanes<4>(3);
    const Float4 first = load(ref.polygon[0], xyz), second = load(ref.polygon[1], xyz), third = load(ref.polygon[2], xyz);
    PolygonBounds bounds{minimum(third, minimum(second, first)), maximum(third, maximum(second, first))};
    const auto include = [&](uint32_t i) {
        const Float4 vertex = load(ref.polygon[i], xyz);
        bounds = {minimum(vertex, bounds.low), maximum(vertex, bounds.high)};
    };
    // Up to five vertices without a branch.
    const uint32_t count = ref.vertexCount();
    include(count > 3 ? 3 : 2);
    include(count > 4 ? 4 : 2);
    for (uint32_t i = 5; i < count; ++i) include(i);
    return bounds;
}

void storeLanes(float *const *arrays, int32_t i, Float4 lanes) {
    float values[4];
    store(values, lanes);
    for (int axis = 0; axis < 3; ++axis) arrays[axis][i] = values[axis];
}

void storeTransposed(float *const *arrays, int32_t i, Float4 a, Float4 b, Float4 c, Float4 d) {
    Float4 rows[4] = {a, b, c, d};
    transpose(rows);
    for (int axis = 0; axis < 3; ++axis) store(arrays[axis] + i, rows[axis]);
}

// Far enough ahead that a polygon has come when its vertices are asked for, and they when they are read.
constexpr int32_t polygonsAhead = 16, verticesAhead = 8;

void prefetchAhead(const ZyprKDPrimRef *refs, int32_t i, int32_t count) {
    if (i + polygonsAhead < count) prefetch(refs[i + polygonsAhead].polygon);
    if (i + verticesAhead < count) {
        const KDVertex *polygon = refs[i + verticesAhead].polygon;
        for (int k = 0; k < 3; ++k) prefetch(polygon[k]);
    }
}

// ---- Partition ----------------------------------------------------------------------------------------------------------

// Row m lists the set bits of m, ascending, one per byte.
struct PackingTable {
    uint64_t rows[256];

    constexpr PackingTable() : rows{} {
        for (unsigned m = 0; m < 256; ++m) {
            int place = 0;
            for (unsigned bit = 0; bit < 8; ++bit) {
                if (m >> bit & 1) rows[m] |= static_cast<uint64_t>(bit) << (8 * place++);
            }
        }
    }
};
constexpr PackingTable packingTable;

// The lanes of the mask's bits, moved to the front.
Float8 packed(Float8 lanes, unsigned bits) {
    const __m128i row = _mm_cvtsi64_si128(static_cast<long long>(packingTable.rows[bits]));
    return {_mm256_permutevar8x32_ps(lanes.v, _mm256_cvtepu8_epi32(row))};
}

struct Sides {
    unsigned left, right; // bits of the lanes that go there; a reference cut by the plane goes to both
};

// A reference that ends at the plane is on the left, one that starts there on the right, and one that lies in it on the planar
// side: the rule by which the search has counted.
Sides sidesOf(Float8 low, Float8 high, float plane, int32_t planarSide) {
    const Float8 v = broadcast<8>(plane);
    const unsigned ends = signBits(high <= v), starts = signBits(low >= v);
    const unsigned inPlane = ends & starts;
    return planarSide == 0 ? Sides{~starts | inPlane, ~ends} : Sides{~starts, ~ends | inPlane};
}

void moveEight(ZyprKDPrimRef *to, const ZyprKDPrimRef *from) {
    ZyprKDPrimRef held[8];
    std::memcpy(held, from, sizeof held);
    std::memcpy(to, held, sizeof held);
}

} // namespace

void kdGatherBounds(const KDBounds &bounds, const ZyprKDPrimRef *refs, int32_t count) {
    int32_t i = 0;
    for (; i + 4 <= count; i += 4) {
        PolygonBounds four[4];
        for (int k = 0; k < 4; ++k) {
            prefetchAhead(refs, i + k, count);
            four[k] = boundsOf(refs[i + k]);
        }
        storeTransposed(bounds.low, i, four[0].low, four[1].low, four[2].low, four[3].low);
        storeTransposed(bounds.high, i, four[0].high, four[1].high, four[2].high, four[3].high);
    }
    for (; i < count; ++i) {
        const PolygonBounds one = boundsOf(refs[i]);
        storeLanes(bounds.low, i, one.low);
        storeLanes(bounds.high, i, one.high);
    }
}

zypStatus kdPartition(const KDBounds &bounds, ZyprKDPrimRef *refs, int32_t count, const ZyprKDSplitResult &split,
                      ZyprKDPrimRef *left, ZyprKDBuildState *state) {
    // Where the two pieces of a reference that is to be cut stand.
    auto *leftPlaces = reinterpret_cast<int32_t *>(bounds.spare[0]),
         *rightPlaces = reinterpret_cast<int32_t *>(bounds.spare[1]);
    int32_t leftCount = 0, rightCount = 0, cutCount = 0;
    for (int32_t i = 0; i < count; i += 8) {
        const int32_t lanes = count - i < 8 ? count - i : 8;
        const Mask8 active = firstLanes<8>(lanes);
        Sides sides = sidesOf(load(bounds.low[split.axis] + i, active), load(bounds.high[split.axis] + i, active), split.plane,
                              split.planarSide);
        sides.left &= (1u << lanes) - 1;
        sides.right &= (1u << lanes) - 1;
        const int32_t toLeft = std::popcount(sides.left), toRight = std::popcount(sides.right);
        if (toLeft > split.leftCount - leftCount || toRight > split.rightCount - rightCount) return zypStsBuildInconsistentErr;

        if (toRight == 0 && lanes == 8) {
            moveEight(left + leftCount, refs + i);
            leftCount += 8;
            continue;
        }
        const Mask8 kept = firstLanes<8>(toRight);
        for (int axis = 0; axis < 3; ++axis) {
            const Float8 low = packed(load(bounds.low[axis] + i, active), sides.right);
            const Float8 high = packed(load(bounds.high[axis] + i, active), sides.right);
            store(bounds.low[axis] + rightCount, kept, low);
            store(bounds.high[axis] + rightCount, kept, high);
        }
        if (toLeft == 0 && lanes == 8) {
            moveEight(refs + rightCount, refs + i);
            rightCount += 8;
            continue;
        }
        // Without a branch each reference is written on both sides, and stays where it belongs.
        for (int32_t k = 0; k < lanes; ++k) {
            const ZyprKDPrimRef ref = refs[i + k];
            const auto onLeft = static_cast<int32_t>(sides.left >> k & 1), onRight = static_cast<int32_t>(sides.right >> k & 1);
            left[leftCount] = ref;
            refs[rightCount] = ref;
            leftPlaces[cutCount] = leftCount;
            rightPlaces[cutCount] = rightCount;
            leftCount += onLeft;
            rightCount += onRight;
            cutCount += onLeft & onRight;
        }
    }
    if (leftCount != split.leftCount || rightCount != split.rightCount) return zypStsBuildInconsistentErr;

    for (int32_t i = 0; i < cutCount; ++i) {
        ZyprKDPrimRef *leftPiece = left + leftPlaces[i];
        const int32_t place = rightPlaces[i];
        if (const zypStatus status = kdSplitPolygon(*leftPiece, leftPiece, refs + place, split.plane, split.axis, state))
            return status;
        const PolygonBounds rightBounds = boundsOf(refs[place]);
        storeLanes(bounds.low, place, rightBounds.low);
        storeLanes(bounds.high, place, rightBounds.high);
    }
    return zypStsNoErr;
}

} // namespace zypr
