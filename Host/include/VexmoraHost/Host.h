// What the movies of a process share: the library's start-up, and caches with budgets.
#pragma once

#include <cstddef>

namespace VexmoraHost {

/// Bytes that the block cache of the process may keep unless told otherwise.
inline constexpr std::size_t kDefaultBlockCacheBytes = std::size_t{128} << 20;

/// Bytes that the frame cache of the process may keep unless told otherwise: 77 pictures of 1920x1080.
inline constexpr std::size_t kDefaultFrameCacheBytes = std::size_t{256} << 20;

/// Drops the decoded pictures, and the blocks of files too, that the process keeps. What is in use stays with
/// who uses it. Any thread.
void DropFrames() noexcept;
void DropBlocks() noexcept;

/// Keeps the library started up for its lifetime; may be nested. Every movie has one.
class Library {
  public:
    Library();
    ~Library();
    Library(const Library&);
    Library& operator=(const Library&) = default;
};

}  // namespace VexmoraHost
