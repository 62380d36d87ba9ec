// The tests' own core library: it takes the place of zypcore in every test program, records what the library asks of it and
// fails on demand.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

namespace zypr::test {

struct CoreProbe {
    static void reset(); // to the defaults below, with nothing recorded

    static std::atomic<int32_t> threads;       // what ownGetNumThreads answers; default 1
    static std::atomic<int32_t> threadQueries; // how often it was asked
    static std::atomic<int32_t> cacheSize;     // what zypGetMaxCacheSizeB stores; default 32 MiB
    static std::atomic<int32_t> cacheStatus;   // and returns; default 0
    static std::atomic<int32_t> cacheQueries;
    static std::atomic<uint64_t> features;         // what zypGetEnabledCpuFeatures answers; default AVX2 and FMA
    static std::atomic<int32_t> failingAllocation; // the number of the request that gets null, from 0; default -1, none
    static std::atomic<bool> failsFromThere;       // and all later ones too; default false

    static std::vector<int32_t> requests(); // the sizes asked for since the reset, in order
    static int32_t liveBlocks();            // blocks not released yet
    static std::vector<int32_t> liveSizes();
    static std::vector<int32_t> releases();               // the numbers of the requests whose blocks went back, in order
    static int32_t strayReleases();                       // releases of null or of anything else that is no live block
    static std::vector<int32_t> liveSizesAtLastRequest(); // before it was answered; ascending
};

// Resets the probe at both ends of a test and checks at the end that every block went back, and nothing else did.
class CoreProbeScope {
public:
    CoreProbeScope() { CoreProbe::reset(); }
    ~CoreProbeScope();
};

} // namespace zypr::test
