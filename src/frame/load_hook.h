// The load hook and the flag that it leaves.
#pragma once

#include <cstdint>

// 1 when the core library reported AVX2 and FMA at load, else 0. Nothing in the library reads it: it is there for a debugger.
extern int32_t zyprProcessorHasVectors;

extern "C" void zyprLoadHook();
