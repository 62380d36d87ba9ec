// Single vectors, for what is set up once: cameras, lights, the mesh's place.
#pragma once

#include <array>
#include <cmath>

namespace render {

using Vector = std::array<float, 3>;

inline Vector operator+(const Vector &a, const Vector &b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
inline Vector operator-(const Vector &a, const Vector &b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
inline Vector operator*(float s, const Vector &a) { return {s * a[0], s * a[1], s * a[2]}; }
inline float dot(const Vector &a, const Vector &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline Vector cross(const Vector &a, const Vector &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline Vector unit(const Vector &a) { return (1.0f / std::sqrt(dot(a, a))) * a; }

constexpr float pi = 3.14159265f;
inline float radians(float degrees) { return degrees * (pi / 180.0f); }

// The unit vector at an azimuth from the z axis towards x and an elevation towards y, in degrees.
inline Vector onSphere(float azimuth, float elevation) {
    const float a = radians(azimuth), e = radians(elevation);
    return {std::cos(e) * std::sin(a), std::sin(e), std::cos(e) * std::cos(a)};
}

} // namespace render
