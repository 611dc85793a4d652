// Indexes the video of an MPEG transport stream (ISO/IEC 13818-1, 2.4): 188-byte packets, of which the
// program's tables, or else the first PES packets, tell which carry the video and the audio.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Indexer/Indexer.h"

namespace Vexmora {

inline constexpr std::size_t kTransportPacketSize = 188;
inline constexpr std::uint8_t kTransportStreamSyncByte = 0x47;
inline constexpr std::size_t kTransportStreamHeaderSize = 4;

/// Finds the packets in buffers cut anywhere, chooses the streams once, and feeds the video's payload.
class TransportStreamIndexer final : public PureVideoIndexer {
  public:
    TransportStreamIndexer() : PureVideoIndexer(kTransportScan) {}

    bool ScanBuffer(const std::uint8_t* inBuffer, std::uint64_t inSize, std::uint64_t inPosition) override;

    /// The transport packet in which the start code begins.
    std::uint64_t RecordOffsetFor(std::uint64_t inStartCodePosition) const override;
    bool IsTransportStream() const override { return true; }

  private:
    /// A PID that is not known yet; real ones have 13 bits.
    static constexpr std::uint32_t kUnknownPid = 65535;

    enum class SyncState {
        InStep,
        Searching,
        /// mPacketBuffer holds the start of a packet.
        PartialHeld,
    };

    /// A packet in hand, its position in the stream and the part of it that is payload.
    struct Packet {
        const std::uint8_t* bytes;
        std::uint64_t position;
        std::size_t payloadOffset;
        std::size_t payloadLength;

        bool StartsUnit() const { return (bytes[1] & 0x40) != 0; }
        std::uint32_t Pid() const { return (bytes[1] & 0x1Fu) << 8 | bytes[2]; }
        bool HasAdaptationField() const { return (bytes[3] & 0x20) != 0; }
        bool HasPayload() const { return (bytes[3] & 0x10) != 0; }
        const std::uint8_t* Payload() const { return bytes + payloadOffset; }
    };

    /// The bits of a packet's header that make it nothing but payload of a known stream, for a look at once:
    /// no error, no start of a unit, no adaptation field, and the PID.
    static constexpr std::uint32_t kPlainHeaderMask = 0xDFFF30;
    static constexpr std::uint32_t kPlainHeader = 0x000010;
    static constexpr std::uint32_t kNoPlainHeader = 0xFFFFFFFF;
    bool IsPlainVideo(const std::uint8_t* inPacket) const {
        const std::uint32_t header =
            std::uint32_t{inPacket[1]} << 16 | std::uint32_t{inPacket[2]} << 8 | inPacket[3];
        return (header & kPlainHeaderMask) == mPlainVideoHeader;
    }
    void LookForPlainVideo(std::uint32_t inPid);

    void CompletePacketBuffer(const std::uint8_t* inBytes, std::size_t inCount, std::uint64_t inEndPosition);
    void ProcessPacket(const std::uint8_t* inTransportPacket, std::uint64_t inPacketPosition);
    bool NotePesStart(const Packet& inPacket);
    void NoteAudioPts(const Packet& inPacket);
    void ProcessVideo(const Packet& inPacket);
    void FeedVideoPayload(const std::uint8_t* inTransportPacket, std::size_t inOffsetOfPayload,
                          std::uint64_t inPacketPosition);

    void ParseProgramAssociation(const std::uint8_t* inPacket);
    void ParseProgramMap(const std::uint8_t* inPacket);
    bool UseStream(std::uint8_t inStreamType, std::uint32_t inPid);

    std::uint32_t mAudioPid = kUnknownPid;
    std::uint32_t mVideoPid = kUnknownPid;
    std::uint32_t mPmtPid = kUnknownPid;
    /// The first PIDs that began a PES packet of video or audio while the tables had named none.
    std::uint32_t mFallbackAudioPid = kUnknownPid;
    std::uint32_t mFallbackVideoPid = kUnknownPid;
    bool mMpeg2AudioChosen = false;
    std::uint32_t mPlainVideoHeader = kNoPlainHeader;

    SyncState mSyncState = SyncState::InStep;
    std::array<std::uint8_t, kTransportPacketSize> mPacketBuffer{};
    std::size_t mPacketFill = 0;
};

}  // namespace Vexmora
