// The packets of a transport stream (ISO/IEC 13818-1, 2.4.3), one after the other, and finding them again
// where they are lost.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sources/ByteWindow.h"

namespace VexmoraHost {

inline constexpr std::uint8_t kSyncByte = 0x47;
inline constexpr std::size_t kTransportPacketBytes = 188;
inline constexpr std::size_t kPidCount = 0x2000;
inline constexpr std::uint16_t kNullPid = 0x1FFF;

/// One packet; at the end of the recording perhaps not all of it.
struct TransportPacket {
    /// From the sync byte on, four bytes at least.
    std::span<const std::uint8_t> bytes;
    std::uint64_t position = 0;
    /// Bytes that belong to no packet lie in front.
    bool isAfterLoss = false;

    std::uint16_t Pid() const { return static_cast<std::uint16_t>((bytes[1] & 0x1F) << 8 | bytes[2]); }
    bool HasError() const { return (bytes[1] & 0x80) != 0; }
    bool StartsUnit() const { return (bytes[1] & 0x40) != 0; }
    bool IsScrambled() const { return (bytes[3] & 0xC0) != 0; }
    bool HasPayload() const { return (bytes[3] & 0x10) != 0; }
    std::uint8_t ContinuityCounter() const { return bytes[3] & 0x0F; }
    bool HasDiscontinuity() const {
        return (bytes[3] & 0x20) != 0 && bytes.size() > 5 && bytes[4] > 0 && (bytes[5] & 0x80) != 0;
    }
    /// Behind the adaptation field; empty where there is none.
    std::span<const std::uint8_t> Payload() const {
        if (!HasPayload()) return {};
        const bool hasField = (bytes[3] & 0x20) != 0;
        const std::size_t begin = !hasField ? 4 : bytes.size() > 4 ? 5u + bytes[4] : 5u;
        return bytes.subspan(std::min(begin, bytes.size()));
    }
};

/// Goes from packet to packet.
class PacketWalk {
  public:
    /// @param inDistance see Packaging::packetDistance.
    PacketWalk(const JoinedFiles& inFiles, std::size_t inDistance, std::size_t inWindowBytes)
        : mWindow(inFiles, inWindowBytes), mDistance(inDistance) {}

    /// Goes on at a packet's position.
    void Seek(std::uint64_t inPosition) { mPosition = inPosition; }
    /// False at the end of the recording. The packet's bytes stay until the next call.
    bool Next(TransportPacket& outPacket) {
        const auto bytes = mWindow.At(mPosition, kTransportPacketBytes);
        if (bytes.size() < kTransportPacketBytes || bytes[0] != kSyncByte) return NextOfBad(outPacket);
        outPacket = {bytes.first(kTransportPacketBytes), mPosition};
        mPosition += mDistance;
        return true;
    }

    /// Bytes passed over in search of packets, and how often.
    std::uint64_t SkippedBytes() const { return mSkippedBytes; }
    std::uint64_t Losses() const { return mLosses; }

  private:
    bool NextOfBad(TransportPacket& outPacket);

    ByteWindow mWindow;
    std::size_t mDistance;
    std::uint64_t mPosition = 0;
    std::uint64_t mSkippedBytes = 0;
    std::uint64_t mLosses = 0;
};

/// Position of the first place in inBytes where packets inDistance apart begin: five in a row, or as many as
/// there are up to the end of the recording.
std::optional<std::size_t> FindSync(std::span<const std::uint8_t> inBytes, std::size_t inDistance,
                                    bool inReachesEnd);

/// What a continuity_counter says (2.4.3.3), for the packets of one PID.
class Continuity {
  public:
    enum class Verdict : std::uint8_t { Follows, Repeats, Breaks };

    /// @param inPacket has a payload.
    Verdict Note(const TransportPacket& inPacket) {
        const std::uint8_t counter = inPacket.ContinuityCounter();
        Verdict verdict = Verdict::Follows;
        if (mLast != kUnknown && counter != ((mLast + 1) & 0x0F) && !inPacket.HasDiscontinuity()) {
            // A packet may come twice, but not three times.
            verdict = counter == mLast && !mHasRepeated ? Verdict::Repeats : Verdict::Breaks;
        }
        mLast = counter;
        mHasRepeated = verdict == Verdict::Repeats;
        return verdict;
    }
    /// Notes the packet if it is simply the next one.
    bool IsNext(const TransportPacket& inPacket) {
        const auto next = static_cast<std::uint8_t>((mLast + 1) & 0x0F);
        if (mLast == kUnknown || inPacket.ContinuityCounter() != next) return false;
        mLast = next;
        mHasRepeated = false;
        return true;
    }
    /// The packet that seemed to be the one before again is another.
    void TakeForAnother() { mHasRepeated = false; }
    /// Whatever comes next follows.
    void Forget() { mLast = kUnknown; }

  private:
    static constexpr std::uint8_t kUnknown = 0xFF;
    std::uint8_t mLast = kUnknown;
    bool mHasRepeated = false;
};

}  // namespace VexmoraHost
