// SciPy's affine_transform and map_coordinates.

#include "support/scipy.h"

#include <fstream>
#include <string>

#include "warp_task.h"

namespace {

using namespace zypr::bench;

class Rotations {
public:
    Rotations() {
        if (!scipy_.isThere()) return;
        save("source0", sourceVoxels<uint8_t>());
        save("source1", sourceVoxels<uint16_t>());
        save("source2", sourceVoxels<float>());
        for (int axis = 0; axis < 3; ++axis) save("map" + std::to_string(axis), sourceMap(axis));
        save("inverse", std::vector<double>(inverseMatrix(), inverseMatrix() + 12));
        scipy_.ask("read " + scipy_.directory() + " " + std::to_string(depth) + " " + std::to_string(height) + " " +
                   std::to_string(width));
    }
    bool areThere() const { return scipy_.isThere(); }

    double run(const Task &task, int order) {
        const std::string function = task.isRemap ? "map_coordinates" : "affine_transform";
        return scipy_.ask(function + " " + std::to_string(static_cast<int>(task.element)) + " " + std::to_string(order))
            .seconds;
    }
    // Of the last run.
    std::vector<float> result() {
        scipy_.ask("save");
        std::vector<float> voxels(voxelCount);
        std::ifstream(scipy_.directory() + "/result", std::ios::binary)
            .read(reinterpret_cast<char *>(voxels.data()), static_cast<std::streamsize>(voxelCount * sizeof(float)));
        return voxels;
    }

private:
    template <class T> void save(const std::string &name, const std::vector<T> &values) const {
        scipy_.save(name, values.data(), values.size() * sizeof(T));
    }

    Scipy scipy_{ZYPR_BENCH_SCRIPTS "/warp_scipy.py"};
};

std::optional<WarpContestant> scipyContestant(const Task &task) {
    static Rotations rotations;
    if (!rotations.areThere() || task.threads != 1 || task.mode.interpolation == zyprInterCubicCatmullRom) return {};
    const int order = task.mode.interpolation == zyprInterNearest ? 0 : task.mode.interpolation == zyprInterLinear ? 1 : 3;
    return WarpContestant{[task, order] { return rotations.run(task, order); }, [] { return rotations.result(); }};
}

const PeerAdded added("SciPy", scipyContestant);

} // namespace
