// All that a recording tells of itself, picture by picture.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "VexmoraHost/Programs.h"

namespace VexmoraHost {

/// A time that a recording does not tell.
inline constexpr std::int64_t kNoTime = -1;

/// time_code of a group of pictures header (ISO/IEC 13818-2, 6.3.8), counted on to a frame.
struct TimeCode {
    bool isDropFrame = false;
    std::uint8_t hours = 0;
    std::uint8_t minutes = 0;
    std::uint8_t seconds = 0;
    std::uint8_t pictures = 0;

    friend bool operator==(const TimeCode&, const TimeCode&) = default;
};

/// What is known about the picture of one record, beside the record.
struct RecordDetails {
    /// Presentation time, 90 kHz; kNoTime where the stream has none for the picture.
    std::int64_t presentationTime = kNoTime;
    /// Of its group of pictures, counted on by temporal_reference.
    std::optional<TimeCode> timeCode;
    /// Of MovieDetails::formats.
    std::uint32_t format = 0;
    /// Coded as one or two field pictures, not as a frame picture.
    bool isOfFields = false;
    /// picture_coding_type of the second field; 0 where there is none.
    std::uint8_t secondFieldType = 0;
};

/// The sequence header that is in force for some frames, without its matrices.
struct VideoFormat {
    /// Coded size, samples and lines.
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    /// That which is meant to be shown; the coded size where the stream does not tell.
    std::uint32_t displayWidth = 0;
    std::uint32_t displayHeight = 0;
    /// aspect_ratio_information (ISO/IEC 13818-2, table 6-3).
    std::uint8_t aspectRatioCode = 0;
    /// Frames per second as a ratio; 0 over 0 where the stream does not tell.
    std::uint32_t frameRateNumerator = 0;
    std::uint32_t frameRateDenominator = 0;
    bool isProgressive = false;

    friend bool operator==(const VideoFormat&, const VideoFormat&) = default;
};

/// Frames that have the same format, as far as they follow one another.
struct FormatSpan {
    std::uint32_t firstFrame = 0;
    std::uint32_t frameCount = 0;
    /// Of MovieDetails::formats.
    std::uint32_t format = 0;

    friend bool operator==(const FormatSpan&, const FormatSpan&) = default;
};

/// A stream that is heard with the pictures.
struct AudioTrack {
    StreamInfo stream;
    /// Seconds from the first usable frame to the first sound; negative where the sound begins earlier.
    /// Nothing where one of the two has no time.
    std::optional<double> offset;
};

struct MovieDetails {
    /// In the order of the tables; where there are none, one of number 0.
    std::vector<ProgramInfo> programs;
    /// What is shown of them: program number, and PID or stream id at the start of the recording.
    std::uint16_t program = 0;
    std::uint16_t pid = 0;
    /// Bytes from one transport packet to the next; 0 in other packagings.
    std::uint32_t packetBytes = 0;
    /// Bytes before the first packet or start code.
    std::uint64_t skippedAtStart = 0;
    StreamAccount account;
    std::vector<AudioTrack> audio;
    /// Each once.
    std::vector<VideoFormat> formats;
    /// Of the usable frames, in display order.
    std::vector<FormatSpan> spans;
    /// One for each of Movie::Records.
    std::vector<RecordDetails> records;
};

}  // namespace VexmoraHost
