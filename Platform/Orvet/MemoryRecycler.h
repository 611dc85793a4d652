// Large read buffers that are kept for the next user instead of going back to the system.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace Orvet {

/// The process's store of used buffers: at most kMaxKeptBuffers of them and kMaxKeptBytes together. Any
/// thread may call it.
class MemoryRecycler {
  public:
    static constexpr std::size_t kMaxKeptBuffers = 2;
    static constexpr std::size_t kMaxKeptBytes = std::size_t{64} << 20;

    /// Page-aligned memory with unspecified contents; movable. One that is destroyed instead of recycled
    /// frees its memory.
    class Buffer {
      public:
        Buffer() = default;
        /// First byte, aligned to a memory page; null for an empty Buffer.
        std::byte* Data() const { return mMemory.get(); }
        /// Bytes that may be used; at least what was asked for.
        std::size_t Size() const { return mMemory ? mMemory.get_deleter().size : 0; }
        explicit operator bool() const { return mMemory != nullptr; }

      private:
        friend class MemoryRecycler;
        struct Free {
            std::size_t size;
            Free() noexcept : size(0) {}
            explicit Free(std::size_t inSize) noexcept : size(inSize) {}
            void operator()(std::byte* inMemory) const noexcept;
        };
        std::unique_ptr<std::byte, Free> mMemory;
    };

    static MemoryRecycler& Instance();

    /// A buffer of at least inSize bytes, a kept one if one fits without wasting half of it. Throws
    /// std::bad_alloc.
    Buffer GetBuffer(std::size_t inSize);
    /// Takes a buffer back; the least recently returned ones are freed when there is too much. An empty one
    /// is ignored.
    void RecycleBuffer(Buffer inBuffer) noexcept;

    /// Bytes held for reuse now.
    std::size_t KeptBytes() const;
    /// Frees everything held for reuse.
    void Trim() noexcept;

  private:
    MemoryRecycler();

    mutable std::mutex mMutex;
    std::vector<Buffer> mKept;  // least recently returned first; never grows past its first reservation
};

}  // namespace Orvet
