// Index files in a folder: found by identity, checked by hash, moved into place whole.
#include "VexmoraHost/IndexStore.h"

#include <chrono>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "VexmoraHost/Error.h"
#include "index/Hash128.h"
#include "index/Registry.h"
#include "system/Posix.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;

constexpr const char* kWritingFolders = "writing";  // holds one folder for each index file being written
constexpr const char* kIndexExtension = ".mpgindex";
// A record count is at most 2^31 - 1, and so many records do not fit into memory: no real index is that
// large.
constexpr std::uint64_t kLargestIndexBytes = std::uint64_t{1} << 32;
// A writing folder lives for moments; what is older was left by a process that was killed.
constexpr std::chrono::hours kStaleAfter{24};

[[noreturn]] void ThrowFolderError(const fs::path& inFolder, const std::error_code& inError) {
    throw Error(Vexmora_Failure, inFolder, "cannot be used to keep index files: " + inError.message(),
                "check its permissions, or choose another index folder");
}

void MakeFolder(const fs::path& inFolder) {
    std::error_code error;
    fs::create_directories(inFolder, error);
    if (error) ThrowFolderError(inFolder, error);
}

// Another process may be cleaning as well, and a folder that stays does no harm: errors are of no interest.
void RemoveStale(const fs::path& inWritingFolders) {
    std::error_code error;
    std::vector<fs::path> stale;
    const auto limit = fs::file_time_type::clock::now() - kStaleAfter;
    for (fs::directory_iterator entry(inWritingFolders, error), end; !error && entry != end;
         entry.increment(error)) {
        const auto time = entry->last_write_time(error);
        if (!error && time < limit) stale.push_back(entry->path());
    }
    for (const fs::path& folder : stale) fs::remove_all(folder, error);
}

std::string HexText(const Hash128::Digest& inDigest) {
    std::string text;
    for (const unsigned byte : inDigest) {
        constexpr const char* kDigits = "0123456789abcdef";
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

std::string HashOf(std::span<const std::byte> inBytes) {
    Hash128 hash;
    hash.Add(inBytes);
    return HexText(hash.Finish());
}

// A registry that was tampered with must not lead out of its folder.
bool IsPlainName(const std::string& inName) {
    return !inName.empty() && inName.find('/') == std::string::npos &&
           fs::path(inName).extension() == kIndexExtension;
}

}  // namespace

IndexStore::IndexStore(const std::filesystem::path& inFolder) {
    std::error_code error;
    mFolder = fs::absolute(inFolder, error);
    if (error) ThrowFolderError(inFolder, error);
    MakeFolder(mFolder);
    MakeFolder(mFolder / kWritingFolders);
    RemoveStale(mFolder / kWritingFolders);
}

std::filesystem::path IndexStore::DefaultFolder() {
    // Relative paths in the variable are to be ignored (as the XDG base directory rules have it).
    const char* const cache = std::getenv("XDG_CACHE_HOME");
    if (cache != nullptr && fs::path(cache).is_absolute()) return fs::path(cache) / "vexmora";
    const char* const home = std::getenv("HOME");
    if (home != nullptr && *home != 0) return fs::path(home) / ".cache" / "vexmora";
    throw Error(Vexmora_Failure, "~/.cache/vexmora", "cannot be found: HOME is not set",
                "set HOME or XDG_CACHE_HOME, or choose an index folder");
}

std::optional<IndexStore::Found> IndexStore::Find(const Guid& inIdentity) const {
    const auto entry = Registry(mFolder).Find(inIdentity.ToText());
    if (!entry || !IsPlainName(entry->fileName)) return std::nullopt;
    const fs::path path = mFolder / entry->fileName;
    std::vector<std::byte> bytes;
    try {
        bytes = Posix::ReadWholeFile(path, kLargestIndexBytes);
    } catch (const Error&) {
        return std::nullopt;  // removed or unreadable: the media is indexed again
    }
    if (bytes.size() != entry->bytes || HashOf(bytes) != entry->hash) return std::nullopt;
    auto index = ParseIndexFile(bytes, inIdentity);
    if (!index) return std::nullopt;
    return Found{path, std::move(*index)};
}

void IndexStore::CheckWritable() const {
    std::error_code error;
    fs::remove(MakeWritingFolder(), error);
}

std::filesystem::path IndexStore::MakeWritingFolder() const {
    MakeFolder(mFolder / kWritingFolders);
    return Posix::MakeUniqueFolder(mFolder / kWritingFolders);
}

IndexStore::Found IndexStore::Publish(const Guid& inIdentity, const std::filesystem::path& inWritten,
                                      const std::filesystem::path& inMedia) const {
    const auto bytes = Posix::ReadWholeFile(inWritten, kLargestIndexBytes);
    auto index = ParseIndexFile(bytes, inIdentity);
    if (!index) {
        throw Error(Vexmora_IndexNotWritten, inWritten, "is not a whole index of " + inMedia.native(),
                    "check the free space and index again");
    }
    Posix::FlushToDisk(inWritten);
    const std::string identity = inIdentity.ToText();
    const std::string fileName = identity + kIndexExtension;
    const fs::path path = mFolder / fileName;
    const auto outdated =
        Registry(mFolder).Record({identity, fileName, bytes.size(), HashOf(bytes), inMedia.native()}, [&] {
            std::error_code error;
            fs::rename(inWritten, path, error);
            if (error) ThrowFolderError(mFolder, error);
            Posix::FlushToDisk(mFolder);
        });
    for (const std::string& name : outdated) {
        std::error_code error;  // a file that stays is not listed any more
        if (IsPlainName(name)) fs::remove(mFolder / name, error);
    }
    return Found{path, std::move(*index)};
}

}  // namespace VexmoraHost
