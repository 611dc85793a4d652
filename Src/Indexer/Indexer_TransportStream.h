// Indexes the video of an MPEG transport stream (ISO/IEC 13818-1, 2.4): 188-byte packets, of which the
// program's tables, or else the first PES packets, tell which carry the video and the audio.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Indexer/Indexer.h"
#include "mpeg_system/TransportPacket.h"

namespace Vexmora {

/// Finds the packets in buffers cut anywhere, chooses the streams once, and feeds the video's payload.
class TransportStreamIndexer final : public PacketIndexer {
  public:
    TransportStreamIndexer() : PacketIndexer(kTransportScan) {}

    bool ScanBuffer(const std::uint8_t* inBuffer, std::uint64_t inSize, std::uint64_t inPosition) override;

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
        TransportPacket bytes;
        std::uint64_t position;
        std::size_t payloadOffset;

        std::span<const std::uint8_t> Payload() const { return bytes.subspan(payloadOffset); }
    };

    void NoteVideoPids();
    std::size_t PassQuietPackets(const std::uint8_t* inBytes, std::size_t inSize);
    void CompletePacketBuffer(const std::uint8_t* inBytes, std::size_t inCount, std::uint64_t inEndPosition);
    void ProcessPacket(TransportPacket inTransportPacket, std::uint64_t inPacketPosition);
    bool NotePesStart(const Packet& inPacket);
    void NoteAudioPts(const Packet& inPacket);
    void ProcessVideo(const Packet& inPacket);
    void FeedVideoPayload(TransportPacket inTransportPacket, std::size_t inOffsetOfPayload,
                          std::uint64_t inPacketPosition);

    void ParseProgramAssociation(TransportPacket inPacket);
    void ParseProgramMap(TransportPacket inPacket);
    bool UseStream(std::uint8_t inStreamType, std::uint32_t inPid);

    std::uint32_t mAudioPid = kUnknownPid;
    std::uint32_t mVideoPid = kUnknownPid;
    std::uint32_t mPmtPid = kUnknownPid;
    /// The first PIDs that began a PES packet of video or audio while the tables had named none.
    std::uint32_t mFallbackAudioPid = kUnknownPid;
    std::uint32_t mFallbackVideoPid = kUnknownPid;
    bool mMpeg2AudioChosen = false;
    /// The one PID whose packets are fed; not known while there are none, or two.
    std::uint32_t mOnlyVideoPid = kUnknownPid;

    SyncState mSyncState = SyncState::InStep;
    std::array<std::uint8_t, kTransportPacketSize> mPacketBuffer{};
    std::size_t mPacketFill = 0;
};

}  // namespace Vexmora
