// The record of function tables through which a host lends the library memory, a block cache and the place of
// its index files.
//
// The least that a host needs is memory: blocks with a name, an address and an owner.
//
//     int32_t Allocate(MemoryHandle* outBlock, uint32_t, uint32_t inSize, uint32_t inAlignment) {
//         *outBlock = reinterpret_cast<MemoryHandle>(std::aligned_alloc(inAlignment, RoundUp(inSize,
//         inAlignment))); return *outBlock != 0 ? 0 : -1;
//     }
//     int32_t Address(MemoryHandle inBlock, uint32_t, uint8_t** outBytes) {
//         *outBytes = reinterpret_cast<uint8_t*>(inBlock);
//         return 0;
//     }
//     void Release(MemoryHandle inBlock) { std::free(reinterpret_cast<void*>(inBlock)); }
//
// with which it may index through buffers, open files with an index that it holds (Vexmora_OpenFileWithIndex)
// and decode. A block cache (and a cacheId) lets several handles of a file share what they read, and reads
// ahead. The location of index files serves Vexmora_OpenFile and Vexmora_IndexFile, which find and write them
// by themselves.
//
// No function may throw. Tables that a host does not serve are null; with a null blockCache the cacheId is 0.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vexmora {

/// A block of host memory, named by the host: an address, an index, whatever finds it. The library only
/// passes it back; 0 is no block. Blocks are counted: whoever holds a reference releases it once.
using MemoryHandle = std::uint64_t;

/// The only kind of memory that the library asks for: bytes that the processor reads and writes.
inline constexpr std::uint32_t kMemoryKind = 2;

/// Shares the blocks of a media file between all its readers. Block n holds the bytes from n times the block
/// size on, which is the same for all readers of a file (at least 1 232 896 bytes); behind the end of the
/// file it is filled with zeros. Nobody writes to a block once it was offered. Called from decoding threads
/// and from the thread that completes a read-ahead, at once.
struct BlockCacheTable {
    void* reserved0;
    void* reserved1;
    /// Slot 2: offers a block that was read whole. The host takes a reference of its own if it keeps it, for
    /// the library releases its one afterwards; it may well keep nothing.
    void (*Add)(std::uint32_t inCacheId, MemoryHandle inBlock, std::uint32_t inBlockNumber);
    /// Slot 3: 0 when the block is cached; outBlock then carries a further reference that the library
    /// releases. Any other answer: the block is read from the file.
    std::int32_t (*Find)(std::uint32_t inCacheId, std::uint32_t inBlockNumber, MemoryHandle* outBlock);
};

/// Makes memory blocks: for coded pictures (16 bytes aligned, their size grows with the largest picture) and
/// for blocks of files (aligned for the disk). Called from any thread.
struct MemoryAllocatorTable {
    void* reserved0;
    /// Slot 1: a new block of inSize bytes, its address a multiple of inAlignment (a power of two), of any
    /// content, with one reference. 0 on success; else the export that asked answers Vexmora_Failure. The
    /// library releases the block through MemoryHandlesTable.
    std::int32_t (*Allocate)(MemoryHandle* outBlock, std::uint32_t inKind, std::uint32_t inSize,
                             std::uint32_t inAlignment);
};

/// Reaches and releases memory blocks. Called from any thread.
struct MemoryHandlesTable {
    /// Slot 0: gives back one reference.
    void (*Release)(MemoryHandle inBlock);
    /// Slot 1: the address of a block's first byte, the same as long as a reference is held. 0 on success.
    std::int32_t (*Address)(MemoryHandle inBlock, std::uint32_t inKind, std::uint8_t** outBytes);
};

/// Decides where index files live. All text is NUL-terminated, capacities count the NUL; a negative result is
/// a failure, any other success. Called only from within Vexmora_OpenFile and Vexmora_IndexFile, on the
/// thread that called those; inIndexFlag is what those were given.
///
/// Vexmora_OpenFile asks for the identity, then for a known file, and without one for the folder: there it
/// looks for the name of the media with "." and kIndexExtension behind it. Vexmora_IndexFile asks for the
/// folder, writes the file under a name of that kind that no file has, and registers it. A failure means for
/// the first that the media has no index, and Vexmora_IndexNotWritten for the second.
struct IndexLocationTable {
    /// Slot 0: the folder in which the index file of this media belongs; inCapacity counts char16_t.
    std::int32_t (*GetIndexFolder)(const char16_t* inMediaPath, std::uint32_t inCapacity,
                                   char16_t* outFolder);
    /// Slot 1: two texts that identify the content of the media file: one that only the host reads (39 bytes)
    /// and the text of a Guid (37 bytes), which the index file carries: another Guid is another file's index.
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
    /// Low 32 bits: the identifier under which the file's blocks are cached; 0 means no block cache. Handles
    /// with the same one, and the same index, also share what they find out about the file.
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
