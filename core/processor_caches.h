// What the processor itself tells of its caches. The system's totals may count caches that a processor has no part in.
#pragma once

#include <cpuid.h>

#include <cstdint>

namespace zypr {

// The largest data cache that a leaf of cache parameters tells of, one cache in each subleaf; 0 where there is no such leaf.
inline int64_t largestCacheOf(unsigned leaf) {
    int64_t largest = 0;
    unsigned a, b, c, d;
    for (unsigned cache = 0; cache < 16 && __get_cpuid_count(leaf, cache, &a, &b, &c, &d); ++cache) {
        const unsigned type = a & 31; // 0: no more caches, 2: instructions only
        if (type == 0) break;
        const int64_t ways = (b >> 22) + 1, partitions = (b >> 12 & 1023) + 1, line = (b & 4095) + 1, sets = int64_t{c} + 1;
        const int64_t bytes = ways * partitions * line * sets;
        if (type != 2 && bytes > largest) largest = bytes;
    }
    return largest;
}

// In bytes; 0 if the processor doesn't tell.
inline int64_t largestCache() {
    unsigned a, b, c = 0, d;
    const bool hasExtendedTopology = __get_cpuid(0x80000001, &a, &b, &c, &d) && (c >> 22 & 1) != 0;
    return largestCacheOf(hasExtendedTopology ? 0x8000001D : 4);
}

} // namespace zypr
