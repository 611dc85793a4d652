// The record of function tables through which a host lends the library memory, a block cache and the place of
// its index files.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vexmora {

/// A block of host memory, named by the host. The library only passes it back; 0 is no block.
using MemoryHandle = std::uint64_t;

/// The only kind of memory that the library asks for.
inline constexpr std::uint32_t kMemoryKind = 2;

/// Shares the blocks of a media file between all its readers. Called from decoding threads and from the
/// thread that completes a read-ahead, at once.
struct BlockCacheTable {
    void* reserved0;
    void* reserved1;
    /// Slot 2: offers a block that was read whole. The host takes a reference of its own if it keeps it.
    void (*Add)(std::uint32_t inCacheId, MemoryHandle inBlock, std::uint32_t inBlockNumber);
    /// Slot 3: 0 when the block is cached; outBlock then carries a reference that the library releases.
    std::int32_t (*Find)(std::uint32_t inCacheId, std::uint32_t inBlockNumber, MemoryHandle* outBlock);
};

/// Makes memory blocks.
struct MemoryAllocatorTable {
    void* reserved0;
    /// Slot 1: a new block of inSize bytes, its address a multiple of inAlignment (a power of two). 0 on
    /// success. The library releases the block through MemoryHandlesTable.
    std::int32_t (*Allocate)(MemoryHandle* outBlock, std::uint32_t inKind, std::uint32_t inSize,
                             std::uint32_t inAlignment);
};

/// Reaches and releases memory blocks. Called from any thread.
struct MemoryHandlesTable {
    /// Slot 0: gives back one reference.
    void (*Release)(MemoryHandle inBlock);
    /// Slot 1: the address of a block's bytes, valid while a reference is held. 0 on success.
    std::int32_t (*Address)(MemoryHandle inBlock, std::uint32_t inKind, std::uint8_t** outBytes);
};

/// Decides where index files live. All text is NUL-terminated; a negative result is a failure. Called only
/// from within Vexmora_OpenFile and Vexmora_IndexFile, on the thread that called those.
struct IndexLocationTable {
    /// Slot 0: the folder in which the index file of this media belongs; inCapacity counts char16_t.
    std::int32_t (*GetIndexFolder)(const char16_t* inMediaPath, std::uint32_t inCapacity,
                                   char16_t* outFolder);
    /// Slot 1: two texts that identify the media file: one that only the host reads (39 bytes) and the text
    /// of a Guid (37 bytes).
    std::int32_t (*GetMediaIdentity)(const char16_t* inMediaPath, std::uint32_t inIndexFlag,
                                     char* outIdentityText, char* outGuidText);
    /// Slot 2: records where the index of this media was written; inExtension is kIndexExtension.
    std::int32_t (*RegisterIndexFile)(const char* inIdentityText, const char* inGuidText,
                                      const char16_t* inIndexPath, const char16_t* inExtension,
                                      const char16_t* inMediaPath);
    /// Slot 3: the path of a known index file for this identity; inCapacity counts char16_t.
    std::int32_t (*FindIndexFile)(std::uint32_t inCapacity, char16_t* outIndexPath,
                                  const char* inIdentityText, const char* inGuidText,
                                  const char16_t* inExtension);
};

/// Capacities of the texts above, terminating NUL included.
inline constexpr std::uint32_t kIndexPathCapacity = 2048;
inline constexpr std::uint32_t kIdentityTextCapacity = 39;
inline constexpr std::uint32_t kGuidTextCapacity = 37;

/// The extension of the names of index files, without its dot.
inline constexpr char16_t kIndexExtension[] = u"mpgindex";

/// What a host passes to every open. The library copies the record; the host keeps the tables alive until its
/// last handle is closed and any read-ahead has completed. All handles of a process get the same tables.
struct HostServices {
    const BlockCacheTable* blockCache;
    const MemoryAllocatorTable* memoryAllocator;
    const MemoryHandlesTable* memoryHandles;
    void* reserved3;
    const IndexLocationTable* indexLocation;
    void* reserved5;
    /// Low 32 bits: the identifier under which the file's blocks are cached; 0 means no block cache.
    std::uint64_t cacheId;
};

static_assert(sizeof(HostServices) == 56 && offsetof(HostServices, cacheId) == 48);
static_assert(offsetof(BlockCacheTable, Add) == 16 && offsetof(BlockCacheTable, Find) == 24);
static_assert(offsetof(MemoryAllocatorTable, Allocate) == 8);
static_assert(offsetof(MemoryHandlesTable, Release) == 0 && offsetof(MemoryHandlesTable, Address) == 8);
static_assert(offsetof(IndexLocationTable, GetIndexFolder) == 0);
static_assert(offsetof(IndexLocationTable, GetMediaIdentity) == 8);
static_assert(offsetof(IndexLocationTable, RegisterIndexFile) == 16);
static_assert(offsetof(IndexLocationTable, FindIndexFile) == 24);

}  // namespace Vexmora
