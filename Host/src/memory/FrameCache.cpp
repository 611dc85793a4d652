// Least-recently-used cache of decoded pictures.
#include "memory/FrameCache.h"

#include <functional>
#include <iterator>

namespace VexmoraHost {

std::size_t FrameCache::Hash::operator()(const Key& inKey) const noexcept {
    const auto place = std::uint64_t{inKey.cacheId} << 32 | inKey.record;
    return std::hash<std::uint64_t>()(place * 3 + static_cast<std::uint64_t>(inKey.scale));
}

FrameCache::FrameCache(std::size_t inBudgetBytes) : mBudget(inBudgetBytes) {}

void FrameCache::Add(const Key& inKey, const SharedPicture& inPicture, std::size_t inBytes) {
    if (inKey.cacheId == 0) return;
    Entries fresh;
    fresh.push_front({inKey, inPicture, inBytes});
    Entries removed;
    const std::scoped_lock lock(mMutex);
    if (inBytes > mBudget || !mIndex.try_emplace(inKey, fresh.begin()).second) return;
    mEntries.splice(mEntries.begin(), fresh);
    mBytes += inBytes;
    Trim(removed);
}

SharedPicture FrameCache::Find(const Key& inKey) noexcept {
    const std::scoped_lock lock(mMutex);
    const auto found = mIndex.find(inKey);
    if (found == mIndex.end()) return nullptr;
    mEntries.splice(mEntries.begin(), mEntries, found->second);
    return found->second->picture;
}

void FrameCache::Drop(std::uint32_t inCacheId) noexcept {
    Entries removed;
    const std::scoped_lock lock(mMutex);
    for (auto entry = mEntries.begin(); entry != mEntries.end();) {
        const auto next = std::next(entry);
        if (entry->key.cacheId == inCacheId) Remove(entry, removed);
        entry = next;
    }
}

void FrameCache::Clear() noexcept {
    Entries removed;
    const std::scoped_lock lock(mMutex);
    removed.swap(mEntries);
    mIndex.clear();
    mBytes = 0;
}

void FrameCache::SetBudget(std::size_t inBytes) noexcept {
    Entries removed;
    const std::scoped_lock lock(mMutex);
    mBudget = inBytes;
    Trim(removed);
}

std::size_t FrameCache::Pictures() const noexcept {
    const std::scoped_lock lock(mMutex);
    return mEntries.size();
}

std::size_t FrameCache::Bytes() const noexcept {
    const std::scoped_lock lock(mMutex);
    return mBytes;
}

void FrameCache::Remove(Entries::iterator inEntry, Entries& outRemoved) noexcept {
    mIndex.erase(inEntry->key);
    mBytes -= inEntry->bytes;
    outRemoved.splice(outRemoved.begin(), mEntries, inEntry);
}

void FrameCache::Trim(Entries& outRemoved) noexcept {
    while (mBytes > mBudget) Remove(std::prev(mEntries.end()), outRemoved);
}

}  // namespace VexmoraHost
