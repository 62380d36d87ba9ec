// zypr-volume resize|warp|remap|filter IN.nii.gz -o OUT.nii.gz: a volume at another resolution, turned, bent, or smoothed.
#include <chrono>
#include <cstdio>

#include "support/picture.h"
#include "support/program.h"
#include "volume/volume.h"
#include "zypr.h"

namespace {

using namespace volume;
using examples::between;

struct CommonSettings {
    std::string input, output, preview;
    int32_t threads = 0;
    bool quiet = false;
};

// One subcommand: its options are added to `app`, and `make` turns the volume that was read into the one to be written.
struct Command {
    CLI::App *app;
    std::function<Volume(const Volume &, bool quiet)> make;
};

void addCommonOptions(CLI::App &app, CommonSettings &settings) {
    app.add_option("IN", settings.input, "Volume to read: .nii or .nii.gz")->required();
    app.add_option("-o,--output", settings.output, "Volume to write: .nii or .nii.gz")->required();
    app.add_option("--preview", settings.preview, "PNG file for the middle slices before (above) and after (below)");
    examples::addThreadsOption(app, settings.threads);
    examples::addQuietOption(app, settings.quiet);
}

void addInterpolationOption(CLI::App &app, int32_t &interpolation) {
    const std::map<std::string, int32_t> interpolations = {{"nearest", zyprInterNearest},
                                                           {"linear", zyprInterLinear},
                                                           {"lagrange", zyprInterCubicLagrange},
                                                           {"bspline", zyprInterCubicBSpline},
                                                           {"catmull-rom", zyprInterCubicCatmullRom},
                                                           {"cubic", zyprInterCubicBC}};
    interpolation = zyprInterLinear;
    app.add_option("-i,--interpolation", interpolation,
                   "How values between voxels are found: nearest for labels, the last four cubic (default: linear)")
        ->transform(CLI::CheckedTransformer(interpolations))
        ->option_text("nearest|linear|lagrange|bspline|catmull-rom|cubic");
}

void addSamplingOptions(CLI::App &app, SamplingSettings &settings) {
    app.add_option("--like", settings.likePath, "Volume whose grid and place in space the result takes");
    addInterpolationOption(app, settings.interpolation);
    app.add_option("--background", settings.background, "Value where nothing of the volume comes to lie")
        ->check(between(-1e30, 1e30))
        ->capture_default_str();
}

// Three numbers with commas between them, or one that stands for all three where `oneForAll` says so.
CLI::Option *addTriple(CLI::App &app, const char *name, std::array<double, 3> &triple, const char *description,
                       const CLI::Validator &check, bool oneForAll = false) {
    const auto assign = [&triple, name, oneForAll](std::vector<double> values) {
        if (values.size() == 1 && oneForAll) values.resize(3, values[0]);
        if (values.size() != 3)
            throw CLI::ValidationError(name, oneForAll ? "takes one number or three" : "takes three numbers");
        std::copy(values.begin(), values.end(), triple.begin());
    };
    return app.add_option_function<std::vector<double>>(name, assign, description)
        ->expected(1, 3)
        ->delimiter(',')
        ->check(check)
        ->option_text(oneForAll ? "X[,Y,Z]" : "X,Y,Z");
}

Command resizeCommand(CLI::App &program) {
    CLI::App *const app = program.add_subcommand("resize", "Resamples a volume at another resolution");
    const auto settings = std::make_shared<ResizeSettings>();
    CLI::Option *const scale =
        addTriple(*app, "-s,--scale", settings->scale, "Voxels of the result per voxel", between(1e-4, 1e4), true);
    CLI::Option *const spacing =
        addTriple(*app, "--spacing", settings->spacing, "Spacing of the result's voxels", between(1e-6, 1e6), true);
    scale->excludes(spacing);
    addInterpolationOption(*app, settings->interpolation);
    app->final_callback([=] {
        if (scale->empty() && spacing->empty()) throw CLI::RequiredError("--scale or --spacing");
    });
    return {app, [settings](const Volume &source, bool quiet) { return resized(source, *settings, quiet); }};
}

Command warpCommand(CLI::App &program) {
    CLI::App *const app = program.add_subcommand("warp", "Turns, scales and moves a volume, or brings it to another's grid");
    app->footer("Lengths are in mm, and the axes those of space: x to the right, y to the front, z to the top. The volume is\n"
                "scaled and turned about its centre, about x, then y, then z, and then moved; the grid stays where it is.");
    const auto settings = std::make_shared<WarpSettings>();
    const std::vector<CLI::Option *> motions = {
        addTriple(*app, "-r,--rotate", settings->rotate, "Degrees; positive ones turn x to y, y to z, z to x",
                  examples::angle()),
        addTriple(*app, "-s,--scale", settings->scale, "Factors; below 0 they mirror", between(-1e3, 1e3), true),
        addTriple(*app, "--translate", settings->translate, "Lengths", between(-1e6, 1e6))};
    CLI::Option *const matrix =
        app->add_option("-m,--matrix", settings->matrixPath,
                        "Text file of three rows of four numbers: from where points are to where they go, in mm");
    for (CLI::Option *const motion : motions) matrix->excludes(motion);
    addSamplingOptions(*app, settings->sampling);
    app->final_callback([=] {
        const bool moves =
            std::any_of(motions.begin(), motions.end(), [](const CLI::Option *motion) { return !motion->empty(); });
        if (!moves && matrix->empty() && settings->sampling.likePath.empty())
            throw CLI::RequiredError("--rotate, --scale, --translate, --matrix or --like");
    });
    return {app, [settings](const Volume &source, bool quiet) { return warped(source, *settings, quiet); }};
}

Command remapCommand(CLI::App &program) {
    CLI::App *const app = program.add_subcommand("remap", "Bends a volume by a field of displacements");
    app->footer(
        "The result shows at a place p what the volume holds at p + d(p). A field file has five dimensions, the last two\n"
        "1 and 3, and the intent VECTOR or DISPVECT. Its vectors d are in mm, x to the right, y to the front, z to the\n"
        "top. Its grid may be any: it is linear between its voxels, and nothing is displaced beyond them.");
    const auto settings = std::make_shared<RemapSettings>();
    CLI::Option *const field = app->add_option("-f,--field", settings->fieldPath, "NIfTI file of displacements");
    CLI::Option *const swirl =
        app->add_option("--swirl", settings->swirl, "Turns the centre about z by so many degrees, less and less outwards")
            ->check(examples::angle())
            ->excludes(field);
    app->add_option("--swirl-radius", settings->swirlRadius, "Where the swirl ends, in mm (default: half the shortest side)")
        ->check(between(1e-6, 1e6))
        ->needs(swirl);
    addSamplingOptions(*app, settings->sampling);
    app->final_callback([=] {
        if (field->empty() && swirl->empty()) throw CLI::RequiredError("--field or --swirl");
    });
    return {app, [settings](const Volume &source, bool quiet) { return remapped(source, *settings, quiet); }};
}

Command filterCommand(CLI::App &program) {
    CLI::App *const app = program.add_subcommand("filter", "Convolves a volume with a kernel");
    const auto kernel = std::make_shared<Kernel>(Kernel::gaussian5);
    const std::map<std::string, Kernel> kernels = {{"gaussian", Kernel::gaussian5},
                                                   {"gaussian3", Kernel::gaussian3},
                                                   {"laplacian", Kernel::laplacian},
                                                   {"sharpen", Kernel::sharpen}};
    app->add_option("-k,--kernel", *kernel, "gaussian: 5 voxels wide, gaussian3: 3 voxels wide (default: gaussian)")
        ->transform(CLI::CheckedTransformer(kernels))
        ->option_text("gaussian|gaussian3|laplacian|sharpen");
    return {app, [kernel](const Volume &source, bool quiet) { return filtered(source, *kernel, quiet); }};
}

void run(const Command &command, const CommonSettings &settings) {
    checkVolumePath(settings.output);
    if (!settings.preview.empty()) examples::checkWritable(settings.preview);
    const int32_t threads = examples::useThreads(settings.threads);

    const Volume source = readNifti(settings.input);
    const auto begin = std::chrono::steady_clock::now();
    const Volume result = command.make(source, settings.quiet);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    if (!settings.preview.empty()) writePreview(source, result, settings.preview);
    writeNifti(result, settings.output);

    const auto describe = [](const Volume &v) {
        std::printf("%d x %d x %d (%.3g x %.3g x %.3g)", v.extent.width, v.extent.height, v.extent.depth,
                    static_cast<double>(v.header->dx), static_cast<double>(v.header->dy), static_cast<double>(v.header->dz));
    };
    describe(source);
    std::printf(" -> ");
    describe(result);
    std::printf(" in %.3f s, %.1f million voxels per second on %s\n", seconds.count(),
                static_cast<double>(result.voxels.size()) / seconds.count() * 1e-6, examples::threadsText(threads).c_str());
}

} // namespace

int main(int argc, char **argv) {
    CLI::App program("Resizes, warps, remaps and filters volumes in NIfTI files.", "zypr-volume");
    program.require_subcommand(1);
    CommonSettings settings;
    const Command commands[] = {resizeCommand(program), warpCommand(program), remapCommand(program), filterCommand(program)};
    for (const Command &command : commands) addCommonOptions(*command.app, settings);
    return examples::runProgram(program, argc, argv, [&] {
        for (const Command &command : commands)
            if (*command.app) run(command, settings);
    });
}
