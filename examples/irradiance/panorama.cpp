#include "panorama.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "support/picture.h"

namespace irradiance {
namespace {

constexpr float pi = std::numbers::pi_v<float>;

Vector operator*(float s, const Vector &a) { return {s * a[0], s * a[1], s * a[2]}; }
Vector operator+(const Vector &a, const Vector &b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
float dot(const Vector &a, const Vector &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
Vector mix(const Vector &a, const Vector &b, float share) { return (1 - share) * a + share * b; }

// 0 below `from`, 1 above `to`, smooth between.
float smoothStep(float from, float to, float x) {
    const float t = std::clamp((x - from) / (to - from), 0.0f, 1.0f);
    return t * t * (3 - 2 * t);
}

Vector onSphere(float azimuth, float elevation) {
    const float a = azimuth * pi / 180, e = elevation * pi / 180;
    return {std::cos(e) * std::sin(a), std::sin(e), -std::cos(e) * std::cos(a)};
}

Vector afternoonColor(const Vector &direction) {
    const float height = direction[1];
    const Vector horizon = {0.46f, 0.41f, 0.38f}, zenith = {0.07f, 0.20f, 0.60f};
    const Vector sky = mix(horizon, zenith, std::pow(std::max(height, 0.0f), 0.5f));
    const Vector ground = mix({0.20f, 0.15f, 0.08f}, {0.07f, 0.055f, 0.035f}, smoothStep(0.0f, 1.0f, -height));
    Vector color = mix(ground, sky, smoothStep(-0.006f, 0.006f, height));

    // Much of the sun's light comes through haze: a wide lobe round a small disk.
    const float toSun = std::max(dot(direction, onSphere(-118, 38)), 0.0f);
    color = color + 7.0f * std::pow(toSun, 26.0f) * Vector{1.0f, 0.78f, 0.48f};
    color = color + 8.0f * smoothStep(0.9970f, 0.9985f, toSun) * Vector{1.0f, 0.90f, 0.70f};

    // The wall takes up a part of the horizon away from the sun.
    const Vector toWall = onSphere(105, 0);
    const float along = dot(Vector{direction[0], 0, direction[2]}, toWall) / std::hypot(direction[0], direction[2]);
    const float wall = smoothStep(0.62f, 0.64f, along) * smoothStep(-0.22f, -0.20f, height) * smoothStep(0.52f, 0.50f, height);
    return mix(color, {0.80f, 0.13f, 0.05f}, wall);
}

} // namespace

Vector Panorama::direction(int32_t column, int32_t row) const {
    const float longitude = (2 * (static_cast<float>(column) + 0.5f) / static_cast<float>(width) - 1) * pi;
    const float latitude = (0.5f - (static_cast<float>(row) + 0.5f) / static_cast<float>(height)) * pi;
    return {std::cos(latitude) * std::sin(longitude), std::sin(latitude), -std::cos(latitude) * std::cos(longitude)};
}

float Panorama::solidAngle(int32_t row) const {
    const auto edge = [&](int32_t r) { return std::cos(pi * static_cast<float>(r) / static_cast<float>(height)); };
    return 2 * pi / static_cast<float>(width) * (edge(row) - edge(row + 1));
}

Vector Panorama::colorAt(const Vector &direction) const {
    const float longitude = std::atan2(direction[0], -direction[2]);
    const float latitude = std::atan2(direction[1], std::hypot(direction[0], direction[2]));
    const float x = (longitude / pi + 1) / 2 * static_cast<float>(width) - 0.5f;
    const float y = (0.5f - latitude / pi) * static_cast<float>(height) - 0.5f;
    const float column = std::floor(x), row = std::floor(y);
    const auto pixel = [&](float c, float r) {
        const int32_t wrapped = (static_cast<int32_t>(c) + width) % width;
        const int32_t clamped = std::clamp(static_cast<int32_t>(r), 0, height - 1);
        const float *color =
            &colors[(static_cast<size_t>(clamped) * static_cast<size_t>(width) + static_cast<size_t>(wrapped)) * 3];
        return Vector{color[0], color[1], color[2]};
    };
    return mix(mix(pixel(column, row), pixel(column + 1, row), x - column),
               mix(pixel(column, row + 1), pixel(column + 1, row + 1), x - column), y - row);
}

Panorama afternoon(int32_t width, int32_t height) {
    Panorama panorama(width, height);
    size_t at = 0;
    for (int32_t row = 0; row < height; ++row) {
        for (int32_t column = 0; column < width; ++column) {
            for (const float sample : afternoonColor(panorama.direction(column, row))) panorama.colors[at++] = sample;
        }
    }
    return panorama;
}

Panorama readPanorama(const std::string &path) {
    const examples::Picture picture = examples::readPng(path);
    Panorama panorama(picture.width, picture.height);
    std::transform(picture.samples.begin(), picture.samples.end(), panorama.colors.begin(), examples::linearIntensity);
    return panorama;
}

} // namespace irradiance
