// The process-wide table of host functions and the calls through it.
#include "Splitter/Splitter_HostServices.h"

#include <atomic>

namespace Vexmora {
namespace {

// Written by every splitter that is made, read by all file readers and by the threads that complete their
// read-aheads; no lock, since each table is whole by itself.
struct ProcessHostServices {
    std::atomic<const BlockCacheTable*> blockCache{nullptr};
    std::atomic<const MemoryAllocatorTable*> memoryAllocator{nullptr};
    std::atomic<const MemoryHandlesTable*> memoryHandles{nullptr};
};
ProcessHostServices gServices;

}  // namespace

void SetProcessHostServices(const HostServices& inServices) {
    gServices.blockCache = inServices.blockCache;
    gServices.memoryAllocator = inServices.memoryAllocator;
    gServices.memoryHandles = inServices.memoryHandles;
}

bool HostBlock::Allocate(std::uint32_t inSize, std::uint32_t inAlignment) {
    Release();
    const MemoryAllocatorTable* allocator = gServices.memoryAllocator;
    // Without the one table a block could not be made, without the other not released.
    if (allocator == nullptr || gServices.memoryHandles == nullptr) return false;
    if (allocator->Allocate(&mHandle, kMemoryKind, inSize, inAlignment) != 0) Detach();
    return mHandle != 0;
}

bool HostBlock::Find(std::uint32_t inCacheId, std::uint32_t inBlockNumber) {
    Release();
    const BlockCacheTable* cache = gServices.blockCache;
    if (cache == nullptr) return false;
    if (cache->Find(inCacheId, inBlockNumber, &mHandle) != 0) Detach();
    return mHandle != 0;
}

bool HostBlock::TakeAddress() {
    const MemoryHandlesTable* handles = gServices.memoryHandles;
    return handles != nullptr && handles->Address(mHandle, kMemoryKind, &mData) == 0 && mData != nullptr;
}

void HostBlock::AddToCache(std::uint32_t inCacheId, std::uint32_t inBlockNumber) const {
    const BlockCacheTable* cache = gServices.blockCache;
    if (cache != nullptr) cache->Add(inCacheId, mHandle, inBlockNumber);
}

void HostBlock::Release() {
    const MemoryHandlesTable* handles = gServices.memoryHandles;
    if (mHandle != 0 && handles != nullptr) handles->Release(mHandle);
    Detach();
}

}  // namespace Vexmora
