// The flattened tree: the forms of leaves, the order of nodes and lists, and what can go wrong.

#include "scene/kd_emit.h"

#include <gtest/gtest.h>

#include <cstring>

#include "frame/memory.h"
#include "scene/open_build.h"
#include "support/bits.h"

using namespace zypr;
using namespace zypr::test;

namespace {

std::vector<uint32_t> wordsOf(const KDGrowingTree &tree) {
    ZyprKDTree *block = nullptr;
    int32_t size = 0;
    EXPECT_EQ(kdEmitTree(tree, &block, &size), zypStsNoErr);
    std::vector<uint32_t> words(static_cast<size_t>(size) / 4);
    std::memcpy(words.data(), block, static_cast<size_t>(size));
    zyprFreeBlock(block);
    return words;
}

// The words that a leaf with this list has as the root of a tree.
std::vector<uint32_t> leafTree(const std::vector<int32_t> &numbers) {
    OpenBuild build;
    const auto count = static_cast<int32_t>(numbers.size());
    EXPECT_EQ(kdRequestLeafList(build.state, count), zypStsNoErr);
    KDGrowingTree tree(build.state);
    tree.root = tree.leaf(count, [&](int32_t i) { return numbers[static_cast<size_t>(i)]; });
    return wordsOf(tree);
}

std::vector<uint32_t> generalLeaf(const std::vector<int32_t> &numbers) {
    std::vector<uint32_t> words = {0xFFFFFFF0u, static_cast<uint32_t>(numbers.size()), 0, 0};
    for (const int32_t number : numbers) words.push_back(static_cast<uint32_t>(number));
    return words;
}
std::vector<uint32_t> compactLeaf(uint32_t word0, uint32_t word1) { return {word0, word1, 0, 0}; }

} // namespace

TEST(KDEmit, CompactLeavesHoldUpToThreeNumbers) {
    const int32_t big = 0x20000000;
    EXPECT_EQ(leafTree({5}), compactLeaf(0x80000005u, 0x80000001u));
    EXPECT_EQ(leafTree({INT32_MAX}), compactLeaf(0xFFFFFFFFu, 0x80000001u));
    EXPECT_EQ(leafTree({1000, 70000}), compactLeaf(0x80000000u | 70000u, 1000u << 2 | 0x80000002u));
    EXPECT_EQ(leafTree({big - 1, big}), compactLeaf(0x80000000u | 0x20000000u, 0x1FFFFFFFu << 2 | 0x80000002u));
    EXPECT_EQ(leafTree({big, 7}), compactLeaf(0x80000000u | 0x20000000u, 7u << 2 | 0x80000002u));
    EXPECT_EQ(leafTree({7, 3, 5}), compactLeaf(0x80020002u, 0x80000017u));
    EXPECT_EQ(leafTree({0, 32767, 98302}), compactLeaf(0x80000000u | 0x7FFFu << 16 | 0xFFFFu, 32767u << 2 | 0x80000003u));
    EXPECT_EQ(leafTree({big - 1, big, big - 2}), compactLeaf(0x80010001u, 0x1FFFFFFFu << 2 | 0x80000003u));
}

TEST(KDEmit, OtherLeavesHaveAList) {
    const int32_t big = 0x20000000;
    for (const std::vector<int32_t> &numbers : std::vector<std::vector<int32_t>>{{},
                                                                                 {-1},
                                                                                 {-1, 4},
                                                                                 {4, -1},
                                                                                 {big, big},
                                                                                 {0, 40000, 40001},
                                                                                 {40001, 0, 40000},
                                                                                 {0, 32768, 32769},
                                                                                 {0, 1, 65537},
                                                                                 {3, -2, 5},
                                                                                 {big - 1, big, big + 1},
                                                                                 {4, 3, 2, 1},
                                                                                 {1, 1, 1, 1, 1}}) {
        EXPECT_EQ(leafTree(numbers), generalLeaf(numbers));
    }
}

// Every list and every pair crosses from block to block somewhere.
TEST(KDEmit, TreesOfManyBlocksHaveTheirNodesAndListsInOrder) {
    constexpr int32_t leaves = 800000; // three blocks of pairs
    OpenBuild build(100, 1024);
    KDGrowingTree tree(build.state);
    const auto leaf = [&](int32_t i) {
        const int32_t count = i % 3 == 0 ? 1 : 11;
        EXPECT_EQ(kdRequestLeafList(build.state, count), zypStsNoErr);
        return tree.leaf(count, [i](int32_t k) { return i + k; });
    };
    // A right comb, from its last leaf on.
    KDFinishedNode node = leaf(leaves - 1);
    for (int32_t i = leaves - 1; i-- > 0;) {
        ASSERT_EQ(kdRequestNodePair(build.state), zypStsNoErr);
        const KDFinishedNode left = leaf(i);
        node = tree.inner(i % 3, -static_cast<float>(i), left, node);
    }
    tree.root = node;
    EXPECT_EQ(build.state->nodeBlocks.prev->prev->prev, build.state->nodeBlocks.next);
    EXPECT_EQ(build.state->leafBlocks.prev->prev, build.state->leafBlocks.next);

    const std::vector<uint32_t> words = wordsOf(tree);
    size_t at = 0, list = 4 + 4 * static_cast<size_t>(leaves - 1);
    const auto expectLeaf = [&](size_t place, int32_t i) {
        if (i % 3 == 0) return words[place] == (0x80000000u | static_cast<uint32_t>(i)) && words[place + 1] == 0x80000001u;
        bool right = words[place] == 0u - 4u * static_cast<uint32_t>(list - place) && words[place + 1] == 11;
        for (uint32_t k = 0; k < 11; ++k) right = right && words[list++] == static_cast<uint32_t>(i) + k;
        return right;
    };
    for (int32_t i = 0; i < leaves - 1; ++i) {
        const size_t pair = 4 + 4 * static_cast<size_t>(i);
        ASSERT_EQ(words[at], 4 * (pair - at) | static_cast<uint32_t>(i % 3)) << i;
        ASSERT_EQ(words[at + 1], bits(-static_cast<float>(i))) << i;
        ASSERT_TRUE(expectLeaf(pair, i)) << i;
        at = pair + 2;
    }
    EXPECT_TRUE(expectLeaf(at, leaves - 1));
    EXPECT_EQ(list, words.size());
}

TEST(KDEmit, TreesBeyond32BitsAreAFailedAllocation) {
    const CoreProbeScope scope;
    KDGrowingTree tree;
    tree.numbers.count = 1 << 30; // the lists' bytes wrap to nothing
    ZyprKDTree *block = nullptr;
    int32_t size = -5;
    EXPECT_EQ(kdEmitTree(tree, &block, &size), zypStsAllocFailErr);
    tree.numbers.count = 0;
    tree.pairs.count = (1 << 27) - 1; // 16 bytes too many
    EXPECT_EQ(kdEmitTree(tree, &block, &size), zypStsAllocFailErr);
    EXPECT_TRUE(CoreProbe::requests().empty());
    EXPECT_EQ(size, -5);
}

TEST(KDEmit, AFailedBlockIsReportedWithTheOutputsUnwritten) {
    const CoreProbeScope scope;
    CoreProbe::failingAllocation = 0;
    KDGrowingTree tree;
    tree.root = tree.emptyLeaf();
    ZyprKDTree *block = nullptr;
    int32_t size = -5;
    EXPECT_EQ(kdEmitTree(tree, &block, &size), zypStsAllocFailErr);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(size, -5);
}
