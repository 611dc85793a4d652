// The process's memory and block cache behind the library's function tables.
#include "memory/HostServices.h"

#include <limits>
#include <map>
#include <mutex>
#include <new>

#include "Vexmora/Vexmora.h"

namespace VexmoraHost {
namespace {

constexpr std::int32_t kDone = 0;
constexpr std::int32_t kFailed = -1;

// Identities that have been opened in this process and their cache ids, which count from 1. Any thread reads
// and writes it, under its lock.
struct CacheIds {
    std::mutex mutex;
    std::map<std::array<std::uint8_t, 16>, std::uint32_t> ids;
};

CacheIds& ProcessCacheIds() {
    static CacheIds& ids = *new CacheIds;
    return ids;
}

void AddBlock(std::uint32_t inCacheId, Vexmora::MemoryHandle inBlock, std::uint32_t inBlockNumber) {
    try {
        const BlockReference block(ProcessMemory(), inBlock);
        if (block.Block() == 0) return;
        ProcessBlockCache().Add({inCacheId, inBlockNumber}, block, ProcessMemory().Size(inBlock));
    } catch (const std::bad_alloc&) {
        // The block is not kept; it will be read again.
    }
}

std::int32_t FindBlock(std::uint32_t inCacheId, std::uint32_t inBlockNumber,
                       Vexmora::MemoryHandle* outBlock) {
    if (outBlock == nullptr) return kFailed;
    BlockReference block = ProcessBlockCache().Find({inCacheId, inBlockNumber});
    if (block.Block() == 0) return kFailed;
    *outBlock = block.Detach();
    return kDone;
}

std::int32_t AllocateBlock(Vexmora::MemoryHandle* outBlock, std::uint32_t inKind, std::uint32_t inSize,
                           std::uint32_t inAlignment) {
    if (outBlock == nullptr || inKind != Vexmora::kMemoryKind) return kFailed;
    const auto block = ProcessMemory().Allocate(inSize, inAlignment);
    if (!block) return kFailed;
    *outBlock = *block;
    return kDone;
}

void ReleaseBlock(Vexmora::MemoryHandle inBlock) {
    ProcessMemory().Release(inBlock);
}

std::int32_t BlockAddress(Vexmora::MemoryHandle inBlock, std::uint32_t inKind, std::uint8_t** outBytes) {
    if (outBytes == nullptr || inKind != Vexmora::kMemoryKind) return kFailed;
    std::uint8_t* const bytes = ProcessMemory().Address(inBlock);
    if (bytes == nullptr) return kFailed;
    *outBytes = bytes;
    return kDone;
}

constexpr Vexmora::BlockCacheTable kBlockCache = {nullptr, nullptr, AddBlock, FindBlock};
constexpr Vexmora::MemoryAllocatorTable kMemoryAllocator = {nullptr, AllocateBlock};
constexpr Vexmora::MemoryHandlesTable kMemoryHandles = {ReleaseBlock, BlockAddress};

}  // namespace

Memory& ProcessMemory() {
    static Memory& memory = *new Memory;
    return memory;
}

BlockCache& ProcessBlockCache() {
    static BlockCache& cache = *new BlockCache(kDefaultBlockCacheBytes);
    return cache;
}

FrameCache& ProcessFrameCache() {
    static FrameCache& cache = *new FrameCache(kDefaultFrameCacheBytes);
    return cache;
}

std::uint32_t CacheIdFor(const Guid& inIdentity) {
    CacheIds& known = ProcessCacheIds();
    const std::scoped_lock lock(known.mutex);
    if (known.ids.size() >= std::numeric_limits<std::uint32_t>::max()) return 0;
    const auto next = static_cast<std::uint32_t>(known.ids.size() + 1);
    return known.ids.try_emplace(inIdentity.bytes, next).first->second;
}

Vexmora::HostServices Services(std::uint32_t inCacheId) {
    return {&kBlockCache, &kMemoryAllocator, &kMemoryHandles, nullptr, nullptr, nullptr, inCacheId};
}

void DropFrames() noexcept {
    ProcessFrameCache().Clear();
}

void DropBlocks() noexcept {
    ProcessBlockCache().Clear();
}

Library::Library() {
    Vexmora_Startup();
}

Library::Library(const Library&) : Library() {}

Library::~Library() {
    Vexmora_Shutdown();
}

}  // namespace VexmoraHost
