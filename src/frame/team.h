// The one way of opening a team of threads.
#pragma once

#include <omp.h>

#include <cstdint>

#include "zypcore.h"

namespace zypr {

// How many threads a team may have in this process when `wanted` are asked for: `wanted`, but at least 1, and 1 in a child that
// was forked after a team had run, where the runtime's threads no longer exist and waiting for them would hang.
int allowedTeamSize(int wanted);

// Runs body(thread, teamSize) once on every thread of a team and returns when all have ended. The body is written once: it
// takes its share from the two numbers, and a team of one, which the runtime may give at any time, does all the work.
template <class Body> void runTeam(int wanted, const Body &body) {
#pragma omp parallel num_threads(allowedTeamSize(wanted))
    body(omp_get_thread_num(), omp_get_num_threads());
}

// The consecutive items that one thread of a team takes: equal shares, the remainder going to the last thread.
struct TeamShare {
    int32_t first;
    int32_t count;
};

inline TeamShare teamShare(int32_t items, int thread, int teamSize) {
    const int32_t share = items / teamSize;
    const int32_t rest = thread == teamSize - 1 ? items % teamSize : 0;
    return {share * thread, share + rest};
}

} // namespace zypr
