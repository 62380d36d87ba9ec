// The library's own memory: the only ways to zypMalloc and zypFree, and the block clear.
#pragma once

#include <cstdint>

#include "zypr.h"

// Null for a count below 1, without calling the allocator. The byte count is formed in 32 bits. A block is as aligned as
// zypMalloc gives it.
void *zyprAllocQwords(int32_t count);
void *zyprAllocDwords(int32_t count);
void *zyprAllocBytes(int32_t count);

void zyprFreeBlock(void *block);

// Clear `count` elements of 16 or 32 bits; null gives zypStsNullPtrErr, a count below 1 zypStsSizeErr. The byte count is formed
// in 32 bits. Blocks above 2 MiB that no cache would hold are cleared with non-temporal stores.
zypStatus zyprClearBlock16(void *block, int32_t count);
zypStatus zyprClearBlock32(void *block, int32_t count);
