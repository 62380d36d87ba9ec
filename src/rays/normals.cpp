// Normals: one per triangle, once per scene, and one per hit, flat or interpolated from vertex normals.

#include <algorithm>

#include "frame/fronts.h"
#include "frame/team.h"
#include "rays/triple.h"
#include "zypcore.h"

namespace zypr {
namespace {

// ---- Triangle normals ---------------------------------------------------------------------------------------------------

// The unit vector along a x b, and zeros where the square of its length is below epsilon.
Triple<Double4> unitNormal(Triple<Double4> a, Triple<Double4> b) {
    const Triple<Double4> n = {
        fusedDifference(b.z, a.y, a.z * b.y),
        fusedDifference(a.z, b.x, b.z * a.x),
        fusedDifference(b.y, a.x, a.y * b.x),
    };
    const Double4 square = dotFromY(n, n);
    const Double4 length = squareRoot(square);
    const __m256d degenerate = _mm256_cmp_pd(square.v, _mm256_set1_pd(2.220446049250313e-16), _CMP_LT_OQ);
    const auto scaled = [&](Double4 component) { return Double4{_mm256_andnot_pd(degenerate, (component / length).v)}; };
    return {scaled(n.x), scaled(n.y), scaled(n.z)};
}

Triple<Double4> widened(Triple<Float4> a) { return {widened(a.x), widened(a.y), widened(a.z)}; }

// Normals of four triangles. The fourth word of a triangle is the caller's and is not read.
Triple<Float4> normalsOfFour(const float *vertices, const int32_t *const (&triangles)[4]) {
    const auto corner = [&](int number) {
        const auto address = [&](int lane) { return vertices + int64_t{3} * triangles[lane][number]; };
        return widened(gathered({address(0), address(1), address(2), address(3)}));
    };
    const Triple<Double4> p2 = corner(2);
    const Triple<Double4> n = unitNormal(corner(0) - p2, corner(1) - p2);
    return {narrowed(n.x), narrowed(n.y), narrowed(n.z)};
}

void triangleNormals(const float *vertices, const int32_t *triangles, float *normals, TeamShare share) {
    const int64_t end = int64_t{share.first} + share.count;
    int64_t first = share.first;
    for (; first + 4 <= end; first += 4) {
        const int32_t *four = triangles + 4 * first;
        storePacked(normals + 3 * first, normalsOfFour(vertices, {four, four + 4, four + 8, four + 12}));
    }
    if (first == end) return;
    const auto triangle = [&](int lane) { return triangles + 4 * std::min(first + lane, end - 1); };
    float last[12];
    storePacked(last, normalsOfFour(vertices, {triangle(0), triangle(1), triangle(2), triangle(3)}));
    std::copy_n(last, 3 * (end - first), normals + 3 * first);
}

// A thread is worth waking for this many triangles, some 50 microseconds of work.
constexpr int32_t trianglesPerThread = 16384;

int32_t wantedThreads(int32_t count) { return std::min(ownGetNumThreads(), count / trianglesPerThread); }

// ---- Normals at hits ----------------------------------------------------------------------------------------------------

constexpr float noNormal[3] = {0.0f, 0.0f, 0.0f};

Int8 loadTriangles(const int32_t *rayTriangle, AllLanes lanes) { return lanes.load(rayTriangle); }
Int8 loadTriangles(const int32_t *rayTriangle, SomeLanes some) {
    return some.load(rayTriangle) | bitsOf(~some.lanes); // no triangle in the missing lanes
}

void flatNormals(const float *normals, const int32_t *rayTriangle, float *const surface[3], int32_t count) {
    forGroups(0, count, [&](ptrdiff_t first, auto lanes) {
        const Int8 triangle = loadTriangles(rayTriangle + first, lanes);
        if (all(isNegative(triangle))) return store(surface, first, lanes, Triple<Float8>{});
        const auto normal = [&](int lane) { return triangle.v[lane] < 0 ? noNormal : normals + int64_t{3} * triangle.v[lane]; };
        store(surface, first, lanes,
              gathered({normal(0), normal(1), normal(2), normal(3), normal(4), normal(5), normal(6), normal(7)}));
    });
}

constexpr float shortest = 1.1920929e-7f; // squared length, at or near which an interpolated normal has no direction

// By a true root and true divisions, with zeros below the threshold.
Triple<Float8> unitByDivision(Triple<Float8> m, Float8 square) {
    const Float8 length = squareRoot(square);
    return keep(~(square < broadcast<8>(shortest)), Triple<Float8>{m.x / length, m.y / length, m.z / length});
}

// By the processor's estimate r of 1 / sqrt(square), refined once: m x (-r / 2) x (square r^2 - 3). Up to the threshold r is 0,
// which leaves zeros with the signs of m.
Triple<Float8> unitByEstimate(Triple<Float8> m, Float8 square) {
    const Float8 r = keep(square > broadcast<8>(shortest), reciprocalRootEstimate(square));
    const Float8 factor = broadcast<8>(-0.5f) * r * (square * (r * r) - broadcast<8>(3.0f));
    return {m.x * factor, m.y * factor, m.z * factor};
}

template <auto unit>
void smoothNormals(const float *vertexNormals, const int32_t *indices, const int32_t *rayTriangle,
                   const float *const rayBary[2], float *const surface[3], int32_t count, int32_t indexStride) {
    forGroups(0, count, [&](ptrdiff_t first, auto lanes) {
        const Int8 triangle = loadTriangles(rayTriangle + first, lanes);
        const Mask8 live = ~isNegative(triangle);
        if (none(live)) return store(surface, first, lanes, Triple<Float8>{});
        const auto corner = [&](int number) {
            const auto normal = [&](int lane) {
                const int64_t number0 = int64_t{triangle.v[lane]} * indexStride;
                return triangle.v[lane] < 0 ? noNormal : vertexNormals + int64_t{3} * indices[number0 + number];
            };
            return gathered({normal(0), normal(1), normal(2), normal(3), normal(4), normal(5), normal(6), normal(7)});
        };
        const Triple<Float8> n0 = corner(0), n1 = corner(1), n2 = corner(2);
        const Float8 u = lanes.load(rayBary[0] + first), v = lanes.load(rayBary[1] + first);
        const Float8 w = broadcast<8>(1.0f) - u - v;
        const Triple<Float8> m = {
            fused(w, n2.x, fused(v, n1.x, u * n0.x)),
            fused(w, n2.y, fused(v, n1.y, u * n0.y)),
            fused(w, n2.z, fused(v, n1.z, u * n0.z)),
        };
        store(surface, first, lanes, keep(live, unit(m, dotFromY(m, m))));
    });
}

// Whether interpolated normals are scaled by the processor's estimate: whole fours, with every array aligned.
bool scalesByEstimate(const float *vertexNormals, const int32_t *indices, const int32_t *rayTriangle,
                      const float *const rayBary[2], float *const surface[3], int32_t count) {
    return count % 4 == 0 &&
           allAligned<16>(vertexNormals, reinterpret_cast<const float *>(indices), reinterpret_cast<const float *>(rayTriangle),
                          rayBary[0], rayBary[1], surface[0], surface[1], surface[2]);
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprTriangleNormal_32f(const float *vertices, const int32_t *triangles, float *normals, int32_t count) {
    if (vertices == nullptr) return zypStsNullPtrErr;
    if (triangles == nullptr) return zypStsNullPtrErr;
    if (normals == nullptr) return zypStsNullPtrErr;
    if (count < 1) return zypStsNoErr;
    runTeam(wantedThreads(count), [&](int thread, int teamSize) {
        triangleNormals(vertices, triangles, normals, teamShare(count, thread, teamSize));
    });
    return zypStsNoErr;
}

zypStatus front_zyprSurfFlatNormal_32f(const float *normals, const int32_t *rayTriangle, float *const surface[3],
                                       int32_t count) {
    if (normals == nullptr) return zypStsNullPtrErr;
    if (rayTriangle == nullptr) return zypStsNullPtrErr;
    if (count < 1) return zypStsNoErr;
    flatNormals(normals, rayTriangle, surface, count);
    return zypStsNoErr;
}

zypStatus front_zyprSurfSmoothNormal_32f(const float *vertexNormals, const int32_t *indices, const int32_t *rayTriangle,
                                         const float *const rayBary[2], float *const surface[3], int32_t count,
                                         int32_t indexStride) {
    if (vertexNormals == nullptr) return zypStsNullPtrErr;
    if (indices == nullptr) return zypStsNullPtrErr;
    if (rayTriangle == nullptr) return zypStsNullPtrErr;
    if (rayBary == nullptr) return zypStsNullPtrErr;
    if (surface == nullptr) return zypStsNullPtrErr;
    if (count < 1) return zypStsNoErr;
    if (scalesByEstimate(vertexNormals, indices, rayTriangle, rayBary, surface, count))
        smoothNormals<unitByEstimate>(vertexNormals, indices, rayTriangle, rayBary, surface, count, indexStride);
    else
        smoothNormals<unitByDivision>(vertexNormals, indices, rayTriangle, rayBary, surface, count, indexStride);
    return zypStsNoErr;
}
