// zypr-volume resize|filter IN.nii.gz -o OUT.nii.gz: another resolution, or a
// smoother or sharper picture, of a volume.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>

#include "support/picture.h"
#include "volume/volume.h"
#include "zypcore.h"
#include "zypr.h"
#include "zypr_support.h"

namespace {

using namespace volume;

// A failure that the user can do something about; bad usage is told apart by
// its own status.
constexpr int failure = 1, badUsage = 2;

struct CommonSettings {
    std::string input, output, preview;
    int32_t threads = 0;
    bool quiet = false;
};

// One subcommand: its options are added to `app`, and `make` turns the volume
// that was read into the one to be written.
struct Command {
    CLI::App *app;
    std::function<Volume(const Volume &, bool quiet)> make;
};

void addCommonOptions(CLI::App &app, CommonSettings &settings) {
    app.add_option("IN", settings.input, "Volume to read: .nii or .nii.gz")->required();
    app.add_option("-o,--output", settings.output, "Volume to write: .nii or .nii.gz")->required();
    app.add_option("--preview", settings.preview, "PNG file for the middle slices before (above) and after (below)");
    app.add_option("-t,--threads", settings.threads, "Threads; 0 for one per processor")
        ->check(CLI::Range(0, 1024))
        ->capture_default_str();
    app.add_flag("-q,--quiet", settings.quiet, "No progress");
}

Command resizeCommand(CLI::App &program) {
    CLI::App *const app = program.add_subcommand("resize", "Resamples a volume at another resolution");
    const auto settings = std::make_shared<ResizeSettings>();
    settings->interpolation = zyprInterLinear;
    const auto scales = std::make_shared<std::vector<double>>();
    CLI::Option *const scale =
        app->add_option("-s,--scale", *scales, "Voxels of the result per voxel: one number, or one per axis")
            ->expected(1, 3)
            ->delimiter(',')
            ->check(CLI::Range(1e-4, 1e4));
    CLI::Option *const spacing =
        app->add_option("--spacing", settings->spacing, "Spacing of the result's voxels: one number, or one per axis")
            ->expected(1, 3)
            ->delimiter(',')
            ->check(CLI::Range(1e-6, 1e6));
    scale->excludes(spacing);
    const std::map<std::string, int32_t> interpolations = {{"nearest", zyprInterNearest},
                                                           {"linear", zyprInterLinear},
                                                           {"lagrange", zyprInterCubicLagrange},
                                                           {"bspline", zyprInterCubicBSpline},
                                                           {"catmull-rom", zyprInterCubicCatmullRom},
                                                           {"cubic", zyprInterCubicBC}};
    app->add_option("-i,--interpolation", settings->interpolation, "How values between voxels are found (default: linear)")
        ->transform(CLI::CheckedTransformer(interpolations))
        ->option_text("nearest|linear|lagrange|bspline|catmull-rom|cubic");

    app->final_callback([=] {
        const auto perAxis = [](std::vector<double> &values, const char *name) {
            if (values.size() == 1) values.resize(3, values[0]);
            if (!values.empty() && values.size() != 3) throw CLI::ValidationError(name, "takes one number or three");
        };
        perAxis(*scales, "--scale");
        perAxis(settings->spacing, "--spacing");
        if (scales->empty() && settings->spacing.empty()) throw CLI::RequiredError("--scale or --spacing");
        std::copy(scales->begin(), scales->end(), settings->scale);
    });
    return {app, [settings](const Volume &source, bool quiet) { return resized(source, *settings, quiet); }};
}

Command filterCommand(CLI::App &program) {
    CLI::App *const app = program.add_subcommand("filter", "Convolves a volume with a kernel");
    const auto kernel = std::make_shared<Kernel>(Kernel::gaussian5);
    const std::map<std::string, Kernel> kernels = {{"gaussian", Kernel::gaussian5},
                                                   {"gaussian3", Kernel::gaussian3},
                                                   {"laplacian", Kernel::laplacian},
                                                   {"sharpen", Kernel::sharpen}};
    app->add_option("-k,--kernel", *kernel,
                    "gaussian: 5 voxels wide, gaussian3: 3 voxels wide (default: "
                    "gaussian)")
        ->transform(CLI::CheckedTransformer(kernels))
        ->option_text("gaussian|gaussian3|laplacian|sharpen");
    return {app, [kernel](const Volume &source, bool quiet) { return filtered(source, *kernel, quiet); }};
}

int run(const Command &command, const CommonSettings &settings) {
    checkVolumePath(settings.output);
    if (!settings.preview.empty()) examples::checkWritable(settings.preview);
    const int32_t threads = settings.threads != 0 ? settings.threads : zypGetNumThreads();
    zypSetNumThreads(threads);

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
    std::printf(" in %.3f s, %.1f million voxels per second on %d thread%s\n", seconds.count(),
                static_cast<double>(result.voxels.size()) / seconds.count() * 1e-6, threads, threads == 1 ? "" : "s");
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (!zyprProcessorIsSupported()) {
        std::fprintf(stderr, "zypr-volume: this processor has no AVX2 and FMA\n");
        return failure;
    }
    CLI::App program("Resizes and filters volumes in NIfTI files.", "zypr-volume");
    program.require_subcommand(1);
    CommonSettings settings;
    const Command commands[] = {resizeCommand(program), filterCommand(program)};
    for (const Command &command : commands) addCommonOptions(*command.app, settings);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return program.exit(error) == 0 ? 0 : badUsage;
    }
    try {
        for (const Command &command : commands)
            if (*command.app) return run(command, settings);
        return badUsage;
    } catch (const std::bad_alloc &) {
        std::fprintf(stderr, "zypr-volume: out of memory\n");
        return failure;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "zypr-volume: %s\n", error.what());
        return failure;
    }
}
