// Reproducible inputs.
#pragma once

#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace zypr::test {

class Random {
public:
    explicit Random(uint32_t seed) : engine_(seed) {}

    // Uniform in [low, high), by arithmetic that every standard library does alike.
    float real(float low, float high) { return low + (high - low) * (static_cast<float>(engine_() >> 8) * 0x1p-24f); }
    int32_t integer(int32_t low, int32_t highInclusive) {
        const auto range = static_cast<uint64_t>(static_cast<int64_t>(highInclusive) - low + 1);
        return static_cast<int32_t>(low + static_cast<int64_t>(engine_() % range));
    }
    uint32_t word() { return static_cast<uint32_t>(engine_()); }
    bool chance(float probability) { return real(0.0f, 1.0f) < probability; }

    std::vector<float> reals(size_t count, float low, float high) {
        std::vector<float> values(count);
        for (float &value : values) value = real(low, high);
        return values;
    }

    // A mask word: 0, -1, another negative or another positive word.
    int32_t maskWord() {
        switch (integer(0, 5)) {
        case 0:
        case 1: return 0;
        case 2:
        case 3: return -1;
        case 4: return static_cast<int32_t>(word() | 0x80000000u);
        default: return static_cast<int32_t>(word() & 0x7FFFFFFFu);
        }
    }

private:
    std::mt19937 engine_;
};

// Floats at which arithmetic changes its ways.
inline const std::vector<float> &specialFloats() {
    using Limits = std::numeric_limits<float>;
    static const std::vector<float> values = {0.0f,
                                              -0.0f,
                                              1.0f,
                                              -1.0f,
                                              Limits::infinity(),
                                              -Limits::infinity(),
                                              Limits::quiet_NaN(),
                                              Limits::denorm_min(),
                                              -Limits::denorm_min(),
                                              Limits::min(),
                                              -Limits::min(),
                                              1e-40f,
                                              Limits::max(),
                                              -Limits::max(),
                                              1e30f,
                                              1e-30f,
                                              16777216.0f,
                                              16777217.0f,
                                              0.5f,
                                              3.0f};
    return values;
}

} // namespace zypr::test
