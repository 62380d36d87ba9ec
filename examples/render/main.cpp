// zypr-render MESH -o picture.png: traces a picture of a mesh.
#include <cmath>
#include <cstdio>

#include "render.h"
#include "support/program.h"

namespace {

using namespace render;
using examples::between;

void addOptions(CLI::App &app, Settings &s) {
    app.add_option("MESH", s.meshPath, "Mesh to draw: OBJ, PLY, STL, OFF, glTF and others")->required();
    app.add_option("-o,--output", s.picturePath, "PNG file to write")->required();

    app.add_option("-W,--width", s.width, "Width in pixels")->check(between(1, 16384))->group("Picture")->capture_default_str();
    app.add_option("-H,--height", s.height, "Height in pixels")
        ->check(between(1, 16384))
        ->group("Picture")
        ->capture_default_str();
    app.add_option("-s,--samples", s.samples, "Rays through each pixel; more make edges and soft shadows smoother")
        ->check(between(1, 4096))
        ->group("Picture")
        ->capture_default_str();
    examples::addThreadsOption(app, s.threads)->group("Picture");
    examples::addQuietOption(app, s.quiet)->group("Picture");

    app.add_option("--azimuth", s.azimuth, "Orbit of the camera round the mesh, in degrees")
        ->check(examples::angle())
        ->group("Camera")
        ->capture_default_str();
    app.add_option("--elevation", s.elevation, "Height of the orbit, in degrees")
        ->check(between(-89.0f, 89.0f))
        ->group("Camera")
        ->capture_default_str();
    app.add_option("--distance", s.distance, "Distance in radii of the mesh")
        ->check(between(0.01f, 1000.0f))
        ->group("Camera")
        ->capture_default_str();
    app.add_option("--fov", s.fieldOfView, "Vertical field of view, in degrees")
        ->check(between(1.0f, 150.0f))
        ->group("Camera")
        ->capture_default_str();
    app.add_flag("--z-up", s.zUp, "The mesh's z axis points up, not its y axis")->group("Camera");

    app.add_option_function<std::vector<std::string>>(
           "--light",
           [&s](const std::vector<std::string> &values) {
               s.lights.clear();
               for (const std::string &value : values) {
                   LightSetting light{};
                   char rest = 0;
                   const int read =
                       std::sscanf(value.c_str(), "%f,%f,%f%c", &light.azimuth, &light.elevation, &light.brightness, &rest);
                   if (read != 3 || !std::isfinite(light.azimuth + light.elevation + light.brightness))
                       throw CLI::ValidationError("--light", value + " is not AZIMUTH,ELEVATION,BRIGHTNESS");
                   s.lights.push_back(light);
               }
           },
           "A light: azimuth from the camera and elevation in degrees, and brightness. Repeat for more; they replace the three "
           "that stand there by default")
        ->type_name("AZIMUTH,ELEVATION,BRIGHTNESS")
        ->group("Light");
    app.add_option("--light-size", s.lightSize, "Radius of the lights as a part of their distance; 0 makes shadows sharp")
        ->check(between(0.0f, 1.0f))
        ->group("Light")
        ->capture_default_str();
    app.add_option("--sky", s.skyLights, "Lights from the sky in each sample; 0 for none")
        ->check(between(0, 64))
        ->group("Light")
        ->capture_default_str();
    app.add_flag_callback(
           "--no-shadows", [&s] { s.shadows = false; }, "Lights shine through surfaces")
        ->group("Light");

    const std::map<std::string, Normals> normals = {{"smooth", Normals::smooth}, {"flat", Normals::flat}};
    app.add_option("--normals", s.normals, "smooth: interpolated between vertices; flat: one per triangle")
        ->transform(CLI::CheckedTransformer(normals))
        ->option_text("smooth|flat")
        ->group("Surface");
    const std::map<std::string, Shading> shadings = {{"lit", Shading::lit}, {"normals", Shading::normals}};
    app.add_option("--shading", s.shading, "lit: by the lights; normals: the normals as colours")
        ->transform(CLI::CheckedTransformer(shadings))
        ->option_text("lit|normals")
        ->group("Surface");
    app.add_option("--color", s.color, "Linear red, green and blue of the mesh, 0 to 1")
        ->check(between(0.0f, 1.0f))
        ->delimiter(',')
        ->group("Surface");
    app.add_option("--mirror", s.mirror, "Part of the light that the mesh reflects head-on; 1 is a mirror")
        ->check(between(0.0f, 1.0f))
        ->group("Surface")
        ->capture_default_str();
    app.add_option("--bounces", s.bounces, "Mirror images of mirror images, 0 for no mirrors")
        ->check(between(0, 64))
        ->group("Surface")
        ->capture_default_str();
    app.add_flag_callback(
           "--no-ground", [&s] { s.ground = false; }, "No ground under the mesh")
        ->group("Surface");
    app.add_option("--ground-mirror", s.groundMirror, "The same part for the ground")
        ->check(between(0.0f, 1.0f))
        ->group("Surface")
        ->capture_default_str();
}

void printFacts(const Scene &scene, const RenderResult &result, int32_t threads) {
    const auto kind = [&](const char *name, const RayCount &count) {
        // Seconds are summed over the threads.
        const double rate = count.seconds > 0 ? static_cast<double>(count.rays) / count.seconds * threads * 1e-6 : 0.0;
        std::printf(", %s %.2f M at %.1f Mrays/s", name, static_cast<double>(count.rays) * 1e-6, rate);
    };
    std::printf("%d triangles, built in %.0f ms, tree %.2f MB; rays", scene.meshTriangleCount(), scene.buildSeconds() * 1e3,
                scene.treeBytes() * 1e-6);
    kind("eye", result.counts.eye);
    kind("shadow", result.counts.shadow);
    kind("mirror", result.counts.mirror);
    std::printf("; %.2f s on %s\n", result.seconds, examples::threadsText(threads).c_str());
}

void run(Settings &settings) {
    if (settings.shading == Shading::normals) settings.ground = false;
    examples::checkWritable(settings.picturePath);
    const int32_t threads = examples::useThreads(settings.threads);

    const Scene scene(examples::importMesh(settings.meshPath), settings);
    const RenderResult result = traceImage(scene, settings, threads);
    examples::writePng(developed(result.image, settings.shading), settings.picturePath);
    printFacts(scene, result, threads);
}

} // namespace

int main(int argc, char **argv) {
    Settings settings;
    CLI::App app("Traces a picture of a triangle mesh: soft shadows, mirrors, smooth normals.", "zypr-render");
    addOptions(app, settings);
    return examples::runProgram(app, argc, argv, [&] { run(settings); });
}
