// Where index files are kept between runs.
#pragma once

#include <filesystem>
#include <optional>

#include "VexmoraHost/MediaIdentity.h"
#include "VexmoraHost/StoredIndex.h"

namespace VexmoraHost {

/// A folder of index files named after the identity of their media (`GUID.mpgindex`), listed in
/// `registry.sqlite3` with size and hash: only a file that is listed and unchanged is ever used. An index
/// file appears in the folder whole or not at all. Holds no open file, so it may be copied, used by any
/// thread and by several processes at once. Functions throw Error.
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

    /// Throws if no index file could be kept here: better known before hours of indexing than after.
    void CheckWritable() const;

    /// An empty folder for one index file to be written into; the caller removes it. It lies in this store,
    /// so Publish only has to rename.
    std::filesystem::path MakeWritingFolder() const;

    /// Checks the index file at inWritten (in a writing folder), moves it to its place and lists it; the
    /// index of older content of the same media path is removed.
    Found Publish(const Guid& inIdentity, const std::filesystem::path& inWritten,
                  const std::filesystem::path& inMedia) const;

  private:
    std::filesystem::path mFolder;
};

}  // namespace VexmoraHost
