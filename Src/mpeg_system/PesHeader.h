// The fields of an MPEG-2 PES packet header that indexing reads (ISO/IEC 13818-1, 2.4.3.6), by their distance
// from the packet's start code.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vexmora {

/// Bytes up to and including the bits that tell the syntax, PES_header_data_length, and a PTS.
inline constexpr std::size_t kPesSyntaxSize = 7;
inline constexpr std::size_t kPesFixedHeaderSize = 9;
inline constexpr std::size_t kPesHeaderSizeWithPts = 14;

inline constexpr std::uint8_t kAudioStreamId = 0xC0;
inline constexpr std::uint8_t kVideoStreamId = 0xE0;
inline constexpr std::uint8_t kLastVideoStreamId = 0xEF;
inline constexpr std::uint8_t kPrivateStream1Id = 0xBD;

/// Whether the header has the MPEG-2 syntax; needs kPesSyntaxSize bytes.
inline bool IsMpeg2Pes(const std::uint8_t* inPacket) {
    return (inPacket[6] & 0xC0) == 0x80;
}

/// Bytes of the whole header with MPEG-2 syntax; needs kPesFixedHeaderSize bytes.
inline std::uint32_t PesHeaderSize(const std::uint8_t* inPacket) {
    return static_cast<std::uint32_t>(kPesFixedHeaderSize) + inPacket[8];
}

/// Whether PTS_DTS_flags announce a PTS; needs kPesFixedHeaderSize bytes of MPEG-2 syntax.
inline bool AnnouncesPts(const std::uint8_t* inPacket) {
    return (inPacket[7] & 0x80) != 0;
}

/// The PTS, 90 kHz ticks; needs kPesHeaderSizeWithPts bytes.
inline std::int64_t ReadPts(const std::uint8_t* inPacket) {
    const auto byte = [inPacket](std::size_t inIndex) {
        return static_cast<std::int64_t>(inPacket[inIndex]);
    };
    return ((byte(9) >> 1) & 7) << 30 | (byte(10) << 7 | byte(11) >> 1) << 15 |
           (byte(12) << 7 | byte(13) >> 1);
}

/// Whether the bytes begin with the start code of stream inStreamId; needs 4 bytes.
inline bool StartsStream(const std::uint8_t* inBytes, std::uint8_t inStreamId) {
    return inBytes[0] == 0 && inBytes[1] == 0 && inBytes[2] == 1 && inBytes[3] == inStreamId;
}

}  // namespace Vexmora
