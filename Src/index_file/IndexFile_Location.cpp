// Asks the host for folder and identity, composes paths, and reads or writes the file there.
#include "index_file/IndexFile_Location.h"

#include <array>
#include <optional>

#include "Orvet/PathUtils.h"

namespace Vexmora {
namespace {

namespace PathUtils = Orvet::PathUtils;

// Text that a host wrote into a buffer of ours, cut at its end if the host forgot to terminate it.
template <typename Character, std::size_t Capacity>
struct HostText {
    std::array<Character, Capacity> characters{};

    Character* Data() { return characters.data(); }
    const Character* Terminated() {
        characters.back() = 0;
        return characters.data();
    }
};
using PathText = HostText<char16_t, kIndexPathCapacity>;

// What the host says that the media file is.
struct MediaIdentity {
    HostText<char, kIdentityTextCapacity> hostText;
    HostText<char, kGuidTextCapacity> guidText;
    Pavlin::utility::Guid guid;
};

UTF16String WithoutLongPathPrefix(const UTF16String& inPath) {
    return PathUtils::IsNormalizedPath(inPath) ? PathUtils::Win::StripUNC(inPath) : inPath;
}

std::optional<MediaIdentity> AskIdentity(const IndexLocationTable& inLocation, const UTF16String& inMediaPath,
                                         bool inIndexFlag) {
    MediaIdentity identity{};
    if (inLocation.GetMediaIdentity(inMediaPath.c_str(), inIndexFlag ? 1 : 0, identity.hostText.Data(),
                                    identity.guidText.Data()) < 0) {
        return std::nullopt;
    }
    static_cast<void>(identity.hostText.Terminated());
    const auto guid = Pavlin::utility::Guid::FromText(identity.guidText.Terminated());
    if (!guid) return std::nullopt;
    identity.guid = *guid;
    return identity;
}

// The default path of the media's index file; nothing when the host has no folder or the path is too long for
// the host's functions.
std::optional<UTF16String> DefaultIndexPath(const IndexLocationTable& inLocation,
                                            const UTF16String& inMediaPath) {
    PathText folder;
    if (inLocation.GetIndexFolder(inMediaPath.c_str(), kIndexPathCapacity, folder.Data()) < 0) {
        return std::nullopt;
    }
    UTF16String path = PathUtils::AddTrailingSlash(folder.Terminated());
    path += PathUtils::GetFilePart(inMediaPath);
    path += u'.';
    path += kIndexExtension;
    if (path.size() >= kIndexPathCapacity) return std::nullopt;
    return path;
}

// Creates the index file at a path that no file has; nothing when that cannot be done.
std::optional<UTF16String> CreateUnique(const UTF16String& inDefaultPath, Orvet::File& outFile) {
    // Another process may take a name between its choice and its use.
    constexpr int kAttempts = 16;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        UTF16String path = PathUtils::MakeUniqueFilename(inDefaultPath);
        if (outFile.Create(PathUtils::ToNormalizedPath(path), Orvet::FileAccess::Write,
                           Orvet::FileShare::None, Orvet::FileDisposition::CreateNew,
                           Orvet::FileAttributes::Normal) >= 0) {
            return path;
        }
    }
    return std::nullopt;
}

}  // namespace

IndexFileStatus FindIndex(const IndexLocationTable* inLocation, const UTF16String& inMediaPath,
                          bool inIndexFlag, StoredIndex& outIndex) {
    if (inLocation == nullptr) return IndexFileStatus::HostFailed;
    const UTF16String mediaPath = WithoutLongPathPrefix(inMediaPath);
    auto identity = AskIdentity(*inLocation, mediaPath, inIndexFlag);
    if (!identity) return IndexFileStatus::HostFailed;

    PathText known;
    std::optional<UTF16String> path;
    if (inLocation->FindIndexFile(kIndexPathCapacity, known.Data(), identity->hostText.Terminated(),
                                  identity->guidText.Terminated(), kIndexExtension) >= 0) {
        path = known.Terminated();
    } else {
        path = DefaultIndexPath(*inLocation, mediaPath);
    }
    if (!path) return IndexFileStatus::HostFailed;
    return ReadIndexFile(PathUtils::ToNormalizedPath(*path), inMediaPath, identity->guid, outIndex);
}

WriteIndexStatus WriteIndexFile(const IndexLocationTable* inLocation, const UTF16String& inMediaPath,
                                const IndexHeader& inHeader, const std::vector<FrameRecord>& inRecords,
                                bool inIndexFlag) {
    if (inLocation == nullptr) return WriteIndexStatus::NoFolder;
    const UTF16String mediaPath = WithoutLongPathPrefix(inMediaPath);
    const auto defaultPath = DefaultIndexPath(*inLocation, mediaPath);
    if (!defaultPath) return WriteIndexStatus::NoFolder;
    auto identity = AskIdentity(*inLocation, mediaPath, inIndexFlag);
    if (!identity) return WriteIndexStatus::NoIdentity;
    IndexHeader header = inHeader;
    header.identity = identity->guid;

    Orvet::File file;
    const auto path = CreateUnique(*defaultPath, file);
    if (!path) return WriteIndexStatus::NotCreated;
    const std::int32_t written = WriteIndexRecords(file, header, inRecords);
    file.Close();
    if (written < 0) {
        // A half-written file at the default path would be taken for an index with holes.
        static_cast<void>(Orvet::File::Delete(PathUtils::ToNormalizedPath(*path)));
        return WriteIndexStatus::NotWritten;
    }
    const std::int32_t registered =
        inLocation->RegisterIndexFile(identity->hostText.Terminated(), identity->guidText.Terminated(),
                                      path->c_str(), kIndexExtension, mediaPath.c_str());
    return registered < 0 ? WriteIndexStatus::NotRegistered : WriteIndexStatus::Written;
}

}  // namespace Vexmora
