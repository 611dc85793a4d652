// Composing video syntax, program and transport packets.
#include "Support/StreamBuilder.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace Vexmora::Test {

namespace {

BitWriter StartCode(unsigned inCode) {
    BitWriter writer;
    writer.Put(32, 0x100 | inCode);
    return writer;
}

void Append(Bytes& ioBytes, std::span<const std::uint8_t> inMore) {
    ioBytes.insert(ioBytes.end(), inMore.begin(), inMore.end());
}

}  // namespace

Bytes Join(std::initializer_list<Bytes> inParts) {
    Bytes all;
    for (const Bytes& part : inParts) Append(all, part);
    return all;
}

BitWriter& BitWriter::Put(unsigned inBitCount, std::uint64_t inValue) {
    while (inBitCount-- > 0) {
        if (mBitCount++ % 8 == 0) mBytes.push_back(0);
        const auto bit = static_cast<unsigned>(inValue >> inBitCount & 1);
        mBytes.back() = static_cast<std::uint8_t>(mBytes.back() | bit << (8 - mBitCount % 8) % 8);
    }
    return *this;
}

Bytes SequenceHeader(const Sequence& inSequence) {
    return StartCode(0xB3)
        .Put(12, inSequence.width & 0xFFF)
        .Put(12, inSequence.height & 0xFFF)
        .Put(4, inSequence.aspect_ratio_information)
        .Put(4, inSequence.frame_rate_code)
        .Put(18, 1000)  // bit_rate_value
        .Put(1, 1)
        .Put(10, 20)  // vbv_buffer_size_value
        .Put(3, 0)    // constrained_parameters_flag, no quantiser matrices
        .Take();
}

Bytes SequenceExtension(const Sequence& inSequence) {
    return StartCode(0xB5)
        .Put(4, 1)
        .Put(8, 0x48)  // main profile, main level
        .Put(1, inSequence.progressive_sequence)
        .Put(2, 1)  // 4:2:0
        .Put(2, inSequence.width >> 12)
        .Put(2, inSequence.height >> 12)
        .Put(12, 0)
        .Put(1, 1)
        .Put(9, 0)  // vbv_buffer_size_extension, low_delay
        .Put(2, inSequence.frame_rate_extension_n)
        .Put(5, inSequence.frame_rate_extension_d)
        .Take();
}

Bytes SequenceDisplayExtension(unsigned inWidth, unsigned inHeight, unsigned inVideoFormat,
                               std::optional<ColourDescription> inColour) {
    BitWriter writer = StartCode(0xB5);
    writer.Put(4, 2).Put(3, inVideoFormat).Put(1, inColour.has_value());
    if (inColour) {
        writer.Put(8, inColour->colour_primaries)
            .Put(8, inColour->transfer_characteristics)
            .Put(8, inColour->matrix_coefficients);
    }
    return writer.Put(14, inWidth).Put(1, 1).Put(14, inHeight).Take();
}

Bytes GopHeader(bool inClosed, bool inBrokenLink) {
    return StartCode(0xB8).Put(12, 0).Put(1, 1).Put(12, 0).Put(1, inClosed).Put(1, inBrokenLink).Take();
}

Bytes SequenceEnd() {
    return StartCode(0xB7).Take();
}

Bytes PictureHeader(unsigned inTemporalReference, unsigned inType) {
    BitWriter writer = StartCode(0x00);
    writer.Put(10, inTemporalReference).Put(3, inType).Put(16, 0xFFFF);
    if (inType >= kPictureTypeP) writer.Put(4, 7);  // full_pel_forward_vector, forward_f_code
    if (inType == kPictureTypeB) writer.Put(4, 7);
    return writer.Put(1, 0).Take();
}

Bytes PictureCodingExtension(const PictureFlags& inFlags) {
    BitWriter bits = StartCode(0xB5);
    bits.Put(4, 8);
    for (const auto& direction : inFlags.f_code) {
        for (const unsigned f_code : direction) bits.Put(4, f_code);
    }
    return bits.Put(2, inFlags.intra_dc_precision)
        .Put(2, inFlags.picture_structure)
        .Put(1, inFlags.top_field_first)
        .Put(1, inFlags.frame_pred_frame_dct)
        .Put(1, inFlags.concealment_motion_vectors)
        .Put(1, inFlags.q_scale_type)
        .Put(1, inFlags.intra_vlc_format)
        .Put(1, inFlags.alternate_scan)
        .Put(1, inFlags.repeat_first_field)
        .Put(1, inFlags.progressive_frame)  // chroma_420_type
        .Put(1, inFlags.progressive_frame)
        .Put(1, 0)  // composite_display_flag
        .Take();
}

Bytes Slice(std::size_t inSize) {
    Bytes bytes = StartCode(0x01).Take();
    for (std::size_t index = 0; index < inSize; ++index) {
        bytes.push_back(static_cast<std::uint8_t>(0x80 | index % 64));
    }
    return bytes;
}

Bytes Picture(unsigned inTemporalReference, unsigned inType, std::size_t inSliceSize,
              const PictureFlags& inFlags) {
    return Join(
        {PictureHeader(inTemporalReference, inType), PictureCodingExtension(inFlags), Slice(inSliceSize)});
}

std::vector<std::size_t> StartCodes(const Bytes& inBytes, std::uint8_t inFirst, std::uint8_t inLast) {
    static constexpr std::array<std::uint8_t, 3> kPrefix{0, 0, 1};
    std::vector<std::size_t> found;
    for (auto at = inBytes.begin();; ++at) {
        at = std::search(at, inBytes.end(), kPrefix.begin(), kPrefix.end());
        if (inBytes.end() - at < 4) return found;
        if (at[3] >= inFirst && at[3] <= inLast)
            found.push_back(static_cast<std::size_t>(at - inBytes.begin()));
    }
}

Bytes PesPacket(unsigned inStreamId, std::span<const std::uint8_t> inPayload,
                std::optional<std::uint64_t> inPts, std::size_t inHeaderStuffing) {
    const std::size_t headerData = (inPts ? 5 : 0) + inHeaderStuffing;
    BitWriter writer = StartCode(inStreamId);
    writer.Put(16, 3 + headerData + inPayload.size()).Put(8, 0x80);
    writer.Put(2, inPts ? 2 : 0).Put(6, 0).Put(8, headerData);
    if (inPts) {
        writer.Put(4, 2).Put(3, *inPts >> 30).Put(1, 1);
        writer.Put(15, *inPts >> 15).Put(1, 1).Put(15, *inPts).Put(1, 1);
    }
    Bytes packet = writer.Take();
    packet.insert(packet.end(), inHeaderStuffing, 0xFF);
    Append(packet, inPayload);
    return packet;
}

Bytes PackHeader(unsigned inStuffing) {
    BitWriter writer = StartCode(0xBA);
    writer.Put(2, 1)
        .Put(3, 0)
        .Put(1, 1)
        .Put(15, 0x1234)
        .Put(1, 1)
        .Put(15, 0x2345)
        .Put(1, 1)
        .Put(9, 0)
        .Put(1, 1);
    writer.Put(22, 25000).Put(2, 3).Put(5, 31).Put(3, inStuffing);
    Bytes header = writer.Take();
    header.insert(header.end(), inStuffing, 0xFF);
    return header;
}

Bytes SystemHeader(unsigned inAudioBound, std::initializer_list<unsigned> inStreamIds) {
    BitWriter writer = StartCode(0xBB);
    writer.Put(16, 6 + 3 * inStreamIds.size()).Put(1, 1).Put(22, 25000).Put(1, 1);
    writer.Put(6, inAudioBound).Put(2, 0).Put(2, 3).Put(1, 1).Put(5, 1).Put(1, 0).Put(7, 0x7F);
    for (const unsigned streamId : inStreamIds) writer.Put(8, streamId).Put(2, 3).Put(14, 0x20E8);
    return writer.Take();
}

Bytes PaddingPacket(std::size_t inSize) {
    Bytes packet = StartCode(0xBE).Put(16, inSize).Take();
    packet.insert(packet.end(), inSize, 0xFF);
    return packet;
}

Bytes TransportPacket(unsigned inPid, bool inUnitStart, std::span<const std::uint8_t> inPayload,
                      unsigned inContinuityCounter) {
    if (inPayload.size() > 184) throw std::length_error("transport payload");
    const std::size_t stuffing = 184 - inPayload.size();
    BitWriter writer;
    writer.Put(8, 0x47).Put(1, 0).Put(1, inUnitStart).Put(1, 0).Put(13, inPid);
    writer.Put(2, 0).Put(2, stuffing > 0 ? 3 : 1).Put(4, inContinuityCounter % 16);
    if (stuffing > 0) writer.Put(8, stuffing - 1);
    if (stuffing > 1) writer.Put(8, 0);
    Bytes packet = writer.Take();
    packet.insert(packet.end(), stuffing > 2 ? stuffing - 2 : 0, 0xFF);
    Append(packet, inPayload);
    return packet;
}

// A table section in one packet: pointer_field, the section with its CRC (13818-1, annex A), padding.
static Bytes TablePacket(unsigned inPid, Bytes inSection) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : inSection) {
        crc ^= static_cast<std::uint32_t>(byte) << 24;
        for (int bit = 0; bit < 8; ++bit) crc = (crc << 1) ^ ((crc >> 31) != 0 ? 0x04C11DB7U : 0);
    }
    Bytes payload = Join({{0}, inSection, BitWriter().Put(32, crc).Take()});
    payload.resize(184, 0xFF);
    return TransportPacket(inPid, true, payload);
}

Bytes PatPacket(unsigned inPmtPid) {
    BitWriter section;
    section.Put(8, 0).Put(4, 0xB).Put(12, 13).Put(16, 1).Put(8, 0xC1).Put(16, 0);
    return TablePacket(0, section.Put(16, 1).Put(3, 7).Put(13, inPmtPid).Take());
}

Bytes PmtPacket(unsigned inPmtPid, std::initializer_list<TableEntry> inStreams) {
    BitWriter section;
    section.Put(8, 2).Put(4, 0xB).Put(12, 13 + 5 * inStreams.size()).Put(16, 1).Put(8, 0xC1).Put(16, 0);
    section.Put(3, 7).Put(13, kVideoPid).Put(4, 15).Put(12, 0);
    for (const TableEntry& entry : inStreams) {
        section.Put(8, entry.streamType).Put(3, 7).Put(13, entry.pid).Put(4, 15).Put(12, 0);
    }
    return TablePacket(inPmtPid, section.Take());
}

const Packetised::Piece& Packetised::PieceOf(std::size_t inVideoPosition) const {
    const auto after = std::upper_bound(
        pieces.begin(), pieces.end(), inVideoPosition,
        [](std::size_t inPosition, const Piece& inPiece) { return inPosition < inPiece.videoBegin; });
    return *(after - 1);
}

std::size_t Packetised::PacketPosition(std::size_t inVideoPosition) const {
    return pieces.empty() ? inVideoPosition : PieceOf(inVideoPosition).packetPosition;
}

std::size_t Packetised::StreamPosition(std::size_t inVideoPosition) const {
    if (pieces.empty()) return inVideoPosition;
    const Piece& piece = PieceOf(inVideoPosition);
    return piece.payloadPosition + (inVideoPosition - piece.videoBegin);
}

void Packetised::AddVideoPacket(const Bytes& inPacket, std::size_t inHeaderSize,
                                std::span<const std::uint8_t> inPayload) {
    if (!inPayload.empty()) pieces.push_back({video.size(), bytes.size(), bytes.size() + inHeaderSize});
    Append(video, inPayload);
    Append(bytes, inPacket);
}

Packetised Elementary(const Bytes& inVideo) {
    return {inVideo, inVideo, {}};
}

Packetised ProgramStream(const Bytes& inVideo, const Packaging& inPackaging) {
    Packetised stream;
    std::span<const std::uint8_t> rest = inVideo;
    for (std::size_t number = 0; !rest.empty(); ++number) {
        const auto payload = rest.first(
            std::min(rest.size(), inPackaging.payloadSizes[number % inPackaging.payloadSizes.size()]));
        rest = rest.subspan(payload.size());
        if (inPackaging.before) Append(stream.bytes, inPackaging.before(number));
        const auto pts = inPackaging.pts ? inPackaging.pts(number) : std::nullopt;
        const Bytes packet = PesPacket(0xE0, payload, pts, inPackaging.headerStuffing);
        stream.AddVideoPacket(packet, packet.size() - payload.size(), payload);
    }
    return stream;
}

Packetised TransportStream(const Bytes& inVideo, const Packaging& inPackaging) {
    Packetised stream;
    std::span<const std::uint8_t> rest = inVideo;
    for (std::size_t number = 0; !rest.empty(); ++number) {
        const bool unitStart = number % inPackaging.unitPackets == 0;
        const std::size_t unit = number / inPackaging.unitPackets;
        const auto pts = unitStart && inPackaging.pts ? inPackaging.pts(unit) : std::nullopt;
        const Bytes header = unitStart ? PesPacket(0xE0, {}, pts, inPackaging.headerStuffing) : Bytes();
        const auto payload = rest.first(
            std::min({rest.size(), inPackaging.payloadSizes[number % inPackaging.payloadSizes.size()],
                      184 - header.size()}));
        rest = rest.subspan(payload.size());
        if (inPackaging.before) Append(stream.bytes, inPackaging.before(number));
        const Bytes all = Join({header, Bytes(payload.begin(), payload.end())});
        stream.AddVideoPacket(TransportPacket(kVideoPid, unitStart, all, static_cast<unsigned>(number)),
                              188 - payload.size(), payload);
    }
    return stream;
}

}  // namespace Vexmora::Test
