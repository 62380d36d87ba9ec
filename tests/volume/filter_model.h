// The volume filter sample by sample: each arithmetic written out plainly, with nothing shared between the samples.
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "zypr.h"

namespace zypr::test {

struct FilterModel {
    std::vector<int32_t> taps; // width fastest, then height, then depth
    ZyprVolumeExtent extent;
    int32_t origin[3];
    int32_t divisor;

    using Source = std::function<int16_t(int64_t x, int64_t y, int64_t z)>;

    int32_t tap(int32_t i, int32_t j, int32_t k) const {
        return taps[static_cast<size_t>((int64_t{k} * extent.height + j) * extent.width + i)];
    }

    bool isCube(int32_t side) const { return extent.width == side && extent.height == side && extent.depth == side; }

    bool goesInIntegers(int32_t dstWidth) const {
        int64_t sum = 0;
        bool packs = true;
        for (const int32_t c : taps) {
            sum += c;
            if (c < -32767 || c > 32766) packs = false;
        }
        if (dstWidth < 16 || sum > 98301 || !packs) return false;
        return extent.width >= 3 && extent.height >= 3 && extent.depth >= 3;
    }

    int16_t at(int32_t x, int32_t y, int32_t z, int32_t dstWidth, const Source &src) const {
        if (goesInIntegers(dstWidth)) return integerSample(x, y, z, src);
        if (isCube(3) || isCube(5)) return floatSample(x, y, z, src);
        return exactSample(x, y, z, src);
    }

    static int16_t saturate(int64_t a) {
        if (a > 32767) return 32767;
        if (a < -32768) return -32768;
        return static_cast<int16_t>(a);
    }

    // The conversion instruction, rounding to nearest even: out of range it gives INT32_MIN.
    static int32_t convert(float a) {
        if (!(a >= -2147483648.0f && a < 2147483648.0f)) return INT32_MIN;
        return static_cast<int32_t>(std::nearbyint(a));
    }

    int shift() const { // -1 unless the divisor is a positive power of two
        for (int s = 0; s < 31; ++s)
            if (divisor == int64_t{1} << s) return s;
        return -1;
    }

    int64_t sourceTerm(int32_t i, int32_t j, int32_t k, int32_t x, int32_t y, int32_t z, const Source &src) const {
        return src(int64_t{x} + origin[0] - i, int64_t{y} + origin[1] - j, int64_t{z} + origin[2] - k);
    }

    int16_t integerSample(int32_t x, int32_t y, int32_t z, const Source &src) const {
        uint32_t sum = 0;
        for (int32_t k = 0; k < extent.depth; ++k)
            for (int32_t j = 0; j < extent.height; ++j)
                for (int32_t i = 0; i < extent.width; ++i)
                    sum += static_cast<uint32_t>(sourceTerm(i, j, k, x, y, z, src) * tap(i, j, k));
        const auto acc = static_cast<int32_t>(sum);
        const int s = shift();
        if (s == 0) return saturate(acc);
        if (s > 0) {
            const uint32_t h = 1u << (s - 1);
            const auto bit = static_cast<uint32_t>((acc >> s) & 1);
            return saturate(static_cast<int32_t>(sum + h - 1 + bit) >> s);
        }
        const float reciprocal = 1.0f / static_cast<float>(divisor);
        const float product = static_cast<float>(acc) * reciprocal;
        return saturate(convert(product));
    }

    int16_t floatSample(int32_t x, int32_t y, int32_t z, const Source &src) const {
        float total = 0.0f;
        for (int32_t k = extent.depth - 1; k >= 0; --k) {
            for (int32_t j = extent.height - 1; j >= 0; --j) {
                uint32_t sum = 0;
                for (int32_t i = 0; i < extent.width; ++i)
                    sum += static_cast<uint32_t>(sourceTerm(i, j, k, x, y, z, src) * tap(i, j, k));
                const float converted = static_cast<float>(static_cast<int32_t>(sum));
                total = total + converted;
            }
        }
        const float reciprocal = 1.0f / static_cast<float>(divisor);
        float scaled = total * reciprocal;
        if (scaled > 32767.0f) scaled = 32767.0f;
        if (scaled < -32768.0f) scaled = -32768.0f;
        return static_cast<int16_t>(std::nearbyint(scaled));
    }

    int16_t exactSample(int32_t x, int32_t y, int32_t z, const Source &src) const {
        int64_t sum = 0;
        for (int32_t k = 0; k < extent.depth; ++k)
            for (int32_t j = 0; j < extent.height; ++j)
                for (int32_t i = 0; i < extent.width; ++i) sum += sourceTerm(i, j, k, x, y, z, src) * tap(i, j, k);
        const int s = shift();
        if (s == 0) return saturate(sum);
        if (s > 0) {
            int64_t q = sum >> s;
            const int64_t rest = sum - q * (int64_t{1} << s), h = int64_t{1} << (s - 1);
            if (rest > h || (rest == h && (q & 1) != 0)) q += 1;
            return saturate(q);
        }
        const double v = static_cast<double>(sum) / static_cast<double>(divisor);
        if (v >= 32767.0) return 32767;
        if (v <= -32768.0) return -32768;
        if (v > 0.5) {
            double r = std::trunc(v + 0.5);
            if (r - v == 0.5 && std::fmod(r, 2.0) != 0.0) r -= 1.0;
            return static_cast<int16_t>(r);
        }
        if (v < -0.5) {
            double r = std::trunc(v - 0.5);
            if (r - v == -0.5 && std::fmod(r, 2.0) != 0.0) r += 1.0;
            return static_cast<int16_t>(r);
        }
        return 0;
    }
};

} // namespace zypr::test
