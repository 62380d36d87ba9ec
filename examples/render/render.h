// The whole picture: tiles on the application's threads, then colours for the screen.
#pragma once

#include "support/picture.h"
#include "tile_tracer.h"

namespace render {

struct RenderResult {
    ColorImage image;
    TraceCounts counts;
    double seconds;
};

RenderResult traceImage(const Scene &scene, const Settings &settings, int32_t threads);

// Linear colours through a tone curve into sRGB; normals as they are.
examples::Picture developed(const ColorImage &image, Shading shading);

} // namespace render
