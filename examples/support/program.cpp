#include "support/program.h"

#include <cstdio>
#include <exception>
#include <new>

#include "zypcore.h"
#include "zypr_support.h"

namespace examples {

CLI::Option *addThreadsOption(CLI::App &app, int32_t &threads) {
    return app.add_option("-t,--threads", threads, "Threads; 0 for one per processor")
        ->check(between(0, 1024))
        ->capture_default_str();
}

CLI::Option *addQuietOption(CLI::App &app, bool &quiet) { return app.add_flag("-q,--quiet", quiet, "No progress"); }

int32_t useThreads(int32_t threads) {
    if (threads == 0) threads = zypGetNumThreads();
    zypSetNumThreads(threads);
    return threads;
}

std::string threadsText(int32_t threads) { return std::to_string(threads) + (threads == 1 ? " thread" : " threads"); }

int runProgram(CLI::App &app, int argc, char **argv, const std::function<void()> &run) {
    constexpr int failure = 1, badUsage = 2;
    const auto failed = [&](const char *reason) {
        std::fprintf(stderr, "%s: %s\n", app.get_name().c_str(), reason);
        return failure;
    };
    if (!zyprProcessorIsSupported()) return failed("this processor has no AVX2 and FMA");
    try {
        app.parse(argc, argv);
        run();
        return 0;
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : badUsage;
    } catch (const std::bad_alloc &) {
        return failed("out of memory");
    } catch (const std::exception &error) {
        return failed(error.what());
    }
}

} // namespace examples
