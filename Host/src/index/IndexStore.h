// Where index files are kept between runs.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "index/MediaFile.h"
#include "index/Registry.h"
#include "index/StoredIndex.h"
#include "system/Posix.h"

namespace VexmoraHost {

/// A folder of index files named after the identity of their media (`GUID.mpgindex`), or of what a recording
/// is made of (`GUID.vextables`), listed in `registry.sqlite3` with size and hash: only a file that is listed
/// and unchanged is ever used. An index file appears in the folder whole or not at all. Holds no open file,
/// so it may be copied, used by any thread and by several processes at once. Functions throw Error.
class IndexStore {
  public:
    /// Makes the folder if there is none, and removes what writers that were killed left behind more than a
    /// day ago.
    explicit IndexStore(const std::filesystem::path& inFolder = DefaultFolder());

    /// `$XDG_CACHE_HOME/vexmora`, else `$HOME/.cache/vexmora`.
    static std::filesystem::path DefaultFolder();

    const std::filesystem::path& Folder() const { return mFolder; }

    /// An index of this store.
    struct Found {
        std::filesystem::path path;
        StoredIndex index;
    };
    /// The index of the media, if it is listed and its file is what was listed.
    std::optional<Found> Find(const Guid& inIdentity) const;
    /// Likewise; a file whose facts are those that it had when its index was found or published last needs
    /// not be identified, not even opened.
    std::optional<Found> Find(MediaFile& ioMedia) const;

    /// A file for an index that is still to be made. Throws if none could be kept here: better known before
    /// hours of indexing than after.
    Posix::DraftFile MakeDraft() const;

    /// Writes an index to ioDraft, gives that its place and lists it; the index of older content of the same
    /// media path is removed.
    /// @param inFacts of the media, if they are settled.
    /// @return the place. Throws Error, Vexmora_IndexNotWritten if it is no sound index.
    std::filesystem::path Publish(Posix::DraftFile& ioDraft, const Vexmora::IndexHeader& inHeader,
                                  std::span<const Vexmora::FrameRecord> inRecords,
                                  const std::filesystem::path& inMedia,
                                  const std::optional<FileFacts>& inFacts = {}) const;

    /// Tables of a recording that the host takes apart itself, by whatever name and identity it gives them.
    struct FoundTables {
        std::filesystem::path path;
        std::vector<std::byte> bytes;
    };
    /// @param inIdentify called when the facts do not tell; what it throws comes through.
    std::optional<FoundTables> FindTables(const RegistryMedia& inRecording,
                                          const std::function<Guid()>& inIdentify) const;
    /// As Publish, for tables. @return the place.
    std::filesystem::path PublishTables(Posix::DraftFile& ioDraft, std::span<const std::byte> inTables,
                                        const RegistryMedia& inRecording, const Guid& inIdentity) const;

  private:
    std::filesystem::path MoveIntoPlace(Posix::DraftFile& ioDraft, const RegistryEntry& inEntry,
                                        const RegistryMedia& inMedia) const;
    std::optional<Found> Read(const RegistryEntry& inEntry) const;

    std::filesystem::path mFolder;
};

}  // namespace VexmoraHost
