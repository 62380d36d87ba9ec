#include "support/threads.h"

#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace examples {

void shareOut(int32_t threads, int32_t count, const std::function<void(int32_t thread, int32_t item)> &work) {
    std::atomic<int32_t> next{0};
    const auto takeItems = [&](int32_t thread) {
        for (int32_t item; (item = next++) < count;) work(thread, item);
    };
    std::vector<std::thread> helpers;
    for (int32_t thread = 1; thread < threads && thread < count; ++thread) {
        try {
            helpers.emplace_back(takeItems, thread);
        } catch (const std::system_error &) {
            break; // the threads that there are do all the work
        }
    }
    takeItems(0);
    for (std::thread &helper : helpers) helper.join();
}

} // namespace examples
