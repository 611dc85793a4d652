// A host with a block cache, whose blocks are of exactly the size asked for and counted, that remembers what
// it was asked and fails on demand.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

#include "Vexmora/HostServices.h"

namespace Vexmora::Test {

/// One at a time per process; any thread. Declared before whatever uses it, it checks at its end that every
/// reference was given back.
class CountingHost {
  public:
    enum class Fault { None, AllocateFails, AddressFails };

    CountingHost() { sHost = this; }
    ~CountingHost() {
        DropCache();
        EXPECT_EQ(mReferences.size(), 0U) << "blocks were never released";
        sHost = nullptr;
    }

    HostServices Services(std::uint32_t inCacheId) const {
        static constexpr BlockCacheTable kCache{nullptr, nullptr, Add, Find};
        static constexpr MemoryAllocatorTable kAllocator{nullptr, Allocate};
        static constexpr MemoryHandlesTable kHandles{Release, Address};
        return {&kCache, &kAllocator, &kHandles, nullptr, nullptr, nullptr, inCacheId};
    }
    void SetFault(Fault inFault) {
        const std::lock_guard lock(mMutex);
        mFault = inFault;
    }
    void DropCache() {
        const std::lock_guard lock(mMutex);
        for (const auto& [number, handle] : mCached) Drop(handle);
        mCached.clear();
    }
    /// Block numbers in the order in which they were looked for, and those in the cache.
    std::vector<std::uint32_t> Asked() const {
        const std::lock_guard lock(mMutex);
        return mAsked;
    }
    std::vector<std::uint32_t> Cached() const {
        const std::lock_guard lock(mMutex);
        std::vector<std::uint32_t> numbers;
        for (const auto& [number, handle] : mCached) numbers.push_back(number);
        return numbers;
    }

  private:
    static std::int32_t Allocate(MemoryHandle* outBlock, std::uint32_t inKind, std::uint32_t inSize,
                                 std::uint32_t inAlignment) {
        const std::lock_guard lock(sHost->mMutex);
        void* block = nullptr;
        if (sHost->mFault == Fault::AllocateFails || inKind != kMemoryKind) return -1;
        if (posix_memalign(&block, inAlignment, inSize) != 0) return -1;
        std::memset(block, 0xEE, inSize);  // no byte of it may be taken for the file's
        *outBlock = reinterpret_cast<MemoryHandle>(block);
        sHost->mReferences[*outBlock] = 1;
        return 0;
    }
    static void Release(MemoryHandle inBlock) {
        const std::lock_guard lock(sHost->mMutex);
        sHost->Drop(inBlock);
    }
    static std::int32_t Address(MemoryHandle inBlock, std::uint32_t, std::uint8_t** outBytes) {
        const std::lock_guard lock(sHost->mMutex);
        if (sHost->mFault == Fault::AddressFails) return -1;
        *outBytes = reinterpret_cast<std::uint8_t*>(inBlock);
        return 0;
    }
    static void Add(std::uint32_t, MemoryHandle inBlock, std::uint32_t inNumber) {
        const std::lock_guard lock(sHost->mMutex);
        if (sHost->mCached.emplace(inNumber, inBlock).second) ++sHost->mReferences.at(inBlock);
    }
    static std::int32_t Find(std::uint32_t, std::uint32_t inNumber, MemoryHandle* outBlock) {
        const std::lock_guard lock(sHost->mMutex);
        sHost->mAsked.push_back(inNumber);
        const auto found = sHost->mCached.find(inNumber);
        if (found == sHost->mCached.end()) return -1;
        ++sHost->mReferences.at(found->second);
        *outBlock = found->second;
        return 0;
    }
    void Drop(MemoryHandle inBlock) {
        if (--mReferences.at(inBlock) != 0) return;
        mReferences.erase(inBlock);
        std::free(reinterpret_cast<void*>(inBlock));
    }

    mutable std::mutex mMutex;
    Fault mFault = Fault::None;
    std::map<MemoryHandle, int> mReferences;
    std::map<std::uint32_t, MemoryHandle> mCached;
    std::vector<std::uint32_t> mAsked;
    inline static CountingHost* sHost = nullptr;
};

}  // namespace Vexmora::Test
