// The parts of a transport packet and of the program tables that lead to the video (ISO/IEC 13818-1, 2.4).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace Vexmora {

inline constexpr std::uint8_t kTransportStreamSyncByte = 0x47;
inline constexpr std::size_t kTransportPacketSize = 188;
inline constexpr std::size_t kTransportStreamHeaderSize = 4;
inline constexpr std::uint32_t kPatPid = 0;

using TransportPacket = std::span<const std::uint8_t, kTransportPacketSize>;

inline std::uint32_t PacketPid(TransportPacket inPacket) {
    return (std::uint32_t{inPacket[1]} << 8 | inPacket[2]) & 0x1FFF;
}

/// Whether packets of this PID never hold video: the tables of fixed PID and null packets.
inline bool IsReservedPid(std::uint32_t inPid) {
    return inPid <= 2 || inPid >= 0x1FFD;
}

/// Where the video in a packet of the video PID begins: behind the adaptation field and, if a PES packet
/// begins here, behind its header. kTransportPacketSize when it holds none, or a header reaches beyond the
/// packet.
std::size_t VideoOffset(TransportPacket inPacket);

/// The PID of the program map table of the first program in a program association table, if the packet has a
/// table that begins right behind its header and lists one. What reaches beyond the packet is not looked at.
std::optional<std::uint32_t> FindPmtPid(TransportPacket inPacket);

/// The PID of the first ISO/IEC 13818-2 video in a program map table, which is taken to begin in this packet.
std::optional<std::uint32_t> FindVideoPid(TransportPacket inPacket);

}  // namespace Vexmora
