// See copy.h. Stores bypass the cache only where the data would just flush it.

#include "plane/copy.h"

#include <cpuid.h>
#include <immintrin.h>

#include <cstring>

#include "processor_caches.h"
#include "zypcore.h"

namespace zypr {
namespace {

template <int Bytes> void move(uint8_t *dst, const uint8_t *src) { std::memcpy(dst, src, Bytes); }

template <int Bytes> void moveStreaming(uint8_t *dst, const uint8_t *src) {
    static_assert(Bytes % 16 == 0);
    for (int i = 0; i < Bytes; i += 16)
        _mm_stream_si128(reinterpret_cast<__m128i *>(dst + i), _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i)));
}

// What is left of a row: the pointers move on with every step.
struct Row {
    uint8_t *dst;
    const uint8_t *src;
    int64_t bytes;

    void advance(int64_t by) {
        dst += by;
        src += by;
        bytes -= by;
    }
    int64_t bytesToBoundary(uintptr_t boundary) const {
        return static_cast<int64_t>(boundary - (reinterpret_cast<uintptr_t>(dst) & (boundary - 1)));
    }
    template <int Bytes> void step() {
        move<Bytes>(dst, src);
        advance(Bytes);
    }
    template <int Bytes> void stepIfHeld() {
        if (bytes >= Bytes) step<Bytes>();
    }
    template <int Bytes> void streamingStepIfHeld() {
        if (bytes < Bytes) return;
        moveStreaming<Bytes>(dst, src);
        advance(Bytes);
    }
    void lastBytes() { // below 16
        stepIfHeld<8>();
        stepIfHeld<4>();
        stepIfHeld<2>();
        stepIfHeld<1>();
    }
};

template <class RowCopy> void forEachRow(const PlaneBytes &plane, const RowCopy &copy) {
    for (int64_t y = 0; y < plane.rows; ++y)
        copy(Row{plane.dst + y * plane.dstRowStep, plane.src + y * plane.srcRowStep, plane.rowBytes});
}

constexpr int64_t leastWideRow = 128;

void copyRowCached(Row row) {
    if (row.bytes < leastWideRow) {
        row.stepIfHeld<64>();
        row.stepIfHeld<32>();
        row.stepIfHeld<16>();
        return row.lastBytes();
    }
    move<32>(row.dst, row.src);
    row.advance(row.bytesToBoundary(32));
    while (row.bytes >= 64) row.step<64>();
    row.stepIfHeld<32>();
    row.advance(row.bytes - 32); // the last 32 bytes overlap what came before
    row.step<32>();
}

void streamRow(Row row) {
    move<64>(row.dst, row.src);
    row.advance(row.bytesToBoundary(64));
    while (row.bytes >= 64) row.streamingStepIfHeld<64>();
    row.streamingStepIfHeld<32>();
    row.streamingStepIfHeld<16>();
    row.lastBytes();
}

// Draws one line of the source into the cache by reading a byte of it.
void touch(const uint8_t *line) { static_cast<void>(*static_cast<const volatile uint8_t *>(line)); }

// Reads run ahead by a block that fits the cache, so that they don't compete with the stores for the memory bus.
void streamRowInBlocks(Row row) {
    constexpr int64_t block = 256 << 10, line = 64;
    while (row.bytes > 0 && row.bytesToBoundary(16) != 16) row.step<1>();
    while (row.bytes >= block) {
        for (int64_t i = 0; i < block; i += line) touch(row.src + i);
        for (int64_t i = 0; i < block; i += line) row.streamingStepIfHeld<line>();
    }
    for (int64_t i = row.bytes - 1; i >= 0; i -= line) touch(row.src + i);
    while (row.bytes >= 16) row.streamingStepIfHeld<16>();
    while (row.bytes > 0) row.step<1>();
}

// In falling order of size; the first whose descriptor occurs decides.
struct DescribedCache {
    uint8_t descriptor;
    uint8_t mebibytes; // 0: half a mebibyte
};
constexpr DescribedCache describedCaches[] = {
    {0xEC, 24}, {0xEB, 18}, {0x4D, 16}, {0xEA, 12}, {0x4C, 12}, {0xE4, 8}, {0xDE, 8}, {0x4B, 8}, {0x47, 8},
    {0x4E, 6},  {0x4A, 6},  {0xE3, 4},  {0xDD, 4},  {0xD8, 4},  {0x49, 4}, {0x29, 4}, {0x46, 4}, {0x48, 3},
    {0xE2, 2},  {0xDC, 2},  {0xD7, 2},  {0xD2, 2},  {0x25, 2},  {0x7D, 2}, {0x85, 2}, {0x45, 2}, {0xD6, 1},
    {0xD1, 1},  {0x23, 1},  {0x87, 1},  {0x7C, 1},  {0x78, 1},  {0x84, 1}, {0x44, 1}, {0xD0, 0}, {0x22, 0},
    {0x7B, 0},  {0x80, 0},  {0x86, 0},  {0x3E, 0},  {0x7F, 0},  {0x83, 0}, {0x43, 0},
};

// The leaf 0 string of the processors that publish cache descriptors in leaf 2, as register words.
bool isDescribing(const uint32_t (&vendor)[3]) {
    return vendor[0] == 0x756E6547 && vendor[1] == 0x49656E69 && vendor[2] == 0x6C65746E;
}

template <class Sample>
zypStatus planeCopy(const Sample *srcPlane, int32_t srcRowStep, Sample *dstPlane, int32_t dstRowStep, ZyprPlaneSize size) {
    if (srcPlane == nullptr || dstPlane == nullptr) return zypStsNullPtrErr;
    if (size.width < 1 || size.height < 1) return zypStsSizeErr;

    const auto rowBytes = static_cast<int64_t>(sizeof(Sample)) * size.width;
    const PlaneBytes plane(srcPlane, srcRowStep, dstPlane, dstRowStep, rowBytes, size.height);
    switch (copyEngine(sizeof(Sample), size.width)) {
    case CopyEngine::cached: planeCopyCached(plane); break;
    case CopyEngine::large: planeCopyLarge(plane); break;
    case CopyEngine::probed: planeCopyProbed(plane); break;
    }
    return zypStsNoErr;
}

} // namespace

PlaneBytes::PlaneBytes(const void *srcPlane, int32_t srcStep, void *dstPlane, int32_t dstStep, int64_t bytes, int32_t height)
    : src(static_cast<const uint8_t *>(srcPlane)), dst(static_cast<uint8_t *>(dstPlane)), srcRowStep(srcStep),
      dstRowStep(dstStep), rowBytes(bytes), rows(height) {
    if (srcRowStep != rowBytes || dstRowStep != rowBytes) return;
    rowBytes *= rows;
    rows = 1;
}

CopyEngine copyEngine(int32_t sampleBytes, int32_t width) {
    if (sampleBytes == 4) return CopyEngine::probed;
    return static_cast<int64_t>(sampleBytes) * width < 1024 ? CopyEngine::cached : CopyEngine::large;
}

bool largeCopyStreams(const PlaneBytes &plane) {
    const int64_t traffic = 2 * plane.total(); // source and destination together
    if (traffic < (4 << 20) + 1 || plane.rowBytes < leastWideRow) return false;
    int32_t cacheSize = 0;
    return zypGetMaxCacheSizeB(&cacheSize) == 0 && traffic > cacheSize;
}

bool probedCopyStreams(const PlaneBytes &plane) {
    if (plane.rowBytes < 64 || plane.total() < 1 << 20) return false;
    const int64_t described = describedCacheSize(readCacheDescriptors());
    const int64_t cacheSize = described != 0 ? described : largestCache(); // processors of today tell it elsewhere
    return cacheSize != 0 && plane.total() >= cacheSize / 2;
}

CacheDescriptors readCacheDescriptors() {
    CacheDescriptors found{};
    uint32_t highestLeaf = 0;
    __cpuid(0, highestLeaf, found.vendor[0], found.vendor[2], found.vendor[1]);
    if (highestLeaf >= 2 && isDescribing(found.vendor))
        __cpuid(2, found.registers[0], found.registers[1], found.registers[2], found.registers[3]);
    return found;
}

int64_t describedCacheSize(const CacheDescriptors &descriptors) {
    if (!isDescribing(descriptors.vendor) || (descriptors.registers[0] & 0xFF) != 1) return 0;
    for (const DescribedCache &cache : describedCaches) {
        for (int i = 1; i < 16; ++i) { // byte 0 is not a descriptor
            const uint32_t word = descriptors.registers[i / 4];
            const bool isEmpty = (word & 0x80000000u) != 0;
            if (!isEmpty && ((word >> (i % 4 * 8)) & 0xFF) == cache.descriptor)
                return cache.mebibytes > 0 ? static_cast<int64_t>(cache.mebibytes) << 20 : 512 << 10;
        }
    }
    return 0;
}

void planeCopyCached(const PlaneBytes &plane) { forEachRow(plane, copyRowCached); }

void planeCopyLarge(const PlaneBytes &plane) {
    if (!largeCopyStreams(plane)) return planeCopyCached(plane);
    forEachRow(plane, streamRow);
    _mm_sfence();
}

void planeCopyInBlocks(const PlaneBytes &plane) {
    forEachRow(plane, streamRowInBlocks);
    _mm_sfence();
}

void planeCopyProbed(const PlaneBytes &plane) {
    if (probedCopyStreams(plane)) return planeCopyInBlocks(plane);
    planeCopyCached(plane);
}

zypStatus zyprPlaneCopy_8u_C1(const uint8_t *srcPlane, int32_t srcRowStep, uint8_t *dstPlane, int32_t dstRowStep,
                              ZyprPlaneSize size) {
    return planeCopy(srcPlane, srcRowStep, dstPlane, dstRowStep, size);
}
zypStatus zyprPlaneCopy_16u_C1(const uint16_t *srcPlane, int32_t srcRowStep, uint16_t *dstPlane, int32_t dstRowStep,
                               ZyprPlaneSize size) {
    return planeCopy(srcPlane, srcRowStep, dstPlane, dstRowStep, size);
}
zypStatus zyprPlaneCopy_32f_C1(const float *srcPlane, int32_t srcRowStep, float *dstPlane, int32_t dstRowStep,
                               ZyprPlaneSize size) {
    return planeCopy(srcPlane, srcRowStep, dstPlane, dstRowStep, size);
}

} // namespace zypr
