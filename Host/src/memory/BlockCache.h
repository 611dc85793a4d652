// The blocks of media files that were read lately, shared by all readers of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "Vexmora/HostServices.h"
#include "memory/Memory.h"

namespace VexmoraHost {

/// Keeps the most recently used blocks within a budget of bytes. It holds one reference to every block that
/// it keeps; a block that is dropped lives on until its readers have released it. Any thread may call any
/// function.
class BlockCache {
  public:
    /// @param ioMemory whose blocks these are; outlives the cache.
    BlockCache(Memory& ioMemory, std::size_t inBudgetBytes);
    /// Releases every block.
    ~BlockCache();
    BlockCache(const BlockCache&) = delete;
    BlockCache& operator=(const BlockCache&) = delete;

    /// Keeps block inBlockNumber of the file inCacheId, taking a reference of its own. Ignored when the file
    /// has no cache (id 0), the block is kept already, is larger than the budget or does not exist. Throws
    /// std::bad_alloc with nothing changed.
    void Add(std::uint32_t inCacheId, Vexmora::MemoryHandle inBlock, std::uint32_t inBlockNumber);
    /// The block with a reference that the caller releases, if it is kept.
    [[nodiscard]] std::optional<Vexmora::MemoryHandle> Find(std::uint32_t inCacheId,
                                                            std::uint32_t inBlockNumber) noexcept;

    /// Lets go of the blocks of one file, or of all.
    void Drop(std::uint32_t inCacheId) noexcept;
    void Clear() noexcept;

    /// Changes the budget and lets go of what it does not allow.
    void SetBudget(std::size_t inBytes) noexcept;

    /// Blocks, and bytes of blocks, kept now.
    std::size_t Blocks() const noexcept;
    std::size_t Bytes() const noexcept;

  private:
    struct Entry {
        std::uint64_t key;  // cache id << 32 | block number
        Vexmora::MemoryHandle block;
        std::size_t bytes;
    };
    using Entries = std::list<Entry>;

    void Remove(Entries::iterator inEntry, Entries& outRemoved) noexcept;
    void Trim(Entries& outRemoved) noexcept;
    void ReleaseAll(const Entries& inRemoved) noexcept;

    Memory& mMemory;
    mutable std::mutex mMutex;  // guards all below; the lock of mMemory may be taken inside it
    Entries mEntries;           // most recently used first
    std::unordered_map<std::uint64_t, Entries::iterator> mIndex;
    std::size_t mBudget;
    std::size_t mBytes = 0;
};

}  // namespace VexmoraHost
