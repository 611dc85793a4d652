// Opening a file that the library reads by itself.
#pragma once

#include <memory>

#include "index/IndexStore.h"
#include "index/MediaFile.h"
#include "opening/OpenedMedia.h"

namespace VexmoraHost {

/// The steps, of which each is taken once at most. Of a file that is known the library alone opens the media.
/// Functions throw Error and std::bad_alloc.
class PlainOpening {
  public:
    /// @param inPath absolute. What is passed outlives this.
    PlainOpening(std::filesystem::path inPath, const OpenOptions& inOptions, const IndexStore& inStore);

    /// By the index that the store has; null where it has none. Throws Vexmora_Unsupported for a file of
    /// which it is remembered that it cannot be indexed.
    std::unique_ptr<OpenedMedia> OpenKnown();
    /// Reads the whole file. Null where the library does not take it, or where it has more than the library
    /// follows: other sizes or shapes of pictures on the way, tables that change.
    std::unique_ptr<OpenedMedia> Build();
    /// Remembers that no way leads to an index.
    void RememberFailure();

  private:
    std::optional<StoredIndex> ReadIndex();
    bool IsSupported();
    std::unique_ptr<OpenedMedia> Use(StoredIndex inIndex, bool inWasIndexed);
    [[noreturn]] void ThrowFor(Vexmora_Status inStatus);

    const OpenOptions& mOptions;
    const IndexStore& mStore;
    MediaFile mMedia;
};

}  // namespace VexmoraHost
