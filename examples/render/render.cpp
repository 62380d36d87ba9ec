#include "render.h"

#include <algorithm>
#include <chrono>

#include "support/progress.h"
#include "support/threads.h"

namespace render {
namespace {

// A filmic curve (Narkowicz, 2015): a soft shoulder for highlights, and a toe that keeps shadows deep.
float toneMapped(float x) { return x * (2.51f * x + 0.03f) / (x * (2.43f * x + 0.59f) + 0.14f); }

} // namespace

RenderResult traceImage(const Scene &scene, const Settings &settings, int32_t threads) {
    const auto start = std::chrono::steady_clock::now();
    RenderResult result{ColorImage(settings.width, settings.height), {}, 0};
    const int32_t tilesX = (settings.width + TileTracer::edge - 1) / TileTracer::edge;
    const int32_t tilesY = (settings.height + TileTracer::edge - 1) / TileTracer::edge;
    const int32_t tiles = tilesX * tilesY;

    examples::Progress progress("tracing", tiles, settings.quiet);
    std::vector<TileTracer> tracers;
    tracers.reserve(static_cast<size_t>(std::min(threads, tiles)));
    while (tracers.size() < static_cast<size_t>(std::min(threads, tiles))) tracers.emplace_back(scene, settings);
    examples::shareOut(threads, tiles, [&](int32_t thread, int32_t tile) {
        tracers[static_cast<size_t>(thread)].trace(tile % tilesX, tile / tilesX, result.image);
        progress.add();
    });

    for (const TileTracer &tracer : tracers) {
        result.counts.eye += tracer.counts().eye;
        result.counts.shadow += tracer.counts().shadow;
        result.counts.mirror += tracer.counts().mirror;
    }
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}

examples::Picture developed(const ColorImage &image, Shading shading) {
    examples::Picture picture(image.width, image.height);
    for (size_t i = 0; i < image.colors.size(); ++i) {
        for (size_t c = 0; c < 3; ++c) {
            const float value = image.colors[i][c];
            picture.samples[3 * i + c] = shading == Shading::normals
                                             ? static_cast<uint8_t>(std::clamp(value, 0.0f, 1.0f) * 255.0f + 0.5f)
                                             : examples::srgbSample(toneMapped(value));
        }
    }
    return picture;
}

} // namespace render
