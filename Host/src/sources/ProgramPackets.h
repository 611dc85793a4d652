// The packets of a program stream (ISO/IEC 13818-1, 2.5; ISO/IEC 11172-1), one after the other, with packs
// around them or without.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sources/ByteWindow.h"
#include "sources/PesHeader.h"

namespace VexmoraHost {

/// A PES packet, or some of one without a length.
struct ProgramPacket {
    /// Of the packet's start code, or of the payload where this is not the packet's begin.
    std::uint64_t position = 0;
    std::uint8_t streamId = 0;
    std::span<const std::uint8_t> payload;
    std::optional<std::int64_t> pts = {};
    bool isScrambled = false;
    /// Bytes that belong to no packet lie in front.
    bool isAfterLoss = false;
};

/// Goes from packet to packet.
class ProgramWalk {
  public:
    ProgramWalk(const JoinedFiles& inFiles, std::size_t inWindowBytes) : mWindow(inFiles, inWindowBytes) {}

    /// Goes on at a packet's position.
    /// @param inStreamId of it, for a position within a payload.
    void Seek(std::uint64_t inPosition, std::uint8_t inStreamId);
    /// False at the end of the recording. The payload stays until the next call.
    bool Next(ProgramPacket& outPacket);
    /// Of the byte that is looked at next.
    std::uint64_t Position() const { return mPosition; }

    /// Bytes passed over in search of start codes, and how often (zeros, with which some fill up, apart).
    std::uint64_t SkippedBytes() const { return mSkippedBytes; }
    std::uint64_t Losses() const { return mLosses; }

  private:
    bool Search();
    bool TakePacket(std::span<const std::uint8_t> inBytes, ProgramPacket& outPacket);
    bool TakeOpenPayload(ProgramPacket& outPacket);

    ByteWindow mWindow;
    std::uint64_t mPosition = 0;
    std::uint8_t mOpenStream = 0;  // its packet, without a length, goes on
    bool mIsAfterLoss = false;
    std::uint64_t mSkippedBytes = 0;
    std::uint64_t mLosses = 0;
};

/// Where packs or PES packets begin in inBytes: with another start code right behind the first.
std::optional<std::size_t> FindPackets(std::span<const std::uint8_t> inBytes);

}  // namespace VexmoraHost
