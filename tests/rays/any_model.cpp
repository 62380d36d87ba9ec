// The model of zyprIntersectAnySO_32f, with its probe and its cache of one occluder.
#include "rays/model_walks.h"

namespace zypr::test::model {
namespace {

ScalarRay segmentRay(const float *origin, const Planes &direction, size_t r) {
    ScalarRay ray = {{origin[0], origin[1], origin[2]}, at(direction, r), {}, {}};
    for (size_t a = 0; a < 3; ++a) {
        ray.sign[a] = ray.d[a] < 0 ? 1 : 0;
        ray.inv[a] = std::fabs(ray.d[a]) <= 1.1920929e-7f ? 83886.08f : 1.0f / ray.d[a];
    }
    return ray;
}

int32_t probe(const float *origin, const Planes &direction, size_t r, const ZyprScene &scene) {
    const ScalarRay ray = segmentRay(origin, direction, r);
    float best = 1.0f;
    int32_t found = -1;
    walkScalar(rootOf(scene), ray, 0.0f, 1.0001f, 1e-5f, best, [&](int32_t k) {
        if (scene.accel[k].axes == 0 || k == found) return false;
        const Test s = testSO(scene.accel[k], ray.o, ray.d);
        const bool noneNegative = s.u0 >= 0 && s.u1 >= 0 && s.w >= 0;
        const bool nonePositive = s.u0 <= 0 && s.u1 <= 0 && s.w <= 0;
        if (!noneNegative && !nonePositive) return false;
        const float t = s.num / s.den, limit = best - 1.1920929e-7f;
        if (t < limit && t > 0.0f) {
            best = t;
            found = k;
        }
        return false;
    });
    return found;
}

void testCached(int32_t k, const float *origin, const Planes &direction, std::vector<int32_t> &triangle,
                std::vector<int32_t> &mask, const ZyprScene &scene, const TileScheme &scheme, size_t first) {
    const Vec o = {origin[0], origin[1], origin[2]};
    for (size_t row = 0; row < 4; ++row) {
        PacketTest tests[4];
        bool some = false;
        for (size_t i = 0; i < 4; ++i) {
            const size_t r = scheme.ray(first, 4 * row + i);
            tests[i] = testPacket(scene.accel[k], o, at(direction, r));
            some = some || (tests[i].inside && mask[r] >= 0);
        }
        if (!some && row == 1) return;
        if (!some) continue;
        for (size_t i = 0; i < 4; ++i) {
            const size_t r = scheme.ray(first, 4 * row + i);
            if (mask[r] >= 0 && tests[i].inside && tests[i].t > 0.0f && tests[i].t < 1.0f) {
                triangle[r] = k;
                mask[r] = -1;
            } else if (row > 0) {
                std::memcpy(&triangle[r], &tests[i].estimated, 4);
            }
        }
    }
}

} // namespace

void intersectAny(Path path, const float *origin, const Planes &direction, std::vector<int32_t> &triangle,
                  std::vector<int32_t> &mask, const ZyprScene &scene, int width, int height) {
    if (path == Path::scalar) {
        for (size_t r = 0; r < triangle.size(); ++r) {
            triangle[r] = -1;
            if (mask[r] < 0) continue;
            const ScalarRay ray = segmentRay(origin, direction, r);
            const float best = 1.0f;
            walkScalar(rootOf(scene), ray, 0.0f, 1.0001f, 1e-5f, best, [&](int32_t k) {
                if (scene.accel[k].axes == 0) return false;
                const Test test = testSO(scene.accel[k], ray.o, ray.d);
                const float t = test.num / test.den;
                if (!test.inside() || !(t < best) || !(t > 0.0f)) return false;
                triangle[r] = k;
                mask[r] = -1;
                return true;
            });
        }
        return;
    }

    const TileScheme scheme = {width, height};
    int32_t cache = -1;
    for (size_t i = 0; i < 4; ++i) {
        const size_t r = 3 * static_cast<size_t>(width) + i;
        if (mask[r] < 0) continue;
        cache = probe(origin, direction, r, scene);
        break;
    }
    const auto done = [&](size_t first) {
        for (size_t i = 0; i < 16; ++i)
            if (mask[scheme.ray(first, i)] >= 0) return false;
        return true;
    };
    scheme.tiles([&](size_t first) {
        for (size_t i = 0; i < 16; ++i) triangle[scheme.ray(first, i)] = -1;
        if (done(first)) return;
        if (cache != -1) {
            testCached(cache, origin, direction, triangle, mask, scene, scheme, first);
            if (done(first)) return;
        }
        std::array<int, 16> codes = scheme.octants(first, direction);
        for (size_t i = 0; i < 16; ++i) codes[i] |= static_cast<int>(static_cast<uint32_t>(mask[scheme.ray(first, i)]) >> 24);
        scheme.packets(first, codes, [&](int octant, const std::vector<size_t> &numbers, const std::vector<bool> &in) {
            Lanes lanes(numbers.size());
            for (size_t i = 0; i < lanes.size(); ++i) {
                Lane &lane = lanes[i];
                lane.o = {origin[0], origin[1], origin[2]};
                lane.d = at(direction, numbers[i]);
                for (size_t a = 0; a < 3; ++a) lane.inv[a] = inverseOf(lane.d[a], 8388608.0f);
                lane.t1 = 1.0001f;
                lane.active = lane.inMask = in[i];
            }
            const auto live = [](const Lane &lane) { return lane.inMask && lane.triangle == -1; };
            walkPacket(
                rootOf(scene), lanes, octant,
                [&](int32_t k) {
                    if (scene.accel[k].axes == 0) return;
                    for (Lane &lane : lanes) {
                        if (!live(lane)) continue;
                        const PacketTest test = testPacket(scene.accel[k], lane.o, lane.d);
                        if (test.inside && test.t > 0.0f && test.t < 1.0f) lane.triangle = k;
                    }
                },
                [&] {
                    for (Lane &lane : lanes) lane.active = live(lane);
                });
            bool secondRow = true;
            for (size_t i = 0; i < lanes.size(); ++i) {
                const bool hit = lanes[i].triangle != -1;
                if (i >= 4) secondRow = secondRow && hit;
                if (!hit) continue;
                triangle[numbers[i]] = lanes[i].triangle;
                mask[numbers[i]] = -1;
            }
            if (lanes.size() == 8) cache = secondRow ? lanes[6].triangle : -1;
        });
    });
}

} // namespace zypr::test::model
