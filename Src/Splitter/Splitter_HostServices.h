// The process-wide table of host functions that all file readers share, and the memory blocks that come from
// it.
#pragma once

#include <cstdint>
#include <utility>

#include "Vexmora/HostServices.h"

namespace Vexmora {

/// Makes inServices' block cache and memory functions those of the process, in place of the ones before. Any
/// thread, at any time: all handles of a process are expected to bring the same functions.
void SetProcessHostServices(const HostServices& inServices);

/// One reference to a block of the host's memory, given back when this goes. All calls use the functions that
/// are the process's at that time; functions that are missing fail.
class HostBlock {
  public:
    /// No block.
    HostBlock() = default;
    /// Takes over a reference that Detach gave away.
    explicit HostBlock(MemoryHandle inHandle) : mHandle(inHandle) {}
    ~HostBlock() { Release(); }
    HostBlock(const HostBlock&) = delete;
    HostBlock& operator=(const HostBlock&) = delete;

    /// Releases the block held and asks the host for a new one. False, with no block held, when there is
    /// none.
    [[nodiscard]] bool Allocate(std::uint32_t inSize, std::uint32_t inAlignment);
    /// Releases the block held and looks for a cached one; its address is not known yet. False, with no block
    /// held, when it is not cached.
    [[nodiscard]] bool Find(std::uint32_t inCacheId, std::uint32_t inBlockNumber);
    /// Asks for the address of the block held. False when the host does not give it.
    [[nodiscard]] bool TakeAddress();
    /// Offers the block held to the host's cache.
    void AddToCache(std::uint32_t inCacheId, std::uint32_t inBlockNumber) const;
    void Release();

    /// The first byte, null before TakeAddress.
    std::uint8_t* Data() const { return mData; }
    MemoryHandle Handle() const { return mHandle; }
    /// Gives the reference away unreleased.
    void Detach() {
        mHandle = 0;
        mData = nullptr;
    }

  private:
    MemoryHandle mHandle = 0;
    std::uint8_t* mData = nullptr;
};

}  // namespace Vexmora
