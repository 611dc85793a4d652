// Ownership of one block of the host's memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "memory/Memory.h"

namespace VexmoraHost {

/// A block that is released with its owner.
class MemoryBlock {
  public:
    /// The address of every block is a multiple of this.
    static constexpr std::size_t kAlignment = 64;

    /// No block.
    MemoryBlock() = default;
    /// A block of inBytes (not 0) bytes of unspecified content. ioMemory outlives it. Throws std::bad_alloc.
    MemoryBlock(Memory& ioMemory, std::size_t inBytes) : mMemory(&ioMemory), mSize(inBytes) {
        const auto handle = ioMemory.Allocate(inBytes, kAlignment);
        if (!handle) throw std::bad_alloc();
        mHandle = *handle;
        mBytes = ioMemory.Address(mHandle);
    }
    ~MemoryBlock() {
        if (mMemory != nullptr) mMemory->Release(mHandle);
    }
    MemoryBlock(MemoryBlock&& ioOther) noexcept { *this = std::move(ioOther); }
    MemoryBlock& operator=(MemoryBlock&& ioOther) noexcept {
        std::swap(mMemory, ioOther.mMemory);
        std::swap(mHandle, ioOther.mHandle);
        std::swap(mBytes, ioOther.mBytes);
        std::swap(mSize, ioOther.mSize);
        return *this;
    }
    MemoryBlock(const MemoryBlock&) = delete;
    MemoryBlock& operator=(const MemoryBlock&) = delete;

    /// Null when there is none.
    std::uint8_t* Bytes() const { return mBytes; }
    std::size_t Size() const { return mSize; }

  private:
    Memory* mMemory = nullptr;
    Vexmora::MemoryHandle mHandle = 0;
    std::uint8_t* mBytes = nullptr;
    std::size_t mSize = 0;
};

}  // namespace VexmoraHost
