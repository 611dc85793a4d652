// A frame index as an index file holds it, and the checks that it passes before anybody uses it.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "Vexmora/Records.h"
#include "VexmoraHost/MediaIdentity.h"

namespace VexmoraHost {

/// Header and records, in display order. A header whose streamKind is kStreamKindFailed says that the media
/// cannot be indexed; it has no records.
struct StoredIndex {
    Vexmora::IndexHeader header;
    std::vector<Vexmora::FrameRecord> records;
};

/// The index in the bytes of an index file. Nothing when it is not the whole index of the media inIdentity:
/// other version, media or length, unknown stream kind, frames outside the records, a record outside the
/// stream. References of a record may still point outside the records: whoever follows them looks. Throws
/// std::bad_alloc.
std::optional<StoredIndex> ParseIndexFile(std::span<const std::byte> inBytes, const Guid& inIdentity);

}  // namespace VexmoraHost
