#include "support/progress.h"

#include <unistd.h>

#include <cstdio>

namespace examples {

void Progress::add(int32_t parts) {
    static const bool terminal = isatty(STDERR_FILENO) != 0;
    const std::lock_guard lock(mutex_);
    done_ += parts;
    const auto percent = static_cast<int32_t>(int64_t{done_} * 100 / total_);
    if (quiet_ || percent == shown_) return;
    if (terminal)
        std::fprintf(stderr, "\r%s %3d %%%s", doing_, percent, percent == 100 ? "\n" : "");
    else if (percent / 25 > shown_ / 25)
        std::fprintf(stderr, "%s %d %%\n", doing_, percent);
    shown_ = percent;
}

} // namespace examples
