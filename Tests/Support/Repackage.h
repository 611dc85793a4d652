// Puts video of real encoders into the packagings that recordings come in.
#pragma once

#include "Support/StreamBuilder.h"

namespace Vexmora::Test {

/// From inBegin to inEnd, or to the end of inBytes.
Bytes Part(const Bytes& inBytes, std::size_t inBegin, std::size_t inEnd = SIZE_MAX);

/// Transport packets of 188 bytes, one after the other.
using Packets = std::vector<Bytes>;

/// The video in PES packets, one a picture and without a length, continuity counters in order.
/// @param inHeaderStuffing bytes in each PES header: with 180 and more it reaches over packets.
Packets VideoPackets(unsigned inPid, const Bytes& inVideo, std::size_t inHeaderStuffing = 0);

struct Program {
    unsigned number;
    unsigned mapPid;
    std::vector<TableEntry> streams;
};
/// An association table and the maps of the programs, each as many packets as it takes: 40 bytes of
/// descriptors in front of the streams, an English language descriptor for each.
Packets Tables(const std::vector<Program>& inPrograms, unsigned inVersion = 0);

/// Mixes packets evenly; of each list they stay in order.
Packets Mix(const Packets& inOne, const Packets& inOther);
/// Puts inTables in front of every inDistance-th packet, from the packet inFirst on.
Packets WithTables(const Packets& inPackets, const Packets& inTables, std::size_t inDistance,
                   std::size_t inFirst = 0);
/// One run of bytes, every PID's continuity counters set anew: packets of 188 bytes, of 192 with a time stamp
/// before each, or of 204 with parity behind.
Bytes Together(Packets inPackets, std::size_t inPacketSize = 188);
Packets Split(const Bytes& inTransportStream);

struct ProgramForm {
    unsigned streamId = 0xE0;
    /// Packs and packets of ISO/IEC 11172-1.
    bool isMpeg1 = false;
    bool hasPacks = true;
    /// PES packets, one a picture, do not tell their length.
    bool isOpen = false;
};
Bytes InProgramStream(const Bytes& inVideo, const ProgramForm& inForm);

}  // namespace Vexmora::Test
