// The fields of an MPEG-2 PES packet header that are read (ISO/IEC 13818-1, 2.4.3.6), by their distance from
// the packet's start code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace Vexmora {

/// Bytes up to and including the bits that tell the syntax, PES_header_data_length, and a PTS.
inline constexpr std::size_t kPesSyntaxSize = 7;
inline constexpr std::size_t kPesFixedHeaderSize = 9;
inline constexpr std::size_t kPesHeaderSizeWithPts = 14;

/// Whether the header has the MPEG-2 syntax; needs kPesSyntaxSize bytes.
inline bool IsMpeg2Pes(const std::uint8_t* inPacket) {
    return (inPacket[6] & 0xC0) == 0x80;
}

/// Bytes of the whole header with MPEG-2 syntax; needs kPesFixedHeaderSize bytes.
inline std::uint32_t PesHeaderSize(const std::uint8_t* inPacket) {
    return static_cast<std::uint32_t>(kPesFixedHeaderSize) + inPacket[8];
}

/// The PTS, 90 kHz ticks, of a packet that has inPacket in it: none when the header has another syntax,
/// announces none, or ends before it.
inline std::optional<std::int64_t> ReadPts(std::span<const std::uint8_t> inPacket) {
    if (inPacket.size() < kPesHeaderSizeWithPts || !IsMpeg2Pes(inPacket.data())) return {};
    const bool isAnnounced = (inPacket[7] & 0x80) != 0;  // PTS_DTS_flags
    if (!isAnnounced) return {};
    const auto byte = [inPacket](std::size_t inIndex) {
        return static_cast<std::int64_t>(inPacket[inIndex]);
    };
    return ((byte(9) >> 1) & 7) << 30 | (byte(10) << 7 | byte(11) >> 1) << 15 |
           (byte(12) << 7 | byte(13) >> 1);
}

}  // namespace Vexmora
