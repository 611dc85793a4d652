// The string type of every path that crosses the interface, with its allocator.
#pragma once

#include <cstddef>
#include <new>
#include <string>

namespace Pavlin::utility {

/// Stateless allocator for small strings and containers. Blocks come from the process's one heap, whose
/// per-thread cache serves small sizes without a lock, so a block may be freed on either side of the
/// library's boundary. Throws std::bad_alloc like any allocator.
template <typename T>
class SmallBlockAllocator {
  public:
    using value_type = T;

    SmallBlockAllocator() noexcept = default;
    template <typename U>
    SmallBlockAllocator(const SmallBlockAllocator<U>&) noexcept {}  // NOLINT: rebinding is implicit

    T* allocate(std::size_t inCount) {
        if (inCount > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
        return static_cast<T*>(::operator new (inCount * sizeof(T), std::align_val_t{alignof(T)}));
    }
    void deallocate(T* inBlock, std::size_t) noexcept {
        ::operator delete (inBlock, std::align_val_t{alignof(T)});
    }

    template <typename U>
    friend bool operator==(const SmallBlockAllocator&, const SmallBlockAllocator<U>&) noexcept {
        return true;
    }
};

}  // namespace Pavlin::utility

/// A path: 16-bit code units in UTF-16.
using UTF16String =
    std::basic_string<char16_t, std::char_traits<char16_t>, Pavlin::utility::SmallBlockAllocator<char16_t>>;
