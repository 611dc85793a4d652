// Looks out for what the library does not follow while it indexes a file.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace VexmoraHost {

/// Is shown a file in pieces, in order, and looks for two things: a sequence header of another picture size,
/// aspect or rate than the first, and (in packets of 188 bytes from the first byte on) a program map section
/// other than the first of its PID. What it takes for one may be chance; one that lies across two packets it
/// does not see. One thread.
class ChangeWatch {
  public:
    void Look(std::span<const std::uint8_t> inPiece);
    bool HasSeenChange() const { return mHasSeenChange; }

  private:
    static constexpr std::size_t kHeaderBytes = 8;  // start code, sizes, aspect and rate
    static constexpr std::size_t kPacketBytes = 188;

    void LookForSequences(std::span<const std::uint8_t> inBytes);
    void LookForTables(std::span<const std::uint8_t> inPiece);
    void LookAtPacket(std::span<const std::uint8_t, kPacketBytes> inPacket);

    bool mHasSeenChange = false;
    // The last bytes of the piece before, in which a header may begin.
    std::vector<std::uint8_t> mTail;
    std::array<std::uint8_t, 4> mFormat{};
    bool mHasFormat = false;

    std::uint64_t mPosition = 0;
    bool mIsTransport = false;
    std::vector<std::uint8_t> mPacket;  // begun in the piece before
    std::uint16_t mMapPid = 0;          // 0: not known yet
    std::vector<std::uint8_t> mMap;
};

}  // namespace VexmoraHost
