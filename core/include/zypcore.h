/* zypcore: the core library under zypr. It gives memory, a thread count and processor facts, and nothing else.
 *
 * zypr calls its functions through the dynamic linker, so an application that defines the first five itself takes their place.
 */
#ifndef ZYPCORE_H
#define ZYPCORE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Returns a block of at least `bytes` bytes, aligned to 64; null for a count below 1 or when there is no memory. */
void *zypMalloc(int32_t bytes);

/* Releases a block of zypMalloc; null is allowed. */
void zypFree(void *block);

/* The number of threads that the library may use, at least 1: what zypSetNumThreads said last, otherwise the number of
 * processors that this process may run on. Size queries multiply by this count, so it must stay the same from a size query to
 * the call that uses the buffer. */
int32_t ownGetNumThreads(void);

/* Stores the size in bytes of the largest data cache that one processor sees and returns 0; returns a negative value, with
 * nothing stored, when `size` is null or the size is not known. */
int32_t zypGetMaxCacheSizeB(int32_t *size);

/* Bits of zypGetEnabledCpuFeatures. A bit is set when the processor has the feature and the system saves its registers. */
enum {
    zypCpuSSE2 = 1 << 0,
    zypCpuSSE3 = 1 << 1,
    zypCpuSSSE3 = 1 << 2,
    zypCpuSSE42 = 1 << 3,
    zypCpuAVX2 = 1 << 4,
    zypCpuFMA = 1 << 5,
    zypCpuAVX = 1 << 6,
    zypCpuAVX512F = 1 << 7
};

uint64_t zypGetEnabledCpuFeatures(void);

/* Sets the thread count for the whole process; a count below 1 returns to the default. Not while a call is running. */
void zypSetNumThreads(int32_t count);

/* The same value as ownGetNumThreads, under the name for applications. */
int32_t zypGetNumThreads(void);

#ifdef __cplusplus
}
#endif

#endif /* ZYPCORE_H */
