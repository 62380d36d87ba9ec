// The split search of one node as its definition reads: every plane of every axis, from sorted lists of events. Shares nothing
// with the library's search.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace zypr::test::model {

struct KDSearchResult {
    double cost = 0.0;
    float plane = 0.0f;
    int axis = -1;
    int left = 0, right = 0, side = 1;
};

struct KDBox {
    float lo[3], hi[3];
    float extent(int axis) const { return hi[axis] - lo[axis]; }
};

// One axis: the coordinates of its references, in any order.
inline KDSearchResult kdModelSearchAxis(const KDBox &box, int axis, const std::vector<std::pair<float, float>> &intervals,
                                        double leafCost) {
    KDSearchResult result;
    result.cost = leafCost;
    std::vector<float> starts, ends, planars;
    for (const auto &[lo, hi] : intervals) {
        if (lo == hi) {
            planars.push_back(lo);
        } else {
            starts.push_back(lo);
            ends.push_back(hi);
        }
    }
    const auto before = [](float a, float b) { return a != b ? a < b : std::signbit(a) > std::signbit(b); };
    std::sort(starts.begin(), starts.end(), before);
    std::sort(ends.begin(), ends.end(), before);
    std::sort(planars.begin(), planars.end(), before);
    const size_t n = starts.size(), p = planars.size();
    const int N = static_cast<int>(n + p);

    const float m = box.lo[axis], M = box.hi[axis];
    const float eb = box.extent((axis + 1) % 3), ec = box.extent((axis + 2) % 3);
    const float sum = eb + ec;
    const float product = eb * ec;
    const double S = sum, P = product;
    const double w = P < 1e-9 ? 0.0 : P / S;
    const auto L = [&](float x) {
        const float d = x - m;
        return w + static_cast<double>(d);
    };
    const auto R = [&](float x) {
        const float d = M - x;
        return w + static_cast<double>(d);
    };
    const auto c = [&](float x, int nl, int nr) {
        const double right = nr * R(x);
        return std::fma(static_cast<double>(nl), L(x), right);
    };
    double best = DBL_MAX;
    const auto take = [&](double cost, float x, int nl, int nr, int side) {
        if (!(cost < best)) return;
        best = cost;
        result.plane = x;
        result.left = nl;
        result.right = nr;
        if (side >= 0) result.side = side;
    };
    const float t = (M - m) * std::bit_cast<float>(0x3DCCCCCDu);
    const double cheap = static_cast<double>(0.7f);

    if (p == 0) {
        const float first = starts[0], last = ends[n - 1];
        if (first - m > t) take(N * R(first), first, 0, N, 1);
        if (M - last > t) take(N * L(last), last, N, 0, 1);
        if (best < DBL_MAX) {
            result.cost = (S * cheap) * best;
            return result;
        }
    } else {
        float first = n > 0 ? starts[0] : m, last = n > 0 ? ends[n - 1] : M;
        first = std::min(planars[0], first);
        last = std::max(planars[p - 1], last);
        if (first - m > t) take(N * R(first), first, 0, N, 1);
        if (M - last > t) take(N * L(last), last, N, 0, 0);
        if (best < DBL_MAX) {
            result.cost = (S * cheap) * best;
            return result;
        }
        if (planars[0] == m) {
            const int k = static_cast<int>(std::count(planars.begin(), planars.end(), m));
            take(c(m, k, N - k) * cheap, m, k, N - k, 0);
        }
        if (planars[p - 1] == M) {
            const int k = static_cast<int>(std::count(planars.begin(), planars.end(), M));
            take(c(M, N - k, k) * cheap, M, N - k, k, 1);
        }
    }

    // Search cursors s, e, f and count cursors cs, ce, cf of starts, ends and planars.
    size_t s = 0, e = 0, f = 0, cs = 0, ce = 0, cf = 0;
    int nl = 0, nr = N;
    float x;
    if (n == 0)
        x = planars[0];
    else if (p == 0)
        x = starts[0];
    else
        x = starts[0] <= planars[0] ? starts[0] : planars[0];
    if (p != 0) {
        for (;;) {
            take(c(x, nl, nr), x, nl, nr, 1);
            int k = 0;
            while (cf + static_cast<size_t>(k) < p && planars[cf + static_cast<size_t>(k)] == x) ++k;
            if (k > 0) take(c(x, nl + k, nr - k), x, nl + k, nr - k, 0);
            while (s < n && starts[s] <= x) ++s;
            while (f < p && planars[f] <= x) ++f;
            while (e < n && ends[e] <= x) ++e;
            std::vector<float> following;
            if (s < n) following.push_back(starts[s]);
            if (f < p) following.push_back(planars[f]);
            if (e < n) following.push_back(ends[e]);
            if (!following.empty()) x = *std::min_element(following.begin(), following.end());
            for (; cf < p && x - planars[cf] > 0; ++cf) ++nl, --nr;
            for (; cs < n && x - starts[cs] > 0; ++cs) ++nl;
            for (; ce < n && ends[ce] - x <= 0; ++ce) --nr;
            if (f == p || e == n) break;
        }
    }
    while (e < n) {
        take(c(x, nl, nr), x, nl, nr, -1);
        while (s < n && starts[s] <= x) ++s;
        while (e < n && ends[e] <= x) ++e;
        if (e < n) x = s < n ? std::min(ends[e], starts[s]) : ends[e];
        for (; cs < n && x - starts[cs] > 0; ++cs) ++nl;
        for (; ce < n && ends[ce] - x <= 0; ++ce) --nr;
    }
    result.cost = S * best;
    return result;
}

inline double kdModelLeafCost(const KDBox &box, int count) {
    const double ex = box.extent(0), ey = box.extent(1), ez = box.extent(2);
    const double sides = ey * ez;
    return std::fma(ex, ey + ez, sides) * count;
}

// Three lists of intervals, one per axis.
inline KDSearchResult kdModelSearch(const KDBox &box, const std::array<std::vector<std::pair<float, float>>, 3> &intervals,
                                    float kappa) {
    const int N = static_cast<int>(intervals[0].size());
    const double C = kdModelLeafCost(box, N);
    const float eps = std::bit_cast<float>(0x3727C5ACu);
    KDSearchResult axes[3];
    for (int a = 0; a < 3; ++a) {
        axes[a].cost = C;
        if (box.extent(a) > eps && (box.extent((a + 1) % 3) > eps || box.extent((a + 2) % 3) > eps))
            axes[a] = kdModelSearchAxis(box, a, intervals[static_cast<size_t>(a)], C);
    }
    int axis;
    if (axes[1].cost <= axes[0].cost)
        axis = axes[2].cost > axes[1].cost ? 1 : 2;
    else
        axis = axes[2].cost <= axes[0].cost ? 2 : 0;
    const double margin = std::fmax(std::bit_cast<double>(uint64_t{0x3EE4F8B580000000}), kappa * C);
    KDSearchResult chosen = axes[axis];
    chosen.axis = N * (C - chosen.cost) > margin ? axis : -1;
    return chosen;
}

inline float kdModelKappa(float splitBias) {
    return static_cast<float>((10.0 - 9.0 * static_cast<double>(splitBias)) *
                              std::bit_cast<double>(uint64_t{0x3FE02F2940000000}));
}

} // namespace zypr::test::model
