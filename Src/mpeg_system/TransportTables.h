// The program association and program map tables of a transport stream (ISO/IEC 13818-1, 2.4.4), as far as
// they lead to a program's streams. Each is taken to begin in the packet in hand, right behind a
// pointer_field of 0; what reaches beyond the packet is not looked at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "mpeg_system/TransportPacket.h"

namespace Vexmora {

/// stream_type (table 2-29).
inline constexpr std::uint8_t kStreamTypeMpeg2Video = 2;
inline constexpr std::uint8_t kStreamTypeMpeg1Audio = 3;
inline constexpr std::uint8_t kStreamTypeMpeg2Audio = 4;

/// The byte at inIndex of the table in a packet, table_id being byte 0.
inline std::uint8_t TableByte(TransportPacket inPacket, std::size_t inIndex) {
    return inPacket[kTransportStreamHeaderSize + 1 + inIndex];
}
/// pointer_field.
inline std::uint8_t PointerField(TransportPacket inPacket) {
    return inPacket[kTransportStreamHeaderSize];
}

/// The PID of the program map table of the first program that a program association table lists.
std::optional<std::uint32_t> FindProgramMapPid(TransportPacket inPacket);

/// One stream of a program.
struct ProgramMapEntry {
    std::uint8_t stream_type;
    std::uint32_t elementary_PID;
    /// Whether the reserved bits are as they must be.
    bool isRegular;
};

/// The streams that a program map table lists, one after the other.
class ProgramMapEntries {
  public:
    explicit ProgramMapEntries(TransportPacket inPacket);

    /// The next entry; none behind the last one. section_length counts at least inLeast bytes of it, the rest
    /// of its fixed part being there all the same.
    std::optional<ProgramMapEntry> Next(int inLeast = kFixedSize);

    /// Whether the descriptors of the entry before reach beyond what section_length counts.
    bool IsOverrun() const { return mLeft < 0; }

    /// Bytes of an entry without descriptors.
    static constexpr int kFixedSize = 5;

  private:
    const TransportPacket mPacket;
    std::size_t mAt;
    /// Bytes of entries that section_length still counts.
    int mLeft;
};

}  // namespace Vexmora
