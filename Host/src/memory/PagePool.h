// Large blocks of memory straight from the system, used again and again within a bound.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace VexmoraHost {

/// Lends blocks of whole pages. The general allocator has a heap for each thread and keeps there, resident,
/// what large blocks leave behind: ten times what is in use, when several threads share blocks. What comes
/// back here is lent again or goes to the system. Any thread may call any function; the pool outlives what it
/// lends.
class PagePool {
  public:
    /// @param inSpareBytes bytes of unused blocks that are kept at most.
    explicit PagePool(std::size_t inSpareBytes);
    /// Frees the unused blocks.
    ~PagePool();
    PagePool(const PagePool&) = delete;
    PagePool& operator=(const PagePool&) = delete;

    /// inBytes (not 0) bytes of unspecified content, their address a multiple of inAlignment (a power of
    /// two). Null when there is no memory.
    std::uint8_t* Take(std::size_t inBytes, std::size_t inAlignment) noexcept;
    /// @param inBytes as many as Take was asked for.
    void GiveBack(std::uint8_t* inBlock, std::size_t inBytes) noexcept;
    /// Bytes of unused blocks kept now.
    std::size_t SpareBytes() const noexcept;

  private:
    static constexpr std::size_t kMostSpareBlocks = 64;

    struct Block {
        std::uint8_t* bytes = nullptr;
        std::size_t size = 0;  // whole pages
    };

    const std::size_t mSpareLimit;
    mutable std::mutex mMutex;  // guards all below
    std::vector<Block> mSpare;  // the one given back last at the end; never grows past its first reservation
    std::size_t mSpareBytes = 0;
};

}  // namespace VexmoraHost
