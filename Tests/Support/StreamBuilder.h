// A small builder of MPEG-2 streams, bit by bit, in the three packagings, and a way to run the indexer over
// them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "Vexmora/Vexmora.h"

namespace Vexmora::Test {

using Bytes = std::vector<std::uint8_t>;

Bytes Join(std::initializer_list<Bytes> inParts);

/// Writes values most significant bit first.
class BitWriter {
  public:
    BitWriter& Put(unsigned inBitCount, std::uint64_t inValue);
    /// The bytes so far, the last one filled with zero bits.
    Bytes Take() { return std::move(mBytes); }

  private:
    Bytes mBytes;
    unsigned mBitCount = 0;
};

// ---- Video elementary stream (ISO/IEC 13818-2, 6.2) -------------------------------------------------------

struct Sequence {
    unsigned width = 64;
    unsigned height = 48;
    unsigned aspect_ratio_information = 2;
    unsigned frame_rate_code = 3;
    bool progressive_sequence = false;
    unsigned frame_rate_extension_n = 0;
    unsigned frame_rate_extension_d = 0;
};
/// The low 12 bits of the size here, bits 12 and 13 in the extension.
Bytes SequenceHeader(const Sequence& inSequence = {});
Bytes SequenceExtension(const Sequence& inSequence = {});

struct ColourDescription {
    unsigned colour_primaries;
    unsigned transfer_characteristics;
    unsigned matrix_coefficients;
};
Bytes SequenceDisplayExtension(unsigned inWidth, unsigned inHeight, unsigned inVideoFormat = 5,
                               std::optional<ColourDescription> inColour = {});
Bytes GopHeader(bool inClosed = true, bool inBrokenLink = false);
Bytes SequenceEnd();

/// What the picture coding extension says.
struct PictureFlags {
    std::array<std::array<unsigned, 2>, 2> f_code{{{2, 2}, {2, 2}}};
    unsigned intra_dc_precision = 0;
    unsigned picture_structure = 3;
    bool top_field_first = true;
    bool frame_pred_frame_dct = true;
    bool concealment_motion_vectors = false;
    bool q_scale_type = false;
    bool intra_vlc_format = false;
    bool alternate_scan = false;
    bool repeat_first_field = false;
    bool progressive_frame = false;
};
Bytes PictureHeader(unsigned inTemporalReference, unsigned inType);
Bytes PictureCodingExtension(const PictureFlags& inFlags = {});
/// A slice start code and inSize bytes of filler without zeros and without 0x47.
Bytes Slice(std::size_t inSize = 40);
/// A whole picture: header, coding extension and one slice.
Bytes Picture(unsigned inTemporalReference, unsigned inType, std::size_t inSliceSize = 40,
              const PictureFlags& inFlags = {});

/// Where the start codes from inFirst to inLast are, those of pictures by default: byte by byte, ascending.
std::vector<std::size_t> StartCodes(const Bytes& inBytes, std::uint8_t inFirst = 0, std::uint8_t inLast = 0);

// ---- Packets (ISO/IEC 13818-1, 2.4 and 2.5) ---------------------------------------------------------------

Bytes PesPacket(unsigned inStreamId, std::span<const std::uint8_t> inPayload,
                std::optional<std::uint64_t> inPts = {}, std::size_t inHeaderStuffing = 0);
Bytes PackHeader(unsigned inStuffing = 0);
/// One system header entry per stream id; audio_bound as given.
Bytes SystemHeader(unsigned inAudioBound, std::initializer_list<unsigned> inStreamIds);
Bytes PaddingPacket(std::size_t inSize);

/// 188 bytes. A payload (at most 184 bytes) that does not fill them is preceded by adaptation field stuffing.
Bytes TransportPacket(unsigned inPid, bool inUnitStart, std::span<const std::uint8_t> inPayload,
                      unsigned inContinuityCounter = 0);
Bytes PatPacket(unsigned inPmtPid);
struct TableEntry {
    unsigned streamType;
    unsigned pid;
};
Bytes PmtPacket(unsigned inPmtPid, std::initializer_list<TableEntry> inStreams);

/// A video stream inside its packaging, with the place of every piece of it. An elementary stream has no
/// pieces: every byte is its own packet.
struct Packetised {
    struct Piece {
        std::size_t videoBegin;
        std::size_t packetPosition;
        std::size_t payloadPosition;
    };
    Bytes bytes;
    Bytes video;
    std::vector<Piece> pieces;

    std::size_t PacketPosition(std::size_t inVideoPosition) const;
    std::size_t StreamPosition(std::size_t inVideoPosition) const;
    /// Adds the next inPayload bytes of the video, which begin inHeaderSize bytes into inPacket.
    void AddVideoPacket(const Bytes& inPacket, std::size_t inHeaderSize,
                        std::span<const std::uint8_t> inPayload);

  private:
    const Piece& PieceOf(std::size_t inVideoPosition) const;
};
Packetised Elementary(const Bytes& inVideo);

/// How to cut a video stream into packets: payload sizes used in turn, and what precedes each packet.
struct Packaging {
    std::vector<std::size_t> payloadSizes = {100};
    /// Called with the number of the video packet that follows; its bytes go in between.
    std::function<Bytes(std::size_t)> before = {};
    /// PTS of a video PES packet by its number (transport: every PES packet is one of unitPackets packets).
    std::function<std::optional<std::uint64_t>(std::size_t)> pts = {};
    std::size_t headerStuffing = 0;
    std::size_t unitPackets = 5;
};
Packetised ProgramStream(const Bytes& inVideo, const Packaging& inPackaging);
inline constexpr unsigned kVideoPid = 0x100;
inline constexpr unsigned kAudioPid = 0x101;
inline constexpr unsigned kPmtPid = 0x20;
/// The payload size of a packet that begins a PES packet counts without the PES header.
Packetised TransportStream(const Bytes& inVideo, const Packaging& inPackaging);

// ---- Indexing ---------------------------------------------------------------------------------------------

struct IndexResult {
    Vexmora_Status created = Vexmora_Failure;
    Vexmora_Status done = Vexmora_Failure;
    IndexHeader header{};
    std::vector<AudioAlignmentRun> plan;
    std::vector<FrameRecord> records;

    friend bool operator==(const IndexResult&, const IndexResult&) = default;
};

/// The indexer that the first bytes ask for, or the transport stream indexer whatever they are.
enum class Chosen { ByFirstBytes, Transport };
/// Indexes a stream of at least 5 bytes through the exported buffer indexer, handing it over in pieces that
/// end at inCuts (ascending positions) and at the end. Every piece is a block of its exact size.
IndexResult Index(const Bytes& inStream, const std::vector<std::size_t>& inCuts = {},
                  Chosen inChosen = Chosen::ByFirstBytes);

std::vector<std::size_t> FixedCuts(std::size_t inStreamSize, std::size_t inPieceSize);
std::vector<std::size_t> RandomCuts(std::size_t inStreamSize, std::size_t inSmallest, std::size_t inLargest,
                                    std::uint64_t inSeed);

/// The offset and the size that the record of each picture must have, in stream order: from the packet in
/// which its start code begins to the next picture start code, or to the end of the stream.
struct Extent {
    std::uint64_t offset;
    std::uint64_t size;
    friend bool operator==(const Extent&, const Extent&) = default;
    friend void PrintTo(const Extent& inExtent, std::ostream* outText) {
        *outText << inExtent.offset << '+' << inExtent.size;
    }
};
std::vector<Extent> ExpectedExtents(const Packetised& inStream);
/// What the records hold, in the same order.
std::vector<Extent> RecordedExtents(const IndexResult& inIndex);
/// Type, temporal_reference and deltas of every record, e.g. "I0 P1(-1) B2(-1+1) -" with "-" for a hole.
std::string Describe(const IndexResult& inIndex);

}  // namespace Vexmora::Test
