/* An application in C that finds the installed library, asks whether it can run here and makes one call. */

#include <stdio.h>
#include <zypcore.h>
#include <zypr.h>
#include <zypr_support.h>

int main(void) {
    if (!zyprProcessorIsSupported()) {
        puts("this processor has no AVX2 and FMA");
        return 0;
    }
    const float points[6] = {1.0f, 2.0f, 3.0f, -1.0f, -2.0f, -3.0f};
    ZyprBox box;
    const zypStatus status = zyprSetBoundBox_32f(points, 2, &box);
    printf("%s, %d threads: %s\n", zyprGetLibVersion()->libraryName, (int)zypGetNumThreads(), zyprStatusText(status));
    return status == zypStsNoErr && box.minimum[2] < -3.0f && box.maximum[2] > 3.0f ? 0 : 1;
}
