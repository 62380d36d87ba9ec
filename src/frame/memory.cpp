// Allocation wrappers and block clear.

#include "frame/memory.h"

#include <cstring>

#include "simd/vector.h"
#include "zypcore.h"

namespace zypr {
namespace {

void *allocate(int32_t count, uint32_t elementSize) {
    if (count < 1) return nullptr;
    return zypMalloc(static_cast<int32_t>(static_cast<uint32_t>(count) * elementSize));
}

constexpr uint32_t largestCachedClear = 2097152;

bool clearsPastCache(uint32_t bytes) {
    if (bytes <= largestCachedClear) return false;
    int32_t cacheSize = 0;
    return zypGetMaxCacheSizeB(&cacheSize) == 0 && cacheSize > 0 && static_cast<uint32_t>(cacheSize) < bytes;
}

void clearPastCache(unsigned char *cursor, uint32_t bytes) {
    const uintptr_t misalignment = reinterpret_cast<uintptr_t>(cursor) & 63;
    if (misalignment != 0) {
        std::memset(cursor, 0, 64);
        const uint32_t step = static_cast<uint32_t>(64 - misalignment);
        cursor += step;
        bytes -= step;
    }
    const Float8 zero8{};
    const Float4 zero4{};
    for (; bytes >= 64; bytes -= 64, cursor += 64) {
        storeStreaming(reinterpret_cast<float *>(cursor), zero8);
        storeStreaming(reinterpret_cast<float *>(cursor + 32), zero8);
    }
    if (bytes & 32) {
        storeStreaming(reinterpret_cast<float *>(cursor), zero8);
        cursor += 32;
    }
    if (bytes & 16) {
        storeStreaming(reinterpret_cast<float *>(cursor), zero4);
        cursor += 16;
    }
    std::memset(cursor, 0, bytes & 15);
    fenceStores();
}

zypStatus clearBlock(void *block, int32_t count, uint32_t elementSize) {
    if (block == nullptr) return zypStsNullPtrErr;
    if (count < 1) return zypStsSizeErr;
    const uint32_t bytes = static_cast<uint32_t>(count) * elementSize;
    if (clearsPastCache(bytes)) {
        clearPastCache(static_cast<unsigned char *>(block), bytes);
    } else {
        std::memset(block, 0, bytes);
    }
    return zypStsNoErr;
}

} // namespace
} // namespace zypr

void *zyprAllocQwords(int32_t count) { return zypr::allocate(count, 8); }
void *zyprAllocDwords(int32_t count) { return zypr::allocate(count, 4); }
void *zyprAllocBytes(int32_t count) { return zypr::allocate(count, 1); }
void zyprFreeBlock(void *block) { zypFree(block); }

zypStatus zyprClearBlock16(void *block, int32_t count) { return zypr::clearBlock(block, count, 2); }
zypStatus zyprClearBlock32(void *block, int32_t count) { return zypr::clearBlock(block, count, 4); }
