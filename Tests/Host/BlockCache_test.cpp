// The block cache keeps the blocks used last within its budget and never frees one that a reader holds.
#include "memory/BlockCache.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <thread>
#include <vector>

namespace VexmoraHost {
namespace {

constexpr std::size_t kBlockBytes = 100;

// A block filled with inMark, handed to the cache as a reader does: the reader's reference is released.
void AddBlock(Memory& ioMemory, BlockCache& ioCache, std::uint32_t inCacheId, std::uint32_t inBlockNumber,
              int inMark = 0) {
    const auto block = ioMemory.Allocate(kBlockBytes, 16);
    ASSERT_TRUE(block);
    std::memset(ioMemory.Address(*block), inMark, kBlockBytes);
    ioCache.Add(inCacheId, *block, inBlockNumber);
    ioMemory.Release(*block);
}

bool IsKept(Memory& ioMemory, BlockCache& ioCache, std::uint32_t inCacheId, std::uint32_t inBlockNumber) {
    const auto block = ioCache.Find(inCacheId, inBlockNumber);
    return block && ioMemory.Release(*block);
}

TEST(BlockCache, DropsTheBlockThatWasNotUsedForLongest) {
    Memory memory;
    BlockCache cache(memory, 3 * kBlockBytes);
    for (std::uint32_t number = 0; number < 3; ++number) AddBlock(memory, cache, 1, number);
    EXPECT_TRUE(IsKept(memory, cache, 1, 0));  // now block 1 is the oldest
    AddBlock(memory, cache, 1, 3);
    EXPECT_FALSE(IsKept(memory, cache, 1, 1));
    EXPECT_TRUE(IsKept(memory, cache, 1, 0));
    EXPECT_TRUE(IsKept(memory, cache, 1, 2));
    EXPECT_TRUE(IsKept(memory, cache, 1, 3));
    EXPECT_EQ(cache.Bytes(), 3 * kBlockBytes);
    EXPECT_EQ(memory.LiveBlocks(), 3u);
    cache.SetBudget(kBlockBytes);
    EXPECT_TRUE(IsKept(memory, cache, 1, 3));
    EXPECT_EQ(memory.LiveBlocks(), 1u);
}

TEST(BlockCache, ReadersKeepTheirBlocksAndTheCacheItsOwnReference) {
    Memory memory;
    {
        BlockCache cache(memory, kBlockBytes);
        AddBlock(memory, cache, 1, 0, 42);
        const auto held = cache.Find(1, 0);
        ASSERT_TRUE(held);
        AddBlock(memory, cache, 2, 0);  // pushes the first out
        EXPECT_FALSE(IsKept(memory, cache, 1, 0));
        ASSERT_NE(memory.Address(*held), nullptr);
        EXPECT_EQ(memory.Address(*held)[kBlockBytes - 1], 42);
        EXPECT_TRUE(memory.Release(*held));
        EXPECT_EQ(memory.LiveBlocks(), 1u);
    }
    EXPECT_EQ(memory.LiveBlocks(), 0u) << "the cache released what it kept";
}

TEST(BlockCache, RefusesWhatItCannotKeep) {
    Memory memory;
    BlockCache cache(memory, 2 * kBlockBytes);
    AddBlock(memory, cache, 1, 5, 1);
    AddBlock(memory, cache, 1, 5, 2);  // kept already
    AddBlock(memory, cache, 0, 5);     // a file without a cache
    cache.Add(1, 0xBAD, 6);
    const auto large = memory.Allocate(2 * kBlockBytes + 1, 16);
    ASSERT_TRUE(large);
    cache.Add(1, *large, 7);
    EXPECT_TRUE(memory.Release(*large));
    EXPECT_FALSE(IsKept(memory, cache, 0, 5));
    EXPECT_EQ(cache.Blocks(), 1u);
    EXPECT_EQ(memory.LiveBlocks(), 1u);
    const auto first = cache.Find(1, 5);
    ASSERT_TRUE(first);
    EXPECT_EQ(memory.Address(*first)[0], 1);
    memory.Release(*first);
}

TEST(BlockCache, DropTakesOneFileAndClearAll) {
    Memory memory;
    BlockCache cache(memory, 100 * kBlockBytes);
    for (std::uint32_t number = 0; number < 4; ++number) {
        AddBlock(memory, cache, 1, number);
        AddBlock(memory, cache, 0xFFFFFFFF, number);
    }
    cache.Drop(1);
    EXPECT_EQ(cache.Blocks(), 4u);
    EXPECT_FALSE(IsKept(memory, cache, 1, 2));
    EXPECT_TRUE(IsKept(memory, cache, 0xFFFFFFFF, 2));
    cache.Clear();
    EXPECT_EQ(cache.Bytes(), 0u);
    EXPECT_EQ(memory.LiveBlocks(), 0u);
}

TEST(BlockCache, ThreadsFindWholeBlocksWhileOthersPushThemOut) {
    Memory memory;
    BlockCache cache(memory, 5 * kBlockBytes);
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 4; ++seed) {
        threads.emplace_back([&memory, &cache, seed] {
            std::minstd_rand random(seed + 1);
            for (int round = 0; round < 3000; ++round) {
                const auto number = static_cast<std::uint32_t>(random() % 10);
                const auto block = cache.Find(1 + number % 2, number);
                if (!block) {
                    AddBlock(memory, cache, 1 + number % 2, number, static_cast<int>(number));
                    continue;
                }
                const std::uint8_t* const bytes = memory.Address(*block);
                EXPECT_TRUE(bytes[0] == number && bytes[kBlockBytes - 1] == number);
                memory.Release(*block);
                if (round % 100 == 0) cache.Drop(1 + number % 2);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_LE(cache.Bytes(), 5 * kBlockBytes);
    EXPECT_EQ(memory.LiveBytes(), cache.Bytes());
}

}  // namespace
}  // namespace VexmoraHost
