#include "support/fingerprint.h"
#include "zypr.h"

FINGERPRINT(zyprGetLibVersion) {
    const ZyprLibVersion &version = *zyprGetLibVersion();
    print.addValue(version.versionMajor);
    print.addValue(version.revision);
    print.add(version.cpuTag);
}
