// How far a computation has come.
#pragma once

#include <cstdint>
#include <mutex>

namespace examples {

// Tells on stderr: over one line of a terminal, or with a line per quarter elsewhere. All threads may call it.
class Progress {
public:
    Progress(const char *doing, int32_t total, bool quiet) : doing_(doing), total_(total), quiet_(quiet) {}

    void add(int32_t parts = 1);

private:
    std::mutex mutex_;
    const char *const doing_;
    const int32_t total_;
    const bool quiet_;
    int32_t done_ = 0, shown_ = 0; // `shown_` is a percentage
};

} // namespace examples
