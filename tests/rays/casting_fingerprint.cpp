#include "support/fingerprint.h"
#include "support/random.h"
#include "zypr.h"

namespace {

using zypr::test::Random;

// A hundred and three rays: whole groups and a rest.
constexpr int32_t rayCount = 103;

struct Rays {
    explicit Rays(uint32_t seed) : random(seed) {
        for (int a = 0; a < 3; ++a) {
            first[a] = random.reals(rayCount, -2.0f, 2.0f);
            second[a] = random.reals(rayCount, -1.0f, 1.0f);
            result[a].resize(rayCount);
            firstPlanes[a] = first[a].data();
            secondPlanes[a] = second[a].data();
            resultPlanes[a] = result[a].data();
        }
        scalar = random.reals(rayCount, -3.0f, 3.0f);
        for (int i = 0; i < rayCount; ++i) mask.push_back(random.maskWord());
    }
    void addTo(zypr::test::Fingerprint &print) const {
        for (const auto &plane : result) print.add(plane);
    }

    Random random;
    std::vector<float> first[3], second[3], result[3], scalar;
    std::vector<int32_t> mask;
    const float *firstPlanes[3], *secondPlanes[3];
    float *resultPlanes[3];
};

} // namespace

FINGERPRINT(zyprCastEye_32f) {
    Rays rays(1);
    const float base[3] = {0.1f, 0.2f, 0.3f}, column[3] = {0.01f, 0.02f, 0.03f}, row[3] = {0.04f, 0.05f, 0.06f};
    zyprCastEye_32f(base, column, row, 3, 5, {16, 8}, rays.resultPlanes, {17, 6});
    rays.addTo(print);
}

FINGERPRINT(zyprCastReflectionRay_32f) {
    Rays rays(2);
    for (const int32_t count : {rayCount, rayCount / 4 * 4}) {
        zyprCastReflectionRay_32f(rays.firstPlanes, rays.mask.data(), rays.secondPlanes, rays.resultPlanes, count);
        rays.addTo(print);
    }
}

FINGERPRINT(zyprCastShadowSO_32f) {
    Rays rays(3);
    const float light[3] = {0.5f, -0.25f, 1.0f};
    std::vector<float> lightDot(rayCount);
    zyprCastShadowSO_32f(light, rays.scalar.data(), rays.secondPlanes, rays.firstPlanes, rays.mask.data(), lightDot.data(),
                         rays.resultPlanes, rayCount);
    rays.addTo(print);
    print.add(lightDot);
    print.add(rays.mask);
}

FINGERPRINT(zyprHitPoint3DEpsM0_32f_M) {
    Rays rays(4);
    zyprHitPoint3DEpsM0_32f_M(rays.firstPlanes, rays.secondPlanes, rays.scalar.data(), rays.mask.data(), rays.resultPlanes,
                              rayCount, 0.999f);
    rays.addTo(print);
}

FINGERPRINT(zyprHitPoint3DEpsS0_32f_M) {
    Rays rays(5);
    const float origin[3] = {0.5f, -0.25f, 1.0f};
    zyprHitPoint3DEpsS0_32f_M(origin, rays.secondPlanes, rays.scalar.data(), rays.mask.data(), rays.resultPlanes, rayCount,
                              0.999f);
    rays.addTo(print);
}

FINGERPRINT(zyprTriangleNormal_32f) {
    Random random(6);
    const std::vector<float> vertices = random.reals(300, -5.0f, 5.0f);
    std::vector<int32_t> triangles;
    for (int i = 0; i < 4 * 57; ++i) triangles.push_back(random.integer(0, 99));
    std::vector<float> normals(3 * 57);
    zyprTriangleNormal_32f(vertices.data(), triangles.data(), normals.data(), 57);
    print.add(normals);
}

FINGERPRINT(zyprSurfFlatNormal_32f) {
    Rays rays(7);
    const std::vector<float> normals = rays.random.reals(3 * 50, -1.0f, 1.0f);
    std::vector<int32_t> triangles;
    for (int i = 0; i < rayCount; ++i) triangles.push_back(rays.random.integer(-20, 49));
    zyprSurfFlatNormal_32f(normals.data(), triangles.data(), rays.resultPlanes, rayCount);
    rays.addTo(print);
}

FINGERPRINT(zyprSurfSmoothNormal_32f) {
    Rays rays(8);
    const std::vector<float> normals = rays.random.reals(3 * 50, -1.0f, 1.0f);
    std::vector<int32_t> triangles, indices;
    for (int i = 0; i < rayCount; ++i) triangles.push_back(rays.random.integer(-20, 49));
    for (int i = 0; i < 4 * 50; ++i) indices.push_back(rays.random.integer(0, 49));
    const float *bary[2] = {rays.scalar.data(), rays.first[0].data()};
    for (const int32_t count : {rayCount, rayCount / 4 * 4}) {
        zyprSurfSmoothNormal_32f(normals.data(), indices.data(), triangles.data(), bary, rays.resultPlanes, count, 4);
        rays.addTo(print);
    }
}
