// The packets of a transport stream (ISO/IEC 13818-1, 2.4.3): 188 bytes, of which the header and the
// adaptation field precede the payload.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Vexmora {

inline constexpr std::uint8_t kTransportStreamSyncByte = 0x47;
inline constexpr std::size_t kTransportPacketSize = 188;
inline constexpr std::size_t kTransportStreamHeaderSize = 4;

using TransportPacket = std::span<const std::uint8_t, kTransportPacketSize>;

/// The PID of program association tables.
inline constexpr std::uint32_t kProgramAssociationPid = 0;

/// PIDs that may carry what is looked for; those below and above are reserved (table 2-3) or null packets.
struct PidRange {
    std::uint32_t first;
    std::uint32_t last;

    constexpr bool Contains(std::uint32_t inPid) const { return first <= inPid && inPid <= last; }
};

inline std::uint32_t PacketPid(TransportPacket inPacket) {
    return (inPacket[1] & 0x1Fu) << 8 | inPacket[2];
}
/// transport_error_indicator.
inline bool IsDamaged(TransportPacket inPacket) {
    return (inPacket[1] & 0x80) != 0;
}
/// payload_unit_start_indicator: the payload begins a PES packet or a table.
inline bool StartsUnit(TransportPacket inPacket) {
    return (inPacket[1] & 0x40) != 0;
}
// adaptation_field_control
inline bool HasAdaptationField(TransportPacket inPacket) {
    return (inPacket[3] & 0x20) != 0;
}
inline bool HasPayload(TransportPacket inPacket) {
    return (inPacket[3] & 0x10) != 0;
}

/// Where the payload begins if there is one; kTransportPacketSize when the adaptation field says that it
/// reaches to the packet's end or beyond.
inline std::size_t PayloadOffset(TransportPacket inPacket) {
    if (!HasAdaptationField(inPacket)) return kTransportStreamHeaderSize;
    const std::size_t adaptation_field_length = inPacket[kTransportStreamHeaderSize];
    return std::min(kTransportStreamHeaderSize + 1 + adaptation_field_length, kTransportPacketSize);
}

}  // namespace Vexmora
