// What the programs' command lines and main functions share.
#pragma once

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdint>
#include <functional>
#include <sstream>
#include <string>

namespace examples {

// A number from `low` to `high`; NaN is none.
template <class Number> CLI::Validator between(Number low, Number high) {
    std::ostringstream range;
    range << low << " to " << high;
    const auto check = [low, high, text = range.str()](const std::string &input) {
        Number value{};
        const bool inside = CLI::detail::lexical_cast(input, value) && value >= low && value <= high;
        return inside ? std::string() : input + " is not in the range " + text;
    };
    return CLI::Validator(check, "[" + range.str() + "]");
}

// An angle in degrees: any finite number.
inline CLI::Validator angle() { return between(-1e6, 1e6).description(""); }

CLI::Option *addThreadsOption(CLI::App &app, int32_t &threads);
CLI::Option *addQuietOption(CLI::App &app, bool &quiet);

// Sets the library's threads to that many, or to one per processor for 0. Returns how many they are.
int32_t useThreads(int32_t threads);

// "1 thread", "2 threads".
std::string threadsText(int32_t threads);

// The main function of a program: reads the command line, calls `run`, and tells of all failures. The status is 0, or 1 for a
// failure that the user can do something about, or 2 for bad usage.
int runProgram(CLI::App &app, int argc, char **argv, const std::function<void()> &run);

} // namespace examples
