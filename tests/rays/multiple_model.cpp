// The model of zyprIntersectMultipleSO_32f, layer by layer.
#include "rays/model_walks.h"

namespace zypr::test::model {

void intersectMultiple(Path path, const float *origin, const Planes &direction, Results &results, const ZyprScene &scene,
                       int width, int height, int layers) {
    const size_t count = static_cast<size_t>(width) * static_cast<size_t>(height);
    for (int32_t &k : results.triangle) k = -1;
    if (path == Path::scalar) {
        for (size_t r = 0; r < count; ++r) {
            float best = results.dist[r], t0 = 0.0f, t1 = best;
            ScalarRay ray = {{}, at(direction, r), {}, {}};
            if (!enterBoxSO(*scene.bound, origin, ray, t0, t1)) continue;
            int32_t list[8] = {-1, -1, -1, -1, -1, -1, -1, -1};
            for (int layer = 0;; ++layer) {
                const size_t entry = static_cast<size_t>(layer) * count + r;
                const int32_t previous = layer == 0 ? -1 : results.triangle[entry - count];
                walkScalar(rootOf(scene), ray, t0, t1, 0.00019f, best, [&](int32_t k) {
                    if (scene.accel[k].axes == 0 || k == previous) return false;
                    const Test test = testSO(scene.accel[k], ray.o, ray.d);
                    const float t = test.num / test.den;
                    if (!test.inside() || !(t < best) || !(t > 0.0f)) return false;
                    for (int i = 0; i <= layer % 8 - 1; ++i)
                        if (list[i] == k) return false;
                    best = t;
                    takeHit(results, entry, test, t, k);
                    return false;
                });
                list[layer % 8] = results.triangle[entry];
                if (results.triangle[entry] < 0) break;
                results.weightsDefined[entry] = true;
                for (size_t a = 0; a < 3; ++a) {
                    const float step = best * ray.d[a];
                    ray.o[a] = ray.o[a] + step;
                }
                if (layer >= 1) results.dist[entry] = best + results.dist[entry - count];
                if (layer == layers - 1) break;
                results.dist[entry + count] = 3.4028235e38f;
                best = 3.4028235e38f;
                t0 = 0.0f;
                t1 = 3.4028235e38f;
                for (size_t a = 0; a < 3; ++a) {
                    const float below = scene.bound->minimum[a] - ray.o[a], above = scene.bound->maximum[a] - ray.o[a];
                    const float s = ray.inv[a] * below, t = ray.inv[a] * above;
                    const float exit = s > t ? s : t;
                    if (exit < t1) t1 = exit;
                }
                t1 = 0.0001f + t1;
            }
        }
        return;
    }

    const TileScheme scheme = {width, height};
    scheme.tiles([&](size_t first) {
        if (scheme.dead(first, results.dist)) return;
        scheme.packets(first, scheme.octants(first, direction),
                       [&](int octant, const std::vector<size_t> &numbers, const std::vector<bool> &in) {
                           Lanes lanes(numbers.size());
                           for (size_t i = 0; i < lanes.size(); ++i) {
                               Lane &lane = lanes[i];
                               lane.o = {origin[0], origin[1], origin[2]};
                               lane.d = at(direction, numbers[i]);
                               for (size_t a = 0; a < 3; ++a) {
                                   const float divisor = std::fabs(lane.d[a]) <= 1.1920929e-7f ? 1.1920929e-05f : lane.d[a];
                                   lane.inv[a] = refine(estimate(divisor), divisor);
                               }
                               lane.inMask = in[i];
                               lane.best = in[i] ? results.dist[numbers[i]] : 0.0f;
                           }
                           bool some = enterBox(*scene.bound, lanes);
                           for (int layer = 0; some; ++layer) {
                               nearestPacket(scene, lanes, octant);
                               some = false;
                               for (size_t i = 0; i < lanes.size(); ++i) {
                                   Lane &lane = lanes[i];
                                   const size_t entry = static_cast<size_t>(layer) * count + numbers[i];
                                   if (!lane.inMask) continue;
                                   const bool hit = lane.triangle >= 0;
                                   results.dist[entry] = hit && layer > 0 ? lane.best + results.dist[entry - count] : lane.best;
                                   results.triangle[entry] = lane.triangle;
                                   results.weight0[entry] = lane.u0;
                                   results.weight1[entry] = lane.u1;
                                   results.weightsDefined[entry] = hit || lanes.size() == 4;
                               }
                               if (layer == layers - 1) return;
                               for (size_t i = 0; i < lanes.size(); ++i) {
                                   Lane &lane = lanes[i];
                                   lane.inMask = lane.inMask && lane.triangle >= 0;
                                   if (lane.inMask) {
                                       for (size_t a = 0; a < 3; ++a) {
                                           const float step = lane.best * lane.d[a];
                                           lane.o[a] = lane.o[a] + step;
                                       }
                                       results.dist[static_cast<size_t>(layer + 1) * count + numbers[i]] = 3.4028235e38f;
                                   }
                                   lane.earlier[static_cast<size_t>(layer % 4)] = lane.triangle;
                                   lane.best = lane.inMask ? 3.4028235e38f : 0.0f;
                                   lane.triangle = -1;
                                   lane.u0 = lane.u1 = 0.0f;
                                   lane.t0 = 0.0f;
                                   lane.t1 = 3.4028235e38f;
                                   for (size_t a = 0; a < 3; ++a) {
                                       const float below = scene.bound->minimum[a] - lane.o[a],
                                                   above = scene.bound->maximum[a] - lane.o[a];
                                       const float s = below * lane.inv[a], t = above * lane.inv[a];
                                       const float exit = s > t ? s : t;
                                       if (exit < lane.t1) lane.t1 = exit;
                                   }
                                   lane.t1 = lane.inMask ? lane.t1 + 0.0001f : 0.0f;
                                   lane.active = lane.t0 < lane.t1;
                                   some = some || lane.active;
                               }
                           }
                       });
    });
}

} // namespace zypr::test::model
