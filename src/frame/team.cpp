// Guards teams against forked children.

#include "frame/team.h"

#include <unistd.h>

#include <atomic>

namespace zypr {
namespace {

// The process that opened the first team; 0 before. A forked child inherits its parent's number and so knows itself as a child.
std::atomic<pid_t> teamOwner{0};

} // namespace

int allowedTeamSize(int wanted) {
    if (wanted <= 1) return 1;
    const pid_t self = getpid();
    pid_t owner = 0;
    if (teamOwner.compare_exchange_strong(owner, self, std::memory_order_relaxed)) return wanted;
    return owner == self ? wanted : 1;
}

} // namespace zypr
