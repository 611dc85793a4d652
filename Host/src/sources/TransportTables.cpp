// Assembles and parses sections.
#include "sources/TransportTables.h"

#include <array>

#include "sources/StreamTypes.h"

namespace VexmoraHost {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kSectionHeader = 3;  // up to section_length
constexpr std::size_t kLongHeader = 8;     // up to last_section_number
constexpr std::size_t kCrcBytes = 4;
constexpr std::uint8_t kAssociationTable = 0;
constexpr std::uint8_t kMapTable = 2;
constexpr std::uint8_t kStuffing = 0xFF;

constexpr std::size_t Bits12(Bytes inBytes, std::size_t inAt) {
    return (inBytes[inAt] & 0x0Fu) << 8 | inBytes[inAt + 1];
}
constexpr std::uint16_t Bits13(Bytes inBytes, std::size_t inAt) {
    return static_cast<std::uint16_t>((inBytes[inAt] & 0x1Fu) << 8 | inBytes[inAt + 1]);
}
constexpr std::uint16_t Bits16(Bytes inBytes, std::size_t inAt) {
    return static_cast<std::uint16_t>(inBytes[inAt] << 8 | inBytes[inAt + 1]);
}

constexpr auto kCrcTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t crc = byte << 24;
        for (int bit = 0; bit < 8; ++bit) crc = crc << 1 ^ ((crc & 0x80000000) != 0 ? 0x04C11DB7u : 0u);
        table[byte] = crc;
    }
    return table;
}();

// Annex A: the CRC of a section with its CRC_32 is 0.
bool IsIntact(Bytes inSection) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : inSection) crc = crc << 8 ^ kCrcTable[crc >> 24 ^ byte];
    return crc == 0;
}

// Of the kind that is looked for, whole, in force, and not damaged.
bool IsUsable(Bytes inSection, std::uint8_t inTable) {
    return inSection.size() >= kLongHeader + kCrcBytes && inSection[0] == inTable &&
           (inSection[5] & 1) != 0 /* current_next_indicator */ && IsIntact(inSection);
}

}  // namespace

std::vector<SectionAssembler::Section> SectionAssembler::Feed(const TransportPacket& inPacket) {
    std::vector<Section> sections;
    Bytes payload = inPacket.Payload();
    if (!inPacket.StartsUnit()) {
        Append(payload, sections);
        return sections;
    }
    if (payload.empty() || payload[0] >= payload.size()) {
        mIsInside = false;
        return sections;
    }
    const std::size_t pointer_field = payload[0];
    Append(payload.subspan(1, pointer_field), sections);
    mIsInside = true;
    mHeld.clear();
    Append(payload.subspan(1 + pointer_field), sections);
    return sections;
}

void SectionAssembler::Append(Bytes inBytes, std::vector<Section>& ioSections) {
    if (!mIsInside) return;
    mHeld.insert(mHeld.end(), inBytes.begin(), inBytes.end());
    std::size_t at = 0;
    while (mHeld.size() - at >= kSectionHeader && mHeld[at] != kStuffing) {
        const std::size_t size = kSectionHeader + Bits12(mHeld, at + 1);
        if (mHeld.size() - at < size) break;
        const auto begin = mHeld.begin() + static_cast<std::ptrdiff_t>(at);
        ioSections.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(size));
        at += size;
    }
    mIsInside = mHeld.size() == at || mHeld[at] != kStuffing;
    mHeld.erase(mHeld.begin(), mHeld.begin() + static_cast<std::ptrdiff_t>(at));
}

bool ProgramTables::Feed(const TransportPacket& inPacket) {
    const std::uint16_t pid = inPacket.Pid();
    bool isChanged = false;
    for (const SectionAssembler::Section& section : mAssemblers[pid].Feed(inPacket)) {
        if (pid == kAssociationPid && IsUsable(section, kAssociationTable)) {
            TakeAssociation(section);
        } else if (pid != kAssociationPid && IsUsable(section, kMapTable)) {
            isChanged |= TakeMap(section, pid);
        }
    }
    return isChanged;
}

// Programs are added and their maps moved; one that a later table lacks may well come back.
void ProgramTables::TakeAssociation(const SectionAssembler::Section& inSection) {
    constexpr std::size_t kEntry = 4;
    for (std::size_t at = kLongHeader; at + kEntry <= inSection.size() - kCrcBytes; at += kEntry) {
        const std::uint16_t program_number = Bits16(inSection, at);
        if (program_number == 0) continue;  // network_PID
        const auto [place, isNew] = mPlaces.try_emplace(program_number, mPrograms.size());
        if (isNew) mPrograms.push_back({.info = {.number = program_number, .streams = {}}});
        mPrograms[place->second].mapPid = Bits13(inSection, at + 2);
    }
    mCarriers.reset();
    mCarriers.set(kAssociationPid);
    for (const Program& program : mPrograms) mCarriers.set(program.mapPid);
}

bool ProgramTables::TakeMap(const SectionAssembler::Section& inSection, std::uint16_t inPid) {
    constexpr std::size_t kFixed = kLongHeader + 4;  // up to program_info_length
    constexpr std::size_t kEntry = 5;
    const auto place = mPlaces.find(Bits16(inSection, 3));
    if (place == mPlaces.end() || inSection.size() < kFixed + kCrcBytes) return false;
    Program& program = mPrograms[place->second];
    if (program.mapPid != inPid) return false;
    const Bytes entries = Bytes(inSection).first(inSection.size() - kCrcBytes);
    std::vector<StreamInfo> streams;
    for (std::size_t at = kFixed + Bits12(inSection, kFixed - 2); at + kEntry <= entries.size();) {
        const std::size_t descriptors = at + kEntry;
        const std::size_t ES_info_length = std::min(Bits12(entries, at + 3), entries.size() - descriptors);
        streams.push_back(DescribeStream(entries[at], Bits13(entries, at + 1),
                                         entries.subspan(descriptors, ES_info_length)));
        at = descriptors + ES_info_length;
    }
    const bool isChanged = !program.hasMap || program.info.streams != streams;
    program.hasMap = true;
    program.info.streams = std::move(streams);
    return isChanged;
}

const ProgramTables::Program* ProgramTables::Find(std::uint16_t inNumber) const {
    const auto place = mPlaces.find(inNumber);
    return place == mPlaces.end() ? nullptr : &mPrograms[place->second];
}

}  // namespace VexmoraHost
