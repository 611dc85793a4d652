// Cuts video into packets.
#include "Support/Repackage.h"

#include <algorithm>
#include <map>
#include <utility>

namespace Vexmora::Test {

Bytes Part(const Bytes& inBytes, std::size_t inBegin, std::size_t inEnd) {
    return {inBytes.data() + inBegin, inBytes.data() + std::min(inEnd, inBytes.size())};
}

namespace {

constexpr std::size_t kPayload = 184;

// Headers in front of a picture go with the picture before, but for the first.
std::vector<Bytes> PerPicture(const Bytes& inVideo) {
    std::vector<std::size_t> begins = StartCodes(inVideo);
    begins.front() = 0;
    begins.push_back(inVideo.size());
    std::vector<Bytes> units;
    for (std::size_t at = 0; at + 1 < begins.size(); ++at)
        units.push_back(Part(inVideo, begins[at], begins[at + 1]));
    return units;
}

std::vector<Bytes> Chunks(const Bytes& inBytes, std::size_t inSize) {
    std::vector<Bytes> chunks;
    for (std::size_t at = 0; at < inBytes.size(); at += inSize)
        chunks.push_back(Part(inBytes, at, at + inSize));
    return chunks;
}

void AddPackets(unsigned inPid, const Bytes& inUnit, Packets& ioPackets) {
    bool isFirst = true;
    for (const Bytes& chunk : Chunks(inUnit, kPayload)) {
        ioPackets.push_back(TransportPacket(inPid, std::exchange(isFirst, false), chunk));
    }
}

// table_id and what follows section_length, as the packets of a section.
void AddSection(unsigned inPid, unsigned inTable, const Bytes& inBody, Packets& ioPackets) {
    BitWriter writer;
    const Bytes head = writer.Put(8, inTable).Put(4, 0xB).Put(12, inBody.size() + 4).Take();
    Bytes section = Join({head, inBody});
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : section) {
        for (int bit = 7; bit >= 0; --bit) {
            const bool isSet = (crc >> 31 ^ (byte >> bit & 1u)) != 0;
            crc = crc << 1 ^ (isSet ? 0x04C11DB7u : 0u);
        }
    }
    section = Join({Bytes{0}, section, BitWriter().Put(32, crc).Take()});
    section.resize((section.size() + kPayload - 1) / kPayload * kPayload, 0xFF);
    AddPackets(inPid, section, ioPackets);
}

}  // namespace

Packets VideoPackets(unsigned inPid, const Bytes& inVideo, std::size_t inHeaderStuffing) {
    Packets packets;
    std::uint64_t pts = 90'000;
    for (const Bytes& unit : PerPicture(inVideo)) {
        Bytes pes = PesPacket(0xE0, unit, pts += 3'600, inHeaderStuffing);
        pes[4] = pes[5] = 0;
        AddPackets(inPid, pes, packets);
    }
    return packets;
}

Packets Tables(const std::vector<Program>& inPrograms, unsigned inVersion) {
    Packets packets;
    const auto header = [inVersion](unsigned inId) {
        BitWriter writer;
        return writer.Put(16, inId).Put(2, 3).Put(5, inVersion).Put(1, 1).Put(16, 0);
    };
    BitWriter association = header(1);
    for (const Program& program : inPrograms)
        association.Put(16, program.number).Put(3, 7).Put(13, program.mapPid);
    AddSection(0, 0, association.Take(), packets);
    for (const Program& program : inPrograms) {
        constexpr unsigned kDescriptors = 160;
        BitWriter map = header(program.number);
        map.Put(16, 0xFFFF).Put(4, 0xF).Put(12, kDescriptors).Put(8, 0xFE).Put(8, kDescriptors - 2);
        for (unsigned byte = 2; byte < kDescriptors; ++byte) map.Put(8, byte);
        for (const auto& [type, pid] : program.streams) {
            map.Put(8, type).Put(3, 7).Put(13, pid).Put(4, 0xF).Put(12, 6);
            map.Put(16, 0x0A04).Put(32, 0x656E6700);  // "eng"
        }
        AddSection(program.mapPid, 2, map.Take(), packets);
    }
    return packets;
}

Packets Mix(const Packets& inOne, const Packets& inOther) {
    Packets mixed;
    std::size_t one = 0;
    std::size_t other = 0;
    while (one + other < inOne.size() + inOther.size()) {
        const bool isOther =
            one == inOne.size() || (other < inOther.size() && other * inOne.size() <= one * inOther.size());
        mixed.push_back(isOther ? inOther[other++] : inOne[one++]);
    }
    return mixed;
}

Packets WithTables(const Packets& inPackets, const Packets& inTables, std::size_t inDistance,
                   std::size_t inFirst) {
    Packets packets;
    for (std::size_t at = 0; at < inPackets.size(); ++at) {
        if (at >= inFirst && (at - inFirst) % inDistance == 0)
            packets.insert(packets.end(), inTables.begin(), inTables.end());
        packets.push_back(inPackets[at]);
    }
    return packets;
}

Bytes Together(Packets inPackets, std::size_t inPacketSize) {
    Bytes bytes;
    std::map<unsigned, unsigned> counters;
    for (Bytes& packet : inPackets) {
        unsigned& counter = counters[(packet[1] & 0x1Fu) << 8 | packet[2]];
        const bool hasPayload = (packet[3] & 0x10) != 0;
        packet[3] = static_cast<std::uint8_t>((packet[3] & 0xF0) | (counter & 0x0F));
        counter += hasPayload ? 1u : 0u;
        if (inPacketSize == 192) bytes.insert(bytes.end(), 4, 0x12);
        bytes.insert(bytes.end(), packet.begin(), packet.end());
        if (inPacketSize == 204) bytes.insert(bytes.end(), 16, 0x34);
    }
    return bytes;
}

Packets Split(const Bytes& inTransportStream) {
    return Chunks(inTransportStream, 188);
}

Bytes InProgramStream(const Bytes& inVideo, const ProgramForm& inForm) {
    constexpr std::size_t kPackPayload = 2'000;
    constexpr std::size_t kMpeg2Header = 14;  // with a PTS
    Bytes stream;
    for (const Bytes& unit : inForm.isOpen ? PerPicture(inVideo) : Chunks(inVideo, kPackPayload)) {
        Bytes packet = PesPacket(inForm.streamId, unit, 3'600);
        if (inForm.isOpen) packet[4] = packet[5] = 0;
        Bytes pack = inForm.hasPacks ? PackHeader(3) : Bytes{};
        if (inForm.isMpeg1) {
            // Stuffing, a buffer's size, and a PTS.
            const Bytes fields{0xFF, 0xFF, 0x60, 0x20, 0x21, 0x00, 0x01, 0x1C, 0x21};
            const std::size_t length = fields.size() + unit.size();
            const Bytes start{0,
                              0,
                              1,
                              packet[3],
                              static_cast<std::uint8_t>(length >> 8),
                              static_cast<std::uint8_t>(length)};
            packet = Join({start, fields, Part(packet, kMpeg2Header, packet.size())});
            if (inForm.hasPacks) pack = {0, 0, 1, 0xBA, 0x21, 0, 1, 0, 1, 0x80, 0, 1};
        }
        stream.insert(stream.end(), pack.begin(), pack.end());
        stream.insert(stream.end(), packet.begin(), packet.end());
    }
    return stream;
}

}  // namespace Vexmora::Test
