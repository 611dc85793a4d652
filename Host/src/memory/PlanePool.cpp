// Recycling of plane memory: unused blocks are found by their exact size, the warmest first.
#include "memory/PlanePool.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace VexmoraHost {

PlaneMemory& PlaneMemory::operator=(PlaneMemory&& ioOther) noexcept {
    if (this != &ioOther) {
        GiveBack();
        mPool = std::exchange(ioOther.mPool, nullptr);
        mBlock = ioOther.mBlock;
    }
    return *this;
}

std::uint8_t* PlaneMemory::Bytes() const {
    return mPool == nullptr ? nullptr : mBlock.bytes;
}

std::size_t PlaneMemory::Size() const {
    return mPool == nullptr ? 0 : mBlock.size;
}

void PlaneMemory::GiveBack() noexcept {
    if (mPool != nullptr) std::exchange(mPool, nullptr)->Accept(mBlock);
}

PlanePool::PlanePool(Memory& ioMemory, std::size_t inSpareBytes)
    : mMemory(ioMemory), mSpareLimit(inSpareBytes) {}

PlanePool::~PlanePool() {
    Clear();
}

PlaneMemory PlanePool::Take(std::size_t inBytes) {
    {
        const std::scoped_lock lock(mMutex);
        const auto found = std::find_if(mSpare.rbegin(), mSpare.rend(),
                                        [&](const Block& inBlock) { return inBlock.size == inBytes; });
        if (found != mSpare.rend()) {
            const Block block = *found;
            mSpare.erase(std::next(found).base());
            mSpareBytes -= block.size;
            return {*this, block};
        }
    }
    const auto handle = mMemory.Allocate(inBytes, kAlignment);
    if (!handle) throw std::bad_alloc();
    return {*this, {*handle, mMemory.Address(*handle), inBytes}};
}

void PlanePool::Clear() noexcept {
    std::vector<Block> unused;
    {
        const std::scoped_lock lock(mMutex);
        unused.swap(mSpare);
        mSpareBytes = 0;
    }
    for (const Block& block : unused) mMemory.Release(block.handle);
}

std::size_t PlanePool::SpareBytes() const noexcept {
    const std::scoped_lock lock(mMutex);
    return mSpareBytes;
}

// Makes room by freeing what has lain unused for longest; seldom, for a full cache gives back what is taken.
void PlanePool::Accept(const Block& inBlock) noexcept {
    const std::scoped_lock lock(mMutex);
    if (inBlock.size > mSpareLimit) {
        mMemory.Release(inBlock.handle);
        return;
    }
    while (mSpareBytes + inBlock.size > mSpareLimit) {
        mSpareBytes -= mSpare.front().size;
        mMemory.Release(mSpare.front().handle);
        mSpare.erase(mSpare.begin());
    }
    try {
        mSpare.push_back(inBlock);
        mSpareBytes += inBlock.size;
    } catch (const std::bad_alloc&) {
        mMemory.Release(inBlock.handle);
    }
}

}  // namespace VexmoraHost
