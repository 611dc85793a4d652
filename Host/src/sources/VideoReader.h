// The bytes of one video stream, without the packets around them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "sources/Packaging.h"

namespace VexmoraHost {

/// Some bytes of the video, in one packet. Neighbouring pieces follow one another in the elementary stream.
struct VideoPiece {
    /// From here on reading can begin anew: the packet's first byte. (Elementary: of a block of the file.)
    std::uint64_t position = 0;
    /// Valid until the next call of the reader.
    std::span<const std::uint8_t> bytes;
    /// presentation_time_stamp, 90 kHz, of the PES header right in front of the bytes.
    std::optional<std::int64_t> pts = {};
    /// Bytes may be missing in front of these.
    bool isAfterLoss = false;
};

/// Reads the chosen video from a position on, in pieces that are packet payloads (elementary: blocks of up to
/// 64 KiB). One thread at a time; several readers may share the files. Never fails on bad data: what cannot
/// be a packet is passed over. Throws Error when the files cannot be read.
class VideoReader {
  public:
    virtual ~VideoReader() = default;

    /// Goes on at a piece's position; Next then gives that very piece (without its pts where the PES header
    /// began in an earlier packet).
    virtual void Seek(std::uint64_t inPosition) = 0;
    /// The next piece with at least one byte; false at the end of the recording.
    virtual bool Next(VideoPiece& outPiece) = 0;
};

/// For one pass from the start of the recording: keeps the books, and follows the tables when they move the
/// video to another PID.
/// @param ioAccount outlives the reader, as do the files. Its counts are complete once Next has answered
/// false.
std::unique_ptr<VideoReader> MakeScanningReader(const JoinedFiles& inFiles, const Packaging& inPackaging,
                                                const ChosenVideo& inVideo, StreamAccount& ioAccount);

/// For reading anywhere in a recording that was scanned.
/// @param inAccount of the scan; only its videoPids matter. Outlives the reader.
std::unique_ptr<VideoReader> MakeRandomReader(const JoinedFiles& inFiles, const Packaging& inPackaging,
                                              const StreamAccount& inAccount);

}  // namespace VexmoraHost
