// Memory for small control blocks, counted so that a leak can be seen.
#pragma once

#include <cstddef>

namespace Orvet::Allocator {

/// inBytes bytes aligned for any basic type; give them back with Free. Throws std::bad_alloc. Any thread.
[[nodiscard]] void* Allocate(std::size_t inBytes);

/// Frees a block of Allocate; null is ignored. Any thread.
void Free(void* inBlock) noexcept;

/// Blocks allocated and not yet freed in this process.
std::size_t LiveCount() noexcept;

}  // namespace Orvet::Allocator
