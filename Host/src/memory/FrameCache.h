// The decoded pictures of media files that were used lately, shared by all movies of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <unordered_map>

#include "VexmoraHost/Picture.h"

namespace VexmoraHost {

/// Keeps the most recently used pictures within a budget of bytes. A picture that is dropped lives on until
/// its users have let go of it. Any thread may call any function.
class FrameCache {
  public:
    /// Which picture of which file at which size.
    struct Key {
        /// See CacheIdFor; pictures of file 0 are not kept.
        std::uint32_t cacheId = 0;
        /// Index of its record; not the frame number, which counts from the first usable frame.
        std::uint32_t record = 0;
        Scale scale = Scale::Full;

        friend bool operator==(const Key&, const Key&) = default;
    };

    explicit FrameCache(std::size_t inBudgetBytes);
    FrameCache(const FrameCache&) = delete;
    FrameCache& operator=(const FrameCache&) = delete;

    /// Keeps a picture that holds inBytes bytes. Ignored when the file is not cached (id 0), a picture is
    /// kept under the key already, or this one is larger than the budget. Throws std::bad_alloc with nothing
    /// changed.
    void Add(const Key& inKey, const SharedPicture& inPicture, std::size_t inBytes);
    /// The picture, null when it is not kept.
    [[nodiscard]] SharedPicture Find(const Key& inKey) noexcept;

    /// Lets go of the pictures of one file, or of all.
    void Drop(std::uint32_t inCacheId) noexcept;
    void Clear() noexcept;

    /// Changes the budget and lets go of what it does not allow.
    void SetBudget(std::size_t inBytes) noexcept;

    /// Pictures, and bytes of pictures, kept now.
    std::size_t Pictures() const noexcept;
    std::size_t Bytes() const noexcept;

  private:
    struct Entry {
        Key key;
        SharedPicture picture;
        std::size_t bytes;
    };
    // Lists of removed entries are declared before the lock is taken: giving memory back takes time.
    using Entries = std::list<Entry>;
    struct Hash {
        std::size_t operator()(const Key& inKey) const noexcept;
    };

    void Remove(Entries::iterator inEntry, Entries& outRemoved) noexcept;
    void Trim(Entries& outRemoved) noexcept;

    mutable std::mutex mMutex;  // guards all below
    Entries mEntries;           // most recently used first
    std::unordered_map<Key, Entries::iterator, Hash> mIndex;
    std::size_t mBudget;
    std::size_t mBytes = 0;
};

}  // namespace VexmoraHost
