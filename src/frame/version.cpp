// The version record.

#include "frame/fronts.h"

namespace {

const ZyprLibVersion libraryVersion = {
    .versionMajor = 7,
    .versionMinor = 1,
    .versionPatch = 0,
    .revision = 36264,
    .cpuTag = {'l', '9', 0, 0},
    .libraryName = "zypRR AVX2 (l9)",
    .versionText = "7.1.0 (r36264)",
    .buildDateText = "Jul 23 2012",
};

} // namespace

const ZyprLibVersion *front_zyprGetLibVersion() { return &libraryVersion; }
