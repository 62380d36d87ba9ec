// Work shared out among threads.
#pragma once

#include <cstdint>
#include <functional>

namespace examples {

// Calls work(thread, item) for all items from 0 to count - 1; each of the threads, numbered from 0, takes the next item that
// there is. `work` throws nothing.
void shareOut(int32_t threads, int32_t count, const std::function<void(int32_t thread, int32_t item)> &work);

} // namespace examples
