#include "tile_tracer.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace render {
namespace {

constexpr size_t capacity = size_t{TileTracer::edge} * TileTracer::edge;

// A hit point is pulled back towards the ray's origin by this factor, off its surface.
constexpr float pullBack = 0.9999f;

// The ground turns into the sky where rays meet it flatter than the first of these slopes, wholly at the second.
constexpr float groundFadesFrom = 0.26f, groundEnds = 0.045f;

// A mirror image that carries less than this is not traced.
constexpr float faintest = 1.0f / 256.0f;

template <class Query> void timed(RayCount &count, int64_t rays, const Query &query) {
    const auto start = std::chrono::steady_clock::now();
    query();
    count += {rays, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count()};
}

int64_t takingPart(const int32_t *mask, int32_t count) { return std::count(mask, mask + count, 0); }

int32_t roundedUpToFours(int32_t a) { return (a + 3) / 4 * 4; }

} // namespace

TileTracer::TileTracer(const Scene &scene, const Settings &settings)
    : scene_(scene), settings_(settings), camera_(settings), alive_(capacity), hit_(capacity), lit_(capacity),
      origin_(capacity), direction_(capacity), distance_(capacity), weight0_(capacity), weight1_(capacity), triangle_(capacity),
      occluder_(capacity), point_(capacity), normal_(capacity), flatNormal_(capacity), reflected_(capacity), side_(capacity),
      turn_(capacity), shadow_(capacity), lightDot_(capacity), lightDistance_(capacity), highlight_(capacity),
      albedo_(capacity), color_(capacity), total_(capacity), mirror_(capacity), carried_(capacity), share_(capacity),
      white_(capacity) {
    for (int32_t sample = 0; sample < settings.samples; ++sample) lights_.push_back(lightsOfSample(settings, sample));
    for (size_t c = 0; c < 3; ++c) std::fill_n(white_[c], capacity, 1.0f);
}

void TileTracer::trace(int32_t tileX, int32_t tileY, ColorImage &image) {
    // At the picture's right and lower edges the bundle is cut to the next multiple of 4; the rays beyond the edge are dropped.
    const int32_t width = std::min(edge, image.width - tileX * edge), height = std::min(edge, image.height - tileY * edge);
    size_ = {roundedUpToFours(width), roundedUpToFours(height)};
    count_ = size_.width * size_.height;
    for (size_t c = 0; c < 3; ++c) std::fill_n(total_[c], count_, 0.0f);

    for (int32_t sample = 0; sample < settings_.samples; ++sample) traceSample(tileX, tileY, sample);

    const float mean = 1.0f / static_cast<float>(settings_.samples);
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const auto ray = static_cast<size_t>(y * size_.width + x);
            const auto pixel = static_cast<size_t>(tileY * edge + y) * static_cast<size_t>(image.width) +
                               static_cast<size_t>(tileX * edge + x);
            image.colors[pixel] = {mean * total_[0][ray], mean * total_[1][ray], mean * total_[2][ray]};
        }
    }
}

void TileTracer::traceSample(int32_t tileX, int32_t tileY, int32_t sample) {
    castEyeRays(tileX, tileY, spread(sample, 0));
    std::fill_n(carried_.data(), count_, 1.0f);
    for (int32_t bounce = 0;; ++bounce) {
        findHits(bounce == 0);
        findNormals();
        if (settings_.shading == Shading::normals) {
            paintNormals();
            return accumulate();
        }
        paint(lights_[static_cast<size_t>(sample)]);
        if (bounce == settings_.bounces) std::fill_n(mirror_.data(), count_, 0.0f);
        splitAtMirrors();
        accumulate();
        for (size_t i = 0; i < static_cast<size_t>(count_); ++i) alive_[i] = carried_[i] > 0.0f ? 0 : -1;
        if (takingPart(alive_.data(), count_) == 0) return;
        castMirrorRays();
    }
}

void TileTracer::castEyeRays(int32_t tileX, int32_t tileY, SquarePoint offset) {
    const Vector planeBase = camera_.planeBase(offset.x, offset.y);
    zyprCastEye_32f(planeBase.data(), camera_.columnStep.data(), camera_.rowStep.data(), tileX, tileY, {edge, edge}, direction_,
                    size_);
    std::fill_n(alive_.data(), count_, 0);
    std::fill_n(distance_.data(), count_, std::numeric_limits<float>::max());
    float *const weights[2] = {weight0_.data(), weight1_.data()};
    timed(counts_.eye, count_, [&] {
        zyprIntersectEyeSO_32f(camera_.eye.data(), direction_, distance_.data(), weights, triangle_.data(), &scene_.records(),
                               size_);
    });
}

// Mirror rays leave the hit points; rays that are not alive get a farthest distance of 0, which nothing is nearer than.
void TileTracer::castMirrorRays() {
    for (size_t a = 0; a < 3; ++a) {
        std::copy_n(point_[a], count_, origin_[a]);
        std::copy_n(reflected_[a], count_, direction_[a]);
    }
    for (int32_t i = 0; i < count_; ++i)
        distance_[static_cast<size_t>(i)] = alive_[static_cast<size_t>(i)] < 0 ? 0.0f : std::numeric_limits<float>::max();
    float *const weights[2] = {weight0_.data(), weight1_.data()};
    timed(counts_.mirror, takingPart(alive_.data(), count_), [&] {
        zyprIntersectMO_32f(origin_, direction_, distance_.data(), weights, triangle_.data(), &scene_.records(), size_);
    });
}

void TileTracer::findHits(bool eyeRays) {
    for (int32_t i = 0; i < count_; ++i) hit_[static_cast<size_t>(i)] = triangle_[static_cast<size_t>(i)] < 0 ? -1 : 0;
    if (eyeRays)
        zyprHitPoint3DEpsS0_32f_M(camera_.eye.data(), direction_, distance_.data(), hit_.data(), point_, count_, pullBack);
    else
        zyprHitPoint3DEpsM0_32f_M(origin_, direction_, distance_.data(), hit_.data(), point_, count_, pullBack);
}

// Normals are turned to the side that the ray comes from, which the triangle itself decides: an interpolated normal may lean
// over at a silhouette. side_ becomes negative, as zyprCastShadowSO_32f takes the viewer's side.
void TileTracer::findNormals() {
    zyprSurfFlatNormal_32f(scene_.triangleNormals(), triangle_.data(), flatNormal_, count_);
    if (settings_.normals == Normals::flat) {
        zyprDotChangeNorm_32f_IM(direction_, hit_.data(), flatNormal_, side_.data(), count_);
        for (size_t a = 0; a < 3; ++a) std::copy_n(flatNormal_[a], count_, normal_[a]);
        return;
    }
    const float *const weights[2] = {weight0_.data(), weight1_.data()};
    zyprSurfSmoothNormal_32f(scene_.vertexNormals(), scene_.triangles(), triangle_.data(), weights, normal_, count_, 4);
    zyprDot_32f_P3C1M(direction_, flatNormal_, hit_.data(), side_.data(), count_);
    for (size_t i = 0; i < static_cast<size_t>(count_); ++i) {
        turn_[i] = side_[i] > 0.0f ? -1.0f : 1.0f;
        side_[i] = -std::fabs(side_[i]);
    }
    zyprMul_32f_C1P3IM(turn_.data(), hit_.data(), normal_, count_);
}

void TileTracer::paintNormals() {
    for (size_t c = 0; c < 3; ++c)
        for (size_t i = 0; i < static_cast<size_t>(count_); ++i)
            color_[c][i] = hit_[i] < 0 || scene_.isGround(triangle_[i]) ? 0.93f : 0.5f + 0.5f * normal_[c][i];
    std::copy_n(carried_.data(), count_, share_.data());
}

void TileTracer::paint(const std::vector<PointLight> &lights) {
    const Vector groundColor = {0.20f, 0.20f, 0.205f};
    for (size_t i = 0; i < static_cast<size_t>(count_); ++i) {
        const bool ground = scene_.isGround(triangle_[i]);
        for (size_t c = 0; c < 3; ++c) albedo_[c][i] = ground ? groundColor[c] : settings_.color[c];
        mirror_[i] = ground ? settings_.groundMirror : settings_.mirror;
    }
    for (size_t c = 0; c < 3; ++c) std::fill_n(color_[c], count_, 0.0f);
    zyprCastReflectionRay_32f(direction_, hit_.data(), normal_, reflected_, count_);
    for (const PointLight &light : lights) addLight(light);
    paintSky();
}

// color += light x albedo x cos / distance^2, where the light reaches. Shadow rays run from the light to the points.
void TileTracer::addLight(const PointLight &light) {
    std::copy_n(hit_.data(), count_, lit_.data());
    zyprCastShadowSO_32f(light.position.data(), side_.data(), normal_, point_, lit_.data(), lightDot_.data(), shadow_, count_);
    const int64_t facing = takingPart(lit_.data(), count_);
    if (facing == 0) return;
    if (settings_.shadows) {
        timed(counts_.shadow, facing, [&] {
            zyprIntersectAnySO_32f(light.position.data(), shadow_, occluder_.data(), lit_.data(), size_, &scene_.records());
        });
    }
    zyprDistAttenuationSO_32f_M(light.position.data(), point_, lit_.data(), lightDistance_.data(), count_);
    // lightDot is distance x cos.
    for (int power = light.attenuated ? 3 : 1; power > 0; --power)
        zyprDiv_32f_C1IM(lightDistance_.data(), lit_.data(), lightDot_.data(), count_);
    zyprAddMulMul_32f_AC1P3IM(light.color.data(), lightDot_.data(), albedo_, lit_.data(), color_, count_);
    if (light.attenuated && settings_.mirror > 0.0f) addHighlight(light);
}

// The mirror image of a light on a slightly rough surface: the cosine between mirror ray and light, to the 128th power.
void TileTracer::addHighlight(const PointLight &light) {
    zyprDot_32f_P3C1M(reflected_, shadow_, lit_.data(), highlight_.data(), count_);
    for (size_t i = 0; i < static_cast<size_t>(count_); ++i) {
        const float length = std::sqrt(reflected_[0][i] * reflected_[0][i] + reflected_[1][i] * reflected_[1][i] +
                                       reflected_[2][i] * reflected_[2][i]);
        float cosine = length > 0.0f ? std::max(-highlight_[i] / (length * lightDistance_[i]), 0.0f) : 0.0f;
        for (int doubling = 0; doubling < 7; ++doubling) cosine *= cosine;
        const float strength = scene_.isGround(triangle_[i]) ? 0.0f : 8.0f * mirror_[i];
        highlight_[i] = strength * cosine / (lightDistance_[i] * lightDistance_[i]);
    }
    zyprAddMulMul_32f_AC1P3IM(light.color.data(), highlight_.data(), white_, lit_.data(), color_, count_);
}

// Rays that hit nothing see the sky, and the ground fades into it at the horizon.
void TileTracer::paintSky() {
    for (size_t i = 0; i < static_cast<size_t>(count_); ++i) {
        const bool hit = hit_[i] == 0;
        if (hit && !scene_.isGround(triangle_[i])) continue;
        const Vector d = {direction_[0][i], direction_[1][i], direction_[2][i]};
        const float slope = d[1] / std::sqrt(dot(d, d));
        const float t =
            hit ? std::clamp((std::fabs(slope) - groundFadesFrom) / (groundEnds - groundFadesFrom), 0.0f, 1.0f) : 1.0f;
        const float sky = t * t * (3.0f - 2.0f * t);
        const Vector seen = skyColor(slope);
        for (size_t c = 0; c < 3; ++c) color_[c][i] += sky * (seen[c] - color_[c][i]);
        mirror_[i] *= 1.0f - sky;
    }
}

// What a mirror carries on is taken from what its ray sees of the surface itself.
void TileTracer::splitAtMirrors() {
    zyprDot_32f_P3C1M(direction_, normal_, hit_.data(), side_.data(), count_);
    for (size_t i = 0; i < static_cast<size_t>(count_); ++i) {
        const Vector d = {direction_[0][i], direction_[1][i], direction_[2][i]};
        // Fresnel's law in Schlick's approximation; a faint mirror stays faint at grazing angles, as a rough surface does.
        const float most = std::min(6.0f * mirror_[i], 1.0f);
        const float grazing = 1.0f - std::min(std::fabs(side_[i]) / std::sqrt(dot(d, d)), 1.0f);
        const float grazing2 = grazing * grazing;
        const float reflected = mirror_[i] + (most - mirror_[i]) * grazing2 * grazing2 * grazing;
        const bool goesOn = mirror_[i] > 0.0f && hit_[i] == 0 && carried_[i] * reflected > faintest;
        const float before = carried_[i];
        carried_[i] = goesOn ? before * reflected : 0.0f;
        share_[i] = before - carried_[i];
    }
}

void TileTracer::accumulate() {
    const float one[3] = {1.0f, 1.0f, 1.0f};
    zyprAddMulMul_32f_AC1P3IM(one, share_.data(), color_, alive_.data(), total_, count_);
}

} // namespace render
