// The blocks of media files that were read lately, shared by all readers of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include "Vexmora/HostServices.h"
#include "memory/LruCache.h"
#include "memory/Memory.h"

namespace VexmoraHost {

/// Which block of which file.
struct BlockKey {
    /// See CacheIdFor.
    std::uint32_t cacheId = 0;
    std::uint32_t number = 0;

    friend bool operator==(const BlockKey&, const BlockKey&) = default;
    std::size_t Hash() const noexcept {
        return std::hash<std::uint64_t>()(std::uint64_t{cacheId} << 32 | number);
    }
};

/// Holds one reference to a block of memory, or none.
class BlockReference {
  public:
    BlockReference() = default;
    /// Takes a reference of its own; none when there is no such block.
    BlockReference(Memory& ioMemory, Vexmora::MemoryHandle inBlock) noexcept
        : mMemory(&ioMemory), mBlock(ioMemory.AddReference(inBlock) ? inBlock : 0) {}
    BlockReference(const BlockReference& inOther) noexcept
        : mMemory(inOther.mMemory),
          mBlock(inOther.mBlock != 0 && mMemory->AddReference(inOther.mBlock) ? inOther.mBlock : 0) {}
    BlockReference& operator=(const BlockReference&) = delete;
    ~BlockReference() {
        if (mBlock != 0) mMemory->Release(mBlock);
    }

    /// 0 when there is none.
    Vexmora::MemoryHandle Block() const { return mBlock; }
    /// Leaves the reference to the caller, who releases it.
    Vexmora::MemoryHandle Detach() noexcept { return std::exchange(mBlock, 0); }

  private:
    Memory* mMemory = nullptr;
    Vexmora::MemoryHandle mBlock = 0;
};

using BlockCache = LruCache<BlockKey, BlockReference>;

}  // namespace VexmoraHost
