// Walking the entries of the two tables.
#include "mpeg_system/TransportTables.h"

namespace Vexmora {
namespace {

// By their distance from the start of the packet.
constexpr std::size_t kTable = kTransportStreamHeaderSize + 1;
constexpr std::size_t kSectionLength = kTable + 1;
constexpr std::size_t kAssociationEntries = kTable + 8;
constexpr std::size_t kProgramInfoLength = kTable + 10;
constexpr std::size_t kMapEntries = kTable + 12;
// Bytes that section_length counts before the entries and behind them (the CRC).
constexpr int kAssociationOverhead = 9;
constexpr int kMapOverhead = 13;

unsigned Bits12(TransportPacket inPacket, std::size_t inAt) {
    return (inPacket[inAt] & 0x0Fu) << 8 | inPacket[inAt + 1];
}

std::uint32_t Pid(TransportPacket inPacket, std::size_t inAt) {
    return (inPacket[inAt] & 0x1Fu) << 8 | inPacket[inAt + 1];
}

}  // namespace

std::optional<std::uint32_t> FindProgramMapPid(TransportPacket inPacket) {
    constexpr int kEntrySize = 4;
    int left = static_cast<int>(Bits12(inPacket, kSectionLength)) - kAssociationOverhead;
    for (std::size_t at = kAssociationEntries; left >= kEntrySize && at + kEntrySize <= inPacket.size();
         at += kEntrySize, left -= kEntrySize) {
        const bool isNetwork = inPacket[at] == 0 && inPacket[at + 1] == 0;  // program_number 0
        if (!isNetwork) return Pid(inPacket, at + 2);
    }
    return {};
}

ProgramMapEntries::ProgramMapEntries(TransportPacket inPacket) : mPacket(inPacket) {
    const unsigned program_info_length = Bits12(mPacket, kProgramInfoLength);
    mAt = kMapEntries + program_info_length;
    mLeft = static_cast<int>(Bits12(mPacket, kSectionLength)) - kMapOverhead -
            static_cast<int>(program_info_length);
}

std::optional<ProgramMapEntry> ProgramMapEntries::Next(int inLeast) {
    if (mLeft < inLeast || mAt + kFixedSize > mPacket.size()) return {};
    const std::size_t at = mAt;
    const unsigned size = kFixedSize + Bits12(mPacket, at + 3);  // with ES_info_length
    mAt += size;
    mLeft -= static_cast<int>(size);
    const bool isRegular = (mPacket[at + 1] & 0xE0) == 0xE0 && (mPacket[at + 3] & 0xF0) == 0xF0;
    return ProgramMapEntry{mPacket[at], Pid(mPacket, at + 1), isRegular};
}

}  // namespace Vexmora
