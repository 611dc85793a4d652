// A frame index as an index file holds it, and the check that it passes before anybody uses it.
#pragma once

#include <span>
#include <vector>

#include "Vexmora/Records.h"
#include "index/MediaIdentity.h"

namespace VexmoraHost {

/// Header and records, in display order. A header whose streamKind is kStreamKindFailed says that the media
/// cannot be indexed; it has no records.
struct StoredIndex {
    Vexmora::IndexHeader header;
    std::vector<Vexmora::FrameRecord> records;
};

/// Whether these are the whole index of the media inIdentity: version, media and number of records are right,
/// the stream kind is known, the frames lie within the records and every record within the stream. References
/// of a record may still point outside the records: whoever follows them looks.
bool IsSound(const Vexmora::IndexHeader& inHeader, std::span<const Vexmora::FrameRecord> inRecords,
             const Guid& inIdentity);

}  // namespace VexmoraHost
