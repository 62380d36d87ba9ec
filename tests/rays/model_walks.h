// The walks and the triangle tests that the models of the ray queries share: one ray alone, and packets under one decision per
// node, cut from tiles of 4 x 4 rays.
#pragma once

#include <immintrin.h>

#include <array>
#include <cmath>
#include <cstring>
#include <functional>

#include "rays/ray_model.h"

namespace zypr::test::model {

using Vec = std::array<float, 3>;

inline float estimate(float a) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(a))); }
inline float refine(float r, float d) {
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

inline Node rootOf(const ZyprScene &scene) { return {reinterpret_cast<const unsigned char *>(scene.root)}; }

// ---- The walk of one ray ------------------------------------------------------------------------------------------------

struct ScalarRay {
    Vec o, d, inv;
    int sign[3];
};

// visit(k) returns true when the ray is finished.
inline void walkScalar(Node node, const ScalarRay &ray, float t0, float t1, float slack, const float &best,
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

inline Test weigh(const ZyprTriangleAccel &R, float den, float num, float gp, float gq) {
    const float r6gq = R.edgeBP * gq, gpr9 = gp * R.edgeAQ;
    const float u0 = std::fmaf(gp, R.edgeBQ, -r6gq), u1 = std::fmaf(R.edgeAP, gq, -gpr9);
    const float rest = den - u0;
    return {den, num, u0, u1, rest - u1};
}

struct AxisNumbers {
    size_t c, p, q;
    explicit AxisNumbers(const ZyprTriangleAccel &R) : c(R.axes % 64 / 16), p(R.axes % 16 / 4), q(R.axes % 4) {}
};

inline float denOf(const ZyprTriangleAccel &R, const Vec &d) {
    const AxisNumbers a(R);
    const float inner = std::fmaf(d[a.p], R.planeP, d[a.c]);
    return std::fmaf(d[a.q], R.planeQ, inner);
}

inline Test testMO(const ZyprTriangleAccel &R, const Vec &o, const Vec &d) {
    const AxisNumbers a(R);
    const float den = denOf(R, d);
    const float ep = R.originP - o[a.p], eq = R.originQ - o[a.q];
    const float first = std::fmaf(ep, R.planeP, R.originC), second = std::fmaf(eq, R.planeQ, -o[a.c]);
    const float num = first + second;
    const float denEp = den * ep, dqNum = d[a.q] * num;
    return weigh(R, den, num, std::fmaf(num, d[a.p], -denEp), std::fmaf(-eq, den, dqNum));
}

inline Test testSO(const ZyprTriangleAccel &R, const Vec &o, const Vec &d) {
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

inline PacketTest testPacket(const ZyprTriangleAccel &R, const Vec &o, const Vec &d) {
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
inline void walkPacket(Node node, Lanes &lanes, int octant, const std::function<void(int32_t)> &visit,
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
inline void nearestPacket(const ZyprScene &scene, Lanes &lanes, int octant) {
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

inline float inverseOf(float d, float replacement) {
    return refine(std::fabs(d) <= 1.1920929e-7f ? replacement : estimate(d), d);
}

// The interval within the box, without the pad; sets active and then pads.
inline bool enterBox(const ZyprBox &bound, Lanes &lanes) {
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

inline int octantOf(const Planes &direction, size_t r) {
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

inline Vec at(const Planes &planes, size_t r) { return {planes.x[r], planes.y[r], planes.z[r]}; }

// ---- Of the queries with a single origin, and for what they find --------------------------------------------------------

inline void takeHit(Results &results, size_t entry, const Test &test, float t, int32_t k) {
    results.dist[entry] = t;
    results.weight1[entry] = test.u1 / test.den;
    results.weight0[entry] = test.u0 / test.den;
    results.triangle[entry] = k;
}

// The interval of the single-origin queries; false on a miss.
inline bool enterBoxSO(const ZyprBox &bound, const float *origin, ScalarRay &ray, float &t0, float &t1) {
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

} // namespace zypr::test::model
