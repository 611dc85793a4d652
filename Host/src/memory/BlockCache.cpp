// Least-recently-used cache of file blocks.
#include "memory/BlockCache.h"

#include <iterator>

namespace VexmoraHost {
namespace {

constexpr std::uint64_t KeyOf(std::uint32_t inCacheId, std::uint32_t inBlockNumber) {
    return std::uint64_t{inCacheId} << 32 | inBlockNumber;
}

}  // namespace

BlockCache::BlockCache(Memory& ioMemory, std::size_t inBudgetBytes)
    : mMemory(ioMemory), mBudget(inBudgetBytes) {}

BlockCache::~BlockCache() {
    Clear();
}

void BlockCache::Add(std::uint32_t inCacheId, Vexmora::MemoryHandle inBlock, std::uint32_t inBlockNumber) {
    const std::size_t bytes = mMemory.Size(inBlock);
    if (inCacheId == 0 || bytes == 0) return;
    const std::uint64_t key = KeyOf(inCacheId, inBlockNumber);
    Entries fresh;
    fresh.push_front({key, inBlock, bytes});
    Entries removed;
    {
        const std::scoped_lock lock(mMutex);
        if (bytes > mBudget) return;
        const auto [at, inserted] = mIndex.try_emplace(key, fresh.begin());
        if (!inserted) return;
        if (!mMemory.AddReference(inBlock)) {
            mIndex.erase(at);
            return;
        }
        mEntries.splice(mEntries.begin(), fresh);
        mBytes += bytes;
        Trim(removed);
    }
    ReleaseAll(removed);
}

std::optional<Vexmora::MemoryHandle> BlockCache::Find(std::uint32_t inCacheId,
                                                      std::uint32_t inBlockNumber) noexcept {
    const std::scoped_lock lock(mMutex);
    const auto found = mIndex.find(KeyOf(inCacheId, inBlockNumber));
    if (found == mIndex.end()) return std::nullopt;
    mEntries.splice(mEntries.begin(), mEntries, found->second);
    const Vexmora::MemoryHandle block = found->second->block;
    if (!mMemory.AddReference(block)) return std::nullopt;
    return block;
}

void BlockCache::Drop(std::uint32_t inCacheId) noexcept {
    Entries removed;
    {
        const std::scoped_lock lock(mMutex);
        for (auto entry = mEntries.begin(); entry != mEntries.end();) {
            const auto next = std::next(entry);
            if (entry->key >> 32 == inCacheId) Remove(entry, removed);
            entry = next;
        }
    }
    ReleaseAll(removed);
}

void BlockCache::Clear() noexcept {
    Entries removed;
    {
        const std::scoped_lock lock(mMutex);
        removed.swap(mEntries);
        mIndex.clear();
        mBytes = 0;
    }
    ReleaseAll(removed);
}

void BlockCache::SetBudget(std::size_t inBytes) noexcept {
    Entries removed;
    {
        const std::scoped_lock lock(mMutex);
        mBudget = inBytes;
        Trim(removed);
    }
    ReleaseAll(removed);
}

std::size_t BlockCache::Blocks() const noexcept {
    const std::scoped_lock lock(mMutex);
    return mEntries.size();
}

std::size_t BlockCache::Bytes() const noexcept {
    const std::scoped_lock lock(mMutex);
    return mBytes;
}

void BlockCache::Remove(Entries::iterator inEntry, Entries& outRemoved) noexcept {
    mIndex.erase(inEntry->key);
    mBytes -= inEntry->bytes;
    outRemoved.splice(outRemoved.begin(), mEntries, inEntry);
}

void BlockCache::Trim(Entries& outRemoved) noexcept {
    while (mBytes > mBudget) Remove(std::prev(mEntries.end()), outRemoved);
}

// Freeing a block takes time; callers have left the lock.
void BlockCache::ReleaseAll(const Entries& inRemoved) noexcept {
    for (const Entry& entry : inRemoved) mMemory.Release(entry.block);
}

}  // namespace VexmoraHost
