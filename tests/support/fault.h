// Runs code that may touch memory that it must not.
#pragma once

#include <functional>

namespace zypr::test {

// Whether `action` ended in a memory fault. The action must not hold objects with destructors that matter.
bool faults(const std::function<void()> &action);

} // namespace zypr::test
