// zypr-irradiance MESH -o lit.png --strip orders.png: lights a mesh by an environment through spherical harmonics.
#include <algorithm>
#include <cstdio>
#include <numbers>

#include "lit_mesh.h"
#include "support/picture.h"
#include "support/program.h"

namespace {

using namespace irradiance;
using examples::between;

struct Settings {
    std::string meshPath, picturePath, stripPath, panoramaPath;
    uint32_t order = 4;
    float exposure = 1;
    int32_t threads = 0;
    bool quiet = false;
    View view;
};

void addOptions(CLI::App &app, Settings &s) {
    app.add_option("MESH", s.meshPath, "Mesh to light: OBJ, PLY, STL, OFF, glTF and others")->required();
    app.add_option("-o,--output", s.picturePath, "PNG file for the lit mesh")->required();
    app.add_option("--strip", s.stripPath,
                   "PNG file for the environment rebuilt at rising orders, and under each the irradiance that it makes");
    app.add_option("--panorama", s.panoramaPath,
                   "PNG file with the environment over longitude and latitude; an afternoon in the open without it");
    app.add_option("--order", s.order, "Highest band of the light")->check(between(2, 8))->capture_default_str();
    app.add_option("--exposure", s.exposure, "Factor of all brightness")->check(between(1e-4f, 1e4f))->capture_default_str();
    examples::addThreadsOption(app, s.threads);
    examples::addQuietOption(app, s.quiet);

    const auto camera = [&](auto *option) { option->group("Camera")->capture_default_str(); };
    camera(app.add_option("-W,--width", s.view.width, "Width in pixels")->check(between(1, 16384)));
    camera(app.add_option("-H,--height", s.view.height, "Height in pixels")->check(between(1, 16384)));
    camera(app.add_option("-s,--samples", s.view.samples, "Rays through each pixel")->check(between(1, 1024)));
    camera(app.add_option("--azimuth", s.view.azimuth, "Orbit of the camera round the mesh, in degrees")
               ->check(examples::angle()));
    camera(app.add_option("--elevation", s.view.elevation, "Height of the orbit, in degrees")->check(between(-89.0f, 89.0f)));
    camera(app.add_option("--distance", s.view.distance, "Distance in radii of the mesh")->check(between(0.01f, 1000.0f)));
    camera(app.add_option("--fov", s.view.fieldOfView, "Vertical field of view, in degrees")->check(between(1.0f, 150.0f)));
    camera(app.add_option("--albedo", s.view.albedo, "Part of the light that the mesh reflects")->check(between(0.0f, 1.0f)));
}

// Copies a panorama into the picture with its upper left corner at (left, top).
void paste(const Panorama &panorama, float factor, int32_t left, int32_t top, examples::Picture &picture) {
    for (int32_t row = 0; row < panorama.height; ++row) {
        for (int32_t i = 0; i < 3 * panorama.width; ++i) {
            const auto from = static_cast<size_t>(row * 3 * panorama.width + i);
            picture.samples[static_cast<size_t>((top + row) * picture.width + left) * 3 + static_cast<size_t>(i)] =
                examples::srgbSample(factor * panorama.colors[from]);
        }
    }
}

// The environment itself, then rebuilt from bands 0 to 0, 1, 2, ...; below, the irradiance of each.
examples::Picture strip(const Panorama &environment, const Harmonics &light, float exposure) {
    constexpr uint32_t orders[] = {0, 1, 2, 3, 5, 8, 15};
    constexpr int32_t width = 240, height = 120, gap = 6, columns = 8;
    examples::Picture picture(columns * (width + gap) - gap, 2 * height + gap);
    std::fill(picture.samples.begin(), picture.samples.end(), uint8_t{255});

    Panorama small(width, height);
    for (int32_t row = 0; row < height; ++row) {
        for (int32_t column = 0; column < width; ++column) {
            const Vector color = environment.colorAt(small.direction(column, row));
            std::copy(color.begin(), color.end(), &small.colors[static_cast<size_t>(row * width + column) * 3]);
        }
    }
    constexpr float perRadian = 1 / std::numbers::pi_v<float>; // from irradiance to what a white surface shows
    paste(small, exposure, 0, 0, picture);
    paste(light.irradiance().panorama(width, height), exposure * perRadian, 0, height + gap, picture);
    int32_t left = width + gap;
    for (const uint32_t order : orders) {
        const Harmonics some = light.upTo(order);
        paste(some.panorama(width, height), exposure, left, 0, picture);
        paste(some.irradiance().panorama(width, height), exposure * perRadian, left, height + gap, picture);
        left += width + gap;
    }
    return picture;
}

void run(const Settings &s) {
    examples::checkWritable(s.picturePath);
    if (!s.stripPath.empty()) examples::checkWritable(s.stripPath);
    const int32_t threads = examples::useThreads(s.threads);
    examples::Mesh mesh = examples::importMesh(s.meshPath);
    const Panorama environment = s.panoramaPath.empty() ? afternoon(1024, 512) : readPanorama(s.panoramaPath);
    const Harmonics light(environment, highestOrder);

    const int32_t triangles = mesh.triangleCount();
    const std::vector<float> image =
        litMesh(std::move(mesh), s.view, environment, light.upTo(s.order).irradiance(), threads, s.quiet);
    examples::Picture picture(s.view.width, s.view.height);
    std::transform(image.begin(), image.end(), picture.samples.begin(),
                   [&](float sample) { return examples::srgbSample(s.exposure * sample); });
    examples::writePng(picture, s.picturePath);
    if (!s.stripPath.empty()) examples::writePng(strip(environment, light, s.exposure), s.stripPath);
    std::printf("%d triangles lit by %u bands of a %d x %d environment on %s\n", triangles, s.order + 1, environment.width,
                environment.height, examples::threadsText(threads).c_str());
}

} // namespace

int main(int argc, char **argv) {
    Settings settings;
    CLI::App app("Lights a triangle mesh by an environment, through its spherical harmonics.", "zypr-irradiance");
    addOptions(app, settings);
    return examples::runProgram(app, argc, argv, [&] { run(settings); });
}
