// What an indexer knows of one stream while it scans: the growing index and the header fields behind it.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Vexmora/Records.h"
#include "mpeg_system/VideoSyntax.h"

namespace Vexmora {

/// By frame_rate_code (ISO/IEC 13818-2, table 6-4): frames per second times 1000, and the duration of a frame
/// in 90 kHz ticks, both rounded down to integers.
inline constexpr std::array<std::uint32_t, 9> kFrameRate1000 = {0,     23976, 24000, 25000, 29970,
                                                                30000, 50000, 59940, 60000};
inline constexpr std::array<std::uint32_t, 9> kFrameTicks90k = {0,    3753, 3750, 3600, 3003,
                                                                3000, 1800, 1501, 1500};

/// A PTS that is not known.
inline constexpr std::int64_t kNoPts = -1;

/// formatWord bits of a frame picture (picture_structure 3).
inline constexpr std::uint32_t kFramePictureWord = kFramePicture << 15;

/// Whether a picture is recorded here; holes have no type.
inline bool IsTyped(const FrameRecord& inRecord) {
    return PictureCodingType(inRecord) != 0;
}

struct IndexerState {
    /// Display indices of the most recent anchor (I or P picture) in display order and of the one before it.
    std::uint32_t prevAnchor = 0;
    std::uint32_t lastAnchor = 0;
    /// The display index that temporal_reference 0 of the current GOP maps to, and the highest
    /// temporal_reference since it was set.
    std::uint32_t gopBase = 0;
    std::uint32_t gopMaxTR = 0;
    std::int32_t pictureCount = 0;
    /// Display index of the most recently recorded picture.
    std::uint32_t currentRecord = 0;
    std::uint32_t picturesSinceGop = 0;
    std::uint32_t maxPictureSize = 0;

    /// The index in display order; holes are all zero.
    std::vector<FrameRecord> records;
    /// Parallel to records: the PTS before each picture, kNoPts when there was none, 0 in a hole.
    std::vector<std::int64_t> picturePts;
    /// The PTS of the chosen audio stream's PES headers, in stream order.
    std::vector<std::int64_t> audioPts;
    /// PTS of the last video PES header; the next recorded picture takes it.
    std::int64_t pendingPts = kNoPts;

    bool sequenceSeen = false;
    bool mpeg2 = false;
    bool displayExtensionSeen = false;
    bool progressiveSequence = false;
    std::uint8_t frameRateCode = 0;
    std::uint8_t frameRateExtN = 0;
    std::uint8_t frameRateExtD = 0;
    std::uint8_t aspectRatioCode = 0;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    std::uint16_t displayWidth = 0;
    std::uint16_t displayHeight = 0;

    bool firstGopClosed = false;
    bool awaitingFirstGop = true;
    bool currentBrokenLink = false;
    /// The stream cannot be indexed. Never cleared.
    bool failed = false;

    /// The parts of IndexHeader::formatWord, each in its place; unspecified until the stream tells.
    std::uint32_t videoFormat = 5;
    std::uint32_t colourPrimariesWord = 2 << 3;
    std::uint32_t transferWord = 2 << 6;
    std::uint32_t matrixWord = 2 << 10;
    std::uint32_t pictureStructureWord = 0;
    std::uint32_t fieldOrderWord = 0;
};

}  // namespace Vexmora
