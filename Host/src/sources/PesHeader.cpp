// Parses the two syntaxes of PES packet headers.
#include "sources/PesHeader.h"

#include <algorithm>
#include <array>

namespace VexmoraHost {
namespace {

using Bytes = std::span<const std::uint8_t>;
using State = PesHeader::State;

constexpr std::size_t kTimeStampBytes = 5;

std::int64_t TimeStamp(Bytes inBytes) {
    const auto byte = [inBytes](std::size_t inIndex) { return std::int64_t{inBytes[inIndex]}; };
    return ((byte(0) >> 1) & 7) << 30 | (byte(1) << 7 | byte(2) >> 1) << 15 | (byte(3) << 7 | byte(4) >> 1);
}

// Streams whose packets have no fields behind the length.
bool HasPlainPackets(std::uint8_t inStreamId) {
    switch (inStreamId) {
        case 0xBC:  // program_stream_map
        case kPaddingStream:
        case 0xBF:  // private_stream_2
        case 0xF0:  // ECM
        case 0xF1:  // EMM
        case 0xF2:  // DSMCC
        case 0xF8:  // ITU-T Rec. H.222.1 type E
        case 0xFF:  // program_stream_directory
            return true;
        default:
            return false;
    }
}

PesHeader ParseMpeg2(Bytes inBytes) {
    constexpr std::size_t kFixed = 9;
    if (inBytes.size() < kFixed) return {.state = State::NeedsMore};
    const std::size_t PES_header_data_length = inBytes[8];
    const std::size_t size = kFixed + PES_header_data_length;
    if (inBytes.size() < size) return {.state = State::NeedsMore};
    PesHeader header{.state = State::Whole, .size = size, .isScrambled = (inBytes[6] & 0x30) != 0};
    const bool hasPts = (inBytes[7] & 0x80) != 0 && PES_header_data_length >= kTimeStampBytes;
    if (hasPts) header.pts = TimeStamp(inBytes.subspan(kFixed));
    return header;
}

PesHeader ParseMpeg1(Bytes inBytes) {
    constexpr std::size_t kMostStuffing = 16;
    std::size_t at = kLengthEnd;
    while (at < inBytes.size() && at < kLengthEnd + kMostStuffing && inBytes[at] == 0xFF) ++at;
    if (at < inBytes.size() && (inBytes[at] & 0xC0) == 0x40) at += 2;  // STD_buffer_scale and size
    if (at >= inBytes.size()) return {.state = State::NeedsMore};
    const unsigned kind = inBytes[at] >> 4;
    const bool hasPts = kind == 2 || kind == 3;
    const std::size_t size = at + (kind == 2 ? kTimeStampBytes : kind == 3 ? 2 * kTimeStampBytes : 1);
    if (inBytes.size() < size) return {.state = State::NeedsMore};
    PesHeader header{.state = State::Whole, .size = size};
    if (hasPts) header.pts = TimeStamp(inBytes.subspan(at));
    return header;
}

}  // namespace

PesHeader ParsePesHeader(Bytes inBytes) {
    constexpr std::array<std::uint8_t, 3> kPrefix{0, 0, 1};
    const std::size_t prefix = std::min(inBytes.size(), kPrefix.size());
    if (!std::equal(inBytes.begin(), inBytes.begin() + static_cast<std::ptrdiff_t>(prefix), kPrefix.begin()))
        return {};
    if (inBytes.size() < 4) return {.state = State::NeedsMore};
    if (inBytes[3] <= kSystemHeader) return {};
    if (inBytes.size() < kLengthEnd) return {.state = State::NeedsMore};
    if (HasPlainPackets(inBytes[3])) return {.state = State::Whole, .size = kLengthEnd};
    if (inBytes.size() == kLengthEnd) return {.state = State::NeedsMore};
    return (inBytes[kLengthEnd] & 0xC0) == 0x80 ? ParseMpeg2(inBytes) : ParseMpeg1(inBytes);
}

}  // namespace VexmoraHost
