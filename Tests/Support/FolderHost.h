// A host that keeps index files in a folder of the test and remembers one of them.
#pragma once

#include <cstring>
#include <filesystem>
#include <string>

#include "Support/ExactHost.h"
#include "Support/TestFiles.h"
#include "Vexmora/Vexmora.h"

namespace Vexmora::Test {

/// An ASCII path as the exports take it.
inline UTF16String ToUtf16(const std::filesystem::path& inPath) {
    const std::u16string text = inPath.u16string();
    return {text.begin(), text.end()};
}

/// An ExactHost with index locations. One at a time per process.
class FolderHost {
  public:
    explicit FolderHost(const std::filesystem::path& inFolder) {
        sFolder = inFolder;
        sKnown.clear();
        sGuid = "00112233-4455-6677-8899-aabbccddeeff";
    }

    HostServices Services() const {
        static constexpr IndexLocationTable kLocation{GetIndexFolder, GetMediaIdentity, RegisterIndexFile,
                                                      FindIndexFile};
        HostServices services = mMemory.Services();
        services.indexLocation = &kLocation;
        return services;
    }
    int LiveBlocks() const { return mMemory.LiveBlocks(); }

    void SetGuid(const char* inText) { sGuid = inText; }
    /// The index file that was registered last; empty when there is none or it was forgotten.
    std::filesystem::path Known() const { return sKnown; }
    void Forget() { sKnown.clear(); }

  private:
    static std::int32_t Copy(const std::u16string& inText, std::uint32_t inCapacity, char16_t* outText) {
        if (inText.size() >= inCapacity) return -1;
        std::memcpy(outText, inText.c_str(), (inText.size() + 1) * sizeof(char16_t));
        return 0;
    }
    static std::int32_t GetIndexFolder(const char16_t*, std::uint32_t inCapacity, char16_t* outFolder) {
        return Copy(sFolder.u16string(), inCapacity, outFolder);
    }
    static std::int32_t GetMediaIdentity(const char16_t*, std::uint32_t, char* outText, char* outGuid) {
        std::strcpy(outText, "text of the host");
        std::strcpy(outGuid, sGuid.c_str());
        return 0;
    }
    static std::int32_t RegisterIndexFile(const char*, const char*, const char16_t* inIndexPath,
                                          const char16_t*, const char16_t*) {
        sKnown = inIndexPath;
        return 0;
    }
    static std::int32_t FindIndexFile(std::uint32_t inCapacity, char16_t* outIndexPath, const char*,
                                      const char*, const char16_t*) {
        return sKnown.empty() ? -1 : Copy(sKnown.u16string(), inCapacity, outIndexPath);
    }

    ExactHost mMemory;
    inline static std::filesystem::path sFolder;
    inline static std::filesystem::path sKnown;
    inline static std::string sGuid;
};

}  // namespace Vexmora::Test
