#include "view.h"

#include <algorithm>

namespace render {

Camera::Camera(const Settings &settings) {
    const Vector back = onSphere(settings.azimuth, settings.elevation);
    const Vector right = unit(cross({0.0f, 1.0f, 0.0f}, back));
    const Vector up = cross(back, right);
    eye = settings.distance * back;
    const float halfHeight = std::tan(radians(settings.fieldOfView) / 2.0f);
    const float pixel = 2.0f * halfHeight / static_cast<float>(settings.height);
    const float halfWidth = pixel * static_cast<float>(settings.width) / 2.0f;
    columnStep = pixel * right;
    rowStep = -pixel * up;
    corner = -1.0f * back - halfWidth * right + halfHeight * up;
}

// The additive sequence of the plastic number (Roberts, 2018), which fills the square with low discrepancy; the sequences are
// shifted against each other.
SquarePoint spread(int32_t index, int32_t sequence) {
    const auto fraction = [](double a) { return static_cast<float>(a - std::floor(a)); };
    return {fraction(0.5 + index * 0.75487766624669276 + sequence * 0.5436890126920764),
            fraction(0.5 + index * 0.56984029099805327 + sequence * 0.2955977425220848)};
}

std::vector<PointLight> lightsOfSample(const Settings &settings, int32_t sample) {
    std::vector<PointLight> lights;
    constexpr float lightDistance = 6.0f;
    int32_t sequence = 1;
    for (const LightSetting &setting : settings.lights) {
        const Vector towards = onSphere(settings.azimuth + setting.azimuth, setting.elevation);
        const Vector right = unit(cross({0.0f, 1.0f, 0.001f}, towards)), up = cross(towards, right);
        const SquarePoint square = spread(sample, sequence++);
        const float r = settings.lightSize * lightDistance * std::sqrt(square.x), angle = 2.0f * pi * square.y;
        const Vector position = lightDistance * towards + (r * std::cos(angle)) * right + (r * std::sin(angle)) * up;
        // The key light is warm, the others are a little cool.
        const Vector tint = sequence == 2 ? Vector{1.0f, 0.95f, 0.87f} : Vector{0.88f, 0.94f, 1.0f};
        lights.push_back({position, (setting.brightness * lightDistance * lightDistance) * tint, true});
    }
    constexpr float domeDistance = 60.0f;
    const Vector domeColor = {0.20f, 0.22f, 0.25f};
    for (int32_t k = 0; k < settings.skyLights; ++k) {
        const SquarePoint square = spread(sample * settings.skyLights + k, 0);
        const float y = 0.03f + 0.97f * square.x, r = std::sqrt(1.0f - y * y), angle = 2.0f * pi * square.y;
        const Vector direction = {r * std::cos(angle), y, r * std::sin(angle)};
        // Over a dome of even directions, light of 1 from everywhere comes to twice the mean of the cosines.
        lights.push_back({domeDistance * direction, (2.0f / static_cast<float>(settings.skyLights)) * domeColor, false});
    }
    return lights;
}

Vector skyColor(float y) {
    const float t = std::clamp(y, 0.0f, 1.0f);
    const Vector horizon = {0.17f, 0.18f, 0.20f}, zenith = {0.02f, 0.025f, 0.035f};
    const float blend = std::pow(t, 0.6f);
    return (1.0f - blend) * horizon + blend * zenith;
}

} // namespace render
