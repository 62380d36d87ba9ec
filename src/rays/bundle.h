// Bundles of rays: which path they take, how a packet's lanes are loaded and stored, and tiles of 4 x 4 rays.
#pragma once

#include <cstdint>

#include "simd/groups.h"
#include "simd/vector.h"
#include "zypr.h"

namespace zypr {

constexpr float infinitesimal = 1.1920929e-7f; // a direction component of at most this has no reciprocal of its own
constexpr float exitPad = 0.0001f;             // keeps a hit on the exit face of the box
constexpr float farthest = 3.4028235e38f;
constexpr int32_t noTriangle = -1;

inline bool isEmpty(ZyprBundleSize size) { return size.width < 1 || size.height < 1; }
inline int64_t rayCount(ZyprBundleSize size) { return static_cast<int64_t>(size.width) * size.height; }

// Packets need whole tiles and arrays that start at multiples of 16 bytes.
template <class... Arrays> bool takesPacketPath(ZyprBundleSize size, const Arrays *...arrays) {
    return ((size.width | size.height) & 3) == 0 && allAligned<16>(arrays...);
}

inline void fill(int32_t *words, int64_t count, int32_t value) {
    for (int64_t i = 0; i < count; ++i) words[i] = value;
}

// ---- Lanes of a packet: one row of a tile (four rays), or two rows that are `width` rays apart (eight) ------------------

template <int N, class T> auto loadRows(const T *row, int64_t width) {
    if constexpr (N == 4)
        return load<4>(row);
    else
        return joined(load<4>(row), load<4>(row + width));
}
template <class T, class V> void storeRows(T *row, int64_t width, V value) {
    if constexpr (sizeof(V) == 16) {
        store(row, value);
    } else {
        store(row, low(value));
        store(row + width, high(value));
    }
}
template <class T, class V> void storeRows(T *row, int64_t width, AllLanes, V value) { storeRows(row, width, value); }
template <class T, class M, class V> void storeRows(T *row, int64_t width, M lanes, V value) {
    if constexpr (sizeof(V) == 16) {
        store(row, lanes, value);
    } else {
        store(row, low(lanes), low(value));
        store(row + width, high(lanes), high(value));
    }
}

// ---- Tiles --------------------------------------------------------------------------------------------------------------

// Calls action(first ray of the tile) for every tile of 4 x 4 rays, row of tiles by row of tiles.
template <class Action> void forEachTile(ZyprBundleSize size, Action action) {
    for (int32_t y = 0; y < size.height; y += 4)
        for (int32_t x = 0; x < size.width; x += 4) action(static_cast<int64_t>(y) * size.width + x);
}

// One bit per ray of a tile, row by row: `test` of the four rays at each row's start.
template <class Test> unsigned tileBits(int64_t first, int64_t width, Test test) {
    return signBits(test(first)) | signBits(test(first + width)) << 4 | signBits(test(first + 2 * width)) << 8 |
           signBits(test(first + 3 * width)) << 12;
}

constexpr unsigned wholeTile = 0xFFFF;

// Whether no ray of the tile accepts a hit at any distance.
inline bool isDeadTile(const float *dist, int64_t first, int64_t width) {
    return tileBits(first, width, [dist](int64_t row) { return load<4>(dist + row) > broadcast<4>(0.0f); }) == 0;
}

// The octant of a ray is x + 2 y + 4 z, with a bit for each direction component strictly below zero. A negative zero isn't.
class TileOctants {
public:
    TileOctants(const float *const direction[3], int64_t first, int64_t width) {
        for (int axis = 0; axis < 3; ++axis)
            below_[axis] =
                tileBits(first, width, [&](int64_t row) { return load<4>(direction[axis] + row) < broadcast<4>(0.0f); });
    }

    // ORs a byte over each ray's octant: bit b of all bytes is given as the tile's bits. Codes above 7 belong to no octant.
    void overlay(int bit, unsigned rays) { (bit < 3 ? below_[bit] : outside_) |= rays; }

    // The octant that holds all sixteen rays, or -1.
    int common() const {
        if (outside_ != 0) return -1;
        int octant = 0;
        for (int axis = 0; axis < 3; ++axis) {
            if (below_[axis] == wholeTile)
                octant |= 1 << axis;
            else if (below_[axis] != 0)
                return -1;
        }
        return octant;
    }

    // The tile's rays in this octant, as tile bits.
    unsigned rays(unsigned octant) const {
        unsigned rays = wholeTile & ~outside_;
        for (int axis = 0; axis < 3; ++axis) rays &= octant >> axis & 1 ? below_[axis] : ~below_[axis];
        return rays;
    }

private:
    unsigned below_[3];
    unsigned outside_ = 0;
};

// Runs a tile in packets whose rays agree in the sign of each axis: walk8(octant, first ray of two rows) on both halves of a
// tile of one octant, else walk4(octant, row of the tile, lanes) per octant and row.
template <class Walk8, class Walk4> void forEachPacket(const TileOctants &octants, Walk8 walk8, Walk4 walk4) {
    if (const int octant = octants.common(); octant >= 0) {
        walk8(static_cast<unsigned>(octant));
        return;
    }
    for (unsigned octant = 0; octant < 8; ++octant) {
        unsigned rays = octants.rays(octant);
        for (int y = 0; rays != 0; rays >>= 4, ++y)
            if ((rays & 15) != 0) walk4(octant, y, maskOfBits<4>(rays & 15));
    }
}

} // namespace zypr
