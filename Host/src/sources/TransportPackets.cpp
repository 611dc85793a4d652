// Finds packets again.
#include "sources/TransportPackets.h"

#include <cstring>

namespace VexmoraHost {
namespace {

constexpr std::size_t kPacketsInARow = 5;
constexpr std::size_t kHeaderBytes = 4;

}  // namespace

std::optional<std::size_t> FindSync(std::span<const std::uint8_t> inBytes, std::size_t inDistance,
                                    bool inReachesEnd) {
    const std::size_t row = (kPacketsInARow - 1) * inDistance + 1;
    const std::size_t least = inReachesEnd ? kHeaderBytes : row;
    for (std::size_t at = 0; at + least <= inBytes.size(); ++at) {
        const void* const sync = std::memchr(&inBytes[at], kSyncByte, inBytes.size() - least - at + 1);
        if (sync == nullptr) break;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(sync) - inBytes.data());
        const std::size_t end = std::min(at + row, inBytes.size());
        std::size_t next = at;
        while (next < end && inBytes[next] == kSyncByte) next += inDistance;
        if (next >= end) return at;
    }
    return {};
}

bool PacketWalk::NextOfBad(TransportPacket& outPacket) {
    const std::size_t row = (kPacketsInARow - 1) * mDistance + 1;
    const std::uint64_t begin = mPosition;
    const std::uint64_t end = mWindow.Files().Size();
    for (;;) {
        auto bytes = mWindow.At(mPosition, row);
        if (bytes.size() < kHeaderBytes) break;
        const bool reachesEnd = mPosition + bytes.size() == end;
        const auto found = mPosition == begin && bytes[0] == kSyncByte
                               ? std::optional<std::size_t>(0)
                               : FindSync(bytes, mDistance, reachesEnd);
        if (found) {
            mPosition += *found;
            bytes = bytes.subspan(*found);
            const bool isAfterLoss = mPosition != begin;
            mSkippedBytes += mPosition - begin;
            mLosses += isAfterLoss ? 1u : 0u;
            outPacket = {bytes.first(std::min(bytes.size(), kTransportPacketBytes)), mPosition, isAfterLoss};
            mPosition += mDistance;
            return true;
        }
        if (reachesEnd) break;
        mPosition += bytes.size() - row + 1;
    }
    // What is left is no packet. (A step from the last one may end behind the recording.)
    if (begin < end) {
        mSkippedBytes += end - begin;
        ++mLosses;
    }
    mPosition = end;
    return false;
}

}  // namespace VexmoraHost
