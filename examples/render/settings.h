// What the user chooses.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vector.h"

namespace render {

enum class Normals { smooth, flat };
enum class Shading { lit, normals };

struct LightSetting {
    float azimuth, elevation, brightness; // degrees relative to the camera's azimuth; 1 lights a white surface fully
};

struct Settings {
    std::string meshPath, picturePath;
    int32_t width = 1280, height = 960;
    int32_t samples = 16; // per pixel
    int32_t threads = 0;  // 0: as many as there are processors

    float azimuth = 20.0f, elevation = 14.0f, distance = 3.1f, fieldOfView = 34.0f;
    bool zUp = false;

    std::vector<LightSetting> lights = {{-48, 46, 1.0f}, {62, 18, 0.14f}, {158, 40, 0.6f}};
    float lightSize = 0.12f; // radius of a light as a part of its distance; 0 gives sharp shadows
    int32_t skyLights = 2;   // lights on the dome per sample
    bool shadows = true;

    Normals normals = Normals::smooth;
    Shading shading = Shading::lit;
    Vector color = {0.60f, 0.27f, 0.13f};
    float mirror = 0.05f; // what the mesh reflects, seen head-on
    bool ground = true;
    float groundMirror = 0.10f;
    int32_t bounces = 2;
    bool quiet = false;
};

} // namespace render
