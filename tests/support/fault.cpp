#include "support/fault.h"

#include <csetjmp>
#include <csignal>

namespace zypr::test {
namespace {

sigjmp_buf beforeFault;

void onFault(int) { siglongjmp(beforeFault, 1); }

} // namespace

bool faults(const std::function<void()> &action) {
    struct sigaction catching {
    }, previousSegv{}, previousBus{};
    catching.sa_handler = onFault;
    sigemptyset(&catching.sa_mask);
    sigaction(SIGSEGV, &catching, &previousSegv);
    sigaction(SIGBUS, &catching, &previousBus);
    bool faulted = true;
    if (sigsetjmp(beforeFault, 1) == 0) {
        action();
        faulted = false;
    }
    sigaction(SIGSEGV, &previousSegv, nullptr);
    sigaction(SIGBUS, &previousBus, nullptr);
    return faulted;
}

} // namespace zypr::test
