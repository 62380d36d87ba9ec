// Traces one tile of the picture at a time. All rays, points, normals and colours pass through the library's exports in arrays
// with one value per ray. A tracer belongs to one thread.
#pragma once

#include "scene.h"
#include "support/arrays.h"
#include "view.h"

namespace render {

// Rays that took part in queries, and the time spent in them.
struct RayCount {
    int64_t rays = 0;
    double seconds = 0;

    void operator+=(const RayCount &other) {
        rays += other.rays;
        seconds += other.seconds;
    }
};

struct TraceCounts {
    RayCount eye, shadow, mirror;
};

// Linear colours.
struct ColorImage {
    ColorImage(int32_t imageWidth, int32_t imageHeight)
        : width(imageWidth), height(imageHeight), colors(static_cast<size_t>(imageWidth) * static_cast<size_t>(imageHeight)) {}

    int32_t width, height;
    std::vector<Vector> colors;
};

class TileTracer {
public:
    // Pixels along an edge: a multiple of 4, so that the queries take their packet paths, and arrays that stay in the cache.
    static constexpr int32_t edge = 64;

    TileTracer(const Scene &scene, const Settings &settings);

    // Traces tile (tileX, tileY) and writes its pixels. Tiles of one image may be traced by several tracers at once.
    void trace(int32_t tileX, int32_t tileY, ColorImage &image);

    const TraceCounts &counts() const { return counts_; }

private:
    // One ray through each pixel of the tile, and what it meets on its way.
    void traceSample(int32_t tileX, int32_t tileY, int32_t sample);

    void castEyeRays(int32_t tileX, int32_t tileY, SquarePoint offset);
    void findHits(bool eyeRays);
    void findNormals();
    void paintNormals();
    void paint(const std::vector<PointLight> &lights);
    void addLight(const PointLight &light);
    void addHighlight(const PointLight &light);
    void paintSky();
    void splitAtMirrors();
    void castMirrorRays();
    void accumulate();

    const Scene &scene_;
    const Settings &settings_;
    const Camera camera_;
    std::vector<std::vector<PointLight>> lights_; // of each sample
    TraceCounts counts_;

    ZyprBundleSize size_{};
    int32_t count_ = 0; // size_.width x size_.height

    // Masks hold 0 for rays that take part and -1 for the others.
    examples::AlignedArray<int32_t> alive_, hit_, lit_;
    examples::Planes origin_, direction_;
    examples::AlignedArray<float> distance_, weight0_, weight1_;
    examples::AlignedArray<int32_t> triangle_, occluder_;
    examples::Planes point_, normal_, flatNormal_, reflected_;
    examples::AlignedArray<float> side_, turn_;
    examples::Planes shadow_;
    examples::AlignedArray<float> lightDot_, lightDistance_, highlight_;
    examples::Planes albedo_, color_, total_;
    examples::AlignedArray<float> mirror_, carried_, share_;
    examples::Planes white_;
};

} // namespace render
