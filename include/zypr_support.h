/* zypr_support: what an application asks before and around its calls. Everything is inline: including this file adds no export.
 */
#ifndef ZYPR_SUPPORT_H
#define ZYPR_SUPPORT_H

#include "zypr.h"

/* 1 when this processor can run the library (AVX2 and FMA, enabled by the system), else 0. Calls nothing of the library, so it
 * is safe on any x86-64 processor. */
static inline int zyprProcessorIsSupported(void) {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

/* A short English text for a status; never null. */
static inline const char *zyprStatusText(zypStatus status) {
    switch (status) {
    case zypStsVolumeRoiOutsideWrn: return "the source region lies outside the volume";
    case zypStsNoQuadOverlapWrn: return "the mapped quadrangle does not meet the destination region";
    case zypStsPlaneRoiOutsideWrn: return "the source region lies outside the plane";
    case zypStsEmptyCuboidWrn: return "the destination cuboid is empty, or a divisor was zero";
    case zypStsNoErr: return "success";
    case zypStsBuildInconsistentErr: return "the KD-tree partition differs from its prediction";
    case zypStsAllocFailErr: return "out of memory, or the memory limit is too small to start";
    case zypStsBadAlgorithmErr: return "unknown algorithm";
    case zypStsSizeErr: return "a size or region is out of range";
    case zypStsSHRangeErr: return "spherical-harmonic order or type out of range";
    case zypStsNullPtrErr: return "a pointer is null";
    case zypStsMemLimitErr: return "the memory limit of the build was reached";
    case zypStsBuildParamErr: return "a build parameter is out of range";
    case zypStsRowStepErr: return "a row step is not positive";
    case zypStsInterpolationModeErr: return "unknown interpolation mode";
    case zypStsScaleFactorErr: return "a scale factor is not positive";
    case zypStsChannelCountErr: return "the channel count is not 1";
    case zypStsSingularTransformErr: return "the affine transform is singular";
    case zypStsRoiTooSmallErr: return "the source region is smaller than two samples";
    default: return "unknown status";
    }
}

#endif /* ZYPR_SUPPORT_H */
