// Counted memory blocks: a table of slots, the free ones chained.
#include "memory/Memory.h"

#include <bit>
#include <utility>

namespace VexmoraHost {
namespace {

#if !defined(__has_feature)
#define __has_feature(inName) 0  // GCC's sanitizers are not used
#endif

// What is as large as this comes in pages, but where a sanitizer watches what comes from the allocator.
constexpr std::size_t kLeastBytesInPages =
    __has_feature(address_sanitizer) ? std::numeric_limits<std::size_t>::max() : std::size_t{128} << 10;

}  // namespace

Memory::~Memory() {
    for (const Slot& slot : mSlots) {
        if (slot.references > 0) FreeBytes(slot);
    }
}

std::uint8_t* Memory::TakeBytes(std::size_t inBytes, std::align_val_t inAlignment) noexcept {
    if (inBytes >= kLeastBytesInPages) return mPages.Take(inBytes, static_cast<std::size_t>(inAlignment));
    return static_cast<std::uint8_t*>(::operator new(inBytes, inAlignment, std::nothrow));
}

void Memory::FreeBytes(const Slot& inSlot) noexcept {
    if (inSlot.size >= kLeastBytesInPages) return mPages.GiveBack(inSlot.bytes, inSlot.size);
    ::operator delete(inSlot.bytes, inSlot.alignment);
}

std::optional<Vexmora::MemoryHandle> Memory::Allocate(std::size_t inBytes, std::size_t inAlignment) noexcept {
    if (inBytes == 0 || !std::has_single_bit(inAlignment)) return std::nullopt;
    Slot slot;
    slot.size = inBytes;
    slot.alignment = std::align_val_t{inAlignment};
    slot.references = 1;
    slot.bytes = TakeBytes(inBytes, slot.alignment);
    if (slot.bytes == nullptr) return std::nullopt;
    const auto handle = Adopt(slot);
    if (!handle) FreeBytes(slot);
    return handle;
}

std::optional<Vexmora::MemoryHandle> Memory::Adopt(const Slot& inSlot) noexcept {
    const std::scoped_lock lock(mMutex);
    if (mFirstFree == kNoSlot) {
        if (mSlots.size() >= kNoSlot) return std::nullopt;
        try {
            mSlots.emplace_back();
        } catch (const std::bad_alloc&) {
            return std::nullopt;
        }
        mFirstFree = static_cast<std::uint32_t>(mSlots.size() - 1);
    }
    const std::uint32_t index = mFirstFree;
    Slot& slot = mSlots[index];
    mFirstFree = slot.nextFree;
    const std::uint32_t generation = slot.generation + 1;
    slot = inSlot;
    slot.generation = generation;
    ++mLiveBlocks;
    mLiveBytes += slot.size;
    return Vexmora::MemoryHandle{generation} << 32 | (Vexmora::MemoryHandle{index} + 1);
}

const Memory::Slot* Memory::FindSlot(Vexmora::MemoryHandle inBlock) const noexcept {
    const Vexmora::MemoryHandle number = inBlock & 0xFFFFFFFF;
    if (number == 0 || number > mSlots.size()) return nullptr;
    const Slot& slot = mSlots[number - 1];
    return slot.references > 0 && slot.generation == inBlock >> 32 ? &slot : nullptr;
}

Memory::Slot* Memory::FindSlot(Vexmora::MemoryHandle inBlock) noexcept {
    return const_cast<Slot*>(std::as_const(*this).FindSlot(inBlock));
}

bool Memory::AddReference(Vexmora::MemoryHandle inBlock) noexcept {
    const std::scoped_lock lock(mMutex);
    Slot* const slot = FindSlot(inBlock);
    if (slot == nullptr || slot->references == std::numeric_limits<std::uint32_t>::max()) return false;
    ++slot->references;
    return true;
}

bool Memory::Release(Vexmora::MemoryHandle inBlock) noexcept {
    Slot unused;
    {
        const std::scoped_lock lock(mMutex);
        Slot* const slot = FindSlot(inBlock);
        if (slot == nullptr) return false;
        if (--slot->references > 0) return true;
        unused = *slot;
        slot->bytes = nullptr;
        --mLiveBlocks;
        mLiveBytes -= slot->size;
        slot->nextFree = std::exchange(mFirstFree, static_cast<std::uint32_t>(slot - mSlots.data()));
    }
    FreeBytes(unused);  // giving pages back takes time: not under the lock
    return true;
}

std::uint8_t* Memory::Address(Vexmora::MemoryHandle inBlock) const noexcept {
    const std::scoped_lock lock(mMutex);
    const Slot* const slot = FindSlot(inBlock);
    return slot == nullptr ? nullptr : slot->bytes;
}

std::size_t Memory::Size(Vexmora::MemoryHandle inBlock) const noexcept {
    const std::scoped_lock lock(mMutex);
    const Slot* const slot = FindSlot(inBlock);
    return slot == nullptr ? 0 : slot->size;
}

std::size_t Memory::LiveBlocks() const noexcept {
    const std::scoped_lock lock(mMutex);
    return mLiveBlocks;
}

std::size_t Memory::LiveBytes() const noexcept {
    const std::scoped_lock lock(mMutex);
    return mLiveBytes;
}

}  // namespace VexmoraHost
