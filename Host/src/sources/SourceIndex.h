// The frame index of a scanned video, by the library's own rules.
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "index/StoredIndex.h"
#include "sources/CodedVideo.h"
#include "sources/Packaging.h"

namespace VexmoraHost {

/// No coded frame: of a hole.
inline constexpr std::uint32_t kNoCodedFrame = std::numeric_limits<std::uint32_t>::max();

struct SourceIndex {
    /// As the library's indexer makes it of the same pictures: numbers, references, usable frames and facts
    /// of the stream. But each record's offset is where its picture start code would lie if the packet's
    /// video began with the packet, so that they ascend in coded order; its size and the largest one count
    /// the bytes of the video alone, of both fields; and a display size may be any. One whose streamKind is
    /// kStreamKindFailed, and no records, where the library makes none.
    StoredIndex index;
    /// Parallel to the records: which of CodedVideo::frames, or kNoCodedFrame.
    std::vector<std::uint32_t> frames;
};

/// @param inStreamLength bytes of the whole recording.
/// Throws std::bad_alloc.
SourceIndex MakeSourceIndex(const CodedVideo& inVideo, Packaging::Kind inKind, std::uint64_t inStreamLength,
                            const Guid& inIdentity);

}  // namespace VexmoraHost
