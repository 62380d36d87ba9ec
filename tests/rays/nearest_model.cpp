// The model of the nearest-hit queries, zyprIntersectMO_32f and zyprIntersectEyeSO_32f.
#include "rays/model_walks.h"

namespace zypr::test::model {
namespace {

void nearestVector(const std::function<Vec(size_t)> &origin, bool skipsDead, const Planes &direction, Results &results,
                   const ZyprScene &scene, int width, int height) {
    const TileScheme scheme = {width, height};
    for (int32_t &k : results.triangle) k = -1;
    scheme.tiles([&](size_t first) {
        if (skipsDead && scheme.dead(first, results.dist)) return;
        scheme.packets(first, scheme.octants(first, direction),
                       [&](int octant, const std::vector<size_t> &numbers, const std::vector<bool> &in) {
                           Lanes lanes(numbers.size());
                           for (size_t i = 0; i < lanes.size(); ++i) {
                               Lane &lane = lanes[i];
                               lane.o = origin(numbers[i]);
                               lane.d = at(direction, numbers[i]);
                               for (size_t a = 0; a < 3; ++a) lane.inv[a] = inverseOf(lane.d[a], 838860800.0f);
                               lane.best = in[i] ? results.dist[numbers[i]] : 0.0f;
                           }
                           if (!enterBox(*scene.bound, lanes)) return;
                           nearestPacket(scene, lanes, octant);
                           for (size_t i = 0; i < lanes.size(); ++i) {
                               if (!in[i]) continue;
                               const size_t r = numbers[i];
                               const bool hit = lanes[i].triangle >= 0;
                               results.dist[r] = lanes[i].best;
                               results.triangle[r] = lanes[i].triangle;
                               results.weight0[r] = lanes[i].u0;
                               results.weight1[r] = lanes[i].u1;
                               results.weightsDefined[r] = hit || lanes.size() == 4;
                           }
                       });
    });
}

} // namespace

void intersectMO(Path path, const Planes &origin, const Planes &direction, Results &results, const ZyprScene &scene, int width,
                 int height) {
    if (path == Path::vector)
        return nearestVector([&](size_t r) { return at(origin, r); }, true, direction, results, scene, width, height);
    for (size_t r = 0; r < results.triangle.size(); ++r) {
        results.triangle[r] = -1;
        float best = results.dist[r], t0 = 0.0f, t1 = best;
        ScalarRay ray = {at(origin, r), at(direction, r), {}, {}};
        bool miss = false;
        for (size_t a = 0; a < 3 && !miss; ++a) {
            const float o = ray.o[a], d = ray.d[a], low = scene.bound->minimum[a], high = scene.bound->maximum[a];
            if (std::fabs(d) <= 1.1920929e-7f) {
                ray.inv[a] = 83886.08f;
                ray.sign[a] = 0;
                miss = !(high > o && o > low);
                continue;
            }
            ray.inv[a] = 1.0f / d;
            const float below = low - o, above = high - o;
            const float s = below * ray.inv[a], t = above * ray.inv[a];
            const float entry = s < t ? s : t, exit = s > t ? s : t;
            if (entry > t0) t0 = entry;
            if (exit < t1) t1 = exit;
            ray.sign[a] = d < 0 ? 1 : 0;
            miss = t0 > t1;
        }
        if (miss) continue;
        t1 = t1 + 0.0001f;
        walkScalar(rootOf(scene), ray, t0, t1, 1e-5f, best, [&](int32_t k) {
            const ZyprTriangleAccel &R = scene.accel[k];
            if (R.axes == 0 || k == results.triangle[r]) return false;
            if (std::fabs(denOf(R, ray.d)) < 1.1920929e-6f) return false;
            const Test test = testMO(R, ray.o, ray.d);
            if (!test.inside()) return false;
            const float t = test.num / test.den, limit = best - 1e-5f;
            if (!(t < limit) || !(t > 0.0f)) return false;
            best = t;
            takeHit(results, r, test, t, k);
            return false;
        });
    }
}

void intersectEye(Path path, const float *origin, const Planes &direction, Results &results, const ZyprScene &scene, int width,
                  int height) {
    const Vec o = {origin[0], origin[1], origin[2]};
    if (path == Path::vector) return nearestVector([&](size_t) { return o; }, false, direction, results, scene, width, height);
    for (size_t r = 0; r < results.triangle.size(); ++r) {
        results.triangle[r] = -1;
        float best = results.dist[r], t0 = 0.0f, t1 = best;
        ScalarRay ray = {o, at(direction, r), {}, {}};
        if (!enterBoxSO(*scene.bound, origin, ray, t0, t1)) continue;
        walkScalar(rootOf(scene), ray, t0, t1, 1e-5f, best, [&](int32_t k) {
            if (scene.accel[k].axes == 0) return false;
            const Test test = testSO(scene.accel[k], ray.o, ray.d);
            if (!test.inside()) return false;
            const float t = test.num / test.den;
            if (!(t < best) || !(t > 0.0f)) return false;
            best = t;
            takeHit(results, r, test, t, k);
            return false;
        });
    }
}

} // namespace zypr::test::model
