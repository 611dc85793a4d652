// A host of the tests: blocks of memory of exactly the size asked for, a block cache, index files in a
// folder.
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Support/TestFiles.h"
#include "Vexmora/Vexmora.h"

namespace Vexmora::Test {

/// An ASCII path as the exports take it.
inline UTF16String ToUtf16(const std::filesystem::path& inPath) {
    const std::u16string text = inPath.u16string();
    return {text.begin(), text.end()};
}

enum class HostCall {
    Allocate,
    Address,
    CacheFind = 4,
    CacheAdd,
    IndexFolder,
    MediaIdentity,
    RegisterIndex,
    FindIndex,
};

/// Any thread. The tables say nothing of whom they belong to, so that all hosts alive share what they have;
/// the one that was made last is asked how calls go.
class TestHost {
  public:
    /// Stands between a call, for a block of so many bytes, and what the host does then; returns what the
    /// library is to get.
    using Around = std::function<std::int32_t(HostCall, std::uint32_t inBytes,
                                              const std::function<std::int32_t()>& inCall)>;

    explicit TestHost(const std::filesystem::path& inFolder = {}) : mBefore(std::exchange(sHost, this)) {
        sFolder = inFolder;
        sKnown.clear();
        if (mBefore != nullptr) return;
        sRequests = 0;
        sMisuses = 0;
    }
    /// Blocks that the library still holds it may release later.
    ~TestHost() {
        DropCache();
        if (sHost == this) sHost = mBefore;
    }
    TestHost(const TestHost&) = delete;
    TestHost& operator=(const TestHost&) = delete;

    /// Without a block cache, and with index locations only if there is a folder.
    HostServices Services() const {
        static constexpr MemoryAllocatorTable kAllocator{nullptr, Allocate};
        static constexpr MemoryHandlesTable kHandles{Release, Address};
        static constexpr IndexLocationTable kLocation{GetIndexFolder, GetMediaIdentity, RegisterIndexFile,
                                                      FindIndexFile};
        return {nullptr, &kAllocator, &kHandles, nullptr, sFolder.empty() ? nullptr : &kLocation, nullptr, 0};
    }
    HostServices Services(std::uint32_t inCacheId) const {
        static constexpr BlockCacheTable kCache{nullptr, nullptr, Add, Find};
        HostServices services = Services();
        services.blockCache = &kCache;
        services.cacheId = inCacheId;
        return services;
    }

    void SetAround(const Around& inAround) {
        const std::lock_guard lock(sMutex);
        mAround = inAround;
    }
    /// Calls of this kind return a status and do nothing else.
    void Fail(HostCall inCall, std::int32_t inStatus) {
        SetAround([=](HostCall inMade, std::uint32_t, const std::function<std::int32_t()>& inBody) {
            return inMade == inCall ? inStatus : inBody();
        });
    }
    void FailNothing() { SetAround({}); }

    /// Blocks held by anybody but the cache.
    int LiveBlocks() const {
        const std::lock_guard lock(sMutex);
        auto live = static_cast<int>(sBlocks.size());
        for (const auto& [number, handle] : sCached) live -= sBlocks.at(handle).references == 1 ? 1 : 0;
        return live;
    }
    /// How many blocks were asked for, and how many calls named none that there is.
    int Requests() const { return sRequests; }
    std::uint32_t Misuses() const { return sMisuses; }

    /// Block numbers in the order in which they were looked for, and those in the cache.
    std::vector<std::uint32_t> Asked() const {
        const std::lock_guard lock(sMutex);
        return mAsked;
    }
    std::vector<std::uint32_t> Cached() const {
        const std::lock_guard lock(sMutex);
        std::vector<std::uint32_t> numbers;
        for (const auto& [number, handle] : sCached) numbers.push_back(number);
        return numbers;
    }
    void DropCache() {
        const std::lock_guard lock(sMutex);
        for (const auto& [number, handle] : std::exchange(sCached, {})) Drop(handle);
    }

    void SetGuid(const char* inText) { mGuid = inText; }
    /// The index file that was registered last; empty when there is none or it was forgotten.
    std::filesystem::path Known() const { return sKnown; }
    void Forget() { sKnown.clear(); }

  private:
    // The body, under the lock, unless whoever stands around has it otherwise.
    template <typename Body>
    static std::int32_t Ask(HostCall inCall, std::uint32_t inBytes, const Body& inBody) {
        const auto locked = [&] {
            const std::lock_guard lock(sMutex);
            return inBody();
        };
        const Around around = [] {
            const std::lock_guard lock(sMutex);
            return sHost->mAround;
        }();
        return around ? around(inCall, inBytes, std::ref(locked)) : locked();
    }
    static std::int32_t Allocate(MemoryHandle* outBlock, std::uint32_t inKind, std::uint32_t inSize,
                                 std::uint32_t inAlignment) {
        return Ask(HostCall::Allocate, inSize, [&] {
            void* block = nullptr;
            ++sRequests;
            if (inKind != kMemoryKind || posix_memalign(&block, inAlignment, inSize) != 0) return -1;
            std::memset(block, 0xEE, inSize);  // no byte of it may be taken for the file's
            *outBlock = reinterpret_cast<MemoryHandle>(block);
            sBlocks[*outBlock] = {1, inSize};
            return 0;
        });
    }
    static void Drop(MemoryHandle inBlock) {
        const auto found = sBlocks.find(inBlock);
        if (found == sBlocks.end()) ++sMisuses;
        if (found == sBlocks.end() || --found->second.references != 0) return;
        sBlocks.erase(found);
        std::free(reinterpret_cast<void*>(inBlock));
    }
    static void Release(MemoryHandle inBlock) {
        const std::lock_guard lock(sMutex);
        Drop(inBlock);
    }
    static std::int32_t Address(MemoryHandle inBlock, std::uint32_t, std::uint8_t** outBytes) {
        const std::uint32_t bytes = [&] {
            const std::lock_guard lock(sMutex);
            const auto found = sBlocks.find(inBlock);
            if (found == sBlocks.end()) ++sMisuses;
            return found == sBlocks.end() ? 0 : found->second.bytes;
        }();
        return Ask(HostCall::Address, bytes, [&] {
            *outBytes = reinterpret_cast<std::uint8_t*>(inBlock);
            return 0;
        });
    }
    static void Add(std::uint32_t, MemoryHandle inBlock, std::uint32_t inNumber) {
        Ask(HostCall::CacheAdd, 0, [&] {
            if (sCached.emplace(inNumber, inBlock).second) ++sBlocks.at(inBlock).references;
            return 0;
        });
    }
    static std::int32_t Find(std::uint32_t, std::uint32_t inNumber, MemoryHandle* outBlock) {
        return Ask(HostCall::CacheFind, 0, [&] {
            sHost->mAsked.push_back(inNumber);
            const auto found = sCached.find(inNumber);
            if (found == sCached.end()) return -1;
            ++sBlocks.at(found->second).references;
            *outBlock = found->second;
            return 0;
        });
    }
    static std::int32_t Copy(const std::u16string& inText, std::uint32_t inCapacity, char16_t* outText) {
        if (inText.empty() || inText.size() >= inCapacity) return -1;
        std::memcpy(outText, inText.c_str(), (inText.size() + 1) * sizeof(char16_t));
        return 0;
    }
    static std::int32_t GetIndexFolder(const char16_t*, std::uint32_t inCapacity, char16_t* outFolder) {
        return Ask(HostCall::IndexFolder, 0,
                   [&] { return Copy(sFolder.u16string(), inCapacity, outFolder); });
    }
    static std::int32_t GetMediaIdentity(const char16_t*, std::uint32_t, char* outText, char* outGuid) {
        return Ask(HostCall::MediaIdentity, 0, [&] {
            std::strcpy(outText, "text of the host");
            std::strcpy(outGuid, sHost->mGuid.c_str());
            return 0;
        });
    }
    static std::int32_t RegisterIndexFile(const char*, const char*, const char16_t* inIndexPath,
                                          const char16_t*, const char16_t*) {
        return Ask(HostCall::RegisterIndex, 0, [&] { return sKnown = inIndexPath, 0; });
    }
    static std::int32_t FindIndexFile(std::uint32_t inCapacity, char16_t* outIndexPath, const char*,
                                      const char*, const char16_t*) {
        return Ask(HostCall::FindIndex, 0,
                   [&] { return Copy(sKnown.u16string(), inCapacity, outIndexPath); });
    }

    struct Block {
        int references;
        std::uint32_t bytes;
    };

    TestHost* const mBefore;
    Around mAround;
    std::string mGuid = "00112233-4455-6677-8899-aabbccddeeff";
    std::vector<std::uint32_t> mAsked;
    inline static TestHost* sHost = nullptr;
    inline static std::mutex sMutex;
    inline static std::map<MemoryHandle, Block> sBlocks;
    inline static std::map<std::uint32_t, MemoryHandle> sCached;
    inline static int sRequests = 0;
    inline static std::uint32_t sMisuses = 0;
    inline static std::filesystem::path sFolder;
    inline static std::filesystem::path sKnown;
};

}  // namespace Vexmora::Test
