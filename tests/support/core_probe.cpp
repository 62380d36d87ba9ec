#include "support/core_probe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>

#include "zypcore.h"

namespace zypr::test {

std::atomic<int32_t> CoreProbe::threads{1};
std::atomic<int32_t> CoreProbe::threadQueries{0};
std::atomic<int32_t> CoreProbe::cacheSize{32 << 20};
std::atomic<int32_t> CoreProbe::cacheStatus{0};
std::atomic<int32_t> CoreProbe::cacheQueries{0};
std::atomic<uint64_t> CoreProbe::features{zypCpuAVX2 | zypCpuFMA};
std::atomic<int32_t> CoreProbe::failingAllocation{-1};
std::atomic<bool> CoreProbe::failsFromThere{false};

namespace {

std::mutex recordsMutex;
struct LiveBlock {
    int32_t size, request;
};

std::vector<int32_t> requestedSizes;
std::map<void *, LiveBlock> live;
std::vector<int32_t> releasedRequests;
int32_t strayReleaseCount = 0;
std::vector<int32_t> liveAtLastRequest;

std::vector<int32_t> sizesOfLive() {
    std::vector<int32_t> sizes;
    for (const auto &[address, block] : live) sizes.push_back(block.size);
    return sizes;
}

} // namespace

void CoreProbe::reset() {
    threads = 1;
    threadQueries = 0;
    cacheSize = 32 << 20;
    cacheStatus = 0;
    cacheQueries = 0;
    features = zypCpuAVX2 | zypCpuFMA;
    failingAllocation = -1;
    failsFromThere = false;
    const std::lock_guard lock(recordsMutex);
    requestedSizes.clear();
    live.clear();
    releasedRequests.clear();
    strayReleaseCount = 0;
    liveAtLastRequest.clear();
}

std::vector<int32_t> CoreProbe::requests() {
    const std::lock_guard lock(recordsMutex);
    return requestedSizes;
}

int32_t CoreProbe::liveBlocks() {
    const std::lock_guard lock(recordsMutex);
    return static_cast<int32_t>(live.size());
}

std::vector<int32_t> CoreProbe::liveSizes() {
    const std::lock_guard lock(recordsMutex);
    return sizesOfLive();
}

std::vector<int32_t> CoreProbe::liveSizesAtLastRequest() {
    const std::lock_guard lock(recordsMutex);
    std::sort(liveAtLastRequest.begin(), liveAtLastRequest.end());
    return liveAtLastRequest;
}

std::vector<int32_t> CoreProbe::releases() {
    const std::lock_guard lock(recordsMutex);
    return releasedRequests;
}

int32_t CoreProbe::strayReleases() {
    const std::lock_guard lock(recordsMutex);
    return strayReleaseCount;
}

CoreProbeScope::~CoreProbeScope() {
    EXPECT_EQ(CoreProbe::liveBlocks(), 0) << "a block of the library was not released";
    EXPECT_EQ(CoreProbe::strayReleases(), 0) << "the library released what it had not got";
    CoreProbe::reset();
}

} // namespace zypr::test

using zypr::test::CoreProbe;

extern "C" {

void *zypMalloc(int32_t bytes) {
    const std::lock_guard lock(zypr::test::recordsMutex);
    const auto number = static_cast<int32_t>(zypr::test::requestedSizes.size());
    zypr::test::requestedSizes.push_back(bytes);
    zypr::test::liveAtLastRequest = zypr::test::sizesOfLive();
    if (bytes < 1 || number == CoreProbe::failingAllocation) return nullptr;
    if (CoreProbe::failsFromThere && CoreProbe::failingAllocation >= 0 && number > CoreProbe::failingAllocation) return nullptr;
    void *block = std::aligned_alloc(64, (static_cast<size_t>(bytes) + 63) / 64 * 64);
    if (block != nullptr) zypr::test::live[block] = {bytes, number};
    return block;
}

void zypFree(void *block) {
    const std::lock_guard lock(zypr::test::recordsMutex);
    const auto entry = zypr::test::live.find(block);
    if (entry == zypr::test::live.end()) {
        ++zypr::test::strayReleaseCount;
        return;
    }
    zypr::test::releasedRequests.push_back(entry->second.request);
    zypr::test::live.erase(entry);
    std::free(block);
}

int32_t ownGetNumThreads(void) {
    ++CoreProbe::threadQueries;
    return CoreProbe::threads;
}

int32_t zypGetMaxCacheSizeB(int32_t *size) {
    ++CoreProbe::cacheQueries;
    if (CoreProbe::cacheStatus == 0) *size = CoreProbe::cacheSize;
    return CoreProbe::cacheStatus;
}

uint64_t zypGetEnabledCpuFeatures(void) { return CoreProbe::features; }

} // extern "C"
