// Environments as panoramas: linear red, green and blue over longitude and latitude, y up.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace irradiance {

using Vector = std::array<float, 3>;

struct Panorama {
    Panorama(int32_t panoramaWidth, int32_t panoramaHeight)
        : width(panoramaWidth), height(panoramaHeight),
          colors(static_cast<size_t>(panoramaWidth) * static_cast<size_t>(panoramaHeight) * 3) {}

    // The unit direction through the middle of a pixel: the top row looks up, the middle column along -z.
    Vector direction(int32_t column, int32_t row) const;
    // The solid angle of each pixel of a row.
    float solidAngle(int32_t row) const;
    // The colour in a direction of any length, interpolated between pixels.
    Vector colorAt(const Vector &direction) const;

    int32_t width, height;
    std::vector<float> colors; // row by row, red, green, blue
};

// A late afternoon: a low sun, a blue sky that pales to the horizon, dry ground, and a shaded wall.
Panorama afternoon(int32_t width, int32_t height);

// From a PNG file of any size, whose samples are sRGB. Throws std::runtime_error with a message for the user.
Panorama readPanorama(const std::string &path);

} // namespace irradiance
