// Packet headers and the two program tables.
#include "Splitter/Splitter_TransportPacket.h"

#include <algorithm>

namespace Vexmora {
namespace {

constexpr unsigned kPayloadOnly = 1;
constexpr unsigned kAdaptationFieldAndPayload = 3;

using TableBytes = std::span<const std::uint8_t, kTransportPacketSize - kTransportStreamHeaderSize>;
constexpr std::uint8_t kVideoStreamType = 2;

std::uint32_t Word16(TableBytes inTable, std::size_t inAt) {
    return std::uint32_t{inTable[inAt]} << 8 | inTable[inAt + 1];
}
/// A length field of a table: the low 12 bits of two bytes.
std::uint32_t Length12(TableBytes inTable, std::size_t inAt) {
    return Word16(inTable, inAt) & 0xFFF;
}
std::uint32_t Pid13(TableBytes inTable, std::size_t inAt) {
    return Word16(inTable, inAt) & 0x1FFF;
}

}  // namespace

std::size_t VideoOffset(TransportPacket inPacket) {
    constexpr std::size_t kPesBytesBeforeHeaderLength = 8;
    const bool startsPes = (inPacket[1] & 0x40) != 0;
    const unsigned control = inPacket[3] >> 4 & 3;
    std::size_t at = kTransportStreamHeaderSize;
    if (control != kPayloadOnly && control != kAdaptationFieldAndPayload) return kTransportPacketSize;
    if (control == kAdaptationFieldAndPayload) at += std::size_t{1} + inPacket[at];
    if (startsPes) {
        at += kPesBytesBeforeHeaderLength;
        if (at >= kTransportPacketSize) return kTransportPacketSize;
        at += std::size_t{1} + inPacket[at];
    }
    return std::min(at, kTransportPacketSize);
}

std::optional<std::uint32_t> FindPmtPid(TransportPacket inPacket) {
    // Bytes from the pointer_field on; section_length counts from byte 4, and 5 header bytes and the CRC are
    // no entries.
    constexpr std::size_t kEntries = 9;
    constexpr std::size_t kEntrySize = 4;
    constexpr std::uint32_t kNotEntries = 9;
    const auto table = inPacket.subspan<kTransportStreamHeaderSize>();
    if (table[0] != 0) return {};
    const std::uint32_t length = std::max(Length12(table, 2), kNotEntries) - kNotEntries;
    const std::size_t end = kEntries + length / kEntrySize * kEntrySize;
    for (std::size_t at = kEntries; at + kEntrySize <= std::min(end, table.size()); at += kEntrySize) {
        const bool isNetwork = Word16(table, at) == 0;
        if (!isNetwork) return Pid13(table, at + 2);
    }
    return {};
}

std::optional<std::uint32_t> FindVideoPid(TransportPacket inPacket) {
    constexpr std::size_t kFixedBytes = 13;
    constexpr std::size_t kEntrySize = 5;
    const auto table = inPacket.subspan<kTransportStreamHeaderSize>();
    const std::size_t end = Length12(table, 2);  // the 4 bytes before the section proper make up for the CRC
    std::size_t at = kFixedBytes + Length12(table, 11);
    while (at < end && at + kEntrySize <= table.size()) {
        if (table[at] == kVideoStreamType) return Pid13(table, at + 1);
        at += kEntrySize + Length12(table, at + 3);
    }
    return {};
}

}  // namespace Vexmora
