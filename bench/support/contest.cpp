#include "support/contest.h"

#include <malloc.h>

#include <cstdio>
#include <fstream>

#include "support/timings.h"

namespace zypr::bench {
namespace {

// A line of the process's own status, in MiB.
double statusMebibytes(const std::string &key) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(key)) return std::stod(line.substr(key.size())) / 1024;
    return 0;
}

double mebibytesOf(const Contestant &contestant) {
    malloc_trim(0);
    const double before = statusMebibytes("VmRSS:");
    std::ofstream("/proc/self/clear_refs") << 5; // the peak starts anew
    contestant.prepare();
    contestant.run();
    return statusMebibytes("VmHWM:") - before;
}

struct Entry {
    const Contestant *contestant;
    double mebibytes; // below 0: not measured
    Timings timings;

    // Short runs are repeated at once, after one that finds the caches as the others left them.
    void takeTurn() {
        const double seconds = contestant->run();
        if (seconds > 0.03) return timings.add(seconds);
        for (int k = 0; k < 3; ++k) timings.add(contestant->run());
    }
};

} // namespace

void contest(const std::string &title, double voxels, const std::vector<Contestant> &contestants) {
    constexpr int leastRounds = 3, mostRounds = 15;
    constexpr double enoughSeconds = 3;
    std::vector<Entry> entries;
    for (const Contestant &contestant : contestants) {
        Entry entry{&contestant, -1, {}};
        if (contestant.prepare) entry.mebibytes = mebibytesOf(contestant);
        entries.push_back(entry);
    }
    double spent = 0;
    for (int round = 0; round < leastRounds || (round < mostRounds && spent < enoughSeconds); ++round)
        spent += secondsOf([&] {
            for (Entry &entry : entries) entry.takeTurn();
        });

    const double first = entries.front().timings.median();
    for (Entry &entry : entries) {
        const Contestant &contestant = *entry.contestant;
        if (contestant.mebibytes) entry.mebibytes = contestant.mebibytes();
        const double seconds = entry.timings.median();
        std::printf("%-26s %-30s %10.3f %10.1f %9.2f", title.c_str(), contestant.name.c_str(), 1e3 * seconds,
                    1e-6 * voxels / seconds, seconds / first);
        if (entry.mebibytes >= 0) std::printf(" %9.1f", entry.mebibytes);
        std::printf("\n");
    }
    std::fflush(stdout);
}

} // namespace zypr::bench
