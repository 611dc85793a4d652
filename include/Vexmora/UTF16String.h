// The string type of every path that crosses the interface, with its allocator.
//
//     const UTF16String path = Vexmora::ToUtf16Path("/films/a.ts");  // from bytes, see PathText.h
//     const UTF16String same = u"/films/a.ts";
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

    /// Room for inCount objects, none of them constructed.
    T* allocate(std::size_t inCount) {
        if (inCount > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
        return static_cast<T*>(::operator new (inCount * sizeof(T), std::align_val_t{alignof(T)}));
    }
    /// Gives back what any allocator of this kind, on either side of the boundary, allocated for the same
    /// type.
    void deallocate(T* inBlock, std::size_t) noexcept {
        ::operator delete (inBlock, std::align_val_t{alignof(T)});
    }

    /// All are alike: strings may be swapped and moved without a copy of their text.
    template <typename U>
    friend bool operator==(const SmallBlockAllocator&, const SmallBlockAllocator<U>&) noexcept {
        return true;
    }
};

}  // namespace Pavlin::utility

/// A path: code units in UTF-16, without a NUL within. One outside the basic plane takes two of them. Bytes
/// that are no UTF-8, which a path on Linux may hold, are lone surrogates; PathText.h says how, and converts
/// both ways.
///
/// The library copies a path that it is given and keeps none of the host's memory.
using UTF16String =
    std::basic_string<char16_t, std::char_traits<char16_t>, Pavlin::utility::SmallBlockAllocator<char16_t>>;
