// Recycling of pages: unused blocks are found by their exact size, the warmest first.
#include "memory/PagePool.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>

#include "system/Posix.h"

namespace VexmoraHost {

PagePool::PagePool(std::size_t inSpareBytes) : mSpareLimit(inSpareBytes) {
    mSpare.reserve(kMostSpareBlocks);
}

PagePool::~PagePool() {
    for (const Block& block : mSpare) Posix::UnmapPages(block.bytes, block.size);
}

std::uint8_t* PagePool::Take(std::size_t inBytes, std::size_t inAlignment) noexcept {
    const std::size_t size = Posix::WholePages(inBytes);
    {
        const std::scoped_lock lock(mMutex);
        const auto found = std::find_if(mSpare.rbegin(), mSpare.rend(), [&](const Block& inBlock) {
            return inBlock.size == size && reinterpret_cast<std::uintptr_t>(inBlock.bytes) % inAlignment == 0;
        });
        if (found != mSpare.rend()) {
            std::uint8_t* const bytes = found->bytes;
            mSpare.erase(std::next(found).base());
            mSpareBytes -= size;
            return bytes;
        }
    }
    return Posix::MapPages(size, inAlignment);
}

void PagePool::GiveBack(std::uint8_t* inBlock, std::size_t inBytes) noexcept {
    const Block back = {inBlock, Posix::WholePages(inBytes)};
    if (back.size > mSpareLimit) return Posix::UnmapPages(back.bytes, back.size);
    std::array<Block, kMostSpareBlocks> displaced;  // unmapped after the lock is given up: that takes time
    std::size_t count = 0;
    {
        const std::scoped_lock lock(mMutex);
        while (mSpare.size() == kMostSpareBlocks || mSpareBytes + back.size > mSpareLimit) {
            displaced[count] = mSpare.front();
            mSpareBytes -= displaced[count++].size;
            mSpare.erase(mSpare.begin());
        }
        mSpare.push_back(back);
        mSpareBytes += back.size;
    }
    for (const Block& block : std::span(displaced).first(count)) Posix::UnmapPages(block.bytes, block.size);
}

std::size_t PagePool::SpareBytes() const noexcept {
    const std::scoped_lock lock(mMutex);
    return mSpareBytes;
}

}  // namespace VexmoraHost
