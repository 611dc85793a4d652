// The index file: an IndexHeader and, right behind it, the FrameRecords in display order.
#pragma once

#include <cstdint>
#include <vector>

#include "Orvet/File.h"
#include "Vexmora/Guid.h"
#include "Vexmora/Records.h"
#include "Vexmora/UTF16String.h"

namespace Vexmora {

/// A frame index as it is stored.
struct StoredIndex {
    IndexHeader header;
    std::vector<FrameRecord> records;
};

/// What came of looking for an index file. Anything but Found means that the media has to be indexed.
enum class IndexFileStatus : std::int32_t {
    Found = 0,
    /// A host function failed.
    HostFailed = -1,
    NotOpened = -2,
    /// Shorter than a header.
    TooShort = -3,
    /// The file or the media could not be read, or the file lacks more records than an index has holes.
    NotRead = -5,
    /// Another version, or the index of other media.
    OtherMedia = -6,
};

/// Reads the index file at inIndexPath if it belongs to the media file at inMediaPath, whose identity is
/// inIdentity. Records that the file lacks are holes. A failed index has no records. outIndex is only written
/// on Found. Throws std::bad_alloc.
[[nodiscard]] IndexFileStatus ReadIndexFile(const UTF16String& inIndexPath, const UTF16String& inMediaPath,
                                            const Pavlin::utility::Guid& inIdentity, StoredIndex& outIndex);

/// Writes header and records into a new file. 0, or negative when a write failed.
[[nodiscard]] std::int32_t WriteIndexRecords(Orvet::File& ioFile, const IndexHeader& inHeader,
                                             const std::vector<FrameRecord>& inRecords);

}  // namespace Vexmora
