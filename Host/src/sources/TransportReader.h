// Reads the video of a transport stream.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "sources/PesHeader.h"
#include "sources/TransportBooks.h"
#include "sources/TransportPackets.h"
#include "sources/VideoReader.h"

namespace VexmoraHost {

/// What packets of one PID give: payloads without the headers of the PES packets.
class TransportPayloads {
  public:
    explicit TransportPayloads(const JoinedFiles& inFiles) : mFiles(inFiles) {}

    /// Another PID, or another place.
    void Restart() {
        mContinuity.Forget();
        mHeader.clear();
        mUnit = {};
        mIsAfterLoss = false;
        mIsQuiet = false;
    }
    /// Bytes may be missing in front of the next packet.
    void NoteLoss();
    /// Takes the next packet of the PID if it is one of those that most are: the inside of a PES packet from
    /// end to end, right behind another that gave video. It gives video, then.
    bool TakeQuiet(const TransportPacket& inPacket, VideoPiece& outPiece) {
        const auto& bytes = inPacket.bytes;
        const bool isPlain = bytes.size() == kTransportPacketBytes && (bytes[1] & 0xC0) == 0 &&
                             (bytes[3] & 0xF0) == 0x10 && !inPacket.isAfterLoss;
        if (!mIsQuiet || !isPlain || !mContinuity.IsNext(inPacket)) return false;
        mLastPosition = inPacket.position;
        outPiece = {.position = inPacket.position, .bytes = bytes.subspan(4)};
        return true;
    }
    /// Takes the next packet of the PID. True when it gives video.
    /// @param outVerdict of its continuity counter.
    bool Take(const TransportPacket& inPacket, VideoPiece& outPiece, Continuity::Verdict& outVerdict);

  private:
    // The PES packet that has given no bytes yet.
    struct Unit {
        std::optional<std::uint64_t> position = {};
        std::optional<std::int64_t> pts = {};
    };

    bool IsSameAsLast(const TransportPacket& inPacket) const;
    std::span<const std::uint8_t> PassHeader(const TransportPacket& inPacket);

    const JoinedFiles& mFiles;
    Continuity mContinuity;
    std::uint64_t mLastPosition = 0;
    std::vector<std::uint8_t> mHeader;  // of the PES packet, as far as it was met
    Unit mUnit;
    bool mIsAfterLoss = false;
    bool mIsQuiet = false;  // the last packet gave video, and nothing else is pending
};

class TransportScanner final : public VideoReader {
  public:
    TransportScanner(const JoinedFiles& inFiles, const Packaging& inPackaging, const ChosenVideo& inVideo,
                     StreamAccount& ioAccount);
    void Seek(std::uint64_t inPosition) override;
    bool Next(VideoPiece& outPiece) override;

  private:
    PacketWalk mWalk;
    TransportBooks mBooks;
    TransportPayloads mPayloads;
    bool mIsClosed = false;
};

class TransportReader final : public VideoReader {
  public:
    TransportReader(const JoinedFiles& inFiles, const Packaging& inPackaging, const StreamAccount& inAccount);
    void Seek(std::uint64_t inPosition) override;
    bool Next(VideoPiece& outPiece) override;

  private:
    PacketWalk mWalk;
    TransportPayloads mPayloads;
    const StreamAccount& mAccount;
    std::uint16_t mVideoPid = 0;
    std::size_t mNextPid = 0;  // of mAccount.videoPids
};

}  // namespace VexmoraHost
