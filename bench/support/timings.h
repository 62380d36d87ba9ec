// The seconds that something took, again and again.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace zypr::bench {

template <class Function> double secondsOf(Function &&function) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    function();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

class Timings {
public:
    void add(double seconds) { seconds_.push_back(seconds); }

    // Times `calls` calls together; returns the seconds for one.
    template <class Function> double measure(int calls, Function &function) {
        add(secondsOf([&] {
                for (int k = 0; k < calls; ++k) function();
            }) /
            calls);
        return seconds_.back();
    }
    double median() {
        if (seconds_.empty()) return 0;
        const auto middle = seconds_.begin() + static_cast<ptrdiff_t>(seconds_.size() / 2);
        std::nth_element(seconds_.begin(), middle, seconds_.end());
        return *middle;
    }

private:
    std::vector<double> seconds_;
};

} // namespace zypr::bench
