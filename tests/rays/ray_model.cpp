#include "rays/ray_model.h"

#include <immintrin.h>

#include <array>
#include <cmath>
#include <cstring>
#include <functional>

namespace zypr::test::model {
namespace {

using Vec = std::array<float, 3>;

float estimate(float a) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(a))); }
float refine(float r, float d) {
    const float e = std::fmaf(r, d, -1.0f);
    return std::fmaf(-r, e, r);
}

// ---- The tree -----------------------------------------------------------------------------------------------------------

struct Node {
    const unsigned char *address;

    uint32_t word(int i) const {
        uint32_t w;
        std::memcpy(&w, address + 4 * i, 4);
        return w;
    }
    bool leaf() const { return word(0) >> 31 == 1; }
    int axis() const { return static_cast<int>(word(0) % 4); }
    float split() const {
        const uint32_t w = word(1);
        float f;
        std::memcpy(&f, &w, 4);
        return f;
    }
    Node child(int which) const { return {address + (word(0) / 8 * 8) + 8 * which}; }
    std::vector<int32_t> triangles() const {
        const uint32_t w0 = word(0), w1 = word(1);
        if (w1 == 0) return {};
        if (w1 < 0x80000000u) {
            std::vector<int32_t> numbers(w1);
            const int64_t back = 4 * static_cast<int64_t>(static_cast<int32_t>(w0) >> 2);
            std::memcpy(numbers.data(), address - back, 4 * numbers.size());
            return numbers;
        }
        const auto w = static_cast<int32_t>(w0 & 0x7FFFFFFFu);
        const auto b = static_cast<int32_t>((w1 & 0x7FFFFFFFu) / 4);
        switch (w1 % 4) {
        case 1: return {w};
        case 2: return {w, b};
        default: return {b - w / 65536, b, b + w % 65536};
        }
    }
};

Node rootOf(const ZyprScene &scene) { return {reinterpret_cast<const unsigned char *>(scene.root)}; }

// ---- The walk of one ray ------------------------------------------------------------------------------------------------

struct ScalarRay {
    Vec o, d, inv;
    int sign[3];
};

// visit(k) returns true when the ray is finished.
void walkScalar(Node node, const ScalarRay &ray, float t0, float t1, float slack, const float &best,
                const std::function<bool(int32_t)> &visit) {
    std::vector<std::pair<Node, float>> stack;
    while (true) {
        while (!node.leaf()) {
            const size_t a = static_cast<size_t>(node.axis());
            const float offset = node.split() - ray.o[a];
            const float ts = offset * ray.inv[a];
            const Node near = node.child(ray.sign[a]), far = node.child(1 - ray.sign[a]);
            const float before = t0 - ts, beyond = ts - t1;
            if (before > slack) {
                node = far;
            } else {
                if (!(beyond > slack)) {
                    stack.emplace_back(far, t1);
                    const float m = ts < t1 ? ts : t1;
                    t1 = t0 > m ? t0 : m;
                }
                node = near;
            }
        }
        for (const int32_t k : node.triangles())
            if (visit(k)) return;
        if (stack.empty()) return;
        if (!(t1 < best)) return;
        t0 = t1;
        node = stack.back().first;
        t1 = stack.back().second;
        stack.pop_back();
    }
}

struct Test {
    float den, num, u0, u1, w;
    bool inside() const {
        const float a = w * u0, b = u0 * u1, c = w * u1;
        return a >= 0 && b >= 0 && c >= 0;
    }
};

Test weigh(const ZyprTriangleAccel &R, float den, float num, float gp, float gq) {
    const float r6gq = R.edgeBP * gq, gpr9 = gp * R.edgeAQ;
    const float u0 = std::fmaf(gp, R.edgeBQ, -r6gq), u1 = std::fmaf(R.edgeAP, gq, -gpr9);
    const float rest = den - u0;
    return {den, num, u0, u1, rest - u1};
}

struct AxisNumbers {
    size_t c, p, q;
    explicit AxisNumbers(const ZyprTriangleAccel &R) : c(R.axes % 64 / 16), p(R.axes % 16 / 4), q(R.axes % 4) {}
};

float denOf(const ZyprTriangleAccel &R, const Vec &d) {
    const AxisNumbers a(R);
    const float inner = std::fmaf(d[a.p], R.planeP, d[a.c]);
    return std::fmaf(d[a.q], R.planeQ, inner);
}

Test testMO(const ZyprTriangleAccel &R, const Vec &o, const Vec &d) {
    const AxisNumbers a(R);
    const float den = denOf(R, d);
    const float ep = R.originP - o[a.p], eq = R.originQ - o[a.q];
    const float first = std::fmaf(ep, R.planeP, R.originC), second = std::fmaf(eq, R.planeQ, -o[a.c]);
    const float num = first + second;
    const float denEp = den * ep, dqNum = d[a.q] * num;
    return weigh(R, den, num, std::fmaf(num, d[a.p], -denEp), std::fmaf(-eq, den, dqNum));
}

Test testSO(const ZyprTriangleAccel &R, const Vec &o, const Vec &d) {
    const AxisNumbers a(R);
    const float den = denOf(R, d);
    const float ep = R.originP - o[a.p], eq = R.originQ - o[a.q];
    const float first = std::fmaf(eq, R.planeQ, R.originC), second = std::fmaf(ep, R.planeP, -o[a.c]);
    const float num = first + second;
    const float denEq = den * eq, denEp = den * ep;
    return weigh(R, den, num, std::fmaf(num, d[a.p], -denEp), std::fmaf(num, d[a.q], -denEq));
}

// ---- Packets ------------------------------------------------------------------------------------------------------------

struct Lane {
    Vec o, d, inv;
    float best = 0, t0 = 0, t1 = 0;
    bool active = false, inMask = true;
    float u0 = 0, u1 = 0;
    int32_t triangle = -1;
    std::array<int32_t, 4> earlier = {-1, -1, -1, -1};
};

using Lanes = std::vector<Lane>; // four or eight

struct PacketTest {
    float den, num, u0, u1, estimated, refined, t;
    bool inside;
};

PacketTest testPacket(const ZyprTriangleAccel &R, const Vec &o, const Vec &d) {
    const AxisNumbers a(R);
    const float den = std::fmaf(R.planeQ, d[a.q], std::fmaf(R.planeP, d[a.p], d[a.c]));
    const float ep = R.originP - o[a.p], eq = R.originQ - o[a.q], ec = R.originC - o[a.c];
    const float num = std::fmaf(R.planeP, ep, std::fmaf(R.planeQ, eq, ec));
    const float eqDen = eq * den, epDen = ep * den;
    const float gq = std::fmaf(num, d[a.q], -eqDen), gp = std::fmaf(num, d[a.p], -epDen);
    const float gqR6 = gq * R.edgeBP, gpR9 = gp * R.edgeAQ;
    const float u0 = std::fmaf(R.edgeBQ, gp, -gqR6), u1 = std::fmaf(R.edgeAP, gq, -gpR9);
    const float rest = den - u0, w = rest - u1;
    const float a1 = w * u0, a2 = w * u1, a3 = u0 * u1;
    PacketTest test = {den, num, u0, u1, 0, 0, 0, !(a1 < 0 || a2 < 0 || a3 < 0)};
    test.estimated = test.inside ? estimate(den) : 0.0f;
    test.refined = refine(test.estimated, den);
    test.t = num * test.refined;
    return test;
}

// visit(k) tests a triangle on all lanes; afterLeaf() sets the active flags.
void walkPacket(Node node, Lanes &lanes, int octant, const std::function<void(int32_t)> &visit,
                const std::function<void()> &afterLeaf) {
    std::vector<std::pair<Node, std::vector<float>>> stack;
    while (true) {
        while (!node.leaf()) {
            const size_t a = static_cast<size_t>(node.axis());
            const int bit = octant >> a & 1;
            std::vector<float> ts;
            bool entersNear = false, reachesFar = false;
            for (const Lane &lane : lanes) {
                const float offset = node.split() - lane.o[a];
                ts.push_back(offset * lane.inv[a]);
                if (lane.active && lane.t0 <= ts.back()) entersNear = true;
                if (lane.active && ts.back() <= lane.t1) reachesFar = true;
            }
            const Node near = node.child(bit), far = node.child(1 - bit);
            if (!entersNear) {
                node = far;
                continue;
            }
            if (reachesFar) {
                std::vector<float> t1s;
                for (size_t i = 0; i < lanes.size(); ++i) {
                    Lane &lane = lanes[i];
                    t1s.push_back(lane.t1);
                    const float m = lane.t1 < ts[i] ? lane.t1 : ts[i];
                    lane.t1 = m > lane.t0 ? m : lane.t0;
                    lane.active = lane.active && lane.t0 <= m;
                }
                stack.emplace_back(far, t1s);
            }
            node = near;
        }
        for (const int32_t k : node.triangles()) visit(k);
        if (stack.empty()) return;
        afterLeaf();
        bool some = false;
        for (const Lane &lane : lanes) some = some || lane.active;
        if (!some) return;
        node = stack.back().first;
        for (size_t i = 0; i < lanes.size(); ++i) {
            lanes[i].t0 = lanes[i].t1;
            lanes[i].t1 = stack.back().second[i];
        }
        stack.pop_back();
    }
}

// The nearest-hit walk of a packet from the root, given its lanes' best, t0, t1 and active.
void nearestPacket(const ZyprScene &scene, Lanes &lanes, int octant) {
    std::array<int32_t, 4> ring = {-1, -1, -1, -1};
    size_t place = 0;
    const bool usesRing = lanes.size() == 8;
    walkPacket(
        rootOf(scene), lanes, octant,
        [&](int32_t k) {
            if (usesRing) {
                for (const int32_t seen : ring)
                    if (seen == k) return;
                ring[place] = k;
                place = (place + 1) % 4;
            }
            if (scene.accel[k].axes == 0) return;
            for (Lane &lane : lanes) {
                const PacketTest test = testPacket(scene.accel[k], lane.o, lane.d);
                bool refused = false;
                for (const int32_t earlier : lane.earlier) refused = refused || earlier == k;
                if (!(test.inside && test.t < lane.best && test.t > 0.0f) || refused) continue;
                lane.best = test.t;
                lane.u0 = test.u0 * test.refined;
                lane.u1 = test.u1 * test.refined;
                lane.triangle = k;
            }
        },
        [&] {
            for (Lane &lane : lanes) lane.active = lane.t1 < lane.best;
        });
}

float inverseOf(float d, float replacement) { return refine(std::fabs(d) <= 1.1920929e-7f ? replacement : estimate(d), d); }

// The interval within the box, without the pad; sets active and then pads.
bool enterBox(const ZyprBox &bound, Lanes &lanes) {
    bool some = false;
    for (Lane &lane : lanes) {
        lane.t0 = 0.0f;
        lane.t1 = lane.best;
        for (size_t a = 0; a < 3; ++a) {
            const float below = bound.minimum[a] - lane.o[a], above = bound.maximum[a] - lane.o[a];
            const float s = below * lane.inv[a], t = above * lane.inv[a];
            const float entry = s < t ? s : t, exit = s > t ? s : t;
            if (entry > lane.t0) lane.t0 = entry;
            if (exit < lane.t1) lane.t1 = exit;
        }
        lane.active = lane.t0 < lane.t1;
        some = some || lane.active;
        lane.t1 = lane.t1 + 0.0001f;
    }
    return some;
}

int octantOf(const Planes &direction, size_t r) {
    return (direction.x[r] < 0 ? 1 : 0) + (direction.y[r] < 0 ? 2 : 0) + (direction.z[r] < 0 ? 4 : 0);
}

// Cuts the bundle into tiles and a tile into packets. codes(first ray) gives sixteen octant codes, in rows of four.
struct TileScheme {
    int width, height;
    size_t ray(size_t first, size_t i) const { return first + i / 4 * static_cast<size_t>(width) + i % 4; }

    void tiles(const std::function<void(size_t)> &action) const {
        for (int y = 0; y < height; y += 4)
            for (int x = 0; x < width; x += 4)
                action(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x));
    }

    // walk(octant, ray numbers of four or eight lanes, which lanes are in the mask)
    void packets(size_t first, const std::array<int, 16> &codes,
                 const std::function<void(int, const std::vector<size_t> &, const std::vector<bool> &)> &walk) const {
        for (int octant = 0; octant < 8; ++octant) {
            bool whole = true;
            for (const int code : codes) whole = whole && code == octant;
            if (!whole) continue;
            for (size_t half = 0; half < 2; ++half) {
                std::vector<size_t> numbers;
                for (size_t i = 0; i < 8; ++i) numbers.push_back(ray(first, 8 * half + i));
                walk(octant, numbers, std::vector<bool>(8, true));
            }
            return;
        }
        for (int octant = 0; octant < 8; ++octant)
            for (size_t row = 0; row < 4; ++row) {
                std::vector<size_t> numbers;
                std::vector<bool> in;
                bool some = false;
                for (size_t i = 0; i < 4; ++i) {
                    numbers.push_back(ray(first, 4 * row + i));
                    in.push_back(codes[4 * row + i] == octant);
                    some = some || in.back();
                }
                if (some) walk(octant, numbers, in);
            }
    }

    std::array<int, 16> octants(size_t first, const Planes &direction) const {
        std::array<int, 16> codes{};
        for (size_t i = 0; i < 16; ++i) codes[i] = octantOf(direction, ray(first, i));
        return codes;
    }

    bool dead(size_t first, const std::vector<float> &dist) const {
        for (size_t i = 0; i < 16; ++i)
            if (dist[ray(first, i)] > 0) return false;
        return true;
    }
};

Vec at(const Planes &planes, size_t r) { return {planes.x[r], planes.y[r], planes.z[r]}; }

// ---- Nearest hits -------------------------------------------------------------------------------------------------------

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

void takeHit(Results &results, size_t entry, const Test &test, float t, int32_t k) {
    results.dist[entry] = t;
    results.weight1[entry] = test.u1 / test.den;
    results.weight0[entry] = test.u0 / test.den;
    results.triangle[entry] = k;
}

// The interval of the single-origin queries; false on a miss.
bool enterBoxSO(const ZyprBox &bound, const float *origin, ScalarRay &ray, float &t0, float &t1) {
    for (size_t a = 0; a < 3; ++a) {
        const float below = bound.minimum[a] - origin[a], above = bound.maximum[a] - origin[a];
        ray.o[a] = origin[a];
        if (std::fabs(ray.d[a]) <= 1.1920929e-7f) {
            ray.inv[a] = 838860800.0f;
            ray.sign[a] = 0;
            continue;
        }
        ray.inv[a] = 1.0f / ray.d[a];
        const float s = below / ray.d[a], t = above / ray.d[a];
        const float entry = s < t ? s : t, exit = s > t ? s : t;
        if (entry > t0) t0 = entry;
        if (exit < t1) t1 = exit;
        ray.sign[a] = ray.d[a] < 0 ? 1 : 0;
        if (t0 > t1) return false;
    }
    t1 = t1 + 0.0001f;
    return true;
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

// ---- Any hit ------------------------------------------------------------------------------------------------------------

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

// ---- Several hits -------------------------------------------------------------------------------------------------------

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
