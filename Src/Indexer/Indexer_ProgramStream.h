// Indexes the video of an MPEG-2 program stream (ISO/IEC 13818-1, 2.5): packs and PES packets in which the
// video is interleaved with other streams.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Indexer/Indexer.h"

namespace Vexmora {

/// Walks the packets with a state machine that a buffer boundary may interrupt anywhere.
class ProgramStreamIndexer final : public PacketIndexer {
  public:
    bool ScanBuffer(const std::uint8_t* inBuffer, std::uint64_t inSize, std::uint64_t inPosition) override;
    bool IsProgramStream() const override { return true; }

  private:
    /// What must be in hand to classify a packet: a pack header, or a PES header up to its PTS.
    static constexpr std::size_t kHeaderBytes = 14;

    enum class ParseState {
        PacketStart,
        VideoPacket,
        OtherPacket,
        /// Between packets, looking for the start code of one.
        Search,
    };

    /// What is left of the buffer in hand.
    struct Input {
        const std::uint8_t* bytes;
        std::size_t size;
        std::uint64_t position;

        void Advance(std::size_t inCount) {
            bytes += inCount;
            size -= inCount;
            position += inCount;
        }
    };

    void AssembleHeader(Input& ioInput);
    void RunState(Input& ioInput);
    void BeginPacket(Input& ioInput);
    void BeginSystemHeader(const std::uint8_t* inHeader);
    void ConsumeVideoPacket(Input& ioInput);
    void ConsumeOtherPacket(Input& ioInput);
    void LookForPrivateAudio(const std::uint8_t* inBytes, std::size_t inCount);
    void BeginSearch();
    void Search(Input& ioInput);
    bool SearchAcrossTail(Input& ioInput);

    ParseState mParseState = ParseState::PacketStart;
    /// The start of a packet that a buffer boundary cut.
    std::array<std::uint8_t, kHeaderBytes> mHeader{};
    std::size_t mHeaderFill = 0;
    std::uint64_t mHeaderPosition = 0;

    std::uint64_t mPacketLength = 0;
    std::uint64_t mPacketRemaining = 0;
    /// Of a video packet: its header, as far as it is still to be skipped, and its payload.
    std::uint64_t mHeaderSkipRemaining = 0;
    std::uint64_t mPayloadLength = 0;
    std::uint64_t mVideoPacketPosition = 0;

    /// The last bytes of the buffer before, while searching.
    std::array<std::uint8_t, 3> mTail{};

    bool mSystemHeaderSeen = false;
    /// The packet in hand is the first system header and announces one audio stream.
    bool mIsReadingSystemHeader = false;
    bool mAudioInPrivateStream1 = false;
};

}  // namespace Vexmora
