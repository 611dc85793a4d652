// Blocks live as long as somebody holds a reference, are counted, and handles that name none are refused.
#include "memory/Memory.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

#include "memory/HostServices.h"

// Lets the sanitizers' allocators refuse an impossible size as the usual one does, instead of ending the
// program. NOLINTBEGIN(bugprone-reserved-identifier): names that the sanitizers look for
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}
// NOLINTEND(bugprone-reserved-identifier)

namespace VexmoraHost {
namespace {

TEST(Memory, BlocksAreAlignedAndCountedUntilTheLastReferenceIsGone) {
    Memory memory;
    // Small ones and large ones, which come in pages; some are made of what others left behind.
    constexpr std::size_t kMiB = 1 << 20;
    const std::pair<std::size_t, std::size_t> kSizesAndAlignments[] = {
        {1000, 1}, {1000, kMiB}, {kMiB - 1, 16}, {kMiB - 1, kMiB}, {kMiB - 1, 2 * kMiB}, {32 * kMiB, 16}};
    for (const auto& [size, alignment] : kSizesAndAlignments) {
        const auto block = memory.Allocate(size, alignment);
        ASSERT_TRUE(block);
        std::uint8_t* const bytes = memory.Address(*block);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % alignment, 0u);
        std::memset(bytes, 0xA5, size);
        EXPECT_EQ(memory.LiveBlocks(), 1u);
        EXPECT_EQ(memory.LiveBytes(), size);
        EXPECT_TRUE(memory.AddReference(*block));
        EXPECT_TRUE(memory.Release(*block));
        EXPECT_EQ(memory.Address(*block), bytes) << "one reference is left";
        EXPECT_TRUE(memory.Release(*block));
        EXPECT_EQ(memory.LiveBlocks(), 0u);
        EXPECT_EQ(memory.LiveBytes(), 0u);
    }
}

TEST(Memory, HandlesOfNoBlockAreRefused) {
    Memory memory;
    const auto freed = memory.Allocate(8, 8);
    ASSERT_TRUE(freed && memory.Release(*freed));
    const auto successor = memory.Allocate(8, 8);
    ASSERT_TRUE(successor);
    for (const Vexmora::MemoryHandle handle :
         {Vexmora::MemoryHandle{0}, *freed, *successor + 1, ~Vexmora::MemoryHandle{0},
          *successor ^ Vexmora::MemoryHandle{1} << 40}) {
        EXPECT_FALSE(memory.AddReference(handle) || memory.Release(handle)) << handle;
        EXPECT_TRUE(memory.Address(handle) == nullptr && memory.Size(handle) == 0) << handle;
        EXPECT_EQ(BlockReference(memory, handle).Block(), 0u);
    }
    EXPECT_EQ(memory.LiveBlocks(), 1u) << "the successor in the freed block's place was not harmed";
}

TEST(Memory, WhatCannotBeAllocatedIsRefused) {
    Memory memory;
    for (const auto& [size, alignment] : {std::pair<std::size_t, std::size_t>{0, 16},
                                          {16, 0},
                                          {16, 24},
                                          {std::size_t{1} << 62, 16},
                                          {~std::size_t{0}, 16}}) {
        EXPECT_FALSE(memory.Allocate(size, alignment)) << size;
    }
    EXPECT_EQ(memory.LiveBlocks(), 0u);
}

TEST(PagePool, LendsAgainWithinItsBound) {
    constexpr std::size_t kPage = 1 << 16;
    PagePool pool(3 * kPage);
    std::uint8_t* const first = pool.Take(kPage, 1);
    pool.GiveBack(first, kPage);
    std::uint8_t* const larger = pool.Take(2 * kPage, 1);
    EXPECT_EQ(pool.SpareBytes(), kPage) << "of another size";
    EXPECT_EQ(pool.Take(kPage, 1), first);
    pool.GiveBack(first, kPage);
    pool.GiveBack(larger, 2 * kPage);
    EXPECT_EQ(pool.SpareBytes(), 3 * kPage);
    pool.GiveBack(pool.Take(kPage / 2, 1), kPage / 2);
    EXPECT_EQ(pool.SpareBytes(), 2 * kPage + kPage / 2) << "the first one had been there for longest";
    pool.GiveBack(pool.Take(4 * kPage, 1), 4 * kPage);
    EXPECT_EQ(pool.SpareBytes(), 2 * kPage + kPage / 2) << "larger than the bound";
}

TEST(HostServices, TablesReachTheProcessMemoryAndAnswerFailuresByStatus) {
    const Vexmora::HostServices services = Services(7);
    EXPECT_EQ(services.cacheId, 7u);
    const std::size_t before = ProcessMemory().LiveBlocks();
    Vexmora::MemoryHandle block = 0;
    EXPECT_LT(services.memoryAllocator->Allocate(nullptr, Vexmora::kMemoryKind, 100, 16), 0);
    EXPECT_LT(services.memoryAllocator->Allocate(&block, 1, 100, 16), 0) << "no such kind of memory";
    EXPECT_LT(services.memoryAllocator->Allocate(&block, Vexmora::kMemoryKind, 0, 16), 0);
    ASSERT_EQ(services.memoryAllocator->Allocate(&block, Vexmora::kMemoryKind, 100, 16), 0);

    std::uint8_t* bytes = nullptr;
    EXPECT_LT(services.memoryHandles->Address(block, 1, &bytes), 0);
    EXPECT_LT(services.memoryHandles->Address(block + 1, Vexmora::kMemoryKind, &bytes), 0);
    EXPECT_LT(services.memoryHandles->Address(block, Vexmora::kMemoryKind, nullptr), 0);
    EXPECT_EQ(bytes, nullptr);
    ASSERT_EQ(services.memoryHandles->Address(block, Vexmora::kMemoryKind, &bytes), 0);
    bytes[99] = 1;

    services.blockCache->Add(7, block, 3);
    services.memoryHandles->Release(block);
    Vexmora::MemoryHandle found = 0;
    EXPECT_NE(services.blockCache->Find(7, 4, &found), 0);
    EXPECT_NE(services.blockCache->Find(7, 3, nullptr), 0);
    ASSERT_EQ(services.blockCache->Find(7, 3, &found), 0);
    EXPECT_EQ(found, block);
    ProcessBlockCache().Drop(7);
    EXPECT_EQ(ProcessMemory().LiveBlocks(), before + 1) << "the finder still holds it";
    services.memoryHandles->Release(found);
    services.memoryHandles->Release(found);  // one too many
    EXPECT_EQ(ProcessMemory().LiveBlocks(), before);
}

TEST(HostServices, CacheIdsFollowTheIdentity) {
    const std::uint32_t id = CacheIdFor({{1}});
    EXPECT_NE(id, 0u);
    EXPECT_NE(CacheIdFor({{2}}), id);
    EXPECT_EQ(CacheIdFor({{1}}), id);
}

}  // namespace
}  // namespace VexmoraHost
