// What runs when the library is loaded. This file is compiled for the baseline processor, so that loading never fails for want
// of AVX2; an application asks zyprProcessorIsSupported before its first call.

#include "frame/load_hook.h"

#include "zypcore.h"

int32_t zyprProcessorHasVectors = 0;

extern "C" void zyprLoadHook() {
    constexpr uint64_t needed = zypCpuAVX2 | zypCpuFMA;
    zyprProcessorHasVectors = (zypGetEnabledCpuFeatures() & needed) == needed ? 1 : 0;
}

namespace {
[[gnu::constructor]] void onLoad() { zyprLoadHook(); }
} // namespace
