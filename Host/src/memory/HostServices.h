// What this process lends to the library: memory, a block cache and the place of index files.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Vexmora/HostServices.h"
#include "VexmoraHost/Host.h"
#include "index/MediaIdentity.h"
#include "memory/BlockCache.h"
#include "memory/FrameCache.h"
#include "memory/Memory.h"

namespace VexmoraHost {

/// The memory and the block cache behind Services, one of each in the process. They are never destroyed: the
/// library may release a block at any time before the process ends.
Memory& ProcessMemory();
BlockCache& ProcessBlockCache();

/// The decoded pictures of all movies of the process. Never destroyed either: pictures may outlive the movie
/// that they came from.
FrameCache& ProcessFrameCache();

/// The identifier under which the blocks of this content are cached in this process: the same for the same
/// identity, never 0 (0, no caching, only after 2^32 - 1 different files). Throws std::bad_alloc.
std::uint32_t CacheIdFor(const Guid& inIdentity);

/// The function tables to open files with, the same for all handles of the process. There are none for the
/// location of index files: the host indexes files itself and opens them with what it knows.
/// @param inCacheId of the file to open; 0 for no block cache.
Vexmora::HostServices Services(std::uint32_t inCacheId = 0);

}  // namespace VexmoraHost
