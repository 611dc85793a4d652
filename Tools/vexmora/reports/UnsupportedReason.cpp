// Looks at the first bytes of a refused stream for the reason. Only texts depend on what it finds: whether a
// stream is refused is the library's decision alone.
#include "reports/UnsupportedReason.h"

#include <algorithm>
#include <optional>

namespace VexmoraCommand {

namespace {

using Bytes = std::span<const std::uint8_t>;

// Codes behind the prefix 00 00 01: ISO/IEC 13818-2 table 6-1, ISO/IEC 13818-1 table 2-33.
constexpr std::uint8_t kPictureStart = 0x00;
constexpr std::uint8_t kUserDataStart = 0xB2;
constexpr std::uint8_t kSequenceHeader = 0xB3;
constexpr std::uint8_t kExtensionStart = 0xB5;
constexpr std::uint8_t kGroupStart = 0xB8;
constexpr std::uint8_t kPackStart = 0xBA;
constexpr unsigned kSequenceExtensionId = 1;
constexpr unsigned kPictureCodingExtensionId = 8;
constexpr unsigned kFramePicture = 3;
constexpr unsigned kChroma420 = 1;

// Position of the first start code at or after inFrom, its code byte inside too; nothing when there is none.
std::optional<std::size_t> FindStartCode(Bytes inBytes, std::size_t inFrom) {
    for (std::size_t at = inFrom; at + 3 < inBytes.size(); ++at) {
        if (inBytes[at] == 0 && inBytes[at + 1] == 0 && inBytes[at + 2] == 1) return at;
    }
    return std::nullopt;
}

std::optional<std::size_t> FindStartCode(Bytes inBytes, std::size_t inFrom, std::uint8_t inCode) {
    auto at = FindStartCode(inBytes, inFrom);
    while (at && inBytes[*at + 3] != inCode) at = FindStartCode(inBytes, *at + 3);
    return at;
}

bool BeginsWithStartCode(Bytes inBytes, std::uint8_t inCode) {
    return inBytes.size() >= 4 && FindStartCode(inBytes.first(4), 0, inCode).has_value();
}

// Looks at the first extension only: it must be the sequence extension.
bool HasOtherChroma(Bytes inVideo) {
    const auto at = FindStartCode(inVideo, 0, kExtensionStart);
    return at && *at + 5 < inVideo.size() && inVideo[*at + 4] >> 4 == kSequenceExtensionId &&
           (inVideo[*at + 5] >> 1 & 3) != kChroma420;
}

bool HasFieldPicture(Bytes inVideo) {
    for (auto at = FindStartCode(inVideo, 0, kExtensionStart); at && *at + 6 < inVideo.size();
         at = FindStartCode(inVideo, *at + 3, kExtensionStart)) {
        const bool isPictureCoding = inVideo[*at + 4] >> 4 == kPictureCodingExtensionId;
        if (isPictureCoding && (inVideo[*at + 6] & 3) != kFramePicture) return true;
    }
    return false;
}

// Packets may lie between the video bytes: a header that reaches over one is rare enough, and then the text
// is the general one.
UnsupportedReason ExplainVideo(Bytes inStart) {
    const auto sequence = FindStartCode(inStart, 0, kSequenceHeader);
    if (!sequence)
        return {"has no MPEG-2 video near its start", "check that its video is MPEG-2 and not scrambled"};
    const Bytes video = inStart.subspan(*sequence);
    if (!FindStartCode(video, 0, kPictureStart))
        return {"has no picture near its start", "copy or record it again: it is damaged or cut off"};
    // MPEG-2 requires a sequence extension behind the header, MPEG-1 knows none. There is at least the
    // picture.
    const std::uint8_t next = video[*FindStartCode(video, 4) + 3];
    if (next == kPictureStart || next == kGroupStart || next == kUserDataStart)
        return {"holds MPEG-1 video, which is not supported", "convert it to MPEG-2"};
    if (HasOtherChroma(video))
        return {"holds video with 4:2:2 or 4:4:4 colour, which is not supported", "convert it to 4:2:0"};
    if (HasFieldPicture(video))
        return {"holds video in field pictures, which cannot be indexed",
                "encode it again with frame pictures (interlaced ones are fine)"};
    return {
        "holds MPEG-2 video that cannot be indexed: field pictures further on, a change of format, or damage",
        "encode it again with frame pictures, or cut the bad part out"};
}

UnsupportedReason ExplainProgramStream(Bytes inStart) {
    // The four bits 0010 behind the pack start code are MPEG-1's, the two bits 01 MPEG-2's.
    if (inStart.size() > 4 && inStart[4] >> 4 == 2)
        return {"is an MPEG-1 system stream, which is not supported", "convert it to MPEG-2"};
    return ExplainVideo(inStart);
}

// Position of the first sync byte of a stream of packets inPacketBytes long.
std::optional<std::size_t> FindPackets(Bytes inStart, std::size_t inPacketBytes) {
    constexpr std::uint8_t kSyncByte = 0x47;
    constexpr std::size_t kPacketsSeen = 5;
    for (std::size_t first = 0; first < inPacketBytes; ++first) {
        std::size_t seen = 0;
        while (seen < kPacketsSeen && first + seen * inPacketBytes < inStart.size() &&
               inStart[first + seen * inPacketBytes] == kSyncByte)
            ++seen;
        if (seen == kPacketsSeen) return first;
    }
    return std::nullopt;
}

std::optional<UnsupportedReason> ExplainTransportStream(Bytes inStart) {
    if (const auto first = FindPackets(inStart, 188)) {
        if (*first > 0)
            return UnsupportedReason{"is a transport stream that starts within a packet",
                                     "cut the file so that it starts with a packet's 47 hex"};
        return ExplainVideo(inStart);
    }
    if (FindPackets(inStart, 192))
        return UnsupportedReason{"is a transport stream in packets of 192 bytes, which is not supported",
                                 "strip the four bytes before each packet"};
    return std::nullopt;
}

}  // namespace

UnsupportedReason ExplainUnsupported(Bytes inStart) {
    if (inStart.empty()) return {"is empty", "copy or record it again"};
    if (BeginsWithStartCode(inStart, kPackStart)) return ExplainProgramStream(inStart);
    if (BeginsWithStartCode(inStart, kSequenceHeader)) return ExplainVideo(inStart);
    if (const auto refusal = ExplainTransportStream(inStart)) return *refusal;
    if (FindStartCode(inStart, 0, kSequenceHeader))
        return {"does not start like an elementary, program or transport stream, but has video further on",
                "extract the video, or cut the file so that it starts with a sequence or pack header"};
    return {"is not an MPEG-2 elementary, program or transport stream", "check the file, or convert it"};
}

}  // namespace VexmoraCommand
