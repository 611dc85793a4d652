// What was used lately of the files that this process has open, within a budget of bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <list>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace VexmoraHost {

/// Keeps the most recently used values. What is dropped lives on until its users have let go of it: a value
/// holds a reference to the thing itself. Any thread may call any function; the last reference to a thing is
/// never given up under the lock, for giving memory back takes time.
/// @tparam KeyOf   names a thing of a file: has a member cacheId (see CacheIdFor; nothing of file 0 is kept),
/// ==,
///                 and a function Hash.
/// @tparam ValueOf copied without an exception; a default-constructed one stands for nothing.
template <typename KeyOf, typename ValueOf>
class LruCache {
  public:
    using Key = KeyOf;
    using Value = ValueOf;

    explicit LruCache(std::size_t inBudgetBytes) : mBudget(inBudgetBytes) {}
    LruCache(const LruCache&) = delete;
    LruCache& operator=(const LruCache&) = delete;

    /// Keeps a value that holds inBytes bytes. Ignored when the file is not cached (id 0), a value is kept
    /// under the key already, or this one is larger than the budget. Throws std::bad_alloc with nothing
    /// changed.
    void Add(const Key& inKey, const Value& inValue, std::size_t inBytes) {
        if (inKey.cacheId == 0) return;
        Entries fresh;
        fresh.push_front({inKey, inValue, inBytes});
        Entries removed;
        const std::scoped_lock lock(mMutex);
        if (inBytes > mBudget || !mIndex.try_emplace(inKey, fresh.begin()).second) return;
        mEntries.splice(mEntries.begin(), fresh);
        mBytes += inBytes;
        Trim(removed);
    }

    /// The value under the key; a default-constructed one when none is kept.
    [[nodiscard]] Value Find(const Key& inKey) noexcept {
        const std::scoped_lock lock(mMutex);
        const auto found = mIndex.find(inKey);
        if (found == mIndex.end()) return {};
        mEntries.splice(mEntries.begin(), mEntries, found->second);
        return found->second->value;
    }

    /// Lets go of what is kept of one file, or of all.
    void Drop(std::uint32_t inCacheId) noexcept {
        Entries removed;
        const std::scoped_lock lock(mMutex);
        for (auto entry = mEntries.begin(); entry != mEntries.end();) {
            const auto next = std::next(entry);
            if (entry->key.cacheId == inCacheId) Remove(entry, removed);
            entry = next;
        }
    }
    void Clear() noexcept {
        Entries removed;
        const std::scoped_lock lock(mMutex);
        removed.swap(mEntries);
        mIndex.clear();
        mBytes = 0;
    }

    /// Changes the budget and lets go of what it does not allow.
    void SetBudget(std::size_t inBytes) noexcept {
        Entries removed;
        const std::scoped_lock lock(mMutex);
        mBudget = inBytes;
        Trim(removed);
    }

    /// Values, and the bytes that they hold, kept now.
    std::size_t Count() const noexcept {
        const std::scoped_lock lock(mMutex);
        return mEntries.size();
    }
    std::size_t Bytes() const noexcept {
        const std::scoped_lock lock(mMutex);
        return mBytes;
    }

  private:
    struct Entry {
        Key key;
        Value value;
        std::size_t bytes;
    };
    // Lists of removed entries are declared before the lock is taken, so they end after it.
    using Entries = std::list<Entry>;
    struct Hash {
        std::size_t operator()(const Key& inKey) const noexcept { return inKey.Hash(); }
    };

    void Remove(typename Entries::iterator inEntry, Entries& outRemoved) noexcept {
        mIndex.erase(inEntry->key);
        mBytes -= inEntry->bytes;
        outRemoved.splice(outRemoved.begin(), mEntries, inEntry);
    }
    void Trim(Entries& outRemoved) noexcept {
        while (mBytes > mBudget) Remove(std::prev(mEntries.end()), outRemoved);
    }

    mutable std::mutex mMutex;  // guards all below; a value may take a lock of its own inside it
    Entries mEntries;           // most recently used first
    std::unordered_map<Key, typename Entries::iterator, Hash> mIndex;
    std::size_t mBudget;
    std::size_t mBytes = 0;
};

}  // namespace VexmoraHost
