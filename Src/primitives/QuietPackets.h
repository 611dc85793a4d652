// Runs of transport packets that tell an indexer nothing.
#pragma once

#include <cstddef>

namespace Vexmora {

/// What was passed over.
struct QuietPackets {
    std::size_t count;
    /// Some of them carry video.
    bool hasVideo;

    friend bool operator==(const QuietPackets&, const QuietPackets&) = default;
};

/// A payload of video, 184 bytes, is quiet when at its first kQuietCodePositions bytes begin no start codes
/// but those of slices, at none of the others two zero bytes in a row, and when its last byte is not zero.
inline constexpr std::size_t kQuietCodePositions = 150;

}  // namespace Vexmora
