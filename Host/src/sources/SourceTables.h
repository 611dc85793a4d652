// What is kept of a recording that the host took apart, so that it need not be read again.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "VexmoraHost/Programs.h"
#include "sources/CodedVideo.h"
#include "sources/Packaging.h"

namespace VexmoraHost {

/// All that a scan has found; the index is made of it anew.
struct SourceTables {
    Packaging packaging;
    ChosenVideo chosen;
    StreamAccount account;
    CodedVideo video;
};

/// In the form that Docs/IndexFormat.md describes. Throws std::bad_alloc.
std::vector<std::byte> ToBytes(const SourceTables& inTables);

/// Nothing where the bytes are not such tables: of another version, cut off, or with anything in them that no
/// scan finds. Which positions there are in the recording is for those to check who read there. Throws
/// std::bad_alloc.
std::optional<SourceTables> TablesFrom(std::span<const std::byte> inBytes);

}  // namespace VexmoraHost
