// A picture of a mesh in an environment: every point shows its irradiance, as a white matt surface does.
#pragma once

#include <vector>

#include "environment.h"
#include "support/mesh.h"

namespace irradiance {

struct View {
    int32_t width = 960, height = 640;
    int32_t samples = 9; // rays through a pixel
    float azimuth = 20, elevation = 8, distance = 3.0f, fieldOfView = 34;
    float albedo = 0.8f;
};

// Linear red, green and blue, row by row. Throws std::runtime_error.
std::vector<float> litMesh(examples::Mesh mesh, const View &view, const Panorama &background, const Harmonics &irradiance,
                           int32_t threads, bool quiet);

} // namespace irradiance
