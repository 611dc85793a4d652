// The counted heap.
#include "Orvet/Allocator.h"

#include <atomic>
#include <new>

namespace Orvet {
namespace {

// Written by every allocation and release; a statistic, so it orders nothing.
std::atomic<std::size_t> gLiveBlocks{0};

}  // namespace

void* Allocator::Allocate(std::size_t inBytes) {
    void* block = ::operator new(inBytes);
    gLiveBlocks.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void Allocator::Free(void* inBlock) noexcept {
    if (inBlock == nullptr) return;
    gLiveBlocks.fetch_sub(1, std::memory_order_relaxed);
    ::operator delete(inBlock);
}

std::size_t Allocator::LiveCount() noexcept {
    return gLiveBlocks.load(std::memory_order_relaxed);
}

}  // namespace Orvet
