// What the comparison of remap and warp runs: a rotation of an MRI head, and the programs that do it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "zypr.h"

namespace zypr::bench {

enum class Element { Byte, Word, Float };

struct Mode {
    const char *name;
    ZyprInterpolation interpolation;
};

// One line of the table.
struct Task {
    bool isRemap; // by maps of the same rotation
    Element element;
    Mode mode;
    int threads;
};

// Calls run with a sample of the element's type.
template <class Run> auto withElement(Element element, const Run &run) {
    switch (element) {
    case Element::Byte: return run(uint8_t{});
    case Element::Word: return run(uint16_t{});
    default: return run(float{});
    }
}

inline constexpr int32_t width = 160, height = 192, depth = 160;
inline constexpr size_t voxelCount = size_t{width} * height * depth;

// The box of that size in the middle of the head.
template <class Sample> const std::vector<Sample> &sourceVoxels();

// Row-major 3 x 4: a turn about the box's middle, about an axis that is none of its own.
const double *forwardMatrix();
const double *inverseMatrix();
// The source coordinates of every destination voxel, by axis.
const std::vector<float> &sourceMap(int axis);

// One way to do a task.
struct WarpContestant {
    std::function<double()> run; // once; returns the seconds
    std::function<std::vector<float>()> result;
};
using ContestantMaker = std::optional<WarpContestant> (*)(const Task &); // nothing where it has no such mode

// The peers that this program was built with; each file of a peer adds its own.
struct Peer {
    const char *name;
    ContestantMaker make;
};
std::vector<Peer> &peers();
struct PeerAdded {
    PeerAdded(const char *name, ContestantMaker make) { peers().push_back({name, make}); }
};

} // namespace zypr::bench
