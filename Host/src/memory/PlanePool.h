// Memory for the planes of decoded pictures, used again and again: getting megabytes from the system and
// touching them for the first time takes a good part of the time of decoding a picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "Vexmora/HostServices.h"
#include "memory/Memory.h"

namespace VexmoraHost {

class PlanePool;

/// A block that a pool lends; its destructor gives it back.
class PlaneMemory {
  public:
    PlaneMemory() = default;
    ~PlaneMemory() { GiveBack(); }
    PlaneMemory(PlaneMemory&& ioOther) noexcept
        : mPool(std::exchange(ioOther.mPool, nullptr)), mBlock(ioOther.mBlock) {}
    PlaneMemory& operator=(PlaneMemory&& ioOther) noexcept;
    PlaneMemory(const PlaneMemory&) = delete;
    PlaneMemory& operator=(const PlaneMemory&) = delete;

    /// Null for a default-constructed one.
    std::uint8_t* Bytes() const;
    std::size_t Size() const;

  private:
    friend class PlanePool;
    struct Block {
        Vexmora::MemoryHandle handle = 0;
        std::uint8_t* bytes = nullptr;
        std::size_t size = 0;
    };

    PlaneMemory(PlanePool& inPool, const Block& inBlock) : mPool(&inPool), mBlock(inBlock) {}
    void GiveBack() noexcept;

    PlanePool* mPool = nullptr;
    Block mBlock;
};

/// Lends blocks, and keeps those that come back up to a bound in bytes. Any thread may call any function; the
/// pool outlives what it lends.
class PlanePool {
  public:
    /// The address of every block is a multiple of this.
    static constexpr std::size_t kAlignment = 64;

    /// @param ioMemory     where blocks come from; outlives the pool.
    /// @param inSpareBytes bytes of unused blocks that are kept at most.
    PlanePool(Memory& ioMemory, std::size_t inSpareBytes);
    ~PlanePool();
    PlanePool(const PlanePool&) = delete;
    PlanePool& operator=(const PlanePool&) = delete;

    /// A block of inBytes (not 0) bytes of unspecified content. Throws std::bad_alloc.
    PlaneMemory Take(std::size_t inBytes);
    /// Frees the unused blocks.
    void Clear() noexcept;
    /// Bytes of unused blocks kept now.
    std::size_t SpareBytes() const noexcept;

  private:
    friend class PlaneMemory;
    using Block = PlaneMemory::Block;

    void Accept(const Block& inBlock) noexcept;

    Memory& mMemory;
    const std::size_t mSpareLimit;
    mutable std::mutex mMutex;  // guards all below; the lock of mMemory may be taken inside it
    std::vector<Block> mSpare;  // the one given back last at the end
    std::size_t mSpareBytes = 0;
};

}  // namespace VexmoraHost
