// The core library: aligned memory, the thread count, cache size and processor features.
// It is compiled for the baseline processor, because it answers the question whether a better one is there.

#include "zypcore.h"

#include <sched.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>

#include "processor_caches.h"

namespace {

constexpr size_t blockAlignment = 64;

std::atomic<int32_t> chosenThreads{0}; // 0: not chosen

int32_t availableProcessors() {
    cpu_set_t processors;
    if (sched_getaffinity(0, sizeof processors, &processors) == 0) return CPU_COUNT(&processors);
    const long online = sysconf(_SC_NPROCESSORS_ONLN); // a machine with more processors than cpu_set_t holds
    return online < 1 ? 1 : static_cast<int32_t>(online);
}

} // namespace

void *zypMalloc(int32_t bytes) {
    if (bytes < 1) return nullptr;
    const size_t rounded = (static_cast<size_t>(bytes) + blockAlignment - 1) & ~(blockAlignment - 1);
    return aligned_alloc(blockAlignment, rounded);
}

void zypFree(void *block) { free(block); }

int32_t ownGetNumThreads(void) {
    const int32_t chosen = chosenThreads.load(std::memory_order_relaxed);
    return chosen > 0 ? chosen : availableProcessors();
}

void zypSetNumThreads(int32_t count) { chosenThreads.store(count > 0 ? count : 0, std::memory_order_relaxed); }

int32_t zypGetNumThreads(void) { return ownGetNumThreads(); }

int32_t zypGetMaxCacheSizeB(int32_t *size) {
    if (size == nullptr) return -1;
    int64_t largest = zypr::largestCache();
    for (const int level : {_SC_LEVEL3_CACHE_SIZE, _SC_LEVEL2_CACHE_SIZE}) {
        if (largest < 1) largest = sysconf(level);
    }
    if (largest < 1) return -1;
    *size = largest > INT32_MAX ? INT32_MAX : static_cast<int32_t>(largest);
    return 0;
}

uint64_t zypGetEnabledCpuFeatures(void) {
    __builtin_cpu_init();
    uint64_t features = 0;
    if (__builtin_cpu_supports("sse2")) features |= zypCpuSSE2;
    if (__builtin_cpu_supports("sse3")) features |= zypCpuSSE3;
    if (__builtin_cpu_supports("ssse3")) features |= zypCpuSSSE3;
    if (__builtin_cpu_supports("sse4.2")) features |= zypCpuSSE42;
    if (__builtin_cpu_supports("avx2")) features |= zypCpuAVX2;
    if (__builtin_cpu_supports("fma")) features |= zypCpuFMA;
    if (__builtin_cpu_supports("avx")) features |= zypCpuAVX;
    if (__builtin_cpu_supports("avx512f")) features |= zypCpuAVX512F;
    return features;
}
