// SciPy's affine_transform and map_coordinates, in a process that lives as long as this one and works when asked.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "warp_task.h"

namespace {

using namespace zypr::bench;

class Scipy {
public:
    Scipy() {
        char pattern[] = "/tmp/zypr_warp_XXXXXX";
        if (mkdtemp(pattern) == nullptr) return;
        directory_ = pattern;
        save("source0", sourceVoxels<uint8_t>());
        save("source1", sourceVoxels<uint16_t>());
        save("source2", sourceVoxels<float>());
        for (int axis = 0; axis < 3; ++axis) save("map" + std::to_string(axis), sourceMap(axis));
        save("inverse", std::vector<double>(inverseMatrix(), inverseMatrix() + 12));
        int toScript[2], fromScript[2];
        if (pipe(toScript) != 0 || pipe(fromScript) != 0) return;
        process_ = fork();
        if (process_ == 0) {
            dup2(toScript[0], 0);
            dup2(fromScript[1], 1);
            close(toScript[1]);
            execl("/usr/bin/python3", "python3", ZYPR_BENCH_SCRIPTS "/warp_scipy.py", directory_.c_str(),
                  std::to_string(depth).c_str(), std::to_string(height).c_str(), std::to_string(width).c_str(), nullptr);
            _exit(1);
        }
        close(toScript[0]);
        close(fromScript[1]);
        requests_ = fdopen(toScript[1], "w");
        answers_ = fdopen(fromScript[0], "r");
        double ready = 0;
        isThere_ = std::fscanf(answers_, "%lf", &ready) == 1;
    }
    ~Scipy() {
        if (requests_ != nullptr) std::fclose(requests_);
        if (process_ > 0) waitpid(process_, nullptr, 0);
        std::error_code ignored;
        if (!directory_.empty()) std::filesystem::remove_all(directory_, ignored);
    }
    bool isThere() const { return isThere_; }

    double run(const Task &task, int order) {
        std::fprintf(requests_, "%s %d %d\n", task.isRemap ? "map_coordinates" : "affine_transform",
                     static_cast<int>(task.element), order);
        std::fflush(requests_);
        double seconds = 0;
        if (std::fscanf(answers_, "%lf", &seconds) != 1) std::abort();
        return seconds;
    }
    // Of the last run.
    std::vector<float> result() {
        std::fprintf(requests_, "save\n");
        std::fflush(requests_);
        double seconds = 0;
        if (std::fscanf(answers_, "%lf", &seconds) != 1) std::abort();
        std::vector<float> voxels(voxelCount);
        std::ifstream(directory_ + "/result", std::ios::binary)
            .read(reinterpret_cast<char *>(voxels.data()), static_cast<std::streamsize>(voxelCount * sizeof(float)));
        return voxels;
    }

private:
    template <class T> void save(const std::string &name, const std::vector<T> &values) const {
        std::ofstream(directory_ + "/" + name, std::ios::binary)
            .write(reinterpret_cast<const char *>(values.data()), static_cast<std::streamsize>(values.size() * sizeof(T)));
    }

    std::string directory_;
    pid_t process_ = -1;
    std::FILE *requests_ = nullptr, *answers_ = nullptr;
    bool isThere_ = false;
};

std::optional<Contestant> scipyContestant(const Task &task) {
    static Scipy scipy;
    if (!scipy.isThere() || task.threads != 1 || task.mode.interpolation == zyprInterCubicCatmullRom) return {};
    const int order = task.mode.interpolation == zyprInterNearest ? 0 : task.mode.interpolation == zyprInterLinear ? 1 : 3;
    return Contestant{[task, order] { return scipy.run(task, order); }, [] { return scipy.result(); }};
}

const PeerAdded added("SciPy", scipyContestant);

} // namespace
