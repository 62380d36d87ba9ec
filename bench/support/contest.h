// Contestants take turns at one task in one run, so that their ratios hold on a machine that is doing other things as well.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zypr::bench {

struct Contestant {
    std::string name;
    std::function<double()> run;            // once; returns the seconds for the whole task
    std::function<void()> prepare = {};     // sets aside afresh what a run writes to; its memory is not measured without it
    std::function<double()> mebibytes = {}; // the last run's memory, of one that runs in another process
};

// Prints a line for each: the median of its milliseconds, millions of voxels per second, its time as a multiple of the first
// one's, and the most memory that a run needed beside its source.
void contest(const std::string &title, double voxels, const std::vector<Contestant> &contestants);

} // namespace zypr::bench
