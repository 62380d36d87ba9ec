// What arrives from an environment, as spherical harmonics.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "panorama.h"
#include "support/arrays.h"
#include "zypr.h"

namespace irradiance {

constexpr uint32_t highestOrder = 15;

// One coefficient vector for each of red, green and blue.
class Harmonics {
public:
    // The radiance of a panorama, projected on bands 0 to `order`.
    Harmonics(const Panorama &panorama, uint32_t order);

    uint32_t order() const { return order_; }

    // The same without the bands above `order`.
    Harmonics upTo(uint32_t order) const;

    // The irradiance on a surface as a function of its normal: the radiance convolved with the clamped cosine, which is a
    // factor for each band (Ramamoorthi and Hanrahan, 2001).
    Harmonics irradiance() const;

    // The values in `count` directions, as three planes of colours.
    void evaluate(const float *const directions[3], int32_t count, float *const colors[3]) const;

    // The values over longitude and latitude.
    Panorama panorama(int32_t width, int32_t height) const;

private:
    // Sums go by the address, so that a fixed alignment makes pictures the same in every run.
    struct alignas(64) Coefficients : std::array<float, size_t{highestOrder + 1} * (highestOrder + 1)> {};

    explicit Harmonics(uint32_t order);

    const ZyprSHState *state() const { return reinterpret_cast<const ZyprSHState *>(state_->data()); }

    uint32_t order_;
    std::shared_ptr<examples::AlignedArray<unsigned char>> state_; // points into itself, so that copies share it
    std::array<Coefficients, 3> coefficients_{};
};

} // namespace irradiance
