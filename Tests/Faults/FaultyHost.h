// A host whose every call may fail: the memory and the block cache of the reference host, index files in a
// folder of the test.
#pragma once

#include <atomic>

#include "Faults/FaultPlan.h"
#include "Support/FolderHost.h"
#include "memory/BlockCache.h"
#include "memory/Memory.h"

namespace Vexmora::Test {

/// One at a time per process; any thread. Calls that fail do so in two ways in turn: with a status, or with
/// a success that brings nothing.
class FaultyHost {
  public:
    /// @param inCacheId 0: there is no block cache, and nothing is read ahead.
    FaultyHost(const std::filesystem::path& inFolder, std::uint32_t inCacheId)
        : mLocation(inFolder), mCacheId(inCacheId) {
        sHost = this;
    }
    ~FaultyHost() { sHost = nullptr; }
    FaultyHost(const FaultyHost&) = delete;
    FaultyHost& operator=(const FaultyHost&) = delete;

    HostServices Services() const {
        static constexpr BlockCacheTable kCache{nullptr, nullptr, Add, Find};
        static constexpr MemoryAllocatorTable kAllocator{nullptr, Allocate};
        static constexpr MemoryHandlesTable kHandles{Release, Address};
        static constexpr IndexLocationTable kLocation{GetIndexFolder, GetMediaIdentity, RegisterIndexFile,
                                                      FindIndexFile};
        return {&kCache, &kAllocator, &kHandles, nullptr, &kLocation, nullptr, mCacheId};
    }
    bool HasCache() const { return mCacheId != 0; }
    void ForgetIndex() { mLocation.Forget(); }

    /// Blocks held by anybody but the cache.
    std::size_t BlocksHeld() const { return mMemory.LiveBlocks() - mCache.Count(); }
    /// Releases and addresses of blocks that are not there.
    std::uint32_t Misuses() const { return mMisuses; }

  private:
    // Of the blocks that a file is read in; buffers for a picture are smaller, or several of these.
    static constexpr std::uint32_t kBlockBytes = 0x12D000;

    // What a failing call returns; the outputs are left alone.
    static std::int32_t FailingStatus() { return ++sHost->mFailures % 2 == 0 ? 0 : -1; }

    static std::int32_t Allocate(MemoryHandle* outBlock, std::uint32_t inKind, std::uint32_t inSize,
                                 std::uint32_t inAlignment) {
        if (IsToFail(inSize == kBlockBytes ? Call::BlockMemory : Call::PictureMemory)) return FailingStatus();
        const HostCode host;
        const auto block = sHost->mMemory.Allocate(inSize, inAlignment);
        if (!block || inKind != kMemoryKind) return -1;
        *outBlock = *block;
        return 0;
    }
    static void Release(MemoryHandle inBlock) {
        const HostCode host;
        if (!sHost->mMemory.Release(inBlock)) ++sHost->mMisuses;
    }
    static std::int32_t Address(MemoryHandle inBlock, std::uint32_t, std::uint8_t** outBytes) {
        const bool isBlock = sHost->mMemory.Size(inBlock) == kBlockBytes;
        if (IsToFail(isBlock ? Call::BlockAddress : Call::PictureAddress)) return FailingStatus();
        *outBytes = sHost->mMemory.Address(inBlock);
        if (*outBytes == nullptr) ++sHost->mMisuses;
        return 0;
    }
    static void Add(std::uint32_t inCacheId, MemoryHandle inBlock, std::uint32_t inNumber) {
        if (IsToFail(Call::CacheAdd)) return;
        const HostCode host;
        const VexmoraHost::BlockReference block(sHost->mMemory, inBlock);
        if (block.Block() != 0) sHost->mCache.Add({inCacheId, inNumber}, block, sHost->mMemory.Size(inBlock));
    }
    static std::int32_t Find(std::uint32_t inCacheId, std::uint32_t inNumber, MemoryHandle* outBlock) {
        if (IsToFail(Call::CacheFind)) return FailingStatus();
        const HostCode host;
        *outBlock = sHost->mCache.Find({inCacheId, inNumber}).Detach();
        return *outBlock != 0 ? 0 : -1;
    }

    // The location functions of the folder's host, unless the call is to fail.
    template <typename Function, typename... Arguments>
    static std::int32_t Locate(Call inCall, Function IndexLocationTable::*inSlot, Arguments... inArguments) {
        if (IsToFail(inCall)) return -1;
        const HostCode host;
        return (sHost->mLocation.Services().indexLocation->*inSlot)(inArguments...);
    }
    static std::int32_t GetIndexFolder(const char16_t* inMedia, std::uint32_t inCapacity,
                                       char16_t* outFolder) {
        return Locate(Call::IndexFolder, &IndexLocationTable::GetIndexFolder, inMedia, inCapacity, outFolder);
    }
    static std::int32_t GetMediaIdentity(const char16_t* inMedia, std::uint32_t inFlag, char* outText,
                                         char* outGuid) {
        return Locate(Call::MediaIdentity, &IndexLocationTable::GetMediaIdentity, inMedia, inFlag, outText,
                      outGuid);
    }
    static std::int32_t RegisterIndexFile(const char* inText, const char* inGuid, const char16_t* inPath,
                                          const char16_t* inExtension, const char16_t* inMedia) {
        return Locate(Call::RegisterIndex, &IndexLocationTable::RegisterIndexFile, inText, inGuid, inPath,
                      inExtension, inMedia);
    }
    static std::int32_t FindIndexFile(std::uint32_t inCapacity, char16_t* outPath, const char* inText,
                                      const char* inGuid, const char16_t* inExtension) {
        return Locate(Call::FindIndex, &IndexLocationTable::FindIndexFile, inCapacity, outPath, inText,
                      inGuid, inExtension);
    }

    VexmoraHost::Memory mMemory;
    VexmoraHost::BlockCache mCache{std::size_t{64} << 20};  // gives its blocks back first
    FolderHost mLocation;
    const std::uint32_t mCacheId;
    std::atomic<std::uint32_t> mFailures{0};
    std::atomic<std::uint32_t> mMisuses{0};
    inline static FaultyHost* sHost = nullptr;
};

}  // namespace Vexmora::Test
