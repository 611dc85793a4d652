// Index files in a folder: found by identity, checked by hash, moved into place whole.
#include "index/IndexStore.h"

#include <chrono>
#include <cstdlib>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "Vexmora/HostServices.h"
#include "Vexmora/PathText.h"
#include "VexmoraHost/Error.h"
#include "index/Hash128.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDrafts = "writing";  // folder of the index files that are being made
// A draft lives as long as it takes to index a file; what is older was left by a process that was killed.
constexpr std::chrono::hours kStaleAfter{24};

constexpr const char* kTablesExtension = ".vextables";

// With its dot.
std::string IndexExtension() {
    return '.' + Vexmora::FromUtf16Path(Vexmora::kIndexExtension);
}

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
void RemoveStale(const fs::path& inDrafts) {
    std::error_code error;
    std::vector<fs::path> stale;
    const auto limit = fs::file_time_type::clock::now() - kStaleAfter;
    for (fs::directory_iterator entry(inDrafts, error), end; !error && entry != end; entry.increment(error)) {
        const auto time = entry->last_write_time(error);
        if (!error && time < limit) stale.push_back(entry->path());
    }
    for (const fs::path& draft : stale) fs::remove_all(draft, error);
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

// The hash of the bytes of an index file.
std::string HashOf(const Vexmora::IndexHeader& inHeader, std::span<const Vexmora::FrameRecord> inRecords) {
    Hash128 hash;
    hash.Add(std::as_bytes(std::span(&inHeader, 1)));
    hash.Add(std::as_bytes(inRecords));
    return HexText(hash.Finish());
}

std::string HashOf(std::span<const std::byte> inBytes) {
    Hash128 hash;
    hash.Add(inBytes);
    return HexText(hash.Finish());
}

// A registry that was tampered with must not lead out of its folder.
bool IsPlainName(const std::string& inName, const std::string& inExtension) {
    return !inName.empty() && inName.find('/') == std::string::npos &&
           fs::path(inName).extension() == inExtension;
}

}  // namespace

IndexStore::IndexStore(const std::filesystem::path& inFolder) {
    std::error_code error;
    mFolder = fs::absolute(inFolder, error);
    if (error) ThrowFolderError(inFolder, error);
    MakeFolder(mFolder);
    MakeFolder(mFolder / kDrafts);
    RemoveStale(mFolder / kDrafts);
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
    const auto entry = Registry(mFolder).Find({}, [&] { return inIdentity.ToText(); });
    return entry ? Read(*entry) : std::nullopt;
}

std::optional<IndexStore::Found> IndexStore::Find(MediaFile& ioMedia) const {
    const auto entry =
        Registry(mFolder).Find({.path = ioMedia.Path().native(), .facts = ToText(ioMedia.SettledFacts())},
                               [&] { return ioMedia.Identity().ToText(); });
    auto found = entry ? Read(*entry) : std::nullopt;
    if (!found || found->index.header.streamLength != ioMedia.Bytes()) return std::nullopt;
    ioMedia.SetIdentity(found->index.header.identity);
    return found;
}

// A file that is not what was listed was torn, or is another one: the media is indexed again.
std::optional<IndexStore::Found> IndexStore::Read(const RegistryEntry& inEntry) const {
    const auto identity = Guid::FromText(inEntry.identity);
    if (!identity || !IsPlainName(inEntry.fileName, IndexExtension())) return std::nullopt;
    Found found{.path = mFolder / inEntry.fileName, .index = {}};
    auto& [header, records] = found.index;
    try {
        const Posix::InputFile file(found.path);
        const std::uint64_t bytes = file.Size();
        if (bytes != inEntry.bytes || bytes < sizeof header) return std::nullopt;
        const std::uint64_t recordBytes = bytes - sizeof header;
        if (recordBytes % sizeof(Vexmora::FrameRecord) != 0) return std::nullopt;
        records.resize(recordBytes / sizeof(Vexmora::FrameRecord));
        file.ReadAt(0, std::as_writable_bytes(std::span(&header, 1)));
        file.ReadAt(sizeof header, std::as_writable_bytes(std::span(records)));
    } catch (const Error&) {
        return std::nullopt;
    }
    if (HashOf(header, records) != inEntry.hash || !IsSound(header, records, *identity)) return std::nullopt;
    return found;
}

Posix::DraftFile IndexStore::MakeDraft() const {
    MakeFolder(mFolder / kDrafts);
    return {mFolder / kDrafts, IndexExtension()};
}

std::filesystem::path IndexStore::Publish(Posix::DraftFile& ioDraft, const Vexmora::IndexHeader& inHeader,
                                          std::span<const Vexmora::FrameRecord> inRecords,
                                          const std::filesystem::path& inMedia,
                                          const std::optional<FileFacts>& inFacts) const {
    if (!IsSound(inHeader, inRecords, inHeader.identity)) {
        throw Error(Vexmora_IndexNotWritten, inMedia, "was indexed, but the index is not sound",
                    "the stream is damaged or was cut");
    }
    ioDraft.Write(std::as_bytes(std::span(&inHeader, 1)));
    ioDraft.Write(std::as_bytes(inRecords));
    const std::string identity = inHeader.identity.ToText();
    const RegistryEntry entry{.identity = identity,
                              .fileName = identity + IndexExtension(),
                              .bytes = sizeof inHeader + inRecords.size_bytes(),
                              .hash = HashOf(inHeader, inRecords)};
    return MoveIntoPlace(ioDraft, entry, {.path = inMedia.native(), .facts = ToText(inFacts)});
}

fs::path IndexStore::MoveIntoPlace(Posix::DraftFile& ioDraft, const RegistryEntry& inEntry,
                                   const RegistryMedia& inMedia) const {
    fs::path place = mFolder / inEntry.fileName;
    const auto outdated = Registry(mFolder).Record(inEntry, inMedia, [&] { ioDraft.MoveTo(place); });
    for (const std::string& name : outdated) {
        std::error_code error;  // a file that stays is not listed any more
        if (IsPlainName(name, IndexExtension()) || IsPlainName(name, kTablesExtension)) {
            fs::remove(mFolder / name, error);
        }
    }
    return place;
}

// ---- Tables -----------------------------------------------------------------------------------------------

std::optional<IndexStore::FoundTables> IndexStore::FindTables(const RegistryMedia& inRecording,
                                                              const std::function<Guid()>& inIdentify) const {
    const auto entry = Registry(mFolder).Find(inRecording, [&] { return inIdentify().ToText(); });
    if (!entry || !IsPlainName(entry->fileName, kTablesExtension)) return std::nullopt;
    FoundTables found{.path = mFolder / entry->fileName, .bytes = {}};
    try {
        const Posix::InputFile file(found.path);
        if (file.Size() != entry->bytes) return std::nullopt;
        found.bytes.resize(entry->bytes);
        file.ReadAt(0, found.bytes);
    } catch (const Error&) {
        return std::nullopt;
    }
    return HashOf(found.bytes) == entry->hash ? std::optional(std::move(found)) : std::nullopt;
}

fs::path IndexStore::PublishTables(Posix::DraftFile& ioDraft, std::span<const std::byte> inTables,
                                   const RegistryMedia& inRecording, const Guid& inIdentity) const {
    ioDraft.Write(inTables);
    const std::string identity = inIdentity.ToText();
    const RegistryEntry entry{.identity = identity,
                              .fileName = identity + kTablesExtension,
                              .bytes = inTables.size(),
                              .hash = HashOf(inTables)};
    return MoveIntoPlace(ioDraft, entry, inRecording);
}

}  // namespace VexmoraHost
