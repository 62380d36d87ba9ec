// Bitwise comparison of results. NaN equals NaN whatever its payload and sign, unless the exact form is asked for.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <iomanip>
#include <ranges>
#include <span>
#include <type_traits>

namespace zypr::test {

inline uint32_t bits(float a) { return std::bit_cast<uint32_t>(a); }
inline uint64_t bits(double a) { return std::bit_cast<uint64_t>(a); }
inline float fromBits(uint32_t a) { return std::bit_cast<float>(a); }

template <class T> bool sameValue(T a, T b) {
    if constexpr (std::is_floating_point_v<T>)
        return bits(a) == bits(b) || (std::isnan(a) && std::isnan(b));
    else
        return a == b;
}

template <class T> bool sameBits(T a, T b) {
    if constexpr (std::is_floating_point_v<T>)
        return bits(a) == bits(b);
    else
        return a == b;
}

namespace detail {

template <class T> void describe(std::ostream &out, T a) {
    if constexpr (std::is_floating_point_v<T>)
        out << std::setprecision(9) << a << " (0x" << std::hex << bits(a) << std::dec << ")";
    else
        out << +a;
}

template <class Actual, class Expected, class Equal>
testing::AssertionResult compare(const Actual &actual, const Expected &expected, Equal equal) {
    if (std::size(actual) != std::size(expected))
        return testing::AssertionFailure() << std::size(actual) << " elements, expected " << std::size(expected);
    size_t different = 0;
    std::ostringstream report;
    for (size_t i = 0; i < std::size(actual); ++i) {
        if (equal(std::data(actual)[i], std::data(expected)[i])) continue;
        if (++different > 4) continue;
        report << "\n  [" << i << "] is ";
        describe(report, std::data(actual)[i]);
        report << ", expected ";
        describe(report, std::data(expected)[i]);
    }
    if (different == 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << different << " of " << std::size(actual) << " elements differ:" << report.str();
}

} // namespace detail

// EXPECT_TRUE(equalValues(actual, expected)): any two contiguous ranges of one element type.
template <class Actual, class Expected> testing::AssertionResult equalValues(const Actual &actual, const Expected &expected) {
    return detail::compare(actual, expected, [](auto a, auto b) { return sameValue(a, b); });
}

// The same with NaN payloads and signs compared too.
template <class Actual, class Expected> testing::AssertionResult equalBits(const Actual &actual, const Expected &expected) {
    return detail::compare(actual, expected, [](auto a, auto b) { return sameBits(a, b); });
}

} // namespace zypr::test
