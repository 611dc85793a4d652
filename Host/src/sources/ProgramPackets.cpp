// Walks over start codes and lengths.
#include "sources/ProgramPackets.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace VexmoraHost {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kStartCodeBytes = 4;
constexpr std::size_t kMpeg1PackBytes = 12;
constexpr std::size_t kMpeg2PackBytes = 14;
// Of a packet without a length.
constexpr std::size_t kPieceBytes = 64 << 10;

// The first start code of a pack or a packet; the codes below are those of video. The size of inBytes when
// there is none.
std::size_t FindSystemCode(Bytes inBytes) {
    for (std::size_t one = 2; one + 1 < inBytes.size(); ++one) {
        const void* const found = std::memchr(&inBytes[one], 1, inBytes.size() - 1 - one);
        if (found == nullptr) break;
        one = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - inBytes.data());
        if (IsStartCode(&inBytes[one - 2], kProgramEnd)) return one - 2;
    }
    return inBytes.size();
}

// Bytes of the pack header at inBytes; 0 when it is none.
std::size_t PackBytes(Bytes inBytes) {
    if (inBytes.size() > kStartCodeBytes && inBytes[kStartCodeBytes] >> 4 == 2) return kMpeg1PackBytes;
    if (inBytes.size() < kMpeg2PackBytes || inBytes[kStartCodeBytes] >> 6 != 1) return 0;
    return kMpeg2PackBytes + (inBytes[kMpeg2PackBytes - 1] & 7u);  // pack_stuffing_length
}

std::size_t PacketLength(Bytes inBytes) {
    return static_cast<std::size_t>(inBytes[4] << 8 | inBytes[5]);
}

}  // namespace

void ProgramWalk::Seek(std::uint64_t inPosition, std::uint8_t inStreamId) {
    mPosition = inPosition;
    const Bytes bytes = mWindow.At(inPosition, kStartCodeBytes);
    const bool isPacket = bytes.size() >= kStartCodeBytes && IsStartCode(bytes.data(), kProgramEnd);
    mOpenStream = isPacket ? std::uint8_t{0} : inStreamId;
    mIsAfterLoss = false;
}

bool ProgramWalk::Next(ProgramPacket& outPacket) {
    for (;;) {
        if (mOpenStream != 0 && TakeOpenPayload(outPacket)) return true;
        const Bytes bytes = mWindow.At(mPosition, kMpeg2PackBytes);
        const bool isCode = bytes.size() >= kStartCodeBytes && IsStartCode(bytes.data(), kProgramEnd);
        if (!isCode) {
            if (!Search()) return false;
        } else if (bytes[3] == kProgramEnd) {
            mPosition += kStartCodeBytes;
        } else if (bytes[3] == kPackStart) {
            mPosition += std::max(PackBytes(bytes), kStartCodeBytes);
        } else if (bytes.size() < kLengthEnd) {
            mPosition += bytes.size();
        } else if (bytes[3] == kSystemHeader) {
            mPosition += kLengthEnd + PacketLength(bytes);
        } else if (TakePacket(bytes, outPacket)) {
            return true;
        }
    }
}

// Passes over what is no packet.
bool ProgramWalk::Search() {
    const std::uint64_t begin = mPosition;
    bool isLoss = false;
    for (;;) {
        const Bytes bytes = mWindow.At(mPosition, kStartCodeBytes);
        const std::size_t found = FindSystemCode(bytes);
        const bool isFound = found < bytes.size();
        const bool isEnd = bytes.size() < kStartCodeBytes;
        // A start code may begin in the last bytes.
        const std::size_t passed = isFound || isEnd ? found : bytes.size() - (kStartCodeBytes - 1);
        isLoss |= std::ranges::any_of(bytes.first(passed), [](std::uint8_t inByte) { return inByte != 0; });
        mPosition += passed;
        if (!isFound && !isEnd) continue;
        mSkippedBytes += mPosition - begin;
        mLosses += isLoss ? 1u : 0u;
        mIsAfterLoss |= isLoss;
        return isFound;
    }
}

// False when the packet has no payload to give.
bool ProgramWalk::TakePacket(Bytes inBytes, ProgramPacket& outPacket) {
    const std::uint64_t position = mPosition;
    const std::uint8_t streamId = inBytes[3];
    const std::size_t length = PacketLength(inBytes);
    const bool isOpen = length == 0 && IsVideoStream(streamId);
    const std::size_t size = kLengthEnd + (isOpen ? kLongestPesHeader : length);
    const Bytes bytes = mWindow.At(position, size);
    const Bytes packet = bytes.first(std::min(bytes.size(), size));
    const PesHeader header = ParsePesHeader(packet);
    const bool hasHeader = header.state == PesHeader::State::Whole;
    outPacket = {.position = position, .streamId = streamId, .payload = {}};
    if (isOpen && hasHeader) {
        mPosition += header.size;
        mOpenStream = streamId;
        if (!TakeOpenPayload(outPacket)) return false;
        outPacket.position = position;
    } else {
        mPosition += isOpen ? kStartCodeBytes : packet.size();
        if (!hasHeader || header.size == packet.size()) return false;
        outPacket.payload = packet.subspan(header.size);
    }
    outPacket.pts = header.pts;
    outPacket.isScrambled = header.isScrambled;
    outPacket.isAfterLoss = std::exchange(mIsAfterLoss, false);
    return true;
}

// The next bytes of a packet without a length: up to the start code of another.
bool ProgramWalk::TakeOpenPayload(ProgramPacket& outPacket) {
    const Bytes bytes = mWindow.At(mPosition, kPieceBytes + kStartCodeBytes);
    const std::size_t end =
        FindSystemCode(bytes.first(std::min(bytes.size(), kPieceBytes + kStartCodeBytes)));
    const std::size_t size = std::min(end, kPieceBytes);
    outPacket = {.position = mPosition, .streamId = mOpenStream, .payload = bytes.first(size)};
    mPosition += size;
    if (size < kPieceBytes) mOpenStream = 0;
    return size > 0;
}

std::optional<std::size_t> FindPackets(Bytes inBytes) {
    for (std::size_t at = 0; at < inBytes.size(); ++at) {
        at += FindSystemCode(inBytes.subspan(at));
        const Bytes bytes = inBytes.subspan(at);
        if (bytes.size() <= kMpeg2PackBytes) break;
        const std::uint8_t code = bytes[3];
        if (code == kProgramEnd) continue;
        const std::size_t length = PacketLength(bytes);
        const bool isOpen = IsVideoStream(code) && length == 0 && (bytes[kLengthEnd] & 0xC0) == 0x80;
        if (isOpen) return at;
        const bool hasLength = code == kSystemHeader || length > 0;
        const std::size_t size = code == kPackStart ? PackBytes(bytes) : hasLength ? kLengthEnd + length : 0;
        if (size == 0) continue;
        // Behind the only one of a short recording nothing comes.
        const bool isFollowed = size + kStartCodeBytes <= bytes.size()
                                    ? IsStartCode(&bytes[size], kProgramEnd)
                                    : at == 0 && size >= bytes.size();
        if (isFollowed) return at;
    }
    return {};
}

}  // namespace VexmoraHost
