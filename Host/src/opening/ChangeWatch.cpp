// Two searches that cost a fraction of the reading.
#include "opening/ChangeWatch.h"

#include <algorithm>
#include <cstring>

#include "sources/TransportPackets.h"
#include "sources/VideoStartCodes.h"

namespace VexmoraHost {
namespace {}  // namespace

void ChangeWatch::Look(std::span<const std::uint8_t> inPiece) {
    if (inPiece.empty() || mHasSeenChange) return;
    if (mPosition == 0) mIsTransport = inPiece[0] == kSyncByte;
    // The cut between two pieces first.
    mTail.insert(mTail.end(), inPiece.begin(),
                 inPiece.begin() + static_cast<std::ptrdiff_t>(std::min(inPiece.size(), kHeaderBytes - 1)));
    LookForSequences(mTail);
    LookForSequences(inPiece);
    const std::span<const std::uint8_t> end = inPiece.size() >= kHeaderBytes ? inPiece : mTail;
    const auto kept = std::min(end.size(), kHeaderBytes - 1);
    mTail = std::vector(end.end() - static_cast<std::ptrdiff_t>(kept), end.end());
    if (mIsTransport) LookForTables(inPiece);
    mPosition += inPiece.size();
}

// The last byte of the start code is rarer than the others.
void ChangeWatch::LookForSequences(std::span<const std::uint8_t> inBytes) {
    if (inBytes.size() < kHeaderBytes) return;
    const std::uint8_t* const end = inBytes.data() + inBytes.size() - kHeaderBytes + 4;
    for (const std::uint8_t* at = inBytes.data() + 3;; ++at) {
        at = static_cast<const std::uint8_t*>(
            std::memchr(at, kSequenceHeaderCode, static_cast<std::size_t>(end - at)));
        if (at == nullptr) return;
        if (at[-1] != 1 || at[-2] != 0 || at[-3] != 0) continue;
        std::array<std::uint8_t, 4> format{};
        std::copy_n(at + 1, format.size(), format.begin());
        if (mHasFormat && format != mFormat) mHasSeenChange = true;
        mFormat = format;
        mHasFormat = true;
    }
}

void ChangeWatch::LookForTables(std::span<const std::uint8_t> inPiece) {
    if (!mPacket.empty()) {
        const std::size_t rest = std::min(kPacketBytes - mPacket.size(), inPiece.size());
        mPacket.insert(mPacket.end(), inPiece.begin(), inPiece.begin() + static_cast<std::ptrdiff_t>(rest));
        inPiece = inPiece.subspan(rest);
        if (mPacket.size() < kPacketBytes) return;
        LookAtPacket(std::span<const std::uint8_t, kPacketBytes>(mPacket));
        mPacket.clear();
    }
    for (; inPiece.size() >= kPacketBytes; inPiece = inPiece.subspan(kPacketBytes)) {
        LookAtPacket(inPiece.first<kPacketBytes>());
    }
    mPacket.assign(inPiece.begin(), inPiece.end());
}

// The PAT names the PID of the map; that it names another one later is a change as well (ISO/IEC
// 13818-1, 2.4.4.3).
void ChangeWatch::LookAtPacket(std::span<const std::uint8_t, kPacketBytes> inPacket) {
    const auto pid = static_cast<std::uint16_t>((inPacket[1] & 0x1F) << 8 | inPacket[2]);
    if ((pid != 0 && pid != mMapPid) || inPacket[0] != kSyncByte || (inPacket[1] & 0xC0) != 0x40) return;
    std::size_t at = 4;
    if ((inPacket[3] & 0x20) != 0) at += std::size_t{1} + inPacket[4];
    if ((inPacket[3] & 0x10) == 0 || at >= kPacketBytes) return;
    at += std::size_t{1} + inPacket[at];
    if (at + 16 > kPacketBytes) return;
    if (pid == 0) {
        std::size_t entry = at + 8;
        if (inPacket[at] != 0) return;
        if (inPacket[entry] == 0 && inPacket[entry + 1] == 0) entry += 4;  // the network
        const auto map = static_cast<std::uint16_t>((inPacket[entry + 2] & 0x1F) << 8 | inPacket[entry + 3]);
        if (mMapPid != 0 && map != mMapPid) mHasSeenChange = true;
        mMapPid = map;
    } else if (inPacket[at] == 2) {
        const auto section = inPacket.subspan(at);
        if (!mMap.empty() && !std::ranges::equal(mMap, section)) mHasSeenChange = true;
        mMap.assign(section.begin(), section.end());
    }
}

}  // namespace VexmoraHost
