// Copies of planes: three fronts, three engines, and the rules that choose between cached and non-temporal stores.
#pragma once

#include <cstdint>

#include "plane/records.h"
#include "zypr.h"

namespace zypr {

// ---- Fronts -------------------------------------------------------------------------------------------------------------
// Steps are bytes, the size is samples; source and destination must not overlap. Null planes give zypStsNullPtrErr, then a
// width or height below 1 zypStsSizeErr.

zypStatus zyprPlaneCopy_8u_C1(const uint8_t *srcPlane, int32_t srcRowStep, uint8_t *dstPlane, int32_t dstRowStep,
                              ZyprPlaneSize size);
zypStatus zyprPlaneCopy_16u_C1(const uint16_t *srcPlane, int32_t srcRowStep, uint16_t *dstPlane, int32_t dstRowStep,
                               ZyprPlaneSize size);
zypStatus zyprPlaneCopy_32f_C1(const float *srcPlane, int32_t srcRowStep, float *dstPlane, int32_t dstRowStep,
                               ZyprPlaneSize size);

// ---- Engines ------------------------------------------------------------------------------------------------------------

// Rows of bytes. A plane without gaps between its rows is one row.
struct PlaneBytes {
    PlaneBytes(const void *src, int32_t srcRowStep, void *dst, int32_t dstRowStep, int64_t rowBytes, int32_t height);

    const uint8_t *src;
    uint8_t *dst;
    int64_t srcRowStep, dstRowStep;
    int64_t rowBytes, rows;
    int64_t total() const { return rowBytes * rows; }
};

void planeCopyCached(const PlaneBytes &plane);   // ordinary stores
void planeCopyLarge(const PlaneBytes &plane);    // non-temporal when both planes together exceed the cache
void planeCopyProbed(const PlaneBytes &plane);   // non-temporal, read ahead in blocks, when a plane exceeds half the cache
void planeCopyInBlocks(const PlaneBytes &plane); // the non-temporal way of planeCopyProbed, whatever the size

// ---- Path rules ---------------------------------------------------------------------------------------------------------

enum class CopyEngine { cached, large, probed };

// Which engine serves rows of `width` samples of `sampleBytes` bytes.
CopyEngine copyEngine(int32_t sampleBytes, int32_t width);

// Whether planeCopyLarge streams; it asks the core library only when the size alone does not decide.
bool largeCopyStreams(const PlaneBytes &plane);

// Whether planeCopyProbed streams; it probes the processor, on every call, only from 1 MiB on.
bool probedCopyStreams(const PlaneBytes &plane);

// What the CPUID instruction tells about caches: the vendor's words of leaf 0, and the registers of leaf 2 where they are
// descriptors.
struct CacheDescriptors {
    uint32_t vendor[3];    // ebx, edx, ecx
    uint32_t registers[4]; // eax, ebx, ecx, edx
};
CacheDescriptors readCacheDescriptors();

// The size in bytes of the largest cache that the descriptors name; 0 when they name none or mean nothing.
int64_t describedCacheSize(const CacheDescriptors &descriptors);

} // namespace zypr
