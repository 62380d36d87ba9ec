// Hashes of results, to compare builds bit by bit. A subsystem's fingerprint.cpp states, per export, inputs and what to hash:
//
//     FINGERPRINT(zyprMul_32f_C1IM) { ...call it...; print.add(values); }
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <type_traits>

namespace zypr::test {

class Fingerprint {
public:
    // Any contiguous range. All NaNs count as one.
    template <class Range> void add(const Range &range) {
        for (const auto &value : range) addValue(value);
    }
    template <class T> void addValue(T value) {
        if constexpr (std::is_floating_point_v<T>) {
            if (std::isnan(value)) value = T(12345.678); // any fixed number
        }
        unsigned char bytes[sizeof(T)];
        std::memcpy(bytes, &value, sizeof(T));
        for (const unsigned char byte : bytes) hash_ = (hash_ ^ byte) * 0x100000001B3u; // FNV-1a
    }
    uint64_t hash() const { return hash_; }

private:
    uint64_t hash_ = 0xCBF29CE484222325u;
};

struct FingerprintRegistration {
    FingerprintRegistration(const char *name, void (*make)(Fingerprint &));
};

#define FINGERPRINT(name)                                                                                                      \
    static void fingerprint_##name(zypr::test::Fingerprint &print);                                                            \
    static const zypr::test::FingerprintRegistration registered_##name(#name, fingerprint_##name);                             \
    static void fingerprint_##name(zypr::test::Fingerprint &print)

} // namespace zypr::test
