#include "warp_task.h"

#include <cmath>

#include "support/head_volume.h"

namespace zypr::bench {
namespace {

struct Matrices {
    double forward[12], inverse[12];
    Matrices() {
        const double a = 0.4, b = 0.25, middle[3] = {(width - 1) / 2.0, (height - 1) / 2.0, (depth - 1) / 2.0};
        const double turn[3][3] = {{std::cos(a), -std::sin(a), 0},
                                   {std::cos(b) * std::sin(a), std::cos(b) * std::cos(a), -std::sin(b)},
                                   {std::sin(b) * std::sin(a), std::sin(b) * std::cos(a), std::cos(b)}};
        for (int row = 0; row < 3; ++row) {
            forward[4 * row + 3] = inverse[4 * row + 3] = middle[row];
            for (int column = 0; column < 3; ++column) {
                forward[4 * row + column] = turn[row][column];
                inverse[4 * row + column] = turn[column][row];
                forward[4 * row + 3] -= turn[row][column] * middle[column];
                inverse[4 * row + 3] -= turn[column][row] * middle[column];
            }
        }
    }
};

const Matrices &matrices() {
    static const Matrices both;
    return both;
}

std::vector<float> mapOf(int axis) {
    const double *const m = inverseMatrix() + 4 * axis;
    std::vector<float> map;
    map.reserve(voxelCount);
    for (int z = 0; z < depth; ++z)
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) map.push_back(static_cast<float>(m[0] * x + m[1] * y + m[2] * z + m[3]));
    return map;
}

} // namespace

const double *forwardMatrix() { return matrices().forward; }
const double *inverseMatrix() { return matrices().inverse; }

const std::vector<float> &sourceMap(int axis) {
    static const std::vector<float> maps[3] = {mapOf(0), mapOf(1), mapOf(2)};
    return maps[axis];
}

template <class Sample> const std::vector<Sample> &sourceVoxels() {
    static const std::vector<Sample> voxels = headVolume().middle(width, height, depth).as<Sample>();
    return voxels;
}
template const std::vector<uint8_t> &sourceVoxels();
template const std::vector<uint16_t> &sourceVoxels();
template const std::vector<float> &sourceVoxels();

std::vector<Peer> &peers() {
    static std::vector<Peer> all;
    return all;
}

} // namespace zypr::bench
