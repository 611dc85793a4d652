// The program association and program map tables of a transport stream (ISO/IEC 13818-1, 2.4.4): which
// programs there are, and what streams they have.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "VexmoraHost/Programs.h"
#include "sources/TransportPackets.h"

namespace VexmoraHost {

inline constexpr std::uint16_t kAssociationPid = 0;

/// Puts the sections of one PID together.
class SectionAssembler {
  public:
    using Section = std::vector<std::uint8_t>;

    /// The sections that end in the packet, those with a wrong CRC left out.
    std::vector<Section> Feed(const TransportPacket& inPacket);

  private:
    void Append(std::span<const std::uint8_t> inBytes, std::vector<Section>& ioSections);

    Section mHeld;
    bool mIsInside = false;  // mHeld is the begin of a section; bytes that follow belong to it
};

/// What the tables say, kept up to date.
class ProgramTables {
  public:
    /// A program of the association table; its streams once its map was met.
    struct Program {
        ProgramInfo info;
        std::uint16_t mapPid = 0;
        bool hasMap = false;
    };

    ProgramTables() { mCarriers.set(kAssociationPid); }

    /// Whether tables are in the packets of this PID.
    bool Carries(std::uint16_t inPid) const { return mCarriers[inPid]; }
    /// Takes a packet of such a PID. True when a map was new or another than before.
    bool Feed(const TransportPacket& inPacket);
    /// In the order of the association table.
    const std::vector<Program>& Programs() const { return mPrograms; }
    /// Null where there is none.
    const Program* Find(std::uint16_t inNumber) const;

  private:
    void TakeAssociation(const SectionAssembler::Section& inSection);
    bool TakeMap(const SectionAssembler::Section& inSection, std::uint16_t inPid);

    std::bitset<kPidCount> mCarriers;
    std::map<std::uint16_t, SectionAssembler> mAssemblers;
    std::vector<Program> mPrograms;
    std::map<std::uint16_t, std::size_t> mPlaces;  // in mPrograms, by program number
};

}  // namespace VexmoraHost
