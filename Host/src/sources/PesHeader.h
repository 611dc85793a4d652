// The header of a PES packet, in the syntax of ISO/IEC 13818-1 (2.4.3.6) or of ISO/IEC 11172-1 (2.4.3.3):
// each packet tells by itself which.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace VexmoraHost {

/// stream_id (ISO/IEC 13818-1, table 2-22) and the start codes below it.
inline constexpr std::uint8_t kProgramEnd = 0xB9;
inline constexpr std::uint8_t kPackStart = 0xBA;
inline constexpr std::uint8_t kSystemHeader = 0xBB;
inline constexpr std::uint8_t kPrivateStream1 = 0xBD;
inline constexpr std::uint8_t kPaddingStream = 0xBE;
constexpr bool IsAudioStream(std::uint8_t inStreamId) {
    return (inStreamId & 0xE0) == 0xC0;
}
constexpr bool IsVideoStream(std::uint8_t inStreamId) {
    return (inStreamId & 0xF0) == 0xE0;
}

/// Whether a start code prefix and a byte of at least inLowest are at inBytes; needs four bytes.
inline bool IsStartCode(const std::uint8_t* inBytes, std::uint8_t inLowest) {
    return inBytes[0] == 0 && inBytes[1] == 0 && inBytes[2] == 1 && inBytes[3] >= inLowest;
}

/// Where PES_packet_length ends.
inline constexpr std::size_t kLengthEnd = 6;

/// What a reader needs of the header.
struct PesHeader {
    enum class State { Whole, NeedsMore, IsNone };

    State state = State::IsNone;
    /// Bytes from the start code prefix to the payload, when it is whole.
    std::size_t size = 0;
    /// presentation_time_stamp, 90 kHz.
    std::optional<std::int64_t> pts = {};
    /// PES_scrambling_control is set.
    bool isScrambled = false;
};

/// No header is longer.
inline constexpr std::size_t kLongestPesHeader = 9 + 255;

/// @param inBytes from the start code prefix on, as many as there are.
PesHeader ParsePesHeader(std::span<const std::uint8_t> inBytes);

}  // namespace VexmoraHost
