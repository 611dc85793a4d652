// What a recording carries beside the pictures that are shown: programs, streams, and what became of packets.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace VexmoraHost {

/// One stream of a recording.
struct StreamInfo {
    enum class Kind { Video, Audio, Other };

    Kind kind = Kind::Other;
    /// PID in a transport stream; stream_id in a program stream, and 0xBD00 + the first byte of the payload
    /// for what is in private_stream_1; 0 in an elementary stream.
    std::uint16_t id = 0;
    /// In words: "MPEG-2 video", "MPEG-1 video", "H.264", "AC-3", … "unknown (stream type 0x..)" as the
    /// tables or, where there are none, the first bytes say.
    std::string codec;
    /// ISO 639-2 code from the tables; empty where they do not tell.
    std::string language;
    /// Coded size of MPEG-1 and MPEG-2 video, samples and lines; 0 where it was not found.
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    friend bool operator==(const StreamInfo&, const StreamInfo&) = default;
};

/// One program (service) with its streams, in the order of the table.
struct ProgramInfo {
    /// program_number; 0 where the packaging has no programs.
    std::uint16_t number = 0;
    std::vector<StreamInfo> streams;

    friend bool operator==(const ProgramInfo&, const ProgramInfo&) = default;
};

/// Which video of a recording is to be shown. Neither: the first MPEG-2 video of the first program that has
/// one.
struct VideoChoice {
    /// program_number.
    std::optional<std::uint16_t> program;
    /// StreamInfo::id.
    std::optional<std::uint16_t> pid;

    friend bool operator==(const VideoChoice&, const VideoChoice&) = default;
};

/// What became of the packets of one PID of a transport stream.
struct PacketCounts {
    std::uint64_t packets = 0;
    /// Places where continuity_counter says that packets are missing (ISO/IEC 13818-1, 2.4.3.3).
    std::uint64_t continuityErrors = 0;
    std::uint64_t scrambled = 0;
    std::uint64_t transportErrors = 0;

    friend bool operator==(const PacketCounts&, const PacketCounts&) = default;
};

/// The books kept while a recording is read from its start to its end.
struct StreamAccount {
    /// The PID (or stream id) of the shown video from a position on: one entry, and one more for each time
    /// that the program's table moves the video.
    struct VideoPid {
        std::uint64_t position = 0;
        std::uint16_t pid = 0;
        friend bool operator==(const VideoPid&, const VideoPid&) = default;
    };
    std::vector<VideoPid> videoPids;
    /// By PID; empty where there are none.
    std::map<std::uint16_t, PacketCounts> packets;
    /// The first presentation time of each other stream of the program, 90 kHz, by id.
    std::map<std::uint16_t, std::int64_t> firstTimes;
    /// Bytes that belong to no packet: before the first one, and where packets were lost.
    std::uint64_t skippedBytes = 0;
    /// How often packets were lost sight of behind the first.
    std::uint64_t losses = 0;
    /// Packets of video that nothing shows: of the chosen PID, but scrambled or broken; or video of the
    /// program under a PID that no table names.
    std::uint64_t videoPacketsNotShown = 0;

    friend bool operator==(const StreamAccount&, const StreamAccount&) = default;
};

}  // namespace VexmoraHost
