// The camera and the lights of each sample.
#pragma once

#include "settings.h"

namespace render {

// Directions through pixel corners and the steps between pixels, as zyprCastEye_32f takes them.
struct Camera {
    explicit Camera(const Settings &settings);
    // The direction through a point of pixel (0, 0), its offsets within 0 and 1.
    Vector planeBase(float offsetX, float offsetY) const { return corner + offsetX * columnStep + offsetY * rowStep; }

    Vector eye, corner, columnStep, rowStep;
};

struct PointLight {
    Vector position, color;
    bool attenuated; // by the square of the distance; otherwise as bright everywhere
};

// A point of the unit square; the first `count` points of a sequence cover it evenly.
struct SquarePoint {
    float x, y;
};
SquarePoint spread(int32_t index, int32_t sequence);

// The point lights of one of `settings.samples` passes over the picture: one on the disk of each light and some on the dome.
// All passes together make soft shadows.
std::vector<PointLight> lightsOfSample(const Settings &settings, int32_t sample);

// What a ray sees that hits nothing, as a function of the y component of its unit direction.
Vector skyColor(float y);

} // namespace render
