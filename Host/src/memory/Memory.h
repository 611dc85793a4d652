// Memory blocks that several users may hold at once, named by handles and counted so that a leak can be seen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <mutex>
#include <new>
#include <optional>
#include <vector>

#include "Vexmora/HostServices.h"
#include "memory/PagePool.h"

namespace VexmoraHost {

/// A store of blocks. Each block has a count of references; it is freed when the last one is released. A
/// handle that names no block of this store (0, made up, or freed already) is recognised and refused. Any
/// thread may call any function; the store outlives the use of its blocks' bytes.
class Memory {
  public:
    Memory() = default;
    /// Frees what is still held.
    ~Memory();
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    /// A new block of inBytes (not 0) bytes of unspecified content, its address a multiple of inAlignment (a
    /// power of two), with one reference, which the caller releases. Nothing when there is no memory.
    [[nodiscard]] std::optional<Vexmora::MemoryHandle> Allocate(std::size_t inBytes,
                                                                std::size_t inAlignment) noexcept;
    /// Takes one more reference; false when there is no such block.
    [[nodiscard]] bool AddReference(Vexmora::MemoryHandle inBlock) noexcept;
    /// Gives back one reference; false when there is no such block.
    bool Release(Vexmora::MemoryHandle inBlock) noexcept;

    /// First byte of the block, valid while a reference is held; null when there is no such block.
    std::uint8_t* Address(Vexmora::MemoryHandle inBlock) const noexcept;
    /// Bytes of the block; 0 when there is no such block.
    std::size_t Size(Vexmora::MemoryHandle inBlock) const noexcept;

    /// Blocks, and bytes of blocks, that somebody holds now.
    std::size_t LiveBlocks() const noexcept;
    std::size_t LiveBytes() const noexcept;

  private:
    static constexpr std::uint32_t kNoSlot = std::numeric_limits<std::uint32_t>::max();
    /// Unused bytes that are kept for large blocks to come. Getting megabytes from the system and touching
    /// them for the first time takes a good part of the time of decoding a picture into them.
    static constexpr std::size_t kSpareBytes = std::size_t{32} << 20;

    // A handle is generation << 32 | slot index + 1. The generation grows with every block that the slot has
    // held, so the handle of a freed block does not name its successor.
    struct Slot {
        std::uint8_t* bytes = nullptr;
        std::size_t size = 0;
        std::align_val_t alignment{1};
        std::uint32_t references = 0;
        std::uint32_t generation = 0;
        std::uint32_t nextFree = kNoSlot;
    };

    std::uint8_t* TakeBytes(std::size_t inBytes, std::align_val_t inAlignment) noexcept;
    void FreeBytes(const Slot& inSlot) noexcept;
    Slot* FindSlot(Vexmora::MemoryHandle inBlock) noexcept;
    const Slot* FindSlot(Vexmora::MemoryHandle inBlock) const noexcept;
    std::optional<Vexmora::MemoryHandle> Adopt(const Slot& inSlot) noexcept;

    PagePool mPages{kSpareBytes};
    mutable std::mutex mMutex;  // guards all below
    std::vector<Slot> mSlots;
    std::uint32_t mFirstFree = kNoSlot;
    std::size_t mLiveBlocks = 0;
    std::size_t mLiveBytes = 0;
};

}  // namespace VexmoraHost
